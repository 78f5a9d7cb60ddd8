// "@VELXMLFramework@WriteXMLToString" (xml in/out: text, compact: boolean)
//
// Writes the expression tree under the context entity as XML text into the
// first parameter (see WriteSvgXml in emulator/SvgTree.h): one item per line
// when `compact` is false, no line breaks when it is true. Without a context
// entity, or when the parameters are not a text and a boolean, nothing is
// written.
#include "emulator/HostAgents.h"
#include "emulator/SvgTree.h"

namespace qmemu {
namespace {

void WriteXMLToString(HostAgentCall& call) {
  qm::AgentParameter* xml = ParameterAt(call.parameters, 1);
  qm::AgentParameter* compact = ParameterAt(call.parameters, 2);
  if (call.context == nullptr || xml == nullptr || compact == nullptr) return;
  if (ParameterValue::Of(*xml).kind != ParamKind::Text || ParameterValue::Of(*compact).kind != ParamKind::Boolean) {
    return;
  }
  ParameterValue::Of(*xml).text = WriteSvgXml(*call.context, ParameterValue::Of(*compact).boolean);
}

const HostAgentRegistration registration{"@VELXMLFramework@WriteXMLToString", WriteXMLToString};

}  // namespace
}  // namespace qmemu
