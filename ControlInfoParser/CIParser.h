// CCIParser: recursive-descent parser of ControlInfo text into a tree of
// CCIExpression nodes.
//
// Grammar (token kinds of CIScanner.h):
//   expression := string | list | assignment | instance | identifier
//   list       := "{" [ expression { "," expression } ] "}"
//   instance   := identifier "(." [ expression { "," expression } ] ".)"
//   assignment := identifier "=" expression
// An identifier followed by "=" starts an assignment, one followed by "(."
// an instance; otherwise it stands alone as a string value. A quoted string is
// never a name. Only the first complete expression of the text is parsed;
// tokens after it are not looked at.
//
// Nesting is bounded: every list, instance and assignment opens one level,
// and an expression more than kMaxNestingDepth levels deep makes the parse
// fail like any other invalid text. This keeps the recursion within a small,
// fixed amount of stack whatever the input.
//
// Failure is reported only by a null result; every node built for a failed
// expression is freed.
#ifndef CONTROLINFOPARSER_CIPARSER_H_
#define CONTROLINFOPARSER_CIPARSER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "ControlInfoParser/CIExpression.h"
#include "ControlInfoParser/CIScanner.h"

class CCIParser {
 public:
  // The deepest nesting that a parse accepts; the top expression is level 1.
  static constexpr std::int32_t kMaxNestingDepth = 512;

  // Scans `text` into this parser's token vector (cleared first) and parses
  // one expression from the first token. Returns the root, which the caller
  // owns and deletes through CCIExpression*, or null when the scan fails, the
  // text holds no token, or the first expression is invalid.
  CCIExpression* ParseControlInfoText(const std::string& text);

  // The parse functions below read the token vector of the last
  // ParseControlInfoText at `pos` and advance `pos` past what they consume.
  // Each returns a new tree owned by the caller, or null; after a null result
  // `pos` is unspecified.

  // One expression of any form, chosen by the token at `pos` and the one
  // after it. Null when `pos` is past the last token, when the token cannot
  // start an expression (`pos` then stays), or when the chosen form fails.
  CCIExpression* ParseExpr(std::int32_t& pos);

  // `Name(. args .)` starting at the identifier at `pos`.
  CCIExpression* ParseInstanceExpr(std::int32_t& pos);

  // `{ items }` starting at the "{" at `pos`.
  CCIExpression* ParseListExpr(std::int32_t& pos);

  // `name = value` starting at the identifier at `pos`. Null without
  // consuming anything when fewer than three tokens remain.
  CCIExpression* ParseAssignmentExpr(std::int32_t& pos);

  // A CCIStringValue holding the text of the string or identifier token at
  // `pos`. The two are the same operation: a quoted string and a lone
  // identifier give the same node.
  CCIExpression* ParseStringValue(std::int32_t& pos);
  CCIExpression* ParseIdentStringValue(std::int32_t& pos);

  // The tokens of the last ParseControlInfoText (also after a failed scan:
  // then those read before the fault).
  const std::vector<CCIToken>& Tokens() const { return m_tokens; }

 private:
  // Reads `{ a, b }` or `(. a, b .)` items up to the token of kind `close`,
  // with `pos` just behind the opening token. False on any fault; the items
  // read so far stay in `items` for the caller to free.
  bool ParseItems(std::int32_t& pos, CCITokenKind close, std::list<CCIExpression*>& items);

  bool HasToken(std::int32_t pos) const;
  CCITokenKind KindAt(std::int32_t pos) const;

  std::vector<CCIToken> m_tokens;
  std::int32_t m_depth = 0;  // expressions currently open in ParseExpr
};

#endif  // CONTROLINFOPARSER_CIPARSER_H_
