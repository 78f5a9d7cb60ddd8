#include "emulator/SvgTree.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace qmemu {
namespace {

// ---- writing ----

// The length of the character that starts at `text[at]` when it is a
// character XML 1.0 can hold, written as well-formed UTF-8 (no overlong form,
// no surrogate, nothing above U+10FFFF); 0 when it is not one: a control
// byte other than tab, line feed and carriage return, DEL, U+FFFE, U+FFFF,
// or a byte that does not begin a well-formed sequence.
std::size_t XmlCharLength(const std::string& text, std::size_t at) {
  const auto byte = [&text](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u; };
  const auto continuation = [&byte](std::size_t i, unsigned low, unsigned high) {
    return byte(i) >= low && byte(i) <= high;
  };
  const unsigned lead = byte(at);
  if (lead < 0x80) return (lead >= 0x20 && lead != 0x7F) || lead == '\t' || lead == '\n' || lead == '\r' ? 1 : 0;
  if (lead >= 0xC2 && lead <= 0xDF) return continuation(at + 1, 0x80, 0xBF) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;   // no overlong form
    const unsigned high = lead == 0xED ? 0x9F : 0xBF;  // no surrogate
    if (!continuation(at + 1, low, high) || !continuation(at + 2, 0x80, 0xBF)) return 0;
    // U+FFFE and U+FFFF are no XML characters.
    if (lead == 0xEF && byte(at + 1) == 0xBF && byte(at + 2) >= 0xBE) return 0;
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const unsigned low = lead == 0xF0 ? 0x90 : 0x80;   // no overlong form
    const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;  // nothing above U+10FFFF
    return continuation(at + 1, low, high) && continuation(at + 2, 0x80, 0xBF) && continuation(at + 3, 0x80, 0xBF)
               ? 4
               : 0;
  }
  return 0;
}

// Where a text is written: escaped (attribute values and text content) or
// as it is (the body of a comment, where references mean nothing).
enum class XmlContext { Escaped, Comment };

// Appends `text` for `context`. Each byte that does not begin a character
// XML can hold becomes U+FFFD: the reference "&#xFFFD;" when escaped, the
// character itself in a comment. Escaped, "& < > \"" become entity
// references and tab, line feed and carriage return character references
// (so that attribute values keep them); other characters, and everything in
// a comment, are copied. A "--" in a comment is left as it is, not
// repaired: keeping it out is the caller's job, and a malformed answer shows
// a caller that fails at it.
void AppendXml(std::string& out, const std::string& text, XmlContext context) {
  const bool escaped = context == XmlContext::Escaped;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = XmlCharLength(text, at);
    if (length == 0) {
      out += escaped ? "&#xFFFD;" : "\xEF\xBF\xBD";
      ++at;
      continue;
    }
    const char c = text[at];
    const char* reference = nullptr;
    if (escaped) {
      switch (c) {
        case '&': reference = "&amp;"; break;
        case '<': reference = "&lt;"; break;
        case '>': reference = "&gt;"; break;
        case '"': reference = "&quot;"; break;
        case '\t': reference = "&#9;"; break;
        case '\n': reference = "&#10;"; break;
        case '\r': reference = "&#13;"; break;
        default: break;
      }
    }
    if (reference != nullptr) {
      out += reference;
    } else {
      out.append(text, at, length);
    }
    at += length;
  }
}

enum class ItemKind { Element, Attribute, CharacterData, Text, Other };

ItemKind KindOf(const Entity& item) {
  if (item.isKindOf("InstanceExpr")) return ItemKind::Element;
  if (item.isKindOf("BinaryExpr")) return ItemKind::Attribute;
  if (item.isKindOf("InformalExpr")) return ItemKind::CharacterData;
  if (item.isKindOf("CharstringValue")) return ItemKind::Text;
  return ItemKind::Other;
}

// The name and value of an attribute item; false when it is not one.
bool ReadAttribute(const Entity& item, std::string& name, std::string& value) {
  const Entity* left = item.reference("LeftOperand");
  const Entity* right = item.reference("RightOperand");
  if (left == nullptr || right == nullptr || !left->isKindOf("Ident") || !right->isKindOf("CharstringValue")) {
    return false;
  }
  name = left->name();
  value = right->value("ValueString");
  return true;
}

