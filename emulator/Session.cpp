#include "emulator/Session.h"

#include <exception>

#include "emulator/HostMonitor.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"

namespace qmemu {
namespace {

// What an exception that left the agent said.
std::string EscapedText(const std::string& agent, const std::string& what) {
  return "agent '" + agent + "' let an exception escape" + (what.empty() ? "" : ": " + what);
}

// The outcome of a call that ran to its end, from what it left behind.
Outcome Classify(const std::string& agent, const std::vector<std::string>& texts, const AgentRun& run) {
  if (!run.messages.empty()) return Outcome::Refused("the host refused the parameters of " + agent, run.messages);
  const AgentEntry* entry = FindAgentEntry(agent);
  const std::size_t position = entry == nullptr ? 0 : entry->PositionOf(ParameterRole::kError);
  if (position == 0 || position > run.parameters.size()) return Outcome::Answered();
  // A text the caller put there itself is no message of the agent's.
  const std::string& written = run.parameters[position - 1];
  const std::string given = position <= texts.size() ? texts[position - 1] : std::string();
  if (written.empty() || written == given) return Outcome::Answered();
  return Outcome::AgentError(written);
}

}  // namespace

Session::Session(std::unique_ptr<Model> model, std::unique_ptr<Plugin> plugin)
    : plugin_(std::move(plugin)), model_(std::move(model)) {
  model_->setPlugin(plugin_.get());
}

Session::~Session() = default;

std::unique_ptr<Session> Session::Open(const std::string& modelPath, const std::string& pluginPath,
                                       std::string& error) {
  std::unique_ptr<Model> model = LoadModelFile(modelPath, error);
  if (model == nullptr) return nullptr;
  std::unique_ptr<Plugin> plugin = Plugin::Open(pluginPath, error);
  if (plugin == nullptr) {
    error = pluginPath + ": cannot load the plug-in: " + error;
    return nullptr;
  }
  return std::unique_ptr<Session>(new Session(std::move(model), std::move(plugin)));
}

Entity* Session::FindDeclaration(const std::string& agent) const {
  Entity* declaration = model_->find(AgentPath(agent));
  return declaration != nullptr && declaration->meta() == "AgentDeclaration" ? declaration : nullptr;
}

Entity* Session::FindContext(const std::string& context) const {
  return context.empty() ? &model_->root() : model_->find(context);
}

Outcome Session::Run(const std::string& agent, const std::string& context, const std::vector<std::string>& texts,
                     AgentRun& run) {
  run = AgentRun();
  Entity* declaration = FindDeclaration(agent);
  if (declaration == nullptr) {
    return Outcome::UnknownAgent("unknown agent '" + agent + "': the model declares no agent " + AgentPath(agent));
  }
  Entity* target = FindContext(context);
  if (target == nullptr) {
    return Outcome::UnknownEntity("unknown entity '" + context + "': no entity has this GUID or path");
  }
  qm::AgentParameters parameters;
  for (const std::string& text : texts) {
    // Made directly, not through the counted host operation: this is the
    // host preparing a call, not the plug-in asking for something.
    ParameterValue* p = new ParameterValue(ParamKind::Text);
    p->text = text;
    parameters.push_back(p);
  }
  MessageList& messages = model_->messages();
  const std::size_t before = messages.Messages().size();
  bool escaped = true;
  std::string what;
  try {
    model_->runAgent(declaration, target, parameters);
    escaped = false;
  } catch (const std::exception& e) {
    what = e.what();
  } catch (const char* text) {
    what = text == nullptr ? "" : text;
  } catch (...) {
  }
  for (std::size_t i = 0; i < parameters.size(); ++i) run.parameters.push_back(TextAt(parameters, i + 1));
  const auto& all = messages.Messages();
  run.messages.assign(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
  const HostMonitor& monitor = HostMonitor::Instance();
  if (monitor.BudgetExhausted()) {
    return Outcome::BudgetSpent(monitor.DeadlinePassed(),
                                "agent " + agent + " was stopped: " +
                                    (monitor.DeadlinePassed() ? "its deadline passed" : "it spent its host operations"));
  }
  if (escaped) return Outcome::HostFault(EscapedText(agent, what));
  return Classify(agent, texts, run);
}

bool Session::Run(const std::string& agent, const std::string& context, const std::vector<std::string>& texts,
                  AgentRun& run, std::string& error) {
  Outcome outcome = Run(agent, context, texts, run);
  if (outcome.IsUnknown() || outcome.IsHostFault()) {
    error = outcome.text();
    return false;
  }
  return true;
}

}  // namespace qmemu
