// Plots over a shared cursor, as all pages of the command draw them. The build puts this before a
// page's own script.
const Plots = (() => {
'use strict';

const AXES = ['x (pitch)', 'y (yaw)', 'z (roll)'];
const SCENES = ['still', 'held by hand', 'shake', 'scene 3', 'panning', 'strong panning', 'motion', 'unknown'];
const SCENE_BAND = [0, 1, 2, 4, 3, 3, 2, 4];

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

// ---- Cursors ----------------------------------------------------------------------------------

// An index into what plots share; `length` tells how many there are, `chosen` hears what the reader
// picks.
function makeCursor(length, chosen = () => {}) {
  const cursor = { at: 0, listeners: [] };
  cursor.set = (index, fromUser = true) => {
    cursor.at = clamp(index, 0, length() - 1);
    for (const update of cursor.listeners) update(cursor.at);
    if (fromUser) chosen(cursor.at);
  };
  return cursor;
}

// ---- A plot -----------------------------------------------------------------------------------

const plots = [];
// spec: title, unit, x (values), series [{name, cls, y, fill}], cursor (see makeCursor), log, low,
// high, limit, breach (flags), marks (flags), height,
// digits (of the values in the legend)
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
  document.getElementById(host).append(card);
  const state = { spec, stage, card, values };
  state.update = (i) => moveHair(state, i);
  spec.cursor.listeners.push(state.update);
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
  spec.cursor.set(best);
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
  const yTicks = spec.log ? decades(low, high) : ticks(low, high, Math.max(4, height / 45));
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
  (spec.marks || []).forEach((flag, i) => {
    if (flag) stage.append(svg('path', { class: 'mark', d: `M${X(spec.x[i]).toFixed(1)} ${top}V${height - bottom}` }));
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
  state.update(spec.cursor.at);
}

function moveHair(state, i) {
  const { spec, geometry: g } = state;
  if (!g) return;
  const x = g.X(spec.x[i]);
  state.hair.setAttribute('d', `M${x.toFixed(1)} ${g.top}V${g.height - g.bottom}`);
  spec.series.forEach((s, k) => {
    const v = s.y[i];
    state.values[k].textContent = number(v, spec.digits);
    state.dots[k].setAttribute('visibility', finite(v) && (!spec.log || v > 0) ? 'visible' : 'hidden');
    if (finite(v)) { state.dots[k].setAttribute('cx', x); state.dots[k].setAttribute('cy', g.Y(v)); }
  });
}

// A strip of named spans, such as the scene over time.
// spec: title, x (times), rows [{name, value, text, band, label}] of functions of an index, cursor
function strip(host, { title, x, rows, cursor }) {
  const card = html('div', { class: 'plot' });
  const legend = html('ul', { class: 'legend' });
  const stage = svg('svg', { role: 'img', 'aria-label': title });
  const now = html('b');
  legend.append(html('li', {}, now));
  card.append(html('h3', {}, title), legend, stage);
  document.getElementById(host).append(card);
  const spec = { x, series: [], cursor };
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
    const x = spec.x, count = x.length, first = x[0], last = x[count - 1] > first ? x[count - 1] : first + 1;
    const X = (v) => left + (width - left - right) * (v - first) / (last - first);
    state.geometry = { X, Y: () => 0, width, height, top, bottom };
    rows.forEach((row, r) => {
      const y = top + r * (rowHeight + 4);
      stage.append(svg('text', { x: left - 6, y: y + 17, 'text-anchor': 'end' }, document.createTextNode(row.name)));
      for (let i = 0; i < count;) {
        let j = i;
        while (j < count && row.value(j) === row.value(i)) j++;
        const a = X(x[i]), b = j < count ? X(x[j]) : width - right;
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
    state.update(cursor.at);
  };
  cursor.listeners.push(state.update);
  stage.addEventListener('pointermove', (e) => pick(state, e));
  stage.addEventListener('pointerdown', (e) => pick(state, e));
  plots.push(state);
}

// Draw everything anew. `forPaper` until the next call.
function drawAll(forPaper = false) {
  printing = forPaper;
  for (const p of plots) (p.draw || (() => draw(p)))();
}

return { AXES, SCENES, SCENE_BAND, svg, html, number, percent, clamp, finite, makeCursor, plot, strip, draw, drawAll, plots };
})();