std::string CharacterDataOf(const Entity& item) {
  const Entity* fragment = item.reference("InformalEntityFragment");
  return fragment == nullptr ? std::string() : fragment->value("TextFragment");
}

class XmlWriter {
 public:
  explicit XmlWriter(bool compact) : compact_(compact) {}

  // Writes element `element` at nesting `level`. Elements nest as deep as
  // the tree does; the host's SVG trees are a few levels deep.
  void Element(const Entity& element, int level) {
    const std::string name = SvgElementName(element);
    Indent(level);
    out_ += '<';
    out_ += name;
    std::vector<const Entity*> content;
    for (const Entity* item : element.list("Expression")) {
      std::string attribute, value;
      switch (KindOf(*item)) {
        case ItemKind::Attribute:
          if (ReadAttribute(*item, attribute, value)) {
            out_ += ' ';
            out_ += attribute;
            out_ += "=\"";
            AppendXml(out_, value, XmlContext::Escaped);
            out_ += '"';
          }
          break;
        case ItemKind::Element:
        case ItemKind::CharacterData:
        case ItemKind::Text: content.push_back(item); break;
        case ItemKind::Other: break;
      }
    }
    if (content.empty()) {
      out_ += "/>";
      LineEnd();
      return;
    }
    out_ += '>';
    const bool textOnly = std::all_of(content.begin(), content.end(),
                                      [](const Entity* item) { return KindOf(*item) == ItemKind::Text; });
    if (textOnly) {
      for (const Entity* item : content) AppendXml(out_, item->value("ValueString"), XmlContext::Escaped);
    } else {
      LineEnd();
      for (const Entity* item : content) Content(*item, level + 1);
      Indent(level);
    }
    out_ += "</";
    out_ += name;
    out_ += '>';
    LineEnd();
  }

  std::string Take() { return std::move(out_); }

 private:
  void Content(const Entity& item, int level) {
    switch (KindOf(item)) {
      case ItemKind::Element: Element(item, level); return;
      case ItemKind::CharacterData:
        Indent(level);
        out_ += "<!--";
        AppendXml(out_, CharacterDataOf(item), XmlContext::Comment);
        out_ += "-->";
        LineEnd();
        return;
      case ItemKind::Text:
        Indent(level);
        AppendXml(out_, item.value("ValueString"), XmlContext::Escaped);
        LineEnd();
        return;
      default: return;
    }
  }
  void Indent(int level) {
    if (!compact_) out_.append(static_cast<std::size_t>(level) * 2, ' ');
  }
  void LineEnd() {
    if (!compact_) out_ += '\n';
  }

  bool compact_;
  std::string out_;
};

// ---- building ----

// The integers of a space-separated list; stops at the first token that is
// not an integer. Values are clamped to +-10^12 diagram units, so that sums
// of a few of them cannot overflow.
std::vector<long long> Numbers(const std::string& text) {
  const long long kLimit = 1000000000000LL;
  std::vector<long long> numbers;
  const char* p = text.c_str();
  for (;;) {
    char* end = nullptr;
    const long long n = std::strtoll(p, &end, 10);
    if (end == p) break;
    numbers.push_back(std::max(-kLimit, std::min(kLimit, n)));
    p = end;
  }
  return numbers;
}

struct Box {
  long long x = 0, y = 0, w = 0, h = 0;
};

Box SymbolBox(const Entity& symbol) {
  const std::vector<long long> position = Numbers(symbol.value("Position"));
  const std::vector<long long> size = Numbers(symbol.value("Size"));
  Box box;
  if (position.size() >= 2) {
    box.x = position[0];
    box.y = position[1];
  }
  if (size.size() >= 2) {
    box.w = size[0];
    box.h = size[1];
  }
  return box;
}

struct Point {
  long long x, y;
};

std::vector<Point> LinePoints(const Entity& line) {
  const std::vector<long long> numbers = Numbers(line.value("SegmentPoints"));
  std::vector<Point> points;
  for (std::size_t i = 0; i + 1 < numbers.size(); i += 2) points.push_back(Point{numbers[i], numbers[i + 1]});
  return points;
}

