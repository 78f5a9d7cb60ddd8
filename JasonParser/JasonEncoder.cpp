// The JSON encoder: EncodeToString of every node class, EndLine and
// AddSpaces. The byte layout ("{ ", "[ ", ", ", " : ", "\r\n" and four blanks
// a level) is read by the web client and must not change.
//
// Containers are written by one loop with an explicit stack of open
// containers, so that encoding a tree of any depth needs little machine stack.
// The many small fragments (quotes, separators, short texts) are gathered in
// a fixed buffer on the stack and appended to the output string a few
// kilobytes at a time.
//
// The layout is written once, as a walk over an output sink. The walk runs
// twice: first over a sink that only counts bytes (all but the escapes), so
// that the output string is reserved once for what is appended (repeated
// growth of a large string costs more than the counting walk), then over the
// buffered writer.
//
// When memory runs out (the output string or the stack of open containers
// cannot grow), the output is cut back to what it held before the call: a
// failed encoding appends nothing, and nothing throws.

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "JasonParser/JasonTree.h"

namespace {

// Level of a child: level + 1 without signed overflow.
int Deeper(int level) { return static_cast<int>(static_cast<std::uint32_t>(level) + 1u); }

// The blanks of AddSpaces(level).
std::size_t Indent(int level) { return level > 0 ? static_cast<std::size_t>(level) * 4u : 0; }

bool IsContainer(int kind) { return kind == NodeKind::Object || kind == NodeKind::Array; }

// True for a pair missing its name or value: it encodes to nothing.
bool Vanishes(const CJasonTreeNode* node) {
  if (node->kind != NodeKind::Pair) return false;
  const auto* pair = static_cast<const CJasonTreePair*>(node);
  return pair->name == nullptr || pair->value == nullptr;
}

// Appends to a string through a fixed buffer. Flush() must be called at the
// end; until then the string lacks the buffered bytes.
class BufferedOutput {
 public:
  explicit BufferedOutput(std::string& out) : out_(out) {}
  BufferedOutput(const BufferedOutput&) = delete;
  BufferedOutput& operator=(const BufferedOutput&) = delete;

  void Put(const char* bytes, std::size_t count) {
    if (count > kCapacity - used_) {
      Flush();
      if (count > kCapacity) {
        out_.append(bytes, count);
        return;
      }
    }
    std::memcpy(buffer_ + used_, bytes, count);
    used_ += count;
  }

  void Put(char byte) {
    if (used_ == kCapacity) Flush();
    buffer_[used_++] = byte;
  }

  void Put(const std::string& text) { Put(text.data(), text.size()); }

  // Appends `count` blanks.
  void Blanks(std::size_t count) {
    while (count > 0) {
      if (used_ == kCapacity) Flush();
      const std::size_t room = kCapacity - used_;
      const std::size_t now = count < room ? count : room;
      std::memset(buffer_ + used_, ' ', now);
      used_ += now;
      count -= now;
    }
  }

  // Appends ", " if `comma`, then "\r\n" and `blanks` blanks. Lines are the
  // bulk of pretty text, so the blanks go in 16-byte stores (the buffer
  // keeps room for the last store to run past the blanks).
  void LineBreak(bool comma, std::size_t blanks) {
    const std::size_t need = 4 + blanks + kBlankStore;
    if (need > kCapacity - used_) {
      Flush();
      if (need > kCapacity) {
        Put(comma ? ", \r\n" : "\r\n", comma ? 4 : 2);
        Blanks(blanks);
        return;
      }
    }
    char* p = buffer_ + used_;
    if (comma) {
      std::memcpy(p, ", \r\n", 4);
      p += 4;
    } else {
      std::memcpy(p, "\r\n", 2);
      p += 2;
    }
    for (std::size_t i = 0; i < blanks; i += kBlankStore) std::memcpy(p + i, kBlanks, kBlankStore);
    used_ = static_cast<std::size_t>(p - buffer_) + blanks;
  }

  void Flush() {
    out_.append(buffer_, used_);
    used_ = 0;
  }

