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
const { AXES, SCENES, SCENE_BAND, svg, html, number, percent, clamp, finite, makeCursor, strip, draw, drawAll, plots } = Plots;

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

const time = makeCursor(() => count, (i) => history.replaceState(null, '', '#frame=' + trace.frame[i]));
const hz = makeCursor(() => trace.spectrum.hz.length);
const plot = (host, spec) => Plots.plot(host, { cursor: time, ...spec });
function frameFromAddress() {
  const wanted = /frame=(\d+)/.exec(location.hash);
  const at = wanted ? trace.frame.indexOf(Number(wanted[1])) : -1;
  return at >= 0 ? at : Math.floor(count / 2);
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
    button.addEventListener('click', () => { if (at >= 0) time.set(at); });
    time.listeners.push((i) => button.setAttribute('aria-current', String(at >= 0 && Math.abs(at - i) <= count / trace.film.length / 2)));
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
  AXES.forEach((name, a) => plot('spectra', { title: 'About ' + name, unit: 'mrad per √Hz', x: trace.spectrum.hz, cursor: hz, log: true, height: 200, series: [
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
  strip('scene', { title: 'What the library takes the motion for', x: trace.t, cursor: time, rows: [{ name: 'scene', value: (i) => trace.scene[i], text: (i) => trace.valid[i] ? SCENES[trace.scene[i]] : 'no warp',
    band: (i) => SCENE_BAND[trace.scene[i]] ?? 4, label: (i) => SCENES[trace.scene[i]] }].concat(['z', 'y', 'x'].map((n, a) => ({ name: 'pan ' + n, value: (i) => trace.panning[a][i],
    text: (i) => trace.panning[a][i] ? 'panning' : '', band: () => 3, label: (i) => trace.panning[a][i] ? 'about device ' + n : '' }))) });
  plot('scene', { title: 'Motion', unit: 'px', x: trace.t, low: 0, height: 160, series: [{ name: 'corner, frame to frame', cls: 'before', y: trace.motion_px }, { name: 'blur within the exposure', cls: 'after', y: trace.blur_px }] });
}
function machine() {
  plot('machine', { title: 'Gyroscope samples', unit: 'handed over with each frame', x: trace.t, low: 0, series: [{ name: 'samples', cls: 'after', y: trace.samples }] });
  plot('machine', { title: 'Longest step between samples', unit: 'µs', x: trace.t, low: 0, series: [{ name: 'step', cls: 'before', y: trace.longest_step_us }] });
  plot('machine', { title: 'Time in the library', unit: 'µs per frame', x: trace.t, low: 0, series: [{ name: 'time', cls: 'after', y: trace.library_us, fill: true }] });
  const steps = trace.t.map((t, i) => i ? 1e3 * (t - trace.t[i - 1]) : null);
  plot('machine', { title: 'Frame interval', unit: 'ms', x: trace.t, low: 0, series: [{ name: 'interval', cls: 'before', y: steps }] });
}

const c = summary.camera;
// Of a path the end says enough; the table has all of it.
$('title').textContent = summary.source.split('/').slice(-2).join('/');
$('subtitle').textContent = `${c.input.join(' × ')} in, crop ${c.crop.join(' × ')}, ${c.output.join(' × ')} out · ${summary.frames.in} frames, ${number(trace.t[count - 1])} s · gyroscope at ${number(summary.gyro.rate_hz)} Hz`;
document.title = summary.source + ' – stabilization report';
cards(); verdict(); film(); orientation(); contentPath(); spectra(); corrections(); scenes(); machine(); tables();

$('slider').max = String(count - 1);
$('slider').addEventListener('input', () => time.set(Number($('slider').value)));
$('back').addEventListener('click', () => time.set(time.at - 1));
$('ahead').addEventListener('click', () => time.set(time.at + 1));
$('zoom').addEventListener('input', () => drawMesh(time.at));
window.addEventListener('keydown', (e) => {
  if (e.target.tagName === 'INPUT') return;
  if (e.key === 'ArrowLeft' || e.key === 'ArrowRight') { time.set(time.at + (e.key === 'ArrowLeft' ? -1 : 1)); e.preventDefault(); }
});
window.addEventListener('hashchange', () => time.set(frameFromAddress(), false));
time.listeners.push((i) => {
  $('slider').value = String(i);
  $('where').textContent = `frame ${trace.frame[i]} · ${trace.t[i].toFixed(3)} s · ${trace.valid[i] ? SCENES[trace.scene[i]] : 'no warp'}`;
});
time.listeners.push(drawMesh);
drawAll();
time.set(frameFromAddress(), false);
hz.set(trace.spectrum.hz.findIndex((f) => f >= 2), false);
window.addEventListener('beforeprint', () => drawAll(true));
window.addEventListener('afterprint', () => drawAll());
let pending = 0;
window.addEventListener('resize', () => { cancelAnimationFrame(pending); pending = requestAnimationFrame(() => drawAll()); });
document.documentElement.dataset.plots = String(plots.length);
document.documentElement.dataset.ready = 'yes';
})();
