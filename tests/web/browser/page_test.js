'use strict';
// The page in a browser, each panel against the simulators. usage: page_test.js TEST LTECTL WANSIM MODEMSIM LTEWEB PROJECT FOLDER
// FOLDER takes the pictures, and of a failure what the page looked like.

const { spawn } = require('node:child_process');
const { Place, PASSWORD, execFileSync, fs, go, hasNoFlaw, logIn, outcome, sees, seesNot, sleep, until } = require('./place.js');

const [wanted, ltectl, wansim, modemsim, lteweb, project, folder] = process.argv.slice(2);
const PAGES = ['overview', 'network', 'sim', 'parameters', 'firmware', 'diagnostics'];
const REFUSED = status => new RegExp(`status of ${status} `);

const tests = {};
const options = {};
function test(name, work, option = {}) {
  tests[name] = work;
  options[name] = option;
}

const connected = async place => {
  place.ask('connect', '--wait', '5');
  return place.openLoggedIn();
};

// ---- The overview ----

test('shows_the_link_and_its_events', async place => {
  place.ask('connect', '--wait', '5');
  const page = await place.open();
  await sees(page, '#pill', 'Connected');
  await sees(page, '#link-facts', /wwan7[^]*10\.20\.30\.41[^]*255\.255\.255\.252[^]*10\.20\.30\.42[^]*10\.9\.8\.7, 10\.9\.8\.6/);
  await sees(page, '#events', /before\s+Link connected: wwan7, 10\.20\.30\.41\./);
  place.ask('disconnect', '--wait', '5'); // by somebody else
  await sees(page, '#link', 'Disconnected');
  await sees(page, '#events', /\d\d:\d\d:\d\d\s+Link disconnected\./);
  await sees(page, '#events', /\d\d:\d\d:\d\d\s+Interface not ready\./);
  await logIn(page);
  await page.click('button[name=connect]');
  await outcome(page, 'button[name=connect]', 'Asked to connect.');
  await sees(page, '#link', 'Connected');
  await page.click('button[name=disconnect]');
  await sees(page, '#link', 'Disconnected');
  await hasNoFlaw(page, 'the overview');
});

test('shows_the_modem', async place => {
  const page = await place.open();
  await sees(page, '#operator', 'Northern Cell');
  await sees(page, '#modem-facts', /4G[^]*1300[^]*off[^]*Ready[^]*\d+ h \d+ min/);
  place.ask('sim', 'network', '2');
  await sees(page, '#modem-facts', /3G/);
});

test('plots_the_signal', async place => {
  const page = await place.open();
  place.ask('sim', 'signal', '7');
  await sees(page, '#signal', '7');
  await sees(page, '#signal-words', 'of 31, −99 dBm, weak');
  await until('the label', async () => /^Signal in the last hour: between 7 and \d+ of 31, last 7$/.test(await page.getAttribute('#signal-plot svg', 'aria-label')));
  place.ask('sim', 'signal', '99');
  await sees(page, '#signal', '–');
  await sees(page, '#signal-words', 'not known');
  await page.click('details:has(#signal-table) summary');
  await sees(page, '#signal-table tbody tr:first-child', /^\d\d:\d[05]\s+\d+\.\d$/);
  await until('twelve rows', async () => await page.locator('#signal-table tbody tr').count() === 12);
});

const given = page => page.route('**/api/history', async route => {
  const now = Date.now(), signal = [], traffic = [];
  let rx = 0, tx = 0;
  for (let i = 3600; i >= 10; i -= 10) { // the live samples come at some time after the last
    const time = now - i * 1000, away = i > 1500 && i < 1740, busy = i % 1700 < 520 ? 1 : .08;
    signal.push([time, away ? null : Math.round(19 + 4 * Math.sin(i / 420) + 2 * Math.sin(i / 61))]);
    rx += busy * (2.4e6 + 9e5 * Math.sin(i / 47)) * 10;
    tx += busy * (3.5e5 + 1e5 * Math.sin(i / 83)) * 10;
    traffic.push(away ? [time, null, null] : [time, Math.round(rx), Math.round(tx)]);
  }
  for (const sample of traffic) { // so that the counters of the sandbox come next
    sample[1] &&= sample[1] - rx;
    sample[2] &&= sample[2] - tx;
  }
  await route.fulfill({ json: { now, every: 10, signal, traffic } });
});

