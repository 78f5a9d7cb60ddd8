// Fuzzes the emulated host's expression parser (Model::ParseExpressionText),
// the parser that GetPropertyPageControls relies on, against the library's
// own ControlInfo parser.
//
// Checks, beyond the sanitizers' own:
// - a text appends at most one entity, and a text that does not parse leaves
//   the model's entities as they were;
// - the host's grammar is the stricter one: every text that the host parses
//   also parses with CCIParser, to the same form at the top (a list stays a
//   list, an instance an instance). Only checked for short texts, where the
//   two parsers' nesting bounds cannot differ in effect.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "ControlInfoParser/CIParser.h"
#include "emulator/Entity.h"
#include "emulator/Model.h"

namespace {

constexpr std::size_t kMaxInputSize = 16 * 1024;
constexpr std::size_t kMaxComparedSize = 1000;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInputSize) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);

  qmemu::Model model("ROOT");
  model.addPredefined();
  const std::size_t before = model.entities().size();
  qm::EntityList entities;
  model.ParseExpressionText(text, entities, "Expression");
  if (entities.size() > 1) std::abort();
  if (entities.empty()) {
    if (model.entities().size() != before) std::abort();
    return 0;
  }
  if (size > kMaxComparedSize) return 0;

  CCIParser parser;
  std::unique_ptr<CCIExpression> tree(parser.ParseControlInfoText(text));
  if (!tree) std::abort();
  const std::string& meta = qmemu::Entity::From(entities.front())->meta();
  if ((meta == "ListExpr") != (tree->kind == kCIListExpr)) std::abort();
  if ((meta == "InstanceExpr") != (tree->kind == kCIInstanceExpr)) std::abort();
  return 0;
}
