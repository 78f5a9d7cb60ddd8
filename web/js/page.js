// The property page of the selected element: its controls drawn as read-only
// form controls by their kind, by either of the two routes (the host's parse
// or the library's parse), with a switch between them.

import { Channel, fetchPage, superseded } from './api.js';
import { el, show, note, failure } from './dom.js';

const ROUTES = [
  { id: 'controls', label: 'Host parse', agent: 'GetPropertyPageControls' },
  { id: 'transform', label: 'Library parse', agent: 'TransformControlInfoToJason' },
];

let uniqueId = 0;

function valueText(value) {
  return Array.isArray(value) ? value.join(', ') : value;
}

function isChecked(value) {
  return /^(true|yes|1|on|checked)$/i.test(String(value).trim());
}

// The form control of one kind; ids tie each label to its control.
function renderInput(control, id) {
  const { kind, value } = control;
  if (kind === 'CheckBox') {
    return el('input', { type: 'checkbox', id, disabled: true, checked: isChecked(value),
                         className: 'control-value', 'data-value': value });
  }
  if (kind === 'ComboBox' || kind === 'ListBox') {
    const select = el('select', { id, disabled: true, className: 'control-value',
                                  size: kind === 'ListBox' ? 2 : false },
                      el('option', {}, valueText(value)));
    return select;
  }
  if (kind === 'EntityList' || Array.isArray(value)) {
    const items = Array.isArray(value) ? value : [value];
    return el('ul', { id, className: 'control-value entity-list' },
              items.map((v) => el('li', {}, v)));
  }
  if (kind === 'Label') return el('output', { id, className: 'control-value label-value' }, value);
  if (value.includes('\n')) {
    const area = el('textarea', { id, readonly: true, rows: value.split('\n').length,
                                  className: 'control-value' });
    area.value = value;
    return area;
  }
  const input = el('input', { type: 'text', id, readonly: true, className: 'control-value' });
  input.value = value;
  return input;
}

function renderControl(control) {
  const id = `page-control-${++uniqueId}`;
  const input = renderInput(control, id);
  const label = el('label', { for: input.tagName === 'UL' || input.tagName === 'OUTPUT' ? false : id,
                              className: 'control-text' }, control.text);
  // The kind is for the curious: a tooltip, not a label.
  return el('div', { className: 'control', 'data-kind': control.kind, title: control.kind || false },
    el('div', { className: 'control-row' }, label, input),
    control.children.length
      ? el('div', { className: 'control-children' }, control.children.map(renderControl))
      : null);
}

/** The property page panel: mount(container), then showElement(guid). */
export class PropertyPage {
  constructor(container) {
    this.route = 'controls';
    this.guid = '';
    this.calls = new Channel();
    this.body = el('div', { className: 'page-body', 'aria-live': 'polite' });
    this.buttons = ROUTES.map((r) => el('button', {
      type: 'button', role: 'radio', 'data-route': r.id, title: `${r.agent} (route=${r.id})`,
      onclick: () => this.setRoute(r.id),
      onkeydown: (ev) => this.onSwitchKey(ev),
    }, r.label));
    show(container,
      el('div', { className: 'panel-head' },
        el('h2', {}, 'Property page'),
        el('div', { className: 'switch', role: 'radiogroup', 'aria-label': 'Parse of the page' },
          this.buttons)),
      this.body);
    this.markRoute();
    show(this.body, note('Select an element.'));
  }

  markRoute() {
    for (const b of this.buttons) {
      const on = b.dataset.route === this.route;
      b.setAttribute('aria-checked', String(on));
      b.tabIndex = on ? 0 : -1;
    }
  }

  // A radio group: the arrow keys move the choice (and the focus) along it.
  onSwitchKey(ev) {
    const step = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[ev.key];
    if (!step) return;
    ev.preventDefault();
    const at = ROUTES.findIndex((r) => r.id === this.route);
    const next = ROUTES[(at + step + ROUTES.length) % ROUTES.length];
    this.setRoute(next.id);
    this.buttons.find((b) => b.dataset.route === next.id).focus();
  }

  setRoute(route) {
    this.route = route;
    this.markRoute();
    if (this.guid) this.showElement(this.guid);
  }

  async showElement(guid) {
    this.guid = guid;
    const route = ROUTES.find((r) => r.id === this.route);
    show(this.body, note('Loading…', 'note loading'));
    let answer;
    try {
      answer = await fetchPage(guid, route.id, this.calls.start());
    } catch (e) {
      if (!superseded(e) && this.guid === guid && this.route === route.id) {
        show(this.body, failure(e, () => this.showElement(guid)));
      }
      return;
    }
    if (this.guid !== guid || this.route !== route.id) return; // A later request won.
    const { text, controls } = answer;
    if (text === '') {
      show(this.body, note('The agent gave no answer for this page.'));
    } else if (controls === null) {
      // Not a page: the agent answered its message or the page's own text.
      show(this.body, el('pre', { className: 'page-text' }, text));
    } else if (controls.length === 0) {
      show(this.body, note('The page has no controls.'));
    } else {
      show(this.body, el('form', { className: 'controls', 'data-route': route.id,
                                   onsubmit: (ev) => ev.preventDefault() },
                         controls.map(renderControl)));
    }
  }
}
