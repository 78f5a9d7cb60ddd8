// The expression tree of ControlInfo text, built by CCIParser and read by
// CControlInfoToJasonTransformer.
//
// Four node classes derive from CCIExpression; code tells them apart by the
// `kind` field, never by their dynamic type. Every node owns its children:
// deleting a node (through CCIExpression*) deletes its whole subtree. The
// deletion neither recurses nor allocates: a tree of any depth can be
// destroyed on a small stack, and while memory is short.
#ifndef CONTROLINFOPARSER_CIEXPRESSION_H_
#define CONTROLINFOPARSER_CIEXPRESSION_H_

#include <cstdint>
#include <list>
#include <string>
#include <utility>

// Node kinds. The numbers are fixed.
enum CCIExpressionKind : std::int32_t {
  kCIInstanceExpr = 0,    // Name(. a, b, ... .)
  kCIAssignmentExpr = 1,  // name = value
  kCIListExpr = 2,        // { a, b, ... }
  kCIStringValue = 3,     // a string or a lone identifier
};

// Base of every node. Not copyable.
class CCIExpression {
 public:
  CCIExpression(const CCIExpression&) = delete;
  CCIExpression& operator=(const CCIExpression&) = delete;
  virtual ~CCIExpression();

  const CCIExpressionKind kind;  // set by the concrete class, never changed

 protected:
  explicit CCIExpression(CCIExpressionKind k) : kind(k) {}
};

// An instance: a name with an argument list, `Name(. a, b .)`.
class CCIInstanceExpr : public CCIExpression {
 public:
  CCIInstanceExpr() : CCIExpression(kCIInstanceExpr) {}
  ~CCIInstanceExpr() override;

  std::string name;
  std::list<CCIExpression*> arguments;  // owned, in source order, never null
};

// An assignment `name = value`.
class CCIAssignmentExpr : public CCIExpression {
 public:
  CCIAssignmentExpr() : CCIExpression(kCIAssignmentExpr) {}
  ~CCIAssignmentExpr() override;

  std::string name;
  CCIExpression* value = nullptr;  // owned; never null in a finished tree
};

// A list `{ a, b }`.
class CCIListExpr : public CCIExpression {
 public:
  CCIListExpr() : CCIExpression(kCIListExpr) {}
  ~CCIListExpr() override;

  std::list<CCIExpression*> items;  // owned, in source order, never null
};

// A quoted string or a lone identifier; both give the same node.
class CCIStringValue : public CCIExpression {
 public:
  CCIStringValue() : CCIExpression(kCIStringValue) {}
  explicit CCIStringValue(std::string v) : CCIExpression(kCIStringValue), value(std::move(v)) {}

  std::string value;
};

#endif  // CONTROLINFOPARSER_CIEXPRESSION_H_
