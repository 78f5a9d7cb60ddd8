// Wires the panels to the selection in the URL. Every change of selection
// goes through the URL (router.js), so that a view can be shared and reloaded.

import { onBusyChange } from './api.js';
import { DiagramView } from './diagram.js';
import { Explorer } from './explorer.js';
import { LinksPanel } from './links.js';
import { PropertyPage } from './page.js';
import { formatRoute, go, watchRoute } from './router.js';

const shown = { element: '', diagram: '' };
let route = { element: '', diagram: '' };

const selectElement = (guid) => go({ element: guid, diagram: route.diagram });

const explorer = new Explorer(document.getElementById('explorer'), (data) => selectElement(data.modelguid));
const page = new PropertyPage(document.getElementById('page'));
const links = new LinksPanel(document.getElementById('links'), selectElement);
const diagram = new DiagramView(document.getElementById('diagram'), selectElement);

// A diagram node, or an element that a diagram shows, opens its diagram.
const opensDiagram = (data) => data.metaclassType === 'Diagram' || data.visual === 'yes';

async function followRoute(next) {
  route = next;
  const opening = next.diagram !== shown.diagram
    ? (next.diagram ? diagram.open(next.diagram) : diagram.clear()) : null;
  shown.diagram = next.diagram;
  if (next.element === shown.element) {
    diagram.highlight(next.element);
    return;
  }
  shown.element = next.element;
  if (!next.element) return;
  page.showElement(next.element);
  links.showElement(next.element);
  diagram.highlight(next.element);
  const [data] = await Promise.all([explorer.reveal(next.element), opening]);
  if (route !== next) return; // The person went on meanwhile.
  diagram.highlight(next.element);
  if (data && opensDiagram(data) && next.diagram !== next.element && !diagram.shows(next.element)) {
    location.replace(formatRoute({ element: next.element, diagram: next.element }));
  }
}

// Slow calls show progress: the bar appears when a call runs for a moment.
const progress = document.getElementById('progress');
let progressTimer = null;
onBusyChange((count) => {
  clearTimeout(progressTimer);
  if (count === 0) {
    progress.hidden = true;
    document.body.removeAttribute('aria-busy');
  } else {
    document.body.setAttribute('aria-busy', 'true');
    progressTimer = setTimeout(() => { progress.hidden = false; }, 250);
  }
});

explorer.load().then(() => watchRoute(followRoute));
