#include "emulator/AgentTable.h"

namespace qmemu {
namespace {

constexpr ParamKind kText = ParamKind::Text;
constexpr ParamKind kInterface = ParamKind::Interface;
constexpr ParamKind kEntityList = ParamKind::EntityList;
constexpr ParameterRole kIn = ParameterRole::kInput;
constexpr ParameterRole kAnswer = ParameterRole::kAnswer;
constexpr ParameterRole kError = ParameterRole::kError;
constexpr ParameterRole kOptional = ParameterRole::kOptional;
constexpr AgentConcurrency kIndependent = AgentConcurrency::kIndependent;
constexpr AgentConcurrency kSvg = AgentConcurrency::kSvg;
constexpr AgentConcurrency kHost = AgentConcurrency::kHost;

const char kPluginPackage[] = "@OrvServer@";

}  // namespace

const std::vector<AgentEntry>& AgentTable() {
  static const std::vector<AgentEntry> table = {
      // The plug-in's agents. Parameter 1 of the transformer is filled by
      // the page agent it hands its list to, which takes (page text,
      // interface, entity list), and then overwritten with the answer.
      {"@OrvServer@TransformControlInfoToJason",
       {{1, "page", kText, kAnswer}, {2, "context", kInterface, kOptional}, {3, "entities", kEntityList, kOptional}},
       kIndependent},
      {"@OrvServer@GetPropertyPageControls",
       {{1, "guid", kText, kIn}, {2, "json", kText, kAnswer}, {3, "error", kText, kError}},
       kIndependent},
      {"@OrvServer@GetNativeLinkInformation", {{1, "guid", kText, kIn}, {2, "json", kText, kAnswer}}, kIndependent},
      {"@OrvServer@GetModelViewChildNodes",
       {{1, "parentGuid", kText, kIn},
        {2, "parentMetaGuid", kText, kIn},
        {3, "json", kText, kAnswer},
        {4, "error", kText, kError},
        {5, "extraGuid", kText, kOptional}},
       kIndependent},
      {"@OrvServer@GenerateSVGWithAnnotations",
       {{1, "clientJson", kText, kIn}, {2, "svg", kText, kAnswer}, {3, "refresh", kText, kOptional}},
       kSvg},
      {"@OrvServer@GenerateSVGWithAnnotationsCustomizationAgent", {{1, "svgRoot", kInterface, kIn}}, kSvg},

      // The host agents of emulator/agents/.
      {"@VELExtensionManagement@GetPropertyEditorPage",
       {{1, "page", kText, kAnswer}, {2, "context", kInterface, kOptional}, {3, "entities", kEntityList, kOptional}},
       kHost},
      {"@VELExtensionManagement@GetModelViewChildren",
       {{1, "children", kEntityList, kAnswer},
        {2, "metaDefinition", kInterface, kIn},
        {3, "childMetaDefinitions", kEntityList, kAnswer},
        {4, "extraEntity", kInterface, kOptional}},
       kHost},
      {"@VELExtensionManagement@GetModelViewNodeInfo",
       {{1, "text", kText, kAnswer}, {2, "metaDefinition", kInterface, kIn}},
       kHost},
      {"@VELExtensionManagement@GetImageIndex", {{1, "index", ParamKind::Integer, kAnswer}}, kHost},
      {"@VELDiagramAgents@CollectPresentations", {{1, "presentations", kEntityList, kAnswer}}, kHost},
      {"@VELDiagramAgents@GenerateSVGString",
       {{1, "unused1", kInterface, kIn},
        {2, "customizationAgent", kInterface, kIn},
        {3, "svg", kText, kAnswer},
        {4, "unused4", kInterface, kIn}},
       kHost},
      {"@OrvServer@GetDiagramFromModelElement", {{1, "diagram", kInterface, kAnswer}}, kHost},
      {"@VELXMLFramework@WriteXMLToString",
       {{1, "xml", kText, kAnswer}, {2, "compact", ParamKind::Boolean, kIn}},
       kHost},
  };
  return table;
}

std::string AgentEntry::name() const {
  std::string full(path);
  std::size_t at = full.rfind('@');
  return at == std::string::npos ? full : full.substr(at + 1);
}

std::size_t AgentEntry::PositionOf(ParameterRole role) const {
  for (const AgentParameterEntry& p : parameters) {
    if (p.role == role) return p.position;
  }
  return 0;
}

std::vector<FormalParameter> AgentEntry::Formals() const {
  std::vector<FormalParameter> formals;
  for (const AgentParameterEntry& p : parameters) formals.push_back({p.name, p.kind, p.role == ParameterRole::kOptional});
  return formals;
}

std::vector<std::string> AgentEntry::Texts(const std::vector<std::pair<std::string, std::string>>& inputs) const {
  std::vector<std::string> texts;
  std::size_t count = 0;
  for (const AgentParameterEntry& p : parameters) {
    bool named = false;
    for (const auto& input : inputs) named = named || input.first == p.name;
    if (p.role != ParameterRole::kOptional || named) count = p.position;
  }
  for (std::size_t i = 0; i < count; ++i) {
    std::string text;
    for (const auto& input : inputs) {
      if (input.first == parameters[i].name) text = input.second;
    }
    texts.push_back(std::move(text));
  }
  return texts;
}

std::string AgentPath(const std::string& agent) {
  if (!agent.empty() && agent[0] == '@') return agent;
  return kPluginPackage + agent;
}

const AgentEntry* FindAgentEntry(const std::string& name) {
  const std::string path = AgentPath(name);
  for (const AgentEntry& entry : AgentTable()) {
    if (path == entry.path) return &entry;
  }
  return nullptr;
}

}  // namespace qmemu
