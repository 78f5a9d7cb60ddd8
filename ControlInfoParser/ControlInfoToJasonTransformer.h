// CControlInfoToJasonTransformer: maps the expression tree of a property
// page's ControlInfo text to a JSON tree.
//
// The ControlInfo it understands:
//   { ControlInfo(. control = Kind(. text = "...", value = "..." .),
//                   children = { ControlInfo(. ... .), ... } .), ... }
// and the JSON it builds from it:
//   [ { "control" : { "controlKind" : "Kind", "text" : "...", "value" : "..." },
//       "children" : [ ... ] }, ... ]
// A control of kind "EntityList" whose value text is itself a ControlInfo
// list gets an array of that list's strings as its "value".
//
// Both functions leave the expression tree unchanged and return a new JSON
// tree that the caller owns and deletes through its top node, or null. They
// keep the lists they are still transforming on a work stack on the heap, so
// a page nests as deep as memory allows, on any stack. When memory runs out
// the answer is null as a whole, never a page with parts missing.
#ifndef CONTROLINFOPARSER_CONTROLINFOTOJASONTRANSFORMER_H_
#define CONTROLINFOPARSER_CONTROLINFOTOJASONTRANSFORMER_H_

#include "ControlInfoParser/CIExpression.h"
#include "JasonParser/JasonTree.h"

class CControlInfoToJasonTransformer {
 public:
  // A list of "ControlInfo" instances becomes an array with one object per
  // instance, in source order. Each object holds, in the order of the
  // instance's assignments, a pair "control" (TransformControl of its value)
  // and a pair "children" (this function on its value); a pair whose value
  // gives null is left out, and other arguments are ignored.
  // Returns null when `list` is null or not a list, or when any item is not
  // an instance named exactly "ControlInfo". A nested "children" list that
  // fails only loses its pair, while the same fault at the top fails the
  // whole answer. Null too when memory runs out anywhere in the page
  // (also in the parse of an "EntityList" value).
  static CJasonTreeArray* TransformControlInfoList(const CCIExpression* list);

  // A control instance `Kind(. text = ..., value = ... .)` becomes an object
  // with the pair "controlKind" (the instance name), then, in source order, a
  // pair "text" or "value" for every such assignment whose value is a string
  // value; repeated names give repeated pairs, everything else is ignored.
  // For kind "EntityList", a value whose text parses as a ControlInfo list
  // becomes an array of that list's string items (other items are skipped);
  // any other value stays a string. Returns null when `control` is null or
  // not an instance, or when memory runs out.
  static CJasonTreeObject* TransformControl(const CCIExpression* control);
};

#endif  // CONTROLINFOPARSER_CONTROLINFOTOJASONTRANSFORMER_H_
