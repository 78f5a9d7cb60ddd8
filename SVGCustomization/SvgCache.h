// The annotation cache of the SVG agents (private to this module).
//
// mapSVGCache maps a diagram entity to the root of its annotated SVG tree,
// ordered by pointer value. The customization agent adds an entry; the
// annotation agent reads it on later requests and removes it, deleting the
// tree, when the client asks for a refresh. Neither pointer is owned: the
// entities belong to the host model. Made when the library is loaded and
// destroyed when it is unloaded; not locked (the host runs agents one at a
// time). Tests that load the module code directly clear it between models,
// since a later model may reuse an earlier model's addresses.
#ifndef SVGCUSTOMIZATION_SVGCACHE_H_
#define SVGCUSTOMIZATION_SVGCACHE_H_

#include <map>

#include "host/VelInterfaces.h"

extern std::map<qm::IVelEntity*, qm::IVelEntity*> mapSVGCache;

#endif  // SVGCUSTOMIZATION_SVGCACHE_H_
