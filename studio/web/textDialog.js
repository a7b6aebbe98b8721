// A name filter's text dialog, as the effect's script asks it in a host: its title, its label
// and a box holding the current text. Resolves the edited text for OK, null for Cancel (the
// effect then sees no change).
export class TextDialog {
  constructor() {
    this.dialog = document.getElementById('text-dialog');
    this.title = document.getElementById('text-dialog-title');
    this.label = document.getElementById('text-dialog-label');
    this.input = document.getElementById('text-dialog-text');
  }

  // `titleAndLabel` is the parameter's "title\nlabel" from its table.
  ask(titleAndLabel, current) {
    const [title, ...label] = (titleAndLabel || '').split('\n');
    this.title.textContent = title;
    this.label.textContent = label.join('\n');
    this.input.value = current ?? '';
    return new Promise((resolve) => {
      this.dialog.addEventListener('close', () => {
        resolve(this.dialog.returnValue === 'ok' ? this.input.value : null);
      }, {once: true});
      this.dialog.returnValue = '';
      this.dialog.showModal();
      this.input.select();
    });
  }
}
