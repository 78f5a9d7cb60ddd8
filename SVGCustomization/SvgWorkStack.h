// The work stack of the walks over the host's SVG tree (the annotation, the
// re-annotation and the removal of boundary rectangles).
//
// The tree is the host's and may be nested as deep as the host likes, on
// whatever stack the host calls the plug-in. So no walk recurses: each keeps
// the elements it has entered and not yet finished on the heap, innermost
// last, each with a copy of its "Expression" list that the walk takes from the
// front. Depth is bounded by memory only.
//
// The stack also knows which elements are open (entered and not finished).
// An element that is already open when it is entered again lies on a cycle
// of "Expression" lists: a recursive walk would never end there, so the walk
// ends instead.
#ifndef SVGCUSTOMIZATION_SVGWORKSTACK_H_
#define SVGCUSTOMIZATION_SVGWORKSTACK_H_

#include <deque>
#include <new>
#include <unordered_set>

#include "host/VelInterfaces.h"

// How entering an element went.
enum class SvgEnter {
  kEntered,  // the element is the innermost open level now
  kCycle,    // the element was open already: the walk must end
};

// `Notes` is what a walk remembers of each open element besides its items
// (for the annotation: what its attributes said).
template <typename Notes>
class SvgWorkStack {
 public:
  struct Level {
    explicit Level(qm::IVelEntity* e) : element(e) {}
    qm::IVelEntity* element;
    qm::EntityList items;  // what is left of the element's "Expression" list
    Notes notes;
  };

  // Opens `element` as the innermost level, with no items yet (the caller
  // fills them from the host). Makes no host call. When memory runs out it
  // throws std::bad_alloc and the stack is as it was: the agent's catch-all
  // then ends the whole request with its output untouched, rather than
  // caching a tree annotated only in part.
  SvgEnter Enter(qm::IVelEntity* element) {
    if (!open_.insert(element).second) return SvgEnter::kCycle;
    try {
      levels_.emplace_back(element);
    } catch (...) {
      open_.erase(element);
      throw;
    }
    return SvgEnter::kEntered;
  }

  // The innermost open level. The stack must not be empty; the reference
  // stays valid until that level is left (deque: entering others keeps it).
  Level& Innermost() { return levels_.back(); }

  // Closes the innermost level.
  void Leave() noexcept {
    open_.erase(levels_.back().element);
    levels_.pop_back();
  }

  bool Empty() const noexcept { return levels_.empty(); }

 private:
  std::deque<Level> levels_;
  std::unordered_set<qm::IVelEntity*> open_;
};

// Takes the next item of a level; the level's items must not be empty.
inline qm::IVelEntity* TakeNextItem(qm::EntityList& items) {
  qm::IVelEntity* item = items.front();
  items.pop_front();
  return item;
}

#endif  // SVGCUSTOMIZATION_SVGWORKSTACK_H_
