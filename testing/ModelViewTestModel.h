// The model that the model-view unit tests share, and a way to call the
// agent directly on it. Test support only: included by *_test.cpp files.
//
//   ROOT "Plant" (Model)
//     PKG "Main" (Package)
//       BLK-A "A" (Block)         shown by SYM-A in DIA
//         ATT-A1 "a1" (Attribute)
//         DEP-A (Dependency)      supplier REQ-B
//       REQ-B "B" (Requirement)
//       DIA "D" (Diagram)
//         SYM-A (Symbol)          presentation elements are no nodes
//     EMPTY "Empty" (Package)
//     SINGLE "Single" (Package)
//       REQ-S "S" (Requirement)
//     FOLDERS "With folders" (Block)  attribute nodes "Nothing" (empty), "Shows"
//     ONLY-EMPTY-FOLDERS (Block)      one attribute node "Nothing" (empty)
//   MM-SHOWS "Shows", MM-NONE "Nothing": attribute definitions in @MetaModel
//
// Icons: Model 0, Package 1, Requirement 7, Block 12, Diagram 20.
#ifndef TESTING_MODELVIEWTESTMODEL_H_
#define TESTING_MODELVIEWTESTMODEL_H_

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"
#include "host/Agent.h"

namespace orvtest {

// The model text; `omit` and `faults` are spliced in as the JSON values of
// "omit" (an array) and of the host-data table "modelViewFaults" (an object).
inline std::string ModelViewModelText(const std::string& omit = "[]", const std::string& faults = "{}") {
  return R"({
  "omit": )" + omit + R"(,
  "root": {"guid": "ROOT", "name": "Plant", "children": [
    {"guid": "PKG", "meta": "Package", "name": "Main", "children": [
      {"guid": "BLK-A", "meta": "Block", "name": "A", "children": [
        {"guid": "ATT-A1", "meta": "Attribute", "name": "a1"},
        {"guid": "DEP-A", "meta": "Dependency", "in": "ClientDependency", "refs": {"Supplier": "REQ-B"}}]},
      {"guid": "REQ-B", "meta": "Requirement", "name": "B"},
      {"guid": "DIA", "meta": "Diagram", "name": "D", "children": [
        {"guid": "SYM-A", "meta": "Symbol", "refs": {"ModelElement": "BLK-A", "Diagram": "DIA"}}]}]},
    {"guid": "EMPTY", "meta": "Package", "name": "Empty"},
    {"guid": "SINGLE", "meta": "Package", "name": "Single", "children": [
      {"guid": "REQ-S", "meta": "Requirement", "name": "S"}]},
    {"guid": "FOLDERS", "meta": "Block", "name": "With folders",
     "lists": {"Shows": ["REQ-B"], "ModelViewAttributes": ["MM-NONE", "MM-SHOWS"]}},
    {"guid": "ONLY-EMPTY-FOLDERS", "meta": "Block", "name": "Only empty folders",
     "lists": {"ModelViewAttributes": ["MM-NONE"]}}]},
  "entities": [
    {"guid": "MM-SHOWS", "meta": "Attribute", "name": "Shows", "owner": "@MetaModel"},
    {"guid": "MM-NONE", "meta": "Attribute", "name": "Nothing", "owner": "@MetaModel"}],
  "hostData": {
    "icons": {"Model": "0", "Package": "1", "Requirement": "7", "Block": "12", "Diagram": "20"},
    "modelViewFaults": )" + faults + R"(}
})";
}

inline std::unique_ptr<qmemu::Model> LoadModelViewModel(const std::string& omit = "[]",
                                                        const std::string& faults = "{}") {
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(ModelViewModelText(omit, faults), "view.json", error);
  EXPECT_NE(model, nullptr) << error;
  return model;
}

// A parameter list of text parameters, made as the host makes them for a
// call (not through the counted host operations).
inline void FillTexts(qm::AgentParameters& parameters, const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    auto* p = new qmemu::ParameterValue(qmemu::ParamKind::Text);
    p->text = text;
    parameters.push_back(p);
  }
}

// The text of every parameter after a call.
inline std::vector<std::string> Texts(qm::AgentParameters& parameters) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < parameters.size(); ++i) texts.push_back(qmemu::TextAt(parameters, i + 1));
  return texts;
}

// Calls GetModelViewChildNodes on the model's root with `texts` as its
// parameters and the model's access object; answers the parameters after.
inline std::vector<std::string> CallChildNodes(qmemu::Model& model, const std::vector<std::string>& texts) {
  qm::AgentParameters parameters;
  FillTexts(parameters, texts);
  GetModelViewChildNodes(nullptr, nullptr, model.root().asEntity(), &model.access(), parameters);
  return Texts(parameters);
}

}  // namespace orvtest

#endif  // TESTING_MODELVIEWTESTMODEL_H_
