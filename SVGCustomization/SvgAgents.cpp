// The two SVG agents: GenerateSVGWithAnnotations, which answers a diagram as
// annotated SVG text, and GenerateSVGWithAnnotationsCustomizationAgent, the
// hook that the host's SVG generation calls in the middle of the first one.
//
// GenerateSVGWithAnnotations (client JSON in, SVG out[, refresh]) runs on a
// diagram, or on a model element whose diagram the host agent
// "@OrvServer@GetDiagramFromModelElement" finds. The first request for a
// diagram has the host generate its SVG tree with the customization agent as
// hook; the hook annotates the tree (TraverseSVGTree, then TraverseSVGTreeER
// from the client's JSON), caches it and interrupts the host's own writing
// with the C-string exception "Interrupt.". Later requests re-annotate the
// cached tree from the client's JSON, until a third parameter beginning with
// "t" asks for a refresh. Either way the host's XML writer turns the cached
// tree into the answer. Nothing here writes a message: whatever is missing
// ends the agent silently with its output untouched.
#include <memory>
#include <string>

#include "JasonParser/JasonElementFinder.h"
#include "JasonParser/JasonParser.h"
#include "OrvServer/AgentFrame.h"
#include "SVGCustomization/SvgCache.h"
#include "SVGCustomization/SvgElements.h"
#include "SVGCustomization/SvgTraversal.h"
#include "host/Agent.h"

namespace {

const char kDiagramAgent[] = "@OrvServer@GetDiagramFromModelElement";
const char kCustomizationAgent[] = "@OrvServer@GenerateSVGWithAnnotationsCustomizationAgent";
const char kGeneratorAgent[] = "@VELDiagramAgents@GenerateSVGString";
const char kXmlWriterAgent[] = "@VELXMLFramework@WriteXMLToString";

// Empties g_strJasonText on every way out of the agent, so that a client's
// text serves one request only.
struct ClientTextReset {
  ~ClientTextReset() { g_strJasonText.clear(); }
};

// The client's JSON, parsed and indexed. When g_strJasonText is not JSON the
// finder stays empty.
struct ClientIndex {
  ClientIndex() {
    CJasonParser parser;
    tree.reset(parser.ParseJasonText(g_strJasonText));
    if (tree != nullptr) finder.Visit(tree.get());
  }
  std::unique_ptr<CJasonTreeRoot> tree;
  CJasonElementFinder finder;  // points into `tree`, so declared after it
};

qm::AgentParameter* CreateInterface(const qm::IUnknown* value) {
  return qm::AgentParameter::Create(value, qm::_UnknownInterface);
}

// The diagram to draw: the context itself, or the one the host finds for it.
qm::IVelEntity* FindDiagram(qm::IVelEntity* context, qm::IVelModel* model) {
  if (context->IsKindOf("Diagram")) return context;
  qm::IVelEntity* agent = orv::FindAgent(model, kDiagramAgent);
  if (agent == nullptr) return nullptr;
  qm::AgentParameters parameters;
  orv::Append(parameters, CreateInterface(nullptr));
  model->InvokeAgent(agent, context, parameters);
  qm::AgentParameter* result = orv::ParameterAt(parameters, 1);
  return result == nullptr ? nullptr : orv::QueryAs<qm::IVelEntity>(result->GetUnknown());
}

// Has the host write the tree under `root` as XML; `current` is the text the
// writer's string parameter starts with.
std::string WriteXml(qm::IVelModel* model, qm::IVelEntity* writer, qm::IVelEntity* root,
                     const std::string& current) {
  qm::AgentParameters parameters;
  orv::Append(parameters, qm::AgentParameter::Create(current.c_str(), qm::_String));
  orv::Append(parameters, qm::AgentParameter::Create(false, qm::_Boolean));
  model->InvokeAgent(writer, root, parameters);
  return orv::ReadText(parameters, 1);
}

// Has the host generate the diagram's SVG with the customization agent as its
// hook, when both agents exist. `current` is the generator's text parameter.
void Generate(qm::IVelModel* model, qm::IVelEntity* diagram, const std::string& current) {
  qm::IVelEntity* customization = orv::FindAgent(model, kCustomizationAgent);
  qm::IVelEntity* generator = orv::FindAgent(model, kGeneratorAgent);
  if (customization == nullptr || generator == nullptr) return;
  qm::AgentParameters parameters;
  orv::Append(parameters, CreateInterface(nullptr));
  orv::Append(parameters, CreateInterface(customization));
  orv::Append(parameters, qm::AgentParameter::Create(current.c_str(), qm::_String));
  orv::Append(parameters, CreateInterface(nullptr));
  model->InvokeAgent(generator, diagram, parameters);
}

// Answers from the cached tree of `diagram`, re-annotated from the client's
// JSON. False when there is no XML writer, or when the re-annotation removed
// the cached root itself (its entry is dropped then); nothing is written then.
bool AnswerFromCache(qm::IVelModel* model, qm::IVelEntity* diagram, qm::IVelEntity* root,
                     qm::AgentParameters& parameters) {
  qm::IVelEntity* writer = orv::FindAgent(model, kXmlWriterAgent);
  if (writer == nullptr) return false;
  ClientIndex client;
  if (ReannotateSVGTree(root, model, client.finder, true)) {
    ForgetCachedSVGRoot(diagram);
    return false;
  }
  orv::WriteText(parameters, 2, WriteXml(model, writer, root, orv::ReadText(parameters, 2)));
  return true;
}

void GenerateWithAnnotations(qm::IVelEntity* contextArgument, qm::AgentParameters& parameters) {
  if (orv::CountParameters(parameters) < 2) return;
  qm::IVelEntity* context = orv::QueryAs<qm::IVelEntity>(contextArgument);
  qm::IVelModel* model = orv::ModelOf(context);
  if (model == nullptr) return;
  qm::IVelEntity* diagram = FindDiagram(context, model);
  if (diagram == nullptr) return;

  g_strJasonText = orv::ReadText(parameters, 1);
  const std::string refresh = orv::ReadText(parameters, 3);  // "" when there is no third parameter
  const bool refreshing = !refresh.empty() && refresh[0] == 't';

  if (qm::IVelEntity* root = FindCachedSVGRoot(diagram)) {
    if (refreshing) {
      root->DeleteEntity(qmdll::defaultChanger);
      ForgetCachedSVGRoot(diagram);
    } else if (AnswerFromCache(model, diagram, root, parameters)) {
      return;
    }
  }

  Generate(model, diagram, orv::ReadText(parameters, 2));
  qm::IVelEntity* writer = orv::FindAgent(model, kXmlWriterAgent);
  if (writer == nullptr) return;
  qm::IVelEntity* generated = FindCachedSVGRoot(diagram);
  if (generated == nullptr) return;
  orv::WriteText(parameters, 2, WriteXml(model, writer, generated, orv::ReadText(parameters, 2)));
}

// Annotates and caches a tree the host has just generated.
void AnnotateGenerated(qm::IVelEntity* root, qm::IVelEntity* diagram, qm::IVelModel* model) {
  if (RemoveBoundaryrectElements(root)) return;  // the root itself is gone: nothing to annotate
  // The model's link applications, gathered once for all the elements of
  // the tree; it goes with this call. Failing to gather fails the request.
  const CLinkGathering links(model);
  TraverseSVGTree(root, model, links);
  CacheSVGRoot(diagram, root);
  ClientIndex client;
  TraverseSVGTreeER(root, model, client.finder, false);
}

}  // namespace

