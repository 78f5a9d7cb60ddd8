#include "Links/LinkApplications.h"

#include "Links/DependencyClassification.h"

namespace links {

const char kExternalReferenceStereotype[] = "@Predefined@externalObjectReference";
const char kHyperlinkStereotype[] = "@VELLinks@HYPERLINK";

namespace {
const char kModelUrlPrefix[] = "vorn:qm:";
const std::size_t kModelUrlPrefixLength = sizeof kModelUrlPrefix - 1;
}  // namespace

qm::IVelEntity* DependencyOfReference(qm::IVelEntity* instance) {
  if (!instance->IsKindOf("InstanceExpr")) return nullptr;
  qm::IVelEntity* dependency = instance->GetOwner();
  if (dependency == nullptr || !dependency->IsKindOf("Dependency")) return nullptr;
  return dependency;
}

bool NamesModelElement(const std::string& reference, const std::string& guid) {
  if (reference.size() < kModelUrlPrefixLength) return false;
  if (reference.compare(0, kModelUrlPrefixLength, kModelUrlPrefix) != 0) return false;
  return !guid.empty() && reference.compare(kModelUrlPrefixLength, std::string::npos, guid) == 0;
}

std::string GuidOfModelReference(const std::string& reference) {
  if (reference.size() < kModelUrlPrefixLength) return std::string();
  if (reference.compare(0, kModelUrlPrefixLength, kModelUrlPrefix) != 0) return std::string();
  return reference.substr(kModelUrlPrefixLength);
}

qm::IVelEntity* HyperlinkCarrier(qm::IVelEntity* instance, std::string& target) {
  target.clear();
  if (!instance->IsKindOf("InstanceExpr")) return nullptr;
  qm::IVelEntity* carrier = instance->GetOwner();
  if (carrier == nullptr) return nullptr;
  qm::IVelExpression* expression = ExpressionOf(instance);
  if (expression == nullptr) return nullptr;
  qm::IUnknown* argument = expression->GetArgument("URL");
  if (argument == nullptr) return nullptr;
  std::string url;
  ReadCharstring(EntityOf(argument), url);
  target = ResolveVORNURLtoGUID(url);
  return carrier;
}

void ReadCharstring(qm::IVelEntity* value, std::string& text) {
  if (value != nullptr && value->IsKindOf("CharstringValue")) value->GetValue("ValueString", text, 0);
}

qm::IVelEntity* EntityOf(qm::IUnknown* object) {
  if (object == nullptr) return nullptr;
  void* entity = nullptr;
  object->QueryInterface(qm::IVelEntity::guid, &entity);
  return static_cast<qm::IVelEntity*>(entity);
}

qm::IVelExpression* ExpressionOf(qm::IVelEntity* entity) {
  void* expression = nullptr;
  entity->QueryInterface(qm::IVelExpression::guid, &expression);
  return static_cast<qm::IVelExpression*>(expression);
}

}  // namespace links
