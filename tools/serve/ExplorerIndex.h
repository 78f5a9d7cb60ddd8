// The model explorer as one list, for search and reveal: the tree that
// GetModelViewChildNodes answers, walked depth first in the order the
// explorer shows it (a node, then its children in the agent's order). The
// server builds it once per model version and answers search, path and
// diagram questions from it without running agents again.
#ifndef TOOLS_SERVE_EXPLORERINDEX_H_
#define TOOLS_SERVE_EXPLORERINDEX_H_

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "emulator/CallService.h"
#include "emulator/Model.h"

namespace orvtool {

struct ExplorerEntry {
  std::string modelguid, metaguid, text, metaclassType;
  std::size_t parent = kNoParent;  // index of the parent entry
  static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);
};

class ExplorerIndex {
 public:
  // Answers the children of a node ("" and "" for the root) as the agent
  // does: a call result of GetModelViewChildNodes, whose answer parameter
  // holds the JSON array.
  using ChildrenOf = std::function<qmemu::CallResult(const std::string& modelguid, const std::string& metaguid)>;

  // Walks the tree with an explicit stack, entering each (modelguid,
  // metaguid) at most once. A node whose answer is an error or no JSON
  // array simply has no children here. All calls share `limits`: when
  // their time or host operations add up past them, or one call is cut
  // off, the walk stops and the failing result (a spent budget, naming its
  // limit; or a host fault) is answered; an answered result otherwise.
  qmemu::CallResult Build(const ChildrenOf& childrenOf, const qmemu::CallLimits& limits);

  const std::vector<ExplorerEntry>& entries() const { return entries_; }

  // The first entry of (modelguid, metaguid), or kNoParent when the walk
  // never met it.
  std::size_t Find(const std::string& modelguid, const std::string& metaguid) const;

  // The entries from the root down to `index`, the root first.
  std::vector<std::size_t> PathTo(std::size_t index) const;

  // The ordinary entries (empty metaguid) whose text or modelguid contains
  // `query` (ASCII letters compared without case), each element once at its
  // first place, at most `limit`; `truncated` is set when there were more.
  std::vector<std::size_t> Search(const std::string& query, std::size_t limit, bool& truncated) const;

 private:
  std::vector<ExplorerEntry> entries_;
  std::map<std::pair<std::string, std::string>, std::size_t> first_;
};

// True when `text` contains `query`, ASCII letters compared without case.
bool ContainsIgnoringAsciiCase(const std::string& text, const std::string& query);

// The diagrams that show `element` (a symbol or line whose ModelElement it
// is), each once, in the order of `index` (those the explorer does not show
// last, by GUID); a diagram itself comes first. Pairs of GUID and name.
std::vector<std::pair<std::string, std::string>> DiagramsShowing(const qmemu::Entity& element,
                                                                   const ExplorerIndex& index);

}  // namespace orvtool

#endif  // TOOLS_SERVE_EXPLORERINDEX_H_
