#include "SVGCustomization/SvgElements.h"

#include <algorithm>

#include "SVGCustomization/SvgWorkStack.h"
#include "SVGCustomization/WrappedInt32.h"
#include "Utils/ConvertIntToString.h"

namespace {

qm::IVelEntity* Create(qm::IVelModel* model, const char* metaClass) { return model->CreateEntity(metaClass); }

void SetText(qm::IVelEntity* entity, const char* property, const std::string& text) {
  entity->SetValue(property, text, 0, qmdll::defaultChanger);
}

void Attach(qm::IVelEntity* owner, const char* property, qm::IVelEntity* entity) {
  owner->SetEntity(property, entity, 0, qmdll::defaultChanger);
}

// Appends the attribute name="value" to `element`; an attribute that cannot
// be made is left out.
void AddAttribute(qm::IVelEntity* element, const char* name, const std::string& value, qm::IVelModel* model) {
  AppendSVGChild(element, CreateSVGAssignmentExpr(name, value, model));
}

std::string RgbText(const CSvgColor& color) {
  return "rgb(" + ConvertIntToString(color.r) + "," + ConvertIntToString(color.g) + "," +
         ConvertIntToString(color.b) + ")";
}

// "x1,y1 x2,y2 ..." in diagram units.
std::string PointsText(const std::vector<CSvgPoint>& points) {
  std::string text;
  for (std::size_t i = 0; i < points.size(); ++i) {
    if (i != 0) text += ' ';
    text += ConvertIntToString(points[i].x);
    text += ',';
    text += ConvertIntToString(points[i].y);
  }
  return text;
}

}  // namespace

void AppendSVGChild(qm::IVelEntity* parent, qm::IVelEntity* child) {
  if (parent != nullptr && child != nullptr) Attach(parent, "Expression", child);
}

qm::IVelEntity* CreateSVGInstanceExpr(const std::string& name, qm::IVelModel* model) {
  if (model == nullptr) return nullptr;
  qm::IVelEntity* element = Create(model, "InstanceExpr");
  if (element == nullptr) return nullptr;
  qm::IVelEntity* ident = Create(model, "Ident");
  if (ident == nullptr) return nullptr;
  SetText(ident, "Name", name);
  Attach(element, "InstanceOf", ident);
  return element;
}

qm::IVelEntity* CreateSVGAssignmentExpr(const std::string& name, const std::string& value, qm::IVelModel* model) {
  if (model == nullptr) return nullptr;
  qm::IVelEntity* assignment = Create(model, "BinaryExpr");
  if (assignment == nullptr) return nullptr;
  qm::IVelEntity* nameIdent = Create(model, "Ident");
  if (nameIdent == nullptr) return nullptr;
  qm::IVelEntity* text = Create(model, "CharstringValue");
  if (text == nullptr) return nullptr;
  qm::IVelEntity* operation = Create(model, "Ident");
  if (operation == nullptr) return nullptr;
  SetText(operation, "Name", "=");
  SetText(nameIdent, "Name", name);
  SetText(text, "ValueString", value);
  Attach(assignment, "LeftOperand", nameIdent);
  Attach(assignment, "RightOperand", text);
  Attach(assignment, "Operation", operation);
  return assignment;
}

qm::IVelEntity* CreateSVGInformalExpr(const std::string& text, qm::IVelModel* model) {
  if (model == nullptr) return nullptr;
  qm::IVelEntity* informal = Create(model, "InformalExpr");
  if (informal == nullptr) return nullptr;
  qm::IVelEntity* fragment = Create(model, "InformalEntityFragment");
  if (fragment == nullptr) return nullptr;
  SetText(fragment, "TextFragment", text);
  Attach(informal, "InformalEntityFragment", fragment);
  return informal;
}

