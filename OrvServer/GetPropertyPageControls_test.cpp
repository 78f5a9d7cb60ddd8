// Tests of the agent GetPropertyPageControls against the emulated host.
//
// Expected answers are written by hand from the agent's layout: "[", the
// controls separated by ", ", "]"; a control is
// {"kind" : "K", "text" : "T", "value" : "V"} or, for an entity list,
// {"kind" : "EntityList", "text" : "T", "value" : ["a", "b"]}; nothing is
// escaped.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "emulator/ModelTextSupport.h"
#include "emulator/HostMonitor.h"
#include "emulator/ModelessEntity.h"
#include "emulator/Model.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"
#include "host/Agent.h"

namespace {

using qmemu::HostMonitor;
using qmemu::TextAt;

const char kPageAgent[] = "@VELExtensionManagement@GetPropertyEditorPage";
const char kInternalError[] = "Internal error (GetPropertyPageControls).";

using qmemu::JsonString;

// A model whose entity "E" has `page` as its property page, and whose entity
// "PLAIN" (named "Gauge") has none.
std::unique_ptr<qmemu::Model> ModelWithPage(const std::string& page, const std::string& omit = "") {
  std::string text = "{";
  if (!omit.empty()) text += "\"omit\": [\"" + omit + "\"], ";
  text += "\"root\": {\"guid\": \"ROOT\", \"children\": [{\"guid\": \"E\", \"meta\": \"Block\", \"name\": \"E\", "
          "\"values\": {\"PropertyPage\": " + JsonString(page) + "}}, "
          "{\"guid\": \"PLAIN\", \"meta\": \"Block\", \"name\": \"Gauge\"}]}}";
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(text, "page.json", error);
  EXPECT_NE(model, nullptr) << error;
  return model;
}

// A text parameter made the way the host makes the parameters of a call it
// prepares: directly, not through the counted host operation.
qm::AgentParameter* Text(const std::string& text) {
  auto* parameter = new qmemu::ParameterValue(qmemu::ParamKind::Text);
  parameter->text = text;
  return parameter;
}

// What the three parameters hold after a call.
struct Result {
  std::string guid, json, error;
};

class PageControlsTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Runs the agent on the root of `model` for `guid`, with parameter 2
  // holding "json before" and parameter 3 "error before".
  Result Call(const std::string& guid, qm::IUnknown* access, bool withContext = true) {
    qm::AgentParameters parameters;
    parameters.push_back(Text(guid));
    parameters.push_back(Text("json before"));
    parameters.push_back(Text("error before"));
    qm::IVelEntity* context = withContext ? model->root().asEntity() : nullptr;
    GetPropertyPageControls(nullptr, nullptr, context, access, parameters);
    return {TextAt(parameters, 1), TextAt(parameters, 2), TextAt(parameters, 3)};
  }
  Result Call(const std::string& guid) { return Call(guid, &model->access()); }

  // The answer for entity "E" with `page`; the error text when there is one.
  std::string Answer(const std::string& page) {
    model = ModelWithPage(page);
    Result r = Call("E");
    return r.error == "error before" ? r.json : "error: " + r.error;
  }

  // Runs the agent on a page whose walk does not end: a fault injected far
  // into the walk stops it (the call limit only guards against a fault that
  // never comes).
  Result CallNeverEnding(const std::string& page) {
    model = ModelWithPage(page);
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().FailAt(5000);
    HostMonitor::Instance().LimitCalls(100000);
    Result r = Call("E");
    EXPECT_LT(HostMonitor::Instance().Count(), 100000u) << "the fault did not stop the walk";
    return r;
  }

  std::unique_ptr<qmemu::Model> model;
};

// ---- answers, byte for byte ----

TEST_F(PageControlsTest, AnEditBoxAndAnEntityListGiveTheDocumentedAnswer) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Pump\" .), children = { } .), "
                   "ControlInfo(. control = EntityList(. text = \"Owners\", 'value' = \"{a, b}\" .), children = { } .) }"),
            "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
            "{\"kind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [\"a\", \"b\"]}]");
}

TEST_F(PageControlsTest, APageWhoseItemListIsEmptyAnswersEmptyBrackets) {
  EXPECT_EQ(Answer("{}"), "[]");
  EXPECT_EQ(Answer("{ }"), "[]");
}

TEST_F(PageControlsTest, APageThatIsNoListHasNoItems) { EXPECT_EQ(Answer("ControlInfo(. .)"), "[]"); }

