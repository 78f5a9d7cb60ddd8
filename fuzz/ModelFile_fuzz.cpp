// Fuzzes the model-file loader (LoadModelText) with any bytes.
//
// Checks, beyond the sanitizers' own:
// - the loader answers exactly one of a model (and no message) or a null
//   model with a one-line message that names the file;
// - a text that is not JSON is reported at a place: "<file>:<line>:<column>: ";
// - a model it gives holds its root and can be walked (every entity's owner
//   chain ends at the root or at an unowned entity).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "emulator/Entity.h"
#include "emulator/ModelFile.h"

namespace {

constexpr std::size_t kMaxInputSize = 64 * 1024;
const char kFileName[] = "fuzz.json";

bool Located(const std::string& error) {
  const std::string lead = std::string(kFileName) + ":";
  if (error.compare(0, lead.size(), lead) != 0) return false;
  std::size_t at = lead.size();
  for (int field = 0; field < 2; ++field) {
    const std::size_t start = at;
    while (at < error.size() && error[at] >= '0' && error[at] <= '9') ++at;
    if (at == start || at >= error.size() || error[at] != ':') return false;
    ++at;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxInputSize) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(text, kFileName, error);
  if (model == nullptr) {
    // One line naming the file; a JSON syntax error also names the place.
    const std::string lead = std::string(kFileName) + ": ";
    if (error.empty() || error.find('\n') != std::string::npos) std::abort();
    if (error.compare(0, lead.size(), lead) != 0 && !Located(error)) std::abort();
    return 0;
  }
  if (!error.empty()) std::abort();
  for (qmemu::Entity* entity : model->entities()) {
    std::size_t steps = 0;
    for (const qmemu::Entity* up = entity; up != nullptr; up = up->owner()) {
      if (++steps > model->entities().size() + 1) std::abort();  // an ownership cycle
    }
  }
  return 0;
}