 private:
  static constexpr std::size_t kCapacity = 8192;
  static constexpr std::size_t kBlankStore = 16;
  static constexpr char kBlanks[kBlankStore] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ',
                                                ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
  std::string& out_;
  std::size_t used_ = 0;
  char buffer_[kCapacity];
};

// The same interface as BufferedOutput, counting the bytes instead of
// writing them. Strings are counted without their escapes (see PutQuoted):
// the total is a lower bound of the text, exact unless it has escapes.
class ByteCounter {
 public:
  void Put(const char*, std::size_t count) { total_ += count; }
  void Put(char) { ++total_; }
  void Put(const std::string& text) { total_ += text.size(); }
  void Blanks(std::size_t count) { total_ += count; }
  void LineBreak(bool comma, std::size_t blanks) { total_ += (comma ? 4 : 2) + blanks; }
  void Flush() {}

  std::size_t total() const { return total_; }

 private:
  std::size_t total_ = 0;
};

// Writes `text` between double quotes, escaping bytes below 0x20, the double
// quote and the backslash. Runs of bytes that need no escape go in one piece.
template <typename Output>
void PutQuoted(Output& out, const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  out.Put('"');
  const char* data = text.data();
  const std::size_t size = text.size();
  std::size_t runStart = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned char byte = static_cast<unsigned char>(data[i]);
    if (byte >= 0x20 && byte != '"' && byte != '\\') continue;
    out.Put(data + runStart, i - runStart);
    runStart = i + 1;
    switch (byte) {
      case '"':
        out.Put("\\\"", 2);
        break;
      case '\\':
        out.Put("\\\\", 2);
        break;
      case '\r':
        out.Put("\\r", 2);
        break;
      case '\n':
        out.Put("\\n", 2);
        break;
      default: {
        const char escape[6] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 0x0F]};
        out.Put(escape, 6);
        break;
      }
    }
  }
  out.Put(data + runStart, size - runStart);
  out.Put('"');
}

// Counting needs no scan of the bytes: escapes (a few bytes, rare in the
// library's texts) are left to the reservation's margin.
template <>
void PutQuoted<ByteCounter>(ByteCounter& out, const std::string& text) {
  out.Put(text.data(), text.size() + 2);
}

// Writes a string, number or constant node without indentation.
template <typename Output>
void PutLeafText(Output& out, const CJasonTreeNode* node) {
  switch (node->kind) {
    case NodeKind::String:
      PutQuoted(out, static_cast<const CJasonTreeString*>(node)->text);
      break;
    case NodeKind::Number:
      out.Put(static_cast<const CJasonTreeNumber*>(node)->text);
      break;
    case NodeKind::Const:
      out.Put(static_cast<const CJasonTreeConst*>(node)->text);
      break;
    default:
      break;
  }
}

