// The host's own expression parser, behind Model::ParseExpressionText.
#include "emulator/Model.h"

namespace qmemu {

void ParseHostExpression(Model&, const std::string&, qm::EntityList&, const std::string&) {
  // Not built yet: every text is treated as one that does not parse.
}

}  // namespace qmemu
