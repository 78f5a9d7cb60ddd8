#include "SVGCustomization/SvgGeometry.h"

#include <string>

namespace {

// Reads the two-number property `name` of a symbol; (0, 0) unless the
// entity is a symbol and the text decodes to exactly two numbers.
CSvgPoint ReadSymbolPair(qm::IVelEntity* symbol, const char* name) {
  CSvgPoint result;
  if (symbol == nullptr || !symbol->IsKindOf("Symbol")) return result;
  std::string text;
  symbol->GetValue(name, text, 0);
  std::vector<long> values;
  if (DecodeValueVector(text, values) && values.size() == 2) {
    // DecodeValueVector keeps every value inside the 32-bit range.
    result = CSvgPoint(static_cast<int>(values[0]), static_cast<int>(values[1]));
  }
  return result;
}

}  // namespace

CSvgPoint GetSymbolPosition(qm::IVelEntity* symbol) { return ReadSymbolPair(symbol, "Position"); }

CSvgPoint GetSymbolSize(qm::IVelEntity* symbol) { return ReadSymbolPair(symbol, "Size"); }

void GetLinePoints(qm::IVelEntity* line, std::vector<CSvgPoint>& points) {
  points.clear();
  if (line == nullptr || !line->IsKindOf("Line")) return;
  std::string text;
  line->GetValue("SegmentPoints", text, 0);
  std::vector<long> values;
  if (!DecodeValueVector(text, values) || values.size() % 2 != 0) return;
  points.reserve(values.size() / 2);
  for (std::size_t i = 0; i < values.size(); i += 2) {
    points.push_back(CSvgPoint(static_cast<int>(values[i]), static_cast<int>(values[i + 1])));
  }
}

bool IsLineBezier(qm::IVelEntity* line) {
  if (line == nullptr) return false;
  if (line->HasStereotype("@VELLineStyles@automaticLineStyle", 1)) {
    // The style was chosen explicitly: its "shape" tag decides.
    qm::IVelEntity* shape = line->QueryEntity("automaticLineStyle (. shape .)", 0);
    if (shape == nullptr || !shape->IsKindOf("Ident")) return false;
    std::string name;
    shape->GetValue("Name", name, 0);
    return name == "Bezier";
  }
  // Without an explicit style, transitions are drawn as curves.
  return line->IsKindOf("TransitionLine");
}
