// The diagram in the centre: the annotated SVG of the agent drawn inline,
// with zoom and pan. A click on an annotated symbol or line picks its element
// (its "guid" attribute). A person can attach notes to elements: every
// request sends them as the client's JSON, and the diagram then shows the
// external-reference icon on each noted element.

import { fetchDiagram } from './api.js';
import { el, show, note, failure } from './dom.js';
import { ZoomPan } from './zoom.js';

const SVG_NS = 'http://www.w3.org/2000/svg';
const HINT = 'Open a diagram, or an element shown in one, from the model.';

// Parses the agent's SVG text; answers the root element or throws.
function parseSvg(text) {
  const doc = new DOMParser().parseFromString(text, 'image/svg+xml');
  const root = doc.documentElement;
  if (doc.querySelector('parsererror') || root.namespaceURI !== SVG_NS || root.localName !== 'svg') {
    throw new Error('The diagram answer is not SVG.');
  }
  return document.importNode(root, true);
}

// The drawing is shown as a picture: anything that could run or load
// markup (scripts, foreign objects, event attributes) is removed first.
function keepDrawingOnly(svg) {
  for (const node of svg.querySelectorAll('script, foreignObject')) node.remove();
  for (const node of [svg, ...svg.querySelectorAll('*')]) {
    for (const { name } of [...node.attributes]) {
      if (name.toLowerCase().startsWith('on')) node.removeAttribute(name);
    }
  }
}

// Thin lines are hard to hit: each line gets a wide invisible copy of its
// strokes underneath, which passes a click on to the line's element.
function widenLineHits(svg) {
  for (const line of svg.querySelectorAll('g[guid]')) {
    if (line.getAttribute('metaClass') !== 'Line') continue;
    for (const stroke of line.querySelectorAll('path, polyline, line')) {
      const hit = stroke.cloneNode(false);
      hit.setAttribute('class', 'hit');
      hit.removeAttribute('id');
      stroke.before(hit);
    }
  }
}

// What the marks drawn onto the diagram mean, shown under it.
function legend() {
  const mark = (className, text) => el('li', {}, el('span', { className: `mark ${className}`, 'aria-hidden': 'true' }), text);
  return el('ul', { className: 'legend', 'aria-label': 'Legend' },
    mark('out-dependency', 'outgoing dependencies'),
    mark('in-dependency', 'incoming dependencies'),
    mark('out-hyperlink', 'outgoing hyperlinks'),
    mark('in-hyperlink', 'incoming hyperlinks'),
    el('li', {}, el('img', { src: 'ERIcon.gif', alt: '', width: 12, height: 12 }), 'a note'));
}

export class DiagramView {
  /** onPick(guid) is called when a person clicks an annotated element. */
  constructor(container, onPick) {
    this.onPick = onPick;
    this.opened = '';   // the GUID the diagram was opened from
    this.picked = '';   // the element to highlight
    this.notes = new Map(); // element GUID -> note text
    this.svg = null;
    this.title = el('h2', { className: 'diagram-title' }, 'Diagram');
    this.noteButton = el('button', { type: 'button', disabled: true,
                                     onclick: () => this.editNote() }, 'Add note…');
    this.refreshButton = el('button', { type: 'button', disabled: true,
                                        onclick: () => this.open(this.opened, { refresh: true }) },
                            'Refresh');
    this.form = el('form', { className: 'note-form', hidden: true,
                             onsubmit: (ev) => { ev.preventDefault(); this.saveNote(); } });
    this.noteList = el('ul', { className: 'note-list', 'aria-label': 'Notes' });
    this.status = el('div', { className: 'diagram-status', 'aria-live': 'polite' });
    this.stage = el('div', { className: 'stage' });
    this.viewport = el('div', { className: 'viewport', onclick: (ev) => this.onClick(ev) }, this.stage);
    this.zoom = new ZoomPan(this.viewport, this.stage);
    const zoomButton = (label, title, fn) =>
      el('button', { type: 'button', title, 'aria-label': title, onclick: fn }, label);
    show(container,
      el('div', { className: 'panel-head diagram-head' }, this.title,
        el('div', { className: 'tools' },
          zoomButton('−', 'Zoom out', () => this.zoom.zoomBy(1 / 1.25)),
          zoomButton('+', 'Zoom in', () => this.zoom.zoomBy(1.25)),
          zoomButton('Fit', 'Fit the diagram', () => this.zoom.fit()),
          this.noteButton, this.refreshButton)),
      this.form, this.noteList, this.status, this.viewport, legend());
    show(this.status, note(HINT));
  }

