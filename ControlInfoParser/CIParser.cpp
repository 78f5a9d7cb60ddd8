#include "ControlInfoParser/CIParser.h"

#include "ControlInfoParser/CIMemory.h"

// The nodes that a parse is still filling, innermost last: lists and
// instances waiting for their next item, assignments waiting for their
// value. The stack owns them until they are finished; whatever is left when
// a parse fails (or memory runs out) is freed with it. Each node here owns
// the finished children already linked into it.
class CCIParser::OpenNodes {
 public:
  OpenNodes() = default;
  OpenNodes(const OpenNodes&) = delete;
  OpenNodes& operator=(const OpenNodes&) = delete;
  ~OpenNodes() {
    for (auto it = nodes_.rbegin(); it != nodes_.rend(); ++it) delete *it;
  }

  bool Empty() const { return nodes_.empty(); }
  CCIExpression* Top() const { return nodes_.back(); }

  // Takes ownership of `node`; if the stack cannot grow, `node` is freed and
  // the allocation failure goes on.
  template <typename Node>
  void Push(std::unique_ptr<Node> node) {
    nodes_.push_back(node.get());
    node.release();
  }

  // Hands the innermost node, now finished, back to the caller.
  std::unique_ptr<CCIExpression> Pop() {
    std::unique_ptr<CCIExpression> node(nodes_.back());
    nodes_.pop_back();
    return node;
  }

 private:
  std::vector<CCIExpression*> nodes_;
};

namespace {

// The item list of a list or an instance.
std::list<CCIExpression*>& ItemsOf(CCIExpression* node) {
  if (node->kind == kCIListExpr) return static_cast<CCIListExpr*>(node)->items;
  return static_cast<CCIInstanceExpr*>(node)->arguments;
}

// Links the finished expression `child` into the innermost open node:
// as the value of an assignment, or as the last item of a list or instance.
// If the item list cannot grow, `child` stays with the caller.
void Adopt(CCIExpression* open, std::unique_ptr<CCIExpression>& child) {
  if (open->kind == kCIAssignmentExpr) {
    static_cast<CCIAssignmentExpr*>(open)->value = child.release();
    return;
  }
  ItemsOf(open).push_back(child.get());
  child.release();
}

}  // namespace

// `pos + 1` never overflows once `pos` is a valid index: the scanner rejects
// texts of more than INT32_MAX bytes and every token takes at least one byte.
bool CCIParser::HasToken(std::int32_t pos) const {
  return pos >= 0 && static_cast<std::size_t>(pos) < m_tokens.size();
}

CCITokenKind CCIParser::KindAt(std::int32_t pos) const {
  return m_tokens[static_cast<std::size_t>(pos)].kind;
}

CCIExpression* CCIParser::ParseControlInfoText(const std::string& text) {
  CCIOutcome outcome = CCIOutcome::kDone;
  return ParseControlInfoTextWithOutcome(text, outcome);
}

CCIExpression* CCIParser::ParseControlInfoTextWithOutcome(const std::string& text, CCIOutcome& outcome) {
  m_tokens.clear();
  outcome = CCIScanner().ScanCITextWithOutcome(text, m_tokens);
  if (outcome != CCIOutcome::kDone) return nullptr;
  if (m_tokens.empty()) {
    outcome = CCIOutcome::kInvalid;
    return nullptr;
  }
  std::int32_t pos = 0;
  return ParseForm(pos, Form::kExpr, outcome);
}

CCIExpression* CCIParser::ParseExpr(std::int32_t& pos) { return ParseFormOrNull(pos, Form::kExpr); }

CCIExpression* CCIParser::ParseInstanceExpr(std::int32_t& pos) {
  return ParseFormOrNull(pos, Form::kInstance);
}

CCIExpression* CCIParser::ParseListExpr(std::int32_t& pos) { return ParseFormOrNull(pos, Form::kList); }

CCIExpression* CCIParser::ParseAssignmentExpr(std::int32_t& pos) {
  return ParseFormOrNull(pos, Form::kAssignment);
}

CCIExpression* CCIParser::ParseStringValue(std::int32_t& pos) { return ParseFormOrNull(pos, Form::kString); }

CCIExpression* CCIParser::ParseIdentStringValue(std::int32_t& pos) { return ParseStringValue(pos); }

CCIExpression* CCIParser::ParseFormOrNull(std::int32_t& pos, Form form) {
  CCIOutcome outcome = CCIOutcome::kDone;
  return ParseForm(pos, form, outcome);
}

