// What became of one agent call, as a type rather than a text to classify,
// and the one table that maps each kind to orv-host's exit status and the
// server's HTTP status (documented in docs/cli.md and docs/http-api.md).
#ifndef EMULATOR_OUTCOME_H_
#define EMULATOR_OUTCOME_H_

#include <string>
#include <utility>
#include <vector>

namespace qmemu {

enum class OutcomeKind {
  kAnswered,         // the agent returned and wrote no error text
  kAgentError,       // the agent wrote its error parameter; text() holds it
  kRefused,          // validation refused the parameters; messages() says why
  kUnknownAgent,     // no agent of that name is declared; the agent did not run
  kUnknownEntity,    // the context or a named GUID is no entity; the agent did not run
  kTimeBudget,       // the call's deadline passed and the host stopped it
  kOperationBudget,  // the call spent its host operations and the host stopped it
  kHostFault,        // an exception left the agent, or the host could not finish the call
};

class Outcome {
 public:
  static Outcome Answered() { return Outcome(OutcomeKind::kAnswered, ""); }
  static Outcome AgentError(std::string text) { return Outcome(OutcomeKind::kAgentError, std::move(text)); }
  static Outcome Refused(std::string text, std::vector<std::string> messages) {
    Outcome outcome(OutcomeKind::kRefused, std::move(text));
    outcome.messages_ = std::move(messages);
    return outcome;
  }
  static Outcome UnknownAgent(std::string text) { return Outcome(OutcomeKind::kUnknownAgent, std::move(text)); }
  static Outcome UnknownEntity(std::string text) { return Outcome(OutcomeKind::kUnknownEntity, std::move(text)); }
  static Outcome BudgetSpent(bool deadline, std::string text) {
    return Outcome(deadline ? OutcomeKind::kTimeBudget : OutcomeKind::kOperationBudget, std::move(text));
  }
  static Outcome HostFault(std::string text) { return Outcome(OutcomeKind::kHostFault, std::move(text)); }

  OutcomeKind kind() const { return kind_; }
  bool IsAnswered() const { return kind_ == OutcomeKind::kAnswered; }
  bool IsAgentError() const { return kind_ == OutcomeKind::kAgentError; }
  bool IsRefused() const { return kind_ == OutcomeKind::kRefused; }
  bool IsUnknown() const { return kind_ == OutcomeKind::kUnknownAgent || kind_ == OutcomeKind::kUnknownEntity; }
  bool IsBudgetSpent() const { return kind_ == OutcomeKind::kTimeBudget || kind_ == OutcomeKind::kOperationBudget; }
  bool IsHostFault() const { return kind_ == OutcomeKind::kHostFault; }

  // "" when answered; the agent's own error text for kAgentError; else one
  // sentence that says what happened.
  const std::string& text() const { return text_; }
  // The host's messages of a refusal (empty for every other kind).
  const std::vector<std::string>& messages() const { return messages_; }

 private:
  Outcome(OutcomeKind kind, std::string text) : kind_(kind), text_(std::move(text)) {}

  OutcomeKind kind_;
  std::string text_;
  std::vector<std::string> messages_;
};

// One row of the outcome table.
struct OutcomeRow {
  OutcomeKind kind;
  const char* name;  // "answered", "agent-error", ...: the word in docs and logs
  int exitStatus;    // orv-host's exit status
  int httpStatus;    // the server's HTTP status
};

// Every kind, in the order of OutcomeKind.
const std::vector<OutcomeRow>& OutcomeTable();
// The row of `kind`.
const OutcomeRow& OutcomeRowOf(OutcomeKind kind);

}  // namespace qmemu

#endif  // EMULATOR_OUTCOME_H_
