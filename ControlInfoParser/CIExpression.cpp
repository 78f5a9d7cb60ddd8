#include "ControlInfoParser/CIExpression.h"

#include <vector>

namespace {

// Moves the children of `node` (not their children) onto `pending`, leaving
// `node` without any, so that deleting it deletes nothing else.
void TakeChildren(CCIExpression* node, std::vector<CCIExpression*>& pending) {
  switch (node->kind) {
    case kCIInstanceExpr: {
      auto& args = static_cast<CCIInstanceExpr*>(node)->arguments;
      for (CCIExpression* child : args) pending.push_back(child);
      args.clear();
      break;
    }
    case kCIAssignmentExpr: {
      auto* assignment = static_cast<CCIAssignmentExpr*>(node);
      if (assignment->value != nullptr) pending.push_back(assignment->value);
      assignment->value = nullptr;
      break;
    }
    case kCIListExpr: {
      auto& items = static_cast<CCIListExpr*>(node)->items;
      for (CCIExpression* child : items) pending.push_back(child);
      items.clear();
      break;
    }
    case kCIStringValue:
      break;
  }
}

// Deletes the subtrees in `pending` with an explicit work list instead of
// recursion: each node is emptied before its destructor runs, so the stack
// depth stays constant whatever the depth of the tree.
void DeleteSubtrees(std::vector<CCIExpression*>& pending) {
  while (!pending.empty()) {
    CCIExpression* node = pending.back();
    pending.pop_back();
    if (node == nullptr) continue;
    TakeChildren(node, pending);
    delete node;  // through the virtual destructor; it finds no children
  }
}

// Deletes the children of a node that is being destroyed.
void DeleteChildrenOf(CCIExpression* node) {
  std::vector<CCIExpression*> pending;
  TakeChildren(node, pending);
  DeleteSubtrees(pending);
}

}  // namespace

CCIExpression::~CCIExpression() = default;

CCIInstanceExpr::~CCIInstanceExpr() { DeleteChildrenOf(this); }

CCIAssignmentExpr::~CCIAssignmentExpr() { DeleteChildrenOf(this); }

CCIListExpr::~CCIListExpr() { DeleteChildrenOf(this); }
