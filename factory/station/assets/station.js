// The operator's page. The station has the state; the page shows it and sends what was scanned, typed or pressed. Texts
// of phones, scanners and people go into the page as text alone.
import {picture, sign, svg} from '/pictures.js';

const kLostAfterMs = 5000;
const kAnswerMs = 10000;   // a scan waits for the store, too
const kQuietMs = 700;      // an Enter this soon after a scan, or after a prompt appeared, was not meant for the prompt
const kSaidMs = 8000;      // how long a refusal stays
const kHalfScanMs = 15000; // then a text without its end is not taken for the beginning of the next one
const kArmedMs = 4000;     // how long a key that ends something waits for its second press
const kLivePoints = 40;
const kAlertsMax = 2;
const kKeys = {F2: 'sound', F8: 'skip', F9: 'stop'};

const find = (name, from = document) => from.querySelector(name);
const by = (id) => document.getElementById(id);
const scan = by('scan');
const tiles = new Map();  // by the slot's name
let texts = {};
let token = find('meta[name=page-token]').content;
let state = null;
let told = 0;  // when
let selected = sessionStorage.getItem('slot');
let armed = null;  // {slot, run, what}: what a second press ends
let lastScan = -Infinity;
let said = 0;    // the timer of what is refused
let saidAt = 0;  // counts it
let halfScan = 0;

// Texts

// What a phone or a scanner says is no name of what objects have by themselves.
const own = (table, key) => table && Object.hasOwn(table, key) ? table[key] : undefined;

// `{0}` is the first argument; what stands in brackets falls away where an argument in it is empty.
function fill(pattern, values = []) {
  const word = (index) => own(texts.words, values[index]) ?? values[index] ?? '';
  const whole = (part) => [...part.matchAll(/\{(\d)\}/g)].every(([, index]) => word(index) !== '');
  return pattern.replace(/\[([^\]]*)\]/g, (_, part) => whole(part) ? part : '')
    .replace(/\{(\d)\}/g, (_, index) => word(index));
}
const say = (key, ...values) => fill(texts.page[key], values);

// What a record or the station says, by its code where this language has words for it, else as it was said. A code may
// come with other arguments each time.
function inWords(table, what) {
  if (typeof what === 'string') return own(texts[table], what) ?? what;
  const {code, arguments: values = [], text} = what;
  const pattern = own(texts[table], `${code}/${values.length}`) ?? own(texts[table], code || text);
  return pattern ? fill(pattern, values) : text || code;
}

// The first pattern that fits, as of the runner's own words; "%" is the rest of the value.
function fitting(table, value) {
  for (const [pattern, words] of Object.entries(table ?? {})) {
    const [before, open] = pattern.split('%');
    const fits = open === undefined ? value === pattern : value.startsWith(before);
    if (fits) return words.replace('%', () => value.slice(before.length));
  }
  return null;
}
const instruction = (key, value) => fitting(own(texts.fixture, key), value);

// What a step is called where its plan gives it no name of its own: by what it does.
const isSetting = (name) => /^set( [a-z-]+=\S+)+$/.test(name);
function nameOf(name) {
  const settings = isSetting(name) ? name.split(' ').slice(1).map((each) => each.split('=')) : [];
  const known = settings.map(([key, value]) => instruction(key, value));
  if (known.length > 0 && known.every(Boolean)) return known.join('；');
  return fitting(texts.names, name) ?? name;
}

const clock = (seconds) => `${Math.floor(seconds / 60)}:${String(Math.floor(seconds % 60)).padStart(2, '0')}`;

// The page's nodes: changed only where what they show has changed.

function show(node, text) {
  if (node.textContent !== text) node.textContent = text;
}

function element(name, text = '', kind = '') {
  const out = document.createElement(name);
  out.textContent = text;
  if (kind) out.className = kind;
  return out;
}

function rebuild(node, what, make) {
  const key = JSON.stringify(what);
  if (node.shown === key) return false;
  node.shown = key;
  node.replaceChildren(...make());
  return true;
}

// What operators need not read, behind what they do.
function folded(words, raw) {
  const item = element('li');
  const details = element('details');
  details.append(element('summary', words), element('code', raw));
  item.append(details);
  return item;
}

