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

// Writes a string, number or constant node.
void EncodeLeaf(const CJasonTreeNode* node, std::string& out, bool compact, int level) {
  AddSpaces(out, compact, level);
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

bool IsContainer(int kind) { return kind == NodeKind::Object || kind == NodeKind::Array; }

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
    Begin(node, compact, level);
    while (!open_.empty()) Step();
  }

 private:
  // Writes what comes before the node's children; a container is pushed on
  // the stack so that its children and closing bracket follow.
  void Begin(const CJasonTreeNode* node, bool compact, int level) {
    switch (node->kind) {
      case NodeKind::Root: {
        const CJasonTreeValue* value = static_cast<const CJasonTreeRoot*>(node)->value;
        if (value != nullptr) Begin(value, compact, level);
        break;
      }
      case NodeKind::Pair:
        BeginPair(static_cast<const CJasonTreePair*>(node), compact, level);
        break;
      case NodeKind::Object: {
        const auto* object = static_cast<const CJasonTreeObject*>(node);
        Open(node, compact, level, "{ ");
        open_.back().nextPair = object->pairs.begin();
        break;
      }
      case NodeKind::Array: {
        const auto* array = static_cast<const CJasonTreeArray*>(node);
        Open(node, compact, level, "[ ");
        open_.back().nextValue = array->values.begin();
        break;
      }
      default:
        EncodeLeaf(node, out_, compact, level);
        break;
    }
  }

  // The name never gets indentation of its own; a leaf value follows " : "
  // on the same line; a container value starts on a new line one level
  // deeper than the name.
  void BeginPair(const CJasonTreePair* pair, bool compact, int level) {
    if (pair->name == nullptr || pair->value == nullptr) return;
    AddSpaces(out_, compact, level);
    EncodeLeaf(pair->name, out_, true, 0);
    out_.append(" : ", 3);
    if (IsContainer(pair->value->kind)) {
      EndLine(out_, compact);
      Begin(pair->value, compact, Deeper(level));
    } else {
      EncodeLeaf(pair->value, out_, true, 0);
    }
  }

  void Open(const CJasonTreeNode* node, bool compact, int level, const char* bracket) {
    AddSpaces(out_, compact, level);
    out_.append(bracket, 2);
    open_.push_back(OpenContainer{node, compact, level, false, {}, {}});
  }

  // Writes the next child of the innermost open container, or closes it.
  void Step() {
    OpenContainer& top = open_.back();
    const CJasonTreeNode* child = NextChild(top);
    if (child == nullptr) {
      const bool isObject = top.node->kind == NodeKind::Object;
      EndLine(out_, top.compact);
      AddSpaces(out_, top.compact, top.level);
      out_ += isObject ? '}' : ']';
      open_.pop_back();
      return;
    }
    if (top.anyWritten) out_.append(", ", 2);
    top.anyWritten = true;
    EndLine(out_, top.compact);
    const bool compact = top.compact;
    const int level = Deeper(top.level);
    Begin(child, compact, level);  // may push onto open_, so `top` is not used after
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
