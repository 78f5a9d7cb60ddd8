#include "JasonParser/JasonParser.h"

#include <list>
#include <memory>
#include <new>
#include <vector>

namespace {

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

bool IsOpening(const CJasonToken* token) {
  return token->kind == CJasonToken::LeftBrace || token->kind == CJasonToken::LeftBracket;
}

// Makes a leaf node of type `Leaf` holding a copy of `token`'s text: the
// tokens stay as they were scanned. Throws std::bad_alloc.
template <typename Leaf>
Leaf* MakeLeaf(const CJasonToken* token) {
  std::unique_ptr<Leaf> leaf(new Leaf);
  leaf->text = token->text;
  leaf->start = token->start;
  leaf->end = token->end;
  return leaf.release();
}

// The leaf for a string, number or constant token; null for other tokens.
// Throws std::bad_alloc.
CJasonTreeValue* MakeLeafValue(const CJasonToken* token) {
  switch (token->kind) {
    case CJasonToken::String:
      return MakeLeaf<CJasonTreeString>(token);
    case CJasonToken::Number:
      return MakeLeaf<CJasonTreeNumber>(token);
    case CJasonToken::True:
    case CJasonToken::False:
    case CJasonToken::Null:
      return MakeLeaf<CJasonTreeConst>(token);
    default:
      return nullptr;
  }
}

// A new, empty object or array for an opening token ("{" or "["), starting
// at that token. Throws std::bad_alloc.
CJasonTreeObjectOrArray* OpenContainer(const CJasonToken* token) {
  CJasonTreeObjectOrArray* container;
  if (token->kind == CJasonToken::LeftBrace) {
    container = new CJasonTreeObject;
  } else {
    container = new CJasonTreeArray;
  }
  container->start = token->start;
  return container;
}

// Appends `member` to `members`, deleting it if the list cannot grow.
template <typename Member>
void Append(std::list<Member*>& members, Member* member) {
  std::unique_ptr<Member> owned(member);
  members.push_back(member);
  owned.release();
}

// Builds one object or array, with everything nested in it, by a loop over
// a heap stack of the containers still open. Every container is linked into
// its parent as soon as it is opened, so the outermost one owns all that has
// been built, and deleting it (which allocates nothing) undoes a failure.
class TreeBuilder {
 public:
  TreeBuilder(const Tokens& tokens, int index) : tokens_(tokens), pos_(index) {}
  TreeBuilder(const TreeBuilder&) = delete;
  TreeBuilder& operator=(const TreeBuilder&) = delete;

  // Builds the container whose opening token is at the index given to the
  // constructor. On success returns it (owned by the caller) and sets `next`
  // past its closing token; on failure returns null and leaves `next`.
  // Throws std::bad_alloc, having deleted what it built.
  CJasonTreeObjectOrArray* Build(int& next) {
    std::unique_ptr<CJasonTreeObjectOrArray> top(OpenContainer(tokens_[static_cast<std::size_t>(pos_)]));
    ++pos_;
    open_.reserve(kInitialDepth);
    open_.push_back({top.get(), nullptr, false, false});
    for (;;) {
      const Step step = open_.back().afterMember ? AfterMember() : Member();
      if (step == Step::kFail) return nullptr;
      if (step == Step::kDone) break;
    }
    next = pos_;
    return top.release();
  }

 private:
  enum class Step { kMore, kDone, kFail };

  // A container whose closing token has not been read yet.
  struct Level {
    CJasonTreeObjectOrArray* container;  // owned by its parent, or by Build
    CJasonTreePair* pair;                // the pair whose value it is, or null
    bool commaRead;                      // a "," has been read in it
    bool afterMember;                    // a member has just been read
  };

  static constexpr std::size_t kInitialDepth = 32;

  CJasonToken::TokenKind CloseKind(const Level& level) const {
    return level.container->kind == NodeKind::Object ? CJasonToken::RightBrace : CJasonToken::RightBracket;
  }

  // After a member: "," leads to the next member; otherwise the container
  // must close.
  Step AfterMember() {
    Level& level = open_.back();
    if (IsKindIn(tokens_, pos_, CJasonToken::Comma)) {
      ++pos_;
      level.afterMember = false;
      level.commaRead = true;
      return Step::kMore;
    }
    return Close();
  }

  // Where a member may stand. Before any comma the closing token ends the
  // (empty) container; after a comma a member must follow, so a comma right
  // before the closing token fails.
  Step Member() {
    Level& level = open_.back();
    if (!level.commaRead && IsKindIn(tokens_, pos_, CloseKind(level))) return Close();
    level.afterMember = true;  // set now: opening a nested container moves `open_`
    if (level.container->kind == NodeKind::Object) {
      return PairMember(static_cast<CJasonTreeObject*>(level.container));
    }
    return ValueMember(static_cast<CJasonTreeArray*>(level.container));
  }

  // An element of `array`: a leaf is appended; a container is appended and
  // opened.
  Step ValueMember(CJasonTreeArray* array) {
    const CJasonToken* token = TokenIn(tokens_, pos_);
    if (token == nullptr) return Step::kFail;
    if (IsOpening(token)) {
      CJasonTreeObjectOrArray* child = OpenContainer(token);
      Append<CJasonTreeValue>(array->values, child);
      ++pos_;
      open_.push_back({child, nullptr, false, false});
      return Step::kMore;
    }
    CJasonTreeValue* leaf = MakeLeafValue(token);
    if (leaf == nullptr) return Step::kFail;
    Append(array->values, leaf);
    ++pos_;
    return Step::kMore;
  }

