// The live tuning page: modes and modules to choose from, the values of one module to change, and
// the running stream's figures while that is done.
(() => {
'use strict';
window.addEventListener('error', (e) => { document.documentElement.dataset.error = e.message; });
window.addEventListener('unhandledrejection', (e) => { document.documentElement.dataset.error = String(e.reason); });

const $ = (id) => document.getElementById(id);
const { AXES, SCENES, SCENE_BAND, html, number, percent, finite, makeCursor, plot, strip, drawAll } = Plots;
const sleep = (ms) => new Promise((done) => setTimeout(done, ms));

// ---- Asking -----------------------------------------------------------------------------------

// The answer; an Error with a text for people, and the HTTP status, if there is none.
async function ask(path, parameters = {}, body) {
  let response;
  try {
    response = await fetch(path + '?' + new URLSearchParams(parameters), body === undefined ? {} :
      { method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(body) });
  } catch {
    throw Object.assign(new Error('steadywarp tune --web has ended'), { status: 0 });
  }
  const answer = await response.json();
  if (!response.ok) throw Object.assign(new Error(answer.error), { status: response.status });
  return answer;
}
// 0 and 502: nobody is there. All else is about the question.
const isGone = (failure) => failure.status === 0 || failure.status === 502;

let service = null;
function setService(answer) {
  service = answer;
  document.documentElement.dataset.service = answer ? 'up' : 'down';
  $('status').className = answer ? '' : 'down';
  if (!answer) return;
  $('title').textContent = answer.name || 'Live tuning';
  document.title = (answer.name || answer.address) + ' – live tuning';
  $('status').textContent = `service ${answer.address}`;
}
function lost(failure) {
  setService(null);
  $('status').textContent = `The service does not answer: ${failure.message}. The page goes on when it does.`;
  $('stream').classList.add('stale');
}

// ---- Modes and modules ------------------------------------------------------------------------

const chosen = { path: '', module: '' };
function choose(path, module) {
  chosen.path = path;
  chosen.module = module;
  history.replaceState(null, '', '#' + new URLSearchParams(chosen));
  drawTree();
  openModule();
}
function item(text, current, choice, indent = 0) {
  const button = html('button', { type: 'button', 'aria-current': String(current), style: `padding-left:${8 + 14 * indent}px` }, text);
  button.addEventListener('click', choice);
  return html('li', {}, button);
}
function drawTree() {
  $('modes').replaceChildren(...service.modes.map((mode) => {
    const line = item(mode.name, mode.path === chosen.path, () => choose(mode.path, chosen.module), mode.depth);
    if (service.active.includes(mode.path)) line.firstChild.append(html('small', {}, 'in use'));
    return line;
  }));
  const names = service.modules.includes(chosen.module) || !chosen.module ? service.modules : [...service.modules, chosen.module];
  $('modules').replaceChildren(...names.map((name) => item(name, name === chosen.module, () => choose(chosen.path, name))));
}
function chooseFirst() {
  const wanted = Object.fromEntries(new URLSearchParams(location.hash.slice(1)));
  const paths = service.modes.map((mode) => mode.path);
  const path = [chosen.path, wanted.path, ...service.active].find((p) => paths.includes(p)) || paths[0];
  choose(path, chosen.module || wanted.module || service.modules[0] || '');
}
$('other').addEventListener('submit', (e) => {
  e.preventDefault();
  if (service && $('other-name').value.trim()) choose(chosen.path, $('other-name').value.trim());
});

// ---- Values -----------------------------------------------------------------------------------

// The shortest decimals that are the same float.
function shortest(text, type) {
  if (type !== 'Float' || text === '' || !isFinite(Number(text))) return text;
  const value = Number(text), stored = Math.fround(value);
  for (let digits = 1; digits < 9; digits++) {
    if (Math.fround(Number(value.toPrecision(digits))) === stored) return String(Number(value.toPrecision(digits)));
  }
  return text;
}

const SHORT = 40;         // fields of a module that is shown without folding
const first = new Map();  // what was read first, by mode, module and name
const rows = new Map();   // of the module that is open, by name
let opened = 0;           // counts openings: answers to an earlier one are not shown

const unfolded = new Set();  // headings whose fields are shown

// A name that may break behind its words.
function breakable(name) {
  return name.split(/(?<=[_.])/).flatMap((part) => [part, document.createElement('wbr')]);
}
function groupRow(name, count) {
  const button = html('button', { type: 'button', 'aria-expanded': 'false' }, ...breakable(name), html('small', {}, String(count)));
  button.addEventListener('click', () => { if (!unfolded.delete(name)) unfolded.add(name); filterRows(); });
  const node = html('tr', { class: 'group' }, html('th', { colspan: '4', scope: 'rowgroup' }, button));
  node.dataset.group = name;
  return node;
}
function emptyRow(name, group, label, type) {
  const told = html('span', { class: 'told', role: 'alert' }), now = html('td', { class: 'now' }), entry = html('td', { class: 'new' });
  const node = html('tr', { class: 'value' }, html('td', { class: 'name' }, ...breakable(label), told), html('td', { class: 'type' }, type), now, entry);
  node.dataset.name = name;
  node.dataset.group = group;
  return { node, told, now, entry };
}
// One value. Its place is kept from when the row was made.
function valueRow(name, group, label, type, value) {
  const { path, module } = chosen;
  const key = [path, module, name].join('\n');
  if (!first.has(key)) first.set(key, value);
  const { node, told, now, entry } = emptyRow(name, group, label, type);
  const was = html('span', { class: 'was' });
  let input = null, apply = null, held = value;
  const isEdited = () => input !== null && input.value.trim() !== '' && input.value.trim() !== shortest(held, type);
  const show = () => {
    now.textContent = shortest(held, type) || '–';
    now.title = held;
    const changed = held !== first.get(key);
    node.classList.toggle('changed', changed);
    node.classList.toggle('edited', isEdited());
    if (apply) apply.disabled = !isEdited();
    if (changed !== (was.childElementCount > 0)) {
      const back = html('button', { type: 'button', 'aria-label': 'Revert ' + name }, 'Revert');
      back.addEventListener('click', () => write(first.get(key)));
      was.replaceChildren(...(changed ? ['was ' + shortest(first.get(key), type), back] : []));
    }
  };
  const write = async (text) => {
    told.textContent = '';
    try {
      held = (await ask('/api/set', {}, { path, module, name, value: text })).value;
      if (input) input.value = '';
      if (Number(text) !== Number(shortest(held, type)) && Math.fround(Number(text)) !== Math.fround(Number(held))) told.textContent = `${text} became ${shortest(held, type)}`;
    } catch (failure) {
      told.textContent = failure.message;
      if (isGone(failure)) lost(failure);
    }
    show();
  };
  if (type !== 'String') {
    input = html('input', { 'aria-label': 'New value of ' + name, inputmode: 'decimal', autocomplete: 'off', spellcheck: 'false' });
    apply = html('button', { disabled: '' }, 'Apply');
    const form = html('form', {}, input, apply);
    form.addEventListener('submit', (e) => { e.preventDefault(); if (isEdited()) write(input.value.trim()); });
    input.addEventListener('input', () => { told.textContent = ''; show(); });
    entry.append(form, was);
  }
  show();
  rows.set(name, { update: (text) => { held = text; show(); } });
  return node;
}
// An array: a line that opens its elements, 64 at a time where there are more.
function arrayRows(name, group, label, field) {
  const { node, told, entry } = emptyRow(name, group, label, `${field.type} × ${field.count}`);
  const more = html('button', { type: 'button' });
  entry.append(more);
  const { path, module } = chosen, turn = opened;
  let shown = 0, last = node;
  const caption = () => { more.textContent = shown ? 'More' : 'Show'; more.hidden = shown >= field.count; };
  more.addEventListener('click', async () => {
    try {
      const values = shown === 0 && field.values ? field.values : (await ask('/api/elements', { path, module, name, first: shown })).values;
      if (turn !== opened) return;
      for (const value of values.slice(0, field.count - shown)) {
        const element = valueRow(`${name}[${shown}]`, group, `${label}[${shown}]`, field.type, value);
        last.after(element);
        last = element;
        shown++;
      }
      if (!values.length) shown = field.count;
    } catch (failure) { told.textContent = failure.message; }
    caption();
    filterRows();
  });
  caption();
  rows.set(name, { update: (values) => { field.values = values; values.forEach((v, i) => rows.get(`${name}[${i}]`)?.update(v)); } });
  return node;
}
// Too many structures to list: one of them at a time.
function structureRow(name, group, label, field) {
  const index = html('input', { type: 'number', min: '0', max: String(field.count - 1), value: '0', 'aria-label': 'Which of ' + name });
  const { node, told, entry } = emptyRow(name, group, label, `Structure × ${field.count}`);
  const form = html('form', {}, index, html('button', {}, 'Open'));
  entry.append(form);
  const { path, module } = chosen, turn = opened;
  form.addEventListener('submit', async (e) => {
    e.preventDefault();
    told.textContent = '';
    try {
      const at = `${name}[${Number(index.value)}]`;
      const { fields } = await ask('/api/module', { path, module, at });
      if (turn === opened && !rows.has(at)) { rows.set(at, { update: () => {} }); unfolded.add(at); node.after(...rowsOf(fields, at + '.')); filterRows(); }
    } catch (failure) { told.textContent = failure.message; }
  });
  return node;
}
// Fields under headings: the structure they are in, but no deeper than the second one.
function rowsOf(fields, prefix) {
  const groups = new Map();
  for (const field of fields) {
    const name = prefix + field.name, steps = name.split('.');
    const depth = Math.min(prefix ? prefix.split('.').length - 1 : 2, steps.length - 1);
    const group = steps.slice(0, depth).join('.'), label = steps.slice(depth).join('.');
    if (!groups.has(group)) groups.set(group, []);
    groups.get(group).push(field.count === undefined ? valueRow(name, group, label, field.type, field.value)
      : field.type === 'Structure' ? structureRow(name, group, label, field) : arrayRows(name, group, label, field));
  }
  return [...groups].flatMap(([group, nodes]) => group ? [groupRow(group, nodes.length), ...nodes] : nodes);
}
// What is looked for or changed shows, whatever is folded.
function filterRows() {
  const wanted = $('filter').value.trim().toLowerCase(), onlyChanged = $('changed').checked;
  const searching = wanted !== '' || onlyChanged;
  let heading = null, folded = 0;
  for (const node of $('rows').children) {
    const group = node.dataset.group, open = group === '' || unfolded.has(group);
    if (node.matches('.group')) {
      heading = node;
      node.hidden = searching;
      node.querySelector('button').setAttribute('aria-expanded', String(open));
      folded += open ? 0 : 1;
      continue;
    }
    const touched = node.matches('.changed, .edited');
    node.hidden = searching ? !node.dataset.name.toLowerCase().includes(wanted) || (onlyChanged && !touched) : !open && !touched;
    if (!node.hidden && heading) heading.hidden = false;
  }
  $('unfold').textContent = folded ? 'Open all' : 'Close all';
}
$('unfold').addEventListener('click', () => {
  const names = [...document.querySelectorAll('tr.group')].map((node) => node.dataset.group);
  const all = names.every((name) => unfolded.has(name));
  for (const name of names) { if (all) unfolded.delete(name); else unfolded.add(name); }
  filterRows();
});
$('filter').addEventListener('input', filterRows);
$('changed').addEventListener('change', filterRows);

async function openModule() {
  const turn = ++opened;
  const { path, module } = chosen;
  rows.clear();
  $('rows').replaceChildren();
  $('place').textContent = module ? `${module} at ${path}` : 'Values';
  $('values-note').className = 'note';
  $('values-note').textContent = module ? 'Reading.' : 'Choose a module.';
  if (!module) return;
  try {
    const { fields } = await ask('/api/module', { path, module });
    if (turn !== opened) return;
    $('values-note').textContent = '';
    $('rows').replaceChildren(...rowsOf(fields, ''));
    if (fields.length <= SHORT) for (const node of document.querySelectorAll('tr.group')) unfolded.add(node.dataset.group);
    filterRows();
  } catch (failure) {
    if (turn !== opened) return;
    $('values-note').textContent = failure.message;
    $('values-note').classList.add('bad');
    if (isGone(failure)) lost(failure);
  }
  document.documentElement.dataset.module = `${path}:${module}`;
}
// What others write shows, too; what is typed here stays.
async function refreshModule() {
  const turn = opened;
  const { fields } = await ask('/api/module', { path: chosen.path, module: chosen.module });
  if (turn !== opened) return;
  for (const field of fields) {
    const value = field.value ?? field.values;
    if (value !== undefined) rows.get(field.name)?.update(value);
  }
}

// ---- The running stream -----------------------------------------------------------------------

const WINDOW = 20e6, LATELY = 5e6;  // microseconds that are drawn, and that figures speak of
let frames = [], stream = null, next = 0, origin = 0, paused = false;
const cursor = makeCursor(() => frames.length);
const series = (x, spec) => ({ x, cursor, height: 100, digits: 2, ...spec });
const shown = { t: [], scene: [], before: [[], [], []], after: [[], [], []], use: [], marks: [], breach: [] };
AXES.forEach((name, a) => plot('plots', series(shown.t, { title: 'About ' + name, unit: 'mrad', marks: shown.marks, series: [
  { name: 'before', cls: 'before', y: shown.before[a] }, { name: 'after', cls: 'after', y: shown.after[a] }] })));
plot('plots', series(shown.t, { title: 'Crop use', unit: 'of the room, tightest corner', low: 0, limit: 1, marks: shown.marks, breach: shown.breach, series: [{ name: 'in use', cls: 'after', y: shown.use, fill: true }] }));
strip('plots', { title: 'Scene', x: shown.t, cursor, rows: [{ name: '', value: (i) => shown.scene[i], text: (i) => SCENES[shown.scene[i]] ?? 'no warp', band: (i) => SCENE_BAND[shown.scene[i]] ?? 4, label: (i) => SCENES[shown.scene[i]] ?? 'no warp' }] });
// A picture that moves on cannot be read.
$('plots').addEventListener('pointerenter', () => { paused = true; });
$('plots').addEventListener('pointerleave', () => { paused = false; });

function fill(target, values) { target.splice(0, target.length, ...values); }
function figure(value, text, alarm = false) { return html('div', { class: 'figure' + (alarm ? ' alarm' : '') }, html('b', {}, value), text); }
function rms(list, key) {
  const sums = list.flatMap((f) => f[key]).reduce((sum, v) => sum + v * v, 0);
  return list.length ? Math.sqrt(sums / list.length) : null;
}
function drawFigures() {
  const newest = frames[frames.length - 1];
  const lately = frames.filter((f) => f.valid && f.t_us > newest.t_us - LATELY);
  const before = rms(lately, 'before'), after = rms(lately, 'after');
  const most = lately.length ? Math.max(...lately.map((f) => f.margin_use)) : null;
  $('figures').replaceChildren(
    figure(`${number(before, 2)} → ${number(after, 2)}`, 'mrad of shake, RMS of 5 s'),
    figure(finite(before) && before > 0 ? percent(after / before) + ' %' : '–', 'of the shake is left'),
    figure(percent(most) + ' %', 'of the crop’s room at most', most > 1),
    figure(number(newest.margin), 'minimal margin in force'));
  $('stream-note').textContent = `Frame ${newest.id}. Shake: above 0.5 Hz. Dotted: a changed tuning.`;
}
function drawStream() {
  if (frames.length < 2) return;
  const valid = (f, v) => (f.valid ? v : null);
  fill(shown.t, frames.map((f) => (f.t_us - origin) / 1e6));
  fill(shown.scene, frames.map((f) => (f.valid ? f.scene : -1)));
  for (let a = 0; a < 3; a++) {
    fill(shown.before[a], frames.map((f) => valid(f, f.before[a])));
    fill(shown.after[a], frames.map((f) => valid(f, f.after[a])));
  }
  fill(shown.use, frames.map((f) => valid(f, f.margin_use)));
  fill(shown.marks, frames.map((f) => f.restarted));
  fill(shown.breach, frames.map((f) => f.valid && f.margin_use > 1));
  cursor.at = frames.length - 1;
  drawAll();
}
function takeFrames(answer) {
  if (answer.stream === null) {
    $('stream-note').textContent = 'This service has no stream that tells its figures.';
    return;
  }
  if (answer.stream !== stream) {
    stream = answer.stream;
    frames = [];
    next = 0;
    if (answer.first > 0 || !answer.frames.length) return;  // ask again, from the begin of this one
  }
  if (!answer.frames.length) return;
  if (!frames.length) origin = answer.frames[0].t_us;
  frames.push(...answer.frames);
  next = answer.first + answer.frames.length;
  const begin = frames[frames.length - 1].t_us - WINDOW;
  frames = frames.filter((f) => f.t_us >= begin);
  drawFigures();
  if (!paused) drawStream();
  $('stream').classList.remove('stale');
  document.documentElement.dataset.frame = String(frames[frames.length - 1].id);
}

// ---- The page ---------------------------------------------------------------------------------

async function main() {
  const PAUSE = 200, REFRESH = 10;  // milliseconds, and pauses until values are read anew
  for (let round = 0; ; round++) {
    try {
      if (!service) {
        setService(await ask('/api/service'));
        chooseFirst();
      }
      takeFrames(await ask('/api/stream', { since: next }));
      if (round % REFRESH === REFRESH - 1 && chosen.module) await refreshModule().catch((e) => { if (isGone(e)) throw e; });
    } catch (failure) {
      if (!isGone(failure)) throw failure;
      lost(failure);
      await sleep(800);
    }
    await sleep(PAUSE);
  }
}
let pending = 0;
window.addEventListener('resize', () => { cancelAnimationFrame(pending); pending = requestAnimationFrame(drawStream); });
document.documentElement.dataset.ready = 'yes';
main();
})();