  /** True when the diagram shown draws the element. */
  shows(guid) {
    return Boolean(this.svg && this.findElements(guid).length);
  }

  findElements(guid) {
    if (!this.svg || !guid) return [];
    return [...this.svg.querySelectorAll('[guid]')].filter((g) => g.getAttribute('guid') === guid);
  }

  clientJson() {
    if (!this.notes.size) return '';
    return JSON.stringify([...this.notes].map(([objID, text]) => ({ objID, relInfo: { note: text } })));
  }

  /** Shows the diagram of an element or diagram; refresh regenerates it. */
  async open(guid, { refresh = false } = {}) {
    const again = guid === this.opened && this.svg;
    this.opened = guid;
    this.refreshButton.disabled = false;
    show(this.status, note(refresh ? 'Regenerating…' : 'Loading…', 'note loading'));
    let svg;
    try {
      const text = await fetchDiagram(guid, this.clientJson(), refresh);
      if (this.opened !== guid) return;
      svg = parseSvg(text);
    } catch (e) {
      if (this.opened !== guid) return;
      show(this.status, failure(e.message));
      if (!again) this.dropDrawing();
      return;
    }
    keepDrawingOnly(svg);
    widenLineHits(svg);
    svg.classList.add('diagram');
    this.svg = svg;
    show(this.stage, svg);
    show(this.status);
    const title = svg.querySelector('title');
    this.title.textContent = title ? title.textContent : 'Diagram';
    if (!again) this.zoom.fit();
    this.highlight(this.picked);
    this.viewport.dataset.opened = guid;
  }

  /** Closes the diagram. */
  clear() {
    this.opened = '';
    this.dropDrawing();
    show(this.status, note(HINT));
  }

  // Removes the drawing; the diagram stays open, so Refresh can try again.
  dropDrawing() {
    this.svg = null;
    show(this.stage);
    this.title.textContent = 'Diagram';
    this.refreshButton.disabled = !this.opened;
    this.noteButton.disabled = true;
  }

  /** Marks the drawing of the selected element. */
  highlight(guid) {
    this.picked = guid;
    if (!this.svg) return;
    for (const g of this.svg.querySelectorAll('.picked')) g.classList.remove('picked');
    for (const g of this.findElements(guid)) g.classList.add('picked');
    this.noteButton.disabled = !this.shows(guid);
  }

  onClick(ev) {
    const target = ev.target.closest ? ev.target.closest('[guid]') : null;
    if (target && this.svg && this.svg.contains(target)) this.onPick(target.getAttribute('guid'));
  }

  editNote() {
    const guid = this.picked;
    const input = el('input', { type: 'text', name: 'note', 'aria-label': `Note on ${guid}`,
                                placeholder: 'A note on the selected element' });
    input.value = this.notes.get(guid) || '';
    show(this.form, el('label', {}, 'Note on ', el('code', {}, guid), ' '), input,
         el('button', { type: 'submit' }, 'Attach'),
         el('button', { type: 'button', onclick: () => { this.form.hidden = true; } }, 'Cancel'));
    this.form.dataset.guid = guid;
    this.form.hidden = false;
    input.focus();
  }

  saveNote() {
    const text = this.form.querySelector('input').value.trim();
    const guid = this.form.dataset.guid;
    this.form.hidden = true;
    if (text) this.notes.set(guid, text);
    else this.notes.delete(guid);
    this.renderNotes();
    return this.open(this.opened);
  }

  renderNotes() {
    show(this.noteList, [...this.notes].map(([guid, text]) => el('li', {},
      el('code', {}, guid), ': ', text, ' ',
      el('button', { type: 'button', className: 'remove', title: 'Remove the note',
                     'aria-label': `Remove the note on ${guid}`,
                     onclick: () => { this.notes.delete(guid); this.renderNotes(); this.open(this.opened); } },
         '×'))));
  }
}
