// The server calls of the client. Each function answers the body text of a
// successful answer, or throws an ApiError carrying the server's own error
// text ({"error": "..."}) or, when there is none, the HTTP status line.
// Every call is bounded in time and counted while it runs, so that the page
// can show progress for slow calls.

const TIME_LIMIT_MS = 30000;

export class ApiError extends Error {
  constructor(message, status) {
    super(message);
    this.status = status;
  }
}

let running = 0;
const busyListeners = new Set();

/** Calls fn(count) whenever the number of running calls changes. */
export function onBusyChange(fn) {
  busyListeners.add(fn);
}

function setRunning(delta) {
  running += delta;
  for (const fn of busyListeners) fn(running);
}

function errorText(body, response) {
  try {
    const parsed = JSON.parse(body);
    if (parsed && typeof parsed.error === 'string') return parsed.error;
  } catch (_) {
    // Not JSON: fall through to the status line.
  }
  return `${response.status} ${response.statusText}`.trim();
}

async function request(method, path, body) {
  const abort = new AbortController();
  const timer = setTimeout(() => abort.abort(), TIME_LIMIT_MS);
  setRunning(+1);
  try {
    const response = await fetch(path, { method, body, signal: abort.signal });
    const text = await response.text();
    if (!response.ok) throw new ApiError(errorText(text, response), response.status);
    return text;
  } catch (e) {
    if (e instanceof ApiError) throw e;
    if (e.name === 'AbortError') throw new ApiError('The server did not answer in time.', 0);
    throw new ApiError(`The server could not be reached (${e.message}).`, 0);
  } finally {
    clearTimeout(timer);
    setRunning(-1);
  }
}

const enc = encodeURIComponent;

/** The explorer's nodes: the root when guid is empty, else the children of
 *  the node (metaGuid names the meta definition of an attribute node). */
export function fetchChildren(guid, metaGuid) {
  const query = new URLSearchParams();
  if (guid) query.set('node', guid);
  if (metaGuid) query.set('metaguid', metaGuid);
  const q = query.toString();
  return request('GET', `/api/explorer/children${q ? `?${q}` : ''}`);
}

/** The link information of an element (empty text: no links). */
export function fetchLinks(guid) {
  return request('GET', `/api/elements/${enc(guid)}/links`);
}

/** The property page of an element by one of the two routes:
 *  'controls' (the host's parse) or 'transform' (the library's parse). */
export function fetchPage(guid, route) {
  return request('GET', `/api/elements/${enc(guid)}/page?route=${enc(route)}`);
}

/** The annotated SVG of the diagram of an element (or of a diagram), with the
 *  client's JSON text as the request body (may be empty). */
export function fetchDiagram(guid, clientJson, refresh) {
  return request('POST', `/api/diagrams/${enc(guid)}/svg?refresh=${refresh ? 'true' : 'false'}`,
                 clientJson);
}
