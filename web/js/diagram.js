// The diagram in the centre: the annotated SVG of the agent drawn inline,
// with zoom and pan (mouse, wheel and keys). A click on an annotated symbol
// or line picks its element (its "guid" attribute); Tab reaches the symbols.
// Notes on elements are sent as the client's JSON with every request, and
// always with refresh=true: the plug-in keeps the client JSON of every
// earlier request in a cached diagram, so only a regenerated diagram shows
// exactly the notes of now.

import { Channel, fetchDiagram, fetchLinks, superseded } from './api.js';
import { el, show, note, failure } from './dom.js';
import { NoteStore } from './notes.js';
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

// Symbols and lines become keyboard stops (Tab, then Enter picks). A frame
// holds the other symbols, so it stays out: stops are never nested.
function makeFocusable(svg) {
  for (const g of svg.querySelectorAll('g[guid]')) {
    if (g.querySelector('g[guid]')) continue;
    g.setAttribute('tabindex', '0');
    g.setAttribute('role', 'button');
    g.setAttribute('aria-label', `${g.getAttribute('desc') || g.getAttribute('guid')} (${g.getAttribute('guid')})`);
  }
}

const COUNTS = [
  ['ORV_OUTGOING_DEPENDENCIES', 'outgoing dependencies'],
  ['ORV_INCOMING_DEPENDENCIES', 'incoming dependencies'],
  ['ORV_OUTGOING_HYPERLINKS', 'outgoing hyperlinks'],
  ['ORV_INCOMING_HYPERLINKS', 'incoming hyperlinks'],
];

