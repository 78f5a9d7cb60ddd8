#include "emulator/Session.h"

#include <exception>

#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"

namespace qmemu {

std::string AgentPath(const std::string& agent) {
  if (!agent.empty() && agent[0] == '@') return agent;
  return "@OrvServer@" + agent;
}

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

bool Session::Run(const std::string& agent, const std::string& context, const std::vector<std::string>& texts,
                  AgentRun& run, std::string& error) {
  Entity* declaration = FindDeclaration(agent);
  if (declaration == nullptr) {
    error = "unknown agent '" + agent + "': the model declares no agent " + AgentPath(agent);
    return false;
  }
  Entity* target = FindContext(context);
  if (target == nullptr) {
    error = "unknown entity '" + context + "': no entity has this GUID or path";
    return false;
  }
  qm::AgentParameters parameters;
  for (const std::string& text : texts) {
    // Made directly, not through the counted host operation: this is the
    // host preparing a call, not the plug-in asking for something.
    ParameterValue* p = new ParameterValue(ParamKind::Text);
    p->text = text;
    parameters.push_back(p);
  }
  std::size_t before = model_->messages().Messages().size();
  try {
    model_->runAgent(declaration, target, parameters);
  } catch (const std::exception& e) {
    error = "agent '" + agent + "' let an exception escape: " + e.what();
    return false;
  } catch (const char* text) {
    error = "agent '" + agent + "' let an exception escape: " + (text == nullptr ? "" : text);
    return false;
  } catch (...) {
    error = "agent '" + agent + "' let an exception escape";
    return false;
  }
  run.parameters.clear();
  for (std::size_t i = 0; i < parameters.size(); ++i) run.parameters.push_back(TextAt(parameters, i));
  const auto& all = model_->messages().Messages();
  run.messages.assign(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
  return true;
}

}  // namespace qmemu
