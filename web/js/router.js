// The selection lives in the URL, so that a view can be shared and reloaded:
//   #/element/GUID                      an element is selected
//   #/element/GUID/meta/META            ...by its attribute node of the meta
//                                       definition META (the node, not its owner)
//   #/element/GUID/diagram/OPENED       ...and the diagram opened from the
//                                       element or diagram OPENED is shown
// GUIDs are percent-encoded in the URL.

/** Reads a location hash; answers {element, meta, diagram} (any may be ''). */
export function parseRoute(hash) {
  const parts = hash.replace(/^#\/?/, '').split('/');
  const route = { element: '', meta: '', diagram: '' };
  for (let i = 0; i + 1 < parts.length; i += 2) {
    let value;
    try {
      value = decodeURIComponent(parts[i + 1]);
    } catch (_) {
      continue; // A malformed escape names nothing.
    }
    if (parts[i] === 'element') route.element = value;
    if (parts[i] === 'meta') route.meta = value;
    if (parts[i] === 'diagram') route.diagram = value;
  }
  if (!route.element) route.meta = '';
  return route;
}

/** Writes a route as a location hash. */
export function formatRoute({ element, meta = '', diagram }) {
  let hash = '#/';
  if (element) hash += `element/${encodeURIComponent(element)}`;
  if (element && meta) hash += `/meta/${encodeURIComponent(meta)}`;
  if (diagram) hash += `${element ? '/' : ''}diagram/${encodeURIComponent(diagram)}`;
  return hash;
}

/** Calls fn(route) now and whenever the URL's hash changes. */
export function watchRoute(fn) {
  window.addEventListener('hashchange', () => fn(parseRoute(location.hash)));
  fn(parseRoute(location.hash));
}

/** Changes the route; the change reaches the watcher through the URL. */
export function go(route) {
  const hash = formatRoute(route);
  if (location.hash !== hash) location.hash = hash;
}
