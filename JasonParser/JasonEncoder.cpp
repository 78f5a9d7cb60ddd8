// The JSON encoder: EncodeToString of every node class, EndLine and
// AddSpaces. The byte layout ("{ ", "[ ", ", ", " : ", "\r\n" and four blanks
// a level) is read by the web client and must not change.
//
// Containers are written by one loop with an explicit stack of open
// containers, so that encoding a tree of any depth needs little machine stack.

#include <cstdint>
#include <vector>

#include "JasonParser/JasonTree.h"

namespace {

// Level of a child: level + 1 without signed overflow.
int Deeper(int level) {
  return static_cast<int>(static_cast<std::uint32_t>(level) + 1u);
}

// Appends `text` between double quotes, escaping bytes below 0x20, the
// double quote and the backslash. Runs of bytes that need no escape are
// appended in one piece.
void AppendQuoted(std::string& out, const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  out += '"';
  const char* data = text.data();
  const std::size_t size = text.size();
  std::size_t runStart = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned char byte = static_cast<unsigned char>(data[i]);
    if (byte >= 0x20 && byte != '"' && byte != '\\') continue;
    out.append(data + runStart, i - runStart);
    runStart = i + 1;
    switch (byte) {
      case '"':
        out.append("\\\"", 2);
        break;
      case '\\':
        out.append("\\\\", 2);
        break;
      case '\r':
        out.append("\\r", 2);
        break;
      case '\n':
        out.append("\\n", 2);
        break;
      default: {
        const char escape[6] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 0x0F]};
        out.append(escape, 6);
        break;
      }
    }
  }
  out.append(data + runStart, size - runStart);
  out += '"';
}

// Writes a string, number or constant node without indentation.
void EncodeLeafText(const CJasonTreeNode* node, std::string& out) {
  switch (node->kind) {
    case NodeKind::String:
      AppendQuoted(out, static_cast<const CJasonTreeString*>(node)->text);
      break;
    case NodeKind::Number:
      out += static_cast<const CJasonTreeNumber*>(node)->text;
      break;
    case NodeKind::Const:
      out += static_cast<const CJasonTreeConst*>(node)->text;
      break;
    default:
      break;
  }
}

// Writes a string, number or constant node.
void EncodeLeaf(const CJasonTreeNode* node, std::string& out, bool compact, int level) {
  AddSpaces(out, compact, level);
  EncodeLeafText(node, out);
}

bool IsContainer(int kind) { return kind == NodeKind::Object || kind == NodeKind::Array; }

// True for a pair missing its name or value: it encodes to nothing.
bool Vanishes(const CJasonTreeNode* node) {
  if (node->kind != NodeKind::Pair) return false;
  const auto* pair = static_cast<const CJasonTreePair*>(node);
  return pair->name == nullptr || pair->value == nullptr;
}

// ", " then "\r\n" then the blanks of 64 levels: a line break of the pretty
// layout, with or without the comma before it, is one slice of this text.
constexpr std::size_t kBreakLevels = 64;
constexpr std::size_t kBreakSize = 4 + 4 * kBreakLevels;

struct BreakText {
  char bytes[kBreakSize];
  constexpr BreakText() : bytes() {
    bytes[0] = ',';
    bytes[1] = ' ';
    bytes[2] = '\r';
    bytes[3] = '\n';
    for (std::size_t i = 4; i < kBreakSize; ++i) bytes[i] = ' ';
  }
};
constexpr BreakText kBreak;

// Pretty layout only: appends ", " if `comma`, then EndLine and
// AddSpaces(level), in as few appends as possible.
void AppendBreak(std::string& out, bool comma, int level) {
  const std::size_t blanks = level > 0 ? static_cast<std::size_t>(level) * 4u : 0;
  const std::size_t inSlice = blanks < 4 * kBreakLevels ? blanks : 4 * kBreakLevels;
  if (comma) {
    out.append(kBreak.bytes, 4 + inSlice);
  } else {
    out.append(kBreak.bytes + 2, 2 + inSlice);
  }
  if (blanks > inSlice) out.append(blanks - inSlice, ' ');
}

