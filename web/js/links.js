// The links of the selected element in four groups with counts. A linked
// element of the model is a link that selects it; a hyperlink's URL is shown
// as written.

import { fetchLinks } from './api.js';
import { el, show, note, failure } from './dom.js';

const GROUPS = [
  { id: 'ORV_OUTGOING_DEPENDENCIES', title: 'Outgoing dependencies' },
  { id: 'ORV_INCOMING_DEPENDENCIES', title: 'Incoming dependencies' },
  { id: 'ORV_OUTGOING_HYPERLINKS', title: 'Outgoing hyperlinks' },
  { id: 'ORV_INCOMING_HYPERLINKS', title: 'Incoming hyperlinks' },
];

// Answers {typeId: [link...]} from the agent's text; empty text: no links.
function readLinks(text) {
  const byType = {};
  if (text.trim() === '') return byType;
  let parsed;
  try {
    parsed = JSON.parse(text);
  } catch (e) {
    throw new Error(`The links answer is not JSON (${e.message}).`);
  }
  if (!Array.isArray(parsed)) throw new Error('The links answer is not a list.');
  for (const group of parsed) {
    if (group && typeof group.linkTypeId === 'string' && Array.isArray(group.links)) {
      byType[group.linkTypeId] = (byType[group.linkTypeId] || []).concat(group.links);
    }
  }
  return byType;
}

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

function renderHyperlink(link) {
  const url = link.hyperlinkURL || '';
  const web = /^https?:\/\//i.test(url);
  return el('li', {},
    link.hyperlinkName ? el('span', { className: 'hyperlink-name' }, link.hyperlinkName) : null,
    web ? el('a', { href: url, target: '_blank', rel: 'noopener noreferrer', className: 'url' }, url)
        : el('code', { className: 'url' }, url));
}

/** The links panel: showElement(guid); select(guid) is called on a click. */
export class LinksPanel {
  constructor(container, select) {
    this.select = select;
    this.guid = '';
    this.body = el('div', { className: 'links-body', 'aria-live': 'polite' });
    show(container, el('div', { className: 'panel-head' }, el('h2', {}, 'Links')), this.body);
    show(this.body, note('Select an element.'));
  }

  async showElement(guid) {
    this.guid = guid;
    show(this.body, note('Loading…', 'note loading'));
    let byType;
    try {
      const text = await fetchLinks(guid);
      if (this.guid !== guid) return;
      byType = readLinks(text);
    } catch (e) {
      if (this.guid === guid) show(this.body, failure(e.message));
      return;
    }
    const none = GROUPS.every((g) => !(byType[g.id] || []).length);
    show(this.body, none ? note('The element has no links.') : null, GROUPS.map((g) => {
      const links = byType[g.id] || [];
      const render = g.id === 'ORV_OUTGOING_HYPERLINKS'
        ? renderHyperlink : (link) => renderElementLink(link, this.select);
      return el('section', { className: 'link-group', 'data-type': g.id },
        el('h3', {}, g.title, ' ', el('span', { className: 'count' }, String(links.length))),
        links.length ? el('ul', {}, links.map(render)) : null);
    }));
  }
}
