#include "ControlInfoParser/ControlInfoToJasonTransformer.h"

#include <list>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ControlInfoParser/CIMemory.h"
#include "ControlInfoParser/CIParser.h"

namespace {

// Everything below lets an allocation failure through; the two public
// functions turn it into a null answer for the whole page.

// Appends a pair `name` : `value` to `object`, taking ownership of `value`.
// Nothing leaks if an allocation throws on the way.
void AppendPair(CJasonTreeObject& object, const std::string& name, std::unique_ptr<CJasonTreeValue> value) {
  std::unique_ptr<CJasonTreePair> pair(new CJasonTreePair);
  pair->name = CreateStringFromString(name);
  pair->value = value.release();
  object.pairs.push_back(pair.get());
  pair.release();
}

// Appends `value` to `array`, taking ownership of it.
void AppendValue(CJasonTreeArray& array, std::unique_ptr<CJasonTreeValue> value) {
  array.values.push_back(value.get());
  value.release();
}

std::unique_ptr<CJasonTreeValue> StringNode(const std::string& text) {
  return std::unique_ptr<CJasonTreeValue>(CreateStringFromString(text));
}

// The string of a string-value expression, or null for any other node.
const std::string* StringOf(const CCIExpression* e) {
  if (e == nullptr || e->kind != kCIStringValue) return nullptr;
  return &static_cast<const CCIStringValue*>(e)->value;
}

// The assignment that `e` is, or null when it is something else.
const CCIAssignmentExpr* AsAssignment(const CCIExpression* e) {
  if (e == nullptr || e->kind != kCIAssignmentExpr) return nullptr;
  return static_cast<const CCIAssignmentExpr*>(e);
}

// The list that `e` is, or null when it is something else.
const CCIListExpr* AsList(const CCIExpression* e) {
  if (e == nullptr || e->kind != kCIListExpr) return nullptr;
  return static_cast<const CCIListExpr*>(e);
}

// True when `e` is an instance named exactly "ControlInfo".
bool IsControlInfoInstance(const CCIExpression* e) {
  return e != nullptr && e->kind == kCIInstanceExpr && static_cast<const CCIInstanceExpr*>(e)->name == "ControlInfo";
}

// The value of an entity list: when `text` parses as a ControlInfo list, an
// array of its string items; otherwise the string `text` itself. Memory
// running out in the parse is no text that fails to parse: it fails the
// whole page.
std::unique_ptr<CJasonTreeValue> EntityListValue(const std::string& text) {
  CCIParser parser;
  CCIOutcome outcome = CCIOutcome::kDone;
  std::unique_ptr<CCIExpression> parsed(parser.ParseControlInfoTextWithOutcome(text, outcome));
  if (outcome == CCIOutcome::kOutOfMemory) throw std::bad_alloc();
  const CCIListExpr* list = AsList(parsed.get());
  if (list == nullptr) return StringNode(text);
  std::unique_ptr<CJasonTreeArray> array(new CJasonTreeArray);
  for (const CCIExpression* item : list->items) {
    const std::string* s = StringOf(item);
    if (s != nullptr) AppendValue(*array, StringNode(*s));
  }
  return std::unique_ptr<CJasonTreeValue>(array.release());
}

std::unique_ptr<CJasonTreeObject> Control(const CCIExpression* control) {
  if (control == nullptr || control->kind != kCIInstanceExpr) return nullptr;
  const auto& instance = *static_cast<const CCIInstanceExpr*>(control);
  std::unique_ptr<CJasonTreeObject> object(new CJasonTreeObject);
  AppendPair(*object, "controlKind", StringNode(instance.name));
  for (const CCIExpression* argument : instance.arguments) {
    const CCIAssignmentExpr* assignment = AsAssignment(argument);
    if (assignment == nullptr) continue;
    const std::string* text = StringOf(assignment->value);
    if (text == nullptr) continue;
    if (assignment->name == "text") {
      AppendPair(*object, "text", StringNode(*text));
    } else if (assignment->name == "value") {
      AppendPair(*object, "value", instance.name == "EntityList" ? EntityListValue(*text) : StringNode(*text));
    }
  }
  return object;
}

using Members = std::list<CCIExpression*>::const_iterator;

// One list of "ControlInfo" instances being transformed: where its walk
// stands, and the JSON made for it so far.
struct OpenList {
  Members nextItem, endItem;
  CJasonTreeArray* array;           // owned
  CJasonTreeObject* object;         // owned: the item being filled; null between items
  Members nextArgument, endArgument;  // the arguments of that item
};

// The lists still being transformed, innermost last, owning their JSON. A
// nested "children" list is pushed when its assignment is met and popped
// when it is done, so the page nests as deep as memory allows.
class OpenLists {
 public:
  OpenLists() = default;
  OpenLists(const OpenLists&) = delete;
  OpenLists& operator=(const OpenLists&) = delete;
  ~OpenLists() {
    while (!lists_.empty()) Pop();
  }

