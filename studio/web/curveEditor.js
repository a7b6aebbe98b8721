// A curve over distance as a graph: distance 0..1 across, factor 0..1 up. The effect stores 200
// samples; the graph shows them and the points that make them (straight lines between points).
// Drag a point to move it, double-click the graph to add one, double-click a point to remove it;
// the menu sets a named curve. Each change is sent as the document's point list.
import {el, newGesture} from './format.js';

const kSamples = 200;
const W = 210, H = 110, PAD = 6;
const SVG = 'http://www.w3.org/2000/svg';
export const kNamedCurves = {
  falling: [[0, 1], [0.5, 1], [1, 0]],
  flat: [[0, 1], [1, 1]],
};

function svg(tag, attrs = {}) {
  const e = document.createElementNS(SVG, tag);
  for (const [k, v] of Object.entries(attrs)) e.setAttribute(k, v);
  return e;
}

// The factors at distances i / 200, as the document loader makes them from points.
export function sampleCurve(points) {
  const out = new Array(kSamples);
  for (let i = 0; i < kSamples; i++) {
    const t = i / kSamples;
    let f = points[0][1];
    if (t >= points[points.length - 1][0]) {
      f = points[points.length - 1][1];
    } else {
      for (let k = 0; k + 1 < points.length; k++) {
        if (t >= points[k][0] && t <= points[k + 1][0]) {
          const u = (t - points[k][0]) / (points[k + 1][0] - points[k][0]);
          f = points[k][1] + (points[k + 1][1] - points[k][1]) * u;
          break;
        }
      }
    }
    out[i] = f;
  }
  return out;
}

// The factors a parameter's value stands for: a name, points or {samples: heights 0..50}.
export function curveFactors(value) {
  if (typeof value === 'string' && kNamedCurves[value]) return sampleCurve(kNamedCurves[value]);
  if (Array.isArray(value) && value.length) return sampleCurve(value);
  if (value && Array.isArray(value.samples)) return value.samples.map((s) => s / 50);
  return sampleCurve(kNamedCurves.flat);
}

const clamp01 = (v) => Math.min(1, Math.max(0, v));

// Points that give the samples back: the ends, and each bend (a run of samples whose second
// difference is not zero; a bend between two samples is where the lines on either side meet).
export function pointsFromFactors(f) {
  const n = f.length;
  const bend = (i) => Math.abs(f[i - 1] - 2 * f[i] + f[i + 1]) > 1e-4;
  const points = [[0, f[0]]];
  for (let i = 1; i < n - 1; i++) {
    if (!bend(i)) continue;
    let b = i;
    while (b + 1 < n - 1 && bend(b + 1)) b++;
    if (b - i <= 1 && i >= 1 && b + 1 < n) {
      const mL = f[i] - f[i - 1], mR = f[b + 1] - f[b];
      let x = Math.abs(mL - mR) > 1e-9 ? (f[b] - f[i] + mL * i - mR * b) / (mL - mR) : (i + b) / 2;
      if (!(x >= i - 1 && x <= b + 1)) x = (i + b) / 2;
      points.push([x / n, clamp01(f[i] + mL * (x - i))]);
    } else {
      for (let k = i; k <= b; k++) points.push([k / n, f[k]]);
    }
    i = b;
  }
  points.push([1, clamp01(f[n - 1] + (f[n - 1] - f[n - 2]))]);
  return points.filter((p, k) => k === 0 || p[0] > points[k - 1][0] + 1e-6);
}

const sameFactors = (a, b) => a.length === b.length && a.every((v, i) => Math.abs(v - b[i]) < 1e-4);
const round4 = (v) => Math.round(v * 1e4) / 1e4;

