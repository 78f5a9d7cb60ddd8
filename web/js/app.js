// Wires the panels to the selection in the URL. Every change of selection
// goes through the URL (router.js), so that a view can be shared and reloaded.

import { cancelAll, Channel, fetchDiagrams, onBusyChange, superseded, watchModel } from './api.js';
import { DiagramView } from './diagram.js';
import { Explorer } from './explorer.js';
import { Layout } from './layout.js';
import { LinksPanel } from './links.js';
import { PropertyPage } from './page.js';
import { formatRoute, go, parseRoute, watchRoute } from './router.js';
import { SearchBox, SelectionBar } from './search.js';

const shown = { element: '', meta: '', diagram: '' };
let route = { element: '', meta: '', diagram: '' };
const diagramsCalls = new Channel();

const selectElement = (guid, meta = '') => go({ element: guid, meta, diagram: route.diagram });

const explorer = new Explorer(document.getElementById('explorer'),
                              (data) => selectElement(data.modelguid, data.metaguid || ''));
const page = new PropertyPage(document.getElementById('page'));
const links = new LinksPanel(document.getElementById('links'), (guid) => selectElement(guid));
const diagram = new DiagramView(document.getElementById('diagram'), (guid) => selectElement(guid),
                                (guid) => go({ element: route.element, meta: route.meta, diagram: guid }));
const bar = new SelectionBar(document.getElementById('selection'),
                             (node) => selectElement(node.modelguid, node.metaguid || ''));
new SearchBox(document.getElementById('search'), (result) => selectElement(result.guid));

const layout = new Layout(document.querySelector('.layout'));
document.querySelector('#explorer .panel-head').append(layout.toggleButton('left', 'model'));
document.querySelector('#page .panel-head').prepend(layout.toggleButton('right', 'page and links'));

// A diagram node, or an element that a diagram shows, opens its diagram
// (when the server cannot list the element's diagrams).
const opensDiagram = (data) => data.metaclassType === 'Diagram' || data.visual === 'yes';

// The diagrams that show the element fill the chooser; with no diagram in
// the URL the first of them opens, unless the open one shows the element.
async function chooseDiagram(next, data) {
  let diagrams = null;
  try {
    diagrams = await fetchDiagrams(next.element, diagramsCalls.start());
  } catch (e) {
    if (superseded(e)) return;
  }
  if (route !== next) return;
  diagram.setChoices(diagrams || []);
  if (next.diagram || diagram.shows(next.element)) return;
  const first = diagrams ? (diagrams[0] || {}).guid : (data && opensDiagram(data) ? next.element : '');
  if (first) location.replace(formatRoute({ ...next, diagram: first }));
}

async function followRoute(next, { force = false } = {}) {
  route = next;
  const opening = next.diagram !== shown.diagram || (force && next.diagram)
    ? (next.diagram ? diagram.open(next.diagram) : diagram.clear()) : null;
  shown.diagram = next.diagram;
  if (!force && next.element === shown.element && next.meta === shown.meta) {
    diagram.highlight(next.element, diagram.pickedName);
    return;
  }
  const elementChanged = force || next.element !== shown.element;
  shown.element = next.element;
  shown.meta = next.meta;
  if (!next.element) {
    bar.show([], '');
    diagram.setChoices([]);
    return;
  }
  if (elementChanged) {
    page.showElement(next.element);
    links.showElement(next.element);
  }
  diagram.highlight(next.element);
  const [data] = await Promise.all([explorer.reveal(next.element, next.meta), opening]);
  if (route !== next || data === undefined) return; // The person went on meanwhile.
  bar.show(explorer.selectedPath(), next.element);
  diagram.highlight(next.element, data ? data.text : next.element);
  if (elementChanged) await chooseDiagram(next, data);
}

// Slow calls show progress: the bar appears when a call runs for a moment,
// and after a little longer a Cancel button that stops every running call.
const progress = document.getElementById('progress');
const progressText = document.getElementById('progress-text');
document.getElementById('progress-cancel').addEventListener('click', cancelAll);
let progressTimer = null;
onBusyChange((calls) => {
  clearTimeout(progressTimer);
  if (calls.length === 0) {
    progress.hidden = true;
    document.body.removeAttribute('aria-busy');
  } else {
    document.body.setAttribute('aria-busy', 'true');
    progressText.textContent = `Waiting for ${[...new Set(calls)].join(', ')}…`;
    progressTimer = setTimeout(() => { progress.hidden = false; }, 250);
  }
});

// A changed model refreshes every open view; the selection stays where its
// element still exists (the explorer says so when it does not).
watchModel(async () => {
  await explorer.reload();
  followRoute(parseRoute(location.hash), { force: true });
});

explorer.load().then(() => watchRoute(followRoute));
