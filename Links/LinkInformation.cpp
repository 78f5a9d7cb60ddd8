#include "Links/LinkInformation.h"

#include <list>
#include <memory>

#include "JasonParser/JasonTree.h"
#include "Links/LinkCollection.h"

namespace {

// Moves a freshly made node into a container's member list. The node is
// freed if the list cannot take it.
template <class Node, class Member>
Node* AppendTo(std::list<Member*>& members, std::unique_ptr<Node> node) {
  members.push_back(node.get());
  return node.release();
}

// Appends {"linkTypeId": id, "links": [ ... ]} to `root` and returns the
// (empty) links array.
CJasonTreeArray* AppendLinkKind(CJasonTreeArray& root, const char* id) {
  CJasonTreeObject* kind = AppendTo(root.values, std::make_unique<CJasonTreeObject>());
  AppendTo(kind->pairs, std::unique_ptr<CJasonTreePair>(CreatePairFromStrings("linkTypeId", id)));
  CJasonTreePair* links = AppendTo(kind->pairs, std::make_unique<CJasonTreePair>());
  links->name = CreateStringFromString("links");
  links->value = new CJasonTreeArray();
  return static_cast<CJasonTreeArray*>(links->value);
}

// Appends one link object with two string pairs, in this order.
void AppendLink(CJasonTreeArray& links, const char* firstName, const std::string& firstValue,
                const char* secondName, const std::string& secondValue) {
  CJasonTreeObject* link = AppendTo(links.values, std::make_unique<CJasonTreeObject>());
  AppendTo(link->pairs, std::unique_ptr<CJasonTreePair>(CreatePairFromStrings(firstName, firstValue)));
  AppendTo(link->pairs, std::unique_ptr<CJasonTreePair>(CreatePairFromStrings(secondName, secondValue)));
}

// Appends the object of one kind of element links, when there are any, and
// sets `present` accordingly.
void AppendElementLinks(CJasonTreeArray& root, const char* id, const std::list<CNormalDependencyInfo>& records,
                        bool& present) {
  if (records.empty()) return;
  present = true;
  CJasonTreeArray* links = AppendLinkKind(root, id);
  for (const CNormalDependencyInfo& record : records) {
    AppendLink(*links, "linkedObjectName", record.objectName, "linkedObjectGuid", record.objectGuid);
  }
}

}  // namespace

void EncodeLinkInformationInJason(qm::IVelEntity* element, std::string& text, bool& hasOutgoingHyperlinks,
                                  bool& hasIncomingHyperlinks, bool& hasOutgoingDependencies,
                                  bool& hasIncomingDependencies) {
  EncodeLinkInformationInJason(element, nullptr, text, hasOutgoingHyperlinks, hasIncomingHyperlinks,
                               hasOutgoingDependencies, hasIncomingDependencies);
}

void EncodeLinkInformationInJason(qm::IVelEntity* element, const CLinkGathering* gathering, std::string& text,
                                  bool& hasOutgoingHyperlinks, bool& hasIncomingHyperlinks,
                                  bool& hasOutgoingDependencies, bool& hasIncomingDependencies) {
  text.clear();
  hasOutgoingHyperlinks = false;
  hasIncomingHyperlinks = false;
  hasOutgoingDependencies = false;
  hasIncomingDependencies = false;
  if (element == nullptr) return;

  std::list<CNormalDependencyInfo> incomingDependencies;
  std::list<CNormalDependencyInfo> outgoingDependencies;
  std::list<CHyperLinkInfo> outgoingHyperlinks;
  std::list<CNormalDependencyInfo> incomingHyperlinks;
  CollectAllNormalIncomingDependencyInfo(element, gathering, incomingDependencies);
  CollectAllNormalOutgoingDependencyInfo(element, gathering, outgoingDependencies);
  CollectAllHyperlinks(element, outgoingHyperlinks);
  CollectAllIncomingHyperlinks(element, gathering, incomingHyperlinks);

  // The array is the top node: deleting it deletes the whole tree.
  auto root = std::make_unique<CJasonTreeArray>();
  AppendElementLinks(*root, "ORV_INCOMING_DEPENDENCIES", incomingDependencies, hasIncomingDependencies);
  AppendElementLinks(*root, "ORV_OUTGOING_DEPENDENCIES", outgoingDependencies, hasOutgoingDependencies);
  AppendElementLinks(*root, "ORV_INCOMING_HYPERLINKS", incomingHyperlinks, hasIncomingHyperlinks);
  if (!outgoingHyperlinks.empty()) {
    hasOutgoingHyperlinks = true;
    CJasonTreeArray* links = AppendLinkKind(*root, "ORV_OUTGOING_HYPERLINKS");
    for (const CHyperLinkInfo& record : outgoingHyperlinks) {
      AppendLink(*links, "hyperlinkName", record.linkName, "hyperlinkURL", record.url);
    }
  }

  // No links: "" rather than an empty array.
  if (!root->values.empty()) EncodeWholeOrThrow(*root, text, false, 0);
}
