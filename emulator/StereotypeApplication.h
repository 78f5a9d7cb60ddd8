// Stereotype applications made through the emulator's own API, for tests and
// benchmarks that build a model in code instead of a model file.
#ifndef EMULATOR_STEREOTYPEAPPLICATION_H_
#define EMULATOR_STEREOTYPEAPPLICATION_H_

#include <string>
#include <utility>
#include <vector>

#include "emulator/Entity.h"

namespace qmemu {

// A tag name and its text.
typedef std::pair<std::string, std::string> TextTag;

// Applies `stereotype` to `entity` as the model-file loader does: a new
// "InstanceExpr" owned by `entity` and appended to its
// "HiddenStereotypeInstance", whose "InstanceOf" is `stereotype`, with one
// new "CharstringValue" argument per tag, in order. Returns the application
// (owned by `entity`). Not counted as host operations.
Entity* ApplyStereotype(Entity& entity, Entity& stereotype, const std::vector<TextTag>& tags = {});

}  // namespace qmemu

#endif  // EMULATOR_STEREOTYPEAPPLICATION_H_
