'use strict';
// What the router says is put in as text, never as HTML.

const $ = id => document.getElementById(id);
const all = selector => [...document.querySelectorAll(selector)];
const make = (tag, props, ...kids) => {
  const element = Object.assign(document.createElement(tag), props);
  element.append(...kids);
  return element;
};
const setText = (id, text) => { $(id).textContent = text; };
const say = text => setText('said', text);
const tell = (form, text, kind = '') => {
  const out = form.querySelector('output');
  out.textContent = text || '';
  out.className = kind;
};

const NETWORKS = ['None', '2G', '3G', '4G'];
const REGISTERED = ['WM_REG_NONE', 'WM_REG_2G', 'WM_REG_3G', 'WM_REG_4G'];
const RADIOS = ['None', 'GSM', 'GPRS', 'EDGE', 'WCDMA', 'HSDPA', 'HSUPA', 'LTE', 'UMTS', 'HSPA+', 'DC-HSPA+', 'CDMA',
  'EV-DO Rev. 0', 'EV-DO Rev. A', 'EV-DO Rev. B', 'TD-SCDMA'];
const LINKS = { WM_DISCONNECTED: ['Disconnected', ''], WM_DISCONNECTING: ['Disconnecting', 'warn'],
  CONN_CONNECTED: ['Connected', 'good'], WM_CONNECTING: ['Connecting', 'warn'] };
const SIMS = {
  sim_ready: ['Ready', 'It does not ask for its PIN.'],
  pin_enable: ['Ready', 'It asks for its PIN at every start.'],
  sim_pin: ['Waits for its PIN', 'Enter the PIN to enable it, or to disable it so that it is not asked for again.'],
  sim_puk: ['Locked', 'Wrong PINs have locked it. The operator’s PUK and a new PIN, under “Change PIN”, unlock it.'],
  sim_locked: ['Locked', 'Only the operator can help.'],
  sim_absent: ['No SIM', 'Insert one; it is noticed by itself.'],
};
const BITS = ['reset', 'backup', 'remote', 'secret', 'factory', 'identity'], SECRET = 8;
const HOUR = 3600e3;

let session = { login: false, token: '', password: true };
let state = {}, link = {}; // as `status` has it; the last event of the link, which has its addresses
let gone = false, channel, imsi, shown;
let skew = 0; // of the router's clock
let signal = [], traffic = [], gap = 90e3;
const jobs = {};

// Asking the router:

async function call(path, body) {
  const raw = body instanceof Blob;
  const answer = await fetch('api/' + path, {
    signal: AbortSignal.timeout(raw ? 900e3 : 25e3),
    ...body && {
      method: 'POST',
      headers: { 'X-Lteweb-Token': session.token, 'Content-Type': raw ? 'application/octet-stream' : 'application/json' },
      body: raw ? body : JSON.stringify(body),
    },
  }).catch(() => { throw Error('The router does not answer.'); });
  if (answer.ok && !(answer.headers.get('Content-Type') || '').includes('json')) return { file: await answer.blob() };
  const said = await answer.json().catch(() => ({}));
  if (answer.ok) return said;
  if (session.login && [401, 403].includes(answer.status)) findSession();
  const after = answer.headers.get('Retry-After');
  throw Error(sentence(said.error || `the router answered with ${answer.status}`) + (after ? ` The next attempt is possible in ${after} s.` : ''));
}

const sentence = text => text.charAt(0).toUpperCase() + text.slice(1) + (/[.:]$/.test(text) ? '' : '.');
const plain = said => sentence((said.message || `failed with exit code ${said.exit}`).replace(/^ltectl: /gm, '').trim());

async function run(path, body) {
  const said = await call(path, body);
  if (said.exit) throw Error(plain(said));
  return said.objects;
}

/** A form that does something and tells the outcome below itself. */
function onSubmit(form, work) {
  form.onsubmit = async event => {
    event.preventDefault();
    if (form.ariaBusy === 'true') return;
    form.ariaBusy = 'true';
    tell(form, 'Working…');
    await work(event).then(text => text === undefined || tell(form, text, 'good'), error => tell(form, error.message, 'bad'));
    form.ariaBusy = 'false';
  };
}