  // A member of `object`: a string name, ":" and a value. A pair with a
  // leaf value is complete at once; one with a container is appended and
  // the container opened (the pair's end is set when it closes).
  Step PairMember(CJasonTreeObject* object) {
    const CJasonToken* name = TokenIn(tokens_, pos_);
    if (name == nullptr || name->kind != CJasonToken::String) return Step::kFail;
    if (!IsKindIn(tokens_, pos_ + 1, CJasonToken::Colon)) return Step::kFail;
    const CJasonToken* token = TokenIn(tokens_, pos_ + 2);
    if (token == nullptr) return Step::kFail;
    std::unique_ptr<CJasonTreePair> pair(new CJasonTreePair);
    pair->name = MakeLeaf<CJasonTreeString>(name);
    pair->start = name->start;
    if (IsOpening(token)) {
      CJasonTreeObjectOrArray* child = OpenContainer(token);
      pair->value = child;
      CJasonTreePair* linked = pair.get();
      Append(object->pairs, pair.release());
      pos_ += 3;
      open_.push_back({child, linked, false, false});
      return Step::kMore;
    }
    pair->value = MakeLeafValue(token);
    if (pair->value == nullptr) return Step::kFail;
    pair->end = pair->value->end;
    Append(object->pairs, pair.release());
    pos_ += 3;
    return Step::kMore;
  }

  // The innermost container's closing token: sets its end (and its pair's)
  // and closes it.
  Step Close() {
    const Level& level = open_.back();
    const CJasonToken* token = TokenIn(tokens_, pos_);
    if (token == nullptr || token->kind != CloseKind(level)) return Step::kFail;
    level.container->end = token->end;
    if (level.pair != nullptr) level.pair->end = token->end;
    ++pos_;
    open_.pop_back();
    return open_.empty() ? Step::kDone : Step::kMore;
  }

  const Tokens& tokens_;
  int pos_;
  std::vector<Level> open_;
};

// Any value at `index`: on success returns it (owned by the caller) and
// advances `index`; on failure, memory running out included, returns null
// and leaves `index`.
CJasonTreeValue* ParseValueAt(const Tokens& tokens, int& index) {
  const CJasonToken* token = TokenIn(tokens, index);
  if (token == nullptr) return nullptr;
  try {
    if (IsOpening(token)) return TreeBuilder(tokens, index).Build(index);
    CJasonTreeValue* leaf = MakeLeafValue(token);
    if (leaf != nullptr) ++index;
    return leaf;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
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
  if (!IsKind(index, CJasonToken::LeftBrace) && !IsKind(index, CJasonToken::LeftBracket)) return nullptr;
  int next = index;
  std::unique_ptr<CJasonTreeValue> value(ParseValueAt(tokens, next));
  if (value == nullptr) return nullptr;
  if (static_cast<std::size_t>(next) != tokens.size()) return nullptr;  // trailing tokens
  CJasonTreeRoot* root;
  try {
    root = new CJasonTreeRoot;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  root->start = value->start;
  root->end = value->end;
  root->value = value.release();
  index = next;
  return root;
}

CJasonTreeValue* CJasonParser::ParseJasonValue(int& index) {
  return ParseValueAt(tokens, index);
}

CJasonTreeObject* CJasonParser::ParseJasonObject(int& index) {
  if (!IsKind(index, CJasonToken::LeftBrace)) return nullptr;
  return static_cast<CJasonTreeObject*>(ParseValueAt(tokens, index));
}

CJasonTreeArray* CJasonParser::ParseJasonArray(int& index) {
  if (!IsKind(index, CJasonToken::LeftBracket)) return nullptr;
  return static_cast<CJasonTreeArray*>(ParseValueAt(tokens, index));
}

CJasonTreePair* CJasonParser::ParseJasonPair(int& index) {
  if (!IsKind(index, CJasonToken::String) || !IsKind(index + 1, CJasonToken::Colon)) return nullptr;
  try {
    std::unique_ptr<CJasonTreePair> pair(new CJasonTreePair);
    pair->name = MakeLeaf<CJasonTreeString>(TokenAt(index));
    pair->start = pair->name->start;
    int next = index + 2;
    pair->value = ParseValueAt(tokens, next);
    if (pair->value == nullptr) return nullptr;
    pair->end = pair->value->end;
    index = next;
    return pair.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

CJasonTreeString* CJasonParser::ParseJasonString(int& index) {
  if (!IsKind(index, CJasonToken::String)) return nullptr;
  return static_cast<CJasonTreeString*>(ParseValueAt(tokens, index));
}

CJasonTreeNumber* CJasonParser::ParseJasonNumber(int& index) {
  if (!IsKind(index, CJasonToken::Number)) return nullptr;
  return static_cast<CJasonTreeNumber*>(ParseValueAt(tokens, index));
}

CJasonTreeConst* CJasonParser::ParseJasonConst(int& index) {
  if (!IsKind(index, CJasonToken::True) && !IsKind(index, CJasonToken::False) &&
      !IsKind(index, CJasonToken::Null)) {
    return nullptr;
  }
  return static_cast<CJasonTreeConst*>(ParseValueAt(tokens, index));
}
