#include "emulator/Model.h"

#include <algorithm>
#include <thread>
#include <unordered_set>

#include "emulator/AgentTable.h"
#include "emulator/CallScope.h"
#include "emulator/HostMonitor.h"
#include "emulator/Plugin.h"

namespace qmemu {
namespace {

struct PredefinedEntity {
  const char* path;
  const char* meta;
};

const std::vector<PredefinedEntity>& PredefinedTable() {
  static const std::vector<PredefinedEntity> table = {
      {"@Predefined@ExternalObject", "ExternalObject"},
      {"@Predefined@trace", "Stereotype"},
      {"@Predefined@satisfy", "Stereotype"},
      {"@Predefined@verify", "Stereotype"},
      {"@Predefined@refine", "Stereotype"},
      {"@Predefined@copy", "Stereotype"},
      {"@Predefined@deriveReqt", "Stereotype"},
      {"@Predefined@externalObjectReference", "Stereotype"},
      {"@VELLinks@HYPERLINK", "Stereotype"},
      {"@VELLineStyles@automaticLineStyle", "Stereotype"},
      // The meta definition the model-view children agent gives every
      // ordinary child (see emulator/agents/GetModelViewChildren.cpp).
      {"@MetaModel@Element", "Definition"},
  };
  return table;
}

// The model whose store the calling thread holds exclusively, if any: its
// own further reads and writes of that store go ahead without locking again.
thread_local const Model* storeHolder = nullptr;

}  // namespace

StoreWrite::StoreWrite(const Model& model) : model_(model), owns_(storeHolder != &model) {
  if (!owns_) return;
  model_.store_.lock();
  storeHolder = &model_;
}

StoreWrite::~StoreWrite() {
  if (!owns_) return;
  storeHolder = nullptr;
  model_.store_.unlock();
}

StoreRead::StoreRead(const Model& model) : model_(model), owns_(storeHolder != &model) {
  if (owns_) model_.store_.lock_shared();
}

StoreRead::~StoreRead() {
  if (owns_) model_.store_.unlock_shared();
}

const std::vector<std::string>& PredefinedPaths() {
  static const std::vector<std::string> paths = [] {
    std::vector<std::string> p;
    for (const PredefinedEntity& e : PredefinedTable()) p.push_back(e.path);
    return p;
  }();
  return paths;
}

Model::Model(const std::string& rootGuid, const std::string& rootMeta, const std::string& rootName)
    : Model(MetaClasses(), rootGuid, rootMeta, rootName) {}

Model::Model(MetaClasses metaClasses, const std::string& rootGuid, const std::string& rootMeta,
             const std::string& rootName)
    : metaClasses_(std::move(metaClasses)) {
  root_.reset(new Entity(*this, intern(metaClasses_.Has(rootMeta) ? rootMeta : "Model"), rootGuid));
  root_->seq_ = nextGuid_++;
  byGuid_[rootGuid] = root_.get();
  order_.emplace_back(root_->seq_, root_.get());
  living_ = 1;
  root_->setValue("Name", rootName);
}

Model::~Model() = default;

// ---- host operations ----

qm::Status Model::QueryInterface(const qm::InterfaceId& id, void** object) {
  HostMonitor::Instance().Enter(HostOperation::kQueryInterface, id == qm::IVelEntity::guid ? "IVelEntity" : "IVelModel");
  if (id == qm::IVelModel::guid || id == qm::IUnknown::guid) {
    *object = static_cast<qm::IVelModel*>(this);
    return 0;
  }
  if (id == qm::IVelEntity::guid) {
    *object = root_->asEntity();
    return 0;
  }
  return 1;
}

namespace {
const char kXmlWriterPath[] = "@VELXMLFramework@WriteXMLToString";
// Plug-in agent calls in progress on this thread (nested through host
// agents). Per thread: concurrent readers each have their own.
thread_local int t_pluginDepth = 0;
}  // namespace

qm::IVelEntity* Model::FindEntity(const std::string& name) {
  HostMonitor::Instance().Enter(HostOperation::kFindEntity, name);
  Entity* entity = find(name);
  // Only an SVG call looks for the writer. The hand-over lists are shared
  // with every thread's destroy(), so they are read under the store lock.
  if (entity != nullptr && name == kXmlWriterPath) {
    StoreRead reading(*this);
    if (!handedOver_.empty()) {
      writerFound_ = true;
      writerFoundAt_ = HostMonitor::Instance().Count();
    }
  }
  return entity == nullptr ? nullptr : entity->asEntity();
}

qm::IVelEntity* Model::CreateEntity(const std::string& metaClass) {
  HostMonitor::Instance().Enter(HostOperation::kCreateEntity, metaClass);
  if (HostMonitor::Instance().CreationFails()) return nullptr;
  Entity* entity = create(metaClass);
  if (entity != nullptr && t_pluginDepth > 0) {
    StoreWrite writing(*this);
    createdInCall_.insert(entity);
    settlingThread_ = std::this_thread::get_id();
  }
  return entity == nullptr ? nullptr : entity->asEntity();
}

qm::Status Model::ParseExpressionText(const std::string& text, qm::EntityList& entities,
                                      const std::string& metaClass) {
  HostMonitor::Instance().Enter(HostOperation::kParseExpressionText, text);
  std::size_t before = entities.size();
  StoreWrite writing(*this);
  ParseHostExpression(*this, text, entities, metaClass);
  CallState* call = CallScope::Current();
  std::vector<const Entity*>& parsed = call != nullptr ? call->parsed : parsed_;
  for (auto it = std::next(entities.begin(), static_cast<std::ptrdiff_t>(before)); it != entities.end(); ++it) {
    parsed.push_back(Entity::From(*it));
  }
  return 0;
}

qm::Status Model::InvokeAgent(qm::IVelEntity* agent, qm::IVelEntity* context, qm::AgentParameters& parameters) {
  Entity* declaration = Entity::From(agent);
  if (declaration != nullptr && declaration->guid() == kXmlWriterPath) {
    // The plug-in writes this tree, so it holds it: not ours to free.
    Entity* written = Entity::From(context);
    StoreWrite writing(*this);
    handedOver_.erase(std::remove(handedOver_.begin(), handedOver_.end(), written), handedOver_.end());
  }
  HostMonitor::Instance().Enter(HostOperation::kInvokeAgent, declaration == nullptr ? "" : declaration->guid());
  return runAgent(declaration, Entity::From(context), parameters);
}

// ---- emulator API ----

qm::Status Model::runAgent(Entity* agent, Entity* context, qm::AgentParameters& parameters) {
  if (agent == nullptr || &agent->model() != this) return 1;
  const std::string& path = agent->guid();
  if (const HostAgentInfo* info = FindHostAgent(path)) {
    HostAgentCall call{*this, context, parameters};
    info->body(call);
    return 0;
  }
  static const std::string pluginPackage = "@OrvServer@";
  if (plugin_ != nullptr && path.compare(0, pluginPackage.size(), pluginPackage) == 0) {
    QmAgentFunction* function = plugin_->Find(path.substr(pluginPackage.size()));
    if (function == nullptr) return 1;
    struct Depth {
      Model& model;
      explicit Depth(Model& m) : model(m) { ++t_pluginDepth; }
      ~Depth() {
        if (--t_pluginDepth == 0) model.settleHandedOver();
      }
    } depth(*this);
    // The host's own first two arguments mean nothing to the plug-in.
    function(nullptr, nullptr, context == nullptr ? nullptr : context->asEntity(), &access(), parameters);
    return 0;
  }
  return 1;
}

void Model::handOver(Entity* root) {
  if (t_pluginDepth > 0 && root != nullptr) {
    StoreWrite writing(*this);
    handedOver_.push_back(root);
    settlingThread_ = std::this_thread::get_id();
  }
}

void Model::settleHandedOver() {
  // Readers run plug-in calls beside an SVG call; only the thread whose call
  // created or handed over entities settles them.
  if (settlingThread_.load() != std::this_thread::get_id()) return;
  settlingThread_ = std::thread::id();
  StoreWrite writing(*this);  // destroy() on other threads reads these lists
  while (!createdInCall_.empty()) {
    // Every entity in the set is alive: destroy() takes out what it frees.
    Entity* entity = *createdInCall_.begin();
    createdInCall_.erase(createdInCall_.begin());
    if (entity->owner_ == nullptr) destroy(entity);
  }
  std::vector<Entity*> trees = std::move(handedOver_);
  handedOver_.clear();
  const bool abandoned = writerFound_ && HostMonitor::Instance().Count() == writerFoundAt_;
  writerFound_ = false;
  if (!abandoned) return;
  for (Entity* root : trees) destroy(root);
}

void Model::addPredefined(const std::set<std::string>& omit) {
  for (const PredefinedEntity& e : PredefinedTable()) {
    if (omit.count(e.path) != 0) continue;
    std::string package, name;
    SplitPath(e.path, package, name);
    Entity* owner = find("@" + package);
    if (owner == nullptr) {
      owner = create("Package", "@" + package);
      owner->setValue("Name", package);
    }
    Entity* entity = create(e.meta, e.path, owner);
    if (entity != nullptr) entity->setValue("Name", name);
  }
  for (const HostAgentInfo& info : HostAgents()) {
    if (omit.count(info.path) == 0) declareAgent(info.path, info.formals);
  }
  for (const AgentEntry& entry : AgentTable()) {
    if (!entry.plugin() || omit.count(entry.path) != 0 || find(entry.path) != nullptr) continue;
    declareAgent(entry.path, entry.Formals());
  }
}

Entity* Model::declareAgent(const std::string& path, const std::vector<FormalParameter>& formals) {
  std::string package, name;
  if (!SplitPath(path, package, name) || byGuid_.count(path) != 0) return nullptr;
  Entity* owner = find("@" + package);
  if (owner == nullptr) {
    owner = create("Package", "@" + package);
    owner->setValue("Name", package);
  }
  Entity* declaration = create("AgentDeclaration", path, owner);
  declaration->setValue("Name", name);
  for (const FormalParameter& f : formals) {
    Entity* p = create("FormalParameter", "", declaration);
    p->setValue("Name", f.name);
    p->setValue("Kind", ParamKindName(f.kind));
    p->setValue("Optional", f.optional ? "true" : "false");
    declaration->append("Parameter", p);
  }
  return declaration;
}

MessageList& Model::messages() {
  CallState* call = CallScope::Current();
  return call != nullptr ? call->messages : messages_;
}

ModelAccess& Model::access() {
  CallState* call = CallScope::Current();
  return call != nullptr ? call->access : access_;
}

Entity* Model::find(const std::string& name) const {
  StoreRead reading(*this);
  auto it = byGuid_.find(name);
  if (it != byGuid_.end()) return it->second;
  if (Entity* generated = findGenerated(name)) return generated;
  return findByPath(name);
}

// A generated GUID "emu-<n>" is made just before its entity's creation
// number, which is n + 1 (see create), so the ordered index finds it and the
// GUID index need not hold the many entities that only have such a GUID.
Entity* Model::findGenerated(const std::string& name) const {
  static const std::string kPrefix = "emu-";
  if (name.size() <= kPrefix.size() || name.size() > kPrefix.size() + 18 ||
      name.compare(0, kPrefix.size(), kPrefix) != 0) {
    return nullptr;
  }
  std::uint64_t n = 0;
  for (std::size_t i = kPrefix.size(); i < name.size(); ++i) {
    if (name[i] < '0' || name[i] > '9') return nullptr;
    n = n * 10 + static_cast<std::uint64_t>(name[i] - '0');
  }
  auto at = std::lower_bound(order_.begin(), order_.end(), n + 1,
                             [](const std::pair<std::uint64_t, Entity*>& e, std::uint64_t seq) { return e.first < seq; });
  if (at == order_.end() || at->first != n + 1 || at->second == nullptr) return nullptr;
  return at->second->guid_ == name ? at->second : nullptr;
}

Entity* Model::findByPath(const std::string& path) const {
  std::string package, name;
  if (!SplitPath(path, package, name)) return nullptr;
  for (const auto& entry : order_) {
    if (entry.second != nullptr && entry.second->isAt(package, name)) return entry.second;
  }
  return nullptr;
}

const std::string& Model::intern(const std::string& name) { return *names_.insert(name).first; }

Entity* Model::create(const std::string& metaClass, const std::string& guid, Entity* owner) {
  if (!metaClasses_.Has(metaClass)) return nullptr;
  StoreWrite writing(*this);
  std::string id = guid;
  const bool generated = id.empty();
  if (generated) {
    do {
      id = "emu-" + std::to_string(nextGuid_++);
    } while (byGuid_.count(id) != 0);
  } else if (byGuid_.count(id) != 0 || findGenerated(id) != nullptr) {
    return nullptr;
  }
  std::unique_ptr<Entity> entity(new Entity(*this, intern(metaClass), id));
  entity->seq_ = nextGuid_++;  // one more than a generated GUID's number: findGenerated relies on it
  Entity* raw = entity.get();
  if (!generated) byGuid_[id] = raw;
  order_.emplace_back(raw->seq_, raw);
  ++living_;
  return adopt(std::move(entity), owner);
}

Entity* Model::adopt(std::unique_ptr<Entity> entity, Entity* owner) {
  Entity* raw = entity.get();
  if (owner != nullptr) {
    raw->owner_ = owner;
    owner->owned_.push_back(std::move(entity));
  } else if (raw->meta() == "Package" && !raw->guid().empty() && raw->guid()[0] == '@') {
    library_.push_back(std::move(entity));
  } else {
    unattached_.push_back(std::move(entity));
  }
  return raw;
}

std::unique_ptr<Entity> Model::release(Entity* entity) {
  StoreWrite writing(*this);
  auto take = [entity](std::vector<std::unique_ptr<Entity>>& from) -> std::unique_ptr<Entity> {
    // Search from the back: the entity released is usually the newest.
    for (auto it = from.rbegin(); it != from.rend(); ++it) {
      if (it->get() == entity) {
        std::unique_ptr<Entity> held = std::move(*it);
        from.erase(std::next(it).base());
        return held;
      }
    }
    return nullptr;
  };
  if (entity->owner_ != nullptr) {
    std::unique_ptr<Entity> held = take(entity->owner_->owned_);
    entity->owner_ = nullptr;
    return held;
  }
  return take(unattached_);
}

void Model::unregister(Entity* entity) {
  auto it = byGuid_.find(entity->guid());
  if (it != byGuid_.end() && it->second == entity) byGuid_.erase(it);
  --living_;
  auto at = std::lower_bound(order_.begin(), order_.end(), entity->seq_,
                             [](const std::pair<std::uint64_t, Entity*>& e, std::uint64_t seq) { return e.first < seq; });
  if (at == order_.end() || at->first != entity->seq_ || at->second == nullptr) return;
  at->second = nullptr;
  if (++orderHoles_ > order_.size() / 2) {
    order_.erase(std::remove_if(order_.begin(), order_.end(),
                                [](const std::pair<std::uint64_t, Entity*>& e) { return e.second == nullptr; }),
                 order_.end());
    orderHoles_ = 0;
  }
}

void Model::rename(Entity* entity, const std::string& guid) {
  auto it = byGuid_.find(entity->guid_);
  if (it != byGuid_.end() && it->second == entity) byGuid_.erase(it);
  entity->guid_ = guid;
  byGuid_[entity->guid_] = entity;
}

void Model::destroy(Entity* entity) {
  if (entity == nullptr || entity == root_.get()) return;
  StoreWrite writing(*this);
  std::vector<Entity*> subtree{entity};
  for (std::size_t i = 0; i < subtree.size(); ++i) {
    for (const auto& child : subtree[i]->owned_) subtree.push_back(child.get());
  }
  std::unordered_set<Entity*> doomed(subtree.begin(), subtree.end());
  for (Entity* e : subtree) {
    for (const auto& ref : e->references_) {
      if (!doomed.count(ref.target)) ref.target->forgetReferrer(e);
    }
    for (const auto& list : e->rare_ == nullptr ? Entity::NoLists() : e->rare_->lists) {
      for (Entity* t : list.items) {
        if (!doomed.count(t)) t->forgetReferrer(e);
      }
    }
    for (const auto& arg : e->arguments()) {
      if (!doomed.count(arg.second)) arg.second->forgetReferrer(e);
    }
    for (const auto& link : e->referrers_) {
      if (!doomed.count(link.entity)) link.entity->forgetReferencesTo(e);
    }
    unregister(e);
  }
  if (!createdInCall_.empty()) {
    for (Entity* e : subtree) createdInCall_.erase(e);
  }
  if (!handedOver_.empty()) {
    handedOver_.erase(std::remove_if(handedOver_.begin(), handedOver_.end(),
                                     [&doomed](Entity* root) { return doomed.count(root) != 0; }),
                      handedOver_.end());
  }
  std::unique_ptr<Entity> held = release(entity);
  if (held == nullptr) {  // a library package
    for (auto it = library_.begin(); it != library_.end(); ++it) {
      if (it->get() == entity) {
        held = std::move(*it);
        library_.erase(it);
        break;
      }
    }
  }
  // `held` frees the subtree here.
}

std::size_t Model::discardParsedExpressions() { return discardParsedExpressions(parsed_); }

std::size_t Model::discardParsedExpressions(std::vector<const Entity*>& parsed) {
  StoreWrite writing(*this);
  std::size_t destroyed = 0;
  for (const Entity* expression : parsed) {
    for (const auto& held : unattached_) {
      if (held.get() == expression) {
        destroy(held.get());
        ++destroyed;
        break;
      }
    }
  }
  parsed.clear();
  return destroyed;
}

std::vector<Entity*> Model::entities() const {
  StoreRead reading(*this);
  std::vector<Entity*> all;
  all.reserve(order_.size());
  for (const auto& entry : order_) {
    if (entry.second != nullptr) all.push_back(entry.second);
  }
  return all;
}

}  // namespace qmemu
