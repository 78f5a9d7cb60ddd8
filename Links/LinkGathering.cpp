#include "Links/LinkGathering.h"

#include "Links/DependencyClassification.h"
#include "Links/LinkApplications.h"

CLinkGathering::CLinkGathering(qm::IVelModel* model) : model_(model) {
  if (model == nullptr) return;
  if (qm::IVelEntity* stereotype = model->FindEntity(links::kExternalReferenceStereotype)) {
    GatherExternalReferences(stereotype);
  }
  if (qm::IVelEntity* stereotype = model->FindEntity(links::kHyperlinkStereotype)) GatherHyperlinks(stereotype);
}

// Each application is filed under the GUID each of its two references
// names; the walk of CollectExternalDependencies reads the same reference of
// the same dependency for every element it is asked about.
void CLinkGathering::GatherExternalReferences(qm::IVelEntity* stereotype) {
  qm::EntityList instances;
  stereotype->GetReferencingEntities("InstanceOf", instances);
  std::string reference;
  for (qm::IVelEntity* instance : instances) {
    qm::IVelEntity* dependency = links::DependencyOfReference(instance);
    if (dependency == nullptr) continue;
    GetExternalReference(dependency, "source", reference);
    std::string guid = links::GuidOfModelReference(reference);
    if (!guid.empty()) bySource_[guid].push_back(dependency);
    GetExternalReference(dependency, "target", reference);
    guid = links::GuidOfModelReference(reference);
    if (!guid.empty()) byTarget_[guid].push_back(dependency);
  }
}

void CLinkGathering::GatherHyperlinks(qm::IVelEntity* stereotype) {
  qm::EntityList instances;
  stereotype->GetReferencingEntities("InstanceOf", instances);
  std::string target;
  for (qm::IVelEntity* instance : instances) {
    qm::IVelEntity* carrier = links::HyperlinkCarrier(instance, target);
    if (carrier != nullptr && !target.empty()) carriers_[target].push_back(carrier);
  }
}

const std::vector<qm::IVelEntity*>* CLinkGathering::Find(const Index& index, const std::string& guid) {
  if (guid.empty()) return nullptr;
  auto found = index.find(guid);
  return found == index.end() ? nullptr : &found->second;
}

const std::vector<qm::IVelEntity*>* CLinkGathering::DependenciesNaming(const std::string& end,
                                                                       const std::string& guid) const {
  if (end == "source") return Find(bySource_, guid);
  if (end == "target") return Find(byTarget_, guid);
  return nullptr;
}

const std::vector<qm::IVelEntity*>* CLinkGathering::HyperlinkCarriersNaming(const std::string& guid) const {
  return Find(carriers_, guid);
}
