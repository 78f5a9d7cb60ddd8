#include "JasonParser/JasonElementFinder.h"

#include <new>
#include <vector>

namespace {

// A container whose children are being walked.
struct OpenContainer {
  CJasonTreeNode* node;
  std::list<CJasonTreePair*>::iterator nextPair;
  std::list<CJasonTreeValue*>::iterator nextValue;
};

// The node under a root or pair that the walk goes on with: its value.
// Other nodes are returned as they are.
CJasonTreeNode* SkipToValue(CJasonTreeNode* node) {
  while (node != nullptr) {
    if (node->kind == NodeKind::Root) {
      node = static_cast<CJasonTreeRoot*>(node)->value;
    } else if (node->kind == NodeKind::Pair) {
      node = static_cast<CJasonTreePair*>(node)->value;
    } else {
      return node;
    }
  }
  return nullptr;
}

// Records `object` in `elements` if it has an "objID" member.
void RecordObject(const CJasonTreeObject* object,
                  std::map<std::string, CJasonTreeValue*>& elements) {
  std::string identifier;
  CJasonTreeValue* relation = nullptr;
  bool identifierSeen = false;
  for (const CJasonTreePair* pair : object->pairs) {
    if (pair->name == nullptr) continue;
    const std::string& name = pair->name->text;
    if (name == "objID") {
      identifierSeen = true;
      if (pair->value != nullptr && pair->value->kind == NodeKind::String) {
        identifier = static_cast<const CJasonTreeString*>(pair->value)->text;
      }
    } else if (name == "relInfo") {
      relation = pair->value;
    }
  }
  if (identifierSeen) elements[identifier] = relation;
}

}  // namespace

CJasonElementFinder::~CJasonElementFinder() = default;

void CJasonElementFinder::Visit(CJasonTreeNode* node) {
  try {
    Walk(node);
  } catch (const std::bad_alloc&) {
    elements.clear();  // a partial index would answer wrongly; an empty one answers "nothing sent"
  }
}

void CJasonElementFinder::Walk(CJasonTreeNode* node) {
  // Children are walked before their object is recorded: an object's entry
  // depends only on its own pairs, so recording it once all of them have
  // been walked gives the same order as recording it right after its last
  // pair.
  std::vector<OpenContainer> open;
  auto enter = [&open](CJasonTreeNode* child) {
    child = SkipToValue(child);
    if (child == nullptr) return;
    if (child->kind == NodeKind::Object) {
      open.push_back({child, static_cast<CJasonTreeObject*>(child)->pairs.begin(), {}});
    } else if (child->kind == NodeKind::Array) {
      open.push_back({child, {}, static_cast<CJasonTreeArray*>(child)->values.begin()});
    }
  };
  enter(node);
  while (!open.empty()) {
    OpenContainer& top = open.back();
    if (top.node->kind == NodeKind::Object) {
      CJasonTreeObject* object = static_cast<CJasonTreeObject*>(top.node);
      if (top.nextPair != object->pairs.end()) {
        CJasonTreePair* pair = *top.nextPair++;
        enter(pair);  // may grow `open`; `top` is not used after this
        continue;
      }
      open.pop_back();
      RecordObject(object, elements);
      continue;
    }
    CJasonTreeArray* array = static_cast<CJasonTreeArray*>(top.node);
    if (top.nextValue != array->values.end()) {
      CJasonTreeValue* value = *top.nextValue++;
      enter(value);
      continue;
    }
    open.pop_back();
  }
}