TEST_F(PageControlsTest, AnEntityListWhoseValueDoesNotParseAnswersEmptyBrackets) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = EntityList(. text = \"Spares\", 'value' = \"{a, (. .)}\" .) .) }"),
            "[{\"kind\" : \"EntityList\", \"text\" : \"Spares\", \"value\" : []}]");
  EXPECT_EQ(Answer("{ ControlInfo(. control = EntityList(. text = \"T\", 'value' = \"\" .) .) }"),
            "[{\"kind\" : \"EntityList\", \"text\" : \"T\", \"value\" : []}]");
}

TEST_F(PageControlsTest, AnEntityListWritesEveryItemByItsValueString) {
  // Strings and names give their text; an instance has none.
  EXPECT_EQ(Answer("{ ControlInfo(. control = EntityList(. text = \"T\", "
                   "'value' = \"{\\\"Inlet A\\\", b_2, C(. .), 'd e'}\" .) .) }"),
            "[{\"kind\" : \"EntityList\", \"text\" : \"T\", \"value\" : [\"Inlet A\", \"b_2\", \"\", \"d e\"]}]");
  EXPECT_EQ(Answer("{ ControlInfo(. control = EntityList(. text = \"T\", 'value' = \"{}\" .) .) }"),
            "[{\"kind\" : \"EntityList\", \"text\" : \"T\", \"value\" : []}]");
}

TEST_F(PageControlsTest, AnEntityListValueThatIsNoListHasNoElements) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = EntityList(. text = \"T\", 'value' = \"a\" .) .) }"),
            "[{\"kind\" : \"EntityList\", \"text\" : \"T\", \"value\" : []}]");
}

TEST_F(PageControlsTest, ALabelContainingADoubleQuoteIsCopiedUnescaped) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = Label(. text = \"say \\\"hi\\\"\", 'value' = \"a\\\\b\" .) .) }"),
            "[{\"kind\" : \"Label\", \"text\" : \"say \"hi\"\", \"value\" : \"a\\b\"}]");
}

TEST_F(PageControlsTest, ControlCharactersAreCopiedAsTheyAre) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = Label(. text = \"a\\tb\", 'value' = \"line\nnext\\r\" .) .) }"),
            "[{\"kind\" : \"Label\", \"text\" : \"a\tb\", \"value\" : \"line\nnext\r\"}]");
}

TEST_F(PageControlsTest, AnIdentifierValueIsItsName) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = ComboBox(. text = \"Mode\", 'value' = auto .) .) }"),
            "[{\"kind\" : \"ComboBox\", \"text\" : \"Mode\", \"value\" : \"auto\"}]");
}

TEST_F(PageControlsTest, TheKindIsTheNameOfTheDefinitionTheControlInstantiates) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = 'Edit box'(. text = \"T\", 'value' = \"V\" .) .) }"),
            "[{\"kind\" : \"Edit box\", \"text\" : \"T\", \"value\" : \"V\"}]");
}

TEST_F(PageControlsTest, ChildrenAreNotReadAndTheAnswerIsFlat) {
  EXPECT_EQ(Answer("{ ControlInfo(. control = A(. text = \"a\", 'value' = \"1\" .), children = { "
                   "ControlInfo(. control = B(. text = \"b\", 'value' = \"2\" .) .) } .), "
                   "ControlInfo(. control = C(. text = \"c\", 'value' = \"3\" .) .) }"),
            "[{\"kind\" : \"A\", \"text\" : \"a\", \"value\" : \"1\"}, "
            "{\"kind\" : \"C\", \"text\" : \"c\", \"value\" : \"3\"}]");
}

TEST_F(PageControlsTest, TheItemsNameIsNotLookedAt) {
  EXPECT_EQ(Answer("{ Anything(. control = A(. text = \"a\", 'value' = \"1\" .) .) }"),
            "[{\"kind\" : \"A\", \"text\" : \"a\", \"value\" : \"1\"}]");
}

TEST_F(PageControlsTest, TheEntityIsTheOneNamedByTheGuidNotTheContext) {
  model = ModelWithPage("{}");
  Result r = Call("PLAIN");
  EXPECT_EQ(r.json, "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Gauge\"}]");
  EXPECT_EQ(r.error, "error before");
  EXPECT_EQ(r.guid, "PLAIN");
}

// ---- the walk that does not end ----

TEST_F(PageControlsTest, AnItemThatIsNoInstanceKeepsTheWalkOnIt) {
  Result r = CallNeverEnding("{ x }");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, kInternalError);
  // The walk asked the same item again and again and got no further.
  EXPECT_GT(HostMonitor::Instance().Count("IsKindOf"), 4000u);
  EXPECT_EQ(HostMonitor::Instance().Count("GetArgument"), 0u);
}

TEST_F(PageControlsTest, AControlWithoutItsTextKeepsTheWalkOnIt) {
  Result r = CallNeverEnding("{ ControlInfo(. control = EditBox(. 'value' = \"v\" .) .) }");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, kInternalError);
  EXPECT_GT(HostMonitor::Instance().Count("IsKindOf"), 100u);
}

