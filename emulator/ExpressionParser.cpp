// The host's own expression parser, behind Model::ParseExpressionText.
//
// It reads the host's description language in two passes: the text is first
// parsed into a small tree of its own (nothing in the model changes while
// the text may still turn out to be invalid), and only a text that parsed as
// a whole is then turned into expression entities.
//
//   text       := blank* expression blank*
//   expression := list | instance | string | name
//   list       := "{" [ expression { "," expression } ] "}"
//   instance   := name "(." [ argument { "," argument } ] ".)"
//   argument   := name "=" expression
//   name       := plain name | single-quoted name
//
// Blanks are space, tab, line feed and carriage return. A plain name is an
// ASCII letter or "_" followed by ASCII letters, digits and "_". Strings are
// in double quotes, quoted names in single quotes; inside either, a
// backslash escapes the enclosing quote, a backslash, or one of b t n r f.
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "emulator/Model.h"

namespace qmemu {
namespace {

// Lists and instances nested deeper than this make the text invalid, so that
// hostile input cannot exhaust the stack of the recursive passes below.
constexpr int kMaxDepth = 256;

// The package of the definitions that the host makes for control kinds.
const char kKindsPackage[] = "ControlKinds";

// One node of the parse, before it becomes entities.
struct Node {
  enum Kind { kList, kInstance, kString, kName };
  explicit Node(Kind k) : kind(k) {}