test('plots_an_hour_with_its_gap', async place => {
  const page = await place.browser.newPage();
  await given(page);
  await page.goto('http://127.0.0.1:8080/');
  const lines = plot => page.evaluate(plot => document.querySelector(`${plot} path.a`).getAttribute('d'), plot);
  await until('both plots', async () => await page.locator('.plot svg path.a[d^=M]').count() === 2 || 'fewer');
  for (const plot of ['#signal-plot', '#traffic-plot']) {
    await until(`a gap in ${plot}`, async () => [2, 3].includes((await lines(plot)).split('M').length - 1) || await lines(plot));
    const first = /^M([\d.-]+) /.exec(await lines(plot))[1];
    if (first > 10) throw Error(`${plot} begins at ${first}: this is no hour`);
  }
  const label = await page.getAttribute('#traffic-plot svg', 'aria-label');
  if (!/: at most 26\.\d Mbit\/s, /.test(label)) throw Error(`what was at most 26.4 Mbit/s is told as ${label}`);
  await page.hover('#signal-plot svg', { position: { x: 100, y: 60 } });
  await sees(page, '#signal-plot svg text:last-child', /^\d\d:\d\d:\d\d  \d+$/);
  await page.click('details:has(#traffic-table) summary');
  await sees(page, '#traffic-table tbody tr:nth-child(3)', /Mbit\/s\s+[\d.]+ (M|k)bit\/s/);
  await hasNoFlaw(page, 'the plots');
});

test('goes_on_when_the_clock_is_set', async place => {
  const page = await place.open();
  const first = () => page.evaluate(() => Number(/^M([\d.-]+) /.exec(document.querySelector('#signal-plot path.b, #signal-plot path.a').getAttribute('d'))?.[1]));
  await until('a plot', async () => await first() > 0 || first());
  await page.evaluate(() => { skew -= 864e5; listeners.sample({ time: Date.now(), signal: 20, rx_bytes: 1, tx_bytes: 1 }); });
  await until('the plot again', async () => {
    const { x, width, skewed } = { x: await first(), ...await page.evaluate(() => ({ width: document.getElementById('signal-plot').clientWidth, skewed: skew })) };
    return Math.abs(skewed) < 5000 && x > 0 && x <= width || [x, width, skewed];
  });
});

test('plots_the_throughput', async place => {
  const page = await place.open();
  await sees(page, '#rx', /^[1-9][\d.]* k?bit\/s$/); // by its own requests, on the loopback
  await until('the label', async () => /at most .* now .* received and .* sent$/.test(await page.getAttribute('#traffic-plot svg', 'aria-label')));
});

// ---- The network ----

test('sets_network_type_preference_and_roaming', async place => {
  const page = await place.openLoggedIn({ hash: '#network' });
  await until('the type that is set', async () => await page.inputValue('#nettype') === '3' || page.inputValue('#nettype'));
  await page.selectOption('#nettype', '2G');
  await page.click('button:text-is("Set type")');
  await outcome(page, '#nettype', 'Set.');
  await until('2G in the WAN manager', () => /value=1 /.test(place.ask('nettype')) || place.ask('nettype'));
  await page.selectOption('#pref', 'LTE');
  await page.click('button:text-is("Set preference")');
  await outcome(page, '#pref', 'Set.');
  await page.check('#roam');
  await outcome(page, '#roam', /^Roaming .*: on\.$/);
  await until('roaming on', () => place.ask('roam') === 'roaming on');
  place.ask('roam', 'off');
  await until('the switch to follow', async () => !await page.isChecked('#roam'));
  await hasNoFlaw(page, 'the network');
});

test('tells_what_the_manager_refuses', async place => {
  const page = await place.openLoggedIn({ hash: '#network' });
  place.ask('sim', 'fault', 'set-roaming=refuse');
  place.ask('sim', 'fault', 'set-nettype=refuse');
  await page.click('#roam');
  await sees(page, 'form:has(#roam) output.bad', /\w/);
  if (await page.isChecked('#roam')) throw Error('the switch stays on');
  await page.selectOption('#nettype', '3G');
  await page.click('button:text-is("Set type")');
  await sees(page, 'form:has(#nettype) output.bad', /\w/);
  await hasNoFlaw(page, 'what was refused');
});

test('searches_operators_with_a_clock', async place => {
  const [page, other] = [await place.openLoggedIn({ hash: '#network' }), await place.open()];
  await page.click('button:text-is("Search")');
  await sees(page, '#clock', '1 s');
  await sees(other, '#clock', /^[12] s$/);
  await hasNoFlaw(page, 'a search');
  await sees(page, '#clock', /^([2-9]|1[0-2]) s$/);
  await sees(page, '#searching', /^Searching for operators/);
  await page.click('button:text-is("Search")');
  await outcome(page, 'button:text-is("Search")', /running/);
  await page.goto('about:blank');
  await page.goto('http://127.0.0.1:8080/#network'); // in the middle
  await sees(page, '#clock', /^([3-9]|1[0-2]) s$/);
  await seesNot(page, '#searching');
  await outcome(page, 'button:text-is("Search")', /^\d operators found\.$/);
  await sees(page, '#operators', /Northern Cell/);
  await go(other, 'network');
  await sees(other, '#operators', /Northern Cell/);
  await seesNot(other, '#searching');
  await hasNoFlaw(page, 'operators');
  place.expected.push(REFUSED(409));
}, { manager: ['--search-delay', '12000'] });

