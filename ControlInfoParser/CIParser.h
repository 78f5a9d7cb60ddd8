// CCIParser: a top-down parser of ControlInfo text into a tree of
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
// Nesting has no fixed bound and costs no stack: the parser keeps the nodes
// it is still filling on a work stack of its own on the heap, so a text
// nests as deep as memory allows, on any thread and any stack.
//
// Failure is reported only by a null result; every node built for a failed
// expression is freed. Memory running out is such a failure: no allocation
// failure leaves a parse function.
#ifndef CONTROLINFOPARSER_CIPARSER_H_
#define CONTROLINFOPARSER_CIPARSER_H_

#include <cstdint>
#include <list>
#include <memory>
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

  // ParseControlInfoText that also tells why there is no tree: `outcome` is
  // kDone with a root, kInvalid when the text does not scan, holds no token
  // or does not parse, and kOutOfMemory when an allocation failed.
  CCIExpression* ParseControlInfoTextWithOutcome(const std::string& text, CCIOutcome& outcome);

  // The parse functions below read the token vector of the last
  // ParseControlInfoText at `pos` and advance `pos` past what they consume.
  // Each returns a new tree owned by the caller, or null; after a null result
  // `pos` is unspecified.

  // One expression of any form, chosen by the token at `pos` and the one
  // after it. Null when `pos` is past the last token, when the token cannot
  // start an expression (`pos` then stays), or when the chosen form fails.
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
  // What a parse starts with: any expression (chosen from the tokens), or
  // one form taken as given.
  enum class Form { kExpr, kString, kList, kInstance, kAssignment };

  // What follows inside a list or an instance.
  enum class Next { kItem, kClosed, kFault };

  class OpenNodes;

  // The one parse behind every parse function: `form` at `pos`, nested
  // forms kept on a work stack. Null with kInvalid or kOutOfMemory in
  // `outcome` when there is no tree.
  CCIExpression* ParseForm(std::int32_t& pos, Form form, CCIOutcome& outcome);
  // ParseForm for the functions that only answer null.
  CCIExpression* ParseFormOrNull(std::int32_t& pos, Form form);

  // Starts `form` at `pos`: a string value is made at once and put into
  // `done`; a list, instance or assignment is pushed onto `open` to be
  // filled. False when the tokens do not start that form.
  bool Begin(std::int32_t& pos, Form form, OpenNodes& open, std::unique_ptr<CCIExpression>& done);

  // The form that the tokens at `pos` start, for ParseExpr; false when none.
  bool ChooseForm(std::int32_t pos, Form& form) const;

  // Inside a list or instance with the items `items`, closed by `close`:
  // steps over the closing token (kClosed) or the separator before the next
  // item (kItem); kFault on anything else. A separator right before the
  // closing token faults later, as the closing token cannot start an item.
  Next StepToItem(std::int32_t& pos, CCITokenKind close, const std::list<CCIExpression*>& items) const;

  bool HasToken(std::int32_t pos) const;
  CCITokenKind KindAt(std::int32_t pos) const;

  std::vector<CCIToken> m_tokens;
};

#endif  // CONTROLINFOPARSER_CIPARSER_H_
