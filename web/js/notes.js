// The person's notes on elements, kept in the browser (localStorage) so
// that they outlive a reload. Each note has the element's GUID, its name
// when the note was written (notes are listed by name) and the text.

const KEY = 'orvserver.notes';

export class NoteStore {
  /** storage: a Storage (localStorage); a storage that fails (full,
   *  refused) only loses the keeping, not the notes of this page. */
  constructor(storage) {
    this.storage = storage;
    this.notes = new Map(); // guid -> {guid, name, text}
    let saved = [];
    try {
      saved = JSON.parse(storage.getItem(KEY) || '[]');
    } catch (_) {
      saved = []; // Unreadable notes are dropped.
    }
    for (const n of Array.isArray(saved) ? saved : []) {
      if (n && typeof n.guid === 'string' && typeof n.text === 'string' && n.text) {
        this.notes.set(n.guid, { guid: n.guid, name: String(n.name || n.guid), text: n.text });
      }
    }
  }

  text(guid) {
    return (this.notes.get(guid) || { text: '' }).text;
  }

  /** Sets the note of an element; an empty text removes it. */
  set(guid, name, text) {
    if (text) this.notes.set(guid, { guid, name: name || guid, text });
    else this.notes.delete(guid);
    try {
      this.storage.setItem(KEY, JSON.stringify([...this.notes.values()]));
    } catch (_) {
      // Not kept across a reload; the page still has it.
    }
  }

  /** The notes, by name. */
  list() {
    return [...this.notes.values()].sort((a, b) => a.name.localeCompare(b.name) || a.guid.localeCompare(b.guid));
  }

  /** The client's JSON of the diagram request: [{"objID", "relInfo": {"note"}}], or '' for none. */
  clientJson() {
    if (!this.notes.size) return '';
    return JSON.stringify([...this.notes.values()].map(({ guid, text }) => ({ objID: guid, relInfo: { note: text } })));
  }
}
