#include "Links/LinkCollection.h"

#include <algorithm>

#include "Links/DependencyClassification.h"
#include "Links/LinkApplications.h"
#include "Links/LinkGathering.h"

namespace {

using links::kExternalReferenceStereotype;
using links::kHyperlinkStereotype;

// Appends each entry of `more` that `out` does not hold yet (pointer
// identity, searched in `out` as it stands), in the order of `more`.
void AppendMissing(const std::list<qm::IVelEntity*>& more, std::list<qm::IVelEntity*>& out) {
  for (qm::IVelEntity* entity : more) {
    if (std::find(out.begin(), out.end(), entity) == out.end()) out.push_back(entity);
  }
}

// Fills `info` for a linked element: its GUID when it is persistent, its
// name when it is a definition, else its meta-class name.
void DescribeLinkedElement(qm::IVelEntity* linked, CNormalDependencyInfo& info) {
  if (linked->IsKindOf("PersistentEntity")) linked->GetValue("Guid", info.objectGuid, 0);
  if (linked->IsKindOf("Definition")) {
    linked->GetValue("Name", info.objectName, 0);
  } else {
    linked->GetMetaClassName(info.objectName);
  }
}

// Which end of a dependency an info collector names.
enum class LinkedEnd { Source, Target };

// The element at the far end of `dependency`: the element that its
// external reference (for the source or the target) names in `model`, else
// the dependency's owner (source) or supplier (target). Null when neither
// is found.
qm::IVelEntity* FindLinkedEnd(qm::IVelEntity* dependency, LinkedEnd end, qm::IVelModel* model) {
  qm::IVelEntity* linked = nullptr;
  if (dependency->HasStereotype(kExternalReferenceStereotype, 1)) {
    const char* query =
        end == LinkedEnd::Source ? "externalObjectReference (. source .)" : "externalObjectReference (. target .)";
    qm::IVelEntity* value = dependency->QueryEntity(query, 0);
    if (value != nullptr && value->IsKindOf("CharstringValue")) {
      std::string url;
      value->GetValue("ValueString", url, 0);
      linked = ResolveQMURL(url, model);
    }
  }
  if (linked != nullptr) return linked;
  return end == LinkedEnd::Source ? dependency->GetOwner() : dependency->GetReferencedEntity("Supplier", 0);
}

// One record per dependency, naming the dependency's `end`.
void DescribeDependencies(const std::list<qm::IVelEntity*>& dependencies, LinkedEnd end, qm::IVelModel* model,
                          std::list<CNormalDependencyInfo>& out) {
  for (qm::IVelEntity* dependency : dependencies) {
    CNormalDependencyInfo info;
    qm::IVelEntity* linked = FindLinkedEnd(dependency, end, model);
    if (linked != nullptr) DescribeLinkedElement(linked, info);
    out.push_back(std::move(info));
  }
}

// The dependencies by external reference for `end`: from `gathering` when
// it covers the element's model, else by the walk of
// CollectExternalDependencies. The same list either way.
void ExternalDependencies(qm::IVelEntity* element, const std::string& end, const CLinkGathering* gathering,
                          std::list<qm::IVelEntity*>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (gathering == nullptr || !gathering->Covers(model)) {
    CollectExternalDependencies(element, end, out);
    return;
  }
  if (!element->IsKindOf("PersistentEntity")) return;
  std::string guid;
  element->GetValue("Guid", guid, 0);
  if (const std::vector<qm::IVelEntity*>* found = gathering->DependenciesNaming(end, guid)) {
    out.assign(found->begin(), found->end());
  }
}

// The carriers of the hyperlinks pointing at the element, one per
// hyperlink: from `gathering` when it covers the element's model, else by
// walking every application of the hyperlink stereotype.
void IncomingHyperlinkCarriers(qm::IVelEntity* element, const CLinkGathering* gathering,
                               std::list<qm::IVelEntity*>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (model == nullptr || !element->IsKindOf("PersistentEntity")) return;
  std::string guid;
  if (gathering != nullptr && gathering->Covers(model)) {
    element->GetValue("Guid", guid, 0);
    if (const std::vector<qm::IVelEntity*>* found = gathering->HyperlinkCarriersNaming(guid)) {
      out.assign(found->begin(), found->end());
    }
    return;
  }
  qm::IVelEntity* stereotype = model->FindEntity(kHyperlinkStereotype);
  if (stereotype == nullptr) return;
  element->GetValue("Guid", guid, 0);

  qm::EntityList instances;
  stereotype->GetReferencingEntities("InstanceOf", instances);
  std::string target;
  for (qm::IVelEntity* instance : instances) {
    qm::IVelEntity* carrier = links::HyperlinkCarrier(instance, target);
    if (carrier != nullptr && !target.empty() && target == guid) out.push_back(carrier);
  }
}

void IncomingDependencies(qm::IVelEntity* element, const CLinkGathering* gathering,
                          std::list<qm::IVelEntity*>& out) {
  out.clear();
  if (element == nullptr) return;
  const bool external = IsExternalObject(element);
  qm::EntityList candidates;
  element->GetReferencingEntities("Supplier", candidates);
  std::string reference;
  for (qm::IVelEntity* candidate : candidates) {
    if (!candidate->IsKindOf("Dependency")) continue;
    if (external) {
      // A dependency with a target reference only parks on the placeholder:
      // it really leads to an element outside.
      GetExternalReference(candidate, "target", reference);
      if (!reference.empty()) continue;
    }
    if (IsRequirementDependency(candidate)) out.push_back(candidate);
  }

  std::list<qm::IVelEntity*> byReference;
  ExternalDependencies(element, "target", gathering, byReference);
  AppendMissing(byReference, out);
}

void OutgoingDependencies(qm::IVelEntity* element, const CLinkGathering* gathering,
                          std::list<qm::IVelEntity*>& out) {
  out.clear();
  if (element == nullptr) return;
  if (element->IsKindOf("DependencyClient")) {
    const bool external = IsExternalObject(element);
    qm::EntityList candidates;
    element->GetEntities("ClientDependency", candidates);
    std::string reference;
    for (qm::IVelEntity* candidate : candidates) {
      if (external) {
        GetExternalReference(candidate, "source", reference);
        if (!reference.empty()) continue;
      }
      // A dependency held here on behalf of another client is that client's.
      qm::IVelEntity* client = candidate->GetReferencedEntity("NonOwningClient", 0);
      if ((client == nullptr || client == element) && IsRequirementDependency(candidate)) out.push_back(candidate);
    }
  }

  std::list<qm::IVelEntity*> byReference;
  ExternalDependencies(element, "source", gathering, byReference);
  AppendMissing(byReference, out);
}

}  // namespace

