// Reads the two answers of a property page into one shape, so that the page
// can draw both and a person can compare them:
//   { kind, text, value: string | string[], children: [control...] }
// Each reader answers a list of controls, or null when the text is not in its
// layout (then the page shows the text itself).

/** The library's parse: nested JSON objects with "control" and "children". */
export function readLibraryControls(text) {
  let parsed;
  try {
    parsed = JSON.parse(text);
  } catch (_) {
    return null;
  }
  return Array.isArray(parsed) ? parsed.flatMap(readLibraryItem) : null;
}

function readLibraryItem(item) {
  if (!item || typeof item !== 'object') return [];
  const children = Array.isArray(item.children) ? item.children.flatMap(readLibraryItem) : [];
  const control = item.control;
  // An item without a control still holds its nested controls.
  if (!control || typeof control !== 'object') return children;
  return [{
    kind: String(control.controlKind ?? ''),
    text: String(control.text ?? ''),
    value: Array.isArray(control.value) ? control.value.map(String) : String(control.value ?? ''),
    children,
  }];
}

// The host's parse is one hand-written line whose texts are not escaped, so
// it is read by its fixed separators rather than as JSON:
//   [{"kind" : "K", "text" : "T", "value" : "V"}, {"kind" : ...}]
// with an entity list's value written as ["a", "b"].
const ITEM_SEPARATOR = '}, {"kind" : "';
const FIRST = '{"kind" : "';
const TEXT = '", "text" : "';
const VALUE = '", "value" : ';

/** The host's parse: a flat list of controls with "kind", "text", "value". */
export function readHostControls(text) {
  if (!text.startsWith('[') || !text.endsWith(']')) return null;
  const body = text.slice(1, -1);
  if (body === '') return [];
  if (!body.startsWith(FIRST) || !body.endsWith('}')) return null;
  const items = body.slice(FIRST.length, -1).split(ITEM_SEPARATOR);
  const controls = items.map(readHostItem);
  return controls.includes(null) ? null : controls;
}

function readHostItem(item) {
  const textAt = item.indexOf(TEXT);
  const valueAt = item.indexOf(VALUE, textAt + TEXT.length);
  if (textAt < 0 || valueAt < 0) return null;
  const value = readHostValue(item.slice(valueAt + VALUE.length));
  if (value === null) return null;
  return {
    kind: item.slice(0, textAt),
    text: item.slice(textAt + TEXT.length, valueAt),
    value,
    children: [],
  };
}

function readHostValue(v) {
  if (v.length >= 2 && v.startsWith('"') && v.endsWith('"')) return v.slice(1, -1);
  if (v.startsWith('[') && v.endsWith(']')) {
    const inner = v.slice(1, -1);
    if (inner === '') return [];
    if (!inner.startsWith('"') || !inner.endsWith('"')) return null;
    return inner.slice(1, -1).split('", "');
  }
  return null;
}

/** The number of controls in a list, nested ones included. */
export function countControls(controls) {
  return controls.reduce((n, c) => n + 1 + countControls(c.children), 0);
}
