// "@VELDiagramAgents@GenerateSVGString"
//   (unused: interface, customization agent: interface, svg out: text, unused: interface)
//
// The host's SVG generation for the diagram it runs on:
// 1. builds the diagram's SVG expression tree (BuildDiagramSvg in
//    emulator/SvgTree.h): a root "svg" element with the SVG and xlink
//    namespaces and the drawing's size in mm, a title, a white background and
//    a "boundaryrect" of the whole drawing; per symbol a "g" with the
//    attributes "metaClass" = "Symbol" and "id" = the symbol's GUID holding a
//    rectangle, a label (an element with the unbound name "ref:text") and a
//    "boundaryrect"; per line a "g" with "metaClass" = "Line" and its "id"
//    holding the line as a polyline, or as a path when it is drawn as a curve,
//    in a viewport whose unit is the millimetre, and a "boundaryrect" with the
//    unbound name "ref:boundaryrect";
// 2. when the second parameter holds an agent declaration, runs that
//    customization agent on the diagram with the root as its one interface
//    parameter; the C-string exception "Interrupt." from it is caught and
//    means that the customization agent takes over the tree and its writing;
// 3. unless interrupted, writes the tree as XML into the third parameter
//    (compact = false) and deletes it.
// The first and fourth parameters are not read. On another context entity
// than a diagram nothing happens. The GUID of the last tree built is noted in
// the model's host data, table "GenerateSVGString", key "lastRoot" (tests
// use it to free trees that only the plug-in's cache still names). Any other exception of the customization
// agent passes on to the caller; the tree stays in the model then.
#include <cstring>

#include "emulator/HostAgents.h"
#include "emulator/SvgTree.h"

namespace qmemu {
namespace {

// Runs the customization agent on the tree; true when it interrupted the
// generation.
bool RunCustomization(Model& model, Entity& customization, Entity& diagram, Entity& root) {
  qm::AgentParameters parameters;
  ParameterValue* svgRoot = new ParameterValue(ParamKind::Interface);
  svgRoot->unknown = static_cast<qm::IUnknown*>(root.asEntity());
  parameters.push_back(svgRoot);
  try {
    model.runAgent(&customization, &diagram, parameters);
  } catch (const char* text) {
    if (text != nullptr && std::strcmp(text, "Interrupt.") == 0) return true;
    throw;
  }
  return false;
}

void GenerateSVGString(HostAgentCall& call) {
  Entity* diagram = call.context;
  if (diagram == nullptr || !diagram->isKindOf("Diagram")) return;
  Model& model = call.model;
  Entity* root = nullptr;
  {
    // Agents on other threads look entities up while the tree grows.
    StoreWrite building(model);
    root = BuildDiagramSvg(model, *diagram);
    model.hostData()["GenerateSVGString"]["lastRoot"] = root->guid();
  }

  qm::AgentParameter* hook = ParameterAt(call.parameters, 2);
  Entity* customization = nullptr;
  if (hook != nullptr && ParameterValue::Of(*hook).kind == ParamKind::Interface) {
    customization = Entity::From(ParameterValue::Of(*hook).unknown);
  }
  if (customization != nullptr && RunCustomization(model, *customization, *diagram, *root)) return;

  SetTextAt(call.parameters, 3, WriteSvgXml(*root, false));
  model.destroy(root);
}

const HostAgentRegistration registration{"@VELDiagramAgents@GenerateSVGString", GenerateSVGString};

}  // namespace
}  // namespace qmemu
