// orv-host: runs an agent of the plug-in (or of the emulated host) on an
// entity of a model file, as the host would, and prints every parameter
// after the call and the host's messages.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "emulator/CallService.h"
#include "emulator/ModelFile.h"
#include "tools/orv-host/Explorer.h"
#include "tools/orv-host/ParameterText.h"
#include "tools/common/Options.h"
#include "tools/common/ProgramPaths.h"
#include "tools/serve/Serve.h"

namespace {

const char kUsage[] =
    "usage: orv-host [options] MODEL AGENT [PARAMETER...]\n"
    "       orv-host serve MODEL [options]   (see orv-host serve --help)\n"
    "\n"
    "Loads the model file MODEL and the plug-in, runs AGENT on an entity of the\n"
    "model with one text parameter per PARAMETER, and prints every parameter\n"
    "after the call, then the host's messages (for instance why validation\n"
    "refused the call).\n"
    "\n"
    "AGENT is a plug-in agent name (GetNativeLinkInformation, ...) or the path\n"
    "of a host agent (@VELExtensionManagement@GetImageIndex).\n"
    "\n"
    "A PARAMETER @FILE stands for the bytes of FILE, @- for those of standard\n"
    "input, and @@TEXT for the text @TEXT.\n"
    "\n"
    "options:\n"
    "  --context ENTITY   GUID or path (@Package@Name) of the entity the agent\n"
    "                     runs on; default: the model's root\n"
    "  --plugin PATH      the plug-in to load; default: libOrvServer.so in the\n"
    "                     directory of orv-host, else in the installed plug-in\n"
    "                     directory (" ORV_PLUGIN_DIR_FROM_BINDIR " from it)\n"
    "  --timeout SECONDS  deadline of the agent call (default 10, 0 = none); the\n"
    "                     host stops a call past it through its next host\n"
    "                     operations\n"
    "  --max-operations N host operations the call may make (default 0 = no\n"
    "                     limit)\n"
    "  --print N          print only the text of parameter N, byte for byte\n"
    "  --tree             print the model's entities as a tree (GUID, meta class,\n"
    "                     name, applied stereotypes) instead of running an agent;\n"
    "                     AGENT is not needed then\n"
    "  --explore          print the model explorer's tree as the browser client\n"
    "                     fills it: GetModelViewChildNodes on the root, then on\n"
    "                     every node that has children; AGENT is not needed then\n"
    "  --help             this text\n"
    "  --version          the version of orv-host\n"
    "\n"
    "exit status: 0 answered; 1 usage; 2 model or plug-in could not be loaded;\n"
    "3 unknown agent or entity, or an exception escaped the agent; 4 the call\n"
    "ran out of time or host operations; 5 the host refused the parameters;\n"
    "7 the agent wrote its error parameter (docs/cli.md has the table).\n";

struct Options {
  std::string model, agent, context, plugin;
  std::vector<std::string> parameters;
  double timeout = 10;
  double maxOperations = 0;
  long print = 0;
  bool tree = false;
  bool explore = false;
};

std::string DefaultPlugin() { return orvtool::DefaultPluginPath(); }

const char kProgram[] = "orv-host";

int Usage(const std::string& problem) {
  std::cerr << orvtool::OptionParser(kProgram).UsageError(problem);
  return 1;
}

// Parses the command line; returns -1 to go on, else the exit status.
int ParseOptions(int argc, char** argv, Options& options) {
  bool help = false, version = false;
  double print = 0;
  orvtool::OptionParser parser(kProgram);
  parser.Flag("--help", &help, "-h");
  parser.Flag("--version", &version);
  parser.Flag("--tree", &options.tree);
  parser.Flag("--explore", &options.explore);
  parser.Text("--context", &options.context);
  parser.Text("--plugin", &options.plugin);
  parser.Number("--timeout", 0, 1e6, false, "a number from 0 to 1000000", &options.timeout);
  parser.Number("--max-operations", 0, 1e15, true, "a whole number", &options.maxOperations);
  parser.Number("--print", 0, 1e6, false, "a number from 0 to 1000000", &print);
  // An agent's parameters may start with "--".
  parser.UnknownArePositionalAfter(2);
  std::vector<std::string> positional;
  std::string error;
  if (!parser.Parse(argc, argv, positional, error)) return Usage(error);
  if (help) {
    std::cout << kUsage;
    return 0;
  }
  if (version) {
    std::cout << "orv-host " ORV_VERSION "\n";
    return 0;
  }
  options.print = static_cast<long>(print);
  if (options.tree || options.explore) {
    if (options.tree && options.explore) return Usage("--tree and --explore exclude each other");
    const char* option = options.tree ? "--tree" : "--explore";
    if (positional.size() != 1) return Usage(std::string(option) + " expects a model file and nothing else");
    options.model = positional[0];
    if (options.plugin.empty()) options.plugin = DefaultPlugin();
    return -1;
  }
  if (positional.size() < 2) return Usage("expected a model file and an agent name");
  options.model = positional[0];
  options.agent = positional[1];
  orvtool::ParameterTextReader reader(STDIN_FILENO);
  for (std::size_t i = 2; i < positional.size(); ++i) {
    std::string text;
    if (!reader.Read(positional[i], text, error)) {
      std::cerr << "orv-host: parameter " << (i - 1) << ": " << error << "\n";
      return 1;
    }
    options.parameters.push_back(std::move(text));
  }
  if (options.plugin.empty()) options.plugin = DefaultPlugin();
  return -1;
}

void PrintRun(const qmemu::AgentRun& run) {
  for (std::size_t i = 0; i < run.parameters.size(); ++i) {
    std::cout << "parameter " << (i + 1) << ":\n" << run.parameters[i] << "\n";
  }
}

// Prints the entity tree below the root, one line per entity, indented by
// ownership depth. Stereotype instances are shown on their owner's line.
void PrintTree(qmemu::Model& model) {
  std::vector<std::pair<const qmemu::Entity*, std::size_t>> pending{{&model.root(), 0}};
  while (!pending.empty()) {
    auto [entity, depth] = pending.back();
    pending.pop_back();
    std::cout << std::string(2 * depth, ' ') << entity->guid() << "  [" << entity->meta() << "]";
    if (!entity->name().empty()) std::cout << "  \"" << entity->name() << "\"";
    for (const qmemu::Entity* instance : entity->stereotypeInstances()) {
      const qmemu::Entity* stereotype = instance->reference("InstanceOf");
      if (stereotype != nullptr) std::cout << "  <<" << stereotype->name() << ">>";
    }
    std::cout << "\n";
    const auto& owned = entity->owned();
    for (auto it = owned.rbegin(); it != owned.rend(); ++it) {
      const qmemu::Entity* child = it->get();
      bool isStereotype = child->meta() == "InstanceExpr" && child->owner() == entity &&
                          child->reference("InstanceOf") != nullptr &&
                          child->reference("InstanceOf")->meta() == "Stereotype";
      if (!isStereotype) pending.emplace_back(child, depth + 1);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::string(argv[1]) == "serve") return orvtool::RunServe(argc - 1, argv + 1);
  Options options;
  int status = ParseOptions(argc, argv, options);
  if (status >= 0) return status;
  std::string error;
  if (options.tree) {
    std::unique_ptr<qmemu::Model> model = qmemu::LoadModelFile(options.model, error);
    if (model == nullptr) {
      std::cerr << "orv-host: " << error << "\n";
      return 2;
    }
    PrintTree(*model);
    return 0;
  }
  std::unique_ptr<qmemu::Session> session = qmemu::Session::Open(options.model, options.plugin, error);
  if (session == nullptr) {
    std::cerr << "orv-host: " << error << "\n";
    return 2;
  }
  qmemu::CallService agents(*session,
                            qmemu::CallLimits{options.timeout, static_cast<std::uint64_t>(options.maxOperations)},
                            qmemu::AgentReach::kAllAgents);
  if (options.explore) {
    qmemu::Outcome outcome = orvtool::PrintExplorerTree(agents, std::cout);
    if (!outcome.IsAnswered()) {
      std::cout.flush();
      std::cerr << "orv-host: " << outcome.text() << "\n";
    }
    return qmemu::OutcomeRowOf(outcome.kind()).exitStatus;
  }
  qmemu::CallRequest call;
  call.agent = options.agent;
  call.context = options.context;
  call.parameters = options.parameters;
  qmemu::CallResult result = agents.Call(call);
  const qmemu::Outcome& outcome = result.outcome;
  if (outcome.IsUnknown() || outcome.IsHostFault()) {
    std::cerr << "orv-host: " << outcome.text() << "\n";
    return qmemu::OutcomeRowOf(outcome.kind()).exitStatus;
  }
  // Every other outcome ran the agent: its parameters are worth printing.
  if (options.print > 0) {
    std::size_t n = static_cast<std::size_t>(options.print);
    if (n > result.run.parameters.size()) {
      return Usage("--print " + std::to_string(n) + ": the call has fewer parameters");
    }
    std::cout << result.run.parameters[n - 1];
  } else {
    PrintRun(result.run);
  }
  for (const std::string& message : result.run.messages) std::cerr << "orv-host: host message: " << message << "\n";
  if (outcome.IsBudgetSpent() || outcome.IsAgentError()) std::cerr << "orv-host: " << outcome.text() << "\n";
  return qmemu::OutcomeRowOf(outcome.kind()).exitStatus;
}
