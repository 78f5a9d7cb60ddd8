// The same inputs on every stack a host may call the plug-in on: the test's
// main thread, threads with small stacks and a switched ucontext stack. Each
// row's answer must be the same on every stack and be the rules' answer:
// hand-written bytes where they are short, else the main thread's answer
// plus a property checked by hand.
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ControlInfoParser/CIParser.h"
#include "JasonParser/JasonParser.h"
#include "SVGCustomization/SvgCache.h"
#include "emulator/ModelFile.h"
#include "emulator/ModelTextSupport.h"
#include "emulator/Parameters.h"
#include "emulator/SvgTree.h"
#include "host/Agent.h"
#include "testing/ModelViewTestModel.h"
#include "testing/Stacks.h"

namespace {

// What a row answered: its text, or a note that it failed.
using Answer = std::string;

Answer ParseJson(const std::string& source) {
  std::string text = source;
  CJasonParser parser;
  std::unique_ptr<CJasonTreeRoot> tree(parser.ParseJasonText(text));
  if (tree == nullptr) return "(no tree)";
  return "(a tree)";
}

Answer EncodeJson(const std::string& source) {
  std::string text = source;
  CJasonParser parser;
  std::unique_ptr<CJasonTreeRoot> tree(parser.ParseJasonText(text));
  if (tree == nullptr) return "(no tree)";
  std::string out;
  tree->EncodeToString(out, true, 0);
  return out;
}

Answer ParseControlInfo(const std::string& text) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> tree(parser.ParseControlInfoText(text));
  return tree == nullptr ? "(no tree)" : "(a tree)";
}

// TransformControlInfoToJason on an entity whose property page is `page`,
// through the emulated host's page agent.
Answer PropertyPage(const std::string& page) {
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(
      R"({"root": {"guid": "ROOT", "children": [{"guid": "E", "meta": "Block", "name": "E", "values": {"PropertyPage": )" +
          qmemu::JsonString(page) + "}}]}}",
      "page.json", error);
  if (model == nullptr) return "(no model: " + error + ")";
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
  TransformControlInfoToJason(nullptr, nullptr, model->FindEntity("E"), &model->access(), parameters);
  return qmemu::TextAt(parameters, 1);
}

// The explorer's answer for FOLDERS in the shared model-view model.
Answer Explorer() {
  std::unique_ptr<qmemu::Model> model = orvtest::LoadModelViewModel();
  if (model == nullptr) return "(no model)";
  return orvtest::CallChildNodes(*model, {"FOLDERS", "", "", ""})[2];
}

// The example model's diagram DIA-LINKS as the host generates it, with the
// customization agent as its hook, written as the host's XML writer writes it.
Answer AnnotatedDiagram() {
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelFile(std::string(ORV_SOURCE_DIR) + "/examples/model.json", error);
  if (model == nullptr) return "(no model: " + error + ")";
  qmemu::Entity* diagram = model->find("DIA-LINKS");
  qmemu::Entity* root = qmemu::BuildDiagramSvg(*model, *diagram);
  qm::AgentParameters parameters;
  auto* tree = new qmemu::ParameterValue(qmemu::ParamKind::Interface);
  tree->unknown = root->asEntity();
  parameters.push_back(tree);
  std::string left = "returned";
  try {
    GenerateSVGWithAnnotationsCustomizationAgent(nullptr, nullptr, diagram->asEntity(), &model->access(), parameters);
  } catch (const char* text) {
    left = text;
  }
  ForgetCachedSVGRoot(diagram->asEntity());
  if (left != "Interrupt.") return "(the hook " + left + ")";
  return qmemu::WriteSvgXml(*root, false);
}

std::string Repeat(const std::string& piece, int times) {
  std::string text;
  text.reserve(piece.size() * static_cast<std::size_t>(times));
  for (int i = 0; i < times; ++i) text += piece;
  return text;
}

std::string ReadFile(const std::string& path) {
  std::string text;
  if (FILE* file = std::fopen(path.c_str(), "rb")) {
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) text.append(buffer, n);
    std::fclose(file);
  }
  return text;
}

std::string Lines(std::initializer_list<const char*> lines) {
  std::string text;
  for (const char* line : lines) text += (text.empty() ? "" : "\r\n") + std::string(line);
  return text;
}

const int kDeep = 100000;

struct StackRow {
  const char* name;
  std::function<Answer()> run;
  std::string expected;  // the rules' answer, written by hand
};

TEST(AnyStack, EveryRowAnswersTheSameOnEveryStack) {
  const std::string deepJson = Repeat("[", kDeep) + Repeat("]", kDeep);
  const std::string deepControlInfo = Repeat("{", kDeep) + Repeat("}", kDeep);
  const std::vector<StackRow> rows = {
      {"JSON [1]", [] { return EncodeJson("[1]"); }, "[ 1]"},
      {"ControlInfo {}", [] { return ParseControlInfo("{}"); }, "(a tree)"},
      {"property page",
       [] { return PropertyPage(R"({ ControlInfo(. control = EditBox(. text = "Name", value = "Pump" .) .) })"); },
       Lines({"[ ",
              "    { ",
              "        \"control\" : ",
              "            { ",
              "                \"controlKind\" : \"EditBox\", ",
              "                \"text\" : \"Name\", ",
              "                \"value\" : \"Pump\"",
              "            }",
              "    }",
              "]"})},
      // Checked line by line against the annotation rules for the end-to-end
      // tests: the same bytes the agent answers for this diagram.
      {"annotated diagram", AnnotatedDiagram, ReadFile(std::string(ORV_SOURCE_DIR) + "/tests/data/svg/DIA-LINKS.svg")},
      {"explorer with attribute children", Explorer,
       R"([ { "text" : "Shows", "hasChildren" : "yes", "visual" : "no", "icon" : "-1", )"
       R"("metaclassType" : "", "modelguid" : "FOLDERS", "metaguid" : "MM-SHOWS"}])"},
      {"JSON nested 100,000 deep", [&] { return ParseJson(deepJson); }, "(a tree)"},
      {"ControlInfo nested 100,000 deep", [&] { return ParseControlInfo(deepControlInfo); }, "(a tree)"},
  };
  for (const StackRow& row : rows) {
    for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
      Answer answer = "(not run)";
      ASSERT_TRUE(orvtest::RunOnStack(stack, [&] { answer = row.run(); })) << stack.name;
      EXPECT_EQ(answer, row.expected) << row.name << " on " << stack.name;
    }
  }
}

}  // namespace