TEST_F(PageControlsTest, AControlWithAnUnquotedValueKeepsTheWalkOnIt) {
  Result r = CallNeverEnding("{ ControlInfo(. control = EditBox(. text = \"t\", value = \"v\" .) .) }");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, kInternalError);
  EXPECT_GT(HostMonitor::Instance().Count("GetArgument"), 100u);
}

TEST_F(PageControlsTest, AnItemWithoutAControlKeepsTheWalkOnIt) {
  Result r = CallNeverEnding("{ ControlInfo(. children = { } .) }");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, kInternalError);
}

TEST_F(PageControlsTest, AnIncompleteItemAfterACompleteOneWritesNothing) {
  Result r = CallNeverEnding("{ ControlInfo(. control = A(. text = \"a\", 'value' = \"1\" .) .), x }");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, kInternalError);
}

// ---- failures reported in words ----

TEST_F(PageControlsTest, WithoutThePageAgentTheMessageHasNoFullStop) {
  model = ModelWithPage("{}", kPageAgent);
  Result r = Call("E");
  EXPECT_EQ(r.error, "Failed to find GetPropertyEditorPage agent");
  EXPECT_EQ(r.json, "json before");
}

TEST_F(PageControlsTest, AnUnknownGuidAnswersOnlyInTheThirdParameter) {
  model = ModelWithPage("{}");
  Result r = Call("NO-SUCH-GUID");
  EXPECT_EQ(r.error, "Failed to find entity with specified GUID.");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.guid, "NO-SUCH-GUID");
}

TEST_F(PageControlsTest, APageTheHostCannotParseIsAnInvalidControlString) {
  for (const char* page : {"{ ControlInfo(. control = A(. text = \"t\", 'value' = 12 .) .) }", "", "{a} {b}",
                           "{ ControlInfo(. x .) }"}) {
    EXPECT_EQ(Answer(page), "error: Invalid control string.") << page;
  }
}

// ---- calls that write nothing ----

TEST_F(PageControlsTest, ANullAccessArgumentWritesNothingIntoAnyParameter) {
  model = ModelWithPage("{}");
  HostMonitor::Instance().SetLogging(true);
  Result r = Call("E", nullptr);
  EXPECT_EQ(r.guid, "E");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, "error before");
  EXPECT_TRUE(HostMonitor::Instance().Log().empty());
}

TEST_F(PageControlsTest, AnAccessObjectWithoutTheAccessInterfaceWritesNothing) {
  model = ModelWithPage("{}");
  model->access().SetAnswersAccess(false);
  Result r = Call("E");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, "error before");
  // An entity is no access object either.
  r = Call("E", model->FindEntity("E"));
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, "error before");
}

TEST_F(PageControlsTest, WithoutContextNothingIsWritten) {
  model = ModelWithPage("{}");
  Result r = Call("E", &model->access(), false);
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, "error before");
}

TEST_F(PageControlsTest, AContextWithoutModelWritesNothing) {
  model = ModelWithPage("{}");
  qmemu::ModelessEntity context;
  qm::AgentParameters parameters;
  parameters.push_back(Text("E"));
  parameters.push_back(Text("json before"));
  parameters.push_back(Text("error before"));
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  GetPropertyPageControls(nullptr, nullptr, &context, &model->access(), parameters);
  EXPECT_EQ(TextAt(parameters, 2), "json before");
  EXPECT_EQ(TextAt(parameters, 3), "error before");
  EXPECT_EQ(context.getModelCalls, 1);
  EXPECT_EQ(HostMonitor::Instance().Log(),
            (std::vector<std::string>{"QueryInterface(ModelAccess)", "GetMessageList"}));
}

TEST_F(PageControlsTest, RefusedParametersWriteNothingAndTheHostSaysWhy) {
  model = ModelWithPage("{}");
  qm::AgentParameters two;
  two.push_back(qm::AgentParameter::Create("E", qm::_String));
  two.push_back(qm::AgentParameter::Create("json before", qm::_String));
  GetPropertyPageControls(nullptr, nullptr, model->root().asEntity(), &model->access(), two);
  EXPECT_EQ(TextAt(two, 2), "json before");
  ASSERT_EQ(model->messages().Messages().size(), 1u);
  EXPECT_EQ(model->messages().Messages()[0], "@OrvServer@GetPropertyPageControls: expected 3 parameters, got 2");

  qm::AgentParameters wrongKind;
  wrongKind.push_back(qm::AgentParameter::Create("E", qm::_String));
  wrongKind.push_back(qm::AgentParameter::Create(1L, qm::_Integer));
  wrongKind.push_back(qm::AgentParameter::Create("error before", qm::_String));
  GetPropertyPageControls(nullptr, nullptr, model->root().asEntity(), &model->access(), wrongKind);
  EXPECT_EQ(TextAt(wrongKind, 3), "error before");
  EXPECT_EQ(model->messages().Messages().size(), 2u);
}

