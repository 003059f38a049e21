// Draws the report from the two JSON texts in the page. One cursor, the frame, is shared by all
// plots over time; the spectra share a second one, the frequency. Both are kept in the address, so
// that a link can point at a frame: report.html#frame=97.
(() => {
'use strict';
window.addEventListener('error', (e) => { document.documentElement.dataset.error = e.message; });

const $ = (id) => document.getElementById(id);
const summary = JSON.parse($('summary').textContent);
const trace = JSON.parse($('trace').textContent);
const count = trace.frame.length;
const AXES = ['x (pitch)', 'y (yaw)', 'z (roll)'];
const SCENES = ['still', 'held by hand', 'shake', 'scene 3', 'panning', 'strong panning', 'motion', 'unknown'];
const SCENE_BAND = [0, 1, 2, 4, 3, 3, 2, 4];

// ---- Small tools ------------------------------------------------------------------------------

const SVG = 'http://www.w3.org/2000/svg';
function svg(name, attributes = {}, ...children) {
  const node = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
  node.append(...children);
  return node;
}
function html(name, attributes = {}, ...children) {
  const node = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
  node.append(...children);
  return node;
}
function number(value, digits = 3) {
  if (value === null || value === undefined || !isFinite(value)) return '–';
  const size = Math.abs(value);
  if (size !== 0 && (size >= 1e5 || size < 1e-3)) return value.toExponential(1);
  return String(Number(value.toPrecision(digits)));
}
function percent(ratio) {
  if (ratio === null || ratio === undefined) return '–';
  if (ratio === 0) return '0';
  return ratio >= 0.1 ? (100 * ratio).toFixed(0) : (100 * ratio).toFixed(1);
}
const clamp = (v, low, high) => Math.min(Math.max(v, low), high);
const finite = (v) => v !== null && v !== undefined && isFinite(v);

// Even steps of 1, 2 or 5 over a range.
function ticks(low, high, wanted) {
  const raw = (high - low) / wanted || 1;
  const power = Math.pow(10, Math.floor(Math.log10(raw)));
  const step = [1, 2, 5, 10].map((m) => m * power).find((s) => s >= raw * 0.999) || raw;
  const out = [];
  for (let v = Math.ceil(low / step - 1e-9) * step; v <= high + step * 1e-9; v += step) {
    out.push(Math.abs(v) < step * 1e-6 ? 0 : v);
  }
  return out;
}
function decades(low, high) {
  const out = [];
  for (let e = Math.ceil(Math.log10(low) - 1e-9); e <= Math.log10(high) + 1e-9; e++) out.push(Math.pow(10, e));
  return out;
}
// A line less its own mean over a window of two seconds.
function fastPart(values) {
  const half = Math.max(1, Math.round(1e6 / trace.period_us));
  const sums = [0], known = [0];
  for (const v of values) { sums.push(sums[sums.length - 1] + (v ?? 0)); known.push(known[known.length - 1] + (finite(v) ? 1 : 0)); }
  return values.map((v, i) => {
    const reach = Math.min(half, i, values.length - 1 - i);
    const a = i - reach, b = i + reach + 1;
    return finite(v) ? v - (sums[b] - sums[a]) / Math.max(1, known[b] - known[a]) : null;
  });
}

// ---- Cursors ----------------------------------------------------------------------------------

const listeners = { time: [], hz: [] };
const cursor = { time: 0, hz: 0 };
function setCursor(kind, index, fromUser = true) {
  const length = kind === 'time' ? count : trace.spectrum.hz.length;
  cursor[kind] = clamp(index, 0, length - 1);
  for (const update of listeners[kind]) update(cursor[kind]);
  if (kind === 'time' && fromUser) history.replaceState(null, '', '#frame=' + trace.frame[cursor.time]);
}
function frameFromAddress() {
  const wanted = /frame=(\d+)/.exec(location.hash);
  const at = wanted ? trace.frame.indexOf(Number(wanted[1])) : -1;
  return at >= 0 ? at : Math.floor(count / 2);
}

// ---- A plot -----------------------------------------------------------------------------------

const plots = [];
// spec: title, unit, x (values), series [{name, cls, y, fill}], cursor 'time' or 'hz', log, low,
// high, limit, breach (flags), height
function plot(host, spec) {
  const card = html('div', { class: 'plot' });
  card.append(html('h3', {}, spec.title + ' ', html('small', {}, spec.unit || '')));
  const legend = html('ul', { class: 'legend' });
  const values = spec.series.map((s) => {
    const value = html('b');
    const key = svg('svg', { viewBox: '0 0 22 8', 'aria-hidden': 'true' }, svg('path', { class: 's ' + s.cls, d: 'M1 4H21' }));
    legend.append(html('li', {}, key, s.name + ' ', value));
    return value;
  });
  const stage = svg('svg', { role: 'img', 'aria-label': spec.title + ', ' + spec.series.map((s) => s.name).join(', ') });
  card.append(legend, stage);
  $(host).append(card);
  const state = { spec, stage, card, values };
  state.update = (i) => moveHair(state, i);
  listeners[spec.cursor || 'time'].push(state.update);
  stage.addEventListener('pointermove', (e) => pick(state, e));
  stage.addEventListener('pointerdown', (e) => pick(state, e));
  plots.push(state);
  return state;
}

function pick(state, event) {
  const { spec, geometry } = state;
  const box = state.stage.getBoundingClientRect();
  const x = (event.clientX - box.left) * geometry.width / box.width;
  let best = 0, nearest = Infinity;
  spec.x.forEach((v, i) => {
    const d = Math.abs(geometry.X(v) - x);
    if (d < nearest) { nearest = d; best = i; }
  });
  setCursor(spec.cursor || 'time', best);
}

function rangeOf(spec) {
  let low = Infinity, high = -Infinity;
  for (const s of spec.series) {
    for (const v of s.y) {
      if (finite(v) && (!spec.log || v > 0)) { low = Math.min(low, v); high = Math.max(high, v); }
    }
  }
  if (!isFinite(low)) { low = spec.log ? 0.1 : 0; high = 1; }
  if (spec.log) return [Math.max(low, high * 1e-5) / 1.3, high * 1.6];
  if (spec.limit !== undefined) high = Math.max(high, spec.limit * 1.05);
  low = spec.low ?? low; high = Math.max(spec.high ?? high, high);
  if (high - low < 1e-9) { low -= spec.low === undefined ? 0.5 : 0; high += 0.5; }
  const room = 0.06 * (high - low);
  return [spec.low ?? low - room, high + room];
}

// A line through all values; where many fall on one column of pixels, their extremes.
function pathOf(xs, ys, X, Y, width) {
  let d = '', pen = false;
  const dense = xs.length > 2 * width;
  let column = null, low = 0, high = 0, last = 0;
  const flush = () => {
    if (column !== null) { d += (pen ? 'L' : 'M') + column + ' ' + low.toFixed(1) + 'L' + column + ' ' + high.toFixed(1) + 'L' + column + ' ' + last.toFixed(1); pen = true; column = null; }
  };
  for (let i = 0; i < xs.length; i++) {
    if (!finite(ys[i])) { flush(); pen = false; continue; }
    const x = X(xs[i]), y = Y(ys[i]);
    if (!dense) { d += (pen ? 'L' : 'M') + x.toFixed(1) + ' ' + y.toFixed(1); pen = true; continue; }
    if (Math.round(x) !== column) { flush(); column = Math.round(x); low = high = y; }
    low = Math.min(low, y); high = Math.max(high, y); last = y;
  }
  flush();
  return d;
}

// A drawing is as wide as its place on the screen, or about as wide as it will be on paper, so that
// its text has the size of the text around it.
let printing = false;
function stageWidth(stage) {
  if (printing) return stage.closest('.three') ? 230 : 345;
  return Math.max(230, Math.round(stage.getBoundingClientRect().width) || 360);
}

function draw(state) {
  const { spec, stage } = state;
  const width = stageWidth(stage);
  const height = spec.height || 170;
  const left = 46, right = 10, top = 6, bottom = 20;
  stage.setAttribute('viewBox', `0 0 ${width} ${height}`);
  stage.replaceChildren();
  const [low, high] = rangeOf(spec);
  const first = spec.x[0], last = spec.x[spec.x.length - 1] > first ? spec.x[spec.x.length - 1] : first + 1;
  const onX = spec.log ? (v) => Math.log10(v / first) / Math.log10(last / first) : (v) => (v - first) / (last - first);
  const onY = spec.log ? (v) => Math.log10(Math.max(v, low) / low) / Math.log10(high / low) : (v) => (v - low) / (high - low);
  const X = (v) => left + (width - left - right) * onX(v);
  const Y = (v) => height - bottom - (height - top - bottom) * onY(v);
  state.geometry = { X, Y, width, height, top, bottom };
  const xTicks = spec.log ? [0.2, 0.5, 1, 2, 5, 10, 20, 50, 100].filter((v) => v >= first && v <= last) : ticks(first, last, width / 55);
  const yTicks = spec.log ? decades(low, high) : ticks(low, high, height / 45);
  for (const v of yTicks) {
    stage.append(svg('path', { class: 'rule', d: `M${left} ${Y(v).toFixed(1)}H${width - right}` }),
      svg('text', { x: left - 6, y: Y(v) + 4, 'text-anchor': 'end' }, document.createTextNode(number(v))));
  }
  for (const v of xTicks) {
    const unit = v === xTicks[xTicks.length - 1] ? (spec.log ? ' Hz' : ' s') : '';
    stage.append(svg('text', { x: clamp(X(v), left, width - 14), y: height - 5, 'text-anchor': 'middle' }, document.createTextNode(number(v) + unit)));
  }
  stage.append(svg('path', { class: 'axis', d: `M${left} ${height - bottom}H${width - right}` }));
  (spec.breach || []).forEach((flag, i) => {
    if (flag) {
      const half = Math.max(1, (X(last) - left) / spec.x.length / 2);
      stage.append(svg('rect', { class: 'breach', x: X(spec.x[i]) - half, y: top, width: 2 * half, height: height - top - bottom }));
    }
  });
  if (spec.limit !== undefined) stage.append(svg('path', { class: 'limit', d: `M${left} ${Y(spec.limit)}H${width - right}` }));
  for (const s of spec.series) {
    const d = pathOf(spec.x, s.y, X, Y, width);
    if (s.fill && d) stage.append(svg('path', { class: 'fill', d: `${d}L${X(last)} ${Y(low)}L${X(first)} ${Y(low)}Z` }));
    stage.append(svg('path', { class: 's ' + s.cls, d }));
  }
  state.hair = svg('path', { class: 'hair' });
  state.dots = spec.series.map((s) => svg('circle', { class: 'dot ' + s.cls, r: 3.4 }));
  stage.append(state.hair, ...state.dots);
  state.update(cursor[spec.cursor || 'time']);
}

function moveHair(state, i) {
  const { spec, geometry: g } = state;
  if (!g) return;
  const x = g.X(spec.x[i]);
  state.hair.setAttribute('d', `M${x.toFixed(1)} ${g.top}V${g.height - g.bottom}`);
  spec.series.forEach((s, k) => {
    const v = s.y[i];
    state.values[k].textContent = number(v);
    state.dots[k].setAttribute('visibility', finite(v) && (!spec.log || v > 0) ? 'visible' : 'hidden');
    if (finite(v)) { state.dots[k].setAttribute('cx', x); state.dots[k].setAttribute('cy', g.Y(v)); }
  });
}

// A strip of named spans, such as the scene over time.
function strip(host, title, rows) {
  const card = html('div', { class: 'plot' });
  const legend = html('ul', { class: 'legend' });
  const stage = svg('svg', { role: 'img', 'aria-label': title });
  const now = html('b');
  legend.append(html('li', {}, now));
  card.append(html('h3', {}, title), legend, stage);
  $(host).append(card);
  const spec = { x: trace.t, series: [], cursor: 'time' };
  const state = { spec, stage, card, values: [], strip: true };
  state.update = (i) => {
    now.textContent = rows.map((r) => r.label(i)).filter(Boolean).join(', ');
    moveHair(state, i);
  };
  state.draw = () => {
    const width = stageWidth(stage);
    const left = 46, right = 10, top = 6, bottom = 20, rowHeight = 26;
    const height = top + rows.length * (rowHeight + 4) + bottom;
    stage.setAttribute('viewBox', `0 0 ${width} ${height}`);
    stage.replaceChildren();
    const first = trace.t[0], last = trace.t[count - 1] > first ? trace.t[count - 1] : first + 1;
    const X = (v) => left + (width - left - right) * (v - first) / (last - first);
    state.geometry = { X, Y: () => 0, width, height, top, bottom };
    rows.forEach((row, r) => {
      const y = top + r * (rowHeight + 4);
      stage.append(svg('text', { x: left - 6, y: y + 17, 'text-anchor': 'end' }, document.createTextNode(row.name)));
      for (let i = 0; i < count;) {
        let j = i;
        while (j < count && row.value(j) === row.value(i)) j++;
        const a = X(trace.t[i]), b = j < count ? X(trace.t[j]) : width - right;
        const text = row.text(i);
        if (text) {
          const g = svg('g', { class: 'band' }, svg('rect', { class: 'band' + row.band(i), x: a, y, width: Math.max(1, b - a), height: rowHeight, rx: 3 }));
          if (b - a > 7 * text.length) g.append(svg('text', { x: a + 6, y: y + 17 }, document.createTextNode(text)));
          stage.append(g);
        }
        i = j;
      }
    });
    for (const v of ticks(first, last, width / 90)) stage.append(svg('text', { x: clamp(X(v), left, width - 14), y: height - 5, 'text-anchor': 'middle' }, document.createTextNode(number(v) + ' s')));
    state.hair = svg('path', { class: 'hair' });
    state.dots = [];
    stage.append(state.hair);
    state.update(cursor.time);
  };
  listeners.time.push(state.update);
  stage.addEventListener('pointermove', (e) => pick(state, e));
  stage.addEventListener('pointerdown', (e) => pick(state, e));
  plots.push(state);
}

// ---- The mesh of one frame --------------------------------------------------------------------

const ZOOMS = [1, 2, 5, 10, 20, 50, 100];
function meshAt(i) {
  const text = trace.mesh.frames[Math.floor(i / trace.mesh.stride)];
  if (!text) return null;
  const bytes = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
  return new Int16Array(bytes.buffer);
}
function drawMesh(i) {
  const [w, h] = summary.camera.input;
  const [cw, ch] = summary.camera.crop;
  const { columns, rows } = trace.mesh;
  const mesh = meshAt(i);
  const zoom = ZOOMS[Number($('zoom').value)];
  $('zoom-out').textContent = String(zoom);
  const pad = 0.07 * w;
  const stage = svg('svg', { viewBox: `${-w / 2 - pad} ${-h / 2 - pad} ${w + 2 * pad} ${h + 2 * pad}`, role: 'img', 'aria-label': 'Distortion grid of the frame at the cursor' });
  const line = (cls, at) => {
    let d = '';
    for (let r = 0; r < rows; r++) for (let c = 0; c < columns; c++) d += (c ? 'L' : 'M') + at(c, r);
    for (let c = 0; c < columns; c++) for (let r = 0; r < rows; r++) d += (r ? 'L' : 'M') + at(c, r);
    stage.append(svg('path', { class: cls, d, 'vector-effect': 'non-scaling-stroke' }));
  };
  // The page keeps every other node; node (17, 13) of the full grid is the middle.
  const restX = (c) => (2 * c - 17) * w / 32, restY = (r) => (2 * r - 13) * h / 24;
  line('mesh-rest', (c, r) => restX(c).toFixed(1) + ' ' + restY(r).toFixed(1));
  let largest = 0;
  if (mesh) {
    line('mesh', (c, r) => {
      const k = 2 * (r * columns + c);
      const dx = mesh[k] / 16, dy = mesh[k + 1] / 16;
      largest = Math.max(largest, Math.hypot(dx, dy));
      return (restX(c) + dx * zoom).toFixed(1) + ' ' + (restY(r) + dy * zoom).toFixed(1);
    });
  }
  stage.append(svg('rect', { class: 'mesh-frame', x: -w / 2, y: -h / 2, width: w, height: h, 'vector-effect': 'non-scaling-stroke' }),
    svg('rect', { class: 'mesh-crop', x: -cw / 2, y: -ch / 2, width: cw, height: ch, 'vector-effect': 'non-scaling-stroke' }));
  $('mesh').replaceChildren(stage);
  $('mesh-text').textContent = mesh ? `Frame ${trace.frame[i]}: the largest offset is ${number(largest)} px of ${w} by ${h}. Solid: the frame; dashed: the crop at rest.`
    : `Frame ${trace.frame[i]} has no warp.`;
}

// ---- Cards, tables, filmstrip -----------------------------------------------------------------

function card(value, unit, text, options = {}) {
  const b = html('b', {}, value);
  if (unit) b.append(html('small', {}, unit));
  const node = html('div', { class: 'card' + (options.alarm ? ' alarm' : '') }, b);
  if (options.bar !== undefined) node.append(html('span', { class: 'bar', 'aria-hidden': 'true' }, html('i', { style: `width:${clamp(100 * options.bar, 0, 100)}%` })));
  node.append(html('span', {}, text));
  $('cards').append(node);
}
const overall = (figure, key) => {
  const v = figure && figure[key];
  return v && v.every(finite) ? Math.hypot(...v) : null;
};
function cards() {
  const fast = summary.orientation_rms.find((f) => f.above_hz === 2);
  const before = overall(fast, 'before_rad'), after = overall(fast, 'after_rad');
  const ratio = before ? after / before : null;
  card(percent(ratio), '%', 'of the turning shake above 2 Hz is left', { bar: ratio ?? 1 });
  const pixels = summary.pixels;
  if (pixels && pixels.shake) {
    const shake = pixels.shake[0].px;
    card(`${number(shake.before, 2)} → ${number(shake.after, 2)}`, 'px', 'the picture moves above 0.5 Hz, before and after', { bar: shake.ratio ?? 1 });
  }
  if (pixels) card(percent(pixels.empty_share), '%', 'of the output pixels are empty', { alarm: pixels.empty_share > 0 });
  const used = trace.margin_use.filter((v, i) => trace.valid[i]);
  const most = used.length ? Math.max(...used) : null;
  card(percent(most), '%', 'of the margin used at most', { alarm: most > 1 });
  const out = summary.frames.out, all = summary.frames.in;
  card(String(out), out === all ? 'frames' : `of ${all}`, out === all ? 'all of them stabilized' : 'frames stabilized', { alarm: summary.frames.dropped > 0 });
  card(number(summary.time_per_frame_us.median), 'µs', 'in the library per frame (median)');
}
function verdict() {
  const breaches = trace.feasible.filter((f, i) => trace.valid[i] && !f).length;
  const held = trace.held_back.filter((v) => v > 0.02).length;
  const left = trace.rows_left.filter(Boolean).length;
  const gaps = summary.gyro.gaps;
  const parts = [];
  if (breaches) parts.push(html('strong', {}, `In ${breaches} frame${breaches > 1 ? 's' : ''} a corner of the crop left the picture.`), ' ');
  if (held) parts.push(`The margins held the correction back in ${held} of ${count} frames. `);
  else parts.push('The margins never held the correction back. ');
  if (left) parts.push(`In ${left} frame${left > 1 ? 's' : ''} the rows were left as they were. `);
  parts.push(gaps ? `The gyroscope log has ${gaps} gap${gaps > 1 ? 's' : ''}. ` : 'The gyroscope log has no gaps. ');
  $('verdict').append(...parts);
}
function table(caption, head, rows) {
  const node = html('table', {}, html('caption', {}, caption));
  if (head) node.append(html('thead', {}, html('tr', {}, ...head.map((h) => html('th', { scope: 'col' }, h)))));
  const body = html('tbody');
  for (const [name, ...values] of rows) body.append(html('tr', {}, html('th', { scope: 'row' }, name), ...values.map((v) => html('td', {}, typeof v === 'number' || v === null ? number(v, 4) : String(v)))));
  node.append(body);
  $('tables').append(html('div', { class: 'table' }, node));
}
function tables() {
  for (const figure of summary.orientation_rms) {
    table(`Orientation above ${figure.above_hz} Hz, mrad RMS`, ['about', 'before', 'after', 'left'],
      AXES.map((name, a) => [name, figure.before_rad[a] === null ? null : 1e3 * figure.before_rad[a], figure.after_rad[a] === null ? null : 1e3 * figure.after_rad[a], percent(figure.ratio[a]) + ' %']));
  }
  const p = summary.pixels;
  if (p && p.shake) {
    const row = (name, f, unit = 1) => [name, f.before === null ? null : f.before * unit, f.after === null ? null : f.after * unit, percent(f.ratio) + ' %'];
    for (const s of p.shake) {
      table(`Movement of the picture above ${s.above_hz} Hz, RMS`, ['', 'before', 'after', 'left'], [row('both ways, px', s.px), row('across, px', s.across_px), row('up and down, px', s.down_px), row('turn, mrad', s.turn_rad, 1e3)]);
    }
    table('Upright edges: bow', ['', 'before', 'after', 'left'], [row('median, px', p.edge_bow_px), row('95 of 100 below, px', p.largest_edge_bow_px)]);
  }
  const c = summary.camera, f = summary.frames, g = summary.gyro;
  table('Recording', null, [['source', summary.source], ['camera', c.file], ['input', c.input.join(' × ')], ['crop', c.crop.join(' × ')], ['output', c.output.join(' × ')],
    ['focal length', number(c.focal_length_px, 5) + ' px'], ['frames in / out / dropped', `${f.in} / ${f.out} / ${f.dropped}`], ['outside the gyro log', f.outside_gyro_log],
    ['gyro samples', `${g.samples} at ${number(g.rate_hz, 4)} Hz`], ['gaps, longest step', `${g.gaps}, ${number(g.longest_step_us)} µs`]]);
  const t = summary.time_per_frame_us;
  table('Library time per frame, µs', null, [['mean', t.mean], ['median', t.median], ['99 of 100 below', t.p99], ['longest', t.max]]);
}
function film() {
  if (!trace.film) return;
  $('film-section').hidden = false;
  for (const picture of trace.film) {
    const at = trace.frame.indexOf(picture.frame);
    const image = (side, text) => html('img', { src: 'data:image/jpeg;base64,' + picture[side], alt: `Frame ${picture.frame}, ${text}` });
    const button = html('button', { type: 'button' }, image('before', 'as recorded'), image('after', 'stabilized'), at >= 0 ? number(trace.t[at]) + ' s' : 'frame ' + picture.frame);
    button.addEventListener('click', () => { if (at >= 0) setCursor('time', at); });
    listeners.time.push((i) => button.setAttribute('aria-current', String(at >= 0 && Math.abs(at - i) <= count / trace.film.length / 2)));
    $('film').append(button);
  }
}

// ---- The page ---------------------------------------------------------------------------------

function orientation() {
  AXES.forEach((name, a) => {
    const series = [{ name: 'before', cls: 'before', y: trace.before_mrad[a] }, { name: 'after', cls: 'after', y: trace.after_mrad[a] }];
    const whole = series.map((s) => s.y), quick = series.map((s) => fastPart(s.y));
    const state = plot('orientation', { title: 'About ' + name, unit: 'mrad', x: trace.t, series });
    $('fast').addEventListener('change', () => {
      series.forEach((s, k) => { s.y = $('fast').checked ? quick[k] : whole[k]; });
      draw(state);
    });
  });
}
function contentPath() {
  if (!trace.path) return;
  $('path-section').hidden = false;
  const at = new Map(trace.path.frame.map((f, i) => [f, i]));
  const aligned = (values) => trace.frame.map((f) => at.has(f) ? values[at.get(f)] : null);
  for (const [title, axis] of [['Across', 'x'], ['Down', 'y']]) {
    plot('path', { title, unit: 'px of the input', x: trace.t, series: [
      { name: 'before', cls: 'before', y: aligned(trace.path['before_' + axis]) }, { name: 'after', cls: 'after', y: aligned(trace.path['after_' + axis]) }] });
  }
}
function spectra() {
  AXES.forEach((name, a) => plot('spectra', { title: 'About ' + name, unit: 'mrad per √Hz', x: trace.spectrum.hz, cursor: 'hz', log: true, height: 200, series: [
    { name: 'before', cls: 'before', y: trace.spectrum.before[a] }, { name: 'after', cls: 'after', y: trace.spectrum.after[a] }] }));
}
function corrections() {
  const breach = trace.feasible.map((f, i) => trace.valid[i] && !f);
  const shown = (values) => values.map((v, i) => trace.valid[i] ? v : null);
  plot('correction', { title: 'Correction', unit: 'mrad', x: trace.t, breach, height: 190, series: ['x', 'y', 'z'].map((n, a) => ({ name: n, cls: n, y: shown(trace.correction_mrad[a]) })) });
  const size = (t) => trace.t.map((_, i) => trace.valid[i] ? Math.hypot(t[0][i], t[1][i], t[2][i]) : null);
  plot('correction', { title: 'Wanted and given', unit: 'mrad, all axes', x: trace.t, breach, low: 0, height: 190, series: [
    { name: 'wanted', cls: 'before', y: size(trace.wanted_mrad) }, { name: 'given', cls: 'after', y: size(trace.correction_mrad) }] });
  plot('correction', { title: 'Blend toward no correction', unit: 'part held back by the margins', x: trace.t, breach, low: 0, high: 1, series: [{ name: 'blend', cls: 'after', y: shown(trace.held_back), fill: true }] });
  plot('correction', { title: 'Margin use', unit: '1: the crop touches the border', x: trace.t, breach, low: 0, limit: 1, series: [{ name: 'tightest corner', cls: 'after', y: shown(trace.margin_use), fill: true }] });
}
function scenes() {
  strip('scene', 'What the library takes the motion for', [{ name: 'scene', value: (i) => trace.scene[i], text: (i) => trace.valid[i] ? SCENES[trace.scene[i]] : 'no warp',
    band: (i) => SCENE_BAND[trace.scene[i]] ?? 4, label: (i) => SCENES[trace.scene[i]] }].concat(['z', 'y', 'x'].map((n, a) => ({ name: 'pan ' + n, value: (i) => trace.panning[a][i],
    text: (i) => trace.panning[a][i] ? 'panning' : '', band: () => 3, label: (i) => trace.panning[a][i] ? 'about device ' + n : '' }))));
  plot('scene', { title: 'Motion', unit: 'px', x: trace.t, low: 0, height: 160, series: [{ name: 'corner, frame to frame', cls: 'before', y: trace.motion_px }, { name: 'blur within the exposure', cls: 'after', y: trace.blur_px }] });
}
function machine() {
  plot('machine', { title: 'Gyroscope samples', unit: 'handed over with each frame', x: trace.t, low: 0, series: [{ name: 'samples', cls: 'after', y: trace.samples }] });
  plot('machine', { title: 'Longest step between samples', unit: 'µs', x: trace.t, low: 0, series: [{ name: 'step', cls: 'before', y: trace.longest_step_us }] });
  plot('machine', { title: 'Time in the library', unit: 'µs per frame', x: trace.t, low: 0, series: [{ name: 'time', cls: 'after', y: trace.library_us, fill: true }] });
  const steps = trace.t.map((t, i) => i ? 1e3 * (t - trace.t[i - 1]) : null);
  plot('machine', { title: 'Frame interval', unit: 'ms', x: trace.t, low: 0, series: [{ name: 'interval', cls: 'before', y: steps }] });
}

function drawAll() { for (const p of plots) (p.draw || (() => draw(p)))(); }

const c = summary.camera;
// Of a path the end says enough; the table has all of it.
$('title').textContent = summary.source.split('/').slice(-2).join('/');
$('subtitle').textContent = `${c.input.join(' × ')} in, crop ${c.crop.join(' × ')}, ${c.output.join(' × ')} out · ${summary.frames.in} frames, ${number(trace.t[count - 1])} s · gyroscope at ${number(summary.gyro.rate_hz)} Hz`;
document.title = summary.source + ' – stabilization report';
cards(); verdict(); film(); orientation(); contentPath(); spectra(); corrections(); scenes(); machine(); tables();

$('slider').max = String(count - 1);
$('slider').addEventListener('input', () => setCursor('time', Number($('slider').value)));
$('back').addEventListener('click', () => setCursor('time', cursor.time - 1));
$('ahead').addEventListener('click', () => setCursor('time', cursor.time + 1));
$('zoom').addEventListener('input', () => drawMesh(cursor.time));
window.addEventListener('keydown', (e) => {
  if (e.target.tagName === 'INPUT') return;
  if (e.key === 'ArrowLeft' || e.key === 'ArrowRight') { setCursor('time', cursor.time + (e.key === 'ArrowLeft' ? -1 : 1)); e.preventDefault(); }
});
window.addEventListener('hashchange', () => setCursor('time', frameFromAddress(), false));
listeners.time.push((i) => {
  $('slider').value = String(i);
  $('where').textContent = `frame ${trace.frame[i]} · ${trace.t[i].toFixed(3)} s · ${trace.valid[i] ? SCENES[trace.scene[i]] : 'no warp'}`;
});
listeners.time.push(drawMesh);
drawAll();
setCursor('time', frameFromAddress(), false);
setCursor('hz', trace.spectrum.hz.findIndex((f) => f >= 2), false);
window.addEventListener('beforeprint', () => { printing = true; drawAll(); });
window.addEventListener('afterprint', () => { printing = false; drawAll(); });
let pending = 0;
window.addEventListener('resize', () => { cancelAnimationFrame(pending); pending = requestAnimationFrame(drawAll); });
document.documentElement.dataset.plots = String(plots.length);
document.documentElement.dataset.ready = 'yes';
})();
