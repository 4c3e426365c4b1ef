'use strict';
// A router with its page for one test: simulators, server and browser, in a sandbox's network, files and processes.
// Chromium goes without its own sandbox, which root has no right to make here: the page is the project's own, and
// what encloses everything is the sandbox that the test runs in, without a network.

const { execFileSync, spawn } = require('node:child_process');
const fs = require('node:fs');
const { chromium } = require('playwright-core');

const AXE = fs.readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');
const PASSWORD = 'correct horse 7';
const URL = 'http://127.0.0.1:8080/';
const PATIENCE = 15000;

const sleep = ms => new Promise(resolve => setTimeout(resolve, ms));

async function until(what, condition) {
  const end = Date.now() + PATIENCE;
  let seen;
  do {
    seen = await condition();
    if (seen === true) return;
    await sleep(50);
  } while (Date.now() < end);
  throw Error(`${what}: not in time; there was ${JSON.stringify(seen)}`);
}

/** A program that goes on; ready once it has printed this. */
async function start(program, args, ready) {
  const child = spawn(program, args, { stdio: ['ignore', 'pipe', 'pipe'] });
  let text = '';
  for (const stream of [child.stdout, child.stderr]) stream.on('data', data => { text += data; });
  child.ended = new Promise(resolve => child.on('exit', resolve));
  await until(`${program} with "${ready}"`, () => text.includes(ready) || text);
  return child;
}

class Place {
  constructor({ programs, project }) {
    for (const folder of ['currentnv', 'updatenv', 'backupnv']) fs.mkdirSync(`/2ndfile/nv/${folder}`, { recursive: true });
    fs.copyFileSync(`${project}/share/default.cfg`, '/2ndfile/nv/default.cfg');
    for (const [name, path] of Object.entries(programs)) this[name] = path;
    this.project = project;
    this.complaints = [];
    this.expected = [];
  }

  ask(...args) { return execFileSync(this.ltectl, args, { encoding: 'utf8' }).trim(); }

  async startManager(...args) {
    this.manager = await start(this.wansim, ['--interface', 'wwan7', '--ip', '10.20.30.41', '--gateway', '10.20.30.42',
      '--dns1', '10.9.8.7', '--dns2', '10.9.8.6', ...args], 'ready at');
  }

  async endManager() {
    this.manager.kill('SIGTERM');
    await this.manager.ended;
  }

  async startModem(...args) { this.modem = await start(this.modemsim, args, 'ready'); }

  setPassword() {
    execFileSync(this.lteweb, ['--make-password', '/tmp/password'], { input: PASSWORD + '\n', stdio: 'pipe' });
  }

  async startServer() {
    this.server = await start(this.lteweb, ['--ltectl', this.ltectl, '--password-file', '/tmp/password', '--sample', '1', '--interface', 'lo'], 'listening');
  }

  async endServer() {
    this.server.kill('SIGTERM');
    await this.server.ended;
  }

  async startBrowser() {
    this.browser = await chromium.launch({ executablePath: '/usr/lib/chromium/chromium', args: ['--no-sandbox'] });
  }

  /** What the browser complains of fails the test at its end, but for what it expects. */
  async open({ hash = '', width = 1280, height = 800, colorScheme = 'light', ...options } = {}) {
    const page = await this.browser.newPage({ viewport: { width, height }, colorScheme, ...options });
    page.on('pageerror', error => this.complaints.push(error.stack));
    page.on('console', message => {
      if (['error', 'warning'].includes(message.type())) this.complaints.push(message.text());
    });
    page.setDefaultTimeout(PATIENCE);
    await page.goto(URL + hash);
    await page.waitForFunction(() => document.getElementById('pill').textContent !== 'Loading' && !document.getElementById('session').hidden ||
      document.querySelector('.login').textContent);
    return page;
  }

  async openLoggedIn(options) {
    const page = await this.open(options);
    await logIn(page);
    return page;
  }

  judgeComplaints() {
    const left = this.complaints.filter(text => !this.expected.some(pattern => pattern.test(text)));
    if (left.length) throw Error(`the browser complained:\n${left.join('\n')}`);
  }

  async end() {
    await this.browser?.close();
    for (const child of [this.server, this.manager, this.modem]) child?.kill('SIGKILL');
  }
}

async function logIn(page, password = PASSWORD) {
  await page.click('#session');
  await page.fill('#password', password);
  await page.keyboard.press('Enter');
  await sees(page, '#session', 'Log out');
}

const go = (page, name) => page.click(`nav a[href="#${name}"]`);

const duringLoad = error => {
  if (!/context was destroyed/.test(error.message)) throw error;
  return 'a page that loads';
};

/** Waits until an element is visible and has a text: all of it, or what a pattern finds. */
async function sees(page, selector, expected) {
  const element = page.locator(selector).first();
  await until(`"${expected}" in ${selector}`, async () => {
    if (!await element.isVisible()) return 'nothing visible';
    const text = (await element.evaluate(it => it.innerText ?? it.textContent).catch(duringLoad)).trim();
    return (expected instanceof RegExp ? expected.test(text) : text === expected) || text;
  });
}

async function seesNot(page, selector) {
  await until(`no ${selector}`, async () => !await page.locator(selector).first().isVisible() || 'it is visible');
}

/** The outcome below the form in which an element is. */
const outcome = (page, selector, expected) => sees(page, `form:has(${selector}) output`, expected);

async function hasNoFlaw(page, what) {
  await page.evaluate(AXE);
  const { violations } = await page.evaluate(() => window.axe.run());
  const told = violations.map(({ id, help, nodes }) => `${id}: ${help}: ${nodes.map(node => node.html).join(' ')}`);
  if (told.length) throw Error(`axe on ${what}:\n${told.join('\n')}`);
}

module.exports = { Place, PASSWORD, URL, execFileSync, fs, go, hasNoFlaw, logIn, outcome, sees, seesNot, sleep, until };