  bool Empty() const { return lists_.empty(); }
  OpenList& Top() { return lists_.back(); }

  // Opens `list` with an empty array. Invalidates references to Top().
  void Push(const CCIListExpr& list) {
    std::unique_ptr<CJasonTreeArray> array(new CJasonTreeArray);
    lists_.push_back(OpenList{list.items.begin(), list.items.end(), array.get(), nullptr, {}, {}});
    array.release();
  }

  // Closes the innermost list; its array goes to the caller, an unfinished
  // item is freed.
  std::unique_ptr<CJasonTreeArray> Pop() {
    OpenList& top = lists_.back();
    std::unique_ptr<CJasonTreeArray> array(top.array);
    delete top.object;
    lists_.pop_back();
    return array;
  }

 private:
  std::vector<OpenList> lists_;
};

// Takes one step in the innermost list of `open`: starts or finishes an
// item, or handles one argument of the item being filled (which may open a
// nested list). True when the innermost list is done: `done` then holds its
// array, or null when one of its items is not a "ControlInfo" instance.
bool Step(OpenLists& open, std::unique_ptr<CJasonTreeArray>& done) {
  OpenList& top = open.Top();
  if (top.object == nullptr) {
    if (top.nextItem == top.endItem) {
      done = open.Pop();
      return true;
    }
    const CCIExpression* item = *top.nextItem;
    if (!IsControlInfoInstance(item)) {  // one wrong item spoils the list
      open.Pop();
      done.reset();
      return true;
    }
    const auto& info = *static_cast<const CCIInstanceExpr*>(item);
    top.object = new CJasonTreeObject;
    ++top.nextItem;
    top.nextArgument = info.arguments.begin();
    top.endArgument = info.arguments.end();
    return false;
  }
  if (top.nextArgument == top.endArgument) {
    std::unique_ptr<CJasonTreeValue> object(top.object);
    top.object = nullptr;
    AppendValue(*top.array, std::move(object));
    return false;
  }
  const CCIAssignmentExpr* assignment = AsAssignment(*top.nextArgument++);
  if (assignment == nullptr) return false;
  if (assignment->name == "control") {
    std::unique_ptr<CJasonTreeObject> control = Control(assignment->value);
    if (control) AppendPair(*top.object, "control", std::move(control));
  } else if (assignment->name == "children") {
    // A value that is no list fails at once and loses its pair.
    const CCIListExpr* children = AsList(assignment->value);
    if (children != nullptr) open.Push(*children);
  }
  return false;
}

std::unique_ptr<CJasonTreeArray> Page(const CCIExpression* page) {
  const CCIListExpr* list = AsList(page);
  if (list == nullptr) return nullptr;
  OpenLists open;
  open.Push(*list);
  for (;;) {
    std::unique_ptr<CJasonTreeArray> done;
    if (!Step(open, done)) continue;
    if (open.Empty()) return done;  // a fault at the top fails the whole answer
    // A nested list that fails loses only its own pair.
    if (done) AppendPair(*open.Top().object, "children", std::move(done));
  }
}

}  // namespace

CJasonTreeArray* CControlInfoToJasonTransformer::TransformControlInfoList(const CCIExpression* list) {
  std::unique_ptr<CJasonTreeArray> array;
  if (!RunUnlessMemoryRunsOut([&] { array = Page(list); })) return nullptr;
  return array.release();
}

CJasonTreeObject* CControlInfoToJasonTransformer::TransformControl(const CCIExpression* control) {
  std::unique_ptr<CJasonTreeObject> object;
  if (!RunUnlessMemoryRunsOut([&] { object = Control(control); })) return nullptr;
  return object.release();
}