  Kind kind;
  std::string text;  // string contents, name, or the kind of an instance
  std::vector<std::unique_ptr<Node>> items;                            // list items
  std::vector<std::pair<std::string, std::unique_ptr<Node>>> arguments;  // as written
};

bool IsBlank(unsigned char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsLetter(unsigned char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool IsNameByte(unsigned char c) { return IsLetter(c) || (c >= '0' && c <= '9'); }

// A character-level reader of one text. Every Read* member returns false
// when the text does not follow the grammar there; the reader is then
// abandoned.
class Reader {
 public:
  explicit Reader(const std::string& text) : text_(text) {}

  // The whole text as one expression.
  std::unique_ptr<Node> ReadText() {
    std::unique_ptr<Node> node = ReadExpression(0);
    SkipBlanks();
    if (node == nullptr || pos_ != text_.size()) return nullptr;
    return node;
  }

 private:
  bool AtEnd() const { return pos_ >= text_.size(); }
  unsigned char Peek(std::size_t ahead = 0) const {
    return pos_ + ahead < text_.size() ? static_cast<unsigned char>(text_[pos_ + ahead]) : 0;
  }
  void SkipBlanks() {
    while (!AtEnd() && IsBlank(Peek())) ++pos_;
  }
  // Consumes `symbol` when the text continues with it (after blanks).
  bool Accept(const char* symbol) {
    SkipBlanks();
    std::size_t n = 0;
    while (symbol[n] != '\0') ++n;
    if (text_.compare(pos_, n, symbol) != 0) return false;
    pos_ += n;
    return true;
  }

  std::unique_ptr<Node> ReadExpression(int depth) {
    if (depth >= kMaxDepth) return nullptr;
    SkipBlanks();
    if (AtEnd()) return nullptr;
    unsigned char c = Peek();
    if (c == '{') return ReadList(depth);
    if (c == '"') {
      auto node = std::make_unique<Node>(Node::kString);
      if (!ReadQuoted('"', node->text)) return nullptr;
      return node;
    }
    std::string written, name;
    if (!ReadName(written, name)) return nullptr;
    if (Accept("(.")) return ReadInstance(std::move(name), depth);
    auto node = std::make_unique<Node>(Node::kName);
    node->text = std::move(name);
    return node;
  }

  std::unique_ptr<Node> ReadList(int depth) {
    ++pos_;  // "{"
    auto list = std::make_unique<Node>(Node::kList);
    if (Accept("}")) return list;
    do {
      std::unique_ptr<Node> item = ReadExpression(depth + 1);
      if (item == nullptr) return nullptr;
      list->items.push_back(std::move(item));
    } while (Accept(","));
    return Accept("}") ? std::move(list) : nullptr;
  }

  // The arguments of an instance, with "(." already consumed.
  std::unique_ptr<Node> ReadInstance(std::string kind, int depth) {
    auto instance = std::make_unique<Node>(Node::kInstance);
    instance->text = std::move(kind);
    if (Accept(".)")) return instance;
    do {
      SkipBlanks();
      std::string written, name;
      if (!ReadName(written, name) || !Accept("=")) return nullptr;
      std::unique_ptr<Node> value = ReadExpression(depth + 1);
      if (value == nullptr) return nullptr;
      instance->arguments.emplace_back(std::move(written), std::move(value));
    } while (Accept(","));
    return Accept(".)") ? std::move(instance) : nullptr;
  }

  // A plain or single-quoted name at the current position. `written` gets
  // its source bytes (quotes included), `name` the name itself.
  bool ReadName(std::string& written, std::string& name) {
    std::size_t start = pos_;
    if (Peek() == '\'') {
      if (!ReadQuoted('\'', name)) return false;
    } else {
      if (AtEnd() || !IsLetter(Peek())) return false;
      while (!AtEnd() && IsNameByte(Peek())) ++pos_;
      name = text_.substr(start, pos_ - start);
    }
    written = text_.substr(start, pos_ - start);
    return true;
  }

  // The contents of a text in `quote`s starting at the current position,
  // escapes resolved.
  bool ReadQuoted(char quote, std::string& out) {
    out.clear();
    ++pos_;  // the opening quote
    while (!AtEnd()) {
      char c = text_[pos_++];
      if (c == quote) return true;
      if (c != '\\') {
        out += c;
        continue;
      }
      if (AtEnd()) return false;
      char escaped = text_[pos_++];
      switch (escaped) {
        case 'b': out += '\b'; break;
        case 't': out += '\t'; break;
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 'f': out += '\f'; break;
        case '\\': out += '\\'; break;
        default:
          if (escaped != quote) return false;
          out += quote;
      }
    }
    return false;  // no closing quote
  }

  const std::string& text_;
  std::size_t pos_ = 0;
};

// The definition that instances of `kind` instantiate: the entity at the
// path "@ControlKinds@<kind>" when that is a "Definition" (a model may define
// its kinds itself in a package of that name), else one that the host makes
// in its own package of that name, with the path as GUID.
Entity* KindDefinition(Model& model, const std::string& kind) {
  const std::string path = std::string("@") + kKindsPackage + "@" + kind;
  Entity* definition = model.find(path);
  if (definition != nullptr && definition->isKindOf("Definition")) return definition;
  Entity* package = model.find(std::string("@") + kKindsPackage);
  if (package == nullptr) {
    package = model.create("Package", std::string("@") + kKindsPackage);
    if (package == nullptr) return nullptr;
    package->setValue("Name", kKindsPackage);
  }
  definition = model.create("Definition", definition == nullptr ? path : "", package);
  if (definition != nullptr) definition->setValue("Name", kind);
  return definition;
}

const char* MetaClassOf(const Node& node) {
  static const char* const kMeta[] = {"ListExpr", "InstanceExpr", "CharstringValue", "Ident"};
  return kMeta[node.kind];
}

// Makes the entities of `node`, owned by `owner` (unattached when it is
// null), and sets `made` to the top one. False when the model refuses an
// entity; what was made then hangs below `made` (when that is not null), for
// the caller to destroy.
bool Build(Model& model, const Node& node, Entity* owner, Entity*& made) {
  made = model.create(MetaClassOf(node), "", owner);
  if (made == nullptr) return false;
  Entity* entity = made;
  switch (node.kind) {
    case Node::kList:
      for (const auto& item : node.items) {
        Entity* child = nullptr;
        if (!Build(model, *item, entity, child)) return false;
        entity->append("Expression", child);
      }
      break;
    case Node::kInstance: {
      Entity* definition = KindDefinition(model, node.text);
      if (definition == nullptr) return false;
      entity->setReference("InstanceOf", definition);
      for (const auto& argument : node.arguments) {
        Entity* value = nullptr;
        if (!Build(model, *argument.second, entity, value)) return false;
        entity->addArgument(argument.first, value);
      }
      break;
    }
    case Node::kString:
      entity->setValue("ValueString", node.text);
      break;
    case Node::kName:
      entity->setValue("Name", node.text);
      entity->setValue("ValueString", node.text);
      break;
  }
  return true;
}

}  // namespace

void ParseHostExpression(Model& model, const std::string& text, qm::EntityList& entities,
                         const std::string& metaClass) {
  std::unique_ptr<Node> tree = Reader(text).ReadText();
  if (tree == nullptr || !model.metaClasses().IsKindOf(MetaClassOf(*tree), metaClass)) return;
  Entity* top = nullptr;
  if (!Build(model, *tree, nullptr, top)) {
    if (top != nullptr) model.destroy(top);  // it owns everything made below it
    return;
  }
  entities.push_back(top->asEntity());
}

}  // namespace qmemu
