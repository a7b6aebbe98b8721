// The studio page: holds what the server last said (the document's state at the current time,
// its version), sends each change as an edit, and keeps the panels in step: layers, viewer,
// timeline, effect controls, the 3D view, the document's text. Every change goes through the
// server, which applies it to the document and loads it again, so what the page shows is what
// the host says.
import {api, ApiError} from './api.js';
import {EffectControls} from './controls.js';
import {el} from './format.js';
import {FileDialog} from './dialogs.js';
import {TextDialog} from './textDialog.js';
import {LayersPanel} from './layers.js';
import {TextPane} from './textpane.js';
import {Timeline} from './timeline.js';
import {View3D} from './view3d.js';
import {Viewer} from './viewer.js';

class Studio {
  constructor() {
    this.tables = new Map();  // matchName -> table
    this.state = null;
    this.version = 0;
    this.comp = 0;
    this.layer = 0;
    this.frame = 0;
    this.scale = 1;
    this.queue = [];          // edits not sent yet, in order
    this.sending = false;
    this.pendingShow = null;  // {version, started}: an edit's frame not shown yet
    this.latencies = [];      // milliseconds from an edit sent to its frame shown
    this.playRate = 0;
    this.viewer = new Viewer(this, document.getElementById('viewer'));
    this.timeline = new Timeline(this);
    this.layers = new LayersPanel(this);
    this.controls = new EffectControls(this);
    this.text = new TextPane(this);
    this.files = new FileDialog(this);
    this.texts = new TextDialog();
    this.view3d = new View3D(this);
    this.viewer.onshown = (key) => this.frameShown(key);
    this.wire();
  }

  get compState() { return this.state?.comps?.[this.comp]; }
  get layerState() { return this.compState?.layers?.[this.layer]; }
  get problem() { return this.state?.problem; }

  // Comp seconds of a frame.
  time(frame = this.frame) {
    const c = this.compState;
    return c ? frame * c.fpsDen / c.fpsNum : 0;
  }

  keyAtNow(param) {
    const t = this.time();
    return Boolean(param.keys && param.keys.some((k) => Math.abs(k - t) < 1e-6));
  }

  // Comp times of every key of the selected layer.
  keyTimes() {
    const times = new Set();
    for (const effect of this.layerState?.effects || [])
      for (const p of effect.params) for (const t of p.keys || []) times.add(t);
    return [...times];
  }

  async start() {
    try {
      for (const t of await api.effects()) this.tables.set(t.matchName, t);
      this.controls.fillAddList();
      await this.refresh();
    } catch (e) {
      this.report(e);
    }
  }

  // Asks the server for the state at the current time and shows it.
  // `refreshing` counts the state fetches in flight: the controls are built anew when each
  // one returns, so the page has settled only when none is left.
  async refresh({frame = true} = {}) {
    this.refreshing = (this.refreshing || 0) + 1;
    try {
      const s = await api.state(this.time());
      this.state = s;
      this.version = s.version;
      const comps = s.comps || [];
      if (this.comp >= comps.length) this.comp = Math.max(0, comps.length - 1);
      const c = this.compState;
      if (c) {
        this.frame = Math.min(this.frame, c.frames - 1);
        if (this.layer >= c.layers.length) this.layer = Math.max(0, c.layers.length - 1);
      }
      this.render();
      if (frame) this.viewer.show();
    } finally {
      this.refreshing -= 1;
    }
  }

  render() {
    const s = this.state;
    // The box is right-to-left so that a long path loses its start, not its name; the marks
    // keep the path's slashes where they are.
    document.getElementById('doc-name').textContent =
        s.document ? `\u200e${s.document}\u200e` : '(new document)';
    document.getElementById('saved-state').textContent = s.saved ? 'saved' : 'not saved';
    document.getElementById('undo').disabled = !s.canUndo;
    document.getElementById('redo').disabled = !s.canRedo;
    document.body.dataset.version = s.version;
    const problem = document.getElementById('problem');
    problem.hidden = !s.problem;
    if (s.problem) {
      problem.replaceChildren(el('strong', {}, 'The document does not load: '),
                              s.problem.path ? el('code', {}, s.problem.path) : '',
                              ' ', s.problem.message,
                              el('p', {}, 'Fix it in the document text below.'));
      this.text.open();
    }
    this.showMessages(s.messages || []);
    this.layers.render();
    this.controls.render();
    this.timeline.render();
    this.text.changed();
    this.view3d.render();
  }

