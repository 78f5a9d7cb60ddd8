#include "tools/serve/ExplorerIndex.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <tuple>

#include "emulator/Entity.h"

namespace orvtool {
namespace {

using Json = nlohmann::json;
using qmemu::CallResult;
using qmemu::Outcome;

std::string Member(const Json& node, const char* name) {
  auto it = node.find(name);
  return it != node.end() && it->is_string() ? it->get<std::string>() : std::string();
}

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool ContainsIgnoringAsciiCase(const std::string& text, const std::string& query) {
  auto at = std::search(text.begin(), text.end(), query.begin(), query.end(),
                        [](char a, char b) { return Lower(a) == Lower(b); });
  return at != text.end() || query.empty();
}

CallResult ExplorerIndex::Build(const ChildrenOf& childrenOf, const qmemu::CallLimits& limits) {
  entries_.clear();
  first_.clear();
  const auto start = std::chrono::steady_clock::now();
  std::uint64_t operations = 0;
  // Pending nodes: (parent entry, modelguid, metaguid); children are pushed
  // in reverse so that they come off the stack in the agent's order.
  struct Pending {
    std::size_t entry;
    std::string guid, meta;
  };
  std::vector<Pending> stack{{ExplorerEntry::kNoParent, "", ""}};
  std::set<std::pair<std::string, std::string>> entered;
  while (!stack.empty()) {
    Pending node = std::move(stack.back());
    stack.pop_back();
    CallResult result = childrenOf(node.guid, node.meta);
    operations += result.hostOperations;
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (result.outcome.IsBudgetSpent() || result.outcome.IsHostFault()) return result;
    const bool late = limits.seconds > 0 && seconds > limits.seconds;
    if (late || (limits.maxOperations != 0 && operations > limits.maxOperations)) {
      CallResult cut;
      cut.outcome = Outcome::BudgetSpent(late, std::string("the explorer walk used up the server's ") +
                                                   (late ? "deadline" : "host-operation budget") + " and was stopped");
      return cut;
    }
    if (!result.outcome.IsAnswered()) continue;
    Json children = Json::parse(result.Answer("GetModelViewChildNodes"), nullptr, false);
    if (!children.is_array()) continue;
    std::vector<Pending> below;
    for (const Json& child : children) {
      if (!child.is_object()) continue;
      ExplorerEntry entry{Member(child, "modelguid"), Member(child, "metaguid"), Member(child, "text"),
                          Member(child, "metaclassType"), node.entry};
      std::size_t index = entries_.size();
      auto key = std::make_pair(entry.modelguid, entry.metaguid);
      first_.emplace(key, index);
      entries_.push_back(entry);
      if (Member(child, "hasChildren") == "yes" && entered.insert(key).second) {
        below.push_back({index, entry.modelguid, entry.metaguid});
      }
    }
    stack.insert(stack.end(), std::make_move_iterator(below.rbegin()), std::make_move_iterator(below.rend()));
  }
  CallResult done;
  done.hostOperations = operations;
  return done;
}

std::size_t ExplorerIndex::Find(const std::string& modelguid, const std::string& metaguid) const {
  auto it = first_.find({modelguid, metaguid});
  return it == first_.end() ? ExplorerEntry::kNoParent : it->second;
}

std::vector<std::size_t> ExplorerIndex::PathTo(std::size_t index) const {
  std::vector<std::size_t> path;
  for (std::size_t at = index; at != ExplorerEntry::kNoParent && at < entries_.size(); at = entries_[at].parent) {
    path.push_back(at);
  }
  std::reverse(path.begin(), path.end());
  return path;
}

std::vector<std::size_t> ExplorerIndex::Search(const std::string& query, std::size_t limit, bool& truncated) const {
  std::vector<std::size_t> found;
  truncated = false;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const ExplorerEntry& entry = entries_[i];
    if (!entry.metaguid.empty() || Find(entry.modelguid, "") != i) continue;
    if (!ContainsIgnoringAsciiCase(entry.text, query) && !ContainsIgnoringAsciiCase(entry.modelguid, query)) continue;
    if (found.size() == limit) {
      truncated = true;
      break;
    }
    found.push_back(i);
  }
  return found;
}

std::vector<std::pair<std::string, std::string>> DiagramsShowing(const qmemu::Entity& element,
                                                                   const ExplorerIndex& index) {
  std::vector<const qmemu::Entity*> diagrams;
  auto add = [&diagrams](const qmemu::Entity* diagram) {
    if (diagram != nullptr && std::find(diagrams.begin(), diagrams.end(), diagram) == diagrams.end()) {
      diagrams.push_back(diagram);
    }
  };
  if (element.isKindOf("Diagram")) add(&element);
  for (const qmemu::Entity::Referrer& link : element.referrers()) {
    if (*link.property != "ModelElement" || link.entity == nullptr) continue;
    const qmemu::Entity* diagram = link.entity->reference("Diagram");
    if (diagram == nullptr && link.entity->owner() != nullptr && link.entity->owner()->isKindOf("Diagram")) {
      diagram = link.entity->owner();
    }
    if (diagram != nullptr && diagram->isKindOf("Diagram")) add(diagram);
  }
  auto rank = [&](const qmemu::Entity* d) {
    std::size_t at = index.Find(d->guid(), "");
    return std::make_tuple(d != &element, at, d->guid());
  };
  std::stable_sort(diagrams.begin(), diagrams.end(),
                   [&](const qmemu::Entity* a, const qmemu::Entity* b) { return rank(a) < rank(b); });
  std::vector<std::pair<std::string, std::string>> answer;
  for (const qmemu::Entity* d : diagrams) answer.emplace_back(d->guid(), d->name());
  return answer;
}

}  // namespace orvtool