// ---- The SIM ----

test('enables_changes_and_disables_the_pin', async place => {
  const page = await place.openLoggedIn({ hash: '#sim' });
  await sees(page, '#sim-facts', /001010123456789[^]*490154203237518/);
  await page.fill('[data-post="pin/enable"] input', '9999');
  await page.click('button:text-is("Enable PIN")');
  await sees(page, '[data-post="pin/enable"] output.bad', /\w/);
  if (await page.inputValue('[data-post="pin/enable"] input') !== '9999') throw Error('a PIN to be corrected is gone');
  await page.fill('[data-post="pin/enable"] input', '1234');
  await page.click('button:text-is("Enable PIN")');
  await outcome(page, 'button:text-is("Enable PIN")', 'PIN enabled.');
  await sees(page, '#sim-advice', 'It asks for its PIN at every start.');
  await page.fill('[name=old]', '1234');
  await page.fill('[name=new]', '5678');
  await page.click('button:text-is("Change PIN")');
  await outcome(page, 'button:text-is("Change PIN")', 'PIN changed.');
  await page.fill('[data-post="pin/disable"] input', '5678');
  await page.click('button:text-is("Disable PIN")');
  await outcome(page, 'button:text-is("Disable PIN")', 'PIN disabled.');
  await sees(page, '#sim-advice', 'It does not ask for its PIN.');
  for (const input of await page.locator('#sim input').all()) if (await input.inputValue()) throw Error('a PIN stays on the page');
  const sent = [];
  page.on('request', request => sent.push(request.url()));
  await page.fill('[name=old]', '12');
  await page.fill('[name=new]', '4321');
  await page.click('button:text-is("Change PIN")');
  await sleep(500);
  if (sent.some(url => url.includes('pin'))) throw Error('a PIN of two digits is sent');
  await hasNoFlaw(page, 'the SIM');
});

test('tells_what_a_sim_waits_for', async place => {
  const page = await place.openLoggedIn({ hash: '#sim' });
  await sees(page, '#sim-state', 'Waits for its PIN');
  await page.fill('[data-post="pin/enable"] input', '1234');
  await page.click('button:text-is("Enable PIN")');
  await sees(page, '#sim-state', 'Ready');
  place.ask('sim', 'card', 'out');
  await sees(page, '#sim-state', 'No SIM');
  place.ask('sim', 'card', 'in');
  await place.endManager();
  await place.startManager('--sim', 'puk');
  await sees(page, '#sim-state', 'Locked');
  await page.fill('[name=old]', '12345678');
  await page.fill('[name=new]', '4321');
  await page.click('button:text-is("Change PIN")');
  await outcome(page, 'button:text-is("Change PIN")', 'PIN changed.');
  await sees(page, '#sim-state', 'Ready');
}, { manager: ['--sim', 'pin'] });

// ---- Parameters ----

test('lists_finds_and_edits_parameters', async place => {
  place.ask('nv', 'set', 'wlan_ssid', 'Workshop');
  const page = await place.openLoggedIn({ hash: '#parameters' });
  const rows = page.locator('#values tbody tr'), count = place.ask('nv', 'list').split('\n').length;
  await sees(page, '#filter output', `${count} of ${count}, 1 differ from their defaults`);
  await page.check('#changed');
  await until('one row', async () => await rows.count() === 1);
  await sees(page, '#values tbody tr', /^wlan_ssid\s+Workshop\s+Router\s+reset, backup, remote\s+Edit$/);
  await page.click('#values button');
  await page.fill('#ask-value', 'a"b=c <i>&');
  await hasNoFlaw(page, 'the dialog of a value');
  await page.keyboard.press('Enter');
  await sees(page, '#values tbody tr td', 'a"b=c <i>&');
  await until('the value', () => place.ask('nv', 'get', 'wlan_ssid').endsWith('a"b=c <i>&') || place.ask('nv', 'get', 'wlan_ssid'));
  await until('the focus on the row again', () => page.evaluate(() => document.activeElement.ariaLabel === 'Edit wlan_ssid'));
  await page.click('[aria-label="Edit wlan_ssid"]');
  await page.fill('#ask-value', 'never');
  await page.keyboard.press('Escape');
  await page.uncheck('#changed');
  await page.fill('#find', 'dhcp_');
  await sees(page, '#filter output', /^7 of /);
  await page.fill('#find', 'wlan_passphrase');
  await page.click('[aria-label="Edit wlan_passphrase"]');
  if (await page.getAttribute('#ask-value', 'type') !== 'password') throw Error('a secret is shown');
  await page.click('#ask >> text=Cancel');
  if (!place.ask('nv', 'get', 'wlan_ssid').endsWith('<i>&')) throw Error('what was cancelled is stored');
  await hasNoFlaw(page, 'parameters');
});

