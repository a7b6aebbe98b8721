// The document as text: what the session holds, to read or to fix. "Apply text" replaces the
// document (it must load; a problem is shown with its JSON path and nothing changes).
import {api, ApiError} from './api.js';

export class TextPane {
  constructor(studio) {
    this.studio = studio;
    this.pane = document.getElementById('text-pane');
    this.area = document.getElementById('doc-text');
    this.problem = document.getElementById('text-problem');
    this.shownVersion = -1;
    this.pane.addEventListener('toggle', () => this.changed());
    document.getElementById('apply-text').addEventListener('click', () => this.apply());
  }

  open() {
    this.pane.open = true;
  }

  // Loads the text when the pane is open and the document changed.
  async changed() {
    if (!this.pane.open || this.shownVersion === this.studio.version) return;
    if (document.activeElement === this.area) return;  // the person is typing
    const answer = await api.documentText();
    this.area.value = answer.text;
    this.shownVersion = answer.version;
  }

  async apply() {
    this.problem.textContent = '';
    try {
      await this.studio.act(async () => {
        try {
          return await api.replaceText(this.area.value);
        } catch (e) {
          const where = e instanceof ApiError && e.path ? `${e.path}: ` : '';
          this.problem.textContent = `${where}${e.message}`;
          throw e;
        }
      });
      this.shownVersion = -1;
      this.area.blur();
      this.changed();
    } catch (e) {
      this.studio.report(e);
    }
  }
}
