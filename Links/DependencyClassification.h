// Classification of dependencies and the two link URL forms.
//
// Small questions about host entities that the link collectors rest on: is
// an element the model's external-object placeholder, is a dependency a
// requirement relationship, which external reference does a dependency hold
// for one of its ends, and what do the two "vorn:" URL forms name.
//
// None of these functions keeps state or reports errors of its own: every
// failure gives the neutral result (false, null or ""). Exceptions thrown by
// host operations pass through to the caller; the agents catch them.
// Strings are compared byte for byte, case-sensitively.
#ifndef LINKS_DEPENDENCYCLASSIFICATION_H_
#define LINKS_DEPENDENCYCLASSIFICATION_H_

#include <string>

#include "host/VelInterfaces.h"

// True exactly when `entity` is a "PersistentEntity" whose "Guid" is
// "@Predefined@ExternalObject", i.e. the predefined placeholder itself.
// False for null.
bool IsExternalObject(qm::IVelEntity* entity);

// True when `dependency` carries one of the requirement stereotypes. They are
// asked in the order trace, satisfy, verify, refine, copy, deriveReqt, and
// the first one present ends the test. False for null. The caller checks
// that the entity is a dependency.
bool IsRequirementDependency(qm::IVelEntity* dependency);

// Sets `reference` to the text of the externalObjectReference attribute
// `end` ("source" or "target") of `dependency`. `reference` is cleared
// first, and stays empty when the dependency is null, lacks the stereotype,
// or the attribute is missing or not a character string.
void GetExternalReference(qm::IVelEntity* dependency, const std::string& end, std::string& reference);

// The entity named by a "vorn:qm:<GUID>" URL: FindEntity on `model` with
// everything after the 8-character prefix, as it is. Null for a null model,
// or a URL that does not begin with exactly "vorn:qm:" (no lookup is made
// then). `url` is not changed.
qm::IVelEntity* ResolveQMURL(const std::string& url, qm::IVelModel* model);

// The GUID at the end of a "vorn:" URL: the text after its last colon.
// "" when the URL does not begin with exactly "vorn:" or ends in a colon.
// Looser than ResolveQMURL on purpose (it accepts any "vorn:" URL, whatever
// lies between the prefix and the last colon), and it never consults the
// model; the two serve different data and are kept apart.
std::string ResolveVORNURLtoGUID(const std::string& url);

#endif  // LINKS_DEPENDENCYCLASSIFICATION_H_