void CollectExternalDependencies(qm::IVelEntity* element, const std::string& end,
                                 std::list<qm::IVelEntity*>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (model == nullptr || !element->IsKindOf("PersistentEntity")) return;
  qm::IVelEntity* stereotype = model->FindEntity(kExternalReferenceStereotype);
  if (stereotype == nullptr) return;
  std::string guid;
  element->GetValue("Guid", guid, 0);

  qm::EntityList instances;
  stereotype->GetReferencingEntities("InstanceOf", instances);
  std::string reference;
  for (qm::IVelEntity* instance : instances) {
    qm::IVelEntity* dependency = links::DependencyOfReference(instance);
    if (dependency == nullptr) continue;
    GetExternalReference(dependency, end, reference);
    if (links::NamesModelElement(reference, guid)) out.push_back(dependency);
  }
}

void CollectAllNormalIncomingDependencies(qm::IVelEntity* element, std::list<qm::IVelEntity*>& out) {
  IncomingDependencies(element, nullptr, out);
}

void CollectAllNormalIncomingDependencies(qm::IVelEntity* element, const CLinkGathering* gathering,
                                          std::list<qm::IVelEntity*>& out) {
  IncomingDependencies(element, gathering, out);
}

void CollectAllNormalOutgoingDependencies(qm::IVelEntity* element, std::list<qm::IVelEntity*>& out) {
  OutgoingDependencies(element, nullptr, out);
}

void CollectAllNormalOutgoingDependencies(qm::IVelEntity* element, const CLinkGathering* gathering,
                                          std::list<qm::IVelEntity*>& out) {
  OutgoingDependencies(element, gathering, out);
}

void CollectAllNormalIncomingDependencyInfo(qm::IVelEntity* element, const CLinkGathering* gathering,
                                            std::list<CNormalDependencyInfo>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (model == nullptr) return;
  std::list<qm::IVelEntity*> dependencies;
  IncomingDependencies(element, gathering, dependencies);
  DescribeDependencies(dependencies, LinkedEnd::Source, model, out);
}

void CollectAllNormalIncomingDependencyInfo(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out) {
  CollectAllNormalIncomingDependencyInfo(element, nullptr, out);
}

void CollectAllNormalOutgoingDependencyInfo(qm::IVelEntity* element, const CLinkGathering* gathering,
                                            std::list<CNormalDependencyInfo>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (model == nullptr) return;
  std::list<qm::IVelEntity*> dependencies;
  OutgoingDependencies(element, gathering, dependencies);
  DescribeDependencies(dependencies, LinkedEnd::Target, model, out);
}

void CollectAllNormalOutgoingDependencyInfo(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out) {
  CollectAllNormalOutgoingDependencyInfo(element, nullptr, out);
}

void CollectAllIncomingHyperlinks(qm::IVelEntity* element, const CLinkGathering* gathering,
                                  std::list<CNormalDependencyInfo>& out) {
  out.clear();
  std::list<qm::IVelEntity*> carriers;
  IncomingHyperlinkCarriers(element, gathering, carriers);
  for (qm::IVelEntity* carrier : carriers) {
    CNormalDependencyInfo info;
    DescribeLinkedElement(carrier, info);
    out.push_back(std::move(info));
  }
}

void CollectAllIncomingHyperlinks(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out) {
  CollectAllIncomingHyperlinks(element, nullptr, out);
}

void CollectAllHyperlinks(qm::IVelEntity* element, std::list<CHyperLinkInfo>& out) {
  out.clear();
  if (element == nullptr || !element->IsKindOf("ExtendableElement") || element->GetModel() == nullptr) return;
  qm::EntityList instances;
  element->GetEntities("HiddenStereotypeInstance", instances);
  std::string stereotypeGuid;
  for (qm::IVelEntity* instance : instances) {
    if (!instance->IsKindOf("InstanceExpr")) continue;
    qm::IVelEntity* stereotype = instance->GetReferencedEntity("InstanceOf", 0);
    if (stereotype == nullptr) continue;
    stereotypeGuid.clear();
    stereotype->GetValue("Guid", stereotypeGuid, 0);
    if (stereotypeGuid != kHyperlinkStereotype) continue;
    qm::IVelExpression* expression = links::ExpressionOf(instance);
    if (expression == nullptr) continue;
    CHyperLinkInfo info;
    links::ReadCharstring(links::EntityOf(expression->GetArgument("URL")), info.url);
    links::ReadCharstring(links::EntityOf(expression->GetArgument("name")), info.linkName);
    out.push_back(std::move(info));
  }
}
