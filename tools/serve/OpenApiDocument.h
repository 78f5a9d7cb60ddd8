// The HTTP contract (docs/openapi.yaml) as JSON, converted when the server
// is built, so that there is one hand-written copy only.
#ifndef TOOLS_SERVE_OPENAPIDOCUMENT_H_
#define TOOLS_SERVE_OPENAPIDOCUMENT_H_

#include <string>

namespace orvtool {

// The contract as compact JSON text (UTF-8, non-ASCII escaped).
const std::string& OpenApiJson();

}  // namespace orvtool

#endif  // TOOLS_SERVE_OPENAPIDOCUMENT_H_
