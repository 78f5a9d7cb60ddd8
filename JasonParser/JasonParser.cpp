#include "JasonParser/JasonParser.h"

#include <list>
#include <memory>
#include <vector>

#include "Utils/StackRoom.h"

namespace {

// Makes a leaf node of type `Leaf` holding a copy of `token`'s text: the
// tokens stay as they were scanned.
template <typename Leaf>
Leaf* MakeLeaf(const CJasonToken* token) {
  Leaf* leaf = new Leaf;
  std::unique_ptr<Leaf> owned(leaf);
  leaf->text = token->text;
  leaf->start = token->start;
  leaf->end = token->end;
  return owned.release();
}

using Tokens = std::vector<CJasonToken*>;

// The token at `index`, or null when `index` is outside `tokens`.
CJasonToken* TokenIn(const Tokens& tokens, int index) {
  if (index < 0 || static_cast<std::size_t>(index) >= tokens.size()) return nullptr;
  return tokens[static_cast<std::size_t>(index)];
}

bool IsKindIn(const Tokens& tokens, int index, CJasonToken::TokenKind kind) {
  const CJasonToken* token = TokenIn(tokens, index);
  return token != nullptr && token->kind == kind;
}

// The work of the container members around their recursive calls is kept
// out of line: a nesting level then costs only the small frame of the loop
// that recurses, and that frame limits the depth a stack can hold.

// A new container starting at its opening token, at `index`; steps over it.
template <typename Container>
[[gnu::noinline]] Container* OpenContainer(const Tokens& tokens, int& index) {
  Container* container = new Container;
  container->start = tokens[static_cast<std::size_t>(index)]->start;
  ++index;
  return container;
}

enum class Step { More, Done, Fail };

// What follows an attempt to parse a member of `container` (`member`, null
// when it failed) at `index`: the member is appended (and deleted if the
// list cannot grow); then a comma steps on to the next member, and the
// closing token ends the container, which sets its `end`. A failed member
// is allowed only right after the opening token (the empty container): a
// comma has been read exactly when the container already holds a member.
template <typename Container, typename Member>
[[gnu::noinline]] Step AfterMember(Container& container, std::list<Member*>& members, Member* member,
                                   const Tokens& tokens, int& index, CJasonToken::TokenKind close) {
  if (member != nullptr) {
    std::unique_ptr<Member> owned(member);
    members.push_back(member);
    owned.release();
  } else if (!members.empty()) {
    return Step::Fail;  // a comma right before the closing token
  }
  if (IsKindIn(tokens, index, close)) {
    container.end = tokens[static_cast<std::size_t>(index)]->end;
    ++index;
    return Step::Done;
  }
  if (member == nullptr || !IsKindIn(tokens, index, CJasonToken::Comma)) return Step::Fail;
  ++index;
  return Step::More;
}

}  // namespace

CJasonParser::~CJasonParser() {
  for (CJasonToken* token : tokens) delete token;
}

CJasonToken* CJasonParser::TokenAt(int index) const {
  return TokenIn(tokens, index);
}

bool CJasonParser::IsKind(int index, CJasonToken::TokenKind kind) const {
  return IsKindIn(tokens, index, kind);
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

// The container members advance `index` themselves and put it back on
// failure, so that few values stay alive across their recursive calls.

CJasonTreeObject* CJasonParser::ParseJasonObject(int& index) {
  if (!IsKind(index, CJasonToken::LeftBrace)) return nullptr;
  if (!HasStackRoom()) return nullptr;  // nested deeper than this thread's stack allows
  const int first = index;
  std::unique_ptr<CJasonTreeObject> object(OpenContainer<CJasonTreeObject>(tokens, index));
  for (;;) {
    CJasonTreePair* pair = ParseJasonPair(index);
    const Step step = AfterMember(*object, object->pairs, pair, tokens, index, CJasonToken::RightBrace);
    if (step == Step::Done) return object.release();
    if (step == Step::Fail) break;
  }
  index = first;
  return nullptr;
}

CJasonTreeArray* CJasonParser::ParseJasonArray(int& index) {
  if (!IsKind(index, CJasonToken::LeftBracket)) return nullptr;
  if (!HasStackRoom()) return nullptr;  // nested deeper than this thread's stack allows
  const int first = index;
  std::unique_ptr<CJasonTreeArray> array(OpenContainer<CJasonTreeArray>(tokens, index));
  for (;;) {
    CJasonTreeValue* value = ParseJasonValue(index);
    const Step step = AfterMember(*array, array->values, value, tokens, index, CJasonToken::RightBracket);
    if (step == Step::Done) return array.release();
    if (step == Step::Fail) break;
  }
  index = first;
  return nullptr;
}

CJasonTreePair* CJasonParser::ParseJasonPair(int& index) {
  const int first = index;
  std::unique_ptr<CJasonTreeString> name(ParseJasonString(index));
  if (name == nullptr) return nullptr;
  std::unique_ptr<CJasonTreePair> pair(new CJasonTreePair);
  pair->start = name->start;
  pair->name = name.release();
  if (IsKind(index, CJasonToken::Colon)) {
    ++index;
    CJasonTreeValue* value = ParseJasonValue(index);
    if (value != nullptr) {
      pair->value = value;
      pair->end = value->end;
      return pair.release();
    }
  }
  index = first;
  return nullptr;
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