function countsText(byType) {
  const parts = COUNTS.filter(([id]) => (byType[id] || []).length)
    .map(([id, words]) => `${byType[id].length} ${words}`);
  return parts.length ? parts.join(', ') : 'no links';
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

function download(blob, name) {
  const url = URL.createObjectURL(blob);
  const a = el('a', { href: url, download: name, hidden: true });
  document.body.append(a);
  a.click();
  a.remove();
  setTimeout(() => URL.revokeObjectURL(url), 10000);
}

// Draws SVG text onto a canvas at twice its CSS size; answers a PNG blob.
async function svgToPng(text) {
  const url = URL.createObjectURL(new Blob([text], { type: 'image/svg+xml' }));
  try {
    const image = new Image();
    image.src = url;
    await image.decode();
    const canvas = document.createElement('canvas');
    canvas.width = Math.max(1, Math.round(image.naturalWidth * 2));
    canvas.height = Math.max(1, Math.round(image.naturalHeight * 2));
    const context = canvas.getContext('2d');
    context.fillStyle = '#fff';
    context.fillRect(0, 0, canvas.width, canvas.height);
    context.drawImage(image, 0, 0, canvas.width, canvas.height);
    return await new Promise((resolve, reject) => canvas.toBlob(
      (blob) => (blob ? resolve(blob) : reject(new Error('The PNG could not be made.'))), 'image/png'));
  } finally {
    URL.revokeObjectURL(url);
  }
}

export class DiagramView {
  /** onPick(guid) is called when a person picks an annotated element;
   *  onOpen(guid) when they choose a diagram in the chooser. */
  constructor(container, onPick, onOpen) {
    this.onPick = onPick;
    this.onOpen = onOpen;
    this.opened = '';   // the GUID the diagram was opened from
    this.picked = '';   // the element to highlight
    this.pickedName = '';
    this.notes = new NoteStore(localStorage);
    this.svg = null;
    this.calls = new Channel();
    this.linkCounts = new Map(); // guid -> promise of the counts text
    this.title = el('h2', { className: 'diagram-title' }, 'Diagram');
    this.noteButton = el('button', { type: 'button', disabled: true,
                                     onclick: () => this.editNote() }, 'Add note…');
    this.refreshButton = el('button', { type: 'button', disabled: true, title: 'Regenerate the diagram from the model',
                                        onclick: () => this.open(this.opened) }, 'Refresh');
    this.exportSvgButton = el('button', { type: 'button', disabled: true, title: 'Save the diagram as an SVG file',
                                          onclick: () => this.exportAs('svg') }, 'Export SVG');
    this.exportPngButton = el('button', { type: 'button', disabled: true, title: 'Save the diagram as a PNG picture',
                                          onclick: () => this.exportAs('png') }, 'Export PNG');
    this.chooser = el('select', { className: 'diagram-chooser', 'aria-label': 'Appears in diagrams', hidden: true,
                                  onchange: () => this.chooser.value && this.onOpen(this.chooser.value) });
    this.form = el('form', { className: 'note-form', hidden: true,
                             onsubmit: (ev) => { ev.preventDefault(); this.saveNote(); },
                             onkeydown: (ev) => { if (ev.key === 'Escape') this.closeForm(); } });
    this.noteList = el('ul', { className: 'note-list', 'aria-label': 'Notes' });
    this.status = el('div', { className: 'diagram-status', 'aria-live': 'polite' });
    this.stage = el('div', { className: 'stage' });
    this.tooltip = el('div', { className: 'diagram-tooltip', role: 'tooltip', hidden: true });
    this.viewport = el('div', { className: 'viewport', tabindex: '0', role: 'group',
                                'aria-label': 'Diagram drawing (+ and − zoom, 0 fits)',
                                onclick: (ev) => this.onClick(ev), onkeydown: (ev) => this.onKey(ev),
                                onpointerover: (ev) => this.onHover(ev), onfocusin: (ev) => this.onHover(ev),
                                onpointerleave: () => this.hideTooltip(), onfocusout: () => this.hideTooltip() },
                        this.stage, this.tooltip);
    this.zoom = new ZoomPan(this.viewport, this.stage);
    const zoomButton = (label, title, fn) =>
      el('button', { type: 'button', title, 'aria-label': title, disabled: true, className: 'zoom', onclick: fn }, label);
    this.zoomButtons = [
      zoomButton('−', 'Zoom out', () => this.zoom.zoomBy(1 / 1.25)),
      zoomButton('+', 'Zoom in', () => this.zoom.zoomBy(1.25)),
      zoomButton('Fit', 'Fit the diagram', () => this.zoom.fit()),
    ];
    show(container,
      el('div', { className: 'panel-head diagram-head' }, this.title, this.chooser,
        el('div', { className: 'tools' }, this.zoomButtons, this.noteButton, this.refreshButton,
           this.exportSvgButton, this.exportPngButton)),
      this.form, this.noteList, this.status, this.viewport, legend());
    show(this.status, note(HINT));
    this.renderNotes();
  }

  /** True when the diagram shown draws the element. */
  shows(guid) {
    return Boolean(this.svg && this.findElements(guid).length);
  }

  findElements(guid) {
    if (!this.svg || !guid) return [];
    return [...this.svg.querySelectorAll('[guid]')].filter((g) => g.getAttribute('guid') === guid);
  }

  /** The diagrams that show the selected element, for the chooser
   *  ([{guid, name}]; the open one is marked). */
  setChoices(diagrams) {
    show(this.chooser, el('option', { value: '' }, `Appears in ${diagrams.length} diagram${diagrams.length === 1 ? '' : 's'}…`),
         diagrams.map((d) => el('option', { value: d.guid }, d.name || d.guid)));
    this.chooser.value = diagrams.some((d) => d.guid === this.opened) ? this.opened : '';
    this.chooser.hidden = diagrams.length === 0;
  }

  /** Shows the diagram of an element or diagram, regenerated with the notes. */
  async open(guid) {
    const again = guid === this.opened && this.svg;
    this.opened = guid;
    this.refreshButton.disabled = false;
    show(this.status, note(again ? 'Regenerating…' : 'Loading…', 'note loading'));
    let svg;
    try {
      const text = await fetchDiagram(guid, this.notes.clientJson(), { refresh: true, signal: this.calls.start() });
      if (this.opened !== guid) return;
      svg = parseSvg(text);
    } catch (e) {
      if (superseded(e) || this.opened !== guid) return;
      show(this.status, failure(e, () => this.open(guid)));
      if (!again) this.dropDrawing();
      return;
    }
    keepDrawingOnly(svg);
    widenLineHits(svg);
    makeFocusable(svg);
    svg.classList.add('diagram');
    svg.setAttribute('role', 'group');
    this.svg = svg;
    this.linkCounts.clear();
    show(this.stage, svg);
    show(this.status);
    const title = svg.querySelector(':scope > title');
    this.title.textContent = title ? title.textContent : 'Diagram';
    svg.setAttribute('aria-label', this.title.textContent);
    this.setTools(true);
    if (!again) this.zoom.fit();
    this.highlight(this.picked, this.pickedName);
    this.viewport.dataset.opened = guid;
  }

  setTools(on) {
    for (const b of [...this.zoomButtons, this.exportSvgButton, this.exportPngButton]) b.disabled = !on;
    this.zoom.enabled = on;
  }

  /** Closes the diagram. */
  clear() {
    this.opened = '';
    this.calls.stop();
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
    this.setTools(false);
    delete this.viewport.dataset.opened;
  }

  /** Marks the drawing of the selected element; when the diagram does not
   *  show it, the drawing is marked as not about the selection. */
  highlight(guid, name = '') {
    this.picked = guid;
    this.pickedName = name && name !== guid ? name : this.pickedName;
    if (!name || name === guid) {
      // The drawing knows a definition's name ("desc") when the tree cannot say.
      const drawn = this.findElements(guid)[0];
      this.pickedName = (drawn && drawn.getAttribute('desc')) || guid;
    }
    if (!this.svg) return;
    for (const g of this.svg.querySelectorAll('.picked')) g.classList.remove('picked');
    for (const g of this.findElements(guid)) g.classList.add('picked');
    const shown = this.shows(guid);
    this.noteButton.disabled = !shown;
    const stale = Boolean(guid) && !shown;
    this.viewport.classList.toggle('stale', stale);
    if (stale) show(this.status, note(`${this.pickedName} is not in this diagram.`, 'note stale-note'));
    else if (this.status.querySelector('.stale-note')) show(this.status);
  }

  onClick(ev) {
    const target = ev.target.closest ? ev.target.closest('[guid]') : null;
    if (target && this.svg && this.svg.contains(target)) this.onPick(target.getAttribute('guid'));
  }

  onKey(ev) {
    if (ev.target !== this.viewport && (ev.key === 'Enter' || ev.key === ' ')) {
      const target = ev.target.closest('[guid]');
      if (target && this.svg && this.svg.contains(target)) {
        ev.preventDefault();
        this.onPick(target.getAttribute('guid'));
      }
      return;
    }
    if (!this.svg || ev.ctrlKey || ev.metaKey || ev.altKey) return;
    const actions = { '+': () => this.zoom.zoomBy(1.25), '=': () => this.zoom.zoomBy(1.25),
                      '-': () => this.zoom.zoomBy(1 / 1.25), '−': () => this.zoom.zoomBy(1 / 1.25),
                      0: () => this.zoom.fit() };
    if (!actions[ev.key]) return;
    ev.preventDefault();
    actions[ev.key]();
  }

  // A tooltip with the element's name, GUID and link counts (fetched once).
  onHover(ev) {
    const target = ev.target.closest ? ev.target.closest('[guid]') : null;
    if (!target || !this.svg || !this.svg.contains(target)) {
      this.hideTooltip();
      return;
    }
    const guid = target.getAttribute('guid');
    const box = target.getBoundingClientRect();
    const frame = this.viewport.getBoundingClientRect();
    const counts = el('span', { className: 'tooltip-links' }, 'links: …');
    show(this.tooltip, el('strong', {}, target.getAttribute('desc') || guid), el('br'),
         el('code', {}, guid), el('br'), counts);
    this.tooltip.dataset.guid = guid;
    this.tooltip.style.left = `${Math.max(0, Math.min(box.left - frame.left, frame.width - 220))}px`;
    this.tooltip.style.top = `${Math.max(0, box.bottom - frame.top + 4)}px`;
    this.tooltip.hidden = false;
    if (!this.linkCounts.has(guid)) {
      const request = fetchLinks(guid).then(countsText);
      request.catch(() => this.linkCounts.delete(guid));
      this.linkCounts.set(guid, request);
    }
    this.linkCounts.get(guid).then((text) => {
      if (this.tooltip.dataset.guid === guid) counts.textContent = `links: ${text}`;
    }, () => { counts.textContent = 'links: unknown'; });
  }

  hideTooltip() {
    this.tooltip.hidden = true;
    delete this.tooltip.dataset.guid;
  }

  editNote() {
    const guid = this.picked;
    const input = el('input', { type: 'text', name: 'note', 'aria-label': `Note on ${this.pickedName}`,
                                placeholder: 'A note on the selected element' });
    input.value = this.notes.text(guid);
    show(this.form, el('span', { className: 'note-on' }, 'Note on ', el('strong', {}, this.pickedName), ' '), input,
         el('button', { type: 'submit' }, 'Attach'),
         el('button', { type: 'button', onclick: () => this.closeForm() }, 'Cancel'));
    this.form.dataset.guid = guid;
    this.form.dataset.name = this.pickedName;
    this.form.hidden = false;
    input.focus();
  }

  closeForm() {
    this.form.hidden = true;
    this.noteButton.focus();
  }

  saveNote() {
    const text = this.form.querySelector('input').value.trim();
    this.notes.set(this.form.dataset.guid, this.form.dataset.name, text);
    this.form.hidden = true;
    this.renderNotes();
    return this.open(this.opened);
  }

  renderNotes() {
    show(this.noteList, this.notes.list().map(({ guid, name, text }) => el('li', { 'data-guid': guid, title: guid },
      el('strong', {}, name), ': ', text, ' ',
      el('button', { type: 'button', className: 'remove', title: 'Remove the note',
                     'aria-label': `Remove the note on ${name}`,
                     onclick: () => { this.notes.set(guid, name, ''); this.renderNotes(); if (this.opened) this.open(this.opened); } },
         '×'))));
  }

  // Saves the diagram as shown (with the notes): the standalone SVG, which
  // has the icon inlined, or a PNG drawn from it here.
  async exportAs(kind) {
    const guid = this.opened;
    try {
      const text = await fetchDiagram(guid, this.notes.clientJson(), { refresh: true, standalone: true });
      const blob = kind === 'svg' ? new Blob([text], { type: 'image/svg+xml' }) : await svgToPng(text);
      this.viewport.dataset.exported = `${kind}:${blob.size}`;
      download(blob, `${guid}.${kind}`);
    } catch (e) {
      if (!superseded(e)) show(this.status, failure(e, () => this.exportAs(kind)));
    }
  }
}
