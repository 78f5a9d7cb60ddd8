#include "OrvServer/AgentFrame.h"

namespace orv {

std::size_t CountParameters(qm::AgentParameters& parameters) {
  std::size_t count = 0;
  for (auto it = parameters.begin(); it != parameters.end(); ++it) ++count;
  return count;
}

qm::AgentParameter* ParameterAt(qm::AgentParameters& parameters, std::size_t position) {
  if (position == 0) return nullptr;
  for (qm::AgentParameter* parameter : parameters) {
    if (--position == 0) return parameter;
  }
  return nullptr;
}

std::string ReadText(qm::AgentParameters& parameters, std::size_t position) {
  qm::AgentParameter* parameter = ParameterAt(parameters, position);
  if (parameter == nullptr) return std::string();
  const char* text = parameter->GetString();
  return text == nullptr ? std::string() : std::string(text);
}

void WriteText(qm::AgentParameters& parameters, std::size_t position, const std::string& text) {
  qm::AgentParameter* parameter = ParameterAt(parameters, position);
  if (parameter != nullptr) parameter->Set(text, qm::_String);
}

qm::IVelModel* ModelOf(qm::IVelEntity* context) { return context == nullptr ? nullptr : context->GetModel(); }

qm::IVelMessageList* MessageListOf(qm::IUnknown* access) {
  qm::IVelModelAccess* modelAccess = QueryAs<qm::IVelModelAccess>(access);
  return modelAccess == nullptr ? nullptr : modelAccess->GetMessageList();
}

bool ValidateParameters(qm::IVelModel* model, const char* agentName, qm::AgentParameters& parameters,
                        qm::IVelMessageList* messages) {
  qm::IVelEntity* declaration = model->FindEntity(std::string("@OrvServer@") + agentName);
  return qm::ValidateAgentActualParameters(declaration, parameters, true, messages);
}

qm::IVelEntity* FindAgent(qm::IVelModel* model, const std::string& path) {
  return model == nullptr ? nullptr : model->FindEntity(path);
}

void Append(qm::AgentParameters& parameters, qm::AgentParameter* parameter) {
  try {
    parameters.push_back(parameter);
  } catch (...) {
    qm::AgentParameter::Release(parameter);
    throw;
  }
}

}  // namespace orv
