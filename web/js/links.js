// The links of the selected element in four groups with counts. A linked
// element of the model is a link that selects it; a hyperlink's URL is shown
// as written, and one that names an element of the model ("vorn:qm:GUID")
// selects that element.

import { Channel, fetchLinks, superseded } from './api.js';
import { el, show, note, failure } from './dom.js';

const GROUPS = [
  { id: 'ORV_OUTGOING_DEPENDENCIES', title: 'Outgoing dependencies' },
  { id: 'ORV_INCOMING_DEPENDENCIES', title: 'Incoming dependencies' },
  { id: 'ORV_OUTGOING_HYPERLINKS', title: 'Outgoing hyperlinks' },
  { id: 'ORV_INCOMING_HYPERLINKS', title: 'Incoming hyperlinks' },
];

function renderElementLink(link, select) {
  const name = link.linkedObjectName || '(unnamed)';
  if (!link.linkedObjectGuid) {
    return el('li', { className: 'outside' }, name === '(unnamed)' ? 'An element outside the model' : name);
  }
  return el('li', {},
    el('a', { href: '#', className: 'element-link', 'data-guid': link.linkedObjectGuid,
              onclick: (ev) => { ev.preventDefault(); select(link.linkedObjectGuid); } }, name),
    el('span', { className: 'guid' }, link.linkedObjectGuid));
}

const MODEL_URL = 'vorn:qm:';

function renderHyperlink(link, select) {
  const url = link.hyperlinkURL || '';
  const web = /^https?:\/\//i.test(url);
  const inModel = url.startsWith(MODEL_URL) && url.length > MODEL_URL.length ? url.slice(MODEL_URL.length) : '';
  let target;
  if (inModel) {
    target = el('a', { href: '#', className: 'url model-url', 'data-guid': inModel,
                       title: `Select ${inModel} in the model`,
                       onclick: (ev) => { ev.preventDefault(); select(inModel); } }, url);
  } else if (web) {
    target = el('a', { href: url, target: '_blank', rel: 'noopener noreferrer', className: 'url' }, url);
  } else {
    target = el('code', { className: 'url' }, url);
  }
  return el('li', {},
    link.hyperlinkName ? el('span', { className: 'hyperlink-name' }, link.hyperlinkName) : null, target);
}

/** The links panel: showElement(guid); select(guid) is called on a click. */
export class LinksPanel {
  constructor(container, select) {
    this.select = select;
    this.guid = '';
    this.calls = new Channel();
    this.body = el('div', { className: 'links-body', 'aria-live': 'polite' });
    show(container, el('div', { className: 'panel-head' }, el('h2', {}, 'Links')), this.body);
    show(this.body, note('Select an element.'));
  }

  async showElement(guid) {
    this.guid = guid;
    show(this.body, note('Loading…', 'note loading'));
    let byType;
    try {
      byType = await fetchLinks(guid, this.calls.start());
    } catch (e) {
      if (!superseded(e) && this.guid === guid) show(this.body, failure(e, () => this.showElement(guid)));
      return;
    }
    if (this.guid !== guid) return;
    if (GROUPS.every((g) => !(byType[g.id] || []).length)) {
      show(this.body, note('The element has no links.', 'note no-links'));
      return;
    }
    show(this.body, GROUPS.map((g) => {
      const links = byType[g.id] || [];
      const render = g.id === 'ORV_OUTGOING_HYPERLINKS'
        ? (link) => renderHyperlink(link, this.select) : (link) => renderElementLink(link, this.select);
      return el('section', { className: 'link-group', 'data-type': g.id },
        el('h3', {}, g.title, ' ', el('span', { className: 'count' }, String(links.length))),
        links.length ? el('ul', {}, links.map(render)) : null);
    }));
  }
}
