// The model explorer: a tree filled lazily, exactly as the agent answers.
// The root comes first; a node's children are fetched when it is expanded.
// Keyboard: Up/Down move, Right expands or enters, Left collapses or leaves,
// Home/End jump, Enter (or a click) selects. ARIA tree roles throughout.

import { ApiError, Channel, fetchChildren, fetchPath, superseded } from './api.js';
import { el, show, note, failure } from './dom.js';
import { iconUrl } from './icons.js';

const nodeKey = (data) => `${data.modelguid}\n${data.metaguid || ''}`;
const isAttributeNode = (data) => Boolean(data.metaguid);
const sameNode = (a, b) => nodeKey(a) === nodeKey({ metaguid: '', ...b });

export class Explorer {
  /** onSelect(data) is called when a person selects a node. */
  constructor(container, onSelect) {
    this.onSelect = onSelect;
    this.cache = new Map(); // node key -> promise of the child list
    this.tree = el('ul', { role: 'tree', 'aria-label': 'Model explorer', className: 'tree',
                           onkeydown: (ev) => this.onKey(ev) });
    this.status = el('div', { className: 'tree-status', 'aria-live': 'polite' });
    this.revealing = new Channel();
    show(container, el('div', { className: 'panel-head' }, el('h2', {}, 'Model')),
         this.status, this.tree);
  }

  /** Fetches the root node and shows it, expanded one level. */
  async load() {
    show(this.status, note('Loading…', 'note loading'));
    try {
      const roots = await this.children(null);
      show(this.status);
      show(this.tree, roots.map((data) => this.renderNode(data, 1)));
      const first = this.tree.querySelector('[role=treeitem]');
      if (first) {
        first.tabIndex = 0;
        await this.expand(first);
      }
    } catch (e) {
      show(this.status, failure(e, () => this.load()));
    }
  }

  /** Forgets every fetched list and shows the tree anew (the model changed);
   *  the expanded nodes that still exist are expanded again. */
  async reload() {
    const open = [...this.tree.querySelectorAll('[aria-expanded=true]')].map((li) => nodeKey(li.nodeData));
    this.cache.clear();
    await this.load();
    for (const key of open) {
      const li = [...this.tree.querySelectorAll('[role=treeitem]')].find((x) => nodeKey(x.nodeData) === key);
      if (li) await this.expand(li);
    }
  }

  // The child list of a node (null: the root list), fetched once.
  children(data) {
    const key = data ? nodeKey(data) : '';
    if (!this.cache.has(key)) {
      const request = fetchChildren(data ? data.modelguid : '', data ? data.metaguid : '');
      request.catch(() => this.cache.delete(key)); // A failed call may be tried again.
      this.cache.set(key, request);
    }
    return this.cache.get(key);
  }

  renderNode(data, level) {
    const expandable = data.hasChildren === 'yes';
    const icon = iconUrl(data.icon);
    const attribute = isAttributeNode(data);
    const li = el('li', {
      role: 'treeitem', tabindex: '-1', 'aria-level': level, 'aria-selected': 'false',
      'aria-expanded': expandable ? 'false' : null,
      'data-guid': data.modelguid, 'data-meta': data.metaguid || '',
      className: attribute ? 'attribute-node' : null,
    });
    li.nodeData = data;
    const row = el('div', { className: 'row', style: `--level:${level}`,
                            onclick: () => { li.focus(); this.select(li); } },
      el('span', { className: expandable ? 'expander' : 'expander none', 'aria-hidden': 'true',
                   onclick: (ev) => { ev.stopPropagation(); this.toggle(li); } }),
      icon ? el('img', { className: 'icon', src: icon, alt: '', width: 16, height: 16 })
           : el('span', { className: 'icon' }),
      el('span', { className: 'text', title: data.text }, data.text),
      attribute ? el('span', { className: 'badge', title: 'Attribute node' }, 'attribute') : null,
      data.visual === 'yes'
        ? el('span', { className: 'visual', role: 'img', title: 'Shown in a diagram',
                       'aria-label': 'shown in a diagram' })
        : null);
    li.append(row);
    return li;
  }

  // Expands a node; answers when its children are shown. A node is filled
  // once, however often it is expanded (also by two callers at a time).
  async expand(li) {
    if (!li.hasAttribute('aria-expanded')) return;
    li.setAttribute('aria-expanded', 'true');
    if (!li.filled) li.filled = this.fill(li);
    li.querySelector(':scope > ul').hidden = false;
    await li.filled;
  }

  async fill(li) {
    const group = el('ul', { role: 'group' },
                     el('li', { role: 'none' }, note('Loading…', 'note loading')));
    li.append(group);
    const level = Number(li.getAttribute('aria-level')) + 1;
    try {
      const nodes = await this.children(li.nodeData);
      show(group, nodes.length ? nodes.map((d) => this.renderNode(d, level))
                               : el('li', { role: 'none' }, note('No children.')));
    } catch (e) {
      show(group, el('li', { role: 'none' }, failure(e)));
      group.dataset.failed = 'true';
    }
  }

