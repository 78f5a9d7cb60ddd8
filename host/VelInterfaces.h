// The host's model-access interfaces, as the plug-in sees them.
//
// Everything the plug-in knows about a model it asks through these abstract
// interfaces. The host owns every object reached through them: the plug-in
// never creates, copies or deletes one, and never keeps one beyond the agent
// call in which it got it. Changes to the model go through the host's change
// object `qmdll::defaultChanger`.
//
// Results marked `Status` are the host's; the plug-in never reads them.
#ifndef HOST_VELINTERFACES_H_
#define HOST_VELINTERFACES_H_

#include <list>
#include <string>

namespace qmdll {
// The host's change object; every changing operation takes it. Opaque here.
class Changer;
extern Changer defaultChanger;
}  // namespace qmdll

namespace qm {

// The identity of an interface, as `QueryInterface` takes it. Compared by
// value, so that the same identity may live in several loaded objects.
struct InterfaceId {
  unsigned int data1;
  unsigned short data2;
  unsigned short data3;
  unsigned char data4[8];
};

inline bool operator==(const InterfaceId& a, const InterfaceId& b) {
  if (a.data1 != b.data1 || a.data2 != b.data2 || a.data3 != b.data3) return false;
  for (int i = 0; i < 8; ++i) {
    if (a.data4[i] != b.data4[i]) return false;
  }
  return true;
}
inline bool operator!=(const InterfaceId& a, const InterfaceId& b) { return !(a == b); }

// Result of host operations that report a status. Never read by the plug-in.
typedef long Status;

class IVelEntity;
class IVelModel;
class AgentParameters;

// A list of entities: owned by the caller, filled by the host by appending.
typedef std::list<IVelEntity*> EntityList;

// Base of every host interface.
class IUnknown {
 public:
  static constexpr InterfaceId guid = {0x5a1c0000u, 0x0000, 0x0000, {0xc0, 0, 0, 0, 0, 0, 0, 0x46}};

  // Sets *object to this object's interface of identity `id`, or leaves it
  // untouched (callers set it to null first) when the object has none.
  virtual Status QueryInterface(const InterfaceId& id, void** object) = 0;

 protected:
  ~IUnknown() = default;
};

// The list that collects messages for the user. Opaque to the plug-in: it is
// only handed on to ValidateAgentActualParameters.
class IVelMessageList : public IUnknown {
 public:
  static constexpr InterfaceId guid = {0x5a1c0001u, 0x7e11, 0x4d0a, {0x9b, 0x31, 0x10, 0x02, 0x6e, 0x11, 0x4c, 0x01}};

 protected:
  ~IVelMessageList() = default;
};

// One model element.
class IVelEntity : public IUnknown {
 public:
  static constexpr InterfaceId guid = {0x5a1c0002u, 0x7e11, 0x4d0a, {0x9b, 0x31, 0x10, 0x02, 0x6e, 0x11, 0x4c, 0x02}};

  // Assigns the text of property `name` to `value`; "" when the property is unset.
  virtual Status GetValue(const std::string& name, std::string& value, int flag) = 0;
  // The entity a single-valued reference property points at, or null.
  virtual IVelEntity* GetReferencedEntity(const std::string& name, int flag) = 0;
  // Appends the entities of multi-valued property `name`, in model order.
  virtual Status GetEntities(const std::string& name, EntityList& entities) = 0;
  // The entity of a single-valued property of an expression entity, or null.
  virtual IVelEntity* GetEntity(const std::string& name, int flag) = 0;
  // The owning entity, or null for the model's root.
  virtual IVelEntity* GetOwner() = 0;
  // Assigns the name of the entity's meta class to `name`.
  virtual Status GetMetaClassName(std::string& name) = 0;
  // Appends the entities whose reference property `name` points at this one;
  // an empty `name` gives every referencing entity.
  virtual Status GetReferencingEntities(const std::string& name, EntityList& entities) = 0;
  // The entity a host query relative to this one reaches, or null.
  virtual IVelEntity* QueryEntity(const std::string& query, int flag) = 0;
  // True when the entity's meta class is `metaClass` or derives from it.
  virtual bool IsKindOf(const std::string& metaClass) = 0;
  // Sets text property `name` to `value`.
  virtual Status SetValue(const std::string& name, const std::string& value, int flag,
                          qmdll::Changer& changer) = 0;
  // Attaches `entity` to property `name`: sets a single-valued property,
  // appends to a multi-valued one. An unowned entity becomes owned by this one.
  virtual Status SetEntity(const std::string& name, IVelEntity* entity, int flag,
                           qmdll::Changer& changer) = 0;
  // Removes this entity and everything it owns from the model.
  virtual Status DeleteEntity(qmdll::Changer& changer) = 0;
  // True when the stereotype whose path is `stereotypePath` is applied.
  virtual bool HasStereotype(const std::string& stereotypePath, int flag) = 0;
  // The model that holds the entity, or null.
  virtual IVelModel* GetModel() = 0;

 protected:
  ~IVelEntity() = default;
};

// The model as a whole.
class IVelModel : public IUnknown {
 public:
  static constexpr InterfaceId guid = {0x5a1c0003u, 0x7e11, 0x4d0a, {0x9b, 0x31, 0x10, 0x02, 0x6e, 0x11, 0x4c, 0x03}};

  // The entity whose GUID or qualified path ("@Package@Name") is `name`, or null.
  virtual IVelEntity* FindEntity(const std::string& name) = 0;
  // A new, unattached entity of meta class `metaClass`, or null on failure.
  virtual IVelEntity* CreateEntity(const std::string& metaClass) = 0;
  // Parses `text` with the host's expression parser into new entities of meta
  // class `metaClass` and appends them; appends nothing when it does not parse.
  virtual Status ParseExpressionText(const std::string& text, EntityList& entities,
                                     const std::string& metaClass) = 0;
  // Runs the agent declared by `agent` on `context`; the agent reads and
  // writes `parameters` in place.
  virtual Status InvokeAgent(IVelEntity* agent, IVelEntity* context, AgentParameters& parameters) = 0;

 protected:
  ~IVelModel() = default;
};

// Reached from an agent's access argument.
class IVelModelAccess : public IUnknown {
 public:
  static constexpr InterfaceId guid = {0x5a1c0004u, 0x7e11, 0x4d0a, {0x9b, 0x31, 0x10, 0x02, 0x6e, 0x11, 0x4c, 0x04}};

  // The list that collects messages for the user.
  virtual IVelMessageList* GetMessageList() = 0;

 protected:
  ~IVelModelAccess() = default;
};

// Reached from an expression entity.
class IVelExpression : public IUnknown {
 public:
  static constexpr InterfaceId guid = {0x5a1c0005u, 0x7e11, 0x4d0a, {0x9b, 0x31, 0x10, 0x02, 0x6e, 0x11, 0x4c, 0x05}};

  // The expression given for parameter `name` of an instance expression, or
  // null. A name written in single quotes is asked for with the quotes.
  virtual IUnknown* GetArgument(const std::string& name) = 0;

 protected:
  ~IVelExpression() = default;
};

}  // namespace qm

#endif  // HOST_VELINTERFACES_H_
