// The search box in the header: elements whose name or GUID contains the
// text, with their kind and explorer path; choosing one selects it. Up/Down
// move through the results, Enter chooses, Escape closes the list.

import { Channel, fetchSearch, superseded } from './api.js';
import { el, show, note, failure } from './dom.js';

const LIMIT = 50;
const PAUSE_MS = 250;

export class SearchBox {
  /** onChoose(result) is called with the chosen {guid, name, kind, path}. */
  constructor(container, onChoose) {
    this.onChoose = onChoose;
    this.calls = new Channel();
    this.timer = null;
    this.results = [];
    this.input = el('input', { type: 'search', id: 'search-input', placeholder: 'Search the model',
                               autocomplete: 'off', role: 'combobox', 'aria-expanded': 'false',
                               'aria-controls': 'search-results', 'aria-autocomplete': 'list',
                               'aria-label': 'Search elements by name or GUID',
                               oninput: () => this.schedule(), onkeydown: (ev) => this.onKey(ev) });
    this.list = el('ul', { id: 'search-results', role: 'listbox', className: 'search-results',
                           'aria-label': 'Search results', hidden: true });
    this.status = el('div', { className: 'search-status', 'aria-live': 'polite' });
    show(container, el('form', { className: 'search', role: 'search', onsubmit: (ev) => ev.preventDefault() },
                       this.input, this.list, this.status));
    document.addEventListener('click', (ev) => { if (!container.contains(ev.target)) this.close(); });
  }

  schedule() {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.run(), PAUSE_MS);
  }

  async run() {
    const text = this.input.value.trim();
    if (!text) {
      this.calls.stop();
      this.close();
      return;
    }
    this.open([], note('Searching…', 'note loading'));
    let answer;
    try {
      answer = await fetchSearch(text, LIMIT, this.calls.start());
    } catch (e) {
      if (!superseded(e)) this.open([], failure(e, () => this.run()));
      return;
    }
    if (this.input.value.trim() !== text) return;
    const more = answer.truncated ? ` (the first ${LIMIT})` : '';
    this.open(answer.results, answer.results.length ? note(`${answer.results.length} found${more}.`)
                                                   : note(`Nothing contains “${text}”.`));
  }

  open(results, status) {
    this.results = results;
    show(this.list, results.map((r, i) => el('li', {
      role: 'option', id: `search-result-${i}`, 'aria-selected': 'false', 'data-guid': r.guid,
      onclick: () => this.choose(i),
    }, el('span', { className: 'result-name' }, r.name || r.guid),
       el('span', { className: 'result-kind', title: 'Kind' }, r.kind || ''),
       el('span', { className: 'result-path' }, (r.path || []).slice(0, -1).map((p) => p.text).join(' › ')))));
    show(this.status, status);
    this.list.hidden = results.length === 0;
    this.input.setAttribute('aria-expanded', String(results.length > 0));
    this.active = -1;
  }

  close() {
    this.list.hidden = true;
    show(this.status);
    this.input.setAttribute('aria-expanded', 'false');
    this.input.removeAttribute('aria-activedescendant');
  }

  move(step) {
    if (!this.results.length) return;
    this.active = (this.active + step + this.results.length) % this.results.length;
    for (const [i, li] of [...this.list.children].entries()) li.setAttribute('aria-selected', String(i === this.active));
    this.input.setAttribute('aria-activedescendant', `search-result-${this.active}`);
    this.list.children[this.active].scrollIntoView({ block: 'nearest' });
  }

  choose(i) {
    const result = this.results[i];
    if (!result) return;
    this.close();
    this.onChoose(result);
  }

  onKey(ev) {
    const actions = {
      ArrowDown: () => this.move(1),
      ArrowUp: () => this.move(-1),
      Enter: () => (this.active >= 0 ? this.choose(this.active) : this.run()),
      Escape: () => this.close(),
    };
    if (!actions[ev.key]) return;
    ev.preventDefault();
    actions[ev.key]();
  }
}

/** The breadcrumb of the selection, with buttons that copy its GUID and URL. */
export class SelectionBar {
  /** onSelect(node) is called when a person picks a crumb. */
  constructor(container, onSelect) {
    this.onSelect = onSelect;
    this.crumbs = el('ol', { className: 'crumbs' });
    this.guid = '';
    this.copied = el('span', { className: 'copied', 'aria-live': 'polite' });
    this.copyGuid = el('button', { type: 'button', disabled: true, onclick: () => this.copy(this.guid, 'GUID') }, 'Copy GUID');
    this.copyUrl = el('button', { type: 'button', disabled: true, onclick: () => this.copy(location.href, 'URL') }, 'Copy URL');
    show(container, el('nav', { className: 'selection-bar', 'aria-label': 'Selection' },
                       this.crumbs, el('div', { className: 'tools' }, this.copyGuid, this.copyUrl, this.copied)));
    this.show([], '');
  }

  /** Shows the path of node data from the root to the selection. */
  show(path, guid) {
    this.guid = guid;
    this.copyGuid.disabled = !guid;
    this.copyUrl.disabled = !guid;
    show(this.crumbs, path.length ? path.map((node, i) => el('li', {},
      i + 1 === path.length
        ? el('span', { 'aria-current': 'location', className: 'current' }, node.text || node.modelguid)
        : el('button', { type: 'button', className: 'crumb', onclick: () => this.onSelect(node) },
             node.text || node.modelguid)))
      : el('li', {}, el('span', { className: 'note' }, guid ? guid : 'Nothing selected')));
  }

  async copy(text, what) {
    try {
      await navigator.clipboard.writeText(text);
    } catch (_) {
      // Without the clipboard API (or its permission) the old way still works.
      const area = el('textarea', { className: 'offscreen', 'aria-hidden': 'true' });
      area.value = text;
      document.body.append(area);
      area.select();
      document.execCommand('copy');
      area.remove();
    }
    this.copied.textContent = `${what} copied.`;
    this.copied.dataset.text = text;
    setTimeout(() => { this.copied.textContent = ''; }, 3000);
  }
}