  collapse(li) {
    if (li.getAttribute('aria-expanded') !== 'true') return;
    li.setAttribute('aria-expanded', 'false');
    const group = li.querySelector(':scope > ul');
    // A failed list is dropped, so that the next expansion asks again.
    if (group && group.dataset.failed) {
      group.remove();
      li.filled = null;
    } else if (group) {
      group.hidden = true;
    }
  }

  toggle(li) {
    if (li.getAttribute('aria-expanded') === 'true') this.collapse(li);
    else this.expand(li);
  }

  select(li) {
    this.mark(li);
    this.onSelect(li.nodeData);
  }

  // Marks one item as selected and makes it the tree's tab stop.
  mark(li) {
    for (const item of this.tree.querySelectorAll('[aria-selected=true]')) {
      item.setAttribute('aria-selected', 'false');
    }
    for (const item of this.tree.querySelectorAll('[tabindex="0"]')) item.tabIndex = -1;
    if (!li) {
      const first = this.tree.querySelector('[role=treeitem]');
      if (first) first.tabIndex = 0;
      return;
    }
    li.setAttribute('aria-selected', 'true');
    li.tabIndex = 0;
    li.querySelector(':scope > .row').scrollIntoView({ block: 'nearest' });
  }

  visibleItems() {
    return [...this.tree.querySelectorAll('[role=treeitem]')].filter((li) => !li.closest('ul[hidden]'));
  }

  focus(li) {
    if (!li) return;
    for (const item of this.tree.querySelectorAll('[tabindex="0"]')) item.tabIndex = -1;
    li.tabIndex = 0;
    li.focus();
  }

  onKey(ev) {
    const li = ev.target.closest('[role=treeitem]');
    if (!li) return;
    const items = this.visibleItems();
    const at = items.indexOf(li);
    const parent = li.parentElement.closest('[role=treeitem]');
    const actions = {
      ArrowDown: () => this.focus(items[at + 1]),
      ArrowUp: () => this.focus(items[at - 1]),
      Home: () => this.focus(items[0]),
      End: () => this.focus(items[items.length - 1]),
      ArrowRight: () => (li.getAttribute('aria-expanded') === 'false' ? this.expand(li)
        : li.getAttribute('aria-expanded') === 'true' && this.focus(li.querySelector('[role=treeitem]'))),
      ArrowLeft: () => (li.getAttribute('aria-expanded') === 'true' ? this.collapse(li) : this.focus(parent)),
      Enter: () => this.select(li),
      ' ': () => this.select(li),
    };
    if (!actions[ev.key]) return;
    ev.preventDefault();
    actions[ev.key]();
  }

  /** Expands the path to an element (or to its attribute node `meta`) with
   *  one call for the path, and marks it selected; answers its node data.
   *  When the tree cannot show it, the selection is cleared, the reason is
   *  shown above the tree, and the answer is null (undefined when a later
   *  reveal replaced this one). */
  async reveal(guid, meta = '') {
    const current = this.tree.querySelector('[aria-selected=true]');
    if (current && current.nodeData.modelguid === guid && (current.nodeData.metaguid || '') === meta) {
      show(this.status);
      return current.nodeData;
    }
    let path;
    try {
      path = await fetchPath(guid, meta, this.revealing.start());
    } catch (e) {
      if (superseded(e)) return undefined;
      this.mark(null);
      const what = meta ? `The attribute node ${meta} of ${guid}` : `The element ${guid}`;
      show(this.status, failure(new ApiError(`${what} cannot be shown in the model: ${e.message}`,
                                             e.status, e.limit), () => this.reveal(guid, meta)));
      return null;
    }
    show(this.status);
    let items = [...this.tree.children];
    let li = null;
    for (const [at, data] of path.entries()) {
      li = items.find((item) => item.nodeData && sameNode(item.nodeData, data));
      if (!li) {
        this.mark(null);
        show(this.status, failure(`The element ${guid} cannot be shown in the model: `
                                  + `the tree has no node ${data.modelguid} where the server places it.`));
        return null;
      }
      if (at + 1 < path.length) {
        await this.expand(li);
        items = [...li.querySelector(':scope > ul').children];
      }
    }
    this.mark(li);
    return li.nodeData;
  }

  /** The node data from the root to the selected node ([] for none). */
  selectedPath() {
    const out = [];
    let li = this.tree.querySelector('[aria-selected=true]');
    for (; li; li = li.parentElement.closest('[role=treeitem]')) out.unshift(li.nodeData);
    return out;
  }
}
