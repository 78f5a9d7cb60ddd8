#include "ControlInfoParser/CIParser.h"

#include <memory>

#include "Utils/StackRoom.h"

// `pos + 1` never overflows once `pos` is a valid index: the scanner rejects
// texts of more than INT32_MAX bytes and every token takes at least one byte.
bool CCIParser::HasToken(std::int32_t pos) const {
  return pos >= 0 && static_cast<std::size_t>(pos) < m_tokens.size();
}

CCITokenKind CCIParser::KindAt(std::int32_t pos) const {
  return m_tokens[static_cast<std::size_t>(pos)].kind;
}

CCIExpression* CCIParser::ParseControlInfoText(const std::string& text) {
  m_tokens.clear();
  CCIScanner scanner;
  if (!scanner.ScanCIText(text, m_tokens) || m_tokens.empty()) return nullptr;
  std::int32_t pos = 0;
  return ParseExpr(pos);
}

CCIExpression* CCIParser::ParseExpr(std::int32_t& pos) {
  // Every nesting level passes here once, so this is where a text nested
  // deeper than the stack can hold fails. Nothing else is kept in this
  // frame: each form below is its last call.
  if (!HasToken(pos) || !HasStackRoom()) return nullptr;
  switch (KindAt(pos)) {
    case kCIString:
      return ParseStringValue(pos);
    case kCIOpenList:
      return ParseListExpr(pos);
    case kCIIdent:
      if (HasToken(pos + 1) && KindAt(pos + 1) == kCIEquals) return ParseAssignmentExpr(pos);
      if (HasToken(pos + 1) && KindAt(pos + 1) == kCIOpenArgs) return ParseInstanceExpr(pos);
      return ParseIdentStringValue(pos);
    default:
      return nullptr;  // a delimiter cannot start an expression
  }
}

// Inlined into the list and the instance, so that a nesting level costs one
// frame (the form's) and not two: 100,000 levels must fit in 8 MiB.
__attribute__((always_inline)) inline bool CCIParser::ParseItems(std::int32_t& pos, CCITokenKind close,
                                                                  std::list<CCIExpression*>& items) {
  for (;;) {
    if (!HasToken(pos)) return false;
    if (KindAt(pos) == close) {
      ++pos;
      return true;
    }
    if (!items.empty()) {
      if (KindAt(pos) != kCIComma) return false;
      ++pos;
      if (!HasToken(pos)) return false;
    }
    // A separator right before the closing token fails here: the closing
    // token cannot start an item.
    CCIExpression* item = ParseExpr(pos);
    if (item == nullptr) return false;
    items.push_back(item);
  }
}

// The form functions check only that their tokens exist, never their kinds.
// A missing token fails exactly as the loop of ParseItems would fail on it.

CCIExpression* CCIParser::ParseInstanceExpr(std::int32_t& pos) {
  if (!HasToken(pos) || !HasToken(pos + 1)) return nullptr;
  std::unique_ptr<CCIInstanceExpr> instance(new CCIInstanceExpr);
  instance->name = m_tokens[static_cast<std::size_t>(pos)].text;
  pos += 2;
  if (!ParseItems(pos, kCICloseArgs, instance->arguments)) return nullptr;
  return instance.release();
}

CCIExpression* CCIParser::ParseListExpr(std::int32_t& pos) {
  if (!HasToken(pos)) return nullptr;
  ++pos;  // over the "{"
  std::unique_ptr<CCIListExpr> list(new CCIListExpr);
  if (!ParseItems(pos, kCICloseList, list->items)) return nullptr;
  return list.release();
}

CCIExpression* CCIParser::ParseAssignmentExpr(std::int32_t& pos) {
  if (!HasToken(pos) || m_tokens.size() - static_cast<std::size_t>(pos) < 3) {
    return nullptr;  // room for name, "=" and value is missing
  }
  std::unique_ptr<CCIAssignmentExpr> assignment(new CCIAssignmentExpr);
  assignment->name = m_tokens[static_cast<std::size_t>(pos)].text;
  ++pos;
  if (KindAt(pos) != kCIEquals) return nullptr;
  ++pos;
  assignment->value = ParseExpr(pos);
  if (assignment->value == nullptr) return nullptr;
  return assignment.release();
}

CCIExpression* CCIParser::ParseStringValue(std::int32_t& pos) {
  if (!HasToken(pos)) return nullptr;
  const CCIToken& token = m_tokens[static_cast<std::size_t>(pos)];
  ++pos;
  return new CCIStringValue(token.text);
}

CCIExpression* CCIParser::ParseIdentStringValue(std::int32_t& pos) { return ParseStringValue(pos); }