const fits = (node) => node.scrollHeight <= node.clientHeight + 1;

// Smaller type where a text does not fit its place, and never larger than the style has it.
function fit(node, least = 5) {
  for (let tenths = 10; tenths >= least; --tenths) {
    node.style.setProperty('--fit', tenths / 10);
    if (fits(node)) return;
  }
}

// Where a tile has no place for all that is wanted in a type that can be read, the last line counts the rest.
function fitWanted(node) {
  const items = [...node.children];
  const rest = items.pop();
  if (!rest) return;
  rest.hidden = true;
  for (const item of items) item.hidden = false;
  fit(node, 8);
  for (let shown = items.length - 1; shown > 0 && !fits(node); --shown) {
    items[shown].hidden = true;
    rest.hidden = false;
    show(rest, say('more', items.length - shown));
  }
}

// Sound: off until it is switched on.

let audio = null;
const kTones = {
  passed: [880, 1320], failed: [330, 220], error: [330, 220, 330], aborted: [330], prompt: [660, 660], refused: [180, 180],
};
const soundIsOn = () => localStorage.getItem('sound') === 'on';

function sound(what) {
  if (!soundIsOn()) return;
  audio ??= new AudioContext();
  audio.resume();
  kTones[what].forEach((frequency, index) => {
    const tone = new OscillatorNode(audio, {frequency});
    const volume = new GainNode(audio, {gain: 0.15});
    tone.connect(volume).connect(audio.destination);
    tone.start(audio.currentTime + index * 0.16);
    tone.stop(audio.currentTime + index * 0.16 + 0.13);
  });
}

function switchSound() {
  localStorage.setItem('sound', soundIsOn() ? 'off' : 'on');
  sound('passed');
  showSound();
}
const showSound = () => show(by('sound'), say(soundIsOn() ? 'sound-on' : 'sound-off'));

// What the station refuses, large, for some seconds.
function tell(what, typed = '') {
  const box = by('said');
  box.replaceChildren(element('b', typed.slice(0, 64)), element('span', inWords('refused', what)));
  box.hidden = false;
  ++saidAt;
  clearTimeout(said);
  said = setTimeout(() => { box.hidden = true; }, kSaidMs);
  sound('refused');
}

// Asking the station

async function post(path, body, typed = '') {
  const at = saidAt;
  try {
    const response = await fetch(path, {
      method: 'POST', headers: {'Content-Type': 'application/json', 'X-Page-Token': token}, body: JSON.stringify(body),
      signal: AbortSignal.timeout(kAnswerMs),
    });
    const answer = await response.json();
    if (!response.ok) return tell(answer, typed);
    if (at === saidAt) by('said').hidden = true;  // not what was refused since
    if (answer.done === 'selected') select(answer.slot);
  } catch {
    tell({code: 'no-answer', text: say('no-answer')}, typed);
  }
}

const several = () => state.slots.length > 1;
const current = () => state?.slots.find(({slot}) => slot === selected);

function select(slot) {
  selected = slot;
  sessionStorage.setItem('slot', slot);
  render();
}

function answer(slot, what) {
  if (slot.prompt) post('/answer', {slot: slot.slot, run: slot.run, prompt: slot.prompt.prompt, answer: what});
}

// One at a time: a label may select the slot that the next scan is for.
async function send(typed) {
  if (scan.placeholder) return tell({code: 'too-fast'}, typed);
  scan.placeholder = typed;
  await post('/scan', {slot: selected, text: typed}, typed);
  scan.placeholder = '';
}

// Enter: what was scanned goes to the station, which knows a serial number from a person's, a slot's or a prompt's code.
// Enter alone answers the prompt of the selected slot, but not one that an operator cannot have read yet, nor as the
// second half of a scanner's line end.
function entered(repeated) {
  const typed = scan.value;
  const now = performance.now();
  scan.value = '';
  scan.inputMode = 'none';
  if (typed !== '') {
    lastScan = now;
    send(typed);
  } else if (!repeated && now - lastScan > kQuietMs) {
    const slot = current();
    if (slot && now - tiles.get(slot.slot).asked > kQuietMs) answer(slot, 'done');
  }
}

