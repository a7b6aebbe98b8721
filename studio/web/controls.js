// The effect controls of the selected layer: each effect with its switch, order and removal,
// and its parameters built from the effect's table (studio/EffectTables.h): sliders with their
// ranges and precision, angles, checkboxes, popups, colours, points, layer pickers, curves,
// gradients and name filters, buttons. A parameter is hidden or shown exactly as the host says
// after each change (the "hidden" of the state). Rows are built once per effect stack and then
// updated in place, so a slider being dragged keeps its pointer.
import {el, newGesture, rounded} from './format.js';
import {paramControl} from './params.js';

export class EffectControls {
  constructor(studio) {
    this.studio = studio;
    this.box = document.getElementById('effects');
    this.layerLabel = document.getElementById('controls-layer');
    this.structure = '';
    this.rows = [];  // {effect, index, update(param, effectState)}
    this.addSelect = document.getElementById('new-effect');
    document.getElementById('add-effect').addEventListener('click', () => {
      const name = this.addSelect.value;
      if (name && studio.layerState) {
        studio.edit({op: 'addEffect', comp: studio.comp, layer: studio.layer, name});
      }
    });
  }

  fillAddList() {
    const byRole = new Map();
    for (const t of this.studio.tables.values()) {
      if (!byRole.has(t.role)) byRole.set(t.role, []);
      byRole.get(t.role).push(t);
    }
    this.addSelect.replaceChildren(...[...byRole].map(([role, list]) =>
        el('optgroup', {label: role}, list.map((t) => el('option', {value: t.name}, t.name)))));
  }

  render() {
    const s = this.studio;
    const layer = s.layerState;
    this.layerLabel.textContent = layer ? `: ${layer.name}` : '';
    if (!layer) {
      this.box.replaceChildren(el('p', {class: 'note'}, 'Select a layer.'));
      this.structure = '';
      return;
    }
    const structure = [s.version >= 0 ? s.comp : 0, s.layer,
                       ...layer.effects.map((e) => e.matchName)].join('|');
    if (structure !== this.structure) this.build(layer, structure);
    layer.effects.forEach((effect, e) => this.updateEffect(effect, e));
    for (const row of this.rows) {
      const effect = layer.effects[row.effect];
      const param = effect?.params.find((p) => p.index === row.index);
      if (param) row.update(param, effect);
    }
  }

  build(layer, structure) {
    this.structure = structure;
    this.rows = [];
    this.box.replaceChildren(...layer.effects.map((effect, e) => this.effectBox(effect, e,
                                                                                layer.effects.length)));
  }

  updateEffect(effect, e) {
    const box = this.box.querySelector(`section.effect[data-effect="${e}"]`);
    if (!box) return;
    box.querySelector('input.effect-switch').checked = effect.enabled;
    box.classList.toggle('off', !effect.enabled);
  }

  effectBox(effect, e, count) {
    const s = this.studio;
    const at = {comp: s.comp, layer: s.layer, effect: e};
    const table = s.tables.get(effect.matchName);
    const body = el('div', {class: 'params'});
    const box = el('section', {class: 'effect', dataset: {effect: e, name: effect.name}},
      el('header', {},
         el('input', {type: 'checkbox', class: 'effect-switch', checked: effect.enabled,
                      title: 'effect switch', 'aria-label': `${effect.name} on`,
                      onchange: (ev) => s.edit({op: 'setEffectEnabled', ...at,
                                                enabled: ev.target.checked})}),
         el('button', {class: 'fold', title: 'fold', onclick: () => box.classList.toggle('folded')},
            effect.name),
         // The effect's options button, under the label its parameter setup gave it.
         ...(table?.optionsButton ? [el('button', {
           class: 'options', disabled: !table.importsObj,
           title: table.importsObj ? 'choose the OBJ file this effect reads'
                                   : 'this effect opens nothing from its options button',
           onclick: () => s.importObj(at, effect)}, table.optionsButton)] : []),
         el('button', {title: 'move up', disabled: e === 0,
                       onclick: () => s.edit({op: 'moveEffect', ...at, to: e - 1})}, '↑'),
         el('button', {title: 'move down', disabled: e === count - 1,
                       onclick: () => s.edit({op: 'moveEffect', ...at, to: e + 1})}, '↓'),
         el('button', {title: 'remove the effect',
                       onclick: () => s.edit({op: 'removeEffect', ...at})}, '✕')),
      body);
    if (!table) return box;
    // Groups nest: a group's rows go into its <details> until its end row.
    const stack = [body];
    for (const row of table.params) {
      if (row.kind === 'end') {
        if (stack.length > 1) stack.pop();
        continue;
      }
      if (row.kind === 'group') {
        const group = el('details', {class: 'group', open: !row.collapsed,
                                     dataset: {index: row.index, name: row.name}},
                         el('summary', {}, row.name));
        stack[stack.length - 1].append(group);
        stack.push(group);
        this.rows.push({effect: e, index: row.index, update: (p) => { group.hidden = p.hidden; }});
        continue;
      }
      const control = paramControl(s, row, at);
      const key = row.animatable ? this.keyButton(row, at) : null;
      const label = el('span', {class: 'param-name', title: row.description}, row.name);
      const line = el('div', {class: 'param', dataset: {index: row.index, name: row.name,
                                                         kind: row.kind}},
                      key || el('span', {class: 'key-space'}), label, control.element);
      stack[stack.length - 1].append(line);
      this.rows.push({effect: e, index: row.index, update: (p) => {
        line.hidden = p.hidden;
        label.textContent = p.name || row.name;
        if (key) key.update(p);
        control.update(p);
      }});
    }
    return box;
  }

  // The key button: a key at the current time or not; a click sets or removes it.
  keyButton(row, at) {
    const s = this.studio;
    let param = null;
    const button = el('button', {class: 'key', title: 'set a key at the current time',
                                 onclick: () => {
                                   if (!param) return;
                                   const op = {...at, param: row.index, time: s.time()};
                                   if (s.keyAtNow(param)) s.edit({op: 'removeKey', ...op});
                                   else s.edit({op: 'setKey', ...op, value: param.value});
                                 }}, '◇');
    button.update = (p) => {
      param = p;
      const here = s.keyAtNow(p);
      button.textContent = here ? '◆' : '◇';
      button.classList.toggle('keyed', Boolean(p.keys));
      button.classList.toggle('here', here);
      button.title = here ? 'remove the key at the current time'
                          : p.keys ? 'add a key at the current time'
                                   : 'animate: set the first key at the current time';
    };
    return button;
  }
}

export {newGesture, rounded};
