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
// Nesting has no fixed bound: lists, instances and assignments nest as deep
// as the calling thread's stack can hold. Before each level the parser asks
// HasStackRoom() (Utils/StackRoom.h); when the stack is nearly used up the
// parse fails like any other invalid text, so no input can overflow the
// stack. A level costs one frame of the list, instance or assignment
// function (at most 64 bytes on x86-64, 48 on i386 in optimised builds), so
// 100,000 nested lists fit in a default 8 MiB stack.
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
  // start an expression (`pos` then stays), when the chosen form fails, or
  // when the stack has no room for another level.
  CCIExpression* ParseExpr(std::int32_t& pos);

  // The form functions below are what ParseExpr calls once it has chosen the
  // form from the tokens; they do not look at the kind of their starting
  // token again. Called directly, they take it for what their form starts
  // with: ParseListExpr steps over any token as the "{", so the tokens
  // `a b }` from 0 give the list {b}.

  // `Name(. args .)`: the instance is named by the text of the token at
  // `pos`; the token after it is stepped over as the "(.".
  CCIExpression* ParseInstanceExpr(std::int32_t& pos);

  // `{ items }`: the token at `pos` is stepped over as the "{".
  CCIExpression* ParseListExpr(std::int32_t& pos);

  // `name = value` starting at the identifier at `pos`. Null without
  // consuming anything when fewer than three tokens remain; null when the
  // second token is not "=".
  CCIExpression* ParseAssignmentExpr(std::int32_t& pos);

  // A CCIStringValue holding the text of the token at `pos`, whatever its
  // kind. The two are the same operation: a quoted string and a lone
  // identifier give the same node. Null only when `pos` is past the last
  // token.
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
};

#endif  // CONTROLINFOPARSER_CIPARSER_H_
