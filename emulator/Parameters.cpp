#include "emulator/Parameters.h"

#include "emulator/Access.h"
#include "emulator/Entity.h"
#include "emulator/HostMonitor.h"

namespace qmemu {
namespace {

ParameterValue* Make(ParamKind kind, HostOperation operation) {
  HostMonitor::Instance().Enter(operation);
  return new ParameterValue(kind);
}

// The formal parameters recorded on a declaration entity (its "Parameter"
// list, each with "Kind" and "Optional").
std::vector<FormalParameter> FormalsOf(const Entity& declaration) {
  std::vector<FormalParameter> formals;
  for (Entity* p : declaration.list("Parameter")) {
    ParamKind kind = ParamKind::Text;
    ParseParamKind(p->value("Kind"), kind);
    formals.push_back({p->name(), kind, p->value("Optional") == "true"});
  }
  return formals;
}

}  // namespace

const char* ParamKindName(ParamKind kind) {
  switch (kind) {
    case ParamKind::Text: return "text";
    case ParamKind::Integer: return "integer";
    case ParamKind::Boolean: return "boolean";
    case ParamKind::EntityList: return "entity list";
    case ParamKind::Interface: return "interface";
  }
  return "?";
}

bool ParseParamKind(const std::string& text, ParamKind& kind) {
  static const struct { const char* name; ParamKind kind; } names[] = {
      {"text", ParamKind::Text},           {"integer", ParamKind::Integer},
      {"boolean", ParamKind::Boolean},     {"entity list", ParamKind::EntityList},
      {"entitylist", ParamKind::EntityList}, {"interface", ParamKind::Interface},
  };
  for (const auto& n : names) {
    if (text == n.name) {
      kind = n.kind;
      return true;
    }
  }
  return false;
}

qm::AgentParameter* ParameterAt(qm::AgentParameters& parameters, std::size_t position) {
  if (position == 0) return nullptr;
  for (qm::AgentParameter* p : parameters) {
    if (--position == 0) return p;
  }
  return nullptr;
}

std::string TextAt(qm::AgentParameters& parameters, std::size_t position) {
  qm::AgentParameter* p = ParameterAt(parameters, position);
  if (p == nullptr || ParameterValue::Of(*p).kind != ParamKind::Text) return std::string();
  return ParameterValue::Of(*p).text;
}

void SetTextAt(qm::AgentParameters& parameters, std::size_t position, const std::string& text) {
  qm::AgentParameter* p = ParameterAt(parameters, position);
  if (p != nullptr) ParameterValue::Of(*p).text = text;
}

bool CheckParameters(const std::string& agentPath, const std::vector<FormalParameter>& formals,
                     qm::AgentParameters& parameters, std::string& message) {
  std::size_t required = 0;
  for (const FormalParameter& f : formals) {
    if (!f.optional) ++required;
  }
  const std::size_t actual = parameters.size();
  if (actual < required || actual > formals.size()) {
    message = agentPath + ": expected ";
    if (required == formals.size()) {
      message += std::to_string(required);
    } else {
      message += std::to_string(required) + " to " + std::to_string(formals.size());
    }
    message += formals.size() == 1 ? " parameter" : " parameters";
    message += ", got " + std::to_string(actual);
    return false;
  }
  std::size_t position = 0;
  for (qm::AgentParameter* p : parameters) {
    const FormalParameter& f = formals[position++];
    ParamKind kind = ParameterValue::Of(*p).kind;
    if (kind != f.kind) {
      message = agentPath + ": parameter " + std::to_string(position) + " (" + f.name + ") must be " +
                ParamKindName(f.kind) + ", got " + ParamKindName(kind);
      return false;
    }
  }
  return true;
}

}  // namespace qmemu

namespace qm {

using qmemu::ParameterValue;
using qmemu::ParamKind;

AgentParameter* AgentParameter::Create(const char* value, StringTag) {
  ParameterValue* p = qmemu::Make(ParamKind::Text, qmemu::HostOperation::kCreateText);
  if (value != nullptr) p->text = value;
  return p;
}

AgentParameter* AgentParameter::Create(long value, IntegerTag) {
  ParameterValue* p = qmemu::Make(ParamKind::Integer, qmemu::HostOperation::kCreateInteger);
  p->integer = value;
  return p;
}

AgentParameter* AgentParameter::Create(bool value, BooleanTag) {
  ParameterValue* p = qmemu::Make(ParamKind::Boolean, qmemu::HostOperation::kCreateBoolean);
  p->boolean = value;
  return p;
}

AgentParameter* AgentParameter::Create(EntityList& value, EntityListTag) {
  ParameterValue* p = qmemu::Make(ParamKind::EntityList, qmemu::HostOperation::kCreateEntityList);
  p->list = &value;
  return p;
}

AgentParameter* AgentParameter::Create(const IUnknown* value, UnknownInterfaceTag) {
  ParameterValue* p = qmemu::Make(ParamKind::Interface, qmemu::HostOperation::kCreateInterface);
  p->unknown = const_cast<IUnknown*>(value);
  return p;
}

const char* AgentParameter::GetString() const {
  qmemu::HostMonitor::Instance().Enter(qmemu::HostOperation::kGetString);
  const ParameterValue& p = ParameterValue::Of(*this);
  return p.kind == ParamKind::Text ? p.text.c_str() : nullptr;
}

long AgentParameter::GetInteger() const {
  qmemu::HostMonitor::Instance().Enter(qmemu::HostOperation::kGetInteger);
  const ParameterValue& p = ParameterValue::Of(*this);
  return p.kind == ParamKind::Integer ? p.integer : 0;
}

IUnknown* AgentParameter::GetUnknown() const {
  qmemu::HostMonitor::Instance().Enter(qmemu::HostOperation::kGetUnknown);
  const ParameterValue& p = ParameterValue::Of(*this);
  return p.kind == ParamKind::Interface ? p.unknown : nullptr;
}

void AgentParameter::Set(const char* value, StringTag) {
  qmemu::HostMonitor::Instance().Enter(qmemu::HostOperation::kSet);
  ParameterValue& p = ParameterValue::Of(*this);
  p.kind = ParamKind::Text;
  p.text = value == nullptr ? "" : value;
}

void AgentParameter::Set(const std::string& value, StringTag) {
  qmemu::HostMonitor::Instance().Enter(qmemu::HostOperation::kSet);
  ParameterValue& p = ParameterValue::Of(*this);
  p.kind = ParamKind::Text;
  p.text = value;
}

AgentParameters::~AgentParameters() {
  for (AgentParameter* p : *this) delete static_cast<ParameterValue*>(p);
}

bool ValidateAgentActualParameters(IVelEntity* declaration, AgentParameters& parameters, bool,
                                   IVelMessageList* messages) {
  qmemu::HostMonitor::Instance().Enter(qmemu::HostOperation::kValidateAgentActualParameters);
  std::string message;
  bool ok;
  qmemu::Entity* decl = qmemu::Entity::From(declaration);
  if (decl == nullptr) {
    message = "agent declaration not found";
    ok = false;
  } else {
    ok = qmemu::CheckParameters(decl->guid(), qmemu::FormalsOf(*decl), parameters, message);
  }
  if (!ok) {
    auto* list = dynamic_cast<qmemu::MessageList*>(messages);
    if (list != nullptr) list->Add(message);
  }
  return ok;
}

}  // namespace qm