extern "C" void GenerateSVGWithAnnotations(void*, void*, qm::IVelEntity* context, qm::IUnknown*,
                                           qm::AgentParameters& parameters) {
  ClientTextReset reset;
  try {
    GenerateWithAnnotations(context, parameters);
  } catch (...) {
    // No exception leaves an agent; the output is written only at the end.
  }
}

extern "C" void GenerateSVGWithAnnotationsCustomizationAgent(void*, void*, qm::IVelEntity* context, qm::IUnknown*,
                                                             qm::AgentParameters& parameters) {
  qm::IVelEntity* root = nullptr;
  qm::IVelEntity* diagram = nullptr;
  qm::IVelModel* model = nullptr;
  try {
    if (orv::CountParameters(parameters) != 1) return;
    root = orv::QueryAs<qm::IVelEntity>(orv::ParameterAt(parameters, 1)->GetUnknown());
    diagram = orv::QueryAs<qm::IVelEntity>(context);
    if (root == nullptr || diagram == nullptr) return;
    model = diagram->GetModel();
    if (model == nullptr) return;
  } catch (...) {
    return;
  }
  try {
    AnnotateGenerated(root, diagram, model);
  } catch (...) {
    // Discarded: the host's own writing is interrupted all the same.
  }
  // Deliberate: stops the host's generator from writing the SVG itself; the
  // calling agent writes the cached tree instead.
  throw "Interrupt.";
}
