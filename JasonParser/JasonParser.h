#ifndef JASONPARSER_JASONPARSER_H_
#define JASONPARSER_JASONPARSER_H_

// The JSON parser: turns a JSON text into a tree (JasonTree.h) by scanning it
// into tokens (JasonScanner.h) and building the tree over them.
//
// A document is an object or an array that uses every token. Containers may
// nest to any depth that memory allows: the parser keeps the containers it
// has opened on a work stack of its own on the heap, never on the machine
// stack, so the depth a document can have does not depend on the stack of
// the calling thread. Failure is a null result with no message and no
// position; running out of memory is such a failure too (nothing throws).

#include <vector>

#include "JasonParser/JasonScanner.h"
#include "JasonParser/JasonTree.h"

// Parses one text. Owns its tokens; not copyable.
class CJasonParser {
 public:
  CJasonParser() = default;
  // Deletes every token, front to back.
  virtual ~CJasonParser();

  CJasonParser(const CJasonParser&) = delete;
  CJasonParser& operator=(const CJasonParser&) = delete;

  // Scans `text` into `tokens` and parses them from index 0. Returns a new
  // root (owned by the caller) whose value is the top object or array, or
  // null when the text does not scan, is not one object or array, leaves
  // tokens over, or memory runs out. A parser is meant
  // for one text: tokens are never cleared, so a second call appends to the
  // first call's tokens and fails. The tree shares nothing with the tokens:
  // leaves hold copies of the token texts, and the tokens are never changed.
  CJasonTreeRoot* ParseJasonText(std::string& text);

  // Each parses one construct starting at token `index`. On success returns a
  // new node (owned by the caller) and advances `index` past what it used; on
  // failure (memory running out included) returns null, leaves `index` and
  // the tokens as they were and has deleted whatever it built. None of them
  // recurses: nested containers are parsed by one loop over a heap stack.
  //
  // The document: "{" or "[" at index 0, and nothing after the value.
  CJasonTreeRoot* ParseJasonRoot(int& index);
  // Any value: object, array, string, number or constant.
  CJasonTreeValue* ParseJasonValue(int& index);
  // "{" pairs separated by "," "}"; no comma before "}".
  CJasonTreeObject* ParseJasonObject(int& index);
  // A string name, ":" and a value.
  CJasonTreePair* ParseJasonPair(int& index);
  // "[" values separated by "," "]"; no comma before "]".
  CJasonTreeArray* ParseJasonArray(int& index);
  CJasonTreeString* ParseJasonString(int& index);
  CJasonTreeNumber* ParseJasonNumber(int& index);
  // "true", "false" or "null".
  CJasonTreeConst* ParseJasonConst(int& index);

  std::vector<CJasonToken*> tokens;

 private:
  // The token at `index`, or null when `index` is outside the vector.
  CJasonToken* TokenAt(int index) const;
  // True when the token at `index` exists and has `kind`.
  bool IsKind(int index, CJasonToken::TokenKind kind) const;
};

#endif  // JASONPARSER_JASONPARSER_H_
