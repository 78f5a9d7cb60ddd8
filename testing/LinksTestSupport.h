// Shared helpers of the link tests: models written in a test, entity
// lookup, expected JSON written line by line, and record lists as text.
#ifndef TESTING_LINKSTESTSUPPORT_H_
#define TESTING_LINKSTESTSUPPORT_H_

#include <gtest/gtest.h>

#include <initializer_list>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Links/LinkCollection.h"
#include "emulator/Entity.h"
#include "emulator/HostMonitor.h"
#include "emulator/Model.h"
#include "emulator/ModelFile.h"

namespace linkstest {

// Loads a model written in the test; fails the test when it does not load.
inline std::unique_ptr<qmemu::Model> Load(const std::string& text) {
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(text, "links-test.json", error);
  EXPECT_NE(model, nullptr) << error;
  if (model == nullptr) throw std::runtime_error("model does not load: " + error);
  return model;
}

// Wraps entity objects into a model file whose root is "ROOT".
inline std::string ModelWith(const std::string& children, const std::string& extraKeys = "") {
  return "{" + extraKeys + "\"root\": {\"guid\": \"ROOT\", \"name\": \"Root\", \"children\": [" + children + "]}}";
}

// The entity with GUID or path `name`, as the plug-in sees it.
inline qm::IVelEntity* Get(qmemu::Model& model, const std::string& name) {
  qmemu::Entity* entity = model.find(name);
  EXPECT_NE(entity, nullptr) << name;
  if (entity == nullptr) throw std::runtime_error("no entity " + name);
  return entity->asEntity();
}

// The GUIDs of host entities, in order.
inline std::vector<std::string> Guids(const std::list<qm::IVelEntity*>& entities) {
  std::vector<std::string> guids;
  for (qm::IVelEntity* e : entities) guids.push_back(e == nullptr ? "<null>" : qmemu::Entity::From(e)->guid());
  return guids;
}

// Records as "name|guid" and "name|url", in order.
inline std::vector<std::string> Texts(const std::list<CNormalDependencyInfo>& records) {
  std::vector<std::string> texts;
  for (const CNormalDependencyInfo& r : records) texts.push_back(r.objectName + "|" + r.objectGuid);
  return texts;
}
inline std::vector<std::string> Texts(const std::list<CHyperLinkInfo>& records) {
  std::vector<std::string> texts;
  for (const CHyperLinkInfo& r : records) texts.push_back(r.linkName + "|" + r.url);
  return texts;
}

// Lines joined by the encoder's line end, "\r\n" (none after the last).
inline std::string Lines(std::initializer_list<const char*> lines) {
  std::string text;
  bool first = true;
  for (const char* line : lines) {
    if (!first) text += "\r\n";
    text += line;
    first = false;
  }
  return text;
}

// Resets the host monitor around every test.
class LinksTest : public ::testing::Test {
 protected:
  void SetUp() override { qmemu::HostMonitor::Instance().Reset(); }
  void TearDown() override { qmemu::HostMonitor::Instance().Reset(); }
  qmemu::HostMonitor& monitor() { return qmemu::HostMonitor::Instance(); }
};

}  // namespace linkstest

#endif  // TESTING_LINKSTESTSUPPORT_H_
