// The server calls of the client, and the reading of their answers: the
// panels get parsed values and only render them.
//
// Every call takes an AbortSignal (a Channel's), is bounded in time and is
// counted while it runs, so that the page can show progress and cancel it.
// A failed call throws an ApiError: the server's own error text, the limit
// that stopped the agent (504: 'time' or 'operations'), or 'cancelled'.

import { readHostControls, readLibraryControls } from './controls.js';

const TIME_LIMIT_MS = 60000;

export class ApiError extends Error {
  /** status: the HTTP status (0: no answer); limit: 'time', 'operations',
   *  'cancelled' or ''. */
  constructor(message, status, limit = '') {
    super(message);
    this.status = status;
    this.limit = limit;
  }

  get cancelled() {
    return this.limit === 'cancelled';
  }
}

// The running calls, so that a person can cancel them from the progress bar.
const running = new Map(); // AbortController -> description
const busyListeners = new Set();

/** Calls fn(calls) whenever the running calls change; calls is a list of
 *  their descriptions. */
export function onBusyChange(fn) {
  busyListeners.add(fn);
}

function changed() {
  for (const fn of busyListeners) fn([...running.values()]);
}

/** Cancels every running call (each throws an ApiError with limit 'cancelled'). */
export function cancelAll() {
  for (const abort of running.keys()) abort.abort('cancelled');
}

/** One line of calls where only the latest counts: start() aborts the call
 *  before it, so a view the person has left does not hold up the next one. */
export class Channel {
  constructor() {
    this.abort = null;
  }

  /** A signal for a new call; the previous call of this channel is aborted. */
  start() {
    if (this.abort) this.abort.abort('superseded');
    this.abort = new AbortController();
    return this.abort.signal;
  }

  stop() {
    if (this.abort) this.abort.abort('superseded');
    this.abort = null;
  }
}

function errorOf(text, response) {
  try {
    const parsed = JSON.parse(text);
    if (parsed && typeof parsed.error === 'string') {
      const limit = ['time', 'operations'].includes(parsed.limit) ? parsed.limit : '';
      return new ApiError(parsed.error, response.status, limit);
    }
  } catch (_) {
    // Not JSON: the status line says what there is.
  }
  return new ApiError(`${response.status} ${response.statusText}`.trim(), response.status);
}

// One call; answers {status, text, type, format, etag}. `what` describes it
// for the progress bar.
async function request(method, path, { body, signal, what = path } = {}) {
  const abort = new AbortController();
  const timer = setTimeout(() => abort.abort('time'), TIME_LIMIT_MS);
  const forward = () => abort.abort(signal.reason);
  if (signal) {
    if (signal.aborted) forward();
    else signal.addEventListener('abort', forward);
  }
  running.set(abort, what);
  changed();
  try {
    const response = await fetch(path, { method, body, signal: abort.signal });
    const text = await response.text();
    if (!response.ok) throw errorOf(text, response);
    return { status: response.status, text,
             type: (response.headers.get('Content-Type') || '').split(';')[0].trim(),
             format: response.headers.get('X-Answer-Format') || '',
             etag: response.headers.get('ETag') || '' };
  } catch (e) {
    if (e instanceof ApiError) throw e;
    if (abort.signal.aborted) {
      const reason = abort.signal.reason;
      if (reason === 'time') throw new ApiError('The server did not answer in time.', 0, 'time');
      if (reason === 'superseded') throw new ApiError('Superseded by a later call.', 0, 'superseded');
      throw new ApiError('Cancelled.', 0, 'cancelled');
    }
    throw new ApiError(`The server could not be reached (${e.message}).`, 0);
  } finally {
    clearTimeout(timer);
    if (signal) signal.removeEventListener('abort', forward);
    running.delete(abort);
    changed();
  }
}

/** True for the error of a call that a later call of its channel replaced:
 *  nothing is to be shown for it. */
export const superseded = (e) => e instanceof ApiError && e.limit === 'superseded';

const enc = encodeURIComponent;

function parseJson(text, what) {
  try {
    return JSON.parse(text);
  } catch (e) {
    throw new ApiError(`The ${what} answer is not JSON (${e.message}).`, 200);
  }
}

/** The explorer's nodes: the root when guid is empty, else the children of
 *  the node (metaGuid names the meta definition of an attribute node). */
