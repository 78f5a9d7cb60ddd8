// Collection of an element's links: requirement dependencies that end or
// start at it, hyperlinks elsewhere that point at it, and its own hyperlinks.
//
// Two layers. The dependency collectors gather the dependency entities
// themselves (borrowed host pointers; the lists own nothing). The info
// collectors turn dependencies and hyperlinks into records of text, which
// the lists own by value.
//
// Every function clears its output list before it fills it, so a list
// passed in with old content comes back holding only the new result.
// Nothing is reported: a missing piece (no model, no stereotype, an entity of
// the wrong meta class, a missing tag) skips that one candidate or leaves a
// field empty. Exceptions thrown by host operations pass through to the
// caller; the agents catch them. The output list may then hold a partial
// result.
#ifndef LINKS_LINKCOLLECTION_H_
#define LINKS_LINKCOLLECTION_H_

#include <list>
#include <string>

#include "host/VelInterfaces.h"

class CLinkGathering;

// One linked element, as text: the far end of a dependency, or the element
// that carries a hyperlink pointing here.
class CNormalDependencyInfo {
 public:
  // The linked element's "Guid"; empty when it is not a "PersistentEntity"
  // or when no linked element was found.
  std::string objectGuid;
  // Its "Name" when it is a "Definition", else its meta-class name; empty
  // when no linked element was found.
  std::string objectName;
};

// One hyperlink that an element carries.
class CHyperLinkInfo {
 public:
  // The hyperlink's "URL" tag as written: neither resolved nor checked.
  std::string url;
  // The hyperlink's "name" tag; empty when the tag is missing.
  std::string linkName;
};

// The dependencies whose external reference for `end` ("source" or "target")
// is "vorn:qm:" followed by the element's GUID, found by walking every
// application of the externalObjectReference stereotype in the model. In the
// order of those applications; a dependency is listed once per application.
// Empty for a null element, an element without model or that is not a
// "PersistentEntity", or a model without the stereotype.
void CollectExternalDependencies(qm::IVelEntity* element, const std::string& end,
                                 std::list<qm::IVelEntity*>& out);

// The requirement dependencies that end at the element: those that name it
// as "Supplier" (for the external-object placeholder, only those whose
// "target" reference is empty: the others merely park on it), then those
// whose "target" reference names it, each dependency listed once. The
// second group is not required to be a requirement relationship.
void CollectAllNormalIncomingDependencies(qm::IVelEntity* element, std::list<qm::IVelEntity*>& out);

// The requirement dependencies that start at the element: those in its
// "ClientDependency" whose "NonOwningClient" is unset or the element itself
// (for the placeholder, only those whose "source" reference is empty), then
// those whose "source" reference names it, each dependency listed once.
void CollectAllNormalOutgoingDependencies(qm::IVelEntity* element, std::list<qm::IVelEntity*>& out);

// One record per incoming dependency, naming its source: the element that
// its "source" reference resolves to, else the dependency's owner. A record
// is kept even when neither is found (both fields empty then). `element`
// must not be null (a null element gives an empty list).
void CollectAllNormalIncomingDependencyInfo(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out);

// One record per outgoing dependency, naming its target: the element that
// its "target" reference resolves to, else its "Supplier". As above for
// missing ends and a null element.
void CollectAllNormalOutgoingDependencyInfo(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out);

// One record per hyperlink anywhere in the model whose "URL" is a "vorn:"
// URL ending in the element's GUID, naming the element that carries it. Not
// de-duplicated: an element linking here twice is listed twice. Empty for a
// null element, one without model or that is not a "PersistentEntity", or a
// model without the hyperlink stereotype.
void CollectAllIncomingHyperlinks(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out);

// One record per hyperlink that the element carries, in the order of its
// stereotype applications. Empty for a null element, one that is not an
// "ExtendableElement", or one without model.
void CollectAllHyperlinks(qm::IVelEntity* element, std::list<CHyperLinkInfo>& out);

// The same collectors answered from a gathering of the model's link
// applications (LinkGathering.h) instead of walking them for this one
// element. With a null `gathering`, or one made from another model than the
// element's, they walk as the collectors above do. Either way the lists are
// the same, in the same order; `gathering` is only read.
void CollectAllNormalIncomingDependencies(qm::IVelEntity* element, const CLinkGathering* gathering,
                                          std::list<qm::IVelEntity*>& out);
void CollectAllNormalOutgoingDependencies(qm::IVelEntity* element, const CLinkGathering* gathering,
                                          std::list<qm::IVelEntity*>& out);
void CollectAllNormalIncomingDependencyInfo(qm::IVelEntity* element, const CLinkGathering* gathering,
                                            std::list<CNormalDependencyInfo>& out);
void CollectAllNormalOutgoingDependencyInfo(qm::IVelEntity* element, const CLinkGathering* gathering,
                                            std::list<CNormalDependencyInfo>& out);
void CollectAllIncomingHyperlinks(qm::IVelEntity* element, const CLinkGathering* gathering,
                                  std::list<CNormalDependencyInfo>& out);

#endif  // LINKS_LINKCOLLECTION_H_