CCIExpression* CCIParser::ParseForm(std::int32_t& pos, Form form, CCIOutcome& outcome) {
  std::unique_ptr<CCIExpression> root;
  const bool enoughMemory = RunUnlessMemoryRunsOut([&] {
    OpenNodes open;
    std::unique_ptr<CCIExpression> done;  // a finished expression for the innermost open node
    for (;;) {
      if (!Begin(pos, form, open, done)) return;
      // Hand finished expressions outwards until a node wants a new one.
      for (;;) {
        if (done) {
          if (open.Empty()) {
            root = std::move(done);
            return;
          }
          Adopt(open.Top(), done);
          if (open.Top()->kind == kCIAssignmentExpr) {
            done = open.Pop();  // an assignment is finished with its value
            continue;
          }
        }
        CCIExpression* top = open.Top();
        if (top->kind == kCIAssignmentExpr) break;  // just begun: its value comes next
        const CCITokenKind close = top->kind == kCIListExpr ? kCICloseList : kCICloseArgs;
        const Next next = StepToItem(pos, close, ItemsOf(top));
        if (next == Next::kFault) return;
        if (next == Next::kItem) break;
        done = open.Pop();
      }
      form = Form::kExpr;
    }
  });
  outcome = !enoughMemory ? CCIOutcome::kOutOfMemory : root ? CCIOutcome::kDone : CCIOutcome::kInvalid;
  return root.release();
}

bool CCIParser::ChooseForm(std::int32_t pos, Form& form) const {
  if (!HasToken(pos)) return false;
  switch (KindAt(pos)) {
    case kCIString:
      form = Form::kString;
      return true;
    case kCIOpenList:
      form = Form::kList;
      return true;
    case kCIIdent:
      form = Form::kString;  // a lone identifier
      if (HasToken(pos + 1) && KindAt(pos + 1) == kCIEquals) form = Form::kAssignment;
      if (HasToken(pos + 1) && KindAt(pos + 1) == kCIOpenArgs) form = Form::kInstance;
      return true;
    default:
      return false;  // a delimiter cannot start an expression
  }
}

// The forms check only that their tokens exist, never the kinds of the
// tokens that ChooseForm has already looked at: called directly, the form
// functions take their starting tokens as given. A missing token fails
// exactly as StepToItem would fail on it.
bool CCIParser::Begin(std::int32_t& pos, Form form, OpenNodes& open, std::unique_ptr<CCIExpression>& done) {
  if (form == Form::kExpr && !ChooseForm(pos, form)) return false;
  switch (form) {
    case Form::kExpr:
    case Form::kString:
      if (!HasToken(pos)) return false;
      done.reset(new CCIStringValue(m_tokens[static_cast<std::size_t>(pos)].text));
      ++pos;
      return true;
    case Form::kList:
      if (!HasToken(pos)) return false;
      ++pos;  // over the "{"
      open.Push(std::unique_ptr<CCIListExpr>(new CCIListExpr));
      return true;
    case Form::kInstance: {
      if (!HasToken(pos) || !HasToken(pos + 1)) return false;
      std::unique_ptr<CCIInstanceExpr> instance(new CCIInstanceExpr);
      instance->name = m_tokens[static_cast<std::size_t>(pos)].text;
      pos += 2;  // over the name and the "(."
      open.Push(std::move(instance));
      return true;
    }
    case Form::kAssignment: {
      if (!HasToken(pos) || m_tokens.size() - static_cast<std::size_t>(pos) < 3) {
        return false;  // room for name, "=" and value is missing; nothing consumed
      }
      std::unique_ptr<CCIAssignmentExpr> assignment(new CCIAssignmentExpr);
      assignment->name = m_tokens[static_cast<std::size_t>(pos)].text;
      ++pos;
      if (KindAt(pos) != kCIEquals) return false;
      ++pos;
      open.Push(std::move(assignment));
      return true;
    }
  }
  return false;
}

CCIParser::Next CCIParser::StepToItem(std::int32_t& pos, CCITokenKind close,
                                      const std::list<CCIExpression*>& items) const {
  if (!HasToken(pos)) return Next::kFault;
  if (KindAt(pos) == close) {
    ++pos;
    return Next::kClosed;
  }
  if (!items.empty()) {
    if (KindAt(pos) != kCIComma) return Next::kFault;
    ++pos;
    if (!HasToken(pos)) return Next::kFault;
  }
  return Next::kItem;
}