/** What was typed, where a value was given to be changed; null when it was cancelled. */
function ask(title, text, verb, value, type = 'text') {
  setText('ask-title', title);
  setText('ask-text', text);
  setText('ask-yes', verb);
  $('ask-value').parentNode.hidden = value === undefined;
  Object.assign($('ask-value'), { type, value: value || '' });
  $('ask').returnValue = '';
  $('ask').showModal();
  return new Promise(resolve => { $('ask').onclose = () => resolve($('ask').returnValue ? $('ask-value').value : null); });
}

// Session:

async function findSession() {
  session = await call('session').catch(() => session);
  const { login, password } = session;
  $('session').hidden = !password && !login;
  setText('session', login ? 'Log out' : 'Log in');
  for (const form of all('[data-login]')) {
    const [fields, note] = form.children;
    fields.disabled = !login;
    note.hidden = login;
    note.replaceChildren(password ? make('button', { type: 'button', className: 'quiet', onclick: openLogin }, 'Log in to use this')
      : 'Off: no password is set for this page on the router.');
  }
  refresh();
}

let opener;
function openLogin(event) {
  opener = event.target.closest('form');
  tell($('login'));
  $('login').showModal();
}

async function logIn() {
  try {
    await call('login', { password: $('password').value });
  } finally {
    $('password').value = '';
  }
  await findSession();
  $('login').close();
  opener?.querySelector('input, select, button')?.focus();
  say('Logged in');
  listen();
}

// What is known:

const facts = (id, rows) => $(id).replaceChildren(...rows.flatMap(([name, value]) => [make('dt', {}, name), make('dd', {}, value || '–')]));
const scaled = (number, units) => {
  let unit = 0;
  for (; number >= 1000 && unit < 4; ++unit) number /= 1000;
  return `${number.toFixed(unit && number < 100 ? 1 : 0)} ${['', 'k', 'M', 'G', 'T'][unit]}${units}`;
};
const rate = bits => scaled(bits, 'bit/s');
const span = seconds => `${Math.floor(seconds / 3600)} h ${Math.floor(seconds / 60) % 60} min`;
const clock = ms => new Date(ms).toTimeString().slice(0, 8);
const isKnown = csq => csq >= 0 && csq <= 31;

function showState() {
  const offline = !$('offline').hidden, [title, kind] = gone ? ['No answer', 'bad'] : LINKS[state.link] || ['Unknown', ''];
  const at = title === 'Connected' ? link : {};
  setText('link', title);
  setText('pill', offline ? 'No answer' : title);
  $('pill').className = 'pill ' + (offline ? 'bad' : kind);
  $('gone').hidden = !gone;
  $('linking').elements.connect.className = title === 'Disconnected' ? 'main' : '';
  facts('link-facts', [['Interface', at.interface || state.interface], ['Address', at.ip], ['Mask', at.mask], ['Gateway', at.gateway],
    ['Name servers', [at.dns1, at.dns2].filter(Boolean).join(', ')]]);
  const type = REGISTERED.indexOf(state.nettype), network = NETWORKS[type] || state.nettype;
  const [sim, advice] = SIMS[state.sim] || [state.sim || 'Not known'];
  setText('operator', state.operator || 'No operator');
  facts('modem-facts', [['Network type', network], ['LTE channel', channel], ['Roaming', state.roaming], ['SIM', sim], ['Router’s uptime', state.uptime && span(state.uptime)]]);
  if (document.activeElement !== $('nettype') && !$('nettype').value && NETWORKS[type]) $('nettype').value = type;
  if ($('roam').ariaBusy !== 'true') $('roam').checked = state.roaming === 'on';
  setText('sim-state', sim);
  setText('sim-advice', advice);
  facts('sim-facts', session.login ? [['IMSI', state.imsi || imsi], ['IMEI', state.imei]] : [['Identities', 'Log in to see them']]);
  setText('signal', isKnown(state.signal) ? String(state.signal) : '–');
  setText('signal-words', isKnown(state.signal) ? `of 31, ${2 * state.signal - 113} dBm, `.replace('-', '−') + ['weak', 'fair', 'good', 'excellent'][(state.signal >= 10) + (state.signal >= 15) + (state.signal >= 20)] : 'not known');
}

