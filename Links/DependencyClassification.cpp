#include "Links/DependencyClassification.h"

namespace {

const char kExternalObjectGuid[] = "@Predefined@ExternalObject";
const char kExternalReferenceStereotype[] = "@Predefined@externalObjectReference";
const char kModelUrlPrefix[] = "vorn:qm:";
const std::size_t kModelUrlPrefixLength = 8;
const char kLinkUrlPrefix[] = "vorn:";
const std::size_t kLinkUrlPrefixLength = 5;

// The requirement relationships, in the order in which they are asked.
const char* const kRequirementStereotypes[] = {
    "@Predefined@trace", "@Predefined@satisfy", "@Predefined@verify",
    "@Predefined@refine", "@Predefined@copy", "@Predefined@deriveReqt",
};

}  // namespace

bool IsExternalObject(qm::IVelEntity* entity) {
  if (entity == nullptr) return false;
  if (!entity->IsKindOf("PersistentEntity")) return false;
  std::string guid;
  entity->GetValue("Guid", guid, 0);
  return guid == kExternalObjectGuid;
}

bool IsRequirementDependency(qm::IVelEntity* dependency) {
  if (dependency == nullptr) return false;
  for (const char* stereotype : kRequirementStereotypes) {
    if (dependency->HasStereotype(stereotype, 1)) return true;
  }
  return false;
}

void GetExternalReference(qm::IVelEntity* dependency, const std::string& end, std::string& reference) {
  reference.clear();
  if (dependency == nullptr) return;
  const std::string query = "externalObjectReference (. " + end + " .)";
  if (!dependency->HasStereotype(kExternalReferenceStereotype, 1)) return;
  qm::IVelEntity* value = dependency->QueryEntity(query, 0);
  if (value == nullptr) return;
  if (!value->IsKindOf("CharstringValue")) return;
  value->GetValue("ValueString", reference, 0);
}

qm::IVelEntity* ResolveQMURL(const std::string& url, qm::IVelModel* model) {
  if (model == nullptr) return nullptr;
  if (url.size() < kModelUrlPrefixLength) return nullptr;
  if (url.compare(0, kModelUrlPrefixLength, kModelUrlPrefix) != 0) return nullptr;
  return model->FindEntity(url.substr(kModelUrlPrefixLength));
}

std::string ResolveVORNURLtoGUID(const std::string& url) {
  if (url.size() < kLinkUrlPrefixLength) return std::string();
  if (url.compare(0, kLinkUrlPrefixLength, kLinkUrlPrefix) != 0) return std::string();
  // The prefix ends in a colon, so one is always found.
  const std::size_t colon = url.rfind(':');
  if (colon + 1 == url.size()) return std::string();
  return url.substr(colon + 1);
}
