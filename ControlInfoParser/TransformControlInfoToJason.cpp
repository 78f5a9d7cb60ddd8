// Agent TransformControlInfoToJason: the property page controls of the
// context entity as JSON, built through the library's own ControlInfo parser.
//
// The host's page agent writes the page's ControlInfo text into the first
// parameter of the caller's own list; the agent parses it, transforms it and
// overwrites that parameter with the encoded JSON (pretty layout). Every
// failure leaves the first parameter as the page agent left it (or untouched
// when the page agent was not run); no message is ever written.
#include <memory>
#include <string>

#include "ControlInfoParser/CIExpression.h"
#include "ControlInfoParser/CIParser.h"
#include "ControlInfoParser/ControlInfoToJasonTransformer.h"
#include "JasonParser/JasonTree.h"
#include "OrvServer/AgentFrame.h"
#include "host/Agent.h"

namespace {

const char kPageAgent[] = "@VELExtensionManagement@GetPropertyEditorPage";

// The JSON text of ControlInfo `page`, or false when the page does not parse
// or is not a list of "ControlInfo" instances.
bool PageToJson(const std::string& page, std::string& json) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> tree(parser.ParseControlInfoText(page));
  if (!tree) return false;
  std::unique_ptr<CJasonTreeArray> controls(CControlInfoToJasonTransformer::TransformControlInfoList(tree.get()));
  if (!controls) return false;
  json.clear();
  EncodeWholeOrThrow(*controls, json, false, 0);
  return true;
}

void Transform(qm::IVelEntity* context, qm::AgentParameters& parameters) {
  qm::IVelModel* model = orv::ModelOf(context);
  if (model == nullptr) return;
  qm::IVelEntity* pageAgent = orv::FindAgent(model, kPageAgent);
  if (pageAgent == nullptr) return;
  if (orv::CountParameters(parameters) == 0) return;
  // The page agent writes into the caller's own first parameter; the rest
  // of the list is its business.
  model->InvokeAgent(pageAgent, context, parameters);
  const std::string page = orv::ReadText(parameters, 1);
  std::string json;
  if (!PageToJson(page, json)) return;
  orv::WriteText(parameters, 1, json);
}

}  // namespace

extern "C" void TransformControlInfoToJason(void*, void*, qm::IVelEntity* context, qm::IUnknown*,
                                            qm::AgentParameters& parameters) {
  try {
    Transform(context, parameters);
  } catch (...) {
    // Nothing is reported: the first parameter keeps what it held.
  }
}
