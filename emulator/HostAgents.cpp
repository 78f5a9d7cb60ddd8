#include "emulator/HostAgents.h"

namespace qmemu {
namespace {

std::vector<HostAgentSpec>& Registry() {
  static std::vector<HostAgentSpec>* agents = new std::vector<HostAgentSpec>();
  return *agents;
}

const FormalParameter Text(const char* name) { return {name, ParamKind::Text, false}; }
const FormalParameter OptionalText(const char* name) { return {name, ParamKind::Text, true}; }

}  // namespace

const std::vector<HostAgentSpec>& HostAgents() { return Registry(); }

const HostAgentSpec* FindHostAgent(const std::string& path) {
  for (const HostAgentSpec& spec : Registry()) {
    if (spec.path == path) return &spec;
  }
  return nullptr;
}

HostAgentRegistration::HostAgentRegistration(std::string path, std::vector<FormalParameter> formals,
                                             HostAgentBody body) {
  Registry().push_back({std::move(path), std::move(formals), body});
}

const std::vector<PluginAgentSpec>& PluginAgents() {
  static const std::vector<PluginAgentSpec> agents = {
      // The page agent it hands its list to takes (page text, interface, entity list).
      {"TransformControlInfoToJason",
       {Text("page"), {"context", ParamKind::Interface, true}, {"entities", ParamKind::EntityList, true}}},
      {"GetPropertyPageControls", {Text("guid"), Text("json"), Text("error")}},
      {"GetNativeLinkInformation", {Text("guid"), Text("json")}},
      {"GetModelViewChildNodes",
       {Text("parentGuid"), Text("parentMetaGuid"), Text("json"), Text("error"), OptionalText("extraGuid")}},
      {"GenerateSVGWithAnnotations", {Text("clientJson"), Text("svg"), OptionalText("refresh")}},
      {"GenerateSVGWithAnnotationsCustomizationAgent", {{"svgRoot", ParamKind::Interface, false}}},
  };
  return agents;
}

}  // namespace qmemu