test('saves_and_loads_parameters', async place => {
  place.ask('nv', 'set', 'wlan_ssid', 'Workshop');
  const page = await place.openLoggedIn({ hash: '#parameters' });
  const [download] = await Promise.all([page.waitForEvent('download'), page.click('button:text-is("Save to a file")')]);
  const saved = fs.readFileSync(await download.path());
  if (download.suggestedFilename() !== 'parameters.cfg' || !/^wlan_ssid=.*Workshop$/m.test(saved)) throw Error(`saved was ${saved}`);
  place.ask('nv', 'set', 'wlan_ssid', 'Other');
  await page.setInputFiles('#import-file', { name: 'parameters.cfg', mimeType: 'text/plain', buffer: saved });
  if (await page.isEnabled('#import-now')) throw Error('it can be loaded unseen');
  await page.click('button:text-is("Show what would change")');
  await outcome(page, '#import-file', /^In the file: .*change 1\b/);
  await sees(page, '#planned tbody', /^wlan_ssid\s+Other\s+Workshop$/);
  await hasNoFlaw(page, 'what would change');
  if (!place.ask('nv', 'get', 'wlan_ssid').endsWith('Other')) throw Error('a dry run has stored it');
  await page.click('#import-now');
  await page.click('#ask >> text=Cancel');
  await page.click('#import-now');
  await hasNoFlaw(page, 'a question');
  await page.click('#ask-yes');
  await outcome(page, '#import-file', /^\d+ lines applied\.$/);
  await until('the value', () => place.ask('nv', 'get', 'wlan_ssid').endsWith('Workshop'));
  await page.setInputFiles('#import-file', { name: 'x', mimeType: 'text/plain', buffer: Buffer.from('no such = file') });
  await page.click('button:text-is("Show what would change")');
  await sees(page, '#import output', /\w/);
});

test('resets_parameters_when_it_is_confirmed', async place => {
  place.ask('nv', 'set', 'wlan_ssid', 'Workshop');
  const page = await place.openLoggedIn({ hash: '#parameters' });
  await page.click('button:text-is("Reset settings…")');
  await page.keyboard.press('Escape');
  await sees(page, '#filter output', /, 1 differ/);
  if (!place.ask('nv', 'get', 'wlan_ssid').endsWith('Workshop')) throw Error('it was not confirmed');
  await page.click('button:text-is("Reset settings…")');
  await page.click('#ask-yes');
  await outcome(page, 'button:text-is("Reset settings…")', /^\d+ parameters have their defaults\.$/);
  await sees(page, '#filter output', /, 0 differ/);
});

// ---- Firmware ----

async function upgrade(place, page, size) {
  fs.writeFileSync('/tmp/image.bin', Buffer.alloc(size, 7));
  await page.setInputFiles('#image', '/tmp/image.bin');
  await page.click('button:text-is("Upgrade…")');
  await sees(page, '#ask-text', /^image\.bin, 300 kB: /);
  await page.click('#ask-yes');
}

test('watches_an_upgrade_to_its_end', async place => {
  await place.startModem('--size', '300000', '--image', '/tmp/received', '--fault', '3=late:1200', '--fault', '9=failed:2', '--fault', '40=late:1500');
  const page = await place.openLoggedIn({ hash: '#firmware' });
  const watcher = await place.open();
  await upgrade(place, page, 300000);
  await sees(watcher, '#upgrading', /A firmware upgrade is running: (Starting|Preparing|0 %)/);
  await sees(page, '#stage', /^\d+ %, \d+ of 300000 bytes$/);
  await sees(page, '#upgrading', /A firmware upgrade is running/);
  await until('the bar', async () => await page.evaluate(() => document.getElementById('bar').value) > 0);
  await hasNoFlaw(page, 'an upgrade');
  await go(page, 'overview');
  await sees(page, '#upgrading', /Do not switch the router off/);
  const other = await place.open({ hash: '#firmware' }); // who looks in the middle sees it, too
  await sees(other, '#stage', /\d+ %|Sent/);
  await go(page, 'firmware');
  await sees(page, '#stage', /^Sent\. The modem installs/);
  for (let left = 4; await page.locator('#upgrading').isVisible() && left; --left) await seesNot(page, '#upgrading').catch(() => {});
  await outcome(page, '#image', 'The modem has its new firmware.');
  await sees(page, '#stage', 'Upgraded');
  if (!fs.readFileSync('/tmp/received').equals(fs.readFileSync('/tmp/image.bin'))) throw Error('the modem has another image');
  await hasNoFlaw(page, 'the end of an upgrade');
}, { timeout: 120 });

test('tells_why_an_upgrade_fails', async place => {
  const page = await place.openLoggedIn({ hash: '#firmware' });
  await upgrade(place, page, 300000);
  await outcome(page, '#image', 'The upgrade has failed.');
  await sees(page, '#stage', /\/dev\/ttyUSB1/);
  await seesNot(page, '#upgrading');
  await place.startModem('--fault', '2=fatal');
  await upgrade(place, page, 300000);
  await sees(page, '#upgrading', /running/);
  await seesNot(page, '#upgrading');
  await outcome(page, '#image', 'The upgrade has failed.');
  await hasNoFlaw(page, 'a failed upgrade');
});

