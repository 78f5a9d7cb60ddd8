#ifndef JASONPARSER_JASONTREE_H_
#define JASONPARSER_JASONTREE_H_

// The in-memory JSON tree of the Jason library.
//
// A tree is a plain heap object graph with single ownership from parent to
// child: every node is made with `new`, linked into exactly one parent, and
// freed when its top node (a CJasonTreeRoot, or the top container where no
// root was made) is deleted. Deleting a tree, encoding it and searching it use
// a bounded amount of machine stack whatever its depth (their walks keep
// their work on the heap, or in the tree's own lists), and deleting it
// allocates nothing, so it works while memory is short.
//
// A tree belongs to the call that built it and is not locked; trees of
// different threads are independent (node memory comes from per-thread
// chunks, see JasonPool.h).

#include <cstddef>
#include <list>
#include <string>

// The kind code stored in CJasonTreeNode::kind. Code that must tell node
// classes apart tests this code, never the run-time type.
enum NodeKind : int {
  Root = 0,
  Pair = 1,
  Object = 2,
  Array = 3,
  String = 4,
  Number = 5,
  Const = 6,
};

// Base of every node. Abstract; not copyable.
class CJasonTreeNode {
 public:
  virtual ~CJasonTreeNode();

  // Appends (never assigns) the node's JSON text to `out`. `compact` true
  // writes no line breaks and no indentation; `level` is the nesting depth
  // used for indentation (0 for the top node). See JasonEncoder.cpp. The
  // walk keeps its open containers on a heap stack, so any depth encodes on
  // any machine stack. When memory runs out it appends nothing: `out` keeps
  // the text it had. Nothing throws.
  virtual void EncodeToString(std::string& out, bool compact, int level) = 0;

  CJasonTreeNode(const CJasonTreeNode&) = delete;
  CJasonTreeNode& operator=(const CJasonTreeNode&) = delete;

  // Node memory comes from a pool of fixed-size slots (see JasonPool.h).
  static void* operator new(std::size_t size);
  static void operator delete(void* p, std::size_t size) noexcept;

  int kind;   // a NodeKind code, set by the concrete class's constructor
  int start;  // byte position where the node's source text begins; 0 unless parsed
  int end;    // byte position just past the node's source text; 0 unless parsed

 protected:
  explicit CJasonTreeNode(int nodeKind) : kind(nodeKind), start(0), end(0) {}
};

// Base of everything that can stand as a value: containers and leaves.
class CJasonTreeValue : public CJasonTreeNode {
 protected:
  explicit CJasonTreeValue(int nodeKind) : CJasonTreeNode(nodeKind) {}
};

// Base of objects and arrays.
class CJasonTreeObjectOrArray : public CJasonTreeValue {
 protected:
  explicit CJasonTreeObjectOrArray(int nodeKind) : CJasonTreeValue(nodeKind) {}
};

// A parsed document (kind 0). Owns `value` and deletes it unless null.
class CJasonTreeRoot : public CJasonTreeNode {
 public:
  CJasonTreeRoot() : CJasonTreeNode(NodeKind::Root), value(nullptr) {}
  ~CJasonTreeRoot() override;
  void EncodeToString(std::string& out, bool compact, int level) override;

  CJasonTreeValue* value;  // the top-level value; the parser stores an object or array
};

class CJasonTreeString;

// An object member (kind 1). Owns `name` and `value`, each deleted unless
// null. A pair missing either encodes to nothing.
class CJasonTreePair : public CJasonTreeNode {
 public:
  CJasonTreePair() : CJasonTreeNode(NodeKind::Pair), name(nullptr), value(nullptr) {}
  ~CJasonTreePair() override;
  void EncodeToString(std::string& out, bool compact, int level) override;

  CJasonTreeString* name;  // the member name
  CJasonTreeValue* value;  // the member value
};

// A JSON object (kind 2). Owns every pair in `pairs`, which holds no nulls.
class CJasonTreeObject : public CJasonTreeObjectOrArray {
 public:
  CJasonTreeObject() : CJasonTreeObjectOrArray(NodeKind::Object) {}
  ~CJasonTreeObject() override;
  void EncodeToString(std::string& out, bool compact, int level) override;

  std::list<CJasonTreePair*> pairs;  // members in document order; append at the back
};

// A JSON array (kind 3). Owns every value in `values`, which holds no nulls.
class CJasonTreeArray : public CJasonTreeObjectOrArray {
 public:
  CJasonTreeArray() : CJasonTreeObjectOrArray(NodeKind::Array) {}
  ~CJasonTreeArray() override;
  void EncodeToString(std::string& out, bool compact, int level) override;

  std::list<CJasonTreeValue*> values;  // elements in document order; append at the back
};

// A string (kind 4). `text` is the content as meant: no quotes, no escapes.
class CJasonTreeString : public CJasonTreeValue {
 public:
  CJasonTreeString() : CJasonTreeValue(NodeKind::String) {}
  void EncodeToString(std::string& out, bool compact, int level) override;

  std::string text;
};

// A number (kind 5). `text` is the number as written; it is never converted.
class CJasonTreeNumber : public CJasonTreeValue {
 public:
  CJasonTreeNumber() : CJasonTreeValue(NodeKind::Number) {}
  void EncodeToString(std::string& out, bool compact, int level) override;

  std::string text;
};

// A constant (kind 6). `text` is "true", "false" or "null", written verbatim.
class CJasonTreeConst : public CJasonTreeValue {
 public:
  CJasonTreeConst() : CJasonTreeValue(NodeKind::Const) {}
  void EncodeToString(std::string& out, bool compact, int level) override;

  std::string text;
};

// Returns a new string node holding a copy of `text` (any bytes, unescaped).
// The caller owns the result.
CJasonTreeString* CreateStringFromString(const std::string& text);

// Returns a new pair whose name and value are new string nodes holding copies
// of `name` and `value` (any bytes, unescaped). The caller owns the result,
// normally by appending it to an object's `pairs` at once.
CJasonTreePair* CreatePairFromStrings(const std::string& name, const std::string& value);

// Encodes `container` into `out` as EncodeToString does, for producers whose
// answer must be whole or not given at all. An object or an array always has
// text, so when nothing was appended memory ran out: then this throws
// std::bad_alloc, which the agent's catch-all turns into "no answer".
void EncodeWholeOrThrow(CJasonTreeObjectOrArray& container, std::string& out, bool compact, int level);

// Layout helpers of the encoder.
// EndLine appends "\r\n" unless `compact`.
void EndLine(std::string& out, bool compact);
// AddSpaces appends 4 * `level` blanks unless `compact` or `level` <= 0.
void AddSpaces(std::string& out, bool compact, int level);

#endif  // JASONPARSER_JASONTREE_H_
