#include "emulator/ModelFile.h"

#include "emulator/AgentTable.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace qmemu {

const char* const kModelFileFormat = "orv-model/1";

namespace {

using Json = nlohmann::ordered_json;

// ---------------------------------------------------------------------------
// Failures

// A file that is not a model: where (a JSON pointer, empty for the document
// as a whole) and what was expected there. Thrown inside the loader only and
// turned into the caller's message at its entry points.
struct LoadError {
  std::string pointer;
  std::string message;
};

[[noreturn]] void Fail(const std::string& pointer, const std::string& message) {
  throw LoadError{pointer, message};
}

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

// The pointer of member `token` of the value at `pointer` ("~" and "/" in
// the token are written "~0" and "~1").
std::string Member(const std::string& pointer, const std::string& token) {
  std::string result = pointer + "/";
  for (char c : token) {
    if (c == '~') {
      result += "~0";
    } else if (c == '/') {
      result += "~1";
    } else {
      result += c;
    }
  }
  return result;
}

std::string Member(const std::string& pointer, std::size_t index) { return pointer + "/" + std::to_string(index); }

// ---------------------------------------------------------------------------
// JSON text

// Builds the document from the parser's events, keeping the file's key
// order, and stops at the first key that an object already has: the
// standard readers would silently keep one of the two values.
class TreeBuilder final : public nlohmann::json_sax<Json> {
 public:
  Json& document() { return document_; }
  // After a failed parse: the pointer and the name of a repeated key
  // (the pointer is "" when the parser itself failed).
  const std::string& duplicateKey() const { return duplicateKey_; }
  const std::string& duplicateName() const { return duplicateName_; }
  // After a failed parse: the 0-based byte offset and the parser's message.
  std::size_t errorOffset() const { return errorOffset_; }
  const std::string& errorMessage() const { return errorMessage_; }

  bool null() override { return Add(Json(nullptr)); }
  bool boolean(bool value) override { return Add(Json(value)); }
  bool number_integer(number_integer_t value) override { return Add(Json(value)); }
  bool number_unsigned(number_unsigned_t value) override { return Add(Json(value)); }
  bool number_float(number_float_t value, const string_t&) override { return Add(Json(value)); }
  bool string(string_t& value) override { return Add(Json(std::move(value))); }
  bool binary(binary_t&) override { return false; }  // JSON text has none
  bool start_object(std::size_t) override { return Open(Json::object()); }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t) override { return Open(Json::array()); }
  bool end_array() override { return Close(); }

  bool key(string_t& name) override {
    if (open_.back()->contains(name)) {
      duplicateKey_ = Member(PointerOfOpen(), name);
      duplicateName_ = name;
      return false;
    }
    key_ = name;
    return true;
  }

  bool parse_error(std::size_t position, const std::string&, const Json::exception& error) override {
    // `position` counts the bytes read, the offending one included.
    errorOffset_ = position == 0 ? 0 : position - 1;
    errorMessage_ = error.what();
    return false;
  }

 private:
  // Places `value` into the innermost open container (or makes it the
  // document) and returns where it now lives.
  Json* Place(Json value) {
    if (open_.empty()) {
      document_ = std::move(value);
      return &document_;
    }
    Json& parent = *open_.back();
    if (parent.is_array()) {
      tokens_.back() = std::to_string(parent.size());
      parent.push_back(std::move(value));
      return &parent.back();
    }
    tokens_.back() = key_;
    Json& slot = parent[key_];
    slot = std::move(value);
    return &slot;
  }
  bool Add(Json value) {
    Place(std::move(value));
    return true;
  }
  // A container stays at its address while it is open: nothing is added to
  // its parent until it is closed.
  bool Open(Json container) {
    open_.push_back(Place(std::move(container)));
    tokens_.emplace_back();
    return true;
  }
  bool Close() {
    open_.pop_back();
    tokens_.pop_back();
    return true;
  }
  std::string PointerOfOpen() const {
    std::string pointer;
    for (std::size_t i = 0; i + 1 < tokens_.size(); ++i) pointer = Member(pointer, tokens_[i]);
    return pointer;
  }

