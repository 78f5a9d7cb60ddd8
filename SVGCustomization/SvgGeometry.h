// Diagram geometry read from the host model: where a symbol lies, how large
// it is, through which points a line runs and whether it is drawn as a curve.
//
// The host keeps the geometry as text properties of the presentation
// elements, in tenths of a millimetre with y growing downward. Nothing here
// reports an error: a missing entity, a wrong meta class or a malformed
// property gives the neutral result stated per function. The entities are
// the host's; these functions only read them.
#ifndef SVGCUSTOMIZATION_SVGGEOMETRY_H_
#define SVGCUSTOMIZATION_SVGGEOMETRY_H_

#include <vector>

#include "SVGCustomization/SvgMath.h"
#include "host/VelInterfaces.h"

// Returns the top-left corner of a "Symbol" from its "Position" text
// ("x y"). (0, 0) for a null entity, one that is not a symbol (no property
// is read then), and a text that is not exactly two numbers.
CSvgPoint GetSymbolPosition(qm::IVelEntity* symbol);

// Returns the extent of a "Symbol" from its "Size" text ("width height"):
// x is the width, y the height. (0, 0) in the same cases as
// GetSymbolPosition.
CSvgPoint GetSymbolSize(qm::IVelEntity* symbol);

// Fills `points` (cleared first) with the points of a "Line" from its
// "SegmentPoints" text ("x1 y1 x2 y2 ..."), in drawing order. Leaves it
// empty for a null entity, one that is not a line, a text that does not
// decode and an odd count of numbers.
void GetLinePoints(qm::IVelEntity* line, std::vector<CSvgPoint>& points);

// Returns true when the line is drawn as one Bezier curve through its
// points. A line with the automatic line style stereotype is a curve exactly
// when its "shape" tag is the identifier "Bezier" (case-sensitive); a line
// without it is a curve exactly when it is a "TransitionLine". False for null.
bool IsLineBezier(qm::IVelEntity* line);

#endif  // SVGCUSTOMIZATION_SVGGEOMETRY_H_
