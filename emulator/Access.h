// The access object every agent call gets, and the message list behind it.
#ifndef EMULATOR_ACCESS_H_
#define EMULATOR_ACCESS_H_

#include <string>
#include <vector>

#include "host/VelInterfaces.h"

namespace qmemu {

// Collects messages for the user (validation failures, in the emulator).
class MessageList final : public qm::IVelMessageList {
 public:
  qm::Status QueryInterface(const qm::InterfaceId& id, void** object) override;
  void Add(const std::string& message) { messages_.push_back(message); }
  const std::vector<std::string>& Messages() const { return messages_; }
  void Clear() { messages_.clear(); }

 private:
  std::vector<std::string> messages_;
};

// The fourth agent argument: answers qm::IVelModelAccess, whose message list
// is `messages`. A test can make it answer no access interface at all.
class ModelAccess final : public qm::IVelModelAccess {
 public:
  explicit ModelAccess(MessageList& messages) : messages_(messages) {}
  qm::Status QueryInterface(const qm::InterfaceId& id, void** object) override;
  qm::IVelMessageList* GetMessageList() override;
  void SetAnswersAccess(bool answers) { answersAccess_ = answers; }

 private:
  MessageList& messages_;
  bool answersAccess_ = true;
};

}  // namespace qmemu

#endif  // EMULATOR_ACCESS_H_