// Pretty layout: ", " if `comma`, then a line end and the blanks of `level`.
template <typename Output>
void PutBreak(Output& out, bool comma, int level) {
  out.LineBreak(comma, Indent(level));
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

// Walks a tree in document order and puts its text, fragment by fragment,
// into an Output (BufferedOutput or ByteCounter).
template <typename Output>
class Encoder {
 public:
  explicit Encoder(Output& out) : out_(out) {}
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  // Puts `node` and everything under it.
  void Run(const CJasonTreeNode* node, bool compact, int level) {
    Begin(node, compact, level, false);
    while (!open_.empty()) Step();
    out_.Flush();
  }

 private:
  void PutSpaces(bool compact, int level) {
    if (!compact) out_.Blanks(Indent(level));
  }

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
      case NodeKind::Object:
      case NodeKind::Array:
        Open(node, compact, level, indented);
        break;
      default:
        if (!indented) PutSpaces(compact, level);
        PutLeafText(out_, node);
        break;
    }
  }

  // The name never gets indentation of its own; a leaf value follows " : "
  // on the same line; a container value starts on a new line one level
  // deeper than the name.
  void BeginPair(const CJasonTreePair* pair, bool compact, int level, bool indented) {
    if (pair->name == nullptr || pair->value == nullptr) return;
    if (!indented) PutSpaces(compact, level);
    PutLeafText(out_, pair->name);
    out_.Put(" : ", 3);
    if (!IsContainer(pair->value->kind)) {
      PutLeafText(out_, pair->value);
    } else if (compact) {
      Begin(pair->value, compact, Deeper(level), false);
    } else {
      PutBreak(out_, false, Deeper(level));
      Begin(pair->value, compact, Deeper(level), true);
    }
  }

  void Open(const CJasonTreeNode* node, bool compact, int level, bool indented) {
    if (!indented) PutSpaces(compact, level);
    OpenContainer open{node, compact, level, false, {}, {}};
    if (node->kind == NodeKind::Object) {
      out_.Put("{ ", 2);
      open.nextPair = static_cast<const CJasonTreeObject*>(node)->pairs.begin();
    } else {
      out_.Put("[ ", 2);
      open.nextValue = static_cast<const CJasonTreeArray*>(node)->values.begin();
    }
    open_.push_back(open);
  }

  // Writes the next child of the innermost open container, or closes it.
  void Step() {
    OpenContainer& top = open_.back();
    const CJasonTreeNode* child = NextChild(top);
    if (child == nullptr) {
      const char close = top.node->kind == NodeKind::Object ? '}' : ']';
      if (!top.compact) PutBreak(out_, false, top.level);
      out_.Put(close);
      open_.pop_back();
      return;
    }
    const bool comma = top.anyWritten;
    top.anyWritten = true;
    const bool compact = top.compact;
    const int level = Deeper(top.level);
    if (compact) {
      if (comma) out_.Put(", ", 2);
    } else {
      // A pair that encodes to nothing gets no indentation either.
      PutBreak(out_, comma, Vanishes(child) ? 0 : level);
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

  Output& out_;
  std::vector<OpenContainer> open_;
};

// Runs `write`, which appends to `out`; if memory runs out, cuts `out` back
// to its size before (shrinking allocates nothing).
template <typename Write>
void AppendAllOrNothing(std::string& out, Write write) {
  const std::size_t before = out.size();
  try {
    write();
  } catch (const std::bad_alloc&) {
    out.resize(before);
  }
}

// Appends the text of `node` to `out`: counts it first and makes room for
// it (with an eighth more for escapes), growing the string at least
// geometrically so that repeated appends stay linear, then writes it.
void Encode(std::string& out, const CJasonTreeNode* node, bool compact, int level) {
  AppendAllOrNothing(out, [&] {
    ByteCounter counter;
    Encoder<ByteCounter>(counter).Run(node, compact, level);
    const std::size_t needed = out.size() + counter.total() + counter.total() / 8;
    if (needed > out.capacity()) out.reserve(needed > 2 * out.size() ? needed : 2 * out.size());
    BufferedOutput writer(out);
    Encoder<BufferedOutput>(writer).Run(node, compact, level);
  });
}

}  // namespace

void EndLine(std::string& out, bool compact) {
  if (!compact) AppendAllOrNothing(out, [&] { out.append("\r\n", 2); });
}

void AddSpaces(std::string& out, bool compact, int level) {
  if (compact || level <= 0) return;
  AppendAllOrNothing(out, [&] { out.append(Indent(level), ' '); });
}

void CJasonTreeRoot::EncodeToString(std::string& out, bool compact, int level) {
  Encode(out, this, compact, level);
}

void CJasonTreePair::EncodeToString(std::string& out, bool compact, int level) {
  Encode(out, this, compact, level);
}

void CJasonTreeObject::EncodeToString(std::string& out, bool compact, int level) {
  Encode(out, this, compact, level);
}

void CJasonTreeArray::EncodeToString(std::string& out, bool compact, int level) {
  Encode(out, this, compact, level);
}

void CJasonTreeString::EncodeToString(std::string& out, bool compact, int level) {
  AppendAllOrNothing(out, [&] {
    if (!compact) out.append(Indent(level), ' ');  // as AddSpaces, but throwing
    BufferedOutput buffered(out);
    PutQuoted(buffered, text);
    buffered.Flush();
  });
}

void CJasonTreeNumber::EncodeToString(std::string& out, bool compact, int level) {
  AppendAllOrNothing(out, [&] {
    if (!compact) out.append(Indent(level), ' ');  // as AddSpaces, but throwing
    out += text;
  });
}

void CJasonTreeConst::EncodeToString(std::string& out, bool compact, int level) {
  AppendAllOrNothing(out, [&] {
    if (!compact) out.append(Indent(level), ' ');  // as AddSpaces, but throwing
    out += text;
  });
}

void EncodeWholeOrThrow(CJasonTreeObjectOrArray& container, std::string& out, bool compact, int level) {
  const std::size_t before = out.size();
  container.EncodeToString(out, compact, level);
  if (out.size() == before) throw std::bad_alloc();
}
