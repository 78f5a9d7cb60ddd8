#include "emulator/MetaClasses.h"

namespace qmemu {
namespace {

struct StandardClass {
  const char* name;
  std::vector<std::string> bases;
};

// The host's vocabulary, bases before the classes that derive from them.
const std::vector<StandardClass>& StandardClasses() {
  static const std::vector<StandardClass> table = {
      {"Element", {}},
      {"PersistentEntity", {"Element"}},
      {"ExtendableElement", {"PersistentEntity"}},
      {"DependencyClient", {"Element"}},
      {"Definition", {"ExtendableElement", "DependencyClient"}},
      {"Package", {"Definition"}},
      {"Model", {"Package"}},
      {"Block", {"Definition"}},
      {"Requirement", {"Definition"}},
      {"Class", {"Definition"}},
      {"Actor", {"Definition"}},
      {"UseCase", {"Definition"}},
      {"TestCase", {"Definition"}},
      {"Attribute", {"Definition"}},
      {"Part", {"Attribute"}},
      {"Port", {"Attribute"}},
      {"Operation", {"Definition"}},
      {"AgentDeclaration", {"Operation"}},
      {"FormalParameter", {"PersistentEntity"}},
      {"Stereotype", {"Definition"}},
      {"ExternalObject", {"Definition"}},
      {"Dependency", {"ExtendableElement"}},
      {"Diagram", {"Definition"}},
      {"PresentationElement", {"PersistentEntity"}},
      {"Symbol", {"PresentationElement"}},
      {"FrameSymbol", {"Symbol"}},
      {"Line", {"PresentationElement"}},
      {"TransitionLine", {"Line"}},
      {"Comment", {"ExtendableElement"}},
      {"Expression", {"Element"}},
      {"InstanceExpr", {"Expression"}},
      {"BinaryExpr", {"Expression"}},
      {"Ident", {"Expression"}},
      {"CharstringValue", {"Expression"}},
      {"ListExpr", {"Expression"}},
      {"InformalExpr", {"Expression"}},
      {"InformalEntityFragment", {"Expression"}},
  };
  return table;
}

const std::vector<std::string>& NoBases() {
  static const std::vector<std::string> none;
  return none;
}

}  // namespace

MetaClasses::MetaClasses() {
  for (const StandardClass& c : StandardClasses()) {
    bases_[c.name] = c.bases;
    RememberAncestors(c.name);
  }
  listProperties_ = {"Expression", "HiddenStereotypeInstance", "ClientDependency", "Parameter"};
}

bool MetaClasses::Define(const std::string& name, const std::vector<std::string>& bases, std::string& error) {
  if (name.empty()) {
    error = "a meta-class name must not be empty";
    return false;
  }
  if (Has(name)) {
    error = "meta class '" + name + "' is already defined";
    return false;
  }
  for (const std::string& base : bases) {
    if (!Has(base)) {
      error = "unknown base meta class '" + base + "'";
      return false;
    }
  }
  bases_[name] = bases;
  RememberAncestors(name);
  return true;
}

// Built when a class is defined, never while answering: IsKindOf only reads,
// so that agents on several threads may ask at once.
void MetaClasses::RememberAncestors(const std::string& name) {
  // Walk the bases without recursion; the table has no cycles because a
  // class can only name bases defined before it.
  std::set<std::string> seen;
  std::vector<std::string> pending{name};
  while (!pending.empty()) {
    std::string current = pending.back();
    pending.pop_back();
    if (!seen.insert(current).second) continue;
    for (const std::string& b : Bases(current)) pending.push_back(b);
  }
  ancestors_[name] = std::move(seen);
}

bool MetaClasses::IsKindOf(const std::string& name, const std::string& base) const {
  auto known = ancestors_.find(name);
  if (known == ancestors_.end()) return name == base;
  return known->second.count(base) != 0;
}

const std::vector<std::string>& MetaClasses::Bases(const std::string& name) const {
  auto it = bases_.find(name);
  return it == bases_.end() ? NoBases() : it->second;
}

std::vector<std::string> MetaClasses::Names() const {
  std::vector<std::string> names;
  for (const auto& entry : bases_) names.push_back(entry.first);
  return names;
}

}  // namespace qmemu
