#include "ControlInfoParser/ControlInfoToJasonTransformer.h"

#include <memory>
#include <string>

#include "ControlInfoParser/CIParser.h"
#include "Utils/StackRoom.h"

namespace {

// Appends a pair `name` : `value` to `object`, taking ownership of `value`.
// Nothing leaks if an allocation throws on the way.
void AppendPair(CJasonTreeObject& object, const std::string& name,
                std::unique_ptr<CJasonTreeValue> value) {
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

// The value of an entity list: when `text` parses as a ControlInfo list, an
// array of its string items; otherwise the string `text` itself.
std::unique_ptr<CJasonTreeValue> EntityListValue(const std::string& text) {
  CCIParser parser;
  std::unique_ptr<CCIExpression> parsed(parser.ParseControlInfoText(text));
  if (!parsed || parsed->kind != kCIListExpr) {
    return std::unique_ptr<CJasonTreeValue>(CreateStringFromString(text));
  }
  std::unique_ptr<CJasonTreeArray> array(new CJasonTreeArray);
  for (const CCIExpression* item : static_cast<const CCIListExpr*>(parsed.get())->items) {
    const std::string* s = StringOf(item);
    if (s != nullptr) AppendValue(*array, std::unique_ptr<CJasonTreeValue>(CreateStringFromString(*s)));
  }
  return std::unique_ptr<CJasonTreeValue>(array.release());
}

// True when `e` is an instance named exactly "ControlInfo".
bool IsControlInfoInstance(const CCIExpression* e) {
  return e != nullptr && e->kind == kCIInstanceExpr &&
         static_cast<const CCIInstanceExpr*>(e)->name == "ControlInfo";
}

CJasonTreeArray* TransformList(const CCIExpression* list, bool& outOfStack);

// The object of one "ControlInfo" instance: its "control" and "children".
// Sets `outOfStack` when a nested list could not be transformed for lack of
// stack; the object is incomplete then and the caller drops it.
std::unique_ptr<CJasonTreeValue> TransformControlInfo(const CCIInstanceExpr& info, bool& outOfStack) {
  std::unique_ptr<CJasonTreeObject> object(new CJasonTreeObject);
  for (const CCIExpression* argument : info.arguments) {
    const CCIAssignmentExpr* assignment = AsAssignment(argument);
    if (assignment == nullptr) continue;
    std::unique_ptr<CJasonTreeValue> value;
    if (assignment->name == "control") {
      value.reset(CControlInfoToJasonTransformer::TransformControl(assignment->value));
    } else if (assignment->name == "children") {
      // A nested list that fails loses only its own pair.
      value.reset(TransformList(assignment->value, outOfStack));
      if (outOfStack) return nullptr;
    }
    if (value) AppendPair(*object, assignment->name, std::move(value));
  }
  return std::unique_ptr<CJasonTreeValue>(object.release());
}

// TransformControlInfoList, one level of "children" per call. A page nested
// deeper than the stack can hold is no failure of one nested list (which
// would only lose its pair) but of the whole transformation: `outOfStack`
// is set and every level returns null up to the top.
CJasonTreeArray* TransformList(const CCIExpression* list, bool& outOfStack) {
  if (list == nullptr || list->kind != kCIListExpr) return nullptr;
  if (!HasStackRoom()) {
    outOfStack = true;
    return nullptr;
  }
  std::unique_ptr<CJasonTreeArray> array(new CJasonTreeArray);
  for (const CCIExpression* item : static_cast<const CCIListExpr*>(list)->items) {
    if (!IsControlInfoInstance(item)) return nullptr;  // one wrong item spoils the list
    const auto& info = *static_cast<const CCIInstanceExpr*>(item);
    std::unique_ptr<CJasonTreeValue> object = TransformControlInfo(info, outOfStack);
    if (outOfStack) return nullptr;
    AppendValue(*array, std::move(object));
  }
  return array.release();
}

}  // namespace

CJasonTreeArray* CControlInfoToJasonTransformer::TransformControlInfoList(const CCIExpression* list) {
  bool outOfStack = false;
  return TransformList(list, outOfStack);
}

CJasonTreeObject* CControlInfoToJasonTransformer::TransformControl(const CCIExpression* control) {
  if (control == nullptr || control->kind != kCIInstanceExpr) return nullptr;
  const auto& instance = *static_cast<const CCIInstanceExpr*>(control);
  std::unique_ptr<CJasonTreeObject> object(new CJasonTreeObject);
  AppendPair(*object, "controlKind",
             std::unique_ptr<CJasonTreeValue>(CreateStringFromString(instance.name)));
  for (const CCIExpression* argument : instance.arguments) {
    const CCIAssignmentExpr* assignment = AsAssignment(argument);
    if (assignment == nullptr) continue;
    const std::string* text = StringOf(assignment->value);
    if (text == nullptr) continue;
    if (assignment->name == "text") {
      AppendPair(*object, "text", std::unique_ptr<CJasonTreeValue>(CreateStringFromString(*text)));
    } else if (assignment->name == "value") {
      AppendPair(*object, "value",
                 instance.name == "EntityList"
                     ? EntityListValue(*text)
                     : std::unique_ptr<CJasonTreeValue>(CreateStringFromString(*text)));
    }
  }
  return object.release();
}
