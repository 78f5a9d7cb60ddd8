// Fuzzes CJasonElementFinder on parsed documents against a straightforward
// recursive reference walk (inputs are at most 64 KiB, so trees nest at most
// about 32,000 levels and the walk's recursion fits the fuzzer's stack).
//
// Checks: every "objID" object found by the reference walk has an entry; the
// map holds exactly the reference's identifiers, each with the value of the
// object finished last (nested objects finish before their container); every
// value in the map points into the tree.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "JasonParser/JasonElementFinder.h"
#include "JasonParser/JasonParser.h"

namespace {

constexpr std::size_t kMaxInputSize = 64 * 1024;

using Index = std::map<std::string, CJasonTreeValue*>;

// The finder's rule, written as plainly as possible.
void ReferenceVisit(CJasonTreeNode* node, Index& index, std::set<const CJasonTreeNode*>& seen) {
  if (node == nullptr) return;
  seen.insert(node);
  switch (node->kind) {
    case NodeKind::Root:
      ReferenceVisit(static_cast<CJasonTreeRoot*>(node)->value, index, seen);
      return;
    case NodeKind::Pair:
      ReferenceVisit(static_cast<CJasonTreePair*>(node)->value, index, seen);
      return;
    case NodeKind::Array:
      for (CJasonTreeValue* value : static_cast<CJasonTreeArray*>(node)->values) {
        ReferenceVisit(value, index, seen);
      }
      return;
    case NodeKind::Object: {
      std::string identifier;
      CJasonTreeValue* relation = nullptr;
      bool identifierSeen = false;
      for (CJasonTreePair* pair : static_cast<CJasonTreeObject*>(node)->pairs) {
        ReferenceVisit(pair, index, seen);
        if (pair->name->text == "objID") {
          identifierSeen = true;
          if (pair->value->kind == NodeKind::String) {
            identifier = static_cast<CJasonTreeString*>(pair->value)->text;
          }
        } else if (pair->name->text == "relInfo") {
          relation = pair->value;
        }
      }
      if (identifierSeen) index[identifier] = relation;
      return;
    }
    default:
      return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInputSize) return 0;
  std::string text(reinterpret_cast<const char*>(data), size);
  CJasonParser parser;
  std::unique_ptr<CJasonTreeRoot> root(parser.ParseJasonText(text));
  if (!root) return 0;

  CJasonElementFinder finder;
  finder.Visit(root.get());

  Index reference;
  std::set<const CJasonTreeNode*> nodes;
  ReferenceVisit(root.get(), reference, nodes);

  for (const auto& entry : reference) {
    const auto found = finder.elements.find(entry.first);
    if (found == finder.elements.end()) std::abort();  // an objID the finder missed
    if (found->second != entry.second) std::abort();   // wrong object won
  }
  if (finder.elements.size() != reference.size()) std::abort();
  for (const auto& entry : finder.elements) {
    if (entry.second != nullptr && nodes.count(entry.second) == 0) std::abort();
  }
  // Visiting again changes nothing.
  const Index first = finder.elements;
  finder.Visit(root.get());
  if (finder.elements != first) std::abort();
  return 0;
}