// send(value, gesture): sends the curve's new value (a gesture makes a drag one undo step).
export function curveEditor(row, send) {
  const presets = el('select', {'aria-label': row.name},
                     el('option', {value: 'falling'}, 'Falling'),
                     el('option', {value: 'flat'}, 'Flat'),
                     el('option', {value: 'custom', disabled: true}, 'Custom'));
  presets.addEventListener('change', () => send(presets.value));
  const graph = svg('svg', {class: 'curve-graph', width: W, height: H, role: 'img',
                            'aria-label': `${row.name} graph`});
  const grid = svg('path', {class: 'curve-grid', d: gridPath()});
  const line = svg('polyline', {class: 'curve-line'});
  const dots = svg('g');
  graph.append(grid, line, dots);
  const hint = el('span', {class: 'note'}, 'drag a point; double-click to add or remove one');
  let points = kNamedCurves.flat;
  let dragging = null;  // {index, gesture}

  const px = ([d, f]) => [PAD + d * (W - 2 * PAD), H - PAD - f * (H - 2 * PAD)];
  const at = (ev) => {
    const r = graph.getBoundingClientRect();
    return [clamp01((ev.clientX - r.left - PAD) / (W - 2 * PAD)),
            clamp01((H - PAD - (ev.clientY - r.top)) / (H - 2 * PAD))];
  };
  const sendPoints = (gesture) => {
    points = points.map(([d, f]) => [round4(d), round4(f)]);
    send(points, gesture);
  };

  function draw() {
    // Flat before the first point and after the last, as the loader fills them.
    const ends = [[0, points[0][1]], ...points, [1, points[points.length - 1][1]]];
    line.setAttribute('points', ends.map((q) => px(q).join(',')).join(' '));
    dots.replaceChildren(...points.map((p, i) => {
      const [x, y] = px(p);
      const dot = svg('circle', {class: 'curve-point', cx: x, cy: y, r: 4.5,
                                 'data-index': i});
      dot.addEventListener('pointerdown', (ev) => {
        ev.preventDefault();
        graph.setPointerCapture(ev.pointerId);
        dragging = {index: i, gesture: newGesture()};
      });
      dot.addEventListener('dblclick', (ev) => {
        ev.stopPropagation();
        if (points.length <= 2) return;
        points = points.filter((_, k) => k !== i);
        draw();
        sendPoints();
      });
      return dot;
    }));
  }

  graph.addEventListener('pointermove', (ev) => {
    if (!dragging) return;
    const i = dragging.index;
    let [d, f] = at(ev);
    // A point stays between its neighbours: the loader wants distances rising.
    const lo = i > 0 ? points[i - 1][0] + 1e-3 : 0;
    const hi = i < points.length - 1 ? points[i + 1][0] - 1e-3 : 1;
    d = Math.min(hi, Math.max(lo, d));
    points = points.map((p, k) => (k === i ? [d, f] : p));
    draw();
    sendPoints(dragging.gesture);
  });
  const endDrag = () => { dragging = null; };
  graph.addEventListener('pointerup', endDrag);
  graph.addEventListener('pointercancel', endDrag);
  graph.addEventListener('dblclick', (ev) => {
    const [d, f] = at(ev);
    if (points.some((p) => Math.abs(p[0] - d) < 2e-3)) return;
    points = [...points, [d, f]].sort((a, b) => a[0] - b[0]);
    draw();
    sendPoints();
  });

  const element = el('span', {class: 'curve'}, presets, graph, hint);
  return {element, update: (p) => {
    presets.value = typeof p.value === 'string' ? p.value : 'custom';
    if (dragging) return;
    // The points shown stay the person's own while they still make the effect's samples.
    const factors = curveFactors(p.value);
    if (Array.isArray(p.value)) points = p.value;
    else if (typeof p.value === 'string' && kNamedCurves[p.value]) points = kNamedCurves[p.value];
    else if (!sameFactors(sampleCurve(points), factors)) points = pointsFromFactors(factors);
    draw();
  }};
}

function gridPath() {
  let d = '';
  for (let k = 0; k <= 4; k++) {
    const x = PAD + (k / 4) * (W - 2 * PAD), y = PAD + (k / 4) * (H - 2 * PAD);
    d += `M${x},${PAD}V${H - PAD}M${PAD},${y}H${W - PAD}`;
  }
  return d;
}