// The host draws a line as a curve when its explicit line style (the
// stereotype at "@VELLineStyles@automaticLineStyle", found by path, not by
// name) says "Bezier", or, without an explicit style, when it is a
// transition.
bool DrawnAsCurve(const Entity& line) {
  const Entity* style = line.stereotypeInstanceAt("@VELLineStyles@automaticLineStyle");
  if (style != nullptr) {
    const Entity* shape = style->argument("shape");
    return shape != nullptr && shape->isKindOf("Ident") && shape->name() == "Bezier";
  }
  return line.isKindOf("TransitionLine");
}

std::string Mm(long long tenths) { return TenthsAsMillimetres(tenths) + "mm"; }

std::string PairText(const Point& p) { return TenthsAsMillimetres(p.x) + "," + TenthsAsMillimetres(p.y); }

// One point of the Bezier curve with control points `points` at t
// (de Casteljau), rounded to diagram units.
Point BezierAt(const std::vector<Point>& points, double t) {
  std::vector<double> xs, ys;
  for (const Point& p : points) {
    xs.push_back(static_cast<double>(p.x));
    ys.push_back(static_cast<double>(p.y));
  }
  for (std::size_t level = points.size() - 1; level > 0; --level) {
    for (std::size_t i = 0; i < level; ++i) {
      xs[i] = xs[i] + (xs[i + 1] - xs[i]) * t;
      ys[i] = ys[i] + (ys[i + 1] - ys[i]) * t;
    }
  }
  return Point{std::llround(xs[0]), std::llround(ys[0])};
}

// The path data of a curve through `points` (at least two), in millimetres:
// a quadratic or cubic segment for three or four points, a polyline through
// 32 samples of the curve of higher degree otherwise.
std::string CurvePath(const std::vector<Point>& points) {
  std::string d = "M " + PairText(points[0]);
  if (points.size() == 3 || points.size() == 4) {
    d += points.size() == 3 ? " Q" : " C";
    for (std::size_t i = 1; i < points.size(); ++i) d += " " + PairText(points[i]);
    return d;
  }
  if (points.size() == 2) return d + " L " + PairText(points[1]);
  const int samples = 32;
  for (int k = 1; k <= samples; ++k) d += " L " + PairText(BezierAt(points, static_cast<double>(k) / samples));
  return d;
}

void AddRect(Model& model, Entity& parent, const char* name, const Box& box, bool unbound) {
  Entity* rect = AddSvgElement(model, &parent, name, unbound);
  AddSvgAttribute(model, *rect, "x", Mm(box.x));
  AddSvgAttribute(model, *rect, "y", Mm(box.y));
  AddSvgAttribute(model, *rect, "width", Mm(box.w));
  AddSvgAttribute(model, *rect, "height", Mm(box.h));
}

// The symbol's group: its rectangle, its label and its boundary rectangle.
// A frame is an unfilled rectangle labelled with the diagram's name in its
// top-left corner; another symbol is a filled one labelled in its middle
// with the name of the element it shows.
void DrawSymbol(Model& model, Entity& root, Entity& diagram, Entity& symbol) {
  Entity* group = AddSvgElement(model, &root, "g");
  AddSvgAttribute(model, *group, "metaClass", "Symbol");
  AddSvgAttribute(model, *group, "id", symbol.guid());
  const Box box = SymbolBox(symbol);
  const bool frame = symbol.isKindOf("FrameSymbol");

  Entity* rect = AddSvgElement(model, group, "rect");
  AddSvgAttribute(model, *rect, "x", Mm(box.x));
  AddSvgAttribute(model, *rect, "y", Mm(box.y));
  AddSvgAttribute(model, *rect, "width", Mm(box.w));
  AddSvgAttribute(model, *rect, "height", Mm(box.h));
  AddSvgAttribute(model, *rect, "fill", frame ? "none" : "rgb(255,255,225)");
  AddSvgAttribute(model, *rect, "stroke", "black");
  AddSvgAttribute(model, *rect, "stroke-width", frame ? "0.5mm" : "0.25mm");

  const Entity* shown = symbol.reference("ModelElement");
  const std::string label = frame ? diagram.name() : (shown == nullptr ? std::string() : shown->name());
  Entity* text = AddSvgElement(model, group, "text", true);
  AddSvgAttribute(model, *text, "x", Mm(frame ? box.x + 20 : box.x + box.w / 2));
  AddSvgAttribute(model, *text, "y", Mm(frame ? box.y + 50 : box.y + box.h / 2 + 10));
  AddSvgAttribute(model, *text, "font-family", "sans-serif");
  AddSvgAttribute(model, *text, "font-size", "3.5mm");
  if (!frame) AddSvgAttribute(model, *text, "text-anchor", "middle");
  AddSvgText(model, *text, label);

  AddRect(model, *group, "boundaryrect", box, false);
}

