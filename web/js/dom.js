// A small helper to build DOM elements. Text is always set as text, never as
// markup, since every text shown comes from the model.

/** Makes an element: attrs sets attributes (on* keys add listeners, a false
 *  or null value leaves the attribute out); children are nodes or strings. */
export function el(tag, attrs = {}, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(attrs)) {
    if (value === false || value === null || value === undefined) continue;
    if (key.startsWith('on')) node.addEventListener(key.slice(2), value);
    else if (key === 'className') node.className = value;
    else node.setAttribute(key, value === true ? '' : String(value));
  }
  for (const child of children.flat()) {
    if (child === null || child === undefined || child === false) continue;
    node.append(child instanceof Node ? child : document.createTextNode(String(child)));
  }
  return node;
}

/** Replaces the content of a container. */
export function show(container, ...children) {
  container.replaceChildren(...children.flat().filter((c) => c !== null && c !== undefined));
}

/** A line of muted text for states such as "Loading…" or "No links." */
export function note(text, className = 'note') {
  return el('p', { className }, text);
}

const LIMITS = {
  time: 'The call ran out of time (the server\'s deadline for one call).',
  operations: 'The call ran out of host operations (the server\'s budget for one call).',
  cancelled: 'The call was cancelled.',
};

/** A failed call: the server's error text (in .error-text), which limit
 *  stopped it, and a Retry button when retry is given. error is an Error
 *  (an ApiError carries .limit) or a text. */
export function failure(error, retry = null) {
  const text = typeof error === 'string' ? error : error.message;
  const limit = typeof error === 'string' ? '' : error.limit || '';
  return el('div', { className: 'error', role: 'alert', 'data-limit': limit || false },
    el('span', { className: 'error-text' }, text),
    LIMITS[limit] && limit !== 'cancelled' ? el('span', { className: 'error-limit' }, ' ', LIMITS[limit]) : null,
    retry ? el('button', { type: 'button', className: 'retry', onclick: retry }, 'Retry') : null);
}