// What ends something wants its key or button twice.
function deliberately(slot, what) {
  if (slot?.phase !== 'running' && slot?.phase !== 'starting') return;
  if (what === 'skip' && !slot.prompt) return;
  if (armed?.slot !== slot.slot || armed.run !== slot.run || armed.what !== what) {
    armed = {slot: slot.slot, run: slot.run, what};
    setTimeout((one) => { if (armed === one) { armed = null; render(); } }, kArmedMs, armed);
  } else {
    armed = null;
    if (what === 'skip') answer(slot, 'skip');
    else post('/stop', {slot: slot.slot, run: slot.run});
  }
  render();
}

function pressed(event) {
  if (!state || event.isComposing) return;
  const number = event.altKey && /^Digit([1-9])$/.exec(event.code)?.[1];
  const empty = scan.value === '';
  if (event.key === 'Enter' || (event.key === 'Tab' && !empty)) {  // scanners end with either
    entered(event.repeat);
  } else if (event.key === 'Tab' && several()) {
    const at = state.slots.findIndex(({slot}) => slot === selected);
    const count = state.slots.length;
    select(state.slots[at < 0 ? 0 : (at + (event.shiftKey ? count - 1 : 1)) % count].slot);
  } else if (number) {
    if (state.slots[number - 1]) select(state.slots[number - 1].slot);
  } else if (event.key === 'Escape') {
    scan.value = '';
  } else if (kKeys[event.key] === 'sound') {
    switchSound();
  } else if (kKeys[event.key]) {
    // Within a scan it is one of the label's control characters, as scanners type them.
    if (empty && !event.repeat) deliberately(current(), kKeys[event.key]);
  } else if (!event.ctrlKey || 'acvxr+-0'.includes(event.key)) {  // nor do those open what the browser has for them
    if (document.activeElement !== scan) scan.focus();
    return;
  }
  event.preventDefault();
}

// Tiles

function tileOf(name) {
  if (tiles.has(name)) return tiles.get(name);
  const root = by('tile').content.cloneNode(true).firstElementChild;
  const at = {root, bar: find('progress', root)};
  for (const node of root.querySelectorAll('[class]')) at[node.className] = node;
  const sizes = new ResizeObserver((changes) => changes.forEach(({target}) => (target === at.wanted ? fitWanted : fit)(target)));
  sizes.observe(at.wanted);
  sizes.observe(at.over);
  const tile = {at, phase: '', run: null, step: null, prompt: '', asked: -Infinity, charted: '', axes: []};
  const slot = () => state.slots.find((each) => each.slot === name);
  root.addEventListener('click', () => { if (several()) select(name); });
  at.done.addEventListener('click', () => answer(slot(), 'done'));
  at.skip.addEventListener('click', () => deliberately(slot(), 'skip'));
  at.stop.addEventListener('click', () => deliberately(slot(), 'stop'));
  tiles.set(name, tile);
  return tile;
}

function renderPrompt(tile, slot) {
  const {at} = tile;
  const {prompt} = slot;
  const key = prompt ? `${slot.run} ${prompt.prompt}` : '';
  if (key !== tile.prompt) {
    tile.prompt = key;
    tile.asked = performance.now();
    if (prompt) sound('prompt');
  }
  const anew = rebuild(at.wanted, prompt && [prompt.settings, prompt.instructions], () => {
    const settings = Object.entries(prompt?.settings ?? {});
    const known = settings.map(([name, value]) => instruction(name, value));
    const words = settings.length > 0 && known.every(Boolean) ? known : prompt?.instructions ?? [];
    const items = words.map((text, index) => {
      const item = element('li');
      const [name, value] = settings[index] ?? ['', ''];
      item.append(picture(name, value), element('p', text));
      return item;
    });
    return items.length > 0 ? [...items, element('li', '', 'rest')] : [];
  });
  at.wanted.dataset.count = Math.min(prompt?.instructions.length ?? 0, 5);
  if (anew) fitWanted(at.wanted);
}