let refreshing;
/** Soon: several reasons at once need one answer. */
function refresh() {
  refreshing ||= setTimeout(async () => {
    refreshing = 0;
    const said = await call('status').catch(() => 0); // the banner says so
    if (!said) return;
    state = said.objects.find(object => object.event === 'status') || {};
    showState();
  }, 200);
}

// Plots:

const draw = (tag, attributes, text = '') => {
  const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
  for (const name in attributes) element.setAttribute(name, attributes[name]);
  element.textContent = text;
  return element;
};

/** The last hour of several series of [time, value]; a value that is not known leaves a gap. */
function plot(id, label, series, top, ticks, words) {
  const host = $(id), width = host.clientWidth, height = 176, floor = height - 20, roof = 16, now = Date.now() + skew;
  if (!width) return;
  const x = time => width * (1 - (now - time) / HOUR), y = value => floor - (floor - roof) * Math.min(value / top, 1);
  const svg = draw('svg', { viewBox: `0 0 ${width} ${height}`, role: 'img', 'aria-label': label });
  for (const value of ticks) svg.append(draw('line', { x1: 0, x2: width, y1: y(value), y2: y(value) }), draw('text', { x: 0, y: y(value) - 4 }, words(value)));
  for (const ago of [60, 40, 20, 0]) {
    svg.append(draw('text', { x: width * (1 - ago / 60), y: height - 2, 'text-anchor': ago === 60 ? 'start' : ago ? 'middle' : 'end' }, ago ? `−${ago} min` : 'now'));
  }
  series.forEach((points, index) => {
    let path = '', last;
    for (const [time, value] of points) {
      const goes = last && time - last < gap;
      last = value === null ? 0 : time;
      if (!last || now - time > HOUR) continue;
      const at = x(time).toFixed(1) + ' ' + y(value).toFixed(1);
      path += goes && path ? 'L' + at : `M${at}h.01`;
    }
    svg.append(draw('path', { class: index ? 'b' : 'a', d: path }));
  });
  const near = draw('text', { x: width, y: 10, 'text-anchor': 'end' });
  svg.onpointermove = ({ offsetX }) => {
    const i = series[0].findIndex(([time]) => x(time) >= offsetX - 1);
    near.textContent = i < 0 ? '' : [clock(series[0][i][0]), ...series.map(points => points[i][1] === null ? '–' : words(points[i][1]))].join('  ');
  };
  svg.append(near);
  host.replaceChildren(svg);
}

function fill(id, head, rows) {
  $(id).replaceChildren(make('thead', {}, make('tr', {}, ...head.map(text => make('th', { scope: 'col' }, text)))),
    make('tbody', {}, ...rows.map(([first, ...rest]) => make('tr', {}, make('th', { scope: 'row' }, first), ...rest.map(cell => make('td', {}, cell))))));
}

/** Of each five minutes the means: what the plots show, for those who do not see them. */
function means(series, words) {
  const step = 300e3, newest = Math.floor((Date.now() + skew) / step) * step;
  return Array.from({ length: 12 }, (_, i) => newest - i * step).map(begin => [clock(begin).slice(0, 5), ...series.map(points => {
    const values = points.filter(([time, value]) => time >= begin && time < begin + step && value !== null).map(point => point[1]);
    return values.length ? words(values.reduce((sum, value) => sum + value) / values.length) : '–';
  })]);
}