// The line's group: the line drawn in a viewport whose user unit is the
// millimetre (so that point lists are in millimetres), and its boundary
// rectangle, written with an unbound element name.
void DrawLine(Model& model, Entity& root, Entity& line, const std::string& width, const std::string& height,
              const std::string& viewBox) {
  Entity* group = AddSvgElement(model, &root, "g");
  AddSvgAttribute(model, *group, "metaClass", "Line");
  AddSvgAttribute(model, *group, "id", line.guid());
  const std::vector<Point> points = LinePoints(line);

  Entity* viewport = AddSvgElement(model, group, "svg");
  AddSvgAttribute(model, *viewport, "x", "0mm");
  AddSvgAttribute(model, *viewport, "y", "0mm");
  AddSvgAttribute(model, *viewport, "width", width);
  AddSvgAttribute(model, *viewport, "height", height);
  AddSvgAttribute(model, *viewport, "viewBox", viewBox);
  AddSvgAttribute(model, *viewport, "overflow", "visible");
  if (points.size() >= 2) {
    Entity* drawing = nullptr;
    if (DrawnAsCurve(line)) {
      drawing = AddSvgElement(model, viewport, "path");
      AddSvgAttribute(model, *drawing, "d", CurvePath(points));
    } else {
      drawing = AddSvgElement(model, viewport, "polyline");
      std::string list;
      for (const Point& p : points) list += (list.empty() ? "" : " ") + PairText(p);
      AddSvgAttribute(model, *drawing, "points", list);
    }
    AddSvgAttribute(model, *drawing, "fill", "none");
    AddSvgAttribute(model, *drawing, "stroke", "black");
    AddSvgAttribute(model, *drawing, "stroke-width", "0.35");
  }

  Box box;
  if (!points.empty()) {
    long long minX = points[0].x, maxX = points[0].x, minY = points[0].y, maxY = points[0].y;
    for (const Point& p : points) {
      minX = std::min(minX, p.x);
      maxX = std::max(maxX, p.x);
      minY = std::min(minY, p.y);
      maxY = std::max(maxY, p.y);
    }
    box = Box{minX, minY, maxX - minX, maxY - minY};
  }
  AddRect(model, *group, "boundaryrect", box, true);
}

}  // namespace

std::string TenthsAsMillimetres(long long tenths) {
  const bool negative = tenths < 0;
  // Magnitude in unsigned arithmetic: defined for the smallest value too.
  const unsigned long long magnitude =
      negative ? 0ull - static_cast<unsigned long long>(tenths) : static_cast<unsigned long long>(tenths);
  return (negative ? "-" : "") + std::to_string(magnitude / 10) + "." + std::to_string(magnitude % 10);
}

Entity* AddSvgElement(Model& model, Entity* parent, const std::string& name, bool unbound) {
  Entity* element = model.create("InstanceExpr", "", parent);
  if (parent != nullptr) parent->append("Expression", element);
  if (unbound) {
    element->setValue("InstanceOf", "ref:" + name);
  } else {
    Entity* ident = model.create("Ident", "", element);
    ident->setValue("Name", name);
    element->setReference("InstanceOf", ident);
  }
  return element;
}

