#include "SVGCustomization/SvgCache.h"

#include <map>

std::string g_strJasonText;

namespace {

// Diagram entity to the root of its annotated SVG tree, ordered by pointer
// value.
std::map<qm::IVelEntity*, qm::IVelEntity*> mapSVGCache;

}  // namespace

qm::IVelEntity* FindCachedSVGRoot(qm::IVelEntity* diagram) {
  auto entry = mapSVGCache.find(diagram);
  return entry == mapSVGCache.end() ? nullptr : entry->second;
}

void CacheSVGRoot(qm::IVelEntity* diagram, qm::IVelEntity* root) { mapSVGCache[diagram] = root; }

void ForgetCachedSVGRoot(qm::IVelEntity* diagram) { mapSVGCache.erase(diagram); }
