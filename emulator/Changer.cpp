#include "emulator/Changer.h"

namespace qmdll {
Changer defaultChanger;
}  // namespace qmdll
