// A host whose model is nothing but a graph of model-view nodes, for tests of
// HasEntityChildren on structures the emulated host is too slow or too
// regular to hold: chains of a hundred thousand attribute nodes, diamonds of
// shared nodes, cycles, and a child that is no attribute at the bottom.
// NOT SAFE TO CALL FROM PRODUCTION CODE.
//
// Every node is an entity of this host. Its children agent
// ("@VELExtensionManagement@GetModelViewChildren") answers the children that
// the test gave the node, each with one of two meta definitions: one that
// is an "Attribute" and one that is not. It ignores the meta definition and
// the extra entity it is handed. All other operations answer nothing.
#ifndef TESTING_ATTRIBUTEGRAPHHOST_H_
#define TESTING_ATTRIBUTEGRAPHHOST_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "host/VelInterfaces.h"

namespace orvtest {

class AttributeGraphHost {
 public:
  // A host with `nodes` nodes, numbered from 0, none with children yet.
  explicit AttributeGraphHost(std::size_t nodes);
  ~AttributeGraphHost();

  // Node `parent` gets `child` as its next child, shown as an attribute node
  // (with the "Attribute" definition) or as an ordinary one.
  void AddChild(std::size_t parent, std::size_t child, bool attribute);

  qm::IVelEntity* Node(std::size_t index);
  qm::IVelEntity* AttributeDefinition();

  // How often the children agent ran, and how often an "IsKindOf" was asked.
  std::size_t ChildrenCalls() const;
  std::size_t KindQuestions() const;

  class Model;

 private:
  std::unique_ptr<Model> model_;
};

}  // namespace orvtest

#endif  // TESTING_ATTRIBUTEGRAPHHOST_H_