  Json document_;
  std::vector<Json*> open_;
  std::vector<std::string> tokens_;  // per open container: its current member
  std::string key_;
  std::string duplicateKey_;
  std::string duplicateName_;
  std::size_t errorOffset_ = 0;
  std::string errorMessage_;
};

// The parser's message without its "[json.exception...] parse error at
// line L, column C: " lead: what it found and what it expected.
std::string Explanation(const std::string& what) {
  std::string text = what;
  if (!text.empty() && text[0] == '[') {
    std::size_t close = text.find("] ");
    if (close != std::string::npos) text.erase(0, close + 2);
  }
  static const std::string kLead = "parse error";
  if (text.compare(0, kLead.size(), kLead) == 0) {
    std::size_t colon = text.find(": ");
    if (colon != std::string::npos) text.erase(0, colon + 2);
  }
  return text;
}

// "<line>:<column>" (1-based, columns in bytes) of byte `offset` of `text`;
// an offset at the end of the text names the place just behind it.
std::string LineAndColumn(const std::string& text, std::size_t offset) {
  offset = std::min(offset, text.size());
  std::size_t line = 1 + static_cast<std::size_t>(std::count(text.begin(), text.begin() + offset, '\n'));
  std::size_t lineStart = offset == 0 ? std::string::npos : text.rfind('\n', offset - 1);
  std::size_t column = lineStart == std::string::npos ? offset + 1 : offset - lineStart;
  return std::to_string(line) + ":" + std::to_string(column);
}

// Parses `text` into `document`. On a syntax error returns false with
// "<line>:<column>: <explanation>" in `error`; a repeated key is a LoadError.
bool ParseJson(const std::string& text, Json& document, std::string& error) {
  TreeBuilder builder;
  if (Json::sax_parse(text, &builder)) {
    document = std::move(builder.document());
    return true;
  }
  if (!builder.duplicateKey().empty()) Fail(builder.duplicateKey(), "duplicate key " + Quoted(builder.duplicateName()));
  error = LineAndColumn(text, builder.errorOffset()) + ": " + Explanation(builder.errorMessage());
  return false;
}

// ---------------------------------------------------------------------------
// The model as written in the file

// A GUID or path written in the file, and where.
struct Target {
  std::string name;
  std::string pointer;
};

// A tagged value or argument: a text, an identifier or an existing entity.
struct ValueSpec {
  enum class Kind { Text, Ident, Entity };
  Kind kind = Kind::Text;
  std::string text;     // the text, the identifier, or the GUID or path
  std::string pointer;  // of the GUID or path, for Kind::Entity
};

struct NamedValue {
  std::string name;
  ValueSpec value;
};

struct StereotypeSpec {
  Target stereotype;
  std::vector<NamedValue> tags;
};

struct EntityPlan {
  std::string pointer;
  std::string guid;  // empty: the model generates one
  std::string meta;
  std::vector<std::pair<std::string, std::string>> values;
  std::string in;  // the owner's list property that also holds the entity
  Target owner;    // entries of "entities" only
  std::vector<std::pair<std::string, Target>> refs;
  std::vector<std::pair<std::string, std::vector<Target>>> lists;
  std::vector<StereotypeSpec> stereotypes;
  std::vector<NamedValue> arguments;
  std::vector<EntityPlan> children;
  Entity* entity = nullptr;  // once created
};

struct FileSpec {
  MetaClasses metaClasses;
  std::set<std::string> omit;
  EntityPlan root;
  std::vector<EntityPlan> entities;
  std::map<std::string, std::map<std::string, std::string>> hostData;
};

// Where an entity object stands; it decides the keys it may have.
enum class Role { Root, Child, Entry };

const std::vector<std::string>& TopLevelKeys() {
  static const std::vector<std::string> keys = {"format", "metaClasses", "listProperties", "omit",
                                                "root",   "entities",    "hostData"};
  return keys;
}

