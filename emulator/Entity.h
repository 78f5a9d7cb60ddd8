// An entity of the emulated model: the host's IVelEntity, and IVelExpression
// for entities of the "Expression" meta classes.
//
// The public host operations (those of the interfaces) report to the
// HostMonitor and may be failed on command. The emulator's own API below
// them (lower-case names) is not counted: host agents and the model-file
// loader use it.
//
// Ownership: every entity is owned by its owner entity, or, while it has no
// owner, by the Model. Attaching an unowned entity with SetEntity makes it
// owned by the entity it is attached to. DeleteEntity frees the entity and
// everything it owns for real, and removes every reference to them.
#ifndef EMULATOR_ENTITY_H_
#define EMULATOR_ENTITY_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/VelInterfaces.h"

namespace qmemu {

class Model;

// Splits a qualified path "@Package@Name" into its two segments (the name
// is everything after the second "@"); false for another shape.
bool SplitPath(const std::string& path, std::string& package, std::string& name);

class Entity final : public qm::IVelEntity, public qm::IVelExpression {
 public:
  // A (name, entity) pair: a named argument of an instance expression.
  typedef std::pair<std::string, Entity*> Link;
  // An entity that refers to this one, and the property by which it does.
  // `property` points at the model's one copy of the property name.
  struct Referrer {
    const std::string* property;
    Entity* entity;
  };

  // `metaClass` is the model's one copy of the meta-class name (see
  // Model::intern); it outlives the entity.
  Entity(Model& model, const std::string& metaClass, std::string guid);
  ~Entity();
  Entity(const Entity&) = delete;
  Entity& operator=(const Entity&) = delete;

  // ---- qm::IUnknown, qm::IVelEntity, qm::IVelExpression (counted) ----
  qm::Status QueryInterface(const qm::InterfaceId& id, void** object) override;
  qm::Status GetValue(const std::string& name, std::string& value, int flag) override;
  qm::IVelEntity* GetReferencedEntity(const std::string& name, int flag) override;
  qm::Status GetEntities(const std::string& name, qm::EntityList& entities) override;
  qm::IVelEntity* GetEntity(const std::string& name, int flag) override;
  qm::IVelEntity* GetOwner() override;
  qm::Status GetMetaClassName(std::string& name) override;
  qm::Status GetReferencingEntities(const std::string& name, qm::EntityList& entities) override;
  qm::IVelEntity* QueryEntity(const std::string& query, int flag) override;
  bool IsKindOf(const std::string& metaClass) override;
  qm::Status SetValue(const std::string& name, const std::string& value, int flag,
                      qmdll::Changer& changer) override;
  qm::Status SetEntity(const std::string& name, qm::IVelEntity* entity, int flag,
                       qmdll::Changer& changer) override;
  qm::Status DeleteEntity(qmdll::Changer& changer) override;
  bool HasStereotype(const std::string& stereotypePath, int flag) override;
  qm::IVelModel* GetModel() override;
  qm::IUnknown* GetArgument(const std::string& name) override;

  // ---- the emulator's own API (not counted) ----
  Model& model() const { return model_; }
  const std::string& meta() const { return *meta_; }
  const std::string& guid() const { return guid_; }
  Entity* owner() const { return owner_; }
  bool isKindOf(const std::string& metaClass) const;
  // The entity as the plug-in sees it (through IVelEntity).
  qm::IVelEntity* asEntity() { return this; }
  // Converts a host pointer back; null for null or a foreign object.
  static Entity* From(qm::IVelEntity* entity);
  static Entity* From(qm::IUnknown* object);

  // Text properties. "Guid" reads the entity's GUID. Unset reads "".
  const std::string& value(const std::string& name) const;
  bool hasValue(const std::string& name) const;
  void setValue(const std::string& name, const std::string& value);
  const std::string& name() const { return value("Name"); }
  // True when the entity lies at the path "@" + `package` + "@" + `name`:
  // its "Name" is `name` and its owner's "Name" is `package`.
  bool isAt(const std::string& package, const std::string& name) const;

  // Single-valued references (null when unset).
  Entity* reference(const std::string& name) const;
  void setReference(const std::string& name, Entity* target);
  // Multi-valued properties, in model order.
  const std::vector<Entity*>& list(const std::string& name) const;
  void append(const std::string& name, Entity* target);
  // Named arguments of an instance expression, in the order given.
  const std::vector<Link>& arguments() const;
  Entity* argument(const std::string& name) const;
  void addArgument(const std::string& name, Entity* target);
  // Who refers to this entity, by which property, in the order the
  // references were made.
  const std::vector<Referrer>& referrers() const { return referrers_; }
  // The entities this one owns, in the order they were attached.
  const std::vector<std::unique_ptr<Entity>>& owned() const { return owned_; }

  // The stereotype instances applied to this entity ("HiddenStereotypeInstance").
  const std::vector<Entity*>& stereotypeInstances() const { return list("HiddenStereotypeInstance"); }
  // The applied instance of the stereotype named `stereotypeName` (its
  // "Name"), or null. This is how the host's queries find a stereotype.
  Entity* stereotypeInstanceNamed(const std::string& stereotypeName) const;
  // The applied instance of the stereotype at the qualified path
  // `stereotypePath` ("@Package@Name"), or null; a GUID is no path. This is
  // how HasStereotype and the host's own drawing find a stereotype.
  Entity* stereotypeInstanceAt(const std::string& stereotypePath) const;

 private:
  friend class Model;
  void attach(Entity* target);          // takes ownership if target is unowned
  void forgetReferencesTo(Entity* target);
  void forgetReferrer(Entity* referrer);

  // Properties are kept in small vectors in the order they were first set,
  // each under the model's one copy of its name (Model::intern): a model
  // has a few dozen property names and tens of thousands of entities, so
  // per-entity maps and per-entity copies of the names would cost most of
  // its memory. Lookups compare names by content, over a handful of items.
  struct Value {
    const std::string* name;
    std::string text;
  };
  struct Reference {
    const std::string* name;
    Entity* target;
  };
  struct List {
    const std::string* name;
    std::vector<Entity*> items;
  };
  Value* findValue(const std::string& name);
  static const std::vector<List>& NoLists();
  Reference* findReference(const std::string& name);
  List* findList(const std::string& name);

  Model& model_;
  const std::string* meta_;
  std::string guid_;
  Entity* owner_ = nullptr;
  std::uint64_t seq_ = 0;  // creation number, for the model's ordered index
  std::vector<Value> values_;
  std::vector<Reference> references_;
  // Lists and arguments are held by few entities (owners of dependencies,
  // expression items, stereotype applications): they live apart, made on
  // first use, so that the others do not carry their empty vectors.
  struct Rare {
    std::vector<List> lists;
    std::vector<Link> arguments;
  };
  Rare& rare();
  std::unique_ptr<Rare> rare_;
  std::vector<Referrer> referrers_;
  std::vector<std::unique_ptr<Entity>> owned_;
};

}  // namespace qmemu

#endif  // EMULATOR_ENTITY_H_
