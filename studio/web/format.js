// Small helpers shared by the panels.

// An element with attributes and children: el('button', {class: 'x', onclick: f}, 'text').
export function el(tag, attrs = {}, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs)) {
    if (v === undefined || v === null || v === false) continue;
    if (k.startsWith('on')) e.addEventListener(k.slice(2), v);
    else if (k === 'dataset') Object.assign(e.dataset, v);
    else if (v === true) e.setAttribute(k, '');
    else e.setAttribute(k, v);
  }
  for (const c of children.flat()) {
    if (c === undefined || c === null || c === false) continue;
    e.append(c instanceof Node ? c : document.createTextNode(String(c)));
  }
  return e;
}

// Seconds as m:ss.fff
export function clock(seconds) {
  const m = Math.floor(seconds / 60);
  const s = seconds - m * 60;
  return `${m}:${s.toFixed(3).padStart(6, '0')}`;
}

// A number rounded to `precision` decimals, without trailing zeros.
export function rounded(v, precision) {
  return Number(Number(v).toFixed(Math.max(0, Math.min(precision ?? 3, 10))));
}

let gestureCount = 0;
// A fresh name for one gesture (a drag): its edits are one step to undo.
export function newGesture() {
  gestureCount += 1;
  return `g${Date.now().toString(36)}-${gestureCount}`;
}
