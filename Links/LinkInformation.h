// The link information of one element as JSON, with four presence flags.
//
// Used by the agent GetNativeLinkInformation, and by the SVG annotation for
// every diagram element, which draws its link markers from the flags.
#ifndef LINKS_LINKINFORMATION_H_
#define LINKS_LINKINFORMATION_H_

#include <string>

#include "host/VelInterfaces.h"

class CLinkGathering;

// Collects the element's incoming and outgoing requirement dependencies and
// hyperlinks and encodes them (pretty layout) as a JSON array holding one
// object per kind that has links, in the order incoming dependencies,
// outgoing dependencies, incoming hyperlinks, outgoing hyperlinks:
//
//   {"linkTypeId": "ORV_INCOMING_DEPENDENCIES", "links": [
//       {"linkedObjectName": ..., "linkedObjectGuid": ...}, ...]}
//
// (likewise "ORV_OUTGOING_DEPENDENCIES" and "ORV_INCOMING_HYPERLINKS"; the
// links of "ORV_OUTGOING_HYPERLINKS" are {"hyperlinkName", "hyperlinkURL"}).
//
// `text` and the four flags are reset ("" and false) before anything else;
// each flag is then set when its kind has links. Note that the flags come in
// the reverse order of the objects. An element without links, and a null
// element, give "" (not "[]") and four false flags.
//
// Exceptions thrown by host operations pass through; `text` is then "" and
// the flags may be partly set.
void EncodeLinkInformationInJason(qm::IVelEntity* element, std::string& text, bool& hasOutgoingHyperlinks,
                                  bool& hasIncomingHyperlinks, bool& hasOutgoingDependencies,
                                  bool& hasIncomingDependencies);

// The same, with the links collected from `gathering` (LinkGathering.h)
// when it was made from the element's model; with a null gathering, or one
// of another model, each kind is collected by walking the model as above.
// The text and the flags are the same either way. The SVG annotation passes
// one gathering for all the elements of a diagram.
void EncodeLinkInformationInJason(qm::IVelEntity* element, const CLinkGathering* gathering, std::string& text,
                                  bool& hasOutgoingHyperlinks, bool& hasIncomingHyperlinks,
                                  bool& hasOutgoingDependencies, bool& hasIncomingDependencies);

#endif  // LINKS_LINKINFORMATION_H_
