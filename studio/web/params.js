// One control per parameter kind, each {element, update(param)}: `update` shows the state's
// value unless the person is using the control at that moment.
import {curveEditor} from './curveEditor.js';
import {el, newGesture, rounded} from './format.js';
import {gradientEditor} from './gradientEditor.js';

function setParam(studio, at, row, value, gesture) {
  const op = {op: 'setParam', ...at, param: row.index, value, time: studio.time()};
  if (gesture) {
    op.gesture = gesture;
    return studio.editLive(op, `${at.comp}/${at.layer}/${at.effect}/${row.index}`);
  }
  return studio.edit(op);
}

// A number: a slider over the slider range and a box for any valid value.
function numberControl(studio, row, at) {
  const precision = row.kind === 'int' ? 0 : row.precision ?? 2;
  const step = precision > 0 ? 10 ** -precision : 1;
  const lo = row.sliderMin ?? -360, hi = row.sliderMax ?? 360;
  const slider = el('input', {type: 'range', min: lo, max: hi, step, class: 'slider',
                              'aria-label': row.name});
  const box = el('input', {type: 'number', step: 'any', class: 'number',
                           min: row.validMin, max: row.validMax, 'aria-label': `${row.name} value`});
  const unit = row.unit === 'percent' ? '%' : row.unit === 'degrees' || row.kind === 'angle' ? '°'
             : row.unit === 'pixels' ? 'px' : '';
  let gesture = null;
  slider.addEventListener('pointerdown', () => { gesture = newGesture(); });
  slider.addEventListener('input', () => {
    const v = rounded(slider.value, precision);
    box.value = v;
    setParam(studio, at, row, v, gesture || newGesture());
  });
  slider.addEventListener('change', () => { gesture = null; });
  box.addEventListener('change', () => {
    const v = Number(box.value);
    if (box.value !== '' && Number.isFinite(v)) setParam(studio, at, row, v);
  });
  const element = el('span', {class: 'number-control'}, slider, box, unit);
  return {element, update: (p) => {
    if (document.activeElement !== box) box.value = rounded(p.value, Math.max(precision, 3));
    if (!gesture) slider.value = p.value;
  }};
}

function angleControl(studio, row, at) {
  return numberControl(studio, {...row, sliderMin: -180, sliderMax: 180, precision: 1}, at);
}

function checkControl(studio, row, at) {
  const box = el('input', {type: 'checkbox', 'aria-label': row.name,
                           onchange: () => setParam(studio, at, row, box.checked)});
  return {element: el('label', {class: 'check'}, box, row.label || ''),
          update: (p) => { box.checked = Boolean(p.value); }};
}

// Entries counted from 1, separators "(-" shown as disabled lines; the document gets the
// entry's text unless an earlier entry has the same text, then its number.
function popupControl(studio, row, at) {
  const entries = row.entries || [];
  const select = el('select', {'aria-label': row.name},
      entries.map((text, i) => text.startsWith('(-')
          ? el('option', {value: i + 1, disabled: true}, '──────')
          : el('option', {value: i + 1}, text)));
  select.addEventListener('change', () => {
    const n = Number(select.value);
    const text = entries[n - 1];
    setParam(studio, at, row, entries.indexOf(text) === n - 1 ? text : n);
  });
  return {element: select, update: (p) => {
    const n = typeof p.value === 'number' ? p.value : entries.indexOf(p.value) + 1;
    if (document.activeElement !== select) select.value = String(n);
  }};
}

function colorControl(studio, row, at) {
  const input = el('input', {type: 'color', 'aria-label': row.name});
  let gesture = null;
  input.addEventListener('input', () => {
    gesture = gesture || newGesture();
    setParam(studio, at, row, input.value, gesture);
  });
  input.addEventListener('change', () => { gesture = null; });
  return {element: input, update: (p) => { if (!gesture) input.value = p.value; }};
}

// A point: x and y in the layer's pixels; "Pick" takes the next click on the viewer.
function pointControl(studio, row, at) {
  const x = el('input', {type: 'number', step: 'any', class: 'number', 'aria-label': `${row.name} x`});
  const y = el('input', {type: 'number', step: 'any', class: 'number', 'aria-label': `${row.name} y`});
  const send = () => setParam(studio, at, row, [Number(x.value), Number(y.value)]);
  x.addEventListener('change', send);
  y.addEventListener('change', send);
  const pick = el('button', {title: 'drag on the viewer to place the point',
                             onclick: () => studio.pickPoint(row, at)}, 'Pick');
  return {element: el('span', {class: 'point'}, 'x', x, 'y', y, pick), update: (p) => {
    if (!Array.isArray(p.value)) return;
    if (document.activeElement !== x) x.value = rounded(p.value[0], 3);
    if (document.activeElement !== y) y.value = rounded(p.value[1], 3);
  }};
}

function layerControl(studio, row, at) {
  const select = el('select', {'aria-label': row.name});
  select.addEventListener('change', () =>
      setParam(studio, at, row, select.value === '' ? null : select.value));
  return {element: select, update: (p) => {
    const names = (studio.compState?.layers || []).map((l) => l.name);
    select.replaceChildren(el('option', {value: ''}, 'None'),
                           ...names.map((n) => el('option', {value: n}, n)));
    select.value = p.value ?? '';
  }};
}

// Curves and gradients have editors of their own; an edit goes to the document as its value.
function curveControl(studio, row, at) {
  return curveEditor(row, (value, gesture) => setParam(studio, at, row, value, gesture));
}

function gradientControl(studio, row, at) {
  return gradientEditor(row, (value, gesture) => setParam(studio, at, row, value, gesture));
}

// A name filter: its text as a line that opens the effect's text dialog on a click, as in a
// host; empty means all.
function textControl(studio, row, at) {
  let current = '';
  const line = el('button', {class: 'text', 'aria-label': row.name,
                             title: (row.dialog || '').replace('\n', ': '),
                             onclick: () => studio.askText(row, at, current)});
  return {element: line, update: (p) => {
    current = p.value ?? '';
    line.textContent = current === '' ? '(all)' : current;
    line.classList.toggle('empty', current === '');
  }};
}

function buttonControl(studio, row, at) {
  let label = row.label || row.name;
  const button = el('button', {class: 'param-button',
                               onclick: () => studio.pressButton(row, at, label)}, label);
  return {element: button, update: (p) => {
    label = p.label || row.label || row.name;
    button.textContent = label;
  }};
}

function shownOnly(row) {
  const span = el('span', {class: 'note'});
  return {element: span, update: (p) => { span.textContent = JSON.stringify(p.value) ?? ''; }};
}

export function paramControl(studio, row, at) {
  switch (row.kind) {
    case 'float': case 'int': case 'fixed': return numberControl(studio, row, at);
    case 'angle': return angleControl(studio, row, at);
    case 'check': return checkControl(studio, row, at);
    case 'popup': return popupControl(studio, row, at);
    case 'color': return colorControl(studio, row, at);
    case 'point': return pointControl(studio, row, at);
    case 'layer': return layerControl(studio, row, at);
    case 'button': return buttonControl(studio, row, at);
    case 'arb':
      if (row.data === 'curve') return curveControl(studio, row, at);
      if (row.data === 'gradient') return gradientControl(studio, row, at);
      if (row.data === 'text') return textControl(studio, row, at);
      return shownOnly(row);
    default: return shownOnly(row);
  }
}
