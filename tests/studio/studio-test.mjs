// The studio in a real browser: headless Chromium (Debian's) driven by puppeteer-core, against
// `tavrin studio` on a copy of the bundled example. It moves "Maximum Distance" and compares
// the viewer's pixels with `tavrin render` of the document saved with that value; switches
// "Primitive Type" and checks that exactly the parameters `tavrin info` says the effect hides
// are hidden; sets two keys and scrubs between them; undoes and redoes; saves, reloads and
// compares the file with `tavrin save`; plays from the frame cache; drags, adds and presets a
// curve's points and adds, colours and moves a gradient's stops (saved as `tavrin save` writes,
// drawn as `tavrin render` draws); solos a layer under a solid added over it; shows the layer's
// gathered geometry (as `tavrin geometry` writes it) in the 3D view and orbits; answers a name
// filter's dialog (OK and Cancel); exports an SVG through the page's dialog; adds an effect
// through a Toolkit menu; imports an OBJ file through the OBJ source's "Import OBJ" button; and
// builds the bundled example from an empty comp with clicks alone. Screenshots of each panel
// and the timings (docs/PERFORMANCE.md) are written to the artefacts folder and kept.
//
// node studio-test.mjs --tavrin PATH --examples DIR --out DIR
import {execFileSync, spawn} from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import puppeteer from 'puppeteer-core';

const args = Object.fromEntries(process.argv.slice(2).reduce((pairs, a, i, all) =>
    a.startsWith('--') ? [...pairs, [a.slice(2), all[i + 1]]] : pairs, []));
const tavrin = args.tavrin;
const out = args.out || fs.mkdtempSync(path.join(os.tmpdir(), 'studio-artefacts-'));
// The sanitizer build draws some ten times slower: every wait scales with this.
const slow = Number(process.env.TAVRIN_STUDIO_SLOW || 1);
fs.mkdirSync(out, {recursive: true});
const work = fs.mkdtempSync(path.join(os.tmpdir(), 'studio-test-'));
fs.copyFileSync(path.join(args.examples, 'network.json'), path.join(work, 'network.json'));
fs.copyFileSync(path.join(args.examples, 'bipyramid.obj'), path.join(work, 'bipyramid.obj'));
const doc = path.join(work, 'network.json');

let passed = 0, failed = 0;
function check(ok, what, detail = '') {
  if (ok) passed += 1; else failed += 1;
  console.log(`${ok ? 'ok  ' : 'FAIL'} ${what}${detail ? ` (${detail})` : ''}`);
}

function run(...argv) {
  return execFileSync(tavrin, argv, {encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe']});
}

const server = spawn(tavrin, ['studio', doc], {stdio: ['ignore', 'pipe', 'inherit']});
const url = await new Promise((resolve, reject) => {
  let text = '';
  server.stdout.on('data', (d) => {
    text += d;
    const m = text.match(/http:\/\/127\.0\.0\.1:\d+\/[0-9a-f]{32}\//);
    if (m) resolve(m[0]);
  });
  server.on('exit', (code) => reject(new Error(`tavrin studio ended with ${code}`)));
  setTimeout(() => reject(new Error('tavrin studio printed no address')), 30000 * slow);
});

const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'studio-chromium-'));
const browser = await puppeteer.launch({
  executablePath: process.env.CHROMIUM || '/usr/bin/chromium',
  userDataDir: profile,
  args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
         '--disable-background-networking', '--disable-component-update', '--disable-sync',
         '--force-color-profile=srgb'],
  defaultViewport: {width: 1500, height: 940},
  protocolTimeout: 180000 * slow,
});
const page = await browser.newPage();
page.setDefaultTimeout(60000 * slow);
const pageErrors = [];
page.on('pageerror', (e) => pageErrors.push(e.message));
page.on('console', (m) => { if (m.type() === 'error') console.log(`  browser: ${m.text()}`); });

const lines = 'section.effect[data-name="Tavrin Lines Renderer"]';
const prims = 'section.effect[data-name="Tavrin Primitives Object"]';
const param = (effect, name) => `${effect} .param[data-name="${name}"]`;

// Waits until the viewer shows the frame of the current version, no edit is waiting and no
// state fetch is in flight (each rebuilds the controls when it returns).
async function settled() {
  await page.waitForFunction(() => {
    const s = window.studio;
    const c = document.getElementById('viewer');
    return s && s.state && !s.sending && s.queue.length === 0 && !s.refreshing &&
           Number(c.dataset.version) === s.version && Number(c.dataset.frame) === s.frame &&
           Number(c.dataset.scale) === s.scale;
  }, {polling: 50});
}

// Clicks a control that changes the document, and waits for the new version's frame.
async function clickAndSettle(selector) {
  const before = await page.evaluate(() => window.studio.version);
  await page.click(selector);
  await page.waitForFunction((v) => window.studio.version !== v, {polling: 50}, before);
  await settled();
}

async function shoot(name, selector) {
  const target = selector ? await page.$(selector) : page;
  await target.screenshot({path: path.join(out, `${name}.png`)});
}

