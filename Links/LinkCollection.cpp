#include "Links/LinkCollection.h"

#include <algorithm>

#include "Links/DependencyClassification.h"

namespace {

const char kExternalReferenceStereotype[] = "@Predefined@externalObjectReference";
const char kHyperlinkStereotype[] = "@VELLinks@HYPERLINK";
const char kModelUrlPrefix[] = "vorn:qm:";
const std::size_t kModelUrlPrefixLength = 8;

// True when `reference` is "vorn:qm:" followed by `guid`, which is not
// empty. Compared in place: this runs for every external reference in the
// model on every request.
bool NamesModelElement(const std::string& reference, const std::string& guid) {
  if (reference.size() < kModelUrlPrefixLength) return false;
  if (reference.compare(0, kModelUrlPrefixLength, kModelUrlPrefix) != 0) return false;
  return !guid.empty() && reference.compare(kModelUrlPrefixLength, std::string::npos, guid) == 0;
}

// Appends each entry of `more` that `out` does not hold yet (pointer
// identity, searched in `out` as it stands), in the order of `more`.
void AppendMissing(const std::list<qm::IVelEntity*>& more, std::list<qm::IVelEntity*>& out) {
  for (qm::IVelEntity* entity : more) {
    if (std::find(out.begin(), out.end(), entity) == out.end()) out.push_back(entity);
  }
}

// The text of a character-string value entity into `text`; `text` is left
// as it is when the entity is null or of another meta class.
void ReadCharstring(qm::IVelEntity* value, std::string& text) {
  if (value != nullptr && value->IsKindOf("CharstringValue")) value->GetValue("ValueString", text, 0);
}

// The entity behind an argument of an instance expression, or null.
qm::IVelEntity* EntityOf(qm::IUnknown* object) {
  if (object == nullptr) return nullptr;
  void* entity = nullptr;
  object->QueryInterface(qm::IVelEntity::guid, &entity);
  return static_cast<qm::IVelEntity*>(entity);
}

// The expression interface of an instance expression, or null.
qm::IVelExpression* ExpressionOf(qm::IVelEntity* entity) {
  void* expression = nullptr;
  entity->QueryInterface(qm::IVelExpression::guid, &expression);
  return static_cast<qm::IVelExpression*>(expression);
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
    if (!instance->IsKindOf("InstanceExpr")) continue;
    qm::IVelEntity* dependency = instance->GetOwner();
    if (dependency == nullptr || !dependency->IsKindOf("Dependency")) continue;
    GetExternalReference(dependency, end, reference);
    if (NamesModelElement(reference, guid)) out.push_back(dependency);
  }
}

void CollectAllNormalIncomingDependencies(qm::IVelEntity* element, std::list<qm::IVelEntity*>& out) {
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
  CollectExternalDependencies(element, "target", byReference);
  AppendMissing(byReference, out);
}

void CollectAllNormalOutgoingDependencies(qm::IVelEntity* element, std::list<qm::IVelEntity*>& out) {
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
  CollectExternalDependencies(element, "source", byReference);
  AppendMissing(byReference, out);
}

void CollectAllNormalIncomingDependencyInfo(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (model == nullptr) return;
  std::list<qm::IVelEntity*> dependencies;
  CollectAllNormalIncomingDependencies(element, dependencies);
  DescribeDependencies(dependencies, LinkedEnd::Source, model, out);
}

void CollectAllNormalOutgoingDependencyInfo(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (model == nullptr) return;
  std::list<qm::IVelEntity*> dependencies;
  CollectAllNormalOutgoingDependencies(element, dependencies);
  DescribeDependencies(dependencies, LinkedEnd::Target, model, out);
}

void CollectAllIncomingHyperlinks(qm::IVelEntity* element, std::list<CNormalDependencyInfo>& out) {
  out.clear();
  if (element == nullptr) return;
  qm::IVelModel* model = element->GetModel();
  if (model == nullptr || !element->IsKindOf("PersistentEntity")) return;
  qm::IVelEntity* stereotype = model->FindEntity(kHyperlinkStereotype);
  if (stereotype == nullptr) return;
  std::string guid;
  element->GetValue("Guid", guid, 0);

  qm::EntityList instances;
  stereotype->GetReferencingEntities("InstanceOf", instances);
  for (qm::IVelEntity* instance : instances) {
    if (!instance->IsKindOf("InstanceExpr")) continue;
    qm::IVelEntity* carrier = instance->GetOwner();
    if (carrier == nullptr) continue;
    qm::IVelExpression* expression = ExpressionOf(instance);
    if (expression == nullptr) continue;
    qm::IUnknown* argument = expression->GetArgument("URL");
    if (argument == nullptr) continue;
    std::string url;
    ReadCharstring(EntityOf(argument), url);
    const std::string target = ResolveVORNURLtoGUID(url);
    if (target.empty() || target != guid) continue;
    CNormalDependencyInfo info;
    DescribeLinkedElement(carrier, info);
    out.push_back(std::move(info));
  }
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
    qm::IVelExpression* expression = ExpressionOf(instance);
    if (expression == nullptr) continue;
    CHyperLinkInfo info;
    ReadCharstring(EntityOf(expression->GetArgument("URL")), info.url);
    ReadCharstring(EntityOf(expression->GetArgument("name")), info.linkName);
    out.push_back(std::move(info));
  }
}
