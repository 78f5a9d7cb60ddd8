// Agent GetPropertyPageControls: the controls of the property page of the
// entity named by a GUID, as one line of hand-written JSON.
//
// Parameters (checked against "@OrvServer@GetPropertyPageControls"):
//   1 text in   GUID of the entity
//   2 text out  the JSON answer
//   3 text out  an error message
//
// The host's page agent gives the page's ControlInfo text; the host's own
// expression parser turns it into expression entities, and the agent walks
// the top expression's items. Each item is an instance whose argument
// "control" is an instance of the control kind with the arguments "text" and
// "'value'". The answer is written without any escaping:
//   [{"kind" : "EditBox", "text" : "Name", "value" : "Pump"}, {"kind" : "EntityList", "text" : "Owners", "value" : ["a", "b"]}]
//
// The walk moves on to the next item only after it has written a control:
// an item that cannot be written is examined again and again, and the agent
// does not return. The host's page agent only describes complete controls,
// and the agent relies on that.
#include <string>

#include "OrvServer/AgentFrame.h"
#include "host/Agent.h"

namespace {

const char kAgentName[] = "GetPropertyPageControls";
const char kPageAgent[] = "@VELExtensionManagement@GetPropertyEditorPage";

// Positions in the agent's parameter list.
constexpr std::size_t kGuidParameter = 1;
constexpr std::size_t kAnswerParameter = 2;
constexpr std::size_t kErrorParameter = 3;

// The entity that argument `name` of expression entity `expression` gives,
// or null when the entity is no expression or has no such argument.
qm::IVelEntity* ArgumentEntity(qm::IVelExpression* expression, const std::string& name) {
  if (expression == nullptr) return nullptr;
  return orv::QueryAs<qm::IVelEntity>(expression->GetArgument(name));
}

std::string ValueString(qm::IVelEntity* entity) {
  std::string value;
  entity->GetValue("ValueString", value, 0);
  return value;
}

// The ControlInfo text of the page of `entity`, from the host's page agent
// run with fresh parameters: the text (""), an interface (null) and an
// entity list (empty).
std::string PageText(qm::IVelModel* model, qm::IVelEntity* pageAgent, qm::IVelEntity* entity) {
  qm::EntityList entities;  // outlives the list that refers to it
  qm::AgentParameters parameters;
  orv::Append(parameters, qm::AgentParameter::Create("", qm::_String));
  orv::Append(parameters, qm::AgentParameter::Create(static_cast<const qm::IUnknown*>(nullptr),
                                                     qm::_UnknownInterface));
  orv::Append(parameters, qm::AgentParameter::Create(entities, qm::_EntityList));
  model->InvokeAgent(pageAgent, entity, parameters);
  return orv::ReadText(parameters, 1);
}

// The top expression of `text` as the host parses it, or null.
qm::IVelEntity* ParseTop(qm::IVelModel* model, const std::string& text) {
  qm::EntityList parsed;
  model->ParseExpressionText(text, parsed, "Expression");
  return parsed.empty() ? nullptr : parsed.front();
}

// The value of an "EntityList" control: its text parsed again by the host,
// one quoted element per item of the top expression; empty brackets when the
// text does not parse.
std::string EntityListValue(qm::IVelModel* model, const std::string& text) {
  std::string value = "[";
  if (qm::IVelEntity* top = ParseTop(model, text)) {
    qm::EntityList elements;
    top->GetEntities("Expression", elements);
    bool first = true;
    for (qm::IVelEntity* element : elements) {
      if (element == nullptr) continue;
      if (!first) value += ", ";
      value += "\"" + ValueString(element) + "\"";
      first = false;
    }
  }
  return value + "]";
}

// Writes the control that `item` describes into `out`. False, with `out`
// unspecified, when the item is not a complete control.
bool WriteControl(qm::IVelModel* model, qm::IVelEntity* item, std::string& out) {
  if (item == nullptr || !item->IsKindOf("InstanceExpr")) return false;
  qm::IVelEntity* control = ArgumentEntity(orv::QueryAs<qm::IVelExpression>(item), "control");
  if (control == nullptr) return false;
  qm::IVelEntity* definition = control->GetEntity("InstanceOf", 0);
  if (definition == nullptr) return false;
  std::string kind;
  definition->GetValue("Name", kind, 0);
  qm::IVelExpression* controlExpression = orv::QueryAs<qm::IVelExpression>(control);
  qm::IVelEntity* text = ArgumentEntity(controlExpression, "text");
  if (text == nullptr) return false;
  const std::string label = ValueString(text);
  qm::IVelEntity* valueEntity = ArgumentEntity(controlExpression, "'value'");
  if (valueEntity == nullptr) return false;
  const std::string value = ValueString(valueEntity);

  out = "{\"kind\" : \"" + kind + "\", \"text\" : \"" + label + "\", ";
  if (kind == "EntityList") {
    out += "\"value\" : " + EntityListValue(model, value);
  } else {
    out += "\"value\" : \"" + value + "\"";
  }
  out += "}";
  return true;
}

// The answer for the page whose top expression is `top`.
std::string WriteControls(qm::IVelModel* model, qm::IVelEntity* top) {
  qm::EntityList items;
  top->GetEntities("Expression", items);
  std::string answer = "[";
  auto it = items.begin();
  while (it != items.end()) {
    std::string control;
    // An item that cannot be written keeps the walk on it (see the top of
    // this file).
    if (!WriteControl(model, *it, control)) continue;
    answer += control;
    ++it;
    if (it != items.end()) answer += ", ";
  }
  return answer + "]";
}

void Run(qm::IVelEntity* context, qm::IUnknown* access, qm::AgentParameters& parameters) {
  qm::IVelModelAccess* modelAccess = orv::QueryAs<qm::IVelModelAccess>(access);
  if (modelAccess == nullptr) return;
  qm::IVelMessageList* messages = modelAccess->GetMessageList();
  qm::IVelModel* model = orv::ModelOf(context);
  if (model == nullptr) return;
  if (!orv::ValidateParameters(model, kAgentName, parameters, messages)) return;
  const std::string guid = orv::ReadText(parameters, kGuidParameter);

  qm::IVelEntity* pageAgent = orv::FindAgent(model, kPageAgent);
  if (pageAgent == nullptr) {
    orv::WriteText(parameters, kErrorParameter, "Failed to find GetPropertyEditorPage agent");
    return;
  }
  qm::IVelEntity* entity = model->FindEntity(guid);
  if (entity == nullptr) {
    orv::WriteText(parameters, kErrorParameter, "Failed to find entity with specified GUID.");
    return;
  }
  qm::IVelEntity* top = ParseTop(model, PageText(model, pageAgent, entity));
  if (top == nullptr) {
    orv::WriteText(parameters, kErrorParameter, "Invalid control string.");
    return;
  }
  orv::WriteText(parameters, kAnswerParameter, WriteControls(model, top));
}

}  // namespace

extern "C" void GetPropertyPageControls(void*, void*, qm::IVelEntity* context, qm::IUnknown* access,
                                        qm::AgentParameters& parameters) {
  try {
    Run(context, access, parameters);
  } catch (...) {
    try {
      orv::WriteText(parameters, kErrorParameter, "Internal error (GetPropertyPageControls).");
    } catch (...) {
      // The host failed again while taking the message; nothing more to do.
    }
  }
}