// The viewer's pixels against a PNG file's, both decoded by the browser the same way.
async function compareViewer(png) {
  return page.evaluate(async (b64) => {
    const img = new Image();
    img.src = `data:image/png;base64,${b64}`;
    await img.decode();
    const bitmap = await createImageBitmap(img, {premultiplyAlpha: 'none'});
    const ref = new OffscreenCanvas(bitmap.width, bitmap.height).getContext('2d');
    ref.drawImage(bitmap, 0, 0);
    const viewer = document.getElementById('viewer');
    const a = viewer.getContext('2d').getImageData(0, 0, viewer.width, viewer.height).data;
    const b = ref.getImageData(0, 0, bitmap.width, bitmap.height).data;
    if (viewer.width !== bitmap.width || viewer.height !== bitmap.height)
      return {sameSize: false, size: [viewer.width, viewer.height, bitmap.width, bitmap.height]};
    let maxDiff = 0, differing = 0, drawn = 0;
    for (let i = 0; i < a.length; i += 4) {
      let d = 0;
      for (let k = 0; k < 4; k++) d = Math.max(d, Math.abs(a[i + k] - b[i + k]));
      if (d) differing += 1;
      if (a[i + 3]) drawn += 1;
      maxDiff = Math.max(maxDiff, d);
    }
    return {sameSize: true, maxDiff, differing, drawn};
  }, fs.readFileSync(png).toString('base64'));
}

async function value(selector) {
  return page.$eval(`${selector} input.number`, (i) => Number(i.value));
}

