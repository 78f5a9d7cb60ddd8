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
// a heap stack of the containers still open. A nested container is linked
// into its parent once it is complete (so blocks are taken in the order of a
// recursive descent); until then its level of the stack owns it (or the pair
// whose value it is), and a failure deletes every level's node, which
// allocates nothing.
class TreeBuilder {
 public:
  TreeBuilder(const Tokens& tokens, int index) : tokens_(tokens), pos_(index) {}
  // Deletes the nested containers still open (after a failure); the
  // outermost one belongs to Build.
  ~TreeBuilder() {
    for (std::size_t i = 1; i < open_.size(); ++i) {
      if (open_[i].pair != nullptr) {
        delete open_[i].pair;
      } else {
        delete open_[i].container;
      }
    }
  }
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
    while (!open_.empty()) {
      const bool filled = open_.back().container->kind == NodeKind::Object ? FillObject() : FillArray();
      if (!filled) return nullptr;
    }
    next = pos_;
    return top.release();
  }

 private:
  // A container whose closing token has not been read yet.
  struct Level {
    CJasonTreeObjectOrArray* container;  // owned by `pair`, by this level, or by Build
    CJasonTreePair* pair;                // the pair whose value it is (owned here), or null
    bool commaRead;                      // a "," has been read in it
    bool afterMember;                    // a member has just been read
  };

  static constexpr std::size_t kInitialDepth = 32;

  const CJasonToken* Token() const { return TokenIn(tokens_, pos_); }

  // Each Fill reads members of the innermost container, which is of its
  // kind, until it closes it (popped) or opens a nested container (pushed);
  // false on a syntax error. Before any comma the closing token ends the
  // (empty) container; after a comma a member must follow, so a comma right
  // before the closing token fails.
  bool FillArray() {
    Level& level = open_.back();
    CJasonTreeArray* array = static_cast<CJasonTreeArray*>(level.container);
    for (;;) {
      const CJasonToken* token = Token();
      if (token == nullptr) return false;
      if (level.afterMember) {
        if (token->kind != CJasonToken::Comma) return Close(CJasonToken::RightBracket);
        level.commaRead = true;
        token = TokenIn(tokens_, ++pos_);
        if (token == nullptr) return false;
      } else if (!level.commaRead && token->kind == CJasonToken::RightBracket) {
        return Close(CJasonToken::RightBracket);
      }
      level.afterMember = true;
      if (IsOpening(token)) {
        std::unique_ptr<CJasonTreeObjectOrArray> child(OpenContainer(token));
        open_.push_back({child.get(), nullptr, false, false});  // `level` is not used after this
        child.release();
        ++pos_;
        return true;
      }
      CJasonTreeValue* leaf = MakeLeafValue(token);
      if (leaf == nullptr) return false;
      Append(array->values, leaf);
      ++pos_;
    }
  }

  // Members are a string name, ":" and a value. A pair with a leaf value is
  // complete at once; one with a container value is appended and the
  // container opened (the pair's end is set when it closes).
  bool FillObject() {
    Level& level = open_.back();
    CJasonTreeObject* object = static_cast<CJasonTreeObject*>(level.container);
    for (;;) {
      const CJasonToken* name = Token();
      if (name == nullptr) return false;
      if (level.afterMember) {
        if (name->kind != CJasonToken::Comma) return Close(CJasonToken::RightBrace);
        level.commaRead = true;
        name = TokenIn(tokens_, ++pos_);
        if (name == nullptr) return false;
      } else if (!level.commaRead && name->kind == CJasonToken::RightBrace) {
        return Close(CJasonToken::RightBrace);
      }
      level.afterMember = true;
      if (name->kind != CJasonToken::String || !IsKindIn(tokens_, pos_ + 1, CJasonToken::Colon)) return false;
      const CJasonToken* token = TokenIn(tokens_, pos_ + 2);
      if (token == nullptr) return false;
      std::unique_ptr<CJasonTreePair> pair(new CJasonTreePair);
      pair->name = MakeLeaf<CJasonTreeString>(name);
      pair->start = name->start;
      if (IsOpening(token)) {
        CJasonTreeObjectOrArray* child = OpenContainer(token);
        pair->value = child;
        open_.push_back({child, pair.get(), false, false});  // `level` is not used after this
        pair.release();
        pos_ += 3;
        return true;
      }
      pair->value = MakeLeafValue(token);
      if (pair->value == nullptr) return false;
      pair->end = pair->value->end;
      Append(object->pairs, pair.release());
      pos_ += 3;
    }
  }

  // The innermost container's closing token, of kind `close`: sets its end
  // (and its pair's), pops it and links it into its parent.
  bool Close(CJasonToken::TokenKind close) {
    const CJasonToken* token = Token();
    if (token == nullptr || token->kind != close) return false;
    const Level level = open_.back();
    level.container->end = token->end;
    if (level.pair != nullptr) level.pair->end = token->end;
    ++pos_;
    open_.pop_back();
    if (open_.empty()) return true;  // the outermost container, Build's
    CJasonTreeObjectOrArray* parent = open_.back().container;
    if (parent->kind == NodeKind::Object) {
      Append(static_cast<CJasonTreeObject*>(parent)->pairs, level.pair);
    } else {
      Append<CJasonTreeValue>(static_cast<CJasonTreeArray*>(parent)->values, level.container);
    }
    return true;
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
