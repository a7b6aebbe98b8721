// The page's file dialog: a path inside the folders the studio may use, with the folder's
// files listed to pick from. Resolves the path typed or picked, or null for Cancel.
import {api} from './api.js';
import {el} from './format.js';

export class FileDialog {
  constructor(studio) {
    this.studio = studio;
    this.dialog = document.getElementById('file-dialog');
    this.title = document.getElementById('file-dialog-title');
    this.note = document.getElementById('file-dialog-note');
    this.path = document.getElementById('file-dialog-path');
    this.list = document.getElementById('file-dialog-list');
    this.extra = document.getElementById('file-dialog-extra');
  }

  async listFolder(dir, filter) {
    try {
      const answer = await api.files(dir);
      const items = [];
      if (answer.parent !== undefined)
        items.push(el('li', {}, el('button', {type: 'button', onclick: () =>
            this.listFolder(answer.parent, filter)}, '..')));
      for (const entry of answer.entries) {
        const full = answer.dir ? `${answer.dir}/${entry.name}` : entry.name;
        if (entry.folder) {
          items.push(el('li', {}, el('button', {type: 'button', onclick: () =>
              this.listFolder(full, filter)}, `${entry.name}/`)));
        } else if (!filter || entry.name.endsWith(filter)) {
          items.push(el('li', {}, el('button', {type: 'button', onclick: () => {
            this.path.value = full;
          }}, entry.name)));
        }
      }
      this.list.replaceChildren(...items);
    } catch (e) {
      this.list.replaceChildren(el('li', {class: 'error'}, e.message));
    }
  }

  // {title, note, suggestion, filter, extra: [elements]} -> path or null
  ask({title, note = '', suggestion = '', filter = '', extra = []}) {
    this.title.textContent = title;
    this.note.textContent = note;
    this.path.value = suggestion;
    this.extra.replaceChildren(...extra);
    this.listFolder('', filter);
    return new Promise((resolve) => {
      this.dialog.addEventListener('close', () => {
        resolve(this.dialog.returnValue === 'ok' && this.path.value ? this.path.value : null);
      }, {once: true});
      this.dialog.returnValue = '';
      this.dialog.showModal();
    });
  }
}