export async function fetchChildren(guid, metaGuid, signal) {
  const query = new URLSearchParams();
  if (guid) query.set('node', guid);
  if (metaGuid) query.set('metaguid', metaGuid);
  const q = query.toString();
  const { text } = await request('GET', `/api/explorer/children${q ? `?${q}` : ''}`,
                                 { signal, what: 'the model explorer' });
  const nodes = parseJson(text, 'explorer');
  if (!Array.isArray(nodes)) throw new ApiError('The explorer answer is not a list of nodes.', 200);
  return nodes;
}

/** The explorer path of an element (or of the attribute node metaGuid):
 *  the node data from the root down to it. */
export async function fetchPath(guid, metaGuid, signal) {
  const q = metaGuid ? `?metaguid=${enc(metaGuid)}` : '';
  const { text } = await request('GET', `/api/elements/${enc(guid)}/path${q}`,
                                 { signal, what: 'the place of the element' });
  const answer = parseJson(text, 'path');
  if (!answer || !Array.isArray(answer.path)) throw new ApiError('The path answer has no path.', 200);
  return answer.path;
}

/** Elements whose name or GUID contains the text: {results, truncated}. */
export async function fetchSearch(text, limit, signal) {
  const { text: body } = await request('GET', `/api/search?q=${enc(text)}&limit=${limit}`,
                                       { signal, what: 'the search' });
  const answer = parseJson(body, 'search');
  return { results: Array.isArray(answer.results) ? answer.results : [], truncated: Boolean(answer.truncated) };
}

/** The diagrams that show an element: [{guid, name}]. */
export async function fetchDiagrams(guid, signal) {
  const { text } = await request('GET', `/api/elements/${enc(guid)}/diagrams`,
                                 { signal, what: 'the diagrams of the element' });
  const answer = parseJson(text, 'diagrams');
  return Array.isArray(answer.diagrams) ? answer.diagrams : [];
}

/** The links of an element by kind: {typeId: [link...]}; {} for none (the
 *  server answers 204, or an empty body). */
export async function fetchLinks(guid, signal) {
  const { status, text } = await request('GET', `/api/elements/${enc(guid)}/links`,
                                         { signal, what: 'the links' });
  const byType = {};
  if (status === 204 || text.trim() === '') return byType;
  const parsed = parseJson(text, 'links');
  if (!Array.isArray(parsed)) throw new ApiError('The links answer is not a list.', 200);
  for (const group of parsed) {
    if (group && typeof group.linkTypeId === 'string' && Array.isArray(group.links)) {
      byType[group.linkTypeId] = (byType[group.linkTypeId] || []).concat(group.links);
    }
  }
  return byType;
}

/** The property page of an element by one of the two routes, 'controls' (the
 *  host's parse) or 'transform' (the library's parse): {text, controls},
 *  controls null when the text is not a page (a message or the page's own
 *  text). */
export async function fetchPage(guid, route, signal) {
  const { text } = await request('GET', `/api/elements/${enc(guid)}/page?route=${enc(route)}`,
                                 { signal, what: 'the property page' });
  const read = route === 'transform' ? readLibraryControls : readHostControls;
  return { text, controls: read(text) };
}

/** The annotated SVG text of the diagram of an element (or of a diagram),
 *  with the client's JSON text as the request body (may be empty). */
export async function fetchDiagram(guid, clientJson, { refresh = true, standalone = false, signal } = {}) {
  const query = `refresh=${refresh}${standalone ? '&standalone=true' : ''}`;
  const { text } = await request('POST', `/api/diagrams/${enc(guid)}/svg?${query}`,
                                 { body: clientJson, signal, what: 'the diagram' });
  return text;
}

/** Calls onChange(version) when the server says the model changed; answers
 *  a function that stops listening. Without the events route nothing happens. */
export function watchModel(onChange) {
  if (typeof EventSource === 'undefined') return () => {};
  const source = new EventSource('/api/events');
  source.addEventListener('model-changed', (ev) => {
    let version = 0;
    try {
      version = JSON.parse(ev.data).version;
    } catch (_) {
      // An event without a readable version still means a change.
    }
    onChange(version);
  });
  // A server without the route answers 404: stop asking again and again.
  source.addEventListener('error', () => {
    if (source.readyState === EventSource.CLOSED) source.close();
  });
  return () => source.close();
}
