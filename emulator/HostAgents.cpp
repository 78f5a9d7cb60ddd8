#include "emulator/HostAgents.h"

namespace qmemu {
namespace {

std::vector<HostAgentInfo>& Registry() {
  static std::vector<HostAgentInfo>* agents = new std::vector<HostAgentInfo>();
  return *agents;
}

const FormalParameter Text(const char* name) { return {name, ParamKind::Text, false}; }
const FormalParameter OptionalText(const char* name) { return {name, ParamKind::Text, true}; }

}  // namespace

const std::vector<HostAgentInfo>& HostAgents() { return Registry(); }

const HostAgentInfo* FindHostAgent(const std::string& path) {
  for (const HostAgentInfo& info : Registry()) {
    if (info.path == path) return &info;
  }
  return nullptr;
}

HostAgentRegistration::HostAgentRegistration(std::string path, std::vector<FormalParameter> formals,
                                             HostAgentBody body) {
  Registry().push_back({std::move(path), std::move(formals), body});
}

const std::vector<PluginAgentInfo>& PluginAgents() {
  static const std::vector<PluginAgentInfo> agents = {
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
