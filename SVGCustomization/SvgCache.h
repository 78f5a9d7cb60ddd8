// The process-wide state of the SVG agents: the annotation cache and the
// client's JSON text of the current request.
//
// The annotation cache maps a diagram entity to the root of its annotated SVG
// tree. The customization agent adds an entry; the annotation agent reads it
// on later requests and removes it, deleting the tree, when the client asks
// for a refresh. Neither pointer is owned: the entities belong to the host
// model. The cache itself is private to SvgCache.cpp and reached only
// through the functions below.
//
// Both objects are made when the library is loaded and destroyed when it is
// unloaded; neither is locked (the host runs agents one at a time).
#ifndef SVGCUSTOMIZATION_SVGCACHE_H_
#define SVGCUSTOMIZATION_SVGCACHE_H_

#include <string>

#include "host/VelInterfaces.h"

// The cached root of `diagram`'s annotated SVG tree, or null when the
// diagram has none.
qm::IVelEntity* FindCachedSVGRoot(qm::IVelEntity* diagram);

// Caches `root` as the annotated SVG tree of `diagram`, replacing an entry
// it had.
void CacheSVGRoot(qm::IVelEntity* diagram, qm::IVelEntity* root);

// Removes `diagram`'s entry, if any. The tree itself is left alone: the
// caller deletes it when it must go.
void ForgetCachedSVGRoot(qm::IVelEntity* diagram);

// g_strJasonText: the client's JSON text of the current SVG annotation
// request. GenerateSVGWithAnnotations fills it, its customization agent reads
// it, and GenerateSVGWithAnnotations empties it before it returns, so that a
// text serves one request only. C linkage gives the exported data symbol the
// plain name "g_strJasonText".
extern "C" {
extern __attribute__((visibility("default"))) std::string g_strJasonText;
}

#endif  // SVGCUSTOMIZATION_SVGCACHE_H_
