// An entity whose GetModel answers null, for tests of what agents do when
// their context entity gives no model (the emulator's own entities always
// belong to one). Every other operation answers "nothing" and counts
// nothing.
#ifndef EMULATOR_MODELESSENTITY_H_
#define EMULATOR_MODELESSENTITY_H_

#include <string>

#include "host/VelInterfaces.h"

namespace qmemu {

class ModelessEntity final : public qm::IVelEntity {
 public:
  qm::Status QueryInterface(const qm::InterfaceId&, void**) override { return 1; }
  qm::Status GetValue(const std::string&, std::string& value, int) override {
    value.clear();
    return 0;
  }
  qm::IVelEntity* GetReferencedEntity(const std::string&, int) override { return nullptr; }
  qm::Status GetEntities(const std::string&, qm::EntityList&) override { return 0; }
  qm::IVelEntity* GetEntity(const std::string&, int) override { return nullptr; }
  qm::IVelEntity* GetOwner() override { return nullptr; }
  qm::Status GetMetaClassName(std::string& name) override {
    name.clear();
    return 0;
  }
  qm::Status GetReferencingEntities(const std::string&, qm::EntityList&) override { return 0; }
  qm::IVelEntity* QueryEntity(const std::string&, int) override { return nullptr; }
  bool IsKindOf(const std::string&) override { return false; }
  qm::Status SetValue(const std::string&, const std::string&, int, qmdll::Changer&) override { return 1; }
  qm::Status SetEntity(const std::string&, qm::IVelEntity*, int, qmdll::Changer&) override { return 1; }
  qm::Status DeleteEntity(qmdll::Changer&) override { return 1; }
  bool HasStereotype(const std::string&, int) override { return false; }
  qm::IVelModel* GetModel() override {
    ++getModelCalls;
    return nullptr;
  }

  int getModelCalls = 0;  // how often GetModel was asked
};

}  // namespace qmemu

#endif  // EMULATOR_MODELESSENTITY_H_
