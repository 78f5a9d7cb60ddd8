// SVG expression trees on the emulator's side: how the host builds the SVG
// of a diagram in its model, and how it writes such a tree as XML.
//
// Shape of a tree (the host's own representation of SVG):
//   element          "InstanceExpr" whose "InstanceOf" is an "Ident" named
//                    after the element, or an unbound reference written as
//                    the text "ref:" + name; its items in "Expression"
//   attribute        "BinaryExpr": "LeftOperand" an "Ident" (the name),
//                    "RightOperand" a "CharstringValue" (the value),
//                    "Operation" an "Ident" "="
//   character data   "InformalExpr" whose "InformalEntityFragment" has a
//                    "TextFragment"; written as an XML comment
//   text content     a bare "CharstringValue" item; written as escaped text
//
// Everything here uses the emulator's own API, so none of it is counted by
// the HostMonitor: this is the host working for itself.
#ifndef EMULATOR_SVGTREE_H_
#define EMULATOR_SVGTREE_H_

#include <string>

#include "emulator/Entity.h"
#include "emulator/Model.h"

namespace qmemu {

// Diagram units (tenths of a millimetre) as millimetres with one decimal:
// 1234 gives "123.4", -5 gives "-0.5".
std::string TenthsAsMillimetres(long long tenths);

// A new element `name`. With a parent it is owned by the parent and appended
// to its "Expression" list; without one it is held by the model, unattached.
// `unbound` writes the name as the unbound reference text "ref:" + name
// instead of an "Ident". Never null.
Entity* AddSvgElement(Model& model, Entity* parent, const std::string& name, bool unbound = false);
// Appends the attribute name="value" to `element`.
void AddSvgAttribute(Model& model, Entity& element, const std::string& name, const std::string& value);
// Appends text content to `element`.
void AddSvgText(Model& model, Entity& element, const std::string& text);
// Appends character data (an XML comment when written) to `element`.
void AddSvgCharacterData(Model& model, Entity& element, const std::string& text);

// The element name of `element`: its "Ident"'s name, or the text after
// "ref:" of an unbound reference; "" when it has neither.
std::string SvgElementName(const Entity& element);
// The value of attribute `name` of `element` (the last one), or "".
std::string SvgAttribute(const Entity& element, const std::string& name);

// Writes the tree under `root` as XML. Attribute values and text are
// escaped; character data becomes a comment whose text is written as it is
// (a text that holds "--" or ends in "-" makes a malformed comment: callers
// keep that out, and the writer does not hide it). Everywhere (attribute
// values, text and comments alike) each byte that does not begin a character
// XML can hold (a control byte other than tab, line feed and carriage return,
// DEL, U+FFFE, U+FFFF, or invalid UTF-8) is written as U+FFFD: the reference
// "&#xFFFD;" in values and text, the character itself in comments. Items
// that are none of the four kinds above are skipped. `compact` writes no
// line breaks; otherwise one item per line, indented by two blanks a level,
// each line ending in "\n" (an element whose content is only text stays on
// one line).
std::string WriteSvgXml(const Entity& root, bool compact);

// Builds the SVG of `diagram`, as the host's generator does, as a new
// unattached tree and returns its root (never null). See
// agents/GenerateSVGString.cpp for what it draws.
Entity* BuildDiagramSvg(Model& model, Entity& diagram);

}  // namespace qmemu

#endif  // EMULATOR_SVGTREE_H_
