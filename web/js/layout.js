// Resizing and collapsing the side panels. Each splitter is a separator
// that the pointer drags or the arrow keys move; each panel head has a
// button that collapses the panel to a narrow rail. The sizes are CSS
// variables on the layout (--left-w, --right-w), kept across reloads.

import { el } from './dom.js';

const KEY = 'orvserver.layout';
const STEP_PX = 24;
const MIN_PX = 160;
const MAX_PX = 640;
const RAIL_PX = 44; // a collapsed panel

function load() {
  try {
    const saved = JSON.parse(localStorage.getItem(KEY) || '{}');
    return saved && typeof saved === 'object' ? saved : {};
  } catch (_) {
    return {};
  }
}

export class Layout {
  constructor(layout) {
    this.layout = layout;
    this.state = { left: 280, right: 380, leftCollapsed: false, rightCollapsed: false, ...load() };
    this.splitters = {
      left: this.splitter('left', 'Resize the model panel', layout.querySelector('#explorer')),
      right: this.splitter('right', 'Resize the page and links panel', layout.querySelector('.side')),
    };
    layout.querySelector('#explorer').after(this.splitters.left);
    layout.querySelector('.side').before(this.splitters.right);
    this.apply();
  }

  splitter(side, label, panel) {
    const node = el('div', { className: `splitter splitter-${side}`, role: 'separator', tabindex: '0',
                             'aria-orientation': 'vertical', 'aria-label': label,
                             'aria-valuemin': MIN_PX, 'aria-valuemax': MAX_PX,
                             onkeydown: (ev) => this.onKey(ev, side),
                             onpointerdown: (ev) => this.onDrag(ev, side) });
    node.panel = panel;
    return node;
  }

  /** A button for a panel head that collapses and expands the panel. */
  toggleButton(side, name) {
    const button = el('button', { type: 'button', className: 'collapse', 'data-side': side,
                                  'aria-label': `Collapse the ${name} panel`, title: `Collapse the ${name} panel`,
                                  'aria-expanded': 'true', onclick: () => this.toggle(side) });
    button.panelName = name;
    (this.toggles ||= []).push(button);
    this.apply();
    return button;
  }

  toggle(side) {
    const key = `${side}Collapsed`;
    this.state[key] = !this.state[key];
    this.apply();
  }

  set(side, px) {
    this.state[side] = Math.round(Math.min(MAX_PX, Math.max(MIN_PX, px)));
    this.state[`${side}Collapsed`] = false;
    this.apply();
  }

  apply() {
    const s = this.layout.style;
    s.setProperty('--left-w', this.state.leftCollapsed ? `${RAIL_PX}px` : `${this.state.left}px`);
    s.setProperty('--right-w', this.state.rightCollapsed ? `${RAIL_PX}px` : `${this.state.right}px`);
    this.layout.dataset.left = this.state.leftCollapsed ? 'collapsed' : 'open';
    this.layout.dataset.right = this.state.rightCollapsed ? 'collapsed' : 'open';
    for (const side of ['left', 'right']) {
      if (this.splitters) this.splitters[side].setAttribute('aria-valuenow', this.state[side]);
    }
    for (const b of this.toggles || []) {
      const collapsed = this.state[`${b.dataset.side}Collapsed`];
      b.setAttribute('aria-expanded', String(!collapsed));
      const label = `${collapsed ? 'Expand' : 'Collapse'} the ${b.panelName} panel`;
      b.setAttribute('aria-label', label);
      b.title = label;
      b.textContent = (b.dataset.side === 'left') === collapsed ? '»' : '«';
    }
    try {
      localStorage.setItem(KEY, JSON.stringify(this.state));
    } catch (_) {
      // Kept for this page only.
    }
  }

  onKey(ev, side) {
    const grow = side === 'left' ? 1 : -1;
    const step = { ArrowLeft: -STEP_PX * grow, ArrowRight: STEP_PX * grow }[ev.key];
    if (!step) return;
    ev.preventDefault();
    this.set(side, this.state[side] + step);
  }

  onDrag(ev, side) {
    if (ev.button !== 0) return;
    ev.preventDefault();
    const startX = ev.clientX;
    const start = this.state[side];
    const grow = side === 'left' ? 1 : -1;
    const move = (e) => this.set(side, start + (e.clientX - startX) * grow);
    const up = () => {
      window.removeEventListener('pointermove', move);
      window.removeEventListener('pointerup', up);
    };
    window.addEventListener('pointermove', move);
    window.addEventListener('pointerup', up);
  }
}
