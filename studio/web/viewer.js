// The comp viewer: the frame the server draws (the software path, or the GL path when the
// main effect's "Unified Rendering" asks for it), as PNG, drawn into a canvas over a
// checkerboard so transparency shows. The latest request wins: a newer one aborts the fetch of
// the older, and a frame of an old version is never drawn. Frames of the current version are
// kept for playback.
import {api, ApiError} from './api.js';

export class Viewer {
  constructor(studio, canvas) {
    this.studio = studio;
    this.canvas = canvas;
    this.ctx = canvas.getContext('2d');
    this.cache = new Map();  // key -> ImageBitmap, the current version and scale only
    this.cacheVersion = -1;
    this.wanted = '';        // key of the frame the viewer should show
    this.shown = '';         // key of the frame it shows
    this.controller = null;  // the fetch of the wanted frame
    this.fetching = '';      // its key
    this.prefetching = false;
    this.onshown = null;     // (key, milliseconds since it was wanted) after a frame is drawn
  }

  key(version, comp, frame, scale) {
    return `${version}:${comp}:${scale}:${frame}`;
  }

  // Forgets frames of another version or scale.
  keepOnly(version, scale) {
    const stamp = `${version}:${scale}`;
    if (this.cacheVersion === stamp) return;
    for (const bitmap of this.cache.values()) bitmap.close();
    this.cache.clear();
    this.cacheVersion = stamp;
  }

  has(frame) {
    const s = this.studio;
    return this.cache.has(this.key(s.version, s.comp, frame, s.scale));
  }

  cachedFrames() {
    const s = this.studio;
    const prefix = `${s.version}:${s.comp}:${s.scale}:`;
    return [...this.cache.keys()].filter((k) => k.startsWith(prefix))
        .map((k) => Number(k.slice(prefix.length)));
  }

  // Shows the studio's current frame, fetching it when it is not kept.
  async show() {
    const s = this.studio;
    if (!s.compState || s.problem) return;
    this.keepOnly(s.version, s.scale);
    const key = this.key(s.version, s.comp, s.frame, s.scale);
    this.wanted = key;
    const kept = this.cache.get(key);
    if (kept) return this.draw(kept, key);
    if (this.controller && this.fetching === key) return;  // already on its way
    if (this.controller) this.controller.abort();
    const controller = new AbortController();
    this.controller = controller;
    this.fetching = key;
    const started = performance.now();
    try {
      const bitmap = await this.fetchFrame(s.version, s.comp, s.frame, s.scale, controller.signal);
      if (bitmap && this.wanted === key) this.draw(bitmap, key, performance.now() - started);
    } catch (e) {
      if (e.name !== 'AbortError') s.report(e);
    } finally {
      if (this.controller === controller) {
        this.controller = null;
        this.fetching = '';
      }
    }
  }

  // A frame as an ImageBitmap, kept; null when its version went old meanwhile.
  async fetchFrame(version, comp, frame, scale, signal) {
    const key = this.key(version, comp, frame, scale);
    if (this.cache.has(key)) return this.cache.get(key);
    let res;
    try {
      res = await api.frame({version, comp, frame, scale}, signal);
    } catch (e) {
      if (e instanceof ApiError && e.status === 409 && e.body.stale) return null;
      throw e;
    }
    const bitmap = await createImageBitmap(await res.blob(), {premultiplyAlpha: 'none'});
    if (this.cacheVersion === `${version}:${scale}`) this.cache.set(key, bitmap);
    this.studio.timeline?.drawCached();
    return bitmap;
  }

  draw(bitmap, key, milliseconds) {
    if (this.canvas.width !== bitmap.width) this.canvas.width = bitmap.width;
    if (this.canvas.height !== bitmap.height) this.canvas.height = bitmap.height;
    this.ctx.clearRect(0, 0, bitmap.width, bitmap.height);
    this.ctx.drawImage(bitmap, 0, 0);
    this.shown = key;
    const [version, comp, scale, frame] = key.split(':').map(Number);
    Object.assign(this.canvas.dataset, {version, comp, scale, frame});
    this.fit();
    if (this.onshown) this.onshown(key, milliseconds);
  }

  // The canvas at its own size, or smaller to fit the panel, in the comp's proportions; a
  // preview at a fraction of the resolution is shown at the comp's size.
  fit() {
    const s = this.studio.compState;
    const box = this.canvas.parentElement;
    if (!s || !box) return;
    const room = Math.min((box.clientWidth - 16) / s.width, (box.clientHeight - 16) / s.height, 1);
    this.canvas.style.width = `${Math.max(1, Math.floor(s.width * room))}px`;
    this.canvas.style.height = `${Math.max(1, Math.floor(s.height * room))}px`;
  }

  // Fetches the frames not kept yet, one at a time, for playback; stops when the version,
  // comp or scale changes.
  async prefetch(frames) {
    if (this.prefetching) return;
    this.prefetching = true;
    const s = this.studio;
    const stamp = [s.version, s.comp, s.scale].join(':');
    try {
      for (const f of frames) {
        if ([s.version, s.comp, s.scale].join(':') !== stamp) break;
        if (!this.has(f)) await this.fetchFrame(s.version, s.comp, f, s.scale);
      }
    } catch (e) {
      s.report(e);
    } finally {
      this.prefetching = false;
    }
  }

  // The comp pixel under a mouse event, at full resolution.
  compPoint(event) {
    const s = this.studio.compState;
    const r = this.canvas.getBoundingClientRect();
    return [(event.clientX - r.left) / r.width * s.width,
            (event.clientY - r.top) / r.height * s.height];
  }
}