TEST_F(PageControlsTest, WithoutItsDeclarationTheAgentDoesNothing) {
  model = ModelWithPage("{}", "@OrvServer@GetPropertyPageControls");
  Result r = Call("E");
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, "error before");
}

// ---- host operations ----

TEST_F(PageControlsTest, ASuccessfulCallMakesTheseHostOperationsInThisOrder) {
  const std::string page = "{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Pump\" .) .) }";
  model = ModelWithPage(page);
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  Result r = Call("E");
  EXPECT_EQ(r.json, "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}]");
  const std::vector<std::string> expected = {
      "QueryInterface(ModelAccess)",
      "GetMessageList",
      "GetModel",
      "FindEntity(@OrvServer@GetPropertyPageControls)",
      "ValidateAgentActualParameters",
      "AgentParameter::GetString",
      std::string("FindEntity(") + kPageAgent + ")",
      "FindEntity(E)",
      "AgentParameter::Create(text)",
      "AgentParameter::Create(interface)",
      "AgentParameter::Create(entity list)",
      std::string("InvokeAgent(") + kPageAgent + ")",
      "AgentParameter::GetString",
      "ParseExpressionText(" + page + ")",
      "GetEntities(Expression)",
      "IsKindOf(InstanceExpr)",
      "QueryInterface(IVelExpression)",
      "GetArgument(control)",
      "QueryInterface(IVelEntity)",
      "GetEntity(InstanceOf)",
      "GetValue(Name)",
      "QueryInterface(IVelExpression)",
      "GetArgument(text)",
      "QueryInterface(IVelEntity)",
      "GetValue(ValueString)",
      "GetArgument('value')",
      "QueryInterface(IVelEntity)",
      "GetValue(ValueString)",
      "AgentParameter::Set",
  };
  EXPECT_EQ(HostMonitor::Instance().Log(), expected);
}

TEST_F(PageControlsTest, TheEntityListValueIsParsedAgainByTheHost) {
  model = ModelWithPage("{ ControlInfo(. control = EntityList(. text = \"T\", 'value' = \"{a}\" .) .) }");
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  Call("E");
  EXPECT_EQ(HostMonitor::Instance().LogCount("ParseExpressionText({a})"), 1u);
  EXPECT_EQ(HostMonitor::Instance().LogCount("GetEntities(Expression)"), 2u);
}

// Fails every host operation of a call in turn. Each time the third
// parameter says "Internal error (GetPropertyPageControls)." and the second
// keeps its text; once the fault lies beyond the last operation, the answer
// is complete and the third parameter untouched.
TEST_F(PageControlsTest, AFaultInAnyHostOperationIsAnInternalError) {
  const std::string page =
      "{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Pump\" .), children = { } .), "
      "ControlInfo(. control = EntityList(. text = \"Owners\", 'value' = \"{a, b}\" .), children = { } .) }";
  model = ModelWithPage(page);
  std::uint64_t n = 1;
  for (;; ++n) {
    ASSERT_LT(n, 200u) << "the call makes more host operations than expected";
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().FailAt(n);
    Result r;
    EXPECT_NO_THROW(r = Call("E"));
    if (HostMonitor::Instance().Count() < n) {
      EXPECT_EQ(r.json, "[{\"kind\" : \"EditBox\", \"text\" : \"Name\", \"value\" : \"Pump\"}, "
                        "{\"kind\" : \"EntityList\", \"text\" : \"Owners\", \"value\" : [\"a\", \"b\"]}]");
      EXPECT_EQ(r.error, "error before");
      break;
    }
    EXPECT_EQ(r.json, "json before") << "fault at operation " << n;
    EXPECT_EQ(r.error, kInternalError) << "fault at operation " << n;
  }
  // 12 operations up to the page agent, the parse and the items, two
  // controls of 13 each, the second parse with its items and two values,
  // and the final Set.
  EXPECT_EQ(n, 12u + 3u + 13u + 13u + 4u + 1u + 1u);
}

TEST_F(PageControlsTest, AFaultWhileWritingTheMessageIsSwallowed) {
  model = ModelWithPage("{}");
  // The first fault stops the call at once; the second hits the Set of the
  // message. Nothing escapes and nothing is written.
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().LimitCalls(1);
  Result r;
  EXPECT_NO_THROW(r = Call("E"));
  EXPECT_EQ(r.json, "json before");
  EXPECT_EQ(r.error, "error before");
}

}  // namespace