// The bytes of a leaf's text, without escapes.
std::size_t LeafSize(const CJasonTreeNode* node) {
  switch (node->kind) {
    case NodeKind::String:
      return static_cast<const CJasonTreeString*>(node)->text.size() + 2;
    case NodeKind::Number:
      return static_cast<const CJasonTreeNumber*>(node)->text.size();
    case NodeKind::Const:
      return static_cast<const CJasonTreeConst*>(node)->text.size();
    default:
      return 0;
  }
}

std::size_t Indent(int level) { return level > 0 ? static_cast<std::size_t>(level) * 4u : 0; }

// About the number of bytes the pretty layout of `top` takes (escapes are
// not counted). Pretty text is mostly indentation, several times the size
// of the data; reserving it at once saves the copies and the fresh pages of
// repeated string growth, which cost more than this walk.
std::size_t EstimatePrettySize(const CJasonTreeNode* top, int topLevel) {
  std::size_t total = 0;
  std::vector<std::pair<const CJasonTreeNode*, int>> containers;
  auto add = [&](const CJasonTreeNode* node, int level) {
    if (IsContainer(node->kind)) {
      containers.push_back({node, level});
    } else {
      total += Indent(level) + LeafSize(node);
    }
  };
  while (top != nullptr && top->kind == NodeKind::Root) top = static_cast<const CJasonTreeRoot*>(top)->value;
  if (top == nullptr) return 0;
  if (top->kind == NodeKind::Pair) {
    const auto* pair = static_cast<const CJasonTreePair*>(top);
    if (pair->name == nullptr || pair->value == nullptr) return 0;
    total += Indent(topLevel) + pair->name->text.size() + 7;
    add(pair->value, IsContainer(pair->value->kind) ? Deeper(topLevel) : 0);
  } else {
    add(top, topLevel);
  }
  while (!containers.empty()) {
    const CJasonTreeNode* node = containers.back().first;
    const int level = containers.back().second;
    containers.pop_back();
    total += 2 * Indent(level) + 5;
    const int childLevel = Deeper(level);
    if (node->kind == NodeKind::Array) {
      for (const CJasonTreeValue* value : static_cast<const CJasonTreeArray*>(node)->values) {
        total += 4;
        add(value, childLevel);
      }
      continue;
    }
    for (const CJasonTreePair* pair : static_cast<const CJasonTreeObject*>(node)->pairs) {
      total += 4;
      if (pair->name == nullptr || pair->value == nullptr) continue;
      total += Indent(childLevel) + pair->name->text.size() + 7;
      add(pair->value, IsContainer(pair->value->kind) ? Deeper(childLevel) : 0);
    }
  }
  return total;
}

// A container whose opening bracket has been written.
struct OpenContainer {
  const CJasonTreeNode* node;
  bool compact;
  int level;
  bool anyWritten;  // a member has been written, so the next one needs ", "
  std::list<CJasonTreePair*>::const_iterator nextPair;
  std::list<CJasonTreeValue*>::const_iterator nextValue;
};

class Encoder {
 public:
  explicit Encoder(std::string& out) : out_(out) {}

  // Writes `node` and everything under it.
  void Run(const CJasonTreeNode* node, bool compact, int level) {
    if (!compact) {
      const std::size_t estimate = EstimatePrettySize(node, level);
      out_.reserve(out_.size() + estimate + estimate / 16);
    }
    Begin(node, compact, level, false);
    while (!open_.empty()) Step();
  }

 private:
  // Writes what comes before the node's children; a container is pushed on
  // the stack so that its children and closing bracket follow. `indented`:
  // the caller has already written the node's indentation.
  void Begin(const CJasonTreeNode* node, bool compact, int level, bool indented) {
    switch (node->kind) {
      case NodeKind::Root: {
        const CJasonTreeValue* value = static_cast<const CJasonTreeRoot*>(node)->value;
        if (value != nullptr) Begin(value, compact, level, indented);
        break;
      }
      case NodeKind::Pair:
        BeginPair(static_cast<const CJasonTreePair*>(node), compact, level, indented);
        break;
      case NodeKind::Object: {
        const auto* object = static_cast<const CJasonTreeObject*>(node);
        Open(node, compact, level, indented, "{ ");
        open_.back().nextPair = object->pairs.begin();
        break;
      }
      case NodeKind::Array: {
        const auto* array = static_cast<const CJasonTreeArray*>(node);
        Open(node, compact, level, indented, "[ ");
        open_.back().nextValue = array->values.begin();
        break;
      }
      default:
        if (!indented) AddSpaces(out_, compact, level);
        EncodeLeafText(node, out_);
        break;
    }
  }