function renderButtons(at, slot) {
  const isArmed = (what) => armed?.slot === slot.slot && armed.run === slot.run && armed.what === what;
  at.done.hidden = at.skip.hidden = !slot.prompt;
  show(at.done, say(slot.slot === selected ? 'done' : 'done-by-code', slot.prompt?.code ?? ''));
  for (const what of ['skip', 'stop']) {
    at[what].classList.toggle('armed', isArmed(what));
    show(at[what], say(isArmed(what) ? `${what}-again` : what));
  }
}

function renderVerdict(at, slot) {
  const {verdict, failing, problem} = slot;
  const most = several() ? 1 : 2;  // lines that can be read from afar
  rebuild(at.verdict, verdict, () => verdict ? [sign(verdict), element('span', texts.verdicts[verdict])] : []);
  const reasons = failing?.reasons.map((reason) => inWords('reasons', reason)) ?? [];
  show(at.failing, failing ? say('failing', failing.step, nameOf(failing.name)) : '');
  rebuild(at.why, [verdict, reasons, problem], () => {
    const words = problem ? inWords('problems', problem) : '';
    const last = words !== problem?.text && problem?.last_words;
    const lines = [words, last, ...reasons].filter(Boolean);
    const more = lines.length > most ? [say('more', lines.length - most)] : [];
    return [...lines.slice(0, most), ...more].map((text) => element('li', text));
  });
  const hints = failing?.hints.map((hint) => inWords('hints', hint)) ?? [];
  if (verdict === 'error' && hints.length === 0) hints.push(say('try-error'));
  rebuild(at.try, hints, () => hints.slice(0, most).map((text) => element('li', text)));
  if (rebuild(at.over, [slot.phase, slot.run, slot.slot], () => at.over.childNodes)) fit(at.over);
}

function renderTime({at}, slot) {
  const known = slot.phase === 'running' && slot.left_seconds !== null;
  show(at.left, known ? say('left', clock(Math.max(0, slot.left_seconds - (performance.now() - told) / 1000))) : '');
}

function renderTile(slot) {
  const tile = tileOf(slot.slot);
  const {at} = tile;
  if (slot.phase === 'over' && tile.phase && tile.phase !== 'over') sound(slot.verdict);
  if (tile.run !== slot.run || tile.step !== slot.step) clearChart(tile);
  [tile.run, tile.step, tile.phase] = [slot.run, slot.step, slot.phase];
  const mine = slot.slot === selected;
  at.root.dataset.phase = slot.phase;
  at.root.dataset.verdict = slot.phase === 'over' ? slot.verdict : '';
  at.root.classList.toggle('selected', several() && mine);
  at.root.classList.toggle('asks', slot.prompt !== null);
  show(at.slot, several() ? say('slot', slot.slot) : '');
  show(at.serial, slot.phase === 'idle' ? '' : slot.serial);
  show(at.retest, slot.retest > 0 ? say('retest', slot.retest) : '');
  show(at.here, several() && mine ? say('here') : '');
  const signIn = state.operators && !state.operator;
  show(at.big, say(signIn ? 'sign-in' : state.golden?.due ? 'golden' : 'idle'));
  const goldenMore = state.golden?.due ? say('golden-more', state.golden.serials) : '';
  show(at.more, several() && !mine ? say('select') : signIn ? '' : goldenMore);
  show(at.count, slot.phase === 'starting' ? say('starting') : say('step', slot.step, slot.steps));
  at.bar.max = slot.steps || 1;
  at.bar.value = Math.max(0, (slot.step || 1) - 1);
  at.bar.ariaLabel = at.count.textContent;
  const told = slot.prompt && isSetting(slot.name);  // the prompt says it
  const kind = told ? '' : inWords('kinds', slot.kind ?? '');
  show(at.name, told ? inWords('kinds', slot.kind) : nameOf(slot.name ?? ''));
  show(at.kind, [kind, slot.tag, slot.attempt > 1 ? say('attempt', slot.attempt) : ''].filter(Boolean).join(' · '));
  show(at.warns, [slot.warns && say('warns', slot.warns.replace(/^cannot be undone: /, '')), slot.remark].filter(Boolean).join(' · '));
  renderPrompt(tile, slot);
  renderButtons(tile.at, slot);
  renderVerdict(tile.at, slot);
  renderTime(tile, slot);
  return at.root;
}

