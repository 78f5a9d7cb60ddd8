#include "emulator/Access.h"

#include "emulator/HostMonitor.h"

namespace qmemu {

qm::Status MessageList::QueryInterface(const qm::InterfaceId& id, void** object) {
  HostMonitor::Instance().Enter(HostOperation::kQueryInterface, "IVelMessageList");
  if (id == qm::IVelMessageList::guid || id == qm::IUnknown::guid) {
    *object = static_cast<qm::IVelMessageList*>(this);
    return 0;
  }
  return 1;
}

qm::Status ModelAccess::QueryInterface(const qm::InterfaceId& id, void** object) {
  HostMonitor::Instance().Enter(HostOperation::kQueryInterface, "ModelAccess");
  if (!answersAccess_) return 1;
  if (id == qm::IVelModelAccess::guid || id == qm::IUnknown::guid) {
    *object = static_cast<qm::IVelModelAccess*>(this);
    return 0;
  }
  return 1;
}

qm::IVelMessageList* ModelAccess::GetMessageList() {
  HostMonitor::Instance().Enter(HostOperation::kGetMessageList);
  return &messages_;
}

}  // namespace qmemu
