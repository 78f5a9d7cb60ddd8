#include "emulator/Outcome.h"

#include <gtest/gtest.h>

namespace qmemu {
namespace {

// One row per outcome: orv-host's exit status and the server's HTTP status.
TEST(OutcomeTable, OneRowPerKindWithExitAndHttpStatus) {
  const struct {
    Outcome outcome;
    const char* name;
    int exit, http;
  } rows[] = {
      {Outcome::Answered(), "answered", 0, 200},
      {Outcome::AgentError("Failed to find parent entity."), "agent-error", 7, 422},
      {Outcome::Refused("refused", {"m"}), "refused", 5, 422},
      {Outcome::UnknownAgent("x"), "unknown-agent", 3, 404},
      {Outcome::UnknownEntity("x"), "unknown-entity", 3, 404},
      {Outcome::BudgetSpent(true, "x"), "time-budget", 4, 504},
      {Outcome::BudgetSpent(false, "x"), "operation-budget", 4, 504},
      {Outcome::HostFault("x"), "host-fault", 3, 500},
  };
  ASSERT_EQ(OutcomeTable().size(), sizeof rows / sizeof rows[0]);
  for (const auto& row : rows) {
    const OutcomeRow& table = OutcomeRowOf(row.outcome.kind());
    EXPECT_EQ(table.kind, row.outcome.kind());
    EXPECT_STREQ(table.name, row.name);
    EXPECT_EQ(table.exitStatus, row.exit) << row.name;
    EXPECT_EQ(table.httpStatus, row.http) << row.name;
  }
}

TEST(Outcome, PredicatesAndPayload) {
  Outcome refused = Outcome::Refused("the host refused", {"first", "second"});
  EXPECT_TRUE(refused.IsRefused());
  EXPECT_FALSE(refused.IsAnswered());
  EXPECT_EQ(refused.text(), "the host refused");
  EXPECT_EQ(refused.messages(), (std::vector<std::string>{"first", "second"}));
  EXPECT_TRUE(Outcome::AgentError("Invalid control string.").IsAgentError());
  EXPECT_EQ(Outcome::AgentError("Invalid control string.").text(), "Invalid control string.");
  EXPECT_TRUE(Outcome::BudgetSpent(true, "").IsBudgetSpent());
  EXPECT_EQ(Outcome::BudgetSpent(true, "").kind(), OutcomeKind::kTimeBudget);
  EXPECT_EQ(Outcome::BudgetSpent(false, "").kind(), OutcomeKind::kOperationBudget);
  EXPECT_TRUE(Outcome::UnknownAgent("").IsUnknown());
  EXPECT_TRUE(Outcome::UnknownEntity("").IsUnknown());
  EXPECT_TRUE(Outcome::HostFault("").IsHostFault());
  EXPECT_TRUE(Outcome::Answered().IsAnswered());
  EXPECT_EQ(Outcome::Answered().text(), "");
}

}  // namespace
}  // namespace qmemu
