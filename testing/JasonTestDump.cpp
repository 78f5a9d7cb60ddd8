#include "testing/JasonTestDump.h"

#include <iterator>

namespace {

// One step of the dump: either a node to write or a fixed text.
struct Item {
  const CJasonTreeNode* node;
  const char* text;
};

void DumpLeaf(const CJasonTreeNode* node, std::string& out) {
  switch (node->kind) {
    case NodeKind::String:
      out += '"';
      out += DumpJasonBytes(static_cast<const CJasonTreeString*>(node)->text);
      out += '"';
      break;
    case NodeKind::Number:
      out += '#';
      out += static_cast<const CJasonTreeNumber*>(node)->text;
      break;
    case NodeKind::Const:
      out += static_cast<const CJasonTreeConst*>(node)->text;
      break;
    default:
      out += '!';
      break;
  }
}

// Pushes `children` in reverse with separators, so that they pop in order.
template <typename List>
void PushChildren(const List& children, std::vector<Item>& stack) {
  bool last = true;
  for (auto it = children.rbegin(); it != children.rend(); ++it) {
    if (!last) stack.push_back({nullptr, ","});
    stack.push_back({*it, nullptr});
    last = false;
  }
}

void Expand(const CJasonTreeNode* node, std::string& out, std::vector<Item>& stack) {
  switch (node->kind) {
    case NodeKind::Root: {
      out += "root(";
      stack.push_back({nullptr, ")"});
      const CJasonTreeValue* value = static_cast<const CJasonTreeRoot*>(node)->value;
      if (value != nullptr) stack.push_back({value, nullptr});
      break;
    }
    case NodeKind::Pair: {
      const auto* pair = static_cast<const CJasonTreePair*>(node);
      if (pair->value != nullptr) {
        stack.push_back({pair->value, nullptr});
      } else {
        stack.push_back({nullptr, "?"});
      }
      stack.push_back({nullptr, ":"});
      if (pair->name != nullptr) {
        stack.push_back({pair->name, nullptr});
      } else {
        stack.push_back({nullptr, "?"});
      }
      break;
    }
    case NodeKind::Object:
      out += '{';
      stack.push_back({nullptr, "}"});
      PushChildren(static_cast<const CJasonTreeObject*>(node)->pairs, stack);
      break;
    case NodeKind::Array:
      out += '[';
      stack.push_back({nullptr, "]"});
      PushChildren(static_cast<const CJasonTreeArray*>(node)->values, stack);
      break;
    default:
      DumpLeaf(node, out);
      break;
  }
}

char KindLetter(int kind) {
  static const char kLetters[] = "RPOASNC";
  return kind >= 0 && kind <= 6 ? kLetters[kind] : '?';
}

void AppendPosition(const CJasonTreeNode* node, std::string& out) {
  if (!out.empty()) out += ' ';
  out += KindLetter(node->kind);
  out += std::to_string(node->start);
  out += '-';
  out += std::to_string(node->end);
}

}  // namespace

std::string DumpJasonBytes(const std::string& bytes) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (char c : bytes) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte > 0x7E || byte == '"' || byte == '\\') {
      out += "\\x";
      out += kHex[byte >> 4];
      out += kHex[byte & 0x0F];
    } else {
      out += c;
    }
  }
  return out;
}

std::string DumpJasonTree(const CJasonTreeNode* node) {
  std::string out;
  std::vector<Item> stack;
  if (node != nullptr) stack.push_back({node, nullptr});
  while (!stack.empty()) {
    Item item = stack.back();
    stack.pop_back();
    if (item.node == nullptr) {
      out += item.text;
    } else {
      Expand(item.node, out, stack);
    }
  }
  return out;
}

std::string DumpJasonPositions(const CJasonTreeNode* node) {
  std::string out;
  std::vector<const CJasonTreeNode*> stack;
  if (node != nullptr) stack.push_back(node);
  while (!stack.empty()) {
    const CJasonTreeNode* current = stack.back();
    stack.pop_back();
    AppendPosition(current, out);
    switch (current->kind) {
      case NodeKind::Root: {
        const CJasonTreeValue* value = static_cast<const CJasonTreeRoot*>(current)->value;
        if (value != nullptr) stack.push_back(value);
        break;
      }
      case NodeKind::Pair: {
        const auto* pair = static_cast<const CJasonTreePair*>(current);
        if (pair->value != nullptr) stack.push_back(pair->value);
        if (pair->name != nullptr) stack.push_back(pair->name);
        break;
      }
      case NodeKind::Object: {
        const auto& pairs = static_cast<const CJasonTreeObject*>(current)->pairs;
        for (auto it = pairs.rbegin(); it != pairs.rend(); ++it) stack.push_back(*it);
        break;
      }
      case NodeKind::Array: {
        const auto& values = static_cast<const CJasonTreeArray*>(current)->values;
        for (auto it = values.rbegin(); it != values.rend(); ++it) stack.push_back(*it);
        break;
      }
      default:
        break;
    }
  }
  return out;
}

std::string DumpJasonTokens(const std::vector<CJasonToken*>& tokens) {
  std::string out;
  for (const CJasonToken* token : tokens) {
    if (!out.empty()) out += ' ';
    out += std::to_string(static_cast<int>(token->kind));
    out += ':';
    out += DumpJasonBytes(token->text);
    out += '@';
    out += std::to_string(token->start);
    out += '-';
    out += std::to_string(token->end);
  }
  return out;
}
