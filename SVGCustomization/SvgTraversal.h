// The traversals that annotate the host's SVG tree of a diagram.
//
// Both walk the "InstanceExpr" elements of the tree depth first and act on
// the marked elements: those with an attribute "metaClass" whose value is
// "Symbol" or "Line" and an attribute "id" naming the presentation element
// (symbol or line) that they draw. The presentation element gives the model
// element it shows ("ModelElement") and its diagram ("Diagram"); a
// "FrameSymbol" of a diagram stands for the diagram itself and gets no
// markers or icons. Everything added is made with the constructors of
// SvgElements.h and appended to the element's "Expression" list; what cannot
// be made is left out. Neither traversal reports an error; exceptions of
// host operations pass through to the agent.
//
// Neither recurses: each keeps its open elements on a work stack on the
// heap, so any depth that memory holds is walked, on any stack the host
// calls on, with the host calls of a depth-first walk in list order. On a
// cyclic "Expression" list (an element met again inside itself), or when
// memory for the walk runs out, the traversal ends there: the element it
// could not enter and the elements that enclose it are not annotated (their
// subtrees were not walked to the end), nothing further is visited, and what
// was annotated before stays.
#ifndef SVGCUSTOMIZATION_SVGTRAVERSAL_H_
#define SVGCUSTOMIZATION_SVGTRAVERSAL_H_

#include "JasonParser/JasonElementFinder.h"
#include "Links/LinkGathering.h"
#include "host/VelInterfaces.h"

// First annotation of a freshly generated tree. Each marked element whose
// presentation element and model element exist gets, in this order, the
// attributes "guid" and "objectType" (GUID and meta class of the model
// element, or of the diagram for a frame) and "desc"; then, when the element
// has links, a character-data node "nativelinks:" + its link information as
// JSON (with "--" escaped); then, unless it is a frame, one triangle marker
// per kind of link it has: "_redlink" (outgoing dependencies),
// "_yellowlink" (incoming dependencies), "_obluelink" (outgoing hyperlinks),
// "_ibluelink" (incoming hyperlinks), ids prefixed with the element's id.
// A symbol's markers sit as a two-by-two block in its top-right corner; a
// line's at 45% of its way, 5 mm to its left. Does nothing when either
// pointer is null or `element` is not an "InstanceExpr".
void TraverseSVGTree(qm::IVelEntity* element, qm::IVelModel* model);

// The same, with every element's links answered from `links`, a gathering
// of `model`'s link applications made for this traversal: the same tree
// results, without walking the model's links once per element.
void TraverseSVGTree(qm::IVelEntity* element, qm::IVelModel* model, const CLinkGathering& links);

// Re-annotation from the client's JSON text g_strJasonText, indexed by
// `finder` (the tree that the finder points into must be alive). On the way
// it deletes every character-data node whose text begins with
// "nativelinks:"; with `removeImages` set, it also deletes each element that
// has an "image" child element (the icon group of an earlier run) and does
// not walk it further. Each marked element whose model element's GUID (the
// diagram's for a frame) the finder holds gets the client's JSON for it (the
// text that the "relInfo" value spans in g_strJasonText, "--" escaped, no
// prefix) as a character-data node, when the "relInfo" exists, and, unless
// it is a frame, an "ER" icon group: a "g" holding one 3 mm "image" of
// "ERIcon.gif" at the symbol's top-left corner, or at 55% of a line's way,
// 5 mm to its left. Does nothing when either pointer is null or `element` is
// not an "InstanceExpr".
void TraverseSVGTreeER(qm::IVelEntity* element, qm::IVelModel* model, CJasonElementFinder& finder,
                       bool removeImages);

// As TraverseSVGTreeER; returns true when `element` itself was deleted (it
// had an "image" child and `removeImages` was set), so that the caller must
// not touch it again.
bool ReannotateSVGTree(qm::IVelEntity* element, qm::IVelModel* model, CJasonElementFinder& finder,
                       bool removeImages);

#endif  // SVGCUSTOMIZATION_SVGTRAVERSAL_H_
