// How the link collectors read one stereotype application. Shared by the
// walks of LinkCollection.cpp and by the gathering of LinkGathering.cpp, so
// that both judge every application by the same host operations in the same
// order. For use inside Links/ only.
//
// Nothing is reported: what does not qualify gives null or "". Host
// exceptions pass through.
#ifndef LINKS_LINKAPPLICATIONS_H_
#define LINKS_LINKAPPLICATIONS_H_

#include <string>

#include "host/VelInterfaces.h"

namespace links {

extern const char kExternalReferenceStereotype[];  // "@Predefined@externalObjectReference"
extern const char kHyperlinkStereotype[];          // "@VELLinks@HYPERLINK"

// The dependency that an application of the externalObjectReference
// stereotype sits on: the instance's owner, when the instance is an
// "InstanceExpr" and its owner a "Dependency"; else null.
qm::IVelEntity* DependencyOfReference(qm::IVelEntity* instance);

// True when `reference` is "vorn:qm:" followed by `guid`, which is not
// empty. Compared in place: the walks run it for every external reference
// in the model on every request.
bool NamesModelElement(const std::string& reference, const std::string& guid);

// The GUID that a "vorn:qm:" reference names (everything after the prefix,
// as it is); "" for any other text.
std::string GuidOfModelReference(const std::string& reference);

// For an application of the hyperlink stereotype: the element that carries
// it (the instance's owner), with `target` set to the GUID at the end of its
// "vorn:" URL (ResolveVORNURLtoGUID). Null, with `target` empty, when the
// instance is not an "InstanceExpr", has no owner, no expression interface
// or no "URL" argument; a URL that is not a character string reads as "".
qm::IVelEntity* HyperlinkCarrier(qm::IVelEntity* instance, std::string& target);

// The text of a character-string value entity into `text`; `text` is left
// as it is when the entity is null or of another meta class.
void ReadCharstring(qm::IVelEntity* value, std::string& text);

// The entity behind an argument of an instance expression, or null.
qm::IVelEntity* EntityOf(qm::IUnknown* object);

// The expression interface of an instance expression, or null.
qm::IVelExpression* ExpressionOf(qm::IVelEntity* entity);

}  // namespace links

#endif  // LINKS_LINKAPPLICATIONS_H_
