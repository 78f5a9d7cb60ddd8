#include "JasonParser/JasonTree.h"

#include <memory>
#include <vector>

#include "JasonParser/JasonPool.h"

namespace {

// Nodes waiting to be deleted by the outermost destructor that is running.
// Null while no tree is being deleted.
std::vector<CJasonTreeNode*>* g_pendingDeletes = nullptr;

// True when deleting `node` cannot start a further chain of destructors:
// leaves, empty containers and pairs whose value is such a node.
bool IsShallow(const CJasonTreeNode* node) {
  switch (node->kind) {
    case NodeKind::String:
    case NodeKind::Number:
    case NodeKind::Const:
      return true;
    case NodeKind::Object:
      return static_cast<const CJasonTreeObject*>(node)->pairs.empty();
    case NodeKind::Array:
      return static_cast<const CJasonTreeArray*>(node)->values.empty();
    case NodeKind::Pair: {
      const CJasonTreeValue* value = static_cast<const CJasonTreePair*>(node)->value;
      return value == nullptr || IsShallow(value);
    }
    default:
      return false;
  }
}

// Deletes the children handed to it without recursion through the
// destructors, so that a tree of any depth can be deleted on a small stack.
// The first reaper made (in the destructor of the node being deleted by its
// owner) collects deeper nodes in a list and deletes them when it goes out
// of scope; reapers made by the destructors it runs only add to that list.
class ChildReaper {
 public:
  ChildReaper() : owner_(g_pendingDeletes == nullptr) {
    if (owner_) g_pendingDeletes = &pending_;
  }

  ~ChildReaper() {
    if (!owner_) return;
    while (!pending_.empty()) {
      CJasonTreeNode* node = pending_.back();
      pending_.pop_back();
      delete node;
    }
    g_pendingDeletes = nullptr;
  }

  ChildReaper(const ChildReaper&) = delete;
  ChildReaper& operator=(const ChildReaper&) = delete;

  void Release(CJasonTreeNode* child) {
    if (child == nullptr) return;
    if (IsShallow(child)) {
      delete child;
    } else {
      g_pendingDeletes->push_back(child);
    }
  }

 private:
  bool owner_;
  std::vector<CJasonTreeNode*> pending_;
};

}  // namespace

CJasonTreeNode::~CJasonTreeNode() = default;

void* CJasonTreeNode::operator new(std::size_t size) { return JasonPoolAllocate(size); }

void CJasonTreeNode::operator delete(void* p, std::size_t size) noexcept {
  JasonPoolFree(p, size);
}

CJasonTreeRoot::~CJasonTreeRoot() {
  ChildReaper reaper;
  reaper.Release(value);
}

CJasonTreePair::~CJasonTreePair() {
  ChildReaper reaper;
  reaper.Release(name);
  reaper.Release(value);
}

CJasonTreeObject::~CJasonTreeObject() {
  ChildReaper reaper;
  while (!pairs.empty()) {
    reaper.Release(pairs.front());
    pairs.pop_front();
  }
}

CJasonTreeArray::~CJasonTreeArray() {
  ChildReaper reaper;
  while (!values.empty()) {
    reaper.Release(values.front());
    values.pop_front();
  }
}

CJasonTreeString* CreateStringFromString(const std::string& text) {
  std::unique_ptr<CJasonTreeString> node(new CJasonTreeString);
  node->text = text;
  return node.release();
}

CJasonTreePair* CreatePairFromStrings(const std::string& name, const std::string& value) {
  std::unique_ptr<CJasonTreePair> pair(new CJasonTreePair);
  pair->name = CreateStringFromString(name);
  pair->value = CreateStringFromString(value);
  return pair.release();
}
