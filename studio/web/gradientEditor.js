// A colour gradient: a preview bar and its stops as markers under it. Click a marker to pick
// it (its colour, alpha and position show below), drag it along the bar to move it,
// double-click the bar to add a stop there, "Remove" to take the picked one away. Each change
// is sent as the document's stop list, in rising order of position.
import {el, newGesture, rounded} from './format.js';

const round4 = (v) => Math.round(v * 1e4) / 1e4;

export function hexColor(c) {
  if (!Array.isArray(c)) return c;
  const byte = (v) => Math.round(Math.min(1, Math.max(0, v)) * 255).toString(16).padStart(2, '0');
  return '#' + c.map(byte).join('');
}

function rgbOf(c) {
  if (Array.isArray(c)) return c;
  return [1, 3, 5].map((i) => parseInt(c.slice(i, i + 2), 16) / 255);
}

// The colour and alpha at position t, straight between the stops around it.
function colorAt(stops, t) {
  if (!stops.length) return {color: '#ffffff', alpha: 1};
  let a = stops[0], b = stops[stops.length - 1];
  if (t <= a.position) return {color: a.color, alpha: a.alpha};
  if (t >= b.position) return {color: b.color, alpha: b.alpha};
  for (let k = 0; k + 1 < stops.length; k++)
    if (t >= stops[k].position && t <= stops[k + 1].position) [a, b] = [stops[k], stops[k + 1]];
  const u = b.position > a.position ? (t - a.position) / (b.position - a.position) : 0;
  const ca = rgbOf(a.color), cb = rgbOf(b.color);
  return {color: hexColor(ca.map((v, i) => v + (cb[i] - v) * u)),
          alpha: round4(a.alpha + (b.alpha - a.alpha) * u)};
}

export function gradientCss(stops) {
  if (!stops.length) return 'none';
  const rgba = (s) => {
    const [r, g, b] = rgbOf(s.color).map((v) => Math.round(v * 255));
    return `rgba(${r}, ${g}, ${b}, ${s.alpha ?? 1})`;
  };
  return `linear-gradient(to right, ${stops.map((s) => `${rgba(s)} ${s.position * 100}%`).join(', ')})`;
}

// send(value, gesture): sends the new stops (a gesture makes a drag one undo step).
export function gradientEditor(row, send) {
  const bar = el('div', {class: 'gradient-bar', title: 'double-click to add a stop'});
  const track = el('div', {class: 'gradient-track'});
  const color = el('input', {type: 'color', 'aria-label': `${row.name} stop colour`});
  const alpha = el('input', {type: 'number', class: 'number', min: 0, max: 1, step: 0.05,
                             'aria-label': `${row.name} stop alpha`});
  const position = el('input', {type: 'number', class: 'number', min: 0, max: 1, step: 0.01,
                                'aria-label': `${row.name} stop position`});
  const remove = el('button', {class: 'stop-remove'}, 'Remove');
  let stops = [];   // {position, color, alpha}, the objects kept while they move
  let picked = 0;
  let dragging = null;  // {stop, gesture}
  let colorGesture = null;

  const value = () => stops.map((s) => ({position: round4(s.position), color: s.color,
                                         alpha: round4(s.alpha ?? 1)}));
  const commit = (gesture) => {
    const chosen = stops[picked];
    stops.sort((a, b) => a.position - b.position);
    picked = Math.max(0, stops.indexOf(chosen));
    draw();
    send(value(), gesture);
  };
  const barPosition = (ev) => {
    const r = bar.getBoundingClientRect();
    return Math.min(1, Math.max(0, (ev.clientX - r.left) / r.width));
  };

  function draw() {
    bar.style.backgroundImage = gradientCss(stops);
    track.replaceChildren(...stops.map((s, i) => {
      const marker = el('span', {class: `gradient-stop${i === picked ? ' picked' : ''}`,
                                 dataset: {index: i}, title: `${rounded(s.position, 3)}`});
      marker.style.left = `${s.position * 100}%`;
      marker.style.background = hexColor(s.color);
      marker.addEventListener('pointerdown', (ev) => {
        ev.preventDefault();
        picked = i;
        track.setPointerCapture(ev.pointerId);
        dragging = {stop: s, gesture: newGesture()};
        draw();
      });
      return marker;
    }));
    const s = stops[picked];
    for (const c of [color, alpha, position, remove]) c.disabled = !s;
    remove.disabled = stops.length <= 1;
    if (!s) return;
    if (!colorGesture) color.value = hexColor(s.color);
    if (document.activeElement !== alpha) alpha.value = rounded(s.alpha ?? 1, 3);
    if (document.activeElement !== position) position.value = rounded(s.position, 4);
  }

  track.addEventListener('pointermove', (ev) => {
    if (!dragging) return;
    const r = bar.getBoundingClientRect();
    dragging.stop.position = Math.min(1, Math.max(0, (ev.clientX - r.left) / r.width));
    picked = stops.indexOf(dragging.stop);
    commit(dragging.gesture);
  });
  const endDrag = () => { dragging = null; };
  track.addEventListener('pointerup', endDrag);
  track.addEventListener('pointercancel', endDrag);
  bar.addEventListener('dblclick', (ev) => {
    const t = barPosition(ev);
    const stop = {position: t, ...colorAt(stops, t)};
    stops.push(stop);
    picked = stops.length - 1;
    commit();
  });
  color.addEventListener('input', () => {
    if (!stops[picked]) return;
    colorGesture = colorGesture || newGesture();
    stops[picked].color = color.value;
    commit(colorGesture);
  });
  color.addEventListener('change', () => { colorGesture = null; });
  alpha.addEventListener('change', () => {
    const v = Number(alpha.value);
    if (!stops[picked] || alpha.value === '' || !(v >= 0 && v <= 1)) return;
    stops[picked].alpha = v;
    commit();
  });
  position.addEventListener('change', () => {
    const v = Number(position.value);
    if (!stops[picked] || position.value === '' || !(v >= 0 && v <= 1)) return;
    stops[picked].position = v;
    commit();
  });
  remove.addEventListener('click', () => {
    if (stops.length <= 1) return;
    stops.splice(picked, 1);
    picked = Math.min(picked, stops.length - 1);
    commit();
  });

  const element = el('span', {class: 'gradient'}, bar, track,
                     el('span', {class: 'stop-fields'}, color, 'alpha', alpha, 'at', position,
                        remove));
  return {element, update: (p) => {
    if (dragging || colorGesture) return;
    stops = (Array.isArray(p.value) ? p.value : []).map((s) => ({...s}));
    picked = Math.min(picked, Math.max(0, stops.length - 1));
    draw();
  }};
}