function showPlots() {
  if (shown !== 'overview') return;
  const both = [1, 2].map(way => traffic.slice(1).map((at, i) => {
    const before = traffic[i], bits = (at[way] - before[way]) * 8000 / (at[0] - before[0]);
    return [at[0], at[way] === null || before[way] === null || !(bits >= 0 && bits < Infinity) ? null : bits];
  }));
  const [rx, tx] = both.map(points => points.at(-1)?.[1] ?? null);
  const most = Math.max(1000, ...both.flat().map(point => point[1])), unit = 10 ** Math.floor(Math.log10(most));
  const top = [1, 2, 5, 10].find(factor => factor * unit >= most) * unit;
  const known = signal.map(([time, value]) => [time, isKnown(value) ? value : null]), values = known.map(point => point[1]).filter(value => value !== null);
  setText('rx', rx === null ? '–' : rate(rx));
  setText('tx', tx === null ? '–' : rate(tx));
  plot('signal-plot', 'Signal in the last hour: ' + (values.length ? `between ${Math.min(...values)} and ${Math.max(...values)} of 31, last ${values.at(-1)}` : 'not known'),
    [known], 31, [0, 10, 20, 31], value => String(value));
  plot('traffic-plot', `Throughput in the last hour: at most ${rate(most)}, ` + (rx === null ? 'now not known' : `now ${rate(rx)} received and ${rate(tx)} sent`),
    both, top, [0, top / 2, top], rate);
  if ($('signal-table').parentNode.open) fill('signal-table', ['From', 'Mean signal'], means([known], value => value.toFixed(1)));
  if ($('traffic-table').parentNode.open) fill('traffic-table', ['From', 'Received', 'Sent'], means(both, rate));
}

// Jobs:

function showJobs() {
  const { scan = {}, upgrade = {} } = jobs, { percent, text } = stage(upgrade);
  $('searching').hidden = !scan.running;
  $('upgrading').hidden = !upgrade.running;
  if (scan.running) setText('clock', `${Math.max(0, Math.round((Date.now() + skew - scan.started) / 1000))} s`);
  setText('upgrading-state', text);
  setText('stage', text);
  $('course').hidden = !upgrade.objects;
  $('bar').value = percent;
}

function showOutcome(job, good, bad) {
  const { exit } = jobs[job] || {};
  tell($(job), exit === undefined ? '' : exit ? bad : good, exit ? 'bad' : 'good');
}

function showOutcomes() {
  const { scan = {} } = jobs, { objects = [], running } = scan;
  showJobs();
  showOutcome('upgrade', 'The modem has its new firmware.', 'The upgrade has failed.');
  showOutcome('scan', `${objects.length} operators found.`, plain(scan));
  $('operators').hidden = running || !objects.length;
  fill('operators', ['Operator', 'First', 'Second', 'Numbers'], objects.map(object => [object.name, object.first, object.second,
    [1, 2, 3, 4, 5].map(n => object['number' + n]).join(' ')]));
}

function stage(job) {
  const { objects = [], running, started, exit } = job, last = objects.at(-1) || {}, percent = objects.findLast(object => object.event === 'progress')?.percent || 0;
  const text = { start: 'Preparing the modem', progress: `${percent} %, ${last.bytes} of ${last.total} bytes`,
    sent: 'Sent. The modem installs the image and restarts', upgraded: 'Upgraded' }[last.event];
  return { percent, text: !running && exit ? plain(job) : text || (running ? started ? 'Starting' : 'begun by another program' : '') };
}

function onJob({ job, object, ...rest }) {
  const known = jobs[job]?.started === rest.started ? jobs[job] : {};
  jobs[job] = { ...known, ...rest, objects: [...known.objects || [], ...object ? [object] : []] };
  showOutcomes();
  if (job === 'upgrade' && object?.event !== 'progress') say(stage(jobs.upgrade).text);
  if (job === 'scan' && rest.running) say('Search started');
}

// Parameters:

let values = [], defaults = new Map();
async function findValues() {
  if (!session.login) return;
  const failed = error => tell($('filter'), error.message, 'bad');
  values = await run('nv').catch(failed) || [];
  defaults = new Map();
  showValues();
  for (const object of await run('nv/diff').catch(failed) || []) defaults.set(object.name, object.default || '(empty)');
  if (defaults.size) showValues();
}

