#include "JasonParser/JasonTree.h"

#include <memory>

#include "JasonParser/JasonPool.h"

namespace {

// Deletes nodes without recursing through the destructors and without
// allocating, so that a tree of any depth can be deleted on a small stack
// and while memory is short.
//
// Before a node is deleted, the members of the container under it (the node
// itself, or the value of a pair or root) are spliced into the reaper's own
// lists: splicing relinks the list nodes and allocates nothing. So every
// destructor that `delete` runs meets empty lists or leaves, and the reaper
// deletes the hoisted members one by one from the front of its lists.
class TreeReaper {
 public:
  TreeReaper() = default;
  TreeReaper(const TreeReaper&) = delete;
  TreeReaper& operator=(const TreeReaper&) = delete;

  // Deletes every node hoisted so far.
  ~TreeReaper() {
    for (;;) {
      if (!pairs_.empty()) {
        CJasonTreeNode* node = pairs_.front();
        pairs_.pop_front();
        Delete(node);
      } else if (!values_.empty()) {
        CJasonTreeNode* node = values_.front();
        values_.pop_front();
        Delete(node);
      } else {
        return;
      }
    }
  }

  // Deletes `node` (null: nothing) once the members beneath it are hoisted.
  void Delete(CJasonTreeNode* node) {
    if (node == nullptr) return;
    Hoist(node);
    delete node;
  }

  void TakeAll(std::list<CJasonTreePair*>& pairs) { pairs_.splice(pairs_.end(), pairs); }
  void TakeAll(std::list<CJasonTreeValue*>& values) { values_.splice(values_.end(), values); }

 private:
  // Moves the members of the container that deleting `node` would delete
  // next into this reaper.
  void Hoist(CJasonTreeNode* node) {
    if (node->kind == NodeKind::Pair) {
      node = static_cast<CJasonTreePair*>(node)->value;
    } else if (node->kind == NodeKind::Root) {
      node = static_cast<CJasonTreeRoot*>(node)->value;
    }
    if (node == nullptr) return;
    if (node->kind == NodeKind::Object) {
      TakeAll(static_cast<CJasonTreeObject*>(node)->pairs);
    } else if (node->kind == NodeKind::Array) {
      TakeAll(static_cast<CJasonTreeArray*>(node)->values);
    }
  }

  std::list<CJasonTreePair*> pairs_;
  std::list<CJasonTreeValue*> values_;
};

}  // namespace

CJasonTreeNode::~CJasonTreeNode() = default;

void* CJasonTreeNode::operator new(std::size_t size) { return JasonPoolAllocate(size); }

void CJasonTreeNode::operator delete(void* p, std::size_t size) noexcept {
  JasonPoolFree(p, size);
}

CJasonTreeRoot::~CJasonTreeRoot() {
  TreeReaper reaper;
  reaper.Delete(value);
}

CJasonTreePair::~CJasonTreePair() {
  TreeReaper reaper;
  reaper.Delete(name);
  reaper.Delete(value);
}

CJasonTreeObject::~CJasonTreeObject() {
  TreeReaper reaper;
  reaper.TakeAll(pairs);
}

CJasonTreeArray::~CJasonTreeArray() {
  TreeReaper reaper;
  reaper.TakeAll(values);
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