// ---- Diagnostics ----

test('sends_at_commands', async place => {
  const page = await place.openLoggedIn({ hash: '#diagnostics' });
  await page.fill('#command', 'AT+CSQ');
  await page.keyboard.press('Enter');
  await sees(page, '#answers', /^> AT\+CSQ\n+\+CSQ: \d+,\d+[^]*OK/);
  await page.fill('#command', '-x <img src=y onerror=alert(1)>'); // no option, no element
  await page.keyboard.press('Enter');
  await sees(page, '#answers', /> -x <img src=y onerror=alert\(1\)>/);
  place.ask('sim', 'fault', 'at=refuse');
  await page.fill('#command', 'AT');
  await page.click('button:text-is("Send")');
  await sees(page, '#at output.bad', /\w/);
  if (await page.locator('main img').count()) throw Error('a text has become an element');
  await hasNoFlaw(page, 'the AT console');
});

test('follows_the_trace', async place => {
  place.ask('connect', '--wait', '5');
  const page = await place.open({ hash: '#diagnostics' });
  await seesNot(page, '#trace'); // it shows what may be secret
  await logIn(page);
  await sees(page, '#trace', /gateway:10\.20\.30\.42/);
  fs.appendFileSync('/tmp/ltelog.1', '[unit:function:7]a line <b>that is</b> new\n');
  await sees(page, '#trace', /a line <b>that is<\/b> new/);
  if (await page.locator('#trace b').count()) throw Error('a line has become an element');
  await until('the newest line in view', () => page.evaluate(() => {
    const { scrollTop, clientHeight, scrollHeight } = document.getElementById('trace');
    return scrollHeight > clientHeight && scrollTop + clientHeight > scrollHeight - 30;
  }));
});

test('switches_log_levels', async place => {
  const page = await place.openLoggedIn({ hash: '#diagnostics' });
  await page.check('[aria-label="WanManager debug"]');
  await outcome(page, '[aria-label="WanManager debug"]', 'WanManager debug: on.');
  await page.check('#log-time');
  await outcome(page, '#log-time', /^Uptime .*: on\.$/);
  if (!/WanManager .*debug=on/.test(place.ask('log'))) throw Error(place.ask('log'));
  await page.reload();
  await until('the level that is set', () => page.isChecked('[aria-label="WanManager debug"]'));
  await until('the time that is set', () => page.isChecked('#log-time'));
  await page.uncheck('[aria-label="WanManager debug"]');
  await outcome(page, '#log-time', 'WanManager debug: off.');
  await hasNoFlaw(page, 'log levels');
});

test('shows_neighbours_on_the_bus', async place => {
  const page = await place.open({ hash: '#diagnostics' });
  await sees(page, '#bus', /lc_socket_mm_common[^]*module mm, shared/);
  await page.click('#bus summary');
  await sees(page, '#bus', /WM_MSG_/);
  await place.endManager();
  await page.click('button:text-is("Look again")');
  await until('it to be gone', async () => !/lc_socket_mm_common/.test(await page.innerText('#bus')));
});

// ---- What is gone and comes back ----

test('tells_when_the_manager_is_gone_and_back', async place => {
  const page = await connected(place);
  await sees(page, '#pill', 'Connected');
  await place.endManager();
  await sees(page, '#gone', /The WAN manager does not answer/);
  await until('it to be said', async () => await page.textContent('#said') === 'WAN manager gone.');
  await sees(page, '#pill', 'No answer');
  await sees(page, '#events', /WAN manager gone\./);
  await page.reload();
  await sees(page, '#gone', /The WAN manager does not answer/);
  await hasNoFlaw(page, 'a manager that is gone');
  await page.click('button[name=connect]');
  await sees(page, '#linking output.bad', /WAN manager/);
  await place.startManager();
  await seesNot(page, '#gone');
  await sees(page, '#events', /WAN manager back\.\s[^]*WAN manager gone\./);
  await page.click('button[name=connect]');
  await sees(page, '#pill', 'Connected');
  await sees(page, '#link-facts', /10\.20\.30\.41/);
});

test('notices_a_router_that_hangs', async place => {
  const page = await connected(place);
  place.server.kill('SIGSTOP');
  await page.click('button[name=disconnect]');
  const end = Date.now() + 50e3;
  while (Date.now() < end && !await page.locator('#offline').isVisible()) await sleep(200);
  await sees(page, '#offline', /The router does not answer/);
  await sees(page, '#pill', 'No answer');
  if (await page.textContent('#said') !== 'The router does not answer') throw Error('nobody has said it');
  await outcome(page, 'button[name=disconnect]', 'The router does not answer.');
  place.server.kill('SIGCONT');
  while (Date.now() < end + 40e3 && await page.locator('#offline').isVisible()) await sleep(200);
  await seesNot(page, '#offline');
  await sees(page, '#pill', /^(Connected|Disconnected)$/);
});

