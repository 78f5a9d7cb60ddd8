// The model explorer of orv-host: walks the model-view tree as the browser
// client fills it, by running the plug-in's GetModelViewChildNodes on the
// root and then on every node that has children, and prints one line per
// node.
#ifndef TOOLS_ORV_HOST_EXPLORER_H_
#define TOOLS_ORV_HOST_EXPLORER_H_

#include <ostream>
#include <string>

#include "emulator/CallService.h"

namespace orvtool {

// How deep the walk goes below the root before it stops with a note.
constexpr int kMaxExplorerDepth = 32;

// Prints the tree to `out`, one node a line, children indented by two
// blanks under their parent:
//   "+ " or "- " (has children or not), the text in double quotes, then
//   "  [<metaclassType>]" for an ordinary node or "  [attribute <metaguid>]"
//   for an attribute node, "  <modelguid>", "  icon <icon>", and
//   "  (in a diagram)" when the node is visual.
// A node that the agent answers with an error message gets a line
// "! <message>" in place of its children. Every call goes through `agents`
// (each with its own budget). Returns the outcome of the first call that
// ended the walk (refused, a budget, unknown, a host fault; a host fault as
// well when the agent answers text that is not the expected JSON), or
// answered when the whole tree was printed; what was printed until then
// stays printed.
qmemu::Outcome PrintExplorerTree(qmemu::CallService& agents, std::ostream& out);

}  // namespace orvtool

#endif  // TOOLS_ORV_HOST_EXPLORER_H_
