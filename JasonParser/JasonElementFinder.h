#ifndef JASONPARSER_JASONELEMENTFINDER_H_
#define JASONPARSER_JASONELEMENTFINDER_H_

// Indexes the JSON objects of a parsed tree by their "objID" member, for the
// SVG annotation agents: each identifier maps to the object's "relInfo" value.

#include <map>
#include <string>

#include "JasonParser/JasonTree.h"

// Walks a tree once and fills `elements`. Not copyable.
class CJasonElementFinder {
 public:
  CJasonElementFinder() = default;
  // Frees only the map; the values belong to the tree.
  virtual ~CJasonElementFinder();

  CJasonElementFinder(const CJasonElementFinder&) = delete;
  CJasonElementFinder& operator=(const CJasonElementFinder&) = delete;

  // Walks the tree under `node` (null: nothing) and records, for every object
  // with an "objID" member, elements[identifier] = its "relInfo" value (null
  // when it has none). The identifier is the text of the last string-valued
  // "objID" member, or "" when no "objID" value is a string; the last
  // "relInfo" member wins. Objects are recorded after the objects nested in
  // them and in document order, so for a repeated identifier the object
  // finished last (an outer one, or a later sibling) wins. Pair names are
  // never visited. The walk keeps its open containers on a heap stack: any
  // depth is safe on any machine stack. When memory runs out, `elements` is
  // left empty; nothing throws.
  void Visit(CJasonTreeNode* node);

  // Identifier to the "relInfo" value of the last object carrying it.
  // Non-owning: the tree must outlive every use of the map.
  std::map<std::string, CJasonTreeValue*> elements;

 private:
  // The body of Visit. Throws std::bad_alloc.
  void Walk(CJasonTreeNode* node);
};

#endif  // JASONPARSER_JASONELEMENTFINDER_H_