qm::IVelEntity* CreateSVGPolygon(const std::vector<CSvgPoint>& points, const CSvgColor& color,
                                 const std::string& id, qm::IVelModel* model) {
  qm::IVelEntity* group = CreateSVGInstanceExpr("g", model);
  if (group == nullptr || points.size() < 3) return nullptr;

  int minX = points[0].x, maxX = points[0].x, minY = points[0].y, maxY = points[0].y;
  for (const CSvgPoint& p : points) {
    minX = std::min(minX, p.x);
    maxX = std::max(maxX, p.x);
    minY = std::min(minY, p.y);
    maxY = std::max(maxY, p.y);
  }
  const int width = WrappedSub(maxX, minX);
  const int height = WrappedSub(maxY, minY);

  // Drawn once in diagram units, in the symbol's own coordinate system...
  qm::IVelEntity* symbol = CreateSVGInstanceExpr("symbol", model);
  if (symbol == nullptr) return nullptr;
  AddAttribute(symbol, "id", id, model);
  AddAttribute(symbol, "viewBox",
               ConvertIntToString(minX) + " " + ConvertIntToString(minY) + " " + ConvertIntToString(width) + " " +
                   ConvertIntToString(height),
               model);
  AddAttribute(symbol, "preserveAspectRatio", "none", model);

  qm::IVelEntity* polygon = CreateSVGInstanceExpr("polygon", model);
  if (polygon == nullptr) return nullptr;
  AddAttribute(polygon, "points", PointsText(points), model);
  AddAttribute(polygon, "stroke-width", "0.0mm", model);
  AddAttribute(polygon, "fill", RgbText(color), model);

  // ...and stretched onto the bounding box in millimetres.
  qm::IVelEntity* use = CreateSVGInstanceExpr("use", model);
  if (use == nullptr) return nullptr;
  AddAttribute(use, "xlink:href", "#" + id, model);
  AddAttribute(use, "x", ConvertDoubleToStringMM(minX / 10.0), model);
  AddAttribute(use, "y", ConvertDoubleToStringMM(minY / 10.0), model);
  AddAttribute(use, "width", ConvertDoubleToStringMM(width / 10.0), model);
  AddAttribute(use, "height", ConvertDoubleToStringMM(height / 10.0), model);

  AppendSVGChild(symbol, polygon);
  AppendSVGChild(group, symbol);
  AppendSVGChild(group, use);
  return group;
}

qm::IVelEntity* CreateSVGRedTriangle(int x, int y, int size, const std::string& prefix, qm::IVelModel* model,
                                     CSvgColor color, std::string suffix) {
  const std::vector<CSvgPoint> points = {CSvgPoint(x, y), CSvgPoint(WrappedAdd(x, size), WrappedAdd(y, size / 2)),
                                         CSvgPoint(x, WrappedAdd(y, size))};
  return CreateSVGPolygon(points, color, prefix + suffix, model);
}

qm::IVelEntity* CreateSVGYellowTriangle(int x, int y, int size, const std::string& prefix, qm::IVelModel* model,
                                        CSvgColor color, std::string suffix) {
  const std::vector<CSvgPoint> points = {CSvgPoint(x, WrappedAdd(y, size / 2)), CSvgPoint(WrappedAdd(x, size), y),
                                         CSvgPoint(WrappedAdd(x, size), WrappedAdd(y, size))};
  return CreateSVGPolygon(points, color, prefix + suffix, model);
}

std::string SVGElementName(qm::IVelEntity* entity) {
  qm::IVelEntity* definition = entity->GetReferencedEntity("InstanceOf", 0);
  std::string name;
  if (definition != nullptr) {
    if (definition->IsKindOf("Ident")) definition->GetValue("Name", name, 0);
    return name;
  }
  std::string text;
  entity->GetValue("InstanceOf", text, 0);
  if (text.size() >= 4 && text.compare(0, 4, "ref:") == 0) name = text.substr(4);
  return name;
}

namespace {

// The removal remembers nothing of an open element but its items.
struct NoNotes {};

// How visiting one entity of the removal went.
enum class Removal { kKept, kRemoved, kEnd };

// Visits `entity`: deletes it when it is a "boundaryrect" element, or opens
// it on `stack` (with a copy of its "Expression" list: deleting an entry
// changes the host's list, not ours, and every entry is visited once) when
// it is another element. kEnd when it cannot be opened (a cycle of
// "Expression" lists, or no memory): the whole removal ends there, and what
// was removed before stays removed.

Removal Visit(SvgWorkStack<NoNotes>& stack, qm::IVelEntity* entity) {
  if (entity == nullptr) return Removal::kKept;
  if (!entity->IsKindOf("InstanceExpr")) return Removal::kKept;
  if (SVGElementName(entity) == "boundaryrect") {
    entity->DeleteEntity(qmdll::defaultChanger);
    return Removal::kRemoved;
  }
  if (stack.Enter(entity) != SvgEnter::kEntered) return Removal::kEnd;
  entity->GetEntities("Expression", stack.Innermost().items);
  return Removal::kKept;
}

// Depth first, in the order of the "Expression" lists, without recursion.
Removal Removing(qm::IVelEntity* root) {
  SvgWorkStack<NoNotes> stack;
  const Removal first = Visit(stack, root);
  if (first != Removal::kKept) return first;
  while (!stack.Empty()) {
    qm::EntityList& items = stack.Innermost().items;
    if (items.empty()) {
      stack.Leave();
      continue;
    }
    if (Visit(stack, TakeNextItem(items)) == Removal::kEnd) return Removal::kEnd;
  }
  return Removal::kKept;
}

}  // namespace

bool RemoveBoundaryrectElements(qm::IVelEntity* entity) { return Removing(entity) == Removal::kRemoved; }

void RemoveBoundaryrectElement(qm::IVelEntity* entity) { RemoveBoundaryrectElements(entity); }
