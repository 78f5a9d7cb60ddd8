// Fuzzes the JSON library's main route: scan, parse, encode compact and
// pretty, parse each encoding again.
//
// Checks, beyond the sanitizers' own: a text that the scanner rejects never
// parses; an accepted text's tree, encoded either way, parses again to a tree
// with the same kinds, texts and order; and encoding is a fixed point after
// one round.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "JasonParser/JasonParser.h"

namespace {

// Client documents are small; larger inputs only slow the search down.
constexpr std::size_t kMaxInputSize = 64 * 1024;

// True when the trees under `a` and `b` have the same kinds, texts and
// order. Iterative, like everything that walks trees here.
bool SameTree(const CJasonTreeNode* a, const CJasonTreeNode* b) {
  std::vector<std::pair<const CJasonTreeNode*, const CJasonTreeNode*>> work{{a, b}};
  while (!work.empty()) {
    const auto [x, y] = work.back();
    work.pop_back();
    if (x == nullptr || y == nullptr) {
      if (x != y) return false;
      continue;
    }
    if (x->kind != y->kind) return false;
    switch (x->kind) {
      case NodeKind::Root:
        work.push_back({static_cast<const CJasonTreeRoot*>(x)->value,
                        static_cast<const CJasonTreeRoot*>(y)->value});
        break;
      case NodeKind::Pair: {
        const auto* p = static_cast<const CJasonTreePair*>(x);
        const auto* q = static_cast<const CJasonTreePair*>(y);
        work.push_back({p->name, q->name});
        work.push_back({p->value, q->value});
        break;
      }
      case NodeKind::Object: {
        const auto& p = static_cast<const CJasonTreeObject*>(x)->pairs;
        const auto& q = static_cast<const CJasonTreeObject*>(y)->pairs;
        if (p.size() != q.size()) return false;
        for (auto i = p.begin(), j = q.begin(); i != p.end(); ++i, ++j) work.push_back({*i, *j});
        break;
      }
      case NodeKind::Array: {
        const auto& p = static_cast<const CJasonTreeArray*>(x)->values;
        const auto& q = static_cast<const CJasonTreeArray*>(y)->values;
        if (p.size() != q.size()) return false;
        for (auto i = p.begin(), j = q.begin(); i != p.end(); ++i, ++j) work.push_back({*i, *j});
        break;
      }
      case NodeKind::String:
        if (static_cast<const CJasonTreeString*>(x)->text !=
            static_cast<const CJasonTreeString*>(y)->text) {
          return false;
        }
        break;
      case NodeKind::Number:
        if (static_cast<const CJasonTreeNumber*>(x)->text !=
            static_cast<const CJasonTreeNumber*>(y)->text) {
          return false;
        }
        break;
      case NodeKind::Const:
        if (static_cast<const CJasonTreeConst*>(x)->text !=
            static_cast<const CJasonTreeConst*>(y)->text) {
          return false;
        }
        break;
      default:
        return false;
    }
  }
  return true;
}

// Pretty text grows with the square of the depth (four blanks more per
// level): past this depth a 64 KiB input could encode to gigabytes, so only
// the compact round is run.
constexpr int kMaxPrettyDepth = 2000;

// The deepest nesting of brackets among `tokens`.
int DepthOf(const std::vector<CJasonToken*>& tokens) {
  int depth = 0;
  int deepest = 0;
  for (const CJasonToken* token : tokens) {
    if (token->kind == CJasonToken::LeftBrace || token->kind == CJasonToken::LeftBracket) {
      if (++depth > deepest) deepest = depth;
    } else if (token->kind == CJasonToken::RightBrace || token->kind == CJasonToken::RightBracket) {
      --depth;
    }
  }
  return deepest;
}

std::string Encode(CJasonTreeNode* node, bool compact) {
  std::string out;
  node->EncodeToString(out, compact, 0);
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInputSize) return 0;
  std::string text(reinterpret_cast<const char*>(data), size);

  bool scanned;
  {
    std::vector<CJasonToken*> tokens;
    scanned = CJasonScanner().ScanJasonText(text, tokens);
    for (CJasonToken* token : tokens) delete token;
  }

  CJasonParser parser;
  std::unique_ptr<CJasonTreeRoot> root(parser.ParseJasonText(text));
  if (!root) return 0;
  if (!scanned) std::abort();  // a parse needs a clean scan
  if (root->value == nullptr) std::abort();
  if (root->start != root->value->start || root->end != root->value->end) std::abort();

  const bool pretty = DepthOf(parser.tokens) <= kMaxPrettyDepth;
  for (bool compact : {true, false}) {
    if (!compact && !pretty) continue;
    std::string encoded = Encode(root.get(), compact);
    CJasonParser again;
    std::unique_ptr<CJasonTreeRoot> reparsed(again.ParseJasonText(encoded));
    if (!reparsed) std::abort();
    if (!SameTree(root.get(), reparsed.get())) std::abort();
    if (Encode(reparsed.get(), compact) != encoded) std::abort();
  }
  return 0;
}
