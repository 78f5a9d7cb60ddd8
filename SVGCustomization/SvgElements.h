// Construction of SVG elements inside the host's SVG tree.
//
// The host renders a diagram to SVG as a tree of expression entities in its
// own model and writes that tree as XML at the end. Markers are added by
// building entities of the same shape and attaching them to the tree:
//
//   element          "InstanceExpr"; "InstanceOf" an "Ident" named after the
//                    element; "Expression" the ordered attributes and children
//   name="value"     "BinaryExpr"; "LeftOperand" an "Ident" (the name),
//                    "RightOperand" a "CharstringValue" (the value),
//                    "Operation" an "Ident" named "="
//   character data   "InformalExpr"; "InformalEntityFragment" an entity of that
//                    meta class whose "TextFragment" is the text
//
// An element read from the host may instead carry an unbound "InstanceOf"
// whose text is "ref:" + the element name.
//
// Every entity is made with CreateEntity and filled with SetValue and
// SetEntity (flag 0, qmdll::defaultChanger). A constructor returns a new
// entity that is not attached to anything; the caller attaches it (and the
// host model owns it either way). A constructor returns null when the model
// is null or when the host fails to create one of the entities it needs;
// entities made before such a failure stay unattached in the model.
// Coordinates are diagram units (tenths of a millimetre); texts ending in
// "mm" are millimetres.
#ifndef SVGCUSTOMIZATION_SVGELEMENTS_H_
#define SVGCUSTOMIZATION_SVGELEMENTS_H_

#include <string>
#include <vector>

#include "SVGCustomization/SvgMath.h"
#include "host/VelInterfaces.h"

// Returns a new element `name` with no attributes, or null.
qm::IVelEntity* CreateSVGInstanceExpr(const std::string& name, qm::IVelModel* model);

// Returns a new attribute name="value", or null.
qm::IVelEntity* CreateSVGAssignmentExpr(const std::string& name, const std::string& value, qm::IVelModel* model);

// Returns a new character-data node holding `text`, or null.
qm::IVelEntity* CreateSVGInformalExpr(const std::string& text, qm::IVelModel* model);

// Returns a "g" group that draws the filled polygon through `points` once as
// a "symbol" with the id `id` (in diagram units, viewBox = the bounding box)
// and places it with a "use" element stretched to the bounding box in
// millimetres. Null for fewer than three points (the group is made first and
// then left unattached) and when an element cannot be made; an attribute
// that cannot be made is left out.
qm::IVelEntity* CreateSVGPolygon(const std::vector<CSvgPoint>& points, const CSvgColor& color,
                                 const std::string& id, qm::IVelModel* model);

// Returns a triangle marker pointing right (+x) in the box of side `size`
// whose top-left corner is (x, y): points (x, y), (x + size, y + size / 2),
// (x, y + size); its id is prefix + suffix. Null as CreateSVGPolygon.
qm::IVelEntity* CreateSVGRedTriangle(int x, int y, int size, const std::string& prefix, qm::IVelModel* model,
                                     CSvgColor color, std::string suffix);

// The mirror image, pointing left (-x): points (x, y + size / 2),
// (x + size, y), (x + size, y + size).
qm::IVelEntity* CreateSVGYellowTriangle(int x, int y, int size, const std::string& prefix, qm::IVelModel* model,
                                        CSvgColor color, std::string suffix);

// Deletes every "boundaryrect" element at or below `entity` (with its
// subtree). Entities that are not elements are left alone. Walks depth first
// in list order without recursion, so any depth that memory holds is walked
// on any stack. On a cyclic "Expression" list (an element met again inside
// itself), or when memory for the walk runs out, the removal ends there and
// the rest of the tree is not visited; what was removed stays removed.
void RemoveBoundaryrectElement(qm::IVelEntity* entity);

// As RemoveBoundaryrectElement; returns true when `entity` itself was a
// "boundaryrect" and is gone, so that the caller must not touch it again.
bool RemoveBoundaryrectElements(qm::IVelEntity* entity);

// The name of element `entity`: the "Name" of the "Ident" its "InstanceOf"
// refers to (empty when that is no "Ident"), or, when the reference is
// unbound, its text after a leading "ref:" (empty when the text has no such
// prefix).
std::string SVGElementName(qm::IVelEntity* entity);

// Attaches `child` (an attribute, element or character data) at the end of
// element `parent`'s "Expression" list. Does nothing when either is null.
void AppendSVGChild(qm::IVelEntity* parent, qm::IVelEntity* child);

#endif  // SVGCUSTOMIZATION_SVGELEMENTS_H_