test('forgets_a_job_that_the_server_has_forgotten', async place => {
  const page = await place.openLoggedIn({ hash: '#network' });
  place.expected.push(/ERR_CONNECTION_REFUSED|ERR_INCOMPLETE_CHUNKED|ERR_EMPTY|ERR_CONNECTION_RESET/, REFUSED(401));
  await page.click('button:text-is("Search")');
  await sees(page, '#searching', /^Searching/);
  await place.endServer();
  await sees(page, '#offline', /The router does not answer/);
  await place.startServer();
  await seesNot(page, '#offline');
  await seesNot(page, '#searching');
}, { manager: ['--search-delay', '60000'] });

test('shows_an_upgrade_that_another_program_has_begun', async place => {
  await place.startModem('--size', '300000', ...[3, 5, 7, 9, 11].flatMap(piece => ['--fault', `${piece}=late:4000`]));
  fs.writeFileSync('/tmp/image.bin', Buffer.alloc(300000, 7));
  const page = await place.open();
  const upgrade = spawn(place.ltectl, ['upgrade', '/tmp/image.bin'], { stdio: 'ignore' });
  let other;
  try {
    await sees(page, '#upgrading', /A firmware upgrade is running: begun by another program/);
    other = await place.open();
    await sees(other, '#upgrading', /begun by another program/);
  } finally {
    upgrade.kill('SIGKILL');
  }
  for (const each of [page, other]) await seesNot(each, '#upgrading');
});

test('listens_only_while_somebody_looks', async place => {
  const page = await place.open();
  const look = hidden => page.evaluate(hidden => {
    Object.defineProperty(document, 'hidden', { value: hidden, configurable: true });
    document.dispatchEvent(new Event('visibilitychange'));
    return source.readyState;
  }, hidden);
  if (await look(true) !== 2) throw Error('a page that nobody sees listens');
  place.ask('connect', '--wait', '5');
  await look(false);
  await sees(page, '#link', 'Connected');
});

test('goes_on_when_the_server_was_away', async place => {
  const page = await place.openLoggedIn();
  place.expected.push(/ERR_CONNECTION_REFUSED|ERR_INCOMPLETE_CHUNKED|ERR_EMPTY|ERR_CONNECTION_RESET/, REFUSED(401));
  await place.endServer();
  await sees(page, '#offline', /The router does not answer/);
  await sees(page, '#pill', 'No answer');
  await page.click('button[name=connect]');
  await outcome(page, 'button[name=connect]', 'The router does not answer.');
  await hasNoFlaw(page, 'a router that does not answer');
  await place.startServer();
  await seesNot(page, '#offline');
  await sees(page, '#session', 'Log in'); // sessions end with the server
  await sees(page, '#linking .login', 'Log in to use this');
});

// ---- Login ----

test('refuses_wrong_passwords_and_limits_them', async place => {
  const page = await place.open();
  place.expected.push(REFUSED(401), REFUSED(429));
  for (const name of PAGES) {
    await go(page, name);
    for (const form of await page.locator(`#${name} form[data-login]`).all()) {
      for (const control of await form.locator('fieldset :is(button, input, select)').all()) if (await control.isEnabled()) throw Error(`without a login: ${await control.evaluate(it => it.outerHTML)}`);
    }
    await sees(page, `#${name} .login:visible`, 'Log in to use this');
  }
  await page.click('#at .login button');
  await hasNoFlaw(page, 'the login');
  for (let i = 0; i < 5; ++i) {
    await page.fill('#password', 'wrong');
    await page.keyboard.press('Enter');
    await sees(page, '#login output', 'This is not the password.');
  }
  await page.fill('#password', PASSWORD);
  await page.keyboard.press('Enter');
  await sees(page, '#login output', /^Too many wrong passwords\. The next attempt is possible in \d+ s\.$/);
  await hasNoFlaw(page, 'a refused login');
  const [, seconds] = /in (\d+) s/.exec(await page.innerText('#login output'));
  await sleep(seconds * 1000 + 500);
  await page.fill('#password', PASSWORD);
  await page.keyboard.press('Enter');
  await sees(page, '#session', 'Log out');
  await page.click('#session');
  await sees(page, '#session', 'Log in');
});

test('tells_where_no_password_is_set', async place => {
  const page = await place.open();
  await sees(page, '#linking .login', 'Off: no password is set for this page on the router.');
  await seesNot(page, '#session');
  await sees(page, '#pill', 'Disconnected');
  await hasNoFlaw(page, 'a page without a password');
}, { password: false });

// ---- For everybody ----

