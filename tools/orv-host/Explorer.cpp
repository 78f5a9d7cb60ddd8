#include "tools/orv-host/Explorer.h"

#include <set>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace orvtool {
namespace {

const char kAgent[] = "GetModelViewChildNodes";

// One node as the agent answers it.
struct Node {
  std::string text, hasChildren, visual, icon, metaclassType, modelguid, metaguid;
};

// Reads the agent's answer; false when it is not an array of objects with
// the seven string members.
bool ParseNodes(const std::string& answer, std::vector<Node>& nodes) {
  nlohmann::json json = nlohmann::json::parse(answer, nullptr, false);
  if (!json.is_array()) return false;
  for (const nlohmann::json& object : json) {
    if (!object.is_object()) return false;
    Node node;
    const std::pair<const char*, std::string*> members[] = {
        {"text", &node.text},           {"hasChildren", &node.hasChildren}, {"visual", &node.visual},
        {"icon", &node.icon},           {"metaclassType", &node.metaclassType},
        {"modelguid", &node.modelguid}, {"metaguid", &node.metaguid}};
    for (const auto& member : members) {
      auto it = object.find(member.first);
      if (it == object.end() || !it->is_string()) return false;
      *member.second = it->get<std::string>();
    }
    nodes.push_back(std::move(node));
  }
  return true;
}

class Walk {
 public:
  Walk(qmemu::CallService& agents, std::ostream& out) : agents_(agents), out_(out) {}

  // Prints the children of (`guid`, `metaguid`) at `depth`; "" asks for the
  // root. The outcome of the call that failed goes into `failure`.
  bool Expand(const std::string& guid, const std::string& metaguid, int depth, qmemu::Outcome& failure) {
    qmemu::CallRequest call;
    call.agent = kAgent;
    call.parameters = qmemu::FindAgentEntry(kAgent)->Texts({{"parentGuid", guid}, {"parentMetaGuid", metaguid}});
    qmemu::CallResult result = agents_.Call(call);
    const std::string indent(2 * static_cast<std::size_t>(depth), ' ');
    if (result.outcome.IsAgentError()) {
      out_ << indent << "! " << result.outcome.text() << "\n";
      return true;
    }
    if (result.outcome.IsRefused()) {
      failure = qmemu::Outcome::Refused("the host refused the call: " + result.outcome.messages().front(),
                                        result.outcome.messages());
      return false;
    }
    if (!result.outcome.IsAnswered()) {
      failure = result.outcome;
      return false;
    }
    const std::string answer = result.Answer(kAgent);
    std::vector<Node> nodes;
    if (!ParseNodes(answer, nodes)) {
      failure = qmemu::Outcome::HostFault(std::string(kAgent) + " answered what is not a node list: " + answer);
      return false;
    }
    for (const Node& node : nodes) {
      Print(node, indent);
      if (node.hasChildren != "yes") continue;
      const std::pair<std::string, std::string> key(node.modelguid, node.metaguid);
      if (depth + 1 > kMaxExplorerDepth) {
        out_ << indent << "  ... (deeper levels not shown)\n";
      } else if (!path_.insert(key).second) {
        out_ << indent << "  ... (already shown above: the tree turns back here)\n";
      } else {
        bool ok = Expand(node.modelguid, node.metaguid, depth + 1, failure);
        path_.erase(key);
        if (!ok) return false;
      }
    }
    return true;
  }

 private:
  void Print(const Node& node, const std::string& indent) {
    out_ << indent << (node.hasChildren == "yes" ? "+ " : "- ") << '"' << node.text << '"';
    if (node.metaguid.empty()) {
      out_ << "  [" << node.metaclassType << "]";
    } else {
      out_ << "  [attribute " << node.metaguid << "]";
    }
    out_ << "  " << node.modelguid << "  icon " << node.icon;
    if (node.visual == "yes") out_ << "  (in a diagram)";
    out_ << "\n";
  }

  qmemu::CallService& agents_;
  std::ostream& out_;
  std::set<std::pair<std::string, std::string>> path_;  // nodes being expanded, root to here
};

}  // namespace

qmemu::Outcome PrintExplorerTree(qmemu::CallService& agents, std::ostream& out) {
  qmemu::Outcome failure = qmemu::Outcome::Answered();
  Walk(agents, out).Expand("", "", 0, failure);
  return failure;
}

}  // namespace orvtool