// Live samples: a line for each axis, within its limits where there are any.

function clearChart(tile) {
  tile.charted = '';
  tile.axes = [];
  tile.at.live.replaceChildren();
  show(tile.at.restarts, '');
}

function axisRow(units) {
  const row = element('div', '', 'axis');
  const band = svg('rect', {x: 0, width: kLivePoints, class: 'band'});
  const curve = svg('polyline', {class: 'curve'});
  const number = element('span', '', 'number');
  const frame = {viewBox: `0 0 ${kLivePoints} 40`, preserveAspectRatio: 'none', 'aria-hidden': 'true'};
  row.append(svg('svg', frame, band, curve), number, element('span', units.replace('^2', '²'), 'units'));
  return {row, band, curve, number, points: []};
}

// As wide as its place.
function short(value) {
  if (!Number.isFinite(value)) return '—';
  const size = Math.abs(value);
  if (size >= 1e7 || (size > 0 && size < 1e-3)) return value.toExponential(2);
  return String(Number(value.toPrecision(size >= 1000 ? 6 : 4)));
}

function drawAxis(axis, value, limits) {
  if (axis.points.push(value) > kLivePoints) axis.points.shift();
  const known = axis.points.filter(Number.isFinite);
  const [low, high] = limits ?? [null, null];
  const outside = !Number.isFinite(value) || (low !== null && value < low) || (high !== null && value > high);
  const ends = [...known, ...[low, high].filter((limit) => limit !== null)];
  let [least, most] = ends.length ? [Math.min(...ends), Math.max(...ends)] : [0, 1];
  const margin = (most - least) * 0.15 || Math.abs(most) * 0.01 || 1;
  [least, most] = [least - margin, most + margin];
  const y = (each) => (40 * (most - each) / (most - least)).toFixed(2);
  const points = axis.points.map((each, x) => Number.isFinite(each) ? `${x},${y(each)}` : '');
  axis.curve.setAttribute('points', points.join(' '));
  axis.band.setAttribute('y', limits ? y(high ?? most) : 0);
  axis.band.setAttribute('height', limits ? y(low ?? least) - y(high ?? most) : 0);
  axis.row.classList.toggle('outside', outside);
  show(axis.number, short(value));
}

function showLive(live) {
  const tile = tiles.get(live.slot);
  if (!tile || tile.run !== live.run || tile.phase !== 'running') return;
  const of = [live.run, live.step, live.tag, live.values.length].join();
  if (tile.charted !== of) {
    tile.charted = of;
    tile.axes = live.values.slice(0, 8).map(() => axisRow(live.units ?? ''));
    tile.at.live.replaceChildren(...tile.axes.map(({row}) => row));
  }
  show(tile.at.restarts, live.restarts > 0 ? say('restarts', live.restarts) : '');
  tile.axes.forEach((axis, index) => drawAxis(axis, live.values[index], live.limits?.[index]));
}

// The whole page

function renderShift() {
  const {shift} = state;
  const format = (value, options) => new Intl.NumberFormat(state.language, options).format(value);
  const number = (value, options) => value === null ? '–' : format(value, options);
  const figures = {
    phones: number(shift.phones),
    'first-pass': number(shift.first_pass, {style: 'percent', maximumFractionDigits: 1}),
    retests: number(shift.retests),
    errors: number(shift.errors),
    seconds: number(shift.seconds_per_phone, {maximumFractionDigits: 0}),
  };
  rebuild(by('shift'), figures, () => Object.entries(figures).map(([key, value]) => {
    const pair = element('div');
    pair.append(element('dt', say(key)), element('dd', value));
    return pair;
  }));
  rebuild(by('last'), shift.last, () => shift.last.slice(0, 10).map(({serial, verdict, seconds, at, step}) => {
    const item = element('li', '', verdict);
    item.title = [serial, texts.verdicts[verdict], at, nameOf(step)].filter(Boolean).join(' · ');
    const tail = serial.length > 7 ? `…${serial.slice(-6)}` : serial;
    item.append(sign(verdict), element('b', tail), element('span', clock(seconds)));
    return item;
  }));
}

