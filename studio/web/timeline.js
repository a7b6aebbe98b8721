// The timeline: the current frame and time, scrubbing, stepping, the work area, the keys of the
// selected layer's parameters, which frames are kept, and playback at the comp's rate from the
// kept frames (frames not kept yet are fetched in order first, so the first pass may run slow).
import {clock} from './format.js';

export class Timeline {
  constructor(studio) {
    this.studio = studio;
    this.scrub = document.getElementById('scrub');
    this.label = document.getElementById('time-label');
    this.rate = document.getElementById('play-rate');
    this.keys = document.getElementById('key-marks');
    this.work = document.getElementById('work-area');
    this.cached = document.getElementById('cached');
    this.playButton = document.getElementById('play');
    this.playing = false;
    this.scrub.addEventListener('input', () => studio.setFrame(Number(this.scrub.value)));
    this.playButton.addEventListener('click', () => this.toggle());
    document.getElementById('step-back').addEventListener('click',
        () => studio.setFrame(Math.max(0, studio.frame - 1)));
    document.getElementById('step-forward').addEventListener('click',
        () => studio.setFrame(Math.min(this.last(), studio.frame + 1)));
  }

  last() {
    const c = this.studio.compState;
    return c ? c.frames - 1 : 0;
  }

  // Left edge of frame f as a share of the track.
  at(f) {
    const n = Math.max(1, this.last());
    return `${(f / n) * 100}%`;
  }

  render() {
    const s = this.studio;
    const c = s.compState;
    if (!c) return;
    this.scrub.max = String(this.last());
    this.scrub.value = String(s.frame);
    const t = s.time();
    this.label.textContent =
        `frame ${s.frame} / ${this.last()}   ${clock(t)}   (${(c.fpsNum / c.fpsDen).toFixed(3)} fps)`;
    const [first, last] = c.workArea;
    this.work.style.left = this.at(first);
    this.work.style.width = `calc(${this.at(last)} - ${this.at(first)})`;
    this.keys.replaceChildren();
    for (const time of s.keyTimes()) {
      const f = Math.round(time * c.fpsNum / c.fpsDen);
      const mark = document.createElement('span');
      mark.className = 'key-mark';
      mark.style.left = this.at(f);
      mark.title = `key at frame ${f}`;
      mark.dataset.frame = String(f);
      this.keys.append(mark);
    }
    this.drawCached();
  }

  drawCached() {
    const frames = this.studio.viewer.cachedFrames();
    this.cached.replaceChildren();
    for (const f of frames) {
      const mark = document.createElement('span');
      mark.style.left = this.at(f);
      this.cached.append(mark);
    }
  }

  toggle() {
    if (this.playing) return this.stop();
    const c = this.studio.compState;
    if (!c) return;
    this.playing = true;
    this.playButton.textContent = 'Stop';
    const [first, last] = c.workArea;
    const frames = [];
    for (let f = first; f <= last; f++) frames.push(f);
    this.studio.viewer.prefetch(frames);
    const fps = c.fpsNum / c.fpsDen;
    let start = performance.now();
    let origin = this.studio.frame >= first && this.studio.frame <= last ? this.studio.frame : first;
    let drawn = 0;
    let since = performance.now();
    const step = (now) => {
      if (!this.playing) return;
      const wantedFrame = first + ((origin - first + Math.floor((now - start) * fps / 1000)) %
                                   (last - first + 1));
      if (wantedFrame !== this.studio.frame) {
        if (this.studio.viewer.has(wantedFrame)) {
          this.studio.setFrame(wantedFrame, {playing: true});
          drawn += 1;
        } else {
          // Not kept yet: wait here, and go on from here once it is.
          origin = this.studio.frame;
          start = now;
        }
      }
      if (now - since > 1000) {
        this.rate.textContent = `${(drawn * 1000 / (now - since)).toFixed(1)} fps`;
        this.studio.playRate = drawn * 1000 / (now - since);
        drawn = 0;
        since = now;
      }
      requestAnimationFrame(step);
    };
    requestAnimationFrame(step);
  }

  stop() {
    this.playing = false;
    this.playButton.textContent = 'Play';
    this.rate.textContent = '';
    this.studio.setFrame(this.studio.frame);
  }
}