void AddSvgAttribute(Model& model, Entity& element, const std::string& name, const std::string& value) {
  Entity* assignment = model.create("BinaryExpr", "", &element);
  Entity* left = model.create("Ident", "", assignment);
  left->setValue("Name", name);
  Entity* right = model.create("CharstringValue", "", assignment);
  right->setValue("ValueString", value);
  Entity* operation = model.create("Ident", "", assignment);
  operation->setValue("Name", "=");
  assignment->setReference("LeftOperand", left);
  assignment->setReference("RightOperand", right);
  assignment->setReference("Operation", operation);
  element.append("Expression", assignment);
}

void AddSvgText(Model& model, Entity& element, const std::string& text) {
  Entity* value = model.create("CharstringValue", "", &element);
  value->setValue("ValueString", text);
  element.append("Expression", value);
}

void AddSvgCharacterData(Model& model, Entity& element, const std::string& text) {
  Entity* informal = model.create("InformalExpr", "", &element);
  Entity* fragment = model.create("InformalEntityFragment", "", informal);
  fragment->setValue("TextFragment", text);
  informal->setReference("InformalEntityFragment", fragment);
  element.append("Expression", informal);
}

std::string SvgElementName(const Entity& element) {
  const Entity* ident = element.reference("InstanceOf");
  if (ident != nullptr) return ident->isKindOf("Ident") ? ident->name() : std::string();
  const std::string& text = element.value("InstanceOf");
  return text.compare(0, 4, "ref:") == 0 ? text.substr(4) : std::string();
}

std::string SvgAttribute(const Entity& element, const std::string& name) {
  std::string found;
  for (const Entity* item : element.list("Expression")) {
    std::string attribute, value;
    if (KindOf(*item) == ItemKind::Attribute && ReadAttribute(*item, attribute, value) && attribute == name) {
      found = value;
    }
  }
  return found;
}

std::string WriteSvgXml(const Entity& root, bool compact) {
  XmlWriter writer(compact);
  writer.Element(root, 0);
  return writer.Take();
}

Entity* BuildDiagramSvg(Model& model, Entity& diagram) {
  // The drawing's extent: everything right of and below the origin that a
  // symbol or line reaches.
  long long width = 0, height = 0;
  for (const auto& child : diagram.owned()) {
    if (child->isKindOf("Symbol")) {
      const Box box = SymbolBox(*child);
      width = std::max(width, box.x + box.w);
      height = std::max(height, box.y + box.h);
    } else if (child->isKindOf("Line")) {
      for (const Point& p : LinePoints(*child)) {
        width = std::max(width, p.x);
        height = std::max(height, p.y);
      }
    }
  }
  const std::string widthMm = Mm(width), heightMm = Mm(height);
  const std::string viewBox = "0 0 " + TenthsAsMillimetres(width) + " " + TenthsAsMillimetres(height);

  Entity* root = AddSvgElement(model, nullptr, "svg");
  AddSvgAttribute(model, *root, "xmlns", "http://www.w3.org/2000/svg");
  AddSvgAttribute(model, *root, "xmlns:xlink", "http://www.w3.org/1999/xlink");
  AddSvgAttribute(model, *root, "version", "1.1");
  AddSvgAttribute(model, *root, "width", widthMm);
  AddSvgAttribute(model, *root, "height", heightMm);
  AddSvgText(model, *AddSvgElement(model, root, "title"), diagram.name());
  Entity* background = AddSvgElement(model, root, "rect");
  AddSvgAttribute(model, *background, "width", "100%");
  AddSvgAttribute(model, *background, "height", "100%");
  AddSvgAttribute(model, *background, "fill", "white");
  AddRect(model, *root, "boundaryrect", Box{0, 0, width, height}, false);

  // Snapshot of the children: drawing creates entities, none of them here.
  std::vector<Entity*> children;
  for (const auto& child : diagram.owned()) children.push_back(child.get());
  for (Entity* child : children) {
    if (child->isKindOf("Symbol")) {
      DrawSymbol(model, *root, diagram, *child);
    } else if (child->isKindOf("Line")) {
      DrawLine(model, *root, *child, widthMm, heightMm, viewBox);
    }
  }
  return root;
}

}  // namespace qmemu
