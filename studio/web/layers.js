// The layers panel: the comps (a precomp opens as its own comp), the selected comp's layers top
// first with their video switch, order, name and removal, new layers, and the comp's settings.
import {el} from './format.js';

export class LayersPanel {
  constructor(studio) {
    this.studio = studio;
    this.list = document.getElementById('layer-list');
    this.compSelect = document.getElementById('comp-select');
    this.form = document.getElementById('comp-form');
    this.compSelect.addEventListener('change', () => studio.openComp(Number(this.compSelect.value)));
    document.getElementById('add-layer').addEventListener('click', () => {
      const kind = document.getElementById('new-layer-kind').value;
      const name = prompt(`Name of the new ${kind} layer`, kind === 'solid' ? 'Solid' : kind);
      if (name === null) return;
      studio.edit({op: 'addLayer', comp: studio.comp, kind, name, at: 0})
          .then((ok) => ok && studio.selectLayer(0));
    });
  }

  render() {
    const s = this.studio;
    const comps = s.state?.comps || [];
    this.compSelect.replaceChildren(...comps.map((c, i) =>
        el('option', {value: i, selected: i === s.comp}, c.name)));
    const c = s.compState;
    this.list.replaceChildren();
    if (!c) return;
    c.layers.forEach((layer, i) => this.list.append(this.row(layer, i, c.layers.length)));
    this.renderForm(c);
  }

  row(layer, i, count) {
    const s = this.studio;
    const at = {comp: s.comp, layer: i};
    const chip = layer.kind === 'solid'
        ? el('span', {class: 'chip', title: layer.color}) : el('span', {class: 'chip none'});
    if (layer.kind === 'solid') chip.style.background = layer.color;
    return el('li', {class: i === s.layer ? 'layer selected' : 'layer',
                     dataset: {layer: i, name: layer.name}},
      el('input', {type: 'checkbox', checked: layer.enabled, title: 'video switch',
                   'aria-label': `${layer.name} enabled`,
                   onchange: (e) => s.edit({op: 'setLayer', ...at, set: {enabled: e.target.checked}})}),
      // Solo: while any layer is soloed only soloed layers show. Off is written as no key.
      el('input', {type: 'checkbox', class: 'solo', checked: layer.solo, title: 'solo',
                   'aria-label': `${layer.name} solo`,
                   onchange: (e) => s.edit({op: 'setLayer', ...at,
                                            set: {solo: e.target.checked ? true : null}})}),
      chip,
      el('button', {class: 'layer-name', onclick: () => s.selectLayer(i)},
         `${i + 1}. ${layer.name}`),
      el('span', {class: 'kind'}, layer.kind + (layer.threeD ? ' 3D' : '')),
      layer.kind === 'precomp' && layer.comp !== undefined
          ? el('button', {title: `open comp "${layer.comp}"`,
                          onclick: () => s.openCompByName(layer.comp)}, 'Open') : null,
      el('button', {title: 'move up', disabled: i === 0,
                    onclick: () => s.edit({op: 'moveLayer', ...at, to: i - 1})
                        .then((ok) => ok && s.selectLayer(i - 1))}, '↑'),
      el('button', {title: 'move down', disabled: i === count - 1,
                    onclick: () => s.edit({op: 'moveLayer', ...at, to: i + 1})
                        .then((ok) => ok && s.selectLayer(i + 1))}, '↓'),
      el('button', {title: 'rename', onclick: () => {
        const name = prompt('Layer name', layer.name);
        if (name !== null && name !== layer.name) s.edit({op: 'setLayer', ...at, set: {name}});
      }}, '✎'),
      el('button', {title: 'remove the layer', onclick: () => {
        if (confirm(`Remove layer "${layer.name}"?`)) s.edit({op: 'removeLayer', ...at});
      }}, '✕'));
  }

  // The comp's settings; each field edits on change.
  renderForm(c) {
    const s = this.studio;
    const field = (label, key, value, attrs = {}) => el('label', {class: 'row'}, label,
        el('input', {value, 'data-key': key, ...attrs,
                     onchange: (e) => {
                       let v = e.target.value;
                       if (attrs.type === 'number') v = Number(v);
                       s.edit({op: 'setComp', comp: s.comp, set: {[key]: v}});
                     }}));
    const fps = c.fpsDen === 1 ? String(c.fpsNum) : `${c.fpsNum}/${c.fpsDen}`;
    this.form.replaceChildren(
        field('Name', 'name', c.name),
        field('Width', 'width', c.width, {type: 'number', min: 1, max: 30000}),
        field('Height', 'height', c.height, {type: 'number', min: 1, max: 30000}),
        el('label', {class: 'row'}, 'Frame rate',
           el('input', {value: fps, onchange: (e) => {
             const v = e.target.value.includes('/') ? e.target.value : Number(e.target.value);
             s.edit({op: 'setComp', comp: s.comp, set: {fps: v}});
           }})),
        field('Duration (s)', 'duration', c.duration, {type: 'number', min: 0.001, step: 'any'}),
        field('Background', 'background', c.background, {type: 'color'}));
  }
}
