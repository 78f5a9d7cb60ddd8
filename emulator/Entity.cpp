#include "emulator/Entity.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_set>

#include "emulator/Changer.h"
#include "emulator/HostMonitor.h"
#include "emulator/Model.h"

namespace qmemu {
namespace {

const std::string& Empty() {
  static const std::string empty;
  return empty;
}

const std::vector<Entity*>& NoEntities() {
  static const std::vector<Entity*> none;
  return none;
}

const char* InterfaceName(const qm::InterfaceId& id) {
  if (id == qm::IVelEntity::guid) return "IVelEntity";
  if (id == qm::IVelExpression::guid) return "IVelExpression";
  if (id == qm::IVelModel::guid) return "IVelModel";
  if (id == qm::IVelModelAccess::guid) return "IVelModelAccess";
  if (id == qm::IVelMessageList::guid) return "IVelMessageList";
  if (id == qm::IUnknown::guid) return "IUnknown";
  return "unknown interface";
}

void CheckChanger(qmdll::Changer& changer) {
  if (&changer != &qmdll::defaultChanger) {
    throw std::invalid_argument("changing operation called without qmdll::defaultChanger");
  }
}

// Splits a query "Name (. argument .)" into its two words; false when the
// text has another shape.
bool SplitQuery(const std::string& query, std::string& name, std::string& argument) {
  std::size_t open = query.find("(.");
  std::size_t close = query.rfind(".)");
  if (open == std::string::npos || close == std::string::npos || close < open + 2) return false;
  auto trim = [](const std::string& s) {
    std::size_t b = s.find_first_not_of(" \t");
    std::size_t e = s.find_last_not_of(" \t");
    return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
  };
  name = trim(query.substr(0, open));
  argument = trim(query.substr(open + 2, close - open - 2));
  return !name.empty() && !argument.empty() && close + 2 == query.size();
}

}  // namespace

bool SplitPath(const std::string& path, std::string& package, std::string& name) {
  if (path.size() < 4 || path[0] != '@') return false;
  std::size_t second = path.find('@', 1);
  if (second == std::string::npos || second == 1 || second + 1 == path.size()) return false;
  package = path.substr(1, second - 1);
  name = path.substr(second + 1);
  return true;
}

Entity::Entity(Model& model, std::string metaClass, std::string guid)
    : model_(model), meta_(std::move(metaClass)), guid_(std::move(guid)) {}

Entity::~Entity() {
  // Free the owned subtree without recursion, so that a deep tree cannot
  // exhaust the stack.
  std::vector<std::unique_ptr<Entity>> pending = std::move(owned_);
  owned_.clear();
  while (!pending.empty()) {
    std::unique_ptr<Entity> next = std::move(pending.back());
    pending.pop_back();
    for (auto& child : next->owned_) pending.push_back(std::move(child));
    next->owned_.clear();
  }
}

Entity* Entity::From(qm::IVelEntity* entity) { return entity == nullptr ? nullptr : dynamic_cast<Entity*>(entity); }

Entity* Entity::From(qm::IUnknown* object) { return object == nullptr ? nullptr : dynamic_cast<Entity*>(object); }

// ---- host operations ----

qm::Status Entity::QueryInterface(const qm::InterfaceId& id, void** object) {
  HostMonitor::Instance().Enter(HostOperation::kQueryInterface, InterfaceName(id));
  if (id == qm::IVelEntity::guid || id == qm::IUnknown::guid) {
    *object = static_cast<qm::IVelEntity*>(this);
    return 0;
  }
  if (id == qm::IVelExpression::guid && isKindOf("Expression")) {
    *object = static_cast<qm::IVelExpression*>(this);
    return 0;
  }
  return 1;
}

qm::Status Entity::GetValue(const std::string& name, std::string& value, int flag) {
  HostMonitor::Instance().Enter(HostOperation::kGetValue, name, flag);
  value = this->value(name);
  return 0;
}

qm::IVelEntity* Entity::GetReferencedEntity(const std::string& name, int flag) {
  HostMonitor::Instance().Enter(HostOperation::kGetReferencedEntity, name, flag);
  Entity* target = reference(name);
  return target == nullptr ? nullptr : target->asEntity();
}

qm::Status Entity::GetEntities(const std::string& name, qm::EntityList& entities) {
  HostMonitor::Instance().Enter(HostOperation::kGetEntities, name);
  for (Entity* e : list(name)) entities.push_back(e->asEntity());
  return 0;
}

qm::IVelEntity* Entity::GetEntity(const std::string& name, int flag) {
  HostMonitor::Instance().Enter(HostOperation::kGetEntity, name, flag);
  Entity* target = reference(name);
  return target == nullptr ? nullptr : target->asEntity();
}

qm::IVelEntity* Entity::GetOwner() {
  HostMonitor::Instance().Enter(HostOperation::kGetOwner);
  return owner_ == nullptr ? nullptr : owner_->asEntity();
}

qm::Status Entity::GetMetaClassName(std::string& name) {
  HostMonitor::Instance().Enter(HostOperation::kGetMetaClassName);
  name = meta_;
  return 0;
}

qm::Status Entity::GetReferencingEntities(const std::string& name, qm::EntityList& entities) {
  HostMonitor::Instance().Enter(HostOperation::kGetReferencingEntities, name);
  if (!name.empty()) {
    for (const Link& link : referrers_) {
      if (link.first == name) entities.push_back(link.second->asEntity());
    }
    return 0;
  }
  std::unordered_set<Entity*> seen;  // an entity that refers twice is listed once
  for (const Link& link : referrers_) {
    if (seen.insert(link.second).second) entities.push_back(link.second->asEntity());
  }
  return 0;
}

qm::IVelEntity* Entity::QueryEntity(const std::string& query, int flag) {
  HostMonitor::Instance().Enter(HostOperation::kQueryEntity, query, flag);
  std::string stereotype, argumentName;
  if (!SplitQuery(query, stereotype, argumentName)) return nullptr;
  Entity* instance = stereotypeInstanceNamed(stereotype);
  if (instance == nullptr) return nullptr;
  Entity* value = instance->argument(argumentName);
  return value == nullptr ? nullptr : value->asEntity();
}

bool Entity::IsKindOf(const std::string& metaClass) {
  HostMonitor::Instance().Enter(HostOperation::kIsKindOf, metaClass);
  return isKindOf(metaClass);
}

qm::Status Entity::SetValue(const std::string& name, const std::string& value, int flag, qmdll::Changer& changer) {
  HostMonitor::Instance().Enter(HostOperation::kSetValue, name, flag);
  CheckChanger(changer);
  StoreWrite writing(model_);  // a lookup by path on another thread reads values
  setValue(name, value);
  return 0;
}

qm::Status Entity::SetEntity(const std::string& name, qm::IVelEntity* entity, int flag, qmdll::Changer& changer) {
  HostMonitor::Instance().Enter(HostOperation::kSetEntity, name, flag);
  CheckChanger(changer);
  StoreWrite writing(model_);  // attaching changes owners, which lookups by path read
  Entity* target = From(entity);
  if (target == nullptr || &target->model_ != &model_) return 1;
  if (model_.metaClasses().IsListProperty(name)) {
    append(name, target);
  } else {
    setReference(name, target);
  }
  attach(target);
  return 0;
}

qm::Status Entity::DeleteEntity(qmdll::Changer& changer) {
  HostMonitor::Instance().Enter(HostOperation::kDeleteEntity);
  CheckChanger(changer);
  if (this == &model_.root()) return 1;
  model_.destroy(this);  // frees this entity: nothing may touch it afterwards
  return 0;
}

bool Entity::HasStereotype(const std::string& stereotypePath, int flag) {
  HostMonitor::Instance().Enter(HostOperation::kHasStereotype, stereotypePath, flag);
  return stereotypeInstanceAt(stereotypePath) != nullptr;
}

qm::IVelModel* Entity::GetModel() {
  HostMonitor::Instance().Enter(HostOperation::kGetModel);
  return &model_;
}

qm::IUnknown* Entity::GetArgument(const std::string& name) {
  HostMonitor::Instance().Enter(HostOperation::kGetArgument, name);
  Entity* value = argument(name);
  return value == nullptr ? nullptr : static_cast<qm::IUnknown*>(value->asEntity());
}

// ---- emulator API ----

bool Entity::isKindOf(const std::string& metaClass) const { return model_.metaClasses().IsKindOf(meta_, metaClass); }

const std::string& Entity::value(const std::string& name) const {
  if (name == "Guid") return guid_;
  auto it = values_.find(name);
  return it == values_.end() ? Empty() : it->second;
}

bool Entity::isAt(const std::string& package, const std::string& name) const {
  return owner_ != nullptr && this->name() == name && owner_->name() == package;
}

bool Entity::hasValue(const std::string& name) const { return name == "Guid" || values_.count(name) != 0; }

void Entity::setValue(const std::string& name, const std::string& value) {
  if (name == "Guid") {
    model_.unregister(this);
    guid_ = value;
    model_.byGuid_[guid_] = this;
    model_.order_[seq_] = this;
    return;
  }
  values_[name] = value;
}

Entity* Entity::reference(const std::string& name) const {
  auto it = references_.find(name);
  return it == references_.end() ? nullptr : it->second;
}

void Entity::setReference(const std::string& name, Entity* target) {
  auto it = references_.find(name);
  if (it != references_.end()) {
    Entity* old = it->second;
    references_.erase(it);
    auto& back = old->referrers_;
    auto link = std::find(back.begin(), back.end(), Link(name, this));
    if (link != back.end()) back.erase(link);
  }
  if (target == nullptr) return;
  references_[name] = target;
  target->referrers_.emplace_back(name, this);
}

const std::vector<Entity*>& Entity::list(const std::string& name) const {
  auto it = lists_.find(name);
  return it == lists_.end() ? NoEntities() : it->second;
}

void Entity::append(const std::string& name, Entity* target) {
  lists_[name].push_back(target);
  target->referrers_.emplace_back(name, this);
}

Entity* Entity::argument(const std::string& name) const {
  for (const Link& link : arguments_) {
    if (link.first == name) return link.second;
  }
  return nullptr;
}

void Entity::addArgument(const std::string& name, Entity* target) {
  arguments_.emplace_back(name, target);
  target->referrers_.emplace_back(name, this);
  attach(target);
}

Entity* Entity::stereotypeInstanceNamed(const std::string& stereotypeName) const {
  for (Entity* instance : stereotypeInstances()) {
    Entity* stereotype = instance->reference("InstanceOf");
    if (stereotype != nullptr && stereotype->name() == stereotypeName) return instance;
  }
  return nullptr;
}

Entity* Entity::stereotypeInstanceAt(const std::string& stereotypePath) const {
  std::string package, name;
  if (!SplitPath(stereotypePath, package, name)) return nullptr;
  for (Entity* instance : stereotypeInstances()) {
    Entity* stereotype = instance->reference("InstanceOf");
    if (stereotype != nullptr && stereotype->isAt(package, name)) return instance;
  }
  return nullptr;
}

void Entity::attach(Entity* target) {
  if (target->owner_ != nullptr) return;
  // Never make an entity own one of its own owners.
  for (const Entity* up = this; up != nullptr; up = up->owner_) {
    if (up == target) return;
  }
  std::unique_ptr<Entity> held = model_.release(target);
  if (held == nullptr) return;  // the root or a library package: stays where it is
  target->owner_ = this;
  owned_.push_back(std::move(held));
}

void Entity::forgetReferencesTo(Entity* target) {
  for (auto it = references_.begin(); it != references_.end();) {
    it = it->second == target ? references_.erase(it) : std::next(it);
  }
  for (auto& entry : lists_) {
    auto& items = entry.second;
    items.erase(std::remove(items.begin(), items.end(), target), items.end());
  }
  arguments_.erase(std::remove_if(arguments_.begin(), arguments_.end(),
                                  [target](const Link& l) { return l.second == target; }),
                   arguments_.end());
}

void Entity::forgetReferrer(Entity* referrer) {
  referrers_.erase(std::remove_if(referrers_.begin(), referrers_.end(),
                                  [referrer](const Link& l) { return l.second == referrer; }),
                   referrers_.end());
}

}  // namespace qmemu
