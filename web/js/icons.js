// The explorer's icons. The host names an icon by an index into its own
// image list; this table maps the indices the host hands out to the client's
// own drawings. Any other index gets the generic element icon; -1 none.

const BY_INDEX = {
  0: 'model', 1: 'package', 7: 'requirement', 9: 'testcase', 12: 'block',
  14: 'attribute', 15: 'part', 20: 'diagram',
};

/** The URL of the icon of an index given as text, or '' for none. */
export function iconUrl(indexText) {
  const index = Number.parseInt(indexText, 10);
  if (!Number.isFinite(index) || index < 0) return '';
  return `icons/${BY_INDEX[index] || 'element'}.svg`;
}