  showMessages(messages) {
    const box = document.getElementById('messages');
    box.hidden = messages.length === 0;
    box.replaceChildren(...messages.map((m) => el('p', {}, m)));
  }

  setStatus(text, isError = false) {
    const status = document.getElementById('status');
    status.textContent = text;
    status.classList.toggle('error', isError);
  }

  report(e) {
    console.error(e);
    const where = e instanceof ApiError && e.path ? ` (at ${e.path})` : '';
    this.setStatus(`${e.message}${where}`, true);
  }

  // Sends an edit after those before it; resolves true when it was applied.
  edit(op) {
    return new Promise((resolve) => {
      this.queue.push({op, resolve});
      this.pump();
    });
  }

  // An edit of a drag: replaces an edit of the same control still waiting to be sent, so a
  // drag sends only as fast as the server takes them.
  editLive(op, control) {
    const waiting = this.queue.find((q) => q.control === control);
    if (waiting) {
      waiting.op = op;
      return Promise.resolve(true);
    }
    return new Promise((resolve) => {
      this.queue.push({op, resolve, control});
      this.pump();
    });
  }

  async pump() {
    if (this.sending) return;
    this.sending = true;
    while (this.queue.length) {
      const entry = this.queue.shift();
      let ok = false;
      const started = performance.now();
      try {
        const answer = await api.edit(entry.op);
        this.version = answer.version;
        this.pendingShow = {version: answer.version, started};
        this.setStatus('');
        ok = true;
        // The new frame is asked for at once, while the state comes.
        if (!this.queue.length) this.viewer.show();
      } catch (e) {
        this.report(e);
      }
      entry.resolve(ok);
      try {
        await this.refresh();
      } catch (e) {
        this.report(e);
      }
    }
    this.sending = false;
  }

  // Undo, redo, save: changes that are not edits.
  async act(call) {
    await new Promise((resolve) => {
      const wait = () => (this.sending || this.queue.length ? setTimeout(wait, 10) : resolve());
      wait();
    });
    try {
      const answer = await call();
      await this.refresh();
      return answer;
    } catch (e) {
      this.report(e);
      return null;
    }
  }

  frameShown(key) {
    const [version] = key.split(':').map(Number);
    if (this.pendingShow && version >= this.pendingShow.version) {
      const ms = performance.now() - this.pendingShow.started;
      this.latencies.push(ms);
      this.setStatus(`change shown in ${ms.toFixed(0)} ms`);
      this.pendingShow = null;
    }
  }

  setFrame(frame, {playing = false} = {}) {
    this.frame = frame;
    this.timeline.render();
    this.viewer.show();
    // Keyed values follow the time; while playing they are fetched once playback stops.
    if (!playing) this.refresh({frame: false}).catch((e) => this.report(e));
  }

  selectLayer(i) {
    this.layer = i;
    this.layers.render();
    this.controls.render();
    this.timeline.render();
    this.view3d.render();
  }

  openComp(i) {
    this.comp = i;
    this.layer = 0;
    this.frame = 0;
    this.refresh().catch((e) => this.report(e));
  }

  openCompByName(name) {
    const i = (this.state?.comps || []).findIndex((c) => c.name === name);
    if (i >= 0) this.openComp(i);
  }

  // A point parameter placed by dragging on the viewer.
  pickPoint(row, at) {
    const canvas = this.viewer.canvas;
    canvas.classList.add('picking');
    this.setStatus(`drag on the viewer to place "${row.name}"`);
    const gesture = `pick-${Date.now()}`;
    const send = (ev) => {
      const [x, y] = this.viewer.compPoint(ev);
      this.editLive({op: 'setParam', ...at, param: row.index, value: [x, y], time: this.time(),
                     gesture}, `${at.comp}/${at.layer}/${at.effect}/${row.index}`);
    };
    const move = (ev) => { if (ev.buttons) send(ev); };
    const up = (ev) => {
      send(ev);
      canvas.classList.remove('picking');
      canvas.removeEventListener('pointermove', move);
      this.setStatus('');
    };
    canvas.addEventListener('pointermove', move);
    canvas.addEventListener('pointerup', up, {once: true});
  }

