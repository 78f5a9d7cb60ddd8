#include "SVGCustomization/SvgTraversal.h"

#include <string>
#include <vector>

#include "JasonParser/JasonScanner.h"
#include "SVGCustomization/SvgCache.h"
#include "Links/LinkInformation.h"
#include "SVGCustomization/SvgElements.h"
#include "SVGCustomization/SvgGeometry.h"
#include "SVGCustomization/SvgMath.h"
#include "SVGCustomization/SvgWorkStack.h"
#include "SVGCustomization/WrappedInt32.h"

namespace {

const char kLinkTextPrefix[] = "nativelinks:";
const std::size_t kLinkTextPrefixLength = sizeof kLinkTextPrefix - 1;

// Side of a marker triangle, and how far a line's markers and icon sit from
// the line, in diagram units.
const int kMarkerSize = 16;
const double kLineOffset = 50.0;

// The attribute name="value" of an item of an element, when it is one: a
// "BinaryExpr" whose left operand is an "Ident" and whose right operand is
// a "CharstringValue".
bool ReadAttribute(qm::IVelEntity* item, std::string& name, std::string& value) {
  if (!item->IsKindOf("BinaryExpr")) return false;
  qm::IVelEntity* left = item->GetReferencedEntity("LeftOperand", 0);
  if (left == nullptr || !left->IsKindOf("Ident")) return false;
  qm::IVelEntity* right = item->GetReferencedEntity("RightOperand", 0);
  if (right == nullptr || !right->IsKindOf("CharstringValue")) return false;
  left->GetValue("Name", name, 0);
  right->GetValue("ValueString", value, 0);
  return true;
}

// What an element's attributes say about it.
struct Marking {
  bool marked = false;
  std::string id;

  void Note(const std::string& name, const std::string& value) {
    if (name == "metaClass" && (value == "Symbol" || value == "Line")) marked = true;
    if (name == "id") id = value;  // the last one wins
  }
};

// The model side of a marked element.
struct Target {
  qm::IVelEntity* presentation = nullptr;
  qm::IVelEntity* modelElement = nullptr;
  qm::IVelEntity* diagram = nullptr;
  bool frame = false;

  // What the element stands for: the diagram for a frame, else the model element.
  qm::IVelEntity* Shown() const { return frame ? diagram : modelElement; }
};

// Resolves the presentation element named `id`; false when it or its model
// element is missing (a frame needs a model element too).
bool Resolve(qm::IVelModel* model, const std::string& id, Target& target) {
  target.presentation = model->FindEntity(id);
  if (target.presentation == nullptr) return false;
  target.modelElement = target.presentation->GetReferencedEntity("ModelElement", 0);
  target.diagram = target.presentation->GetReferencedEntity("Diagram", 0);
  target.frame = target.presentation->IsKindOf("FrameSymbol") && target.diagram != nullptr;
  return target.modelElement != nullptr;
}

// The "desc" text: the diagram's name for a frame, a definition's name, or
// else the presentation's meta class with its diagram's name in brackets.
std::string Description(const Target& target) {
  std::string text;
  if (target.frame) {
    target.diagram->GetValue("Name", text, 0);
    return text;
  }
  if (target.modelElement->IsKindOf("Definition")) {
    target.modelElement->GetValue("Name", text, 0);
    return text;
  }
  target.presentation->GetMetaClassName(text);
  if (target.diagram != nullptr) {
    std::string diagramName;
    target.diagram->GetValue("Name", diagramName, 0);
    if (!diagramName.empty()) text += " (" + diagramName + ")";
  }
  return text;
}

// The point at `fraction` of a line's way, kLineOffset to its left.
CSvgPoint PointOnLine(qm::IVelEntity* line, double fraction) {
  std::vector<CSvgPoint> points;
  GetLinePoints(line, points);
  return FindPointALongLine(points, IsLineBezier(line), fraction, kLineOffset);
}

// Top-left corners of the four marker boxes Q1..Q4 for a presentation element.
struct Slots {
  CSvgPoint q[4];
};

Slots MarkerSlots(qm::IVelEntity* presentation) {
  Slots slots;
  if (presentation->IsKindOf("Symbol")) {
    // A two-by-two block in the symbol's top-right corner.
    const CSvgPoint position = GetSymbolPosition(presentation);
    const CSvgPoint size = GetSymbolSize(presentation);
    const int right = WrappedAdd(position.x, size.x);
    slots.q[0] = CSvgPoint(WrappedSub(right, 2 * kMarkerSize), WrappedAdd(position.y, 5));
    slots.q[1] = CSvgPoint(WrappedSub(right, 2 * kMarkerSize), WrappedAdd(position.y, 5 + kMarkerSize));
    slots.q[2] = CSvgPoint(WrappedSub(right, kMarkerSize), WrappedAdd(position.y, 5));
    slots.q[3] = CSvgPoint(WrappedSub(right, kMarkerSize), WrappedAdd(position.y, 5 + kMarkerSize));
  } else if (presentation->IsKindOf("Line")) {
    // Just before the middle of the line; the icon takes the place after it.
    const CSvgPoint p = PointOnLine(presentation, 0.45);
    PointOnLine(presentation, 0.55);  // evaluated as it always was; not used
    slots.q[0] = p;
    slots.q[1] = CSvgPoint(p.x, WrappedAdd(p.y, kMarkerSize));
    slots.q[2] = CSvgPoint(WrappedAdd(p.x, kMarkerSize), p.y);
    slots.q[3] = CSvgPoint(WrappedAdd(p.x, kMarkerSize), WrappedAdd(p.y, kMarkerSize));
  }
  return slots;
}

struct LinkFlags {
  bool outgoingHyperlinks = false;
  bool incomingHyperlinks = false;
  bool outgoingDependencies = false;
  bool incomingDependencies = false;