function showValues() {
  const find = $('find').value.toLowerCase(), only = $('changed').checked;
  const rows = values.filter(({ name, value }) => (!only || defaults.has(name)) && `${name}=${value}`.toLowerCase().includes(find));
  tell($('filter'), `${rows.length} of ${values.length}, ${defaults.size} differ from their defaults`);
  fill('values', ['Name', 'Value', 'Default, where it differs', 'Kind', 'Edit'], rows.map(object => [object.name, object.value, defaults.get(object.name) || '',
    [...BITS.filter((_, bit) => object.bits >> bit & 1), ...object.source === 'backup' ? ['from the backup'] : []].join(', '),
    make('button', { type: 'button', className: 'small', ariaLabel: `Edit ${object.name}`, onclick: () => edit(object) }, 'Edit')]));
}

async function edit({ name, value, bits }) {
  const to = await ask(name, 'The new value is stored at once.', 'Save', ...bits & SECRET ? ['', 'password'] : [value]);
  if (to === null) return;
  await run('nv/set', { name, value: to }).then(async () => {
    await findValues();
    say(`${name} stored`);
  }, error => tell($('filter'), error.message, 'bad'));
  all('#values button').find(button => button.ariaLabel === `Edit ${name}`)?.focus();
}

// Diagnostics:

const trace = object => (object.unit ? `[${object.unit}:${object.function}:${object.line}]` : '') + (object.text ?? object.line);
function addLines(id, lines) {
  const box = $(id), follows = box.scrollTop + box.clientHeight > box.scrollHeight - 20;
  box.append(...lines.map(line => line + '\n'));
  while (box.childNodes.length > 1000) box.firstChild.remove();
  if (follows) box.scrollTop = box.scrollHeight;
}

async function findTrace() {
  if (!session.login) return;
  const lines = await run('trace').catch(error => [{ text: error.message }]);
  $('trace').replaceChildren();
  addLines('trace', lines.map(trace));
}

async function findLevels() {
  const objects = await run('log').catch(() => []), levels = ['debug', 'info', 'error'];
  fill('levels', ['Module', ...levels], objects.filter(object => object.module).map(({ module, ...is }) => [module, ...levels.map(level =>
    make('input', { type: 'checkbox', ariaLabel: `${module} ${level}`, checked: is[level] === 'on', onchange: flip('log', { module, level }) }))]));
  $('log-time').checked = objects.find(object => object.time)?.time === 'on';
}

/** What a switch does: it goes back when the router refuses. */
const flip = (path, body) => async ({ target }) => {
  const name = target.ariaLabel || target.parentNode.textContent.trim(), value = target.checked ? 'on' : 'off';
  target.ariaBusy = 'true';
  await run(path, { ...body, value }).then(() => tell(target.form, `${name}: ${value}.`, 'good'), error => {
    target.checked = !target.checked;
    tell(target.form, error.message, 'bad');
  });
  target.ariaBusy = 'false';
  refresh();
};

async function findBus() {
  const names = await run('bus').catch(() => []);
  $('bus').replaceChildren(...names.length ? [] : [make('li', {}, 'No process has bound a name.')], ...names.map(object => {
    const messages = [...object.answers || [], ...object.takes || []];
    return make('li', {}, make('b', {}, object.endpoint), make('span', {}, [object.module && `module ${object.module}`,
      object.pid ? `process ${object.pid}` : object.kind, object.status].filter(Boolean).join(', ')),
    ...messages.length ? [make('details', {}, make('summary', {}, `Serves ${messages.length} requests`), messages.join(', '))] : []);
  }));
}

// Pages:

const finders = {
  overview: async () => {
    showPlots();
    [{ value: channel }] = await run('channel').catch(() => [{}]);
    showState();
  },
  network: showState,
  sim: async () => {
    if (session.login) [{ imsi }] = await run('imsi').catch(() => [{}]);
    showState();
  },
  parameters: findValues,
  firmware: showJobs,
  diagnostics: () => Promise.all([findTrace(), findBus(), findLevels()]),
};

