#include "JasonParser/JasonParser.h"

#include <memory>
#include <utility>

namespace {

// Counts one open container for the lifetime of the guard.
class DepthGuard {
 public:
  explicit DepthGuard(int& depth) : depth_(depth) { ++depth_; }
  ~DepthGuard() { --depth_; }
  DepthGuard(const DepthGuard&) = delete;
  DepthGuard& operator=(const DepthGuard&) = delete;

 private:
  int& depth_;
};

// Makes a leaf node of type `Leaf` from `token`. The parser owns the tokens
// and never reads a token's text twice, so the text is moved, not copied.
template <typename Leaf>
Leaf* MakeLeaf(CJasonToken* token) {
  Leaf* leaf = new Leaf;
  leaf->text = std::move(token->text);
  leaf->start = token->start;
  leaf->end = token->end;
  return leaf;
}

}  // namespace

CJasonParser::~CJasonParser() {
  for (CJasonToken* token : tokens) delete token;
}

CJasonToken* CJasonParser::TokenAt(int index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= tokens.size()) return nullptr;
  return tokens[static_cast<std::size_t>(index)];
}

bool CJasonParser::IsKind(int index, CJasonToken::TokenKind kind) const {
  const CJasonToken* token = TokenAt(index);
  return token != nullptr && token->kind == kind;
}

CJasonTreeRoot* CJasonParser::ParseJasonText(std::string& text) {
  CJasonScanner scanner;
  if (!scanner.ScanJasonText(text, tokens)) return nullptr;
  int index = 0;
  return ParseJasonRoot(index);
}

CJasonTreeRoot* CJasonParser::ParseJasonRoot(int& index) {
  if (tokens.empty() || index != 0) return nullptr;
  int next = index;
  CJasonTreeValue* value = nullptr;
  if (IsKind(next, CJasonToken::LeftBrace)) {
    value = ParseJasonObject(next);
  } else if (IsKind(next, CJasonToken::LeftBracket)) {
    value = ParseJasonArray(next);
  }
  if (value == nullptr) return nullptr;
  std::unique_ptr<CJasonTreeValue> owned(value);
  if (static_cast<std::size_t>(next) != tokens.size()) return nullptr;  // trailing tokens
  CJasonTreeRoot* root = new CJasonTreeRoot;
  root->value = owned.release();
  root->start = value->start;
  root->end = value->end;
  index = next;
  return root;
}

CJasonTreeValue* CJasonParser::ParseJasonValue(int& index) {
  const CJasonToken* token = TokenAt(index);
  if (token == nullptr) return nullptr;
  switch (token->kind) {
    case CJasonToken::LeftBrace:
      return ParseJasonObject(index);
    case CJasonToken::LeftBracket:
      return ParseJasonArray(index);
    case CJasonToken::String:
      return ParseJasonString(index);
    case CJasonToken::Number:
      return ParseJasonNumber(index);
    case CJasonToken::True:
    case CJasonToken::False:
    case CJasonToken::Null:
      return ParseJasonConst(index);
    default:
      return nullptr;
  }
}

CJasonTreeObject* CJasonParser::ParseJasonObject(int& index) {
  const CJasonToken* open = TokenAt(index);
  if (open == nullptr || open->kind != CJasonToken::LeftBrace) return nullptr;
  if (depth_ >= kMaxDepth) return nullptr;
  DepthGuard guard(depth_);
  std::unique_ptr<CJasonTreeObject> object(new CJasonTreeObject);
  object->start = open->start;
  int next = index + 1;
  bool commaRead = false;
  for (;;) {
    CJasonTreePair* pair = ParseJasonPair(next);
    if (pair == nullptr) {
      if (commaRead) return nullptr;  // a comma right before "}"
      break;
    }
    std::unique_ptr<CJasonTreePair> ownedPair(pair);
    object->pairs.push_back(pair);
    ownedPair.release();
    if (!IsKind(next, CJasonToken::Comma)) break;
    commaRead = true;
    ++next;
  }
  if (!IsKind(next, CJasonToken::RightBrace)) return nullptr;
  object->end = TokenAt(next)->end;
  index = next + 1;
  return object.release();
}

CJasonTreeArray* CJasonParser::ParseJasonArray(int& index) {
  const CJasonToken* open = TokenAt(index);
  if (open == nullptr || open->kind != CJasonToken::LeftBracket) return nullptr;
  if (depth_ >= kMaxDepth) return nullptr;
  DepthGuard guard(depth_);
  std::unique_ptr<CJasonTreeArray> array(new CJasonTreeArray);
  array->start = open->start;
  int next = index + 1;
  bool commaRead = false;
  for (;;) {
    CJasonTreeValue* value = ParseJasonValue(next);
    if (value == nullptr) {
      if (commaRead) return nullptr;  // a comma right before "]"
      break;
    }
    std::unique_ptr<CJasonTreeValue> ownedValue(value);
    array->values.push_back(value);
    ownedValue.release();
    if (!IsKind(next, CJasonToken::Comma)) break;
    commaRead = true;
    ++next;
  }
  if (!IsKind(next, CJasonToken::RightBracket)) return nullptr;
  array->end = TokenAt(next)->end;
  index = next + 1;
  return array.release();
}

CJasonTreePair* CJasonParser::ParseJasonPair(int& index) {
  int next = index;
  std::unique_ptr<CJasonTreeString> name(ParseJasonString(next));
  if (name == nullptr) return nullptr;
  std::unique_ptr<CJasonTreePair> pair(new CJasonTreePair);
  pair->start = name->start;
  pair->name = name.release();
  if (!IsKind(next, CJasonToken::Colon)) return nullptr;
  ++next;
  CJasonTreeValue* value = ParseJasonValue(next);
  if (value == nullptr) return nullptr;
  pair->value = value;
  pair->end = value->end;
  index = next;
  return pair.release();
}

CJasonTreeString* CJasonParser::ParseJasonString(int& index) {
  CJasonToken* token = TokenAt(index);
  if (token == nullptr || token->kind != CJasonToken::String) return nullptr;
  CJasonTreeString* node = MakeLeaf<CJasonTreeString>(token);
  ++index;
  return node;
}

CJasonTreeNumber* CJasonParser::ParseJasonNumber(int& index) {
  CJasonToken* token = TokenAt(index);
  if (token == nullptr || token->kind != CJasonToken::Number) return nullptr;
  CJasonTreeNumber* node = MakeLeaf<CJasonTreeNumber>(token);
  ++index;
  return node;
}

CJasonTreeConst* CJasonParser::ParseJasonConst(int& index) {
  CJasonToken* token = TokenAt(index);
  if (token == nullptr) return nullptr;
  if (token->kind != CJasonToken::True && token->kind != CJasonToken::False &&
      token->kind != CJasonToken::Null) {
    return nullptr;
  }
  CJasonTreeConst* node = MakeLeaf<CJasonTreeConst>(token);
  ++index;
  return node;
}