  bool Any() const { return outgoingHyperlinks || incomingHyperlinks || outgoingDependencies || incomingDependencies; }
};

void AppendMarkers(qm::IVelEntity* element, const Target& target, const std::string& id, const LinkFlags& flags,
                   qm::IVelModel* model) {
  const Slots slots = MarkerSlots(target.presentation);
  const CSvgColor blue(0, 0, 255);
  if (flags.outgoingDependencies) {
    AppendSVGChild(element, CreateSVGRedTriangle(slots.q[0].x, slots.q[0].y, kMarkerSize, id, model,
                                                 CSvgColor(155, 0, 105), "_redlink"));
  }
  if (flags.incomingDependencies) {
    AppendSVGChild(element, CreateSVGYellowTriangle(slots.q[1].x, slots.q[1].y, kMarkerSize, id, model,
                                                    CSvgColor(240, 170, 0), "_yellowlink"));
  }
  if (flags.outgoingHyperlinks) {
    AppendSVGChild(element, CreateSVGRedTriangle(slots.q[2].x, slots.q[2].y, kMarkerSize, id, model, blue,
                                                 "_obluelink"));
  }
  if (flags.incomingHyperlinks) {
    AppendSVGChild(element, CreateSVGYellowTriangle(slots.q[3].x, slots.q[3].y, kMarkerSize, id, model, blue,
                                                    "_ibluelink"));
  }
}

// Steps of the first annotation for one marked element. `links`, when not
// null, answers the link question instead of walking the model's links.
void Annotate(qm::IVelEntity* element, const std::string& id, qm::IVelModel* model, const CLinkGathering* links) {
  Target target;
  if (!Resolve(model, id, target)) return;
  qm::IVelEntity* shown = target.Shown();
  std::string guid, objectType;
  shown->GetValue("Guid", guid, 0);
  shown->GetMetaClassName(objectType);
  const std::string desc = Description(target);
  AppendSVGChild(element, CreateSVGAssignmentExpr("guid", guid, model));
  AppendSVGChild(element, CreateSVGAssignmentExpr("objectType", objectType, model));
  AppendSVGChild(element, CreateSVGAssignmentExpr("desc", desc, model));

  std::string json;
  LinkFlags flags;
  EncodeLinkInformationInJason(shown, links, json, flags.outgoingHyperlinks, flags.incomingHyperlinks,
                               flags.outgoingDependencies, flags.incomingDependencies);
  if (!json.empty()) {
    // The host writes character data as an XML comment, which must not hold "--".
    NormalizeJasonText(json);
    AppendSVGChild(element, CreateSVGInformalExpr(kLinkTextPrefix + json, model));
  }
  if (flags.Any() && !target.frame) AppendMarkers(element, target, id, flags, model);
}

// True for a character-data item left by an earlier first annotation.
bool IsEarlierLinkText(qm::IVelEntity* item) {
  qm::IVelEntity* fragment = item->GetEntity("InformalEntityFragment", 0);
  if (fragment == nullptr) return false;
  std::string text;
  fragment->GetValue("TextFragment", text, 0);
  return text.compare(0, kLinkTextPrefixLength, kLinkTextPrefix) == 0;
}

// True for an "image" element.
bool IsImage(qm::IVelEntity* element) {
  qm::IVelEntity* definition = element->GetEntity("InstanceOf", 0);
  if (definition == nullptr) return false;
  std::string name;
  definition->GetValue("Name", name, 0);
  return name == "image";
}

// The part of the client's JSON text that `value` was parsed from; "" when
// its positions do not lie inside the text.
std::string ClientTextOf(const CJasonTreeValue& value) {
  const std::string& text = g_strJasonText;
  if (value.start < 0 || value.end < value.start || static_cast<std::size_t>(value.end) > text.size()) {
    return std::string();
  }
  return text.substr(static_cast<std::size_t>(value.start), static_cast<std::size_t>(value.end - value.start));
}

// The icon group: a "g" holding one 3 mm "ER" image at the symbol's corner,
// or just past the middle of a line, beside its markers.
void AppendImage(qm::IVelEntity* element, qm::IVelEntity* presentation, qm::IVelModel* model) {
  CSvgPoint anchor;
  if (presentation->IsKindOf("Symbol")) {
    anchor = GetSymbolPosition(presentation);
    GetSymbolSize(presentation);  // read as it always was; not used
  } else if (presentation->IsKindOf("Line")) {
    anchor = PointOnLine(presentation, 0.55);
  }
  qm::IVelEntity* group = CreateSVGInstanceExpr("g", model);
  if (group == nullptr) return;
  qm::IVelEntity* image = CreateSVGInstanceExpr("image", model);
  if (image == nullptr) return;
  const std::string side = ConvertDoubleToStringMM(3.0);
  AppendSVGChild(image, CreateSVGAssignmentExpr("type", "ER", model));
  AppendSVGChild(image, CreateSVGAssignmentExpr("x", ConvertDoubleToStringMM(anchor.x / 10.0), model));
  AppendSVGChild(image, CreateSVGAssignmentExpr("y", ConvertDoubleToStringMM(anchor.y / 10.0), model));
  AppendSVGChild(image, CreateSVGAssignmentExpr("width", side, model));
  AppendSVGChild(image, CreateSVGAssignmentExpr("height", side, model));
  AppendSVGChild(image, CreateSVGAssignmentExpr("xlink:href", "ERIcon.gif", model));
  AppendSVGChild(image, CreateSVGAssignmentExpr("visibility", "visible", model));
  AppendSVGChild(group, image);
  AppendSVGChild(element, group);
}

// Steps of the re-annotation for one marked element.
void Reannotate(qm::IVelEntity* element, const std::string& id, qm::IVelModel* model,
                CJasonElementFinder& finder) {
  Target target;
  if (!Resolve(model, id, target)) return;
  std::string guid;
  target.Shown()->GetValue("Guid", guid, 0);
  auto found = finder.elements.find(guid);
  if (found == finder.elements.end()) return;
  if (found->second != nullptr) {
    // No "nativelinks:" prefix: a later run must keep this node.
    std::string text = ClientTextOf(*found->second);
    NormalizeJasonText(text);
    AppendSVGChild(element, CreateSVGInformalExpr(text, model));
  }
  if (!target.frame) AppendImage(element, target.presentation, model);
}

// The walks below keep their open elements on an SvgWorkStack instead of
// recursing, and make the host calls that one call per element would make,
// in the same order: an element is asked IsKindOf("InstanceExpr") and for its
// "Expression" list when it is entered, and finished (annotated) after its
// last item. When the walk meets a cycle of "Expression" lists, the whole
// walk ends there: neither the element it could not
// enter nor any element around it is annotated (their subtrees were not
// walked to the end), and nothing further is visited. Elements annotated
// before stay annotated. Memory running out is not such an end: it passes
// to the agent as std::bad_alloc, and the request fails as a whole.

// Opens `element` for the first annotation; false when the walk must end.
// An element that is no "InstanceExpr" is left closed and the walk goes on.
bool EnterForAnnotation(SvgWorkStack<Marking>& stack, qm::IVelEntity* element) {
  if (stack.Enter(element) != SvgEnter::kEntered) return false;
  if (!element->IsKindOf("InstanceExpr")) {
    stack.Leave();
    return true;
  }
  element->GetEntities("Expression", stack.Innermost().items);
  return true;
}

void Annotating(qm::IVelEntity* root, qm::IVelModel* model, const CLinkGathering* links) {
  if (root == nullptr || model == nullptr) return;
  SvgWorkStack<Marking> stack;
  if (!EnterForAnnotation(stack, root)) return;
  while (!stack.Empty()) {
    auto& level = stack.Innermost();
    if (level.items.empty()) {
      qm::IVelEntity* element = level.element;
      const Marking marking = level.notes;
      stack.Leave();
      if (marking.marked) Annotate(element, marking.id, model, links);
      continue;
    }
    qm::IVelEntity* item = TakeNextItem(level.items);
    if (item->IsKindOf("InstanceExpr")) {
      if (!EnterForAnnotation(stack, item)) return;
      continue;
    }
    std::string name, value;
    if (ReadAttribute(item, name, value)) level.notes.Note(name, value);
  }
}

// How entering an element for the re-annotation went.
enum class ReEnter { kEntered, kNoElement, kEnd };

// Opens `element` for the re-annotation.
ReEnter EnterForReannotation(SvgWorkStack<Marking>& stack, qm::IVelEntity* element) {
  if (stack.Enter(element) != SvgEnter::kEntered) return ReEnter::kEnd;
  if (!element->IsKindOf("InstanceExpr")) {
    stack.Leave();
    return ReEnter::kNoElement;
  }
  // A copy of the list: deleting an item changes the host's list, not ours.
  element->GetEntities("Expression", stack.Innermost().items);
  return ReEnter::kEntered;
}

// Returns true when `root` itself was deleted.
bool Reannotating(qm::IVelEntity* root, qm::IVelModel* model, CJasonElementFinder& finder, bool removeImages) {
  if (root == nullptr || model == nullptr) return false;
  SvgWorkStack<Marking> stack;
  if (EnterForReannotation(stack, root) != ReEnter::kEntered) return false;
  while (!stack.Empty()) {
    auto& level = stack.Innermost();
    if (level.items.empty()) {
      qm::IVelEntity* element = level.element;
      const Marking marking = level.notes;
      stack.Leave();
      if (marking.marked) Reannotate(element, marking.id, model, finder);
      continue;
    }
    qm::IVelEntity* item = TakeNextItem(level.items);
    if (item->IsKindOf("InformalExpr")) {
      if (IsEarlierLinkText(item)) item->DeleteEntity(qmdll::defaultChanger);
      continue;
    }
    if (item->IsKindOf("InstanceExpr")) {
      if (removeImages && IsImage(item)) {
        // This element is the icon group of an earlier run: it goes as a
        // whole, unfinished, and the walk goes on around it.
        qm::IVelEntity* element = level.element;
        stack.Leave();
        element->DeleteEntity(qmdll::defaultChanger);
        if (stack.Empty()) return true;
        continue;
      }
      if (EnterForReannotation(stack, item) == ReEnter::kEnd) return false;
      continue;
    }
    std::string name, value;
    if (ReadAttribute(item, name, value)) level.notes.Note(name, value);
  }
  return false;
}

}  // namespace

void TraverseSVGTree(qm::IVelEntity* element, qm::IVelModel* model) { Annotating(element, model, nullptr); }

void TraverseSVGTree(qm::IVelEntity* element, qm::IVelModel* model, const CLinkGathering& links) {
  Annotating(element, model, &links);
}

bool ReannotateSVGTree(qm::IVelEntity* element, qm::IVelModel* model, CJasonElementFinder& finder,
                       bool removeImages) {
  return Reannotating(element, model, finder, removeImages);
}

void TraverseSVGTreeER(qm::IVelEntity* element, qm::IVelModel* model, CJasonElementFinder& finder,
                       bool removeImages) {
  ReannotateSVGTree(element, model, finder, removeImages);
}
