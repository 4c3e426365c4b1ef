'use strict';
// The demonstration with a page, from its address to its end. usage: demo_test.js DEMO BUILD_DIR

const { spawn } = require('node:child_process');
const { chromium } = require('playwright-core');
const { fs, hasNoFlaw, logIn, sees, until } = require('./place.js');

const [demo, build] = process.argv.slice(2);

async function main() {
  const child = spawn(demo, ['--web', '--build', build], { stdio: ['ignore', 'pipe', 'inherit'] });
  let said = '';
  child.stdout.on('data', data => { said += data; });
  const ended = new Promise(resolve => child.on('exit', resolve));
  const browser = await chromium.launch({ executablePath: '/usr/lib/chromium/chromium', args: ['--no-sandbox'] });
  try {
    await until('the address', () => /Ctrl-C ends it/.test(said) || said);
    const own = fs.readlinkSync(`/proc/${child.pid}/cwd`); // other demonstrations have folders beside it
    if (!/\/demo\.\w{6}$/.test(own)) throw Error(`it works in ${own}`);
    const page = await browser.newPage();
    await page.goto(/http:\S+/.exec(said)[0]);
    await sees(page, '#pill', 'Connected');
    await logIn(page, /Password: (\S+)/.exec(said)[1]);
    await hasNoFlaw(page, 'the demonstration');
    child.kill('SIGINT');
    if (await ended !== 0 || !said.endsWith('demo: ended\n')) throw Error(`it ended with ${child.exitCode} and said ${said}`);
    await sees(page, '#offline', /does not answer/);
    if (fs.existsSync(own)) throw Error(`it leaves ${own}`);
  } catch (error) {
    console.error(error.stack);
    process.exitCode = 1;
  } finally {
    child.kill('SIGTERM');
    await browser.close();
  }
}

main();