function showPage(focus) {
  const name = location.hash.slice(1) in finders ? location.hash.slice(1) : shown || 'overview';
  if (name === shown) return;
  shown = name;
  for (const section of all('section')) section.hidden = section.id !== name;
  for (const at of all('nav a')) {
    at.ariaCurrent = at.hash === '#' + name ? 'page' : null;
    if (at.ariaCurrent) document.title = `${at.textContent} – LTE router`;
  }
  finders[name]();
  if (focus) {
    $(name).querySelector('h1').focus();
    scrollTo(0, 0);
  }
}

// What the router tells by itself:

let source, opened, heard;
const told = {};
const onEvent = object => {
  const { event, status, interface: name, ip } = object, at = [name, ip].filter(Boolean).join(', ');
  const text = sentence({ link: 'link', interface: 'interface', manager: 'WAN manager' }[event] + ` ${status}` + (at && ': ' + at));
  if (event === 'link') link = object;
  if (event === 'manager') gone = status === 'gone';
  showState();
  refresh();
  if (told[event] === text) return; // the stream was opened again
  const before = !told[event] && Date.now() - opened < 1000;
  told[event] = text;
  if (!before) say(text);
  $('events').prepend(make('p', {}, make('time', {}, before ? 'before' : clock(Date.now() + skew)), text));
  if ($('events').childNodes.length > 100) $('events').lastChild.remove();
};
const listeners = {
  link: onEvent,
  interface: onEvent,
  manager: onEvent,
  job: onJob,
  trace: object => addLines('trace', [trace(object)]),
  alive: () => {},
  sample: ({ time, signal: csq, rx_bytes: rx, tx_bytes: tx }) => {
    if (Math.abs(time - Date.now() - skew) > 5e3) return begin(); // its clock was set
    signal.push([time, csq]);
    traffic.push([time, rx, tx]);
    for (const list of [signal, traffic]) while (list[0][0] < time - HOUR) list.shift();
    showPlots();
    refresh();
  },
};

async function findJobs() {
  const known = await call('jobs').catch(() => ({}));
  for (const job in known) {
    const { started, running } = known[job];
    if (!running || !started || started !== jobs[job]?.started) jobs[job] = known[job];
  }
  showOutcomes();
}

async function begin() {
  await findSession();
  const history = await call('history').catch(() => ({}));
  if (history.now) skew = history.now - Date.now();
  ({ signal = [], traffic = [] } = history);
  if (history.every > 30) gap = 3e3 * history.every;
  await findJobs();
  finders[shown]();
}

function lose() {
  if ($('offline').hidden) say('The router does not answer');
  $('offline').hidden = false;
  showState();
}

/** Again after a login, with which the stream has the trace, too. */
function listen() {
  source?.close();
  heard = Date.now();
  const at = source = new EventSource('api/events');
  at.onopen = () => {
    opened = Date.now();
    $('offline').hidden = true;
    begin();
  };
  at.onerror = () => {
    lose();
    if (at === source && at.readyState === EventSource.CLOSED) setTimeout(listen, 5000);
  };
  for (const kind in listeners) at.addEventListener(kind, event => {
    heard = Date.now();
    listeners[kind](JSON.parse(event.data));
  });
}

// Controls:

