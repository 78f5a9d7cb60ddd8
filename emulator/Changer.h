// The emulator's change object. The plug-in passes qmdll::defaultChanger to
// every changing operation; the emulator checks that it got exactly that one.
#ifndef EMULATOR_CHANGER_H_
#define EMULATOR_CHANGER_H_

#include "host/VelInterfaces.h"

namespace qmdll {
class Changer {
 public:
  Changer() = default;
  Changer(const Changer&) = delete;
  Changer& operator=(const Changer&) = delete;
};
}  // namespace qmdll

#endif  // EMULATOR_CHANGER_H_
