// The emulated model: the host's IVelModel over an in-memory entity store.
//
// A Model owns every entity in it: the root entity and its owned subtree,
// the host's predefined library (stereotypes and agent declarations, each
// with its path as GUID), and entities created but not yet attached.
// Entities are found by GUID or by qualified path "@Package@Name".
//
// The public host operations report to the HostMonitor; the lower-case API
// is the emulator's own and is not counted.
#ifndef EMULATOR_MODEL_H_
#define EMULATOR_MODEL_H_

#include <map>
#include <memory>
#include <set>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "emulator/Access.h"
#include "emulator/Entity.h"
#include "emulator/HostAgents.h"
#include "emulator/MetaClasses.h"
#include "host/AgentParameter.h"
#include "host/VelInterfaces.h"

namespace qmemu {

class Plugin;
class Model;

// Holds a model's store exclusively for the scope (see Model::store_): for
// changes that entities other threads may come across (creating, attaching,
// deleting, setting values and references). A thread that holds it already
// goes ahead without locking again.
class StoreWrite {
 public:
  explicit StoreWrite(const Model& model);
  ~StoreWrite();
  StoreWrite(const StoreWrite&) = delete;
  StoreWrite& operator=(const StoreWrite&) = delete;

 private:
  const Model& model_;
  const bool owns_;
};

// Holds a model's store shared for the scope: for lookups in its indexes.
// A thread that holds it exclusively already goes ahead.
class StoreRead {
 public:
  explicit StoreRead(const Model& model);
  ~StoreRead();
  StoreRead(const StoreRead&) = delete;
  StoreRead& operator=(const StoreRead&) = delete;

 private:
  const Model& model_;
  const bool owns_;
};

// The paths of the host's predefined entities that a model holds unless its
// file omits them (the agent declarations are added separately).
const std::vector<std::string>& PredefinedPaths();

class Model final : public qm::IVelModel {
 public:
  // An empty model whose root entity has the given GUID, meta class and name.
  Model(const std::string& rootGuid = "model-root", const std::string& rootMeta = "Model",
        const std::string& rootName = "Model");
  // The same, with a meta-class table prepared beforehand (for a root whose
  // meta class the model defines itself).
  Model(MetaClasses metaClasses, const std::string& rootGuid, const std::string& rootMeta,
        const std::string& rootName);
  ~Model();
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  // ---- qm::IUnknown and qm::IVelModel (counted) ----
  qm::Status QueryInterface(const qm::InterfaceId& id, void** object) override;
  qm::IVelEntity* FindEntity(const std::string& name) override;
  qm::IVelEntity* CreateEntity(const std::string& metaClass) override;
  qm::Status ParseExpressionText(const std::string& text, qm::EntityList& entities,
                                 const std::string& metaClass) override;
  qm::Status InvokeAgent(qm::IVelEntity* agent, qm::IVelEntity* context, qm::AgentParameters& parameters) override;

  // ---- the emulator's own API ----
  MetaClasses& metaClasses() { return metaClasses_; }
  const MetaClasses& metaClasses() const { return metaClasses_; }
  Entity& root() { return *root_; }

  // Adds the predefined library: the stereotypes and placeholder of
  // PredefinedPaths(), a declaration for every registered host agent and for
  // every plug-in agent ("@OrvServer@" + name), except the paths in `omit`.
  void addPredefined(const std::set<std::string>& omit = {});
  // Declares an agent under `path` with the given formal parameters.
  Entity* declareAgent(const std::string& path, const std::vector<FormalParameter>& formals);

  // The entity with GUID `name`, else the one at qualified path `name`, or null.
  Entity* find(const std::string& name) const;
  // A new entity. With an owner it is owned by it; without one it is held
  // by the model until it is attached. An empty GUID gets a generated one.
  // Null when the GUID is taken or the meta class is unknown.
  Entity* create(const std::string& metaClass, const std::string& guid = "", Entity* owner = nullptr);
  // Removes `entity` and its owned subtree, and every reference to them.
  void destroy(Entity* entity);
  // Destroys the expressions that ParseExpressionText made and that are
  // still unattached (held by the model), as the host drops an agent's
  // parse results once the agent has returned. Expressions that were
  // attached or destroyed meanwhile are left alone. Returns how many it
  // destroyed.
  std::size_t discardParsedExpressions();
  // The same for the expressions listed in `parsed` (one call's, see
  // CallScope.h); clears `parsed`.
  std::size_t discardParsedExpressions(std::vector<const Entity*>& parsed);
  // Every entity of the model, the predefined library first, in creation order.
  std::vector<Entity*> entities() const;

  // Runs an agent without counting the call (for host agents that call others).
  qm::Status runAgent(Entity* agent, Entity* context, qm::AgentParameters& parameters);
  // The plug-in whose exported agents "@OrvServer@..." declarations run.
  void setPlugin(const Plugin* plugin) { plugin_ = plugin; }
  const Plugin* plugin() const { return plugin_; }
  // The message list and access object of the call running on this thread
  // (see CallScope.h), else the model's own.
  MessageList& messages();
  ModelAccess& access();

  // Host data that the model file gives to host agents, by name (for
  // instance icon indexes per meta class).
  std::map<std::string, std::map<std::string, std::string>>& hostData() { return hostData_; }

 private:
  friend class Entity;
  Entity* adopt(std::unique_ptr<Entity> entity, Entity* owner);
  Entity* findByPath(const std::string& path) const;
  void unregister(Entity* entity);
  std::unique_ptr<Entity> release(Entity* entity);  // takes it out of its holder

  MetaClasses metaClasses_;
  std::unique_ptr<Entity> root_;
  std::vector<std::unique_ptr<Entity>> library_;  // predefined packages (no owner)
  std::vector<std::unique_ptr<Entity>> unattached_;
  std::vector<const Entity*> parsed_;  // made by ParseExpressionText; compared, never dereferenced
  std::unordered_map<std::string, Entity*> byGuid_;
  std::map<unsigned long, Entity*> order_;  // by creation number
  unsigned long nextGuid_ = 1;
  const Plugin* plugin_ = nullptr;
  MessageList messages_;
  ModelAccess access_{messages_};
  std::map<std::string, std::map<std::string, std::string>> hostData_;

  // Agents on several threads share the model (see docs/design.md, "The
  // host layer"): the indexes and holders above, and every entity that
  // another thread may come across while it changes, change under `store_`
  // held exclusively (StoreWrite) and are looked up under it shared
  // (StoreRead). ParseExpressionText, the discard of parse results and the
  // host's building of an SVG tree hold it exclusively throughout.
  mutable std::shared_mutex store_;
  friend class StoreWrite;
  friend class StoreRead;
};

// The host's expression parser behind Model::ParseExpressionText (grammar in
// ExpressionParser.cpp and docs/property-pages.md). Parses the whole of
// `text` as one expression and appends its top entity, unattached (held by
// the model), to `entities`: lists become "ListExpr" entities with their
// items in "Expression"; instances `Kind(. name = value, ... .)` become
// "InstanceExpr" entities whose "InstanceOf" is the "Definition" named Kind
// (the one at "@ControlKinds@Kind", made by the host in its package
// "@ControlKinds" when the model has none) and whose arguments GetArgument
// answers by name as written ('value' keeps its quotes); strings become
// "CharstringValue" and names "Ident" entities carrying "ValueString".
// Appends nothing when the text does not parse or its top expression is not
// of meta class `metaClass`; the model is then left as it was.
void ParseHostExpression(Model& model, const std::string& text, qm::EntityList& entities,
                         const std::string& metaClass);

}  // namespace qmemu

#endif  // EMULATOR_MODEL_H_