// Starts `tavrin studio` on a document path and resolves its address.
function startStudio(document) {
  const child = spawn(tavrin, ['studio', document], {stdio: ['ignore', 'pipe', 'inherit']});
  const address = new Promise((resolve, reject) => {
    let text = '';
    child.stdout.on('data', (d) => {
      text += d;
      const m = text.match(/http:\/\/127\.0\.0\.1:\d+\/[0-9a-f]{32}\//);
      if (m) resolve(m[0]);
    });
    child.on('exit', (code) => reject(new Error(`tavrin studio ended with ${code}`)));
  });
  return {child, address};
}

// The examples the software path draws (the others turn on Unified Rendering, whose frames on a
// machine without a GPU take seconds).
const softwareExamples = fs.readdirSync(args.examples)
    .filter((f) => f.endsWith('.json'))
    .filter((f) => !fs.readFileSync(path.join(args.examples, f), 'utf8')
        .includes('"Unified Rendering": true'))
    .sort();

// From a change to its frame, for each software-path example opened in a studio of its own:
// the first number box of the effect controls takes three values in turn (the one it holds
// times 0.9, then back, then again), each timed until the viewer shows its version's frame.
async function exampleLatencies() {
  const results = {};
  for (const name of softwareExamples) {
    const studio = startStudio(path.join(args.examples, name));
    const p = await browser.newPage();
    p.setDefaultTimeout(60000 * slow);
    p.on('pageerror', (e) => pageErrors.push(`${name}: ${e.message}`));
    const shown = () => p.waitForFunction(() => {
      const s = window.studio;
      const c = document.getElementById('viewer');
      return s && s.state && !s.sending && s.queue.length === 0 && !s.refreshing &&
             Number(c.dataset.version) === s.version && Number(c.dataset.frame) === s.frame;
    }, {polling: 20});
    try {
      await p.goto(await studio.address);
      await shown();
      // The first visible number box, on the first layer that has one, whose value the
      // document takes: in the comp itself, else in the first comp one of its layers holds.
      const times = [];
      for (let comp = 0; comp < 2 && times.length < 3; comp++) {
        if (comp === 1) {
          const open = await p.$('button[title^="open comp"]');
          if (!open) break;
          await open.click();
          await shown();
        }
        const layerCount = (await p.$$('button.layer-name')).length;
        for (let layer = 0; layer < layerCount && times.length < 3; layer++) {
          await (await p.$$('button.layer-name'))[layer].click();
          for (const box of await p.$$('section.effect .param input.number')) {
            if (!(await box.evaluate((i) => i.offsetParent !== null))) continue;
            const v0 = Number(await box.evaluate((i) => i.value));
            const v1 = v0 !== 0 ? Math.round(v0 * 9) / 10 : 0.1;
            for (const v of [v1, v0, v1]) {
              const before = await p.evaluate(() => window.studio.version);
              const t0 = await p.evaluate(() => performance.now());
              await box.evaluate((i, v) => {
                i.value = String(v);
                i.dispatchEvent(new Event('change'));
              }, v);
              // A value the document does not take leaves the version as it was.
              const taken = await p.waitForFunction((b) => window.studio.version !== b,
                                                    {polling: 20, timeout: 2000 * slow}, before)
                  .then(() => true, () => false);
              if (!taken) break;
              await shown();
              times.push(await p.evaluate((t0) => performance.now() - t0, t0));
            }
            if (times.length === 3) break;
            times.length = 0;
          }
        }
      }
      // The size of the frame the changes drew.
      const size = await p.evaluate(() => {
        const c = document.getElementById('viewer');
        return `${c.width}x${c.height}`;
      });
      times.sort((a, b) => a - b);
      results[name] = {size, median: Math.round(times[1]), all: times.map((t) => Math.round(t))};
      check(times.length === 3, `a change to ${name} shows its frame`, JSON.stringify(results[name]));
    } finally {
      await p.close();
      const ended = new Promise((resolve) => studio.child.once('exit', resolve));
      studio.child.kill('SIGTERM');
      await ended;
    }
  }
  return results;
}

// The bundled example built from an empty comp by clicks alone, saved, rendered, and compared
// with the example's own frame.
async function buildFromEmpty() {
  const folder = path.join(work, 'fresh');
  fs.mkdirSync(folder);
  const built = path.join(folder, 'built.json');
  const second = startStudio(built);
  const p = await browser.newPage();
  p.setDefaultTimeout(60000 * slow);
  p.on('pageerror', (e) => pageErrors.push(e.message));
  p.on('dialog', (d) => d.accept('Network'));  // the new layer's name
  try {
    await p.goto(await second.address);
    await p.waitForFunction(() => window.studio && window.studio.state);
    const changed = async (act) => {
      const v = await p.evaluate(() => window.studio.version);
      await act();
      await p.waitForFunction((v) => window.studio.version !== v && !window.studio.sending &&
                                     window.studio.queue.length === 0, {polling: 50}, v);
    };
    const field = (selector, value, events = ['change']) => changed(() => p.$eval(selector,
        (i, value, events) => {
          i.value = value;
          for (const e of events) i.dispatchEvent(new Event(e));
        }, value, events));
    await p.click('#comp-settings summary');
    await field('#comp-form input[data-key="name"]', 'Network');
    await field('#comp-form input[data-key="background"]', '#05050d');
    await changed(() => p.click('#add-layer'));
    for (const name of ['Tavrin', 'Tavrin Primitives Object', 'Tavrin Points Renderer',
                        'Tavrin Lines Renderer']) {
      await p.select('#new-effect', name);
      await changed(() => p.click('#add-effect'));
    }
    const row = (effect, name) =>
        `section.effect[data-name="${effect}"] .param[data-name="${name}"]`;
    const prim = 'Tavrin Primitives Object';
    await changed(() => p.select(`${row(prim, 'Primitive Type')} select`, '2'));  // Sphere
    for (const [name, v] of [['Sphere Radius', 260], ['Sphere Slices', 48], ['Sphere Stacks', 32],
                             ['X Rotate', 20], ['Y Rotate', 25], ['Opacity', 90]])
      await field(`${row(prim, name)} input.number`, String(v));
    await field(`${row(prim, 'Color')} input`, '#78c8ff', ['input', 'change']);
    await field(`${row('Tavrin Points Renderer', 'Points Size')} input.number`, '2');
    await field(`${row('Tavrin Lines Renderer', 'Maximum Distance')} input.number`, '70');
    await field(`${row('Tavrin Lines Renderer', 'Line Thickness')} input.number`, '0.6');
    await p.click('#save');
    await p.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
    await p.waitForFunction(() => Number(document.getElementById('viewer').dataset.version) ===
                                  window.studio.version, {polling: 50});
    await p.screenshot({path: path.join(out, 'built-from-empty.png')});
    run('render', built, '-o', path.join(folder, 'built_####.png'), '--frames', '0');
    run('render', path.join(args.examples, 'network.json'), '-o',
        path.join(folder, 'example_####.png'), '--frames', '0');
    const a = fs.readFileSync(path.join(folder, 'built_0000.png'));
    const b = fs.readFileSync(path.join(folder, 'example_0000.png'));
    check(a.equals(b), 'the bundled example built from an empty comp by clicks renders as the example',
          `${a.length} and ${b.length} bytes`);
  } finally {
    await p.close();
    const ended = new Promise((resolve) => second.child.once('exit', resolve));
    second.child.kill('SIGTERM');
    await ended;
  }
}

const timings = {};
try {
  const started = Date.now();
  await page.goto(url);
  await settled();
  timings.firstFrameMs = Date.now() - started;
  check(true, 'the page opens the example and shows its frame');
  await shoot('studio', null);
  await shoot('panel-layers', '#layers-panel');
  await shoot('panel-viewer', '#viewer-panel');
  await shoot('panel-controls', '#controls-panel');

  // ---- "Maximum Distance", dragged on its slider -----------------------------------------
  const slider = await page.$(`${param(lines, 'Maximum Distance')} input.slider`);
  await slider.scrollIntoView();
  const box = await slider.boundingBox();
  const y = box.y + box.height / 2;
  await page.mouse.move(box.x + box.width * 0.70, y);
  await page.mouse.down();
  for (const share of [0.6, 0.5, 0.45, 0.42]) await page.mouse.move(box.x + box.width * share, y);
  await page.mouse.up();
  await settled();
  const distance = await value(param(lines, 'Maximum Distance'));
  check(distance > 30 && distance < 60 && distance !== 70, 'the slider moved "Maximum Distance"',
        `now ${distance}`);
  await shoot('viewer-distance', '#viewer-panel');
  // The same value through the command line: the document saved, then rendered.
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const saved = JSON.parse(fs.readFileSync(doc, 'utf8'));
  const savedDistance = saved.comps[0].layers[0].effects[3].params['Maximum Distance'];
  check(savedDistance === distance, 'the saved document holds the value', `${savedDistance}`);
  run('render', doc, '-o', path.join(work, 'ref_####.png'), '--frames', '0');
  const same = await compareViewer(path.join(work, 'ref_0000.png'));
  check(same.sameSize && same.maxDiff === 0 && same.drawn > 1000,
        'the viewer shows the pixels tavrin render draws for that document', JSON.stringify(same));
  fs.copyFileSync(path.join(work, 'ref_0000.png'), path.join(out, 'render-distance.png'));
  const original = path.join(work, 'original_####.png');
  run('render', path.join(args.examples, 'network.json'), '-o', original, '--frames', '0');
  const differs = await compareViewer(path.join(work, 'original_0000.png'));
  check(differs.differing > 0, 'and they differ from the example\'s own frame',
        `${differs.differing} pixels`);

  // Latency of one change: a value typed, until its frame is shown (the software path).
  const latencies = [];
  for (const v of [60, 80, 50, 90, 70]) {
    const t0 = await page.evaluate(() => performance.now());
    await page.$eval(`${param(lines, 'Maximum Distance')} input.number`, (i, v) => {
      i.value = String(v);
      i.dispatchEvent(new Event('change'));
    }, v);
    await settled();
    latencies.push(await page.evaluate((t0) => performance.now() - t0, t0));
  }
  latencies.sort((a, b) => a - b);
  timings.changeToFrameMs = {median: latencies[2], min: latencies[0], max: latencies[4],
                             all: latencies.map((v) => Math.round(v))};

  // ---- a popup whose rule hides parameters -----------------------------------------------
  // Each row's own hidden flag, and whether it is out of sight (itself or a group around it).
  const hiddenNow = () => page.$$eval(`${prims} .param, ${prims} details.group`, (rows) =>
      Object.fromEntries(rows.map((r) => [r.dataset.name + '#' + r.dataset.index,
                                          {own: r.hidden, gone: r.closest('[hidden]') !== null}])));
  const sphereShown = await hiddenNow();
  await page.select(`${param(prims, 'Primitive Type')} select`, '1');  // Cube
  await settled();
  const cubeShown = await hiddenNow();
  await shoot('controls-cube', prims);
  // What the host says for the same document, through the command line.
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const info = JSON.parse(run('info', doc, '--json'));
  const hostParams = info.comps[0].layers[0].effects[1].params;
  let agree = 0, disagree = [];
  for (const p of hostParams) {
    const key = `${p.name}#${p.index}`;
    if (!(key in cubeShown)) continue;
    if (cubeShown[key].own === p.hidden) agree += 1;
    else disagree.push(`${key}: page ${cubeShown[key].own}, host ${p.hidden}`);
  }
  check(disagree.length === 0 && agree > 10, 'each parameter is hidden exactly when the host hides it',
        disagree.length ? disagree.join('; ') : `${agree} rows agree`);
  const sphereRows = Object.keys(cubeShown).filter((k) => k.startsWith('Sphere'));
  check(sphereRows.length > 0 && sphereRows.every((k) => cubeShown[k].gone && !sphereShown[k].gone),
        'switching to "Cube" hides the sphere\'s parameters that were shown', sphereRows.join(', '));
  const cubeRows = Object.keys(cubeShown).filter((k) => k.startsWith('Cube'));
  check(cubeRows.length > 0 && cubeRows.every((k) => !cubeShown[k].gone && sphereShown[k].gone),
        'and shows the cube\'s', cubeRows.join(', '));
  await page.select(`${param(prims, 'Primitive Type')} select`, '2');  // back to Sphere
  await settled();

  // ---- two keys, then scrubbing between them ---------------------------------------------
  const rotate = param(prims, 'Y Rotate');
  await page.click(`${rotate} button.key`);  // the first key at frame 0 (25 degrees)
  await settled();
  await page.$eval('#scrub', (s) => { s.value = '30'; s.dispatchEvent(new Event('input')); });
  await settled();
  await page.$eval(`${rotate} input.number`, (i) => {
    i.value = '115';
    i.dispatchEvent(new Event('change'));
  });
  await settled();
  const marks = await page.$$eval('#key-marks .key-mark', (m) => m.map((k) => Number(k.dataset.frame)));
  check(marks.length === 2 && marks.includes(0) && marks.includes(30), 'two keys on the timeline',
        JSON.stringify(marks));
  await page.$eval('#scrub', (s) => { s.value = '15'; s.dispatchEvent(new Event('input')); });
  await settled();
  await page.waitForFunction((sel) => document.querySelector(`${sel} input.number`).value === '70',
                             {}, rotate).catch(() => {});
  const between = await value(rotate);
  check(Math.abs(between - 70) < 1e-6, 'half way between the keys the value is half way', `${between}`);
  await shoot('timeline', '#timeline');
  await shoot('viewer-keyed', '#viewer-panel');
  run('render', doc, '-o', path.join(work, 'unkeyed_####.png'), '--frames', '15');
  const moved = await compareViewer(path.join(work, 'unkeyed_0015.png'));
  check(moved.differing > 0, 'the frame between the keys is turned', `${moved.differing} pixels differ`);

  // ---- undo and redo ---------------------------------------------------------------------
  await clickAndSettle('#undo');
  const undoneMarks = await page.$$eval('#key-marks .key-mark', (m) => m.length);
  check(undoneMarks === 1, 'undo takes the second key away', `${undoneMarks} keys`);
  await clickAndSettle('#redo');
  check(await page.$$eval('#key-marks .key-mark', (m) => m.length) === 2, 'redo brings it back');

  // ---- save, reload, compare -------------------------------------------------------------
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const written = fs.readFileSync(doc, 'utf8');
  run('save', doc, '-o', path.join(work, 'resaved.json'));
  check(written === fs.readFileSync(path.join(work, 'resaved.json'), 'utf8'),
        'the saved file is what tavrin save writes');
  const keys = JSON.parse(written).comps[0].layers[0].effects[1].params['Y Rotate'].keys;
  check(keys.length === 2 && keys[0].v === 25 && keys[1].v === 115, 'it holds the two keys',
        JSON.stringify(keys));
  await page.reload();
  await settled();
  const reloadedMarks = await page.$$eval('#key-marks .key-mark', (m) => m.length);
  const reloadedDistance = await value(param(lines, 'Maximum Distance'));
  check(reloadedMarks === 2 && reloadedDistance === 70, 'the reloaded page shows the saved document',
        `${reloadedMarks} keys, distance ${reloadedDistance}`);

  // ---- preview resolution ----------------------------------------------------------------
  await page.select('#scale', '2');
  await settled();
  const half = await page.$eval('#viewer', (c) => [c.width, c.height]);
  check(half[0] === 640 && half[1] === 360, 'Half resolution draws a 640x360 frame', `${half}`);
  const shownFrame = await page.$eval('#viewer', (c) => c.dataset.frame);
  run('render', doc, '-o', path.join(work, 'half_####.png'), '--frames', shownFrame, '--scale', '1/2');
  const halfSame = await compareViewer(path.join(work, `half_${shownFrame.padStart(4, '0')}.png`));
  check(halfSame.sameSize && halfSame.maxDiff === 0, 'and the pixels of render --scale 1/2',
        JSON.stringify(halfSame));
  await page.select('#scale', '1');
  await settled();

  // ---- playback from the frame cache -----------------------------------------------------
  const fillStarted = Date.now();
  await page.click('#play');
  await page.waitForFunction(() => window.studio.viewer.cachedFrames().length >= 60,
                             {polling: 200, timeout: 600000 * slow});
  timings.cacheFillMs = Date.now() - fillStarted;
  await new Promise((r) => setTimeout(r, 3000));
  timings.playbackFps = await page.evaluate(() => window.studio.playRate);
  await page.click('#play');
  check(timings.playbackFps > 12, 'playback from the cache runs at many frames a second',
        `${timings.playbackFps.toFixed(1)} fps`);
  await settled();

  // ---- the curve editor: a point dragged, one added, the result saved and rendered --------
  const curve = param(lines, 'Opacity over Distance');
  // Read in one call: the editor redraws its points with every state the page gets.
  const curvePoints = () => page.evaluate((sel) => {
    const g = document.querySelector(`${sel} svg.curve-graph`);
    const dots = [...g.querySelectorAll('circle.curve-point')];
    const w = Number(g.getAttribute('width')), h = Number(g.getAttribute('height')), pad = 6;
    return dots.map((d) => [(Number(d.getAttribute('cx')) - pad) / (w - 2 * pad),
                            (h - pad - Number(d.getAttribute('cy'))) / (h - 2 * pad)]);
  }, curve);
  await page.$eval(curve, (r) => r.scrollIntoView({block: 'center'}));
  const falling = await curvePoints();
  check(falling.length === 3 && Math.abs(falling[1][0] - 0.5) < 1e-6 && falling[2][1] === 0,
        'the curve editor shows the falling curve as its three points', JSON.stringify(falling));
  const dot = await (await page.$$(`${curve} circle.curve-point`))[1].boundingBox();
  const graphBox = await (await page.$(`${curve} svg.curve-graph`)).boundingBox();
  await page.mouse.move(dot.x + dot.width / 2, dot.y + dot.height / 2);
  await page.mouse.down();
  for (const k of [0.25, 0.5, 0.75, 1]) {
    await page.mouse.move(dot.x + dot.width / 2 - graphBox.width * 0.25 * k,
                          dot.y + dot.height / 2 + graphBox.height * 0.4 * k);
  }
  await page.mouse.up();
  await settled();
  const dragged = await curvePoints();
  check(dragged.length === 3 && dragged[1][0] < 0.35 && dragged[1][1] < 0.7,
        'dragging a point moves it', JSON.stringify(dragged));
  await shoot('controls-curve', curve);
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const curveText = fs.readFileSync(doc, 'utf8');
  run('save', doc, '-o', path.join(work, 'curve-resaved.json'));
  check(curveText === fs.readFileSync(path.join(work, 'curve-resaved.json'), 'utf8'),
        'the document saved after the curve edit is what tavrin save writes');
  const validated = JSON.parse(run('validate', doc, '--json'));
  check(validated.ok === true, 'and tavrin validate passes it', JSON.stringify(validated).slice(0, 200));
  // The saved samples are the lines through the points the editor shows.
  const savedSamples = JSON.parse(curveText).comps[0].layers[0].effects[3]
      .params['Opacity over Distance']?.samples || [];
  const through = (pts, t) => {
    if (t <= pts[0][0]) return pts[0][1];
    for (let k = 0; k + 1 < pts.length; k++)
      if (t <= pts[k + 1][0])
        return pts[k][1] + (pts[k + 1][1] - pts[k][1]) * (t - pts[k][0]) / (pts[k + 1][0] - pts[k][0]);
    return pts[pts.length - 1][1];
  };
  const worst = savedSamples.reduce((m, v, i) => Math.max(m, Math.abs(v / 50 - through(dragged, i / 200))), 0);
  check(savedSamples.length === 200 && worst < 2e-3,
        'the saved samples follow the points shown', `largest gap ${worst}`);
  run('render', doc, '-o', path.join(work, 'curve_####.png'), '--frames',
      await page.$eval('#viewer', (c) => c.dataset.frame));
  const curveFrame = await page.$eval('#viewer', (c) => c.dataset.frame.padStart(4, '0'));
  const curveSame = await compareViewer(path.join(work, `curve_${curveFrame}.png`));
  check(curveSame.sameSize && curveSame.maxDiff === 0,
        'the viewer draws the edited curve as tavrin render does', JSON.stringify(curveSame));
  const graphAt = async (d, f) => {
    const b = await (await page.$(`${curve} svg.curve-graph`)).boundingBox();
    return [b.x + 6 + d * (b.width - 12), b.y + b.height - 6 - f * (b.height - 12)];
  };
  const before = await page.evaluate(() => window.studio.version);
  const [ax, ay] = await graphAt(0.8, 0.6);
  await page.mouse.click(ax, ay, {clickCount: 2});
  await page.waitForFunction((v) => window.studio.version !== v, {polling: 50}, before);
  await settled();
  const added = await curvePoints();
  check(added.length === 4 && added.some((p) => Math.abs(p[0] - 0.8) < 0.02 && Math.abs(p[1] - 0.6) < 0.03),
        'a double-click on the graph adds a point there', JSON.stringify(added));
  await clickAndSettle('#undo');
  check((await curvePoints()).length === 3, 'undo takes the added point away');
  await page.select(`${curve} select`, 'flat');
  await settled();
  const flat = await curvePoints();
  check(flat.length === 2 && flat.every((p) => Math.abs(p[1] - 1) < 1e-6),
        'the "Flat" preset sets the flat curve', JSON.stringify(flat));

  // ---- the gradient editor: a stop added, coloured and moved ------------------------------
  await page.select('#new-effect', 'Tavrin Sound Effector');
  await clickAndSettle('#add-effect');
  const sound = 'section.effect[data-name="Tavrin Sound Effector"]';
  await clickAndSettle(`${param(sound, 'Affect Color')} input[type=checkbox]`);
  const gradient = param(sound, 'Color Gradient');
  await page.$eval(gradient, (r) => {
    for (let d = r.closest('details'); d; d = d.parentElement.closest('details')) d.open = true;
    r.scrollIntoView({block: 'center'});
  });
  const stopCount = () => page.$$eval(`${gradient} .gradient-stop`, (m) => m.length);
  const firstStops = await stopCount();
  const barBox = await (await page.$(`${gradient} .gradient-bar`)).boundingBox();
  let v0 = await page.evaluate(() => window.studio.version);
  await page.mouse.click(barBox.x + barBox.width * 0.75, barBox.y + barBox.height / 2, {clickCount: 2});
  await page.waitForFunction((v) => window.studio.version !== v, {polling: 50}, v0);
  await settled();
  check(await stopCount() === firstStops + 1, 'a double-click on the bar adds a stop',
        `${firstStops} then ${await stopCount()}`);
  v0 = await page.evaluate(() => window.studio.version);
  await page.$eval(`${gradient} input[type=color]`, (i) => {
    i.value = '#ff0000';
    i.dispatchEvent(new Event('input'));
    i.dispatchEvent(new Event('change'));
  });
  await page.waitForFunction((v) => window.studio.version !== v, {polling: 50}, v0);
  await settled();
  // The first stop dragged from 0 to about 0.2 along the bar.
  const marker = await (await page.$$(`${gradient} .gradient-stop`))[0].boundingBox();
  await page.mouse.move(marker.x + marker.width / 2, marker.y + marker.height / 2);
  await page.mouse.down();
  for (const k of [0.05, 0.1, 0.15, 0.2])
    await page.mouse.move(barBox.x + barBox.width * k, marker.y + marker.height / 2);
  await page.mouse.up();
  await settled();
  await shoot('controls-gradient', gradient);
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const gradientText = fs.readFileSync(doc, 'utf8');
  run('save', doc, '-o', path.join(work, 'gradient-resaved.json'));
  check(gradientText === fs.readFileSync(path.join(work, 'gradient-resaved.json'), 'utf8'),
        'the document saved after the gradient edits is what tavrin save writes');
  check(JSON.parse(run('validate', doc, '--json')).ok === true, 'and tavrin validate passes it');
  const savedStops = JSON.parse(gradientText).comps[0].layers[0].effects
      .find((e) => e.effect === 'Tavrin Sound Effector')?.params?.['Color Gradient'] || [];
  const red = savedStops.find((s) => Math.abs(s.position - 0.75) < 0.01);
  check(savedStops.length === firstStops + 1 && red && red.color.join() === '1,0,0' &&
        Math.abs(savedStops[0].position - 0.2) < 0.02,
        'the saved gradient holds the added red stop and the moved first one',
        JSON.stringify(savedStops));

  // ---- solo: a solid added over the network, then the network soloed ----------------------
  page.on('dialog', (d) => d.accept(d.type() === 'prompt' ? 'Cover' : undefined));
  await page.select('#new-layer-kind', 'solid');
  await clickAndSettle('#add-layer');
  const covered = await page.$eval('#viewer', (c) => c.toDataURL());
  const networkRow = '#layer-list li[data-name="Network"]';
  await clickAndSettle(`${networkRow} input.solo`);
  await shoot('layers-solo', '#layer-list');
  await shoot('viewer-solo', '#viewer-panel');
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const soloText = fs.readFileSync(doc, 'utf8');
  const soloLayers = JSON.parse(soloText).comps[0].layers;
  check(soloLayers.length === 2 && soloLayers[0].name === 'Cover' && soloLayers[1].solo === true &&
        !('solo' in soloLayers[0]), 'the solo switch is saved on the soloed layer alone',
        JSON.stringify(soloLayers.map((l) => [l.name, l.solo])));
  run('save', doc, '-o', path.join(work, 'solo-resaved.json'));
  check(soloText === fs.readFileSync(path.join(work, 'solo-resaved.json'), 'utf8'),
        'and the file is what tavrin save writes');
  const soloFrame = await page.$eval('#viewer', (c) => c.dataset.frame);
  run('render', doc, '-o', path.join(work, 'solo_####.png'), '--frames', soloFrame);
  const soloSame = await compareViewer(path.join(work, `solo_${soloFrame.padStart(4, '0')}.png`));
  const uncovered = await page.$eval('#viewer', (c) => c.toDataURL());
  check(soloSame.sameSize && soloSame.maxDiff === 0 && soloSame.drawn > 1000 && uncovered !== covered,
        'with the network soloed the viewer shows it alone, as tavrin render does',
        JSON.stringify(soloSame));
  await clickAndSettle(`${networkRow} input.solo`);
  check(await page.$eval('#viewer', (c) => c.toDataURL()) === covered,
        'solo off: the cover shows again');
  await clickAndSettle('#layer-list li[data-name="Cover"] button[title="remove the layer"]');
  await page.click(`${networkRow} button.layer-name`);
  await settled();

  // ---- the 3D view: the layer's gathered geometry and the comp camera ---------------------
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  await page.click('#view3d-pane summary');
  await page.waitForFunction(() => Number(document.getElementById('view3d').dataset.drawn) > 0,
                             {polling: 100});
  const viewFrame = await page.evaluate(() => String(window.studio.frame));
  run('geometry', doc, '--layer', 'Network', '--frame', viewFrame, '-o', path.join(work, 'geometry.json'));
  const cliGeometry = JSON.parse(fs.readFileSync(path.join(work, 'geometry.json'), 'utf8'));
  const routeGeometry = await page.evaluate(async (f) =>
      (await fetch(`api/geometry?comp=0&layer=0&frame=${f}`)).json(), viewFrame);
  const cliPositions = cliGeometry.positions.flat().map(Math.fround);
  const samePositions = routeGeometry.positions.length === cliPositions.length &&
      routeGeometry.positions.every((v, i) => Math.fround(v) === cliPositions[i]);
  const shownCounts = await page.$eval('#view3d', (c) => [Number(c.dataset.points),
                                                          Number(c.dataset.faces)]);
  check(samePositions && shownCounts[0] === cliGeometry.positions.length &&
        shownCounts[1] === cliGeometry.faces.length && shownCounts[0] > 100,
        'the 3D view draws the points and faces tavrin geometry writes',
        `${shownCounts} shown, ${cliGeometry.positions.length} points and ${cliGeometry.faces.length} faces written`);
  // What the canvas shows: lit pixels, and the camera's yellow frame.
  const view3dPixels = () => page.$eval('#view3d', (c) => {
    const copy = document.createElement('canvas');
    copy.width = c.width;
    copy.height = c.height;
    const g = copy.getContext('2d');
    g.drawImage(c, 0, 0);
    const d = g.getImageData(0, 0, c.width, c.height).data;
    let lit = 0, yellow = 0;
    for (let i = 0; i < d.length; i += 4) {
      if (d[i] + d[i + 1] + d[i + 2] > 120) lit += 1;
      if (d[i] > 200 && d[i + 1] > 160 && d[i + 2] < 110) yellow += 1;
    }
    return {lit, yellow, url: c.toDataURL()};
  });
  const orbit0 = await view3dPixels();
  check(orbit0.lit > 500 && orbit0.yellow > 50, 'it shows the geometry and the comp camera',
        `${orbit0.lit} lit, ${orbit0.yellow} camera pixels`);
  await shoot('view3d', '#view3d-pane');
  const viewBox = await (await page.$('#view3d')).boundingBox();
  await page.mouse.move(viewBox.x + viewBox.width / 2, viewBox.y + viewBox.height / 2);
  await page.mouse.down();
  for (const k of [1, 2, 3, 4])
    await page.mouse.move(viewBox.x + viewBox.width / 2 + 40 * k, viewBox.y + viewBox.height / 2 + 8 * k);
  await page.mouse.up();
  const orbit1 = await view3dPixels();
  check(orbit1.url !== orbit0.url && orbit1.lit > 500, 'dragging orbits around it');
  await shoot('view3d-orbit', '#view3d-pane');
  await page.click('#view3d-pane summary');

  // ---- a name filter's text dialog ---------------------------------------------------------
  const mainFx = 'section.effect[data-name="Tavrin"]';
  await clickAndSettle(`${param(mainFx, 'Use Lights for Shading')} input[type=checkbox]`);
  const nameFilter = `${param(mainFx, 'Light(s) Name Begins with')} button.text`;
  await page.$eval(nameFilter, (b) => b.scrollIntoView({block: 'center'}));
  const filterBefore = await page.$eval(nameFilter, (b) => b.textContent);
  await page.click(nameFilter);
  await page.waitForSelector('#text-dialog[open]');
  const dialogText = await page.$eval('#text-dialog', (d) => [
    d.querySelector('#text-dialog-title').textContent, d.querySelector('#text-dialog-label').textContent,
    d.querySelector('#text-dialog-text').value]);
  await page.$eval('#text-dialog-text', (i) => { i.value = 'Key'; });
  await shoot('dialog-name-filter', '#text-dialog');
  let vText = await page.evaluate(() => window.studio.version);
  await page.click('#text-dialog-ok');
  await page.waitForFunction((v) => window.studio.version !== v, {polling: 50}, vText);
  await settled();
  const filterAfter = await page.$eval(nameFilter, (b) => b.textContent);
  check(filterBefore === '(all)' && dialogText[0] === 'Set Light Name' &&
        dialogText[1] === 'Only Lights that begin with this name are considered.' &&
        dialogText[2] === '' && filterAfter === 'Key',
        'a name filter opens its dialog and takes the answer', JSON.stringify([filterBefore, dialogText, filterAfter]));
  // Cancel changes nothing.
  vText = await page.evaluate(() => window.studio.version);
  await page.click(nameFilter);
  await page.waitForSelector('#text-dialog[open]');
  const shownAgain = await page.$eval('#text-dialog-text', (i) => i.value);
  await page.$eval('#text-dialog-text', (i) => { i.value = 'Other'; });
  await page.click('#text-dialog-cancel');
  await new Promise((r) => setTimeout(r, 300));
  check(shownAgain === 'Key' && await page.evaluate(() => window.studio.version) === vText &&
        await page.$eval(nameFilter, (b) => b.textContent) === 'Key',
        'its Cancel changes nothing', shownAgain);
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const filterText = fs.readFileSync(doc, 'utf8');
  run('save', doc, '-o', path.join(work, 'filter-resaved.json'));
  const savedMain = JSON.parse(filterText).comps[0].layers[0].effects[0];
  check(filterText === fs.readFileSync(path.join(work, 'filter-resaved.json'), 'utf8') &&
        savedMain.params['Light(s) Name Begins with'] === 'Key' && !savedMain.dialogs,
        'the saved document holds the text, as tavrin save writes it', JSON.stringify(savedMain.params));
  await clickAndSettle(`${param(mainFx, 'Use Lights for Shading')} input[type=checkbox]`);

  // ---- Export SVG, answered through the page's dialog ------------------------------------
  await page.click(`section.effect[data-name="Tavrin"] .param[data-name="Export SVG"] button`);
  await page.waitForSelector('#file-dialog[open]');
  await shoot('dialog-export-svg', '#file-dialog');
  await page.$eval('#file-dialog-path', (i) => { i.value = 'exported.svg'; });
  await page.click('#file-dialog-ok');
  await page.waitForFunction(() => document.getElementById('status').textContent.startsWith('exported'));
  const svg = fs.existsSync(path.join(work, 'exported.svg'))
      ? fs.readFileSync(path.join(work, 'exported.svg'), 'utf8') : '';
  check(svg.includes('<svg') && svg.includes('<line'), 'Export SVG writes the file its dialog names',
        `${svg.length} bytes`);

  // ---- the Toolkit adds an effect --------------------------------------------------------
  await page.select('#new-effect', 'Tavrin Toolkit');
  await clickAndSettle('#add-effect');
  const toolkit = 'section.effect[data-name="Tavrin Toolkit"]';
  const beforeVersion = await page.evaluate(() => window.studio.version);
  await page.select(`${param(toolkit, 'Add Effector')} select`, '2');  // Noise
  await page.waitForFunction((v) => window.studio.version !== v, {polling: 50}, beforeVersion);
  await settled();
  const stack = await page.$$eval('section.effect', (e) => e.map((x) => x.dataset.name));
  const menu = await page.$eval(`${param(toolkit, 'Add Effector')} select`, (s) => s.value);
  check(stack.includes('Tavrin Noise Effector') && menu === '1',
        'a Toolkit menu adds its effect and reads "None" again', `${stack.join(', ')}; menu ${menu}`);
  await shoot('controls-toolkit', '#controls-panel');

  // ---- the OBJ source's options button: "Import OBJ" --------------------------------------
  await page.select('#new-effect', 'Tavrin OBJ Object');
  await clickAndSettle('#add-effect');
  const obj = 'section.effect[data-name="Tavrin OBJ Object"]';
  const label = await page.$eval(`${obj} header button.options`, (b) => b.textContent);
  check(label === 'Import OBJ', 'the OBJ source\'s options button reads "Import OBJ"', label);
  await page.click(`${obj} header button.options`);
  await page.waitForSelector('#file-dialog[open]');
  const dialogTitle = await page.$eval('#file-dialog-title', (t) => t.textContent);
  await shoot('dialog-import-obj', '#file-dialog');
  await page.$eval('#file-dialog-path', (i) => { i.value = 'bipyramid.obj'; });
  await page.click('#obj-alphabetical');
  await page.click('#file-dialog-ok');
  await page.waitForFunction(() => document.getElementById('status').textContent.includes('reads'));
  await settled();
  await page.click('#save');
  await page.waitForFunction(() => document.getElementById('saved-state').textContent === 'saved');
  const savedObj = JSON.parse(fs.readFileSync(doc, 'utf8'));
  const objEffect = savedObj.comps[0].layers.flatMap((l) => l.effects || [])
      .find((e) => e.effect === 'Tavrin OBJ Object');
  // Saved as `tavrin save` writes the state the click left: the effect reads an OBJ layer of
  // the file the dialog named.
  const objLayer = savedObj.comps[0].layers.find((l) => l.name === objEffect?.params?.['OBJ Layer']);
  const objFile = objLayer?.obj?.file || objLayer?.obj?.files?.[0] || '';
  check(dialogTitle === 'Import OBJ' && objFile.endsWith('bipyramid.obj'),
        'Import OBJ makes the effect read the file its dialog names',
        `${JSON.stringify(objEffect?.params)}; ${JSON.stringify(objLayer)}`);
  await shoot('studio-end', null);

  await buildFromEmpty();
  timings.changeToFrameMsPerExample = await exampleLatencies();
  check(pageErrors.length === 0, 'the page raised no error', pageErrors.join('; '));
} catch (e) {
  check(false, 'the test ran to its end', e.stack || String(e));
  await page.screenshot({path: path.join(out, 'failure.png')}).catch(() => {});
} finally {
  fs.writeFileSync(path.join(out, 'timings.json'), JSON.stringify(timings, null, 2) + '\n');
  console.log(`timings: ${JSON.stringify(timings)}`);
  await browser.close();
  if (server.exitCode === null) {
    const ended = new Promise((resolve) => server.once('exit', resolve));
    server.kill('SIGTERM');
    await ended;
  }
  fs.rmSync(work, {recursive: true, force: true});
  fs.rmSync(profile, {recursive: true, force: true});
}
console.log(`artefacts in ${out}`);
console.log(`${passed} passed, ${failed} failed`);
process.exit(failed ? 1 : 0);