for (const [name, view] of [['desk', {}], ['dark_desk', { colorScheme: 'dark' }], ['phone', { width: 390, height: 844 }],
  ['dark_narrow_phone', { width: 320, height: 640, colorScheme: 'dark' }]]) {
  test(`has_no_flaw_on_a_${name}`, async place => {
    place.ask('connect', '--wait', '5');
    const page = await place.open(view);
    const look = async () => {
      for (const at of PAGES) {
        await go(page, at);
        await page.locator(`#${at} h1`).waitFor();
        await sleep(300);
        if (await page.evaluate(() => scrollY)) throw Error(`${at} begins further down`);
        const [inner, width] = await page.evaluate(() => [innerWidth, document.documentElement.scrollWidth]);
        if (width > inner) throw Error(`${at} is ${width} wide, where there is room for ${inner}`);
        await hasNoFlaw(page, at);
      }
    };
    await look();
    await logIn(page);
    await look();
    const luminance = await page.evaluate(() => /\d+/.exec(getComputedStyle(document.body).backgroundColor)[0]);
    if ((luminance < 64) !== (view.colorScheme === 'dark')) throw Error(`the background is ${luminance}`);
    if (view.width) {
      await go(page, 'overview');
      const [first, second] = await page.evaluate(() => [...document.querySelectorAll('#overview .card')].slice(0, 2).map(card => card.getBoundingClientRect().left));
      if (first !== second) throw Error('two cards side by side on a phone');
    }
  });
}

test('is_used_by_keyboard_alone', async place => {
  const page = await place.open();
  const press = async (...keys) => { for (const key of keys) await page.keyboard.press(key); };
  const isAt = what => until(`the focus on ${what}`, async () => {
    const at = await page.evaluate(() => { const it = document.activeElement; return it.ariaLabel || it.id || it.textContent.trim(); });
    return at === what || at;
  });
  await press('Tab');
  await isAt('session');
  await press('Enter');
  await isAt('password');
  await page.keyboard.type(PASSWORD);
  await press('Enter');
  await sees(page, '#session', 'Log out');
  for (const name of ['Overview', 'Network']) {
    await press('Tab');
    await isAt(name);
  }
  const ring = await page.evaluate(() => getComputedStyle(document.activeElement).outlineStyle);
  if (ring !== 'solid') throw Error(`what has the focus is marked ${ring}`);
  await press('Enter');
  await sees(page, '#network h1', 'Network');
  await isAt('Network');
  if (await page.title() !== 'Network – LTE router') throw Error(await page.title());
  await press('Tab');
  await isAt('nettype');
  await press('Tab', 'Tab', 'Tab', 'Tab');
  await isAt('roam');
  await press('Space');
  await until('roaming on', () => place.ask('roam') === 'roaming on');
  await page.goto('http://127.0.0.1:8080/#parameters');
  await page.focus('form[data-post="nv/reset"] button');
  await press('Enter');
  await isAt('Cancel'); // a second Enter by mistake does nothing
  await press('Enter');
  await isAt('Reset settings…');
  await press('Enter', 'Escape');
  await isAt('Reset settings…');
  await page.focus('.scroll');
  await press('End');
  await until('the table to scroll', async () => await page.evaluate(() => document.querySelector('.scroll').scrollTop) > 0);
});

test('says_what_happens', async place => {
  const page = await place.openLoggedIn({ hash: '#network' });
  const roles = await page.evaluate(() => ['said', 'events', 'answers', 'trace'].map(id => {
    const it = document.getElementById(id);
    return [id, it.getAttribute('role'), it.getAttribute('aria-live')].join(' ');
  }));
  if (roles.join() !== 'said status ,events log ,answers log ,trace log off') throw Error(roles.join());
  await until('the login', async () => await page.textContent('#said') === 'Logged in');
  await page.click('button:text-is("Search")');
  await until('the search', async () => await page.textContent('#said') === 'Search started' || page.textContent('#said'));
});

test('puts_in_what_it_is_told_as_text', async place => {
  const evil = '<img src=x onerror="document.title=1"><b>x</b>';
  const page = await place.open();
  for (const [path, objects] of [['status', [{ event: 'status', operator: evil, link: evil, sim: evil, interface: evil, nettype: evil, roaming: evil, imei: evil, uptime: 1 }]],
    ['bus', [{ event: 'endpoint', endpoint: evil, kind: evil, module: evil, answers: [evil] }]],
    ['log', [{ event: 'log', module: evil, debug: 'on' }]], ['trace', [{ text: evil }]],
    ['nv', [{ name: evil, value: evil, bits: 2, source: 'backup' }]], ['nv/diff', [{ name: evil, default: evil }]]]) {
    await page.route(`**/api/${path}`, route => route.request().method() === 'GET' ? route.fulfill({ json: { exit: 0, objects, message: evil } }) : route.continue());
  }
  await logIn(page);
  for (const name of PAGES) {
    await go(page, name);
    await sleep(400);
    const made = await page.locator('main :is(img, b:not(#bus b))').count();
    if (made || await page.title() === '1') throw Error(`elements of the router's on ${name}`);
  }
  await sees(page, '#bus b', evil);
  await go(page, 'parameters');
  await sees(page, '#values tbody th', evil);
});

