// Model files: an emulated model written as JSON text (format
// "orv-model/1", described in docs/model-format.md).
//
// A model file gives the model's own meta classes and list properties, the
// predefined entities it leaves out, its entities (as an owned tree below
// the root, or flat with an "owner" each), their text values, references,
// lists, applied stereotypes with tagged values and expression arguments,
// and host data for the emulated host agents.
//
// The loader builds the model with the emulator's own API, so loading is not
// counted by the HostMonitor. It never throws: every failure is a null model
// and a one-line message naming the file and the place:
//   "<file>: cannot open: <reason>"               the file cannot be read
//   "<file>:<line>:<column>: <what was expected>" the text is not JSON
//   "<file>: <JSON pointer>: <what was expected>" the JSON is not a model
// (a failure of the document as a whole has no pointer: "<file>: <what>").
#ifndef EMULATOR_MODELFILE_H_
#define EMULATOR_MODELFILE_H_

#include <cstddef>
#include <memory>
#include <string>

#include "emulator/Model.h"

namespace qmemu {

// The value of the "format" key that the loader reads.
extern const char* const kModelFileFormat;  // "orv-model/1"

// How deep "children" may nest below the root or below an entry of
// "entities": an entity at that level may be given, a deeper one may not.
constexpr std::size_t kMaxChildrenNesting = 256;

// Loads the model file at `path`. On success returns the model (owned by
// the caller) and leaves `error` empty. Null, with a message in `error`,
// when the file cannot be read or is malformed; messages name the file by
// `path` as given.
std::unique_ptr<Model> LoadModelFile(const std::string& path, std::string& error);

// The same for text already in memory; `fileName` names it in messages.
std::unique_ptr<Model> LoadModelText(const std::string& text, const std::string& fileName, std::string& error);

}  // namespace qmemu

#endif  // EMULATOR_MODELFILE_H_
