// Fuzzes the ControlInfo route end to end: scan, parse, transform, encode.
//
// Checks, beyond the sanitizers' own: a text that the scanner rejects never
// parses; the parse's outcome agrees with its tree; and every JSON text the transformer's trees encode to, compact or
// pretty, is accepted by the library's own JSON parser.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ControlInfoParser/CIParser.h"
#include "ControlInfoParser/CIScanner.h"
#include "ControlInfoParser/ControlInfoToJasonTransformer.h"
#include "JasonParser/JasonParser.h"

namespace {

// Property-page descriptions are a few kilobytes; larger inputs only slow
// the search down.
constexpr std::size_t kMaxInputSize = 64 * 1024;

// Encodes `node` both ways and makes sure the JSON parser reads each text.
void CheckEncodes(CJasonTreeNode* node) {
  for (bool compact : {true, false}) {
    std::string text;
    node->EncodeToString(text, compact, 0);
    CJasonParser parser;
    std::unique_ptr<CJasonTreeRoot> root(parser.ParseJasonText(text));
    if (!root) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInputSize) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);

  std::vector<CCIToken> tokens;
  const bool scanned = CCIScanner().ScanCIText(text, tokens);

  CCIParser parser;
  CCIOutcome outcome = CCIOutcome::kOutOfMemory;
  std::unique_ptr<CCIExpression> tree(parser.ParseControlInfoTextWithOutcome(text, outcome));
  // The outcome names why there is no tree; memory does not run out here.
  if ((tree != nullptr) != (outcome == CCIOutcome::kDone)) std::abort();
  if (outcome == CCIOutcome::kOutOfMemory) std::abort();
  if (!tree) return 0;
  if (!scanned || tokens.empty()) std::abort();  // a parse needs a clean, non-empty scan

  std::unique_ptr<CJasonTreeArray> list(CControlInfoToJasonTransformer::TransformControlInfoList(tree.get()));
  if (list) CheckEncodes(list.get());
  std::unique_ptr<CJasonTreeObject> control(CControlInfoToJasonTransformer::TransformControl(tree.get()));
  if (control) CheckEncodes(control.get());
  return 0;
}
