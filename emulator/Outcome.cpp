#include "emulator/Outcome.h"

namespace qmemu {

const std::vector<OutcomeRow>& OutcomeTable() {
  static const std::vector<OutcomeRow> table = {
      {OutcomeKind::kAnswered, "answered", 0, 200},
      {OutcomeKind::kAgentError, "agent-error", 7, 422},
      {OutcomeKind::kRefused, "refused", 5, 422},
      {OutcomeKind::kUnknownAgent, "unknown-agent", 3, 404},
      {OutcomeKind::kUnknownEntity, "unknown-entity", 3, 404},
      {OutcomeKind::kTimeBudget, "time-budget", 4, 504},
      {OutcomeKind::kOperationBudget, "operation-budget", 4, 504},
      {OutcomeKind::kHostFault, "host-fault", 3, 500},
  };
  return table;
}

const OutcomeRow& OutcomeRowOf(OutcomeKind kind) { return OutcomeTable()[static_cast<std::size_t>(kind)]; }

}  // namespace qmemu