  // A button answered through a dialog in the page: "Export SVG" asks for the file (and
  // whether to write every frame as one animated file). Others are not answered yet.
  async pressButton(row, at, label) {
    if (row.name !== 'Export SVG') {
      this.setStatus(`"${label}" is not answered by this studio yet`, true);
      return;
    }
    const sequence = el('input', {type: 'checkbox', id: 'svg-sequence'});
    const path = await this.files.ask({
      title: 'Export SVG', note: 'The frame as vector shapes, in a .svg file.',
      suggestion: `${this.layerState?.name || 'frame'}.svg`, filter: '.svg',
      extra: [el('label', {}, sequence, ' every frame, as one animated file')]});
    if (!path) return;
    try {
      const answer = await api.exportSvg({comp: at.comp, layer: this.layerState?.name || '',
                                          frame: this.frame, sequence: sequence.checked, path});
      this.setStatus(`exported ${answer.path}`);
    } catch (e) {
      this.report(e);
    }
  }

  // A name filter's dialog: the answer goes into the document as the effect's dialog click, so
  // the effect takes it as it takes a host's (an emptied box is a Cancel there too).
  async askText(row, at, current) {
    const answer = await this.texts.ask(row.dialog, current);
    if (answer === null || answer === current) return;
    const applied = await this.edit({op: 'answerTextDialog', ...at, param: row.index, answer});
    const now = this.state?.comps?.[at.comp]?.layers?.[at.layer]?.effects?.[at.effect]?.params
        ?.find((p) => p.index === row.index)?.value;
    if (applied && now !== answer) this.setStatus(`"${row.name}" kept its text`);
  }

  // The OBJ source's "Import OBJ": the file and the dialog's three boxes, kept in the
  // document as the effect's dialog answer, so that loading the document imports the file.
  async importObj(at, effect) {
    const box = (id, text) => {
      const input = el('input', {type: 'checkbox', id});
      return {input, label: el('label', {}, input, ` ${text}`)};
    };
    const sequence = box('obj-sequence', 'OBJ File Sequence');
    const alphabetical = box('obj-alphabetical', 'Force Alphabetical Order');
    const relative = box('obj-relative', 'Relative Path to Project');
    const path = await this.files.ask({
      title: 'Import OBJ', note: 'Imports OBJ Files created by 3D Applications.', filter: '.obj',
      extra: [sequence.label, alphabetical.label, relative.label]});
    if (!path) return;
    const applied = await this.edit({op: 'importObj', ...at, file: path,
                                     sequence: sequence.input.checked,
                                     alphabetical: alphabetical.input.checked,
                                     relative: relative.input.checked});
    if (applied) this.setStatus(`"${effect.name}" reads ${path}`);
  }

  wire() {
    document.getElementById('undo').addEventListener('click', () => this.act(api.undo));
    document.getElementById('redo').addEventListener('click', () => this.act(api.redo));
    document.getElementById('save').addEventListener('click', () => this.save());
    document.getElementById('save-as').addEventListener('click', () => this.saveAs());
    document.getElementById('scale').addEventListener('change', (e) => {
      this.scale = Number(e.target.value);
      this.viewer.show();
    });
    window.addEventListener('resize', () => this.viewer.fit());
    window.addEventListener('keydown', (e) => {
      const typing = ['INPUT', 'TEXTAREA', 'SELECT'].includes(document.activeElement?.tagName);
      if ((e.ctrlKey || e.metaKey) && e.key.toLowerCase() === 'z' && !typing) {
        e.preventDefault();
        this.act(e.shiftKey ? api.redo : api.undo);
      } else if ((e.ctrlKey || e.metaKey) && e.key.toLowerCase() === 's') {
        e.preventDefault();
        this.save();
      } else if (e.key === ' ' && !typing) {
        e.preventDefault();
        this.timeline.toggle();
      }
    });
  }

  async save() {
    if (!this.state?.document) return this.saveAs();
    const answer = await this.act(() => api.save());
    if (answer) this.setStatus(`saved ${answer.path}`);
  }

  async saveAs() {
    const path = await this.files.ask({title: 'Save As', note: 'A .json file in the document\'s folder.',
                                      suggestion: 'untitled.json'});
    if (!path) return;
    const answer = await this.act(() => api.save(path));
    if (answer) this.setStatus(`saved ${answer.path}`);
  }
}

const studio = new Studio();
window.studio = studio;  // for the browser test and the console
studio.start();