  // The name never gets indentation of its own; a leaf value follows " : "
  // on the same line; a container value starts on a new line one level
  // deeper than the name.
  void BeginPair(const CJasonTreePair* pair, bool compact, int level, bool indented) {
    if (pair->name == nullptr || pair->value == nullptr) return;
    if (!indented) AddSpaces(out_, compact, level);
    EncodeLeafText(pair->name, out_);
    out_.append(" : ", 3);
    if (!IsContainer(pair->value->kind)) {
      EncodeLeafText(pair->value, out_);
    } else if (compact) {
      Begin(pair->value, compact, Deeper(level), false);
    } else {
      AppendBreak(out_, false, Deeper(level));
      Begin(pair->value, compact, Deeper(level), true);
    }
  }

  void Open(const CJasonTreeNode* node, bool compact, int level, bool indented,
            const char* bracket) {
    if (!indented) AddSpaces(out_, compact, level);
    out_.append(bracket, 2);
    open_.push_back(OpenContainer{node, compact, level, false, {}, {}});
  }

  // Writes the next child of the innermost open container, or closes it.
  void Step() {
    OpenContainer& top = open_.back();
    const CJasonTreeNode* child = NextChild(top);
    if (child == nullptr) {
      const char close = top.node->kind == NodeKind::Object ? '}' : ']';
      if (!top.compact) AppendBreak(out_, false, top.level);
      out_ += close;
      open_.pop_back();
      return;
    }
    const bool comma = top.anyWritten;
    top.anyWritten = true;
    const bool compact = top.compact;
    const int level = Deeper(top.level);
    if (compact) {
      if (comma) out_.append(", ", 2);
    } else {
      // A pair that encodes to nothing gets no indentation either.
      AppendBreak(out_, comma, Vanishes(child) ? 0 : level);
    }
    Begin(child, compact, level, !compact);  // may push onto open_: `top` is not used after
  }

  // The next member of `top`, advancing its iterator; null after the last.
  static const CJasonTreeNode* NextChild(OpenContainer& top) {
    if (top.node->kind == NodeKind::Object) {
      const auto* object = static_cast<const CJasonTreeObject*>(top.node);
      if (top.nextPair == object->pairs.end()) return nullptr;
      return *top.nextPair++;
    }
    const auto* array = static_cast<const CJasonTreeArray*>(top.node);
    if (top.nextValue == array->values.end()) return nullptr;
    return *top.nextValue++;
  }

  std::string& out_;
  std::vector<OpenContainer> open_;
};

}  // namespace

void EndLine(std::string& out, bool compact) {
  if (!compact) out.append("\r\n", 2);
}

void AddSpaces(std::string& out, bool compact, int level) {
  if (compact || level <= 0) return;
  out.append(static_cast<std::size_t>(level) * 4u, ' ');
}

void CJasonTreeRoot::EncodeToString(std::string& out, bool compact, int level) {
  Encoder(out).Run(this, compact, level);
}

void CJasonTreePair::EncodeToString(std::string& out, bool compact, int level) {
  Encoder(out).Run(this, compact, level);
}

void CJasonTreeObject::EncodeToString(std::string& out, bool compact, int level) {
  Encoder(out).Run(this, compact, level);
}

void CJasonTreeArray::EncodeToString(std::string& out, bool compact, int level) {
  Encoder(out).Run(this, compact, level);
}

void CJasonTreeString::EncodeToString(std::string& out, bool compact, int level) {
  EncodeLeaf(this, out, compact, level);
}

void CJasonTreeNumber::EncodeToString(std::string& out, bool compact, int level) {
  EncodeLeaf(this, out, compact, level);
}

void CJasonTreeConst::EncodeToString(std::string& out, bool compact, int level) {
  EncodeLeaf(this, out, compact, level);
}
