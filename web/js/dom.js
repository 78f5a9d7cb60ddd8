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

/** A failed call, with the server's error text. */
export function failure(text) {
  return el('p', { className: 'error', role: 'alert' }, text);
}
