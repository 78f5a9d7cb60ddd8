#include "ControlInfoParser/CIExpression.h"

namespace {

// Deletes nodes without recursing through the destructors and without
// allocating, so that a tree of any depth can be freed on a small stack and
// while memory is short (an allocation failure in a destructor would end
// the process).
//
// Before a node is deleted, its children are taken out of it: the items or
// arguments of a list or instance are spliced into the reaper's own list
// (splicing relinks the list nodes and allocates nothing), and the value of
// an assignment is deleted next, in the same loop. So every destructor that
// `delete` runs meets an empty list or a null value.
class ExpressionReaper {
 public:
  ExpressionReaper() = default;
  ExpressionReaper(const ExpressionReaper&) = delete;
  ExpressionReaper& operator=(const ExpressionReaper&) = delete;

  // Deletes every node taken so far.
  ~ExpressionReaper() {
    while (!pending_.empty()) {
      CCIExpression* node = pending_.front();
      pending_.pop_front();
      Delete(node);
    }
  }

  // Deletes `node` (null: nothing) and the chain of assignment values under
  // it; the items and arguments met on the way wait in this reaper.
  void Delete(CCIExpression* node) {
    while (node != nullptr) {
      CCIExpression* next = Take(node);
      delete node;  // through the virtual destructor; it finds no children
      node = next;
    }
  }

  // Takes the children out of `node`: list members into this reaper, and an
  // assignment's value as the result (null for every other kind).
  CCIExpression* Take(CCIExpression* node) {
    switch (node->kind) {
      case kCIInstanceExpr:
        pending_.splice(pending_.end(), static_cast<CCIInstanceExpr*>(node)->arguments);
        return nullptr;
      case kCIListExpr:
        pending_.splice(pending_.end(), static_cast<CCIListExpr*>(node)->items);
        return nullptr;
      case kCIAssignmentExpr: {
        auto* assignment = static_cast<CCIAssignmentExpr*>(node);
        CCIExpression* value = assignment->value;
        assignment->value = nullptr;
        return value;
      }
      case kCIStringValue:
        break;
    }
    return nullptr;
  }

 private:
  std::list<CCIExpression*> pending_;
};

// Deletes the children of a node whose destructor is running.
void DeleteChildrenOf(CCIExpression* node) {
  ExpressionReaper reaper;
  reaper.Delete(reaper.Take(node));
}

}  // namespace

CCIExpression::~CCIExpression() = default;

CCIInstanceExpr::~CCIInstanceExpr() { DeleteChildrenOf(this); }

CCIAssignmentExpr::~CCIAssignmentExpr() { DeleteChildrenOf(this); }

CCIListExpr::~CCIListExpr() { DeleteChildrenOf(this); }
