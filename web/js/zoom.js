// Zoom and pan of a drawing inside a viewport: the wheel zooms around the
// pointer, a horizontal wheel or trackpad swipe (or Shift+wheel) pans,
// dragging pans, and a drag never counts as a click.

const MIN_SCALE = 0.1;
const MAX_SCALE = 40;
const DRAG_START_PX = 4;

export class ZoomPan {
  /** viewport: the clipping element; stage: the element that is moved. */
  constructor(viewport, stage) {
    this.viewport = viewport;
    this.stage = stage;
    this.scale = 1;
    this.x = 0;
    this.y = 0;
    this.dragged = false;
    this.enabled = true;
    viewport.addEventListener('wheel', (ev) => this.onWheel(ev), { passive: false });
    viewport.addEventListener('pointerdown', (ev) => this.onDown(ev));
    // A click that ended a drag is swallowed before it reaches the drawing.
    viewport.addEventListener('click', (ev) => {
      if (this.dragged) ev.stopPropagation();
    }, true);
  }

  apply() {
    this.stage.style.transform = `translate(${this.x}px, ${this.y}px) scale(${this.scale})`;
  }

  /** Zooms by a factor around a point of the viewport (default: its centre). */
  zoomBy(factor, cx = this.viewport.clientWidth / 2, cy = this.viewport.clientHeight / 2) {
    const scale = Math.min(MAX_SCALE, Math.max(MIN_SCALE, this.scale * factor));
    this.x = cx - ((cx - this.x) * scale) / this.scale;
    this.y = cy - ((cy - this.y) * scale) / this.scale;
    this.scale = scale;
    this.apply();
  }

  /** Shows the whole drawing, centred. */
  fit() {
    const w = this.stage.offsetWidth;
    const h = this.stage.offsetHeight;
    const vw = this.viewport.clientWidth;
    const vh = this.viewport.clientHeight;
    if (!w || !h || !vw || !vh) return;
    this.scale = Math.min(vw / w, vh / h) * 0.96;
    this.x = (vw - w * this.scale) / 2;
    this.y = (vh - h * this.scale) / 2;
    this.apply();
  }

  onWheel(ev) {
    if (!this.enabled) return;
    ev.preventDefault();
    // A pinch arrives as a wheel with ctrlKey: always a zoom. A swipe that
    // is mostly sideways, or Shift+wheel, pans.
    const sideways = Math.abs(ev.deltaX) > Math.abs(ev.deltaY) || (ev.shiftKey && !ev.ctrlKey);
    if (sideways && !ev.ctrlKey) {
      const scale = ev.deltaMode === 1 ? 16 : 1;
      this.x -= (ev.shiftKey && !ev.deltaX ? ev.deltaY : ev.deltaX) * scale;
      if (!ev.shiftKey) this.y -= ev.deltaY * scale;
      this.apply();
      return;
    }
    const box = this.viewport.getBoundingClientRect();
    this.zoomBy(ev.deltaY < 0 ? 1.15 : 1 / 1.15, ev.clientX - box.left, ev.clientY - box.top);
  }

  onDown(ev) {
    if (ev.button !== 0 || !this.enabled) return;
    const start = { x: ev.clientX, y: ev.clientY, ox: this.x, oy: this.y };
    this.dragged = false;
    const move = (e) => {
      const dx = e.clientX - start.x;
      const dy = e.clientY - start.y;
      if (!this.dragged && Math.hypot(dx, dy) < DRAG_START_PX) return;
      if (!this.dragged) {
        this.dragged = true;
        this.viewport.classList.add('panning');
      }
      this.x = start.ox + dx;
      this.y = start.oy + dy;
      this.apply();
    };
    const up = () => {
      window.removeEventListener('pointermove', move);
      window.removeEventListener('pointerup', up);
      this.viewport.classList.remove('panning');
    };
    window.addEventListener('pointermove', move);
    window.addEventListener('pointerup', up);
  }
}
