// The meta-class table of an emulated model: which meta class derives from
// which, so that IsKindOf answers for base classes too, and which properties
// hold lists rather than single references.
#ifndef EMULATOR_METACLASSES_H_
#define EMULATOR_METACLASSES_H_

#include <map>
#include <set>
#include <string>
#include <vector>

namespace qmemu {

class MetaClasses {
 public:
  // A table holding the host's standard vocabulary (see MetaClasses.cpp).
  MetaClasses();

  // Adds `name` with direct bases `bases` (each must already be known).
  // Returns false, with a reason in `error`, when a base is unknown or the
  // name is already defined.
  bool Define(const std::string& name, const std::vector<std::string>& bases, std::string& error);
  bool Has(const std::string& name) const { return bases_.count(name) != 0; }
  // True when `name` is `base` or derives from it, directly or not.
  bool IsKindOf(const std::string& name, const std::string& base) const;
  const std::vector<std::string>& Bases(const std::string& name) const;
  // Every known meta class, sorted.
  std::vector<std::string> Names() const;

  // Properties that hold an ordered list of entities; SetEntity appends to
  // them. Every other reference property holds one entity.
  bool IsListProperty(const std::string& property) const { return listProperties_.count(property) != 0; }
  void AddListProperty(const std::string& property) { listProperties_.insert(property); }

 private:
  std::map<std::string, std::vector<std::string>> bases_;
  void RememberAncestors(const std::string& name);

  std::map<std::string, std::set<std::string>> ancestors_;  // per class, includes the class itself
  std::set<std::string> listProperties_;
};

}  // namespace qmemu

#endif  // EMULATOR_METACLASSES_H_