test('is_one_page_without_strangers', async place => {
  const asked = [], page = await place.browser.newPage();
  page.on('request', request => asked.push(request.url()));
  const answer = await page.goto('http://127.0.0.1:8080/');
  await page.locator('.plot svg').first().waitFor();
  const strange = asked.filter(url => !url.startsWith('http://127.0.0.1:8080/') && !url.startsWith('data:'));
  if (strange.length) throw Error(`it asks ${strange}`);
  const policy = answer.headers()['content-security-policy'];
  if (!/default-src 'none'/.test(policy) || /unsafe/.test(policy)) throw Error(`its policy is ${policy}`);
  const size = ['index.html', 'lteweb.css', 'lteweb.js'].reduce((sum, name) => sum + fs.statSync(`${project}/tools/lteweb/page/${name}`).size, 0);
  if (size >= 40 * 1024) throw Error(`the page has ${size} bytes`);
});

// ---- What the documents show ----

const sizeOf = file => {
  const png = fs.readFileSync(file);
  return { width: png.readUInt32BE(16), height: png.readUInt32BE(20), bytes: png.length };
};

test('looks_as_the_documents_show', async place => {
  const sections = fs.readFileSync(`${project}/docs/web.md`, 'utf8').split('\n## ');
  const section = name => sections.find(text => text.startsWith(name + '\n')) || '';
  const told = section('The page'), listed = [...section('Tried in a browser').matchAll(/^\| `(\w+)` \|/gm)].map(match => match[1]);
  if (listed.join() !== [...Object.keys(tests), 'demonstration'].join()) throw Error(`docs/web.md has the tests ${listed}; there are ${Object.keys(tests)}`);
  place.ask('nv', 'set', 'wlan_ssid', 'Workshop');
  place.ask('nv', 'set', 'lan_ip', '192.168.7.1');
  place.ask('connect', '--wait', '5');
  fs.mkdirSync(folder, { recursive: true });
  const views = [['desk', { height: 960 }, 'overview'], ['dark', { colorScheme: 'dark', height: 800 }, 'parameters'], ['phone', { width: 390, height: 844 }, 'overview']];
  for (const [name, view, at] of views) {
    const page = await place.open(view);
    await given(page);
    await logIn(page);
    await go(page, at);
    await sleep(1500);
    await page.screenshot({ path: `${folder}/web-${name}.png` });
    await page.close();
  }
  for (const [name] of views) {
    const [shown, made] = [sizeOf(`${project}/docs/web-${name}.png`), sizeOf(`${folder}/web-${name}.png`)];
    if (shown.width !== made.width || shown.height !== made.height || shown.bytes > 100 * 1024) {
      throw Error(`docs/web-${name}.png is to be made anew: it has ${JSON.stringify(shown)}, ${folder} has ${JSON.stringify(made)}`);
    }
  }
  const page = await place.open();
  for (const name of PAGES) {
    const heading = await page.locator(`#${name} h1`).textContent();
    const panels = await page.locator(`#${name} h2`).allTextContents();
    const line = told.split('\n').find(text => text.startsWith(`| ${heading} |`)) || '';
    const shown = [...line.matchAll(/\*\*(.*?)\*\*/g)].map(match => match[1]);
    if (shown.join() !== panels.join()) throw Error(`docs/web.md tells of ${heading}: ${shown}; the page has ${panels}`);
  }
});

// ---- One of them ----

async function main() {
  if (!tests[wanted]) throw Error(`there is no test "${wanted}"; there are ${Object.keys(tests).join(' ')}`);
  const { manager = [], password = true } = options[wanted];
  const place = new Place({ programs: { ltectl, wansim, modemsim, lteweb }, project });
  const watchdog = setTimeout(() => { throw Error('it does not end'); }, 170e3);
  try {
    await place.startManager(...manager);
    if (password) place.setPassword();
    await place.startServer();
    await place.startBrowser();
    await tests[wanted](place);
    place.judgeComplaints();
  } catch (error) {
    const pages = place.browser?.contexts().flatMap(context => context.pages()) || [];
    fs.mkdirSync(folder, { recursive: true });
    for (const [i, page] of pages.entries()) await page.screenshot({ path: `${folder}/failed-${wanted}-${i}.png` }).catch(() => {});
    console.error(`${error.stack}\n${place.complaints.join('\n')}\n${pages.length} pictures: ${folder}/failed-${wanted}-*.png`);
    process.exitCode = 1;
  } finally {
    clearTimeout(watchdog);
    await place.end();
  }
}

main();
