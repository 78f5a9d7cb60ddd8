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

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <shared_mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <utility>
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
  // How many entities the model holds (attached or not).
  std::size_t size() const { return living_; }

  // The model's one copy of the text `name` (a property or meta-class
  // name), made on first use and kept as long as the model.
  const std::string& intern(const std::string& name);

  // The host's SVG generation hands the tree `root` to a customization agent
  // that interrupted the host's own writing: from now on the plug-in owns
  // it (it caches the tree and deletes it on a refresh) -- unless the
  // generation failed before the plug-in cached it. The host tells the two
  // apart by the order of the plug-in's steps: having generated, it looks
  // up the XML writer and writes the tree only if it cached it. So when the
  // plug-in call that asked for the generation ends with no host operation
  // after a successful lookup of the writer, and the tree was not written,
  // nobody holds the tree and the model frees it. Only trees handed over
  // during a plug-in call are tracked.
  //
  // Likewise, entities that a plug-in agent made with CreateEntity and left
  // unattached (it failed between making one and attaching it) are freed
  // when the plug-in call that made them ends: the plug-in keeps no entity
  // of its own making beyond a call.
  void handOver(Entity* root);

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
  Entity* findGenerated(const std::string& name) const;
  void unregister(Entity* entity);
  void rename(Entity* entity, const std::string& guid);  // a new GUID, same place in the order
  std::unique_ptr<Entity> release(Entity* entity);  // takes it out of its holder

  MetaClasses metaClasses_;
  std::unordered_set<std::string> names_;  // see intern(); outlives every entity
  std::unique_ptr<Entity> root_;
  std::vector<std::unique_ptr<Entity>> library_;  // predefined packages (no owner)
  std::vector<std::unique_ptr<Entity>> unattached_;
  std::vector<const Entity*> parsed_;  // made by ParseExpressionText; compared, never dereferenced
  // Entities by GUID, except those whose GUID the model generated and never
  // changed (see findGenerated).
  std::unordered_map<std::string, Entity*> byGuid_;
  std::size_t living_ = 0;
  // Every entity by creation number, ascending; a destroyed entity leaves a
  // null until the vector is compacted (when nulls outnumber the living).
  std::vector<std::pair<std::uint64_t, Entity*>> order_;
  std::size_t orderHoles_ = 0;
  // See handOver().
  void settleHandedOver();
  // The thread whose plug-in call created or handed over entities to settle.
  std::atomic<std::thread::id> settlingThread_{};
  std::vector<Entity*> handedOver_;
  std::unordered_set<Entity*> createdInCall_;  // by CreateEntity during a plug-in call; living ones only
  bool writerFound_ = false;
  std::uint64_t writerFoundAt_ = 0;  // HostMonitor count just after the writer was found
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