for (const form of all('form')) {
  if ('login' in form.dataset) form.replaceChildren(make('fieldset', { disabled: true }, ...form.childNodes), make('p', { className: 'login' }));
  form.append(make('output'));
}
for (const input of all('[data-post^=pin] input')) {
  Object.assign(input, { type: 'password', inputMode: 'numeric', autocomplete: 'off', minLength: 4, maxLength: 8, pattern: '[0-9]+', required: true });
}
for (const [id, names] of [['nettype', NETWORKS], ['pref', RADIOS]]) {
  $(id).append(make('option', { value: '' }, 'Choose…'), ...names.map((name, value) => make('option', { value }, name)));
}
for (const form of all('[data-post]')) {
  const { post } = form.dataset;
  onSubmit(form, async () => {
    if (post === 'nv/reset' && await ask('Reset settings', 'All settings get their default values back. Save them to a file before, if you may need them again.', 'Reset settings') === null) return '';
    const objects = await run(post, Object.fromEntries(new FormData(form)));
    if (post.startsWith('pin')) form.reset();
    if (post === 'nv/reset') await findValues();
    refresh();
    return objects[0].status ? `PIN ${objects[0].status}.` : post === 'nv/reset' ? `${objects.at(-1).applied} parameters have their defaults.` : 'Set.';
  });
}
onSubmit($('linking'), async event => {
  const { name } = event.submitter;
  await run(name, {});
  return `Asked to ${name}.`;
});
$('roam').onchange = flip('roam');
$('log-time').onchange = flip('log', { module: 'time', level: '' });
onSubmit($('scan'), async () => {
  await call('scan', {});
});
$('filter').onsubmit = event => event.preventDefault();
$('find').oninput = $('changed').onchange = showValues;
onSubmit($('export'), async () => {
  const { file, ...said } = await call('nv/export', {});
  if (!file) throw Error(plain(said));
  const url = URL.createObjectURL(file);
  make('a', { href: url, download: 'parameters.cfg' }).click();
  setTimeout(() => URL.revokeObjectURL(url), 1000);
  return 'Saved as parameters.cfg.';
});
onSubmit($('import'), async ({ submitter }) => {
  const dry = submitter !== $('import-now'), counts = {};
  if (!dry && await ask('Load parameters', 'The parameters that were shown get their new values.', 'Load') === null) return '';
  const objects = await run(dry ? 'nv/import?dry-run' : 'nv/import', $('import-file').files[0]), changes = objects.filter(object => object.action === 'change');
  for (const { action } of objects) if (action) counts[action] = (counts[action] || 0) + 1;
  fill('planned', ['Name', 'Value', 'Becomes'], changes.map(object => [object.name, object.old || '(empty)', object.new || '(empty)']));
  $('planned').hidden = !changes.length;
  $('import-now').disabled = !dry;
  if (dry) return `In the file: ${Object.entries(counts).map(([action, count]) => `${action} ${count}`).join(', ')}.`;
  findValues();
  return `${objects.at(-1).applied} lines applied.`;
});
$('import-file').onchange = () => {
  $('planned').hidden = $('import-now').disabled = true;
  tell($('import'));
};
onSubmit($('upgrade'), async () => {
  const [image] = $('image').files;
  if (await ask('Upgrade the modem', `${image.name}, ${scaled(image.size, 'B')}: the modem’s firmware is replaced, and the link is lost meanwhile.`, 'Upgrade') === null) return '';
  tell($('upgrade'), 'The image goes to the router…');
  await call('upgrade', image);
});
onSubmit($('at'), async () => {
  const command = $('command').value;
  addLines('answers', ['> ' + command]);
  const [{ answer }] = await run('at', { command });
  addLines('answers', [answer.replace(/\r/g, '').trim()]);
  $('command').select();
  return '';
});
$('bus-again').onclick = findBus;
onSubmit($('login').querySelector('form'), logIn);
$('session').onclick = async event => {
  if (!session.login) return openLogin(event);
  await call('logout', {}).catch(() => {});
  location.reload(); // nothing of the session stays
};
$('cancel').onclick = () => $('login').close();
for (const details of all('details')) details.ontoggle = showPlots;
onhashchange = () => showPage(true);
onresize = showPlots;
setInterval(() => {
  showJobs();
  if (document.hidden || Date.now() - heard < 35e3) return;
  lose(); // without a word: it hangs, or has no power
  listen();
}, 1000);
/** A browser has few connections to one router: a page that nobody sees does without. */
document.onvisibilitychange = () => document.hidden ? source.close() : listen();
showPage();
listen();