const std::vector<std::string>& EntityKeys(Role role) {
  static const std::vector<std::string> root = {"guid", "meta", "name", "values", "refs",
                                                "lists", "children", "stereotypes", "arguments"};
  static const std::vector<std::string> child = [] {
    std::vector<std::string> keys = root;
    keys.push_back("in");
    return keys;
  }();
  static const std::vector<std::string> entry = [] {
    std::vector<std::string> keys = child;
    keys.push_back("owner");
    return keys;
  }();
  return role == Role::Root ? root : role == Role::Child ? child : entry;
}

const std::vector<std::string>& StereotypeKeys() {
  static const std::vector<std::string> keys = {"apply", "tags"};
  return keys;
}

std::string Join(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

// Every path that "omit" may name.
std::set<std::string> OmittablePaths() {
  std::set<std::string> paths(PredefinedPaths().begin(), PredefinedPaths().end());
  for (const HostAgentInfo& info : HostAgents()) paths.insert(info.path);
  for (const AgentEntry& entry : AgentTable()) paths.insert(entry.path);
  return paths;
}

// ---- shape checks ----

void ExpectObject(const Json& value, const std::string& pointer) {
  if (!value.is_object()) Fail(pointer, "expected an object");
}

void ExpectArray(const Json& value, const std::string& pointer) {
  if (!value.is_array()) Fail(pointer, "expected an array");
}

std::string ExpectString(const Json& value, const std::string& pointer) {
  if (!value.is_string()) Fail(pointer, "expected a string");
  return value.get<std::string>();
}

std::string ExpectNonEmptyString(const Json& value, const std::string& pointer) {
  std::string text = ExpectString(value, pointer);
  if (text.empty()) Fail(pointer, "expected a non-empty string");
  return text;
}

// A property, tag or argument name: the key of a member.
void ExpectName(const std::string& key, const std::string& pointer) {
  if (key.empty()) Fail(pointer, "expected a non-empty name");
}

void ExpectKnownKeys(const Json& object, const std::string& pointer, const std::vector<std::string>& allowed) {
  for (const auto& member : object.items()) {
    if (std::find(allowed.begin(), allowed.end(), member.key()) == allowed.end()) {
      Fail(pointer, "unknown key " + Quoted(member.key()) + " (expected one of: " + Join(allowed) + ")");
    }
  }
}

// Turns the JSON document into a FileSpec, checking every key, type, meta
// class, GUID and omitted path on the way. Throws LoadError.
class Reader {
 public:
  explicit Reader(FileSpec& file) : file_(file) {}

  void Read(const Json& document) {
    if (!document.is_object()) Fail("", "expected an object at the top level");
    ExpectKnownKeys(document, "", TopLevelKeys());
    // Fixed order: meta classes and list properties before the entities
    // that use them, whatever the order in the file.
    if (document.contains("format")) ReadFormat(document["format"]);
    if (document.contains("metaClasses")) ReadMetaClasses(document["metaClasses"]);
    if (document.contains("listProperties")) ReadListProperties(document["listProperties"]);
    if (document.contains("omit")) ReadOmit(document["omit"]);
    if (!document.contains("root")) Fail("", "missing key 'root'");
    file_.root = ReadEntity(document["root"], "/root", Role::Root, 0);
    if (document.contains("entities")) ReadEntries(document["entities"]);
    if (document.contains("hostData")) ReadHostData(document["hostData"]);
  }

 private:
  void ReadFormat(const Json& value) {
    std::string format = ExpectString(value, "/format");
    if (format != kModelFileFormat) {
      Fail("/format", "unsupported format " + Quoted(format) + " (expected '" + kModelFileFormat + "')");
    }
  }

  void ReadMetaClasses(const Json& value) {
    const std::string pointer = "/metaClasses";
    ExpectObject(value, pointer);
    for (const auto& member : value.items()) {
      const std::string classPointer = Member(pointer, member.key());
      ExpectName(member.key(), classPointer);
      if (file_.metaClasses.Has(member.key())) {
        Fail(classPointer, "meta class " + Quoted(member.key()) + " is already defined");
      }
      ExpectArray(member.value(), classPointer);
      std::vector<std::string> bases;
      for (std::size_t i = 0; i < member.value().size(); ++i) {
        std::string base = ExpectString(member.value()[i], Member(classPointer, i));
        if (!file_.metaClasses.Has(base)) Fail(Member(classPointer, i), "unknown meta class " + Quoted(base));
        bases.push_back(base);
      }
      std::string error;
      if (!file_.metaClasses.Define(member.key(), bases, error)) Fail(classPointer, error);
    }
  }

  void ReadListProperties(const Json& value) {
    ExpectArray(value, "/listProperties");
    for (std::size_t i = 0; i < value.size(); ++i) {
      file_.metaClasses.AddListProperty(ExpectNonEmptyString(value[i], Member("/listProperties", i)));
    }
  }

  void ReadOmit(const Json& value) {
    ExpectArray(value, "/omit");
    const std::set<std::string> known = OmittablePaths();
    for (std::size_t i = 0; i < value.size(); ++i) {
      std::string path = ExpectString(value[i], Member("/omit", i));
      if (known.count(path) == 0) {
        Fail(Member("/omit", i),
             "unknown path " + Quoted(path) + " (expected a predefined entity or an agent declaration)");
      }
      file_.omit.insert(path);
    }
  }

  void ReadEntries(const Json& value) {
    ExpectArray(value, "/entities");
    for (std::size_t i = 0; i < value.size(); ++i) {
      file_.entities.push_back(ReadEntity(value[i], Member("/entities", i), Role::Entry, 0));
    }
  }

  void ReadHostData(const Json& value) {
    ExpectObject(value, "/hostData");
    for (const auto& table : value.items()) {
      const std::string tablePointer = Member("/hostData", table.key());
      ExpectObject(table.value(), tablePointer);
      auto& entries = file_.hostData[table.key()];
      for (const auto& entry : table.value().items()) {
        entries[entry.key()] = ExpectString(entry.value(), Member(tablePointer, entry.key()));
      }
    }
  }

  // ---- entities ----

  EntityPlan ReadEntity(const Json& object, const std::string& pointer, Role role, std::size_t depth) {
    ExpectObject(object, pointer);
    ExpectEntityKeys(object, pointer, role);
    EntityPlan info;
    info.pointer = pointer;
    ReadGuid(object, info, role);
    ReadMeta(object, info, role);
    ReadValues(object, info);
    if (object.contains("in")) {
      info.in = ExpectNonEmptyString(object["in"], Member(pointer, "in"));
      file_.metaClasses.AddListProperty(info.in);
    }
    if (role == Role::Entry) {
      if (!object.contains("owner")) Fail(pointer, "missing key 'owner'");
      info.owner = Target{ExpectString(object["owner"], Member(pointer, "owner")), Member(pointer, "owner")};
    }
    if (object.contains("refs")) ReadRefs(object["refs"], info);
    if (object.contains("lists")) ReadLists(object["lists"], info);
    if (object.contains("stereotypes")) ReadStereotypes(object["stereotypes"], info);
    if (object.contains("arguments")) ReadArguments(object["arguments"], info);
    if (object.contains("children")) ReadChildren(object["children"], info, depth);
    return info;
  }

  // Unknown keys, with a pointed message for the two keys that belong to
  // other places.
  void ExpectEntityKeys(const Json& object, const std::string& pointer, Role role) {
    if (role == Role::Root && object.contains("in")) Fail(pointer, "the root entity cannot be in a list of an owner");
    if (role == Role::Root && object.contains("owner")) Fail(pointer, "the root entity has no owner");
    if (role == Role::Child && object.contains("owner")) {
      Fail(pointer, "key 'owner' belongs to entries of /entities; a child is owned by the entity that lists it");
    }
    ExpectKnownKeys(object, pointer, EntityKeys(role));
  }

  void ReadGuid(const Json& object, EntityPlan& info, Role role) {
    const std::string pointer = Member(info.pointer, "guid");
    if (object.contains("guid")) {
      info.guid = ExpectNonEmptyString(object["guid"], pointer);
    } else if (role == Role::Root) {
      info.guid = "model-root";
    }
    if (IsGeneratedForm(info.guid)) {
      Fail(pointer, "GUIDs of the form 'emu-<number>' are reserved for the GUIDs the model generates");
    }
    if (!info.guid.empty() && !guids_.insert(info.guid).second) Fail(pointer, "duplicate GUID " + Quoted(info.guid));
  }

  // The model names entities without a GUID "emu-1", "emu-2", ... (its
  // predefined library too), so a file that used such a GUID could clash
  // with one, depending on what was created before.
  static bool IsGeneratedForm(const std::string& guid) {
    static const std::string kPrefix = "emu-";
    if (guid.size() <= kPrefix.size() || guid.compare(0, kPrefix.size(), kPrefix) != 0) return false;
    return std::all_of(guid.begin() + kPrefix.size(), guid.end(), [](char c) { return c >= '0' && c <= '9'; });
  }

  void ReadMeta(const Json& object, EntityPlan& info, Role role) {
    if (!object.contains("meta")) {
      if (role != Role::Root) Fail(info.pointer, "missing key 'meta'");
      info.meta = "Model";
      return;
    }
    const std::string pointer = Member(info.pointer, "meta");
    info.meta = ExpectString(object["meta"], pointer);
    if (!file_.metaClasses.Has(info.meta)) Fail(pointer, "unknown meta class " + Quoted(info.meta));
  }

  // "name" and "values" both give text properties; "name" is "Name".
  void ReadValues(const Json& object, EntityPlan& info) {
    const bool named = object.contains("name");
    if (named) info.values.emplace_back("Name", ExpectString(object["name"], Member(info.pointer, "name")));
    if (!object.contains("values")) return;
    const std::string pointer = Member(info.pointer, "values");
    ExpectObject(object["values"], pointer);
    for (const auto& member : object["values"].items()) {
      const std::string valuePointer = Member(pointer, member.key());
      ExpectName(member.key(), valuePointer);
      if (member.key() == "Guid") Fail(valuePointer, "the GUID is given by the key 'guid'");
      if (member.key() == "Name" && named) Fail(valuePointer, "the name is already given by the key 'name'");
      info.values.emplace_back(member.key(), ExpectString(member.value(), valuePointer));
    }
  }

  void ReadRefs(const Json& object, EntityPlan& info) {
    const std::string pointer = Member(info.pointer, "refs");
    ExpectObject(object, pointer);
    for (const auto& member : object.items()) {
      const std::string refPointer = Member(pointer, member.key());
      ExpectName(member.key(), refPointer);
      info.refs.emplace_back(member.key(), Target{ExpectString(member.value(), refPointer), refPointer});
    }
  }

  void ReadLists(const Json& object, EntityPlan& info) {
    const std::string pointer = Member(info.pointer, "lists");
    ExpectObject(object, pointer);
    for (const auto& member : object.items()) {
      const std::string listPointer = Member(pointer, member.key());
      ExpectName(member.key(), listPointer);
      ExpectArray(member.value(), listPointer);
      std::vector<Target> targets;
      for (std::size_t i = 0; i < member.value().size(); ++i) {
        targets.push_back(Target{ExpectString(member.value()[i], Member(listPointer, i)), Member(listPointer, i)});
      }
      file_.metaClasses.AddListProperty(member.key());
      info.lists.emplace_back(member.key(), std::move(targets));
    }
  }

  void ReadStereotypes(const Json& array, EntityPlan& info) {
    const std::string pointer = Member(info.pointer, "stereotypes");
    ExpectArray(array, pointer);
    for (std::size_t i = 0; i < array.size(); ++i) {
      const std::string itemPointer = Member(pointer, i);
      const Json& item = array[i];
      ExpectObject(item, itemPointer);
      ExpectKnownKeys(item, itemPointer, StereotypeKeys());
      if (!item.contains("apply")) Fail(itemPointer, "missing key 'apply'");
      StereotypeSpec stereotype;
      stereotype.stereotype = Target{ExpectString(item["apply"], Member(itemPointer, "apply")), Member(itemPointer, "apply")};
      if (item.contains("tags")) stereotype.tags = ReadNamedValues(item["tags"], Member(itemPointer, "tags"));
      info.stereotypes.push_back(std::move(stereotype));
    }
  }

  void ReadArguments(const Json& object, EntityPlan& info) {
    const std::string pointer = Member(info.pointer, "arguments");
    if (!file_.metaClasses.IsKindOf(info.meta, "InstanceExpr")) {
      Fail(pointer, "arguments belong to instance expressions, not to meta class " + Quoted(info.meta));
    }
    info.arguments = ReadNamedValues(object, pointer);
  }

  std::vector<NamedValue> ReadNamedValues(const Json& object, const std::string& pointer) {
    ExpectObject(object, pointer);
    std::vector<NamedValue> values;
    for (const auto& member : object.items()) {
      const std::string valuePointer = Member(pointer, member.key());
      ExpectName(member.key(), valuePointer);
      values.push_back(NamedValue{member.key(), ReadValue(member.value(), valuePointer)});
    }
    return values;
  }

  // A string, {"ident": name} or {"entity": GUID or path}.
  static ValueSpec ReadValue(const Json& value, const std::string& pointer) {
    ValueSpec info;
    if (value.is_string()) {
      info.text = value.get<std::string>();
      return info;
    }
    if (value.is_object() && value.size() == 1) {
      if (value.contains("ident")) {
        info.kind = ValueSpec::Kind::Ident;
        info.text = ExpectNonEmptyString(value["ident"], Member(pointer, "ident"));
        return info;
      }
      if (value.contains("entity")) {
        info.kind = ValueSpec::Kind::Entity;
        info.pointer = Member(pointer, "entity");
        info.text = ExpectString(value["entity"], info.pointer);
        return info;
      }
    }
    Fail(pointer, "expected a string, {\"ident\": name} or {\"entity\": GUID or path}");
  }

  void ReadChildren(const Json& array, EntityPlan& info, std::size_t depth) {
    const std::string pointer = Member(info.pointer, "children");
    ExpectArray(array, pointer);
    if (!array.empty() && depth >= kMaxChildrenNesting) {
      Fail(pointer, "children nested deeper than " + std::to_string(kMaxChildrenNesting) + " levels");
    }
    for (std::size_t i = 0; i < array.size(); ++i) {
      info.children.push_back(ReadEntity(array[i], Member(pointer, i), Role::Child, depth + 1));
    }
  }

  FileSpec& file_;
  std::set<std::string> guids_;  // every GUID the file gives, the root's included
};

// ---------------------------------------------------------------------------
// Building the model

// Creates the model of a FileSpec: the entities first, then, once every
// entity exists, their references, lists, stereotypes and arguments.
// Throws LoadError for what only the model can tell (unknown targets,
// ownership cycles, GUIDs of predefined entities).
class Builder {
 public:
  explicit Builder(FileSpec& file) : file_(file) {}

  std::unique_ptr<Model> Build() {
    EntityPlan& root = file_.root;
    model_.reset(new Model(file_.metaClasses, root.guid, root.meta, ""));
    model_->addPredefined(file_.omit);
    root.entity = &model_->root();
    Describe(root, nullptr);
    CreateChildren(root);
    CreateEntries();
    Resolve(root);
    for (EntityPlan& entry : file_.entities) Resolve(entry);
    model_->hostData() = file_.hostData;
    return std::move(model_);
  }

 private:
  // ---- creation ----

  // The entity of `info`, owned by `owner`. The file's GUIDs are unique
  // among themselves and never of the generated form, so only the
  // predefined library can hold one already.
  Entity* Create(EntityPlan& info, Entity* owner) {
    Entity* entity = model_->create(info.meta, info.guid, owner);
    if (entity == nullptr) {
      Fail(Member(info.pointer, "guid"), "GUID " + Quoted(info.guid) + " is taken by a predefined entity");
    }
    return entity;
  }

  // Text values, and the owner's list that also holds the entity.
  void Describe(EntityPlan& info, Entity* owner) {
    for (const auto& value : info.values) info.entity->setValue(value.first, value.second);
    if (owner != nullptr && !info.in.empty()) owner->append(info.in, info.entity);
  }

  void Place(EntityPlan& info, Entity* owner) {
    info.entity = Create(info, owner);
    Describe(info, owner);
    CreateChildren(info);
  }

  void CreateChildren(EntityPlan& info) {
    for (EntityPlan& child : info.children) Place(child, info.entity);
  }

  // Entries of "entities" may name owners that come later in the file, or
  // inside other entries: they are placed in rounds until none is left.
  void CreateEntries() {
    std::vector<EntityPlan*> pending;
    for (EntityPlan& entry : file_.entities) pending.push_back(&entry);
    while (!pending.empty()) {
      std::vector<EntityPlan*> waiting;
      for (EntityPlan* entry : pending) {
        Entity* owner = model_->find(entry->owner.name);
        if (owner == nullptr) {
          waiting.push_back(entry);
        } else {
          Place(*entry, owner);
        }
      }
      if (waiting.size() == pending.size()) FailUnplaced(waiting);
      pending = std::move(waiting);
    }
  }

  // Why no entry of `waiting` can be placed: an ownership cycle, or an
  // owner that is nowhere in the file.
  [[noreturn]] void FailUnplaced(const std::vector<EntityPlan*>& waiting) {
    std::map<std::string, std::size_t> entryOf;  // GUID in a waiting entry -> that entry
    for (std::size_t i = 0; i < waiting.size(); ++i) MapGuids(*waiting[i], i, entryOf);
    for (std::size_t i = 0; i < waiting.size(); ++i) {
      std::string cycle;
      if (FindCycle(waiting, entryOf, i, cycle)) Fail(waiting[i]->owner.pointer, "ownership cycle: " + cycle);
    }
    for (const EntityPlan* entry : waiting) {
      if (entryOf.count(entry->owner.name) == 0) FailUnknown(entry->owner);
    }
    Fail(waiting.front()->owner.pointer, "owner " + Quoted(waiting.front()->owner.name) + " cannot be placed");
  }

  static void MapGuids(const EntityPlan& info, std::size_t entry, std::map<std::string, std::size_t>& entryOf) {
    if (!info.guid.empty()) entryOf[info.guid] = entry;
    for (const EntityPlan& child : info.children) MapGuids(child, entry, entryOf);
  }

  static std::string Label(const EntityPlan& info) { return info.guid.empty() ? info.pointer : info.guid; }

  // Follows owners from entry `start`; true when they lead back to it, with
  // the chain ("A -> B -> A") in `cycle`.
  static bool FindCycle(const std::vector<EntityPlan*>& waiting, const std::map<std::string, std::size_t>& entryOf,
                        std::size_t start, std::string& cycle) {
    cycle = Label(*waiting[start]);
    std::set<std::size_t> seen{start};
    for (std::size_t current = start;;) {
      const std::string& owner = waiting[current]->owner.name;
      auto next = entryOf.find(owner);
      if (next == entryOf.end()) return false;
      cycle += " -> " + owner;
      // An owner inside an entry is owned, in the end, by that entry.
      if (owner != Label(*waiting[next->second])) cycle += " -> " + Label(*waiting[next->second]);
      if (next->second == start) return true;
      if (!seen.insert(next->second).second) return false;
      current = next->second;
    }
  }

  // ---- references ----

  [[noreturn]] void FailUnknown(const Target& target) {
    std::string message = "no entity with GUID or path " + Quoted(target.name);
    if (file_.omit.count(target.name) != 0) message += " (the model omits it)";
    Fail(target.pointer, message);
  }

  Entity* Lookup(const Target& target) {
    Entity* entity = model_->find(target.name);
    if (entity == nullptr) FailUnknown(target);
    return entity;
  }

  Entity* LookupStereotype(const Target& target) {
    Entity* entity = model_->find(target.name);
    if (entity == nullptr && file_.omit.count(target.name) != 0) {
      Fail(target.pointer, "stereotype " + Quoted(target.name) + " is omitted from this model");
    }
    if (entity == nullptr) Fail(target.pointer, "no stereotype with GUID or path " + Quoted(target.name));
    if (!entity->isKindOf("Stereotype")) {
      Fail(target.pointer, Quoted(target.name) + " is not a stereotype (meta class " + Quoted(entity->meta()) + ")");
    }
    return entity;
  }

  void Resolve(EntityPlan& info) {
    Entity* entity = info.entity;
    for (const auto& ref : info.refs) {
      if (model_->metaClasses().IsListProperty(ref.first)) {
        Fail(ref.second.pointer, Quoted(ref.first) + " holds a list: give it under \"lists\"");
      }
      entity->setReference(ref.first, Lookup(ref.second));
    }
    for (const auto& list : info.lists) {
      for (const Target& target : list.second) entity->append(list.first, Lookup(target));
    }
    for (const StereotypeSpec& stereotype : info.stereotypes) Apply(stereotype, entity);
    for (const NamedValue& argument : info.arguments) {
      entity->addArgument(argument.name, MakeValue(argument.value, entity));
    }
    for (EntityPlan& child : info.children) Resolve(child);
  }

  // An application of a stereotype: an instance expression owned by the
  // entity, in its "HiddenStereotypeInstance", with the tags as arguments.
  void Apply(const StereotypeSpec& stereotype, Entity* entity) {
    Entity* definition = LookupStereotype(stereotype.stereotype);
    Entity* instance = model_->create("InstanceExpr", "", entity);
    entity->append("HiddenStereotypeInstance", instance);
    instance->setReference("InstanceOf", definition);
    for (const NamedValue& tag : stereotype.tags) instance->addArgument(tag.name, MakeValue(tag.value, instance));
  }

  // A text or identifier becomes a new expression owned by `owner`; an
  // entity value is the existing entity.
  Entity* MakeValue(const ValueSpec& value, Entity* owner) {
    switch (value.kind) {
      case ValueSpec::Kind::Text: {
        Entity* text = model_->create("CharstringValue", "", owner);
        text->setValue("ValueString", value.text);
        return text;
      }
      case ValueSpec::Kind::Ident: {
        Entity* ident = model_->create("Ident", "", owner);
        ident->setValue("Name", value.text);
        return ident;
      }
      case ValueSpec::Kind::Entity:
        break;
    }
    return Lookup(Target{value.text, value.pointer});
  }

  FileSpec& file_;
  std::unique_ptr<Model> model_;
};

std::string Located(const std::string& fileName, const LoadError& error) {
  if (error.pointer.empty()) return fileName + ": " + error.message;
  return fileName + ": " + error.pointer + ": " + error.message;
}

// Reads the whole file into `text`; false with the system's reason in
// `reason` when it cannot.
bool ReadFile(const std::string& path, std::string& text, std::string& reason) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    reason = std::strerror(errno);
    return false;
  }
  char buffer[16384];
  std::size_t count = 0;
  while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, count);
  const bool failed = std::ferror(file) != 0;
  const int code = errno;
  std::fclose(file);
  if (failed) reason = std::strerror(code);
  return !failed;
}

}  // namespace

std::unique_ptr<Model> LoadModelText(const std::string& text, const std::string& fileName, std::string& error) {
  error.clear();
  try {
    Json document;
    std::string syntaxError;
    if (!ParseJson(text, document, syntaxError)) {
      error = fileName + ":" + syntaxError;
      return nullptr;
    }
    FileSpec file;
    Reader(file).Read(document);
    return Builder(file).Build();
  } catch (const LoadError& failure) {
    error = Located(fileName, failure);
  } catch (const std::exception& failure) {
    error = fileName + ": " + failure.what();
  }
  return nullptr;
}

std::unique_ptr<Model> LoadModelFile(const std::string& path, std::string& error) {
  error.clear();
  std::string text, reason;
  if (!ReadFile(path, text, reason)) {
    error = path + ": cannot open: " + reason;
    return nullptr;
  }
  return LoadModelText(text, path, error);
}

}  // namespace qmemu