function render() {
  if (!state) return;
  if (!several()) selected = state.slots[0].slot;
  document.title = state.station;
  show(by('station'), state.station);
  show(by('runs'), state.store ? say('runs') : '');
  const {name, code} = state.operator ?? {};
  show(by('operator'), [name, code].filter(Boolean).join(' · ') || (state.operators ? say('nobody') : ''));
  const strip = state.alerts.slice(0, kAlertsMax).map((alert) => inWords('alerts', alert));
  if (state.alerts.length > kAlertsMax) strip.push(say('more', state.alerts.length - kAlertsMax));
  if (state.waiting) strip.push(say('waiting', state.waiting));
  const {store_problem: problem} = state;
  rebuild(by('strip'), [strip, problem], () => [
    ...strip.map((text) => element('li', text)),
    ...(problem ? [folded(inWords('problems', problem), problem.text)] : []),
  ]);
  renderShift();
  const roots = state.slots.map(renderTile);
  rebuild(by('slots'), state.slots.map(({slot}) => slot), () => roots);
  by('slots').className = `slots n${Math.min(state.slots.length, 7)}`;
  const [only] = state.slots;
  document.body.className = several() ? 'several' : 'alone';
  document.body.dataset.verdict = only.phase === 'over' && !several() ? only.verdict : '';
  show(find('label[for=scan]'), several() && current() ? say('scan-slot', selected) : say('scan'));
}

// The connection. What broke comes back by itself; a station that was started anew has another token.

let source = null;
let heard = performance.now();
let lost = false;

function setLost(now) {
  lost = now;
  by('lost').hidden = !now;
}

async function returned() {
  const html = await (await fetch('/')).text();
  token = find('meta[name=page-token]', new DOMParser().parseFromString(html, 'text/html')).content;
  setLost(false);
}

function took(event) {
  heard = performance.now();
  const next = JSON.parse(event.data);
  if (state && (state.version !== next.version || state.language !== next.language)) return location.reload();
  state = next;
  told = heard;
  try {
    render();
  } catch (error) {
    setLost(true);  // the screen shows what was
    throw error;
  }
  if (lost) returned().catch(() => {});  // the next state tries again
}

function connect() {
  source?.close();
  source = new EventSource('/events');
  source.addEventListener('state', took);
  source.addEventListener('live', (event) => { heard = performance.now(); showLive(JSON.parse(event.data)); });
  source.addEventListener('beat', () => { heard = performance.now(); });
  source.addEventListener('error', () => setLost(true));
}

// A browser has few connections to one station: a window that nobody sees holds none.
function seen() {
  source?.close();
  source = null;
  if (document.hidden) return;
  heard = performance.now();
  connect();
}

function everySecond() {
  const silent = performance.now() - heard;
  if (source && silent > kLostAfterMs) setLost(true);
  if (source && lost && (source.readyState === EventSource.CLOSED || silent > 2 * kLostAfterMs)) {
    heard = performance.now() - kLostAfterMs;
    connect();
  }
  for (const slot of state?.slots ?? []) renderTime(tiles.get(slot.slot), slot);
}

async function start() {
  texts = await (await fetch('/texts.json')).json();
  by('lost').children[0].textContent = say('lost');
  by('lost').children[1].textContent = say('lost-more');
  showSound();
  by('sound').addEventListener('click', switchSound);
  document.addEventListener('keydown', pressed);
  // A tablet's own keyboard comes where the field is touched, not whenever it has the focus.
  scan.addEventListener('pointerdown', () => { scan.inputMode = 'text'; });
  scan.addEventListener('input', () => {
    clearTimeout(halfScan);
    halfScan = setTimeout(() => { scan.value = ''; }, kHalfScanMs);
  });
  scan.addEventListener('blur', () => setTimeout(() => scan.focus()));
  addEventListener('focus', () => scan.focus());
  scan.focus();
  document.addEventListener('visibilitychange', seen);
  seen();
  setInterval(everySecond, 1000);
}

start();
