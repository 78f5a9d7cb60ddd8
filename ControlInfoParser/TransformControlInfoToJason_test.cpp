// Tests of the agent TransformControlInfoToJason against the emulated host.
//
// Expected JSON is written by hand in the encoder's pretty layout: lines
// joined by "\r\n", "{ " and "[ " and ", " keep their blank before the line
// end, four blanks per level, a pair's container value one level deeper than
// the pair on a line of its own.
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "emulator/ModelTextSupport.h"
#include "emulator/HostMonitor.h"
#include "emulator/ModelessEntity.h"
#include "emulator/Model.h"
#include "emulator/ModelFile.h"
#include "emulator/Parameters.h"
#include "host/Agent.h"
#include "testing/AllocationFaults.h"
#include "testing/Stacks.h"

namespace {

using qmemu::HostMonitor;
using qmemu::TextAt;

const char kPageAgent[] = "@VELExtensionManagement@GetPropertyEditorPage";

std::string Lines(std::initializer_list<const char*> lines) {
  std::string text;
  for (const char* line : lines) {
    if (!text.empty()) text += "\r\n";
    text += line;
  }
  return text;
}

using qmemu::JsonString;

// A model whose entity "E" has `page` as its property page.
std::unique_ptr<qmemu::Model> ModelWithPage(const std::string& page, const std::string& omit = "") {
  std::string text = "{";
  if (!omit.empty()) text += "\"omit\": [\"" + omit + "\"], ";
  text += "\"root\": {\"guid\": \"ROOT\", \"children\": [{\"guid\": \"E\", \"meta\": \"Block\", \"name\": \"E\", "
          "\"values\": {\"PropertyPage\": " + JsonString(page) + "}}]}}";
  std::string error;
  std::unique_ptr<qmemu::Model> model = qmemu::LoadModelText(text, "page.json", error);
  EXPECT_NE(model, nullptr) << error;
  return model;
}

class TransformAgentTest : public ::testing::Test {
 protected:
  void SetUp() override { HostMonitor::Instance().Reset(); }
  void TearDown() override { HostMonitor::Instance().Reset(); }

  // Runs the agent on entity "E" of a model with `page`, with one text
  // parameter holding "before"; the text of that parameter afterwards.
  std::string Run(const std::string& page) {
    model = ModelWithPage(page);
    if (model == nullptr) return "<no model>";
    qm::AgentParameters parameters;
    parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
    TransformControlInfoToJason(nullptr, nullptr, model->FindEntity("E"), &model->access(), parameters);
    return TextAt(parameters, 1);
  }

  std::unique_ptr<qmemu::Model> model;
};

// ---- the transformation, byte for byte ----

TEST_F(TransformAgentTest, AnEmptyListGivesAnEmptyArray) { EXPECT_EQ(Run("{}"), Lines({"[ ", "]"})); }

TEST_F(TransformAgentTest, AControlInfoWithoutArgumentsGivesAnEmptyObject) {
  EXPECT_EQ(Run("{ ControlInfo(. .) }"), Lines({"[ ", "    { ", "    }", "]"}));
}

TEST_F(TransformAgentTest, TheEntityListExampleEncodesAsDocumented) {
  EXPECT_EQ(Run("{ ControlInfo(. control = EntityList(. text = \"Owners\", value = \"{a, b}\" .) .) }"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EntityList\", ",
                   "                \"text\" : \"Owners\", ",
                   "                \"value\" : ",
                   "                    [ ",
                   "                        \"a\", ",
                   "                        \"b\"",
                   "                    ]",
                   "            }",
                   "    }",
                   "]"}));
}

TEST_F(TransformAgentTest, TheEditBoxExampleKeepsItsEmptyChildren) {
  EXPECT_EQ(Run("{ ControlInfo(. control = EditBox(. text = \"Name\", value = \"Pump\" .), children = { } .) }"),
            Lines({"[ ",
                   "    { ",
                   "        \"control\" : ",
                   "            { ",
                   "                \"controlKind\" : \"EditBox\", ",
                   "                \"text\" : \"Name\", ",
                   "                \"value\" : \"Pump\"",
                   "            }, ",
                   "        \"children\" : ",
                   "            [ ",
                   "            ]",
                   "    }",
                   "]"}));
}

TEST_F(TransformAgentTest, NestedChildrenNest) {
  EXPECT_EQ(Run("{ ControlInfo(. children = { ControlInfo(. control = A(. text = \"t\" .) .) } .) }"),
            Lines({"[ ",
                   "    { ",
                   "        \"children\" : ",
                   "            [ ",
                   "                { ",
                   "                    \"control\" : ",
                   "                        { ",
                   "                            \"controlKind\" : \"A\", ",
                   "                            \"text\" : \"t\"",
                   "                        }",
                   "                }",
                   "            ]",
                   "    }",
                   "]"}));
}

TEST_F(TransformAgentTest, AQuotedValueNameIsReadAsValue) {
  EXPECT_EQ(Run("{ ControlInfo(. control = A(. 'value' = \"v\" .) .) }"),
            Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                   "                \"controlKind\" : \"A\", ", "                \"value\" : \"v\"",
                   "            }", "    }", "]"}));
}

TEST_F(TransformAgentTest, LabelsAreEscapedByTheEncoder) {
  // say "hi", tab, back\slash; value: CR LF, DEL, an e with acute accent.
  EXPECT_EQ(Run("{ ControlInfo(. control = L(. text = \"say \\\"hi\\\"\\t\\\\\", value = \"\\r\\n\x7F\xC3\xA9\" .) .) }"),
            Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                   "                \"controlKind\" : \"L\", ",
                   "                \"text\" : \"say \\\"hi\\\"\\u0009\\\\\", ",
                   "                \"value\" : \"\\r\\n\x7F\xC3\xA9\"",
                   "            }", "    }", "]"}));
}

TEST_F(TransformAgentTest, AChildrenListThatFailsIsLeftOutButItsControlInfoIsKept) {
  EXPECT_EQ(Run("{ ControlInfo(. control = A(. .), children = { x } .) }"),
            Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                   "                \"controlKind\" : \"A\"", "            }", "    }", "]"}));
}

TEST_F(TransformAgentTest, AnEntityListValueThatDoesNotParseStaysAString) {
  EXPECT_EQ(Run("{ ControlInfo(. control = EntityList(. value = \"{a, (. .)}\" .) .) }"),
            Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                   "                \"controlKind\" : \"EntityList\", ", "                \"value\" : \"{a, (. .)}\"",
                   "            }", "    }", "]"}));
}

TEST_F(TransformAgentTest, AnEntityListValueKeepsOnlyItsStringItems) {
  EXPECT_EQ(Run("{ ControlInfo(. control = EntityList(. value = \"{a, B(. .), c}\" .) .) }"),
            Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                   "                \"controlKind\" : \"EntityList\", ", "                \"value\" : ",
                   "                    [ ", "                        \"a\", ", "                        \"c\"",
                   "                    ]", "            }", "    }", "]"}));
}

TEST_F(TransformAgentTest, AnEntityListValueThatIsNoListStaysAString) {
  EXPECT_EQ(Run("{ ControlInfo(. control = EntityList(. value = \"a\" .) .) }"),
            Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                   "                \"controlKind\" : \"EntityList\", ", "                \"value\" : \"a\"",
                   "            }", "    }", "]"}));
}

TEST_F(TransformAgentTest, AnIdentifierValueIsAString) {
  EXPECT_EQ(Run("{ ControlInfo(. control = Edit(. value = x .) .) }"),
            Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                   "                \"controlKind\" : \"Edit\", ", "                \"value\" : \"x\"",
                   "            }", "    }", "]"}));
}

// ---- failures keep the host's text ----

struct KeptRow {
  const char* page;
  const char* why;
};

const KeptRow kKept[] = {
    {"{ Other(. .) }", "an item that is not a ControlInfo instance"},
    {"{ ControlInfo(. .), controlInfo(. .) }", "names are compared exactly"},
    {"{ ControlInfo(. .), x }", "one wrong item spoils the list"},
    {"ControlInfo(. .)", "a root that is an instance, not a list"},
    {"\"text\"", "a root that is a string"},
    {"{ ControlInfo(. control = A(. text = 12 .) .) }", "text that does not scan"},
    {"{ ControlInfo(. .), }", "text that does not parse"},
    {"", "an empty page"},
    {"  \t", "a page of white space"},
};

TEST_F(TransformAgentTest, EveryFailureLeavesTheFirstParameterHoldingTheControlInfoText) {
  for (const KeptRow& row : kKept) {
    EXPECT_EQ(Run(row.page), row.page) << row.why;
  }
}

TEST_F(TransformAgentTest, AnotherInstanceOrARootThatIsNoListGivesNoJson) {
  EXPECT_EQ(Run("{ Other(. .) }"), "{ Other(. .) }");
  EXPECT_EQ(Run("ControlInfo(. control = A(. text = \"t\" .) .)"), "ControlInfo(. control = A(. text = \"t\" .) .)");
}

TEST_F(TransformAgentTest, TextAfterTheFirstExpressionIsIgnored) {
  EXPECT_EQ(Run("{} {x"), Lines({"[ ", "]"}));
}

// ---- the agent frame ----

TEST_F(TransformAgentTest, WithoutContextNothingHappens) {
  model = ModelWithPage("{}");
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
  HostMonitor::Instance().SetLogging(true);
  TransformControlInfoToJason(nullptr, nullptr, nullptr, &model->access(), parameters);
  EXPECT_EQ(TextAt(parameters, 1), "before");
  EXPECT_TRUE(HostMonitor::Instance().Log().empty());
}

TEST_F(TransformAgentTest, AContextWithoutModelEndsTheCall) {
  qmemu::ModelessEntity context;
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
  HostMonitor::Instance().SetLogging(true);
  TransformControlInfoToJason(nullptr, nullptr, &context, nullptr, parameters);
  EXPECT_EQ(TextAt(parameters, 1), "before");
  EXPECT_EQ(context.getModelCalls, 1);
  EXPECT_TRUE(HostMonitor::Instance().Log().empty());
}

TEST_F(TransformAgentTest, WithoutThePageAgentTheParameterIsUntouched) {
  model = ModelWithPage("{}", kPageAgent);
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
  qm::IVelEntity* context = model->FindEntity("E");
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  TransformControlInfoToJason(nullptr, nullptr, context, &model->access(), parameters);
  EXPECT_EQ(TextAt(parameters, 1), "before");
  EXPECT_EQ(HostMonitor::Instance().Log(),
            (std::vector<std::string>{"GetModel", std::string("FindEntity(") + kPageAgent + ")"}));
}

TEST_F(TransformAgentTest, AnEmptyParameterListEndsTheCallBeforeThePageAgentRuns) {
  model = ModelWithPage("{}");
  qm::AgentParameters parameters;
  qm::IVelEntity* context = model->FindEntity("E");
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  TransformControlInfoToJason(nullptr, nullptr, context, &model->access(), parameters);
  EXPECT_TRUE(parameters.empty());
  EXPECT_EQ(HostMonitor::Instance().Log(),
            (std::vector<std::string>{"GetModel", std::string("FindEntity(") + kPageAgent + ")"}));
}

TEST_F(TransformAgentTest, ASuccessfulCallReadsOnceAndWritesOnceAtTheEnd) {
  model = ModelWithPage("{}");
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
  qm::IVelEntity* context = model->FindEntity("E");
  HostMonitor::Instance().Reset();
  HostMonitor::Instance().SetLogging(true);
  TransformControlInfoToJason(nullptr, nullptr, context, nullptr, parameters);
  EXPECT_EQ(TextAt(parameters, 1), Lines({"[ ", "]"}));
  EXPECT_EQ(HostMonitor::Instance().Log(),
            (std::vector<std::string>{"GetModel", std::string("FindEntity(") + kPageAgent + ")",
                                      std::string("InvokeAgent(") + kPageAgent + ")", "AgentParameter::GetString",
                                      "AgentParameter::Set"}));
}

TEST_F(TransformAgentTest, HandsOnTheCallersOwnListUnchanged) {
  model = ModelWithPage("{}");
  qm::EntityList entities;
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
  parameters.push_back(qm::AgentParameter::Create(model->FindEntity("E"), qm::_UnknownInterface));
  parameters.push_back(qm::AgentParameter::Create(entities, qm::_EntityList));
  const std::vector<qm::AgentParameter*> before(parameters.begin(), parameters.end());
  TransformControlInfoToJason(nullptr, nullptr, model->FindEntity("E"), nullptr, parameters);
  EXPECT_EQ(std::vector<qm::AgentParameter*>(parameters.begin(), parameters.end()), before);
  EXPECT_EQ(TextAt(parameters, 1), Lines({"[ ", "]"}));
  EXPECT_EQ(qmemu::ParameterValue::Of(*before[1]).kind, qmemu::ParamKind::Interface);
  EXPECT_EQ(qmemu::ParameterValue::Of(*before[1]).unknown, model->FindEntity("E"));
  EXPECT_EQ(qmemu::ParameterValue::Of(*before[2]).list, &entities);
  EXPECT_TRUE(entities.empty());
}

TEST_F(TransformAgentTest, AFirstParameterThatIsNoTextIsLeftAlone) {
  model = ModelWithPage("{}");
  qm::AgentParameters parameters;
  parameters.push_back(qm::AgentParameter::Create(3L, qm::_Integer));
  TransformControlInfoToJason(nullptr, nullptr, model->FindEntity("E"), nullptr, parameters);
  EXPECT_EQ(qmemu::ParameterValue::Of(*parameters.front()).kind, qmemu::ParamKind::Integer);
}

// Fails every host operation of a call in turn: the call never lets the
// fault escape, and the first parameter holds either the complete answer,
// the page text (the fault came after the page agent ran) or its old text.
TEST_F(TransformAgentTest, AFaultInAnyHostOperationLeavesTheFirstParameterAsItWas) {
  const std::string page = "{ ControlInfo(. control = E(. text = \"t\" .) .) }";
  const std::string answer = Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                                    "                \"controlKind\" : \"E\", ", "                \"text\" : \"t\"",
                                    "            }", "    }", "]"});
  // The operations in order: GetModel, FindEntity, InvokeAgent, GetString, Set.
  const std::vector<std::string> expected = {"before", "before", "before", page, page};
  model = ModelWithPage(page);
  qm::IVelEntity* context = model->FindEntity("E");
  for (std::uint64_t n = 1;; ++n) {
    ASSERT_LE(n, 10u) << "the call makes more host operations than expected";
    qm::AgentParameters parameters;
    parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
    HostMonitor::Instance().Reset();
    HostMonitor::Instance().FailAt(n);
    EXPECT_NO_THROW(TransformControlInfoToJason(nullptr, nullptr, context, nullptr, parameters));
    const bool faulted = HostMonitor::Instance().Count() >= n;
    if (!faulted) {
      EXPECT_EQ(TextAt(parameters, 1), answer);
      EXPECT_EQ(n, expected.size() + 1);
      break;
    }
    ASSERT_LE(n, expected.size());
    EXPECT_EQ(TextAt(parameters, 1), expected[n - 1]) << "fault at operation " << n;
  }
}

// ---- every stack, and memory running out ----

// The pretty JSON of a page with `levels` levels of children around an empty
// list, by the layout's rule: level i opens an array at depth 3i, its object
// at 3i + 1 and the pair "children" at 3i + 2, whose array is level i + 1.
std::string NestedChildrenPretty(int levels) {
  auto indent = [](int depth) { return std::string(static_cast<std::size_t>(4 * depth), ' '); };
  std::string text;
  for (int i = 0; i < levels; ++i) {
    text += indent(3 * i) + "[ \r\n" + indent(3 * i + 1) + "{ \r\n" + indent(3 * i + 2) + "\"children\" : \r\n";
  }
  text += indent(3 * levels) + "[ \r\n" + indent(3 * levels) + "]";
  for (int i = levels - 1; i >= 0; --i) text += "\r\n" + indent(3 * i + 1) + "}\r\n" + indent(3 * i) + "]";
  return text;
}

std::string NestedChildrenPage(int levels) {
  std::string text;
  for (int i = 0; i < levels; ++i) text += "{ ControlInfo(. children = ";
  text += "{}";
  for (int i = 0; i < levels; ++i) text += " .) }";
  return text;
}

const char kEntityListPage[] = "{ ControlInfo(. control = EntityList(. text = \"Owners\", value = \"{a, b}\" .) .) }";

TEST_F(TransformAgentTest, TheRuleForNestedChildrenMatchesTheHandWrittenLayout) {
  EXPECT_EQ(Run(NestedChildrenPage(1)),
            Lines({"[ ", "    { ", "        \"children\" : ", "            [ ", "            ]", "    }", "]"}));
  EXPECT_EQ(NestedChildrenPretty(2), Run(NestedChildrenPage(2)));
}

// The agent answers alike on every stack a host may call it on.
TEST_F(TransformAgentTest, SameAnswerOnEveryStack) {
  const std::string entityList = Lines({"[ ", "    { ", "        \"control\" : ", "            { ",
                                        "                \"controlKind\" : \"EntityList\", ",
                                        "                \"text\" : \"Owners\", ", "                \"value\" : ",
                                        "                    [ ", "                        \"a\", ",
                                        "                        \"b\"", "                    ]", "            }",
                                        "    }", "]"});
  const std::string deepValue = "{a, " + std::string(100000, '{') + std::string(100000, '}') + ", b}";
  const struct {
    std::string page;
    std::string answer;
  } rows[] = {
      {"{}", Lines({"[ ", "]"})},
      {kEntityListPage, entityList},
      {"{ ControlInfo(. control = EntityList(. text = \"Owners\", value = \"" + deepValue + "\" .) .) }", entityList},
      {NestedChildrenPage(150), NestedChildrenPretty(150)},
      // Not a page: the parameter keeps the page text.
      {std::string(100000, '{') + std::string(100000, '}'), std::string(100000, '{') + std::string(100000, '}')},
  };
  for (const auto& row : rows) {
    model = ModelWithPage(row.page);
    ASSERT_NE(nullptr, model);
    qm::IVelEntity* context = model->FindEntity("E");
    for (const orvtest::StackKind& stack : orvtest::EveryStack()) {
      qm::AgentParameters parameters;
      parameters.push_back(qm::AgentParameter::Create("before", qm::_String));
      ASSERT_TRUE(orvtest::RunOnStack(stack, [&] {
        TransformControlInfoToJason(nullptr, nullptr, context, &model->access(), parameters);
      })) << stack.name;
      EXPECT_TRUE(TextAt(parameters, 0) == row.answer) << stack.name << ": page of " << row.page.size() << " bytes";
    }
  }
}

// Fails each allocation of the call in turn, the emulated host's included.
// Nothing escapes, and the parameter holds an answer the rules allow: the
// JSON, or the page text that the page agent wrote, or (when the fault came
// before that) what it held before.
TEST_F(TransformAgentTest, EveryAllocationFailureLeavesAnAllowedAnswer) {
  const std::string entityList = Run(kEntityListPage);
  ASSERT_EQ('[', entityList[0]);
  auto parameters = std::make_unique<qm::AgentParameters>();
  parameters->push_back(qm::AgentParameter::Create("before", qm::_String));
  qm::IVelEntity* context = model->FindEntity("E");
  bool sawPageText = false;
  const long runs = orvtest::SweepAllocationFailures(
      [&] {
        try {
          TransformControlInfoToJason(nullptr, nullptr, context, &model->access(), *parameters);
        } catch (...) {
          ADD_FAILURE() << "an exception left the agent";
        }
      },
      [&](long failedAt) {
        const std::string text = TextAt(*parameters, 0);
        if (failedAt == 0) {
          EXPECT_EQ(entityList, text);
        } else {
          EXPECT_TRUE(text == entityList || text == kEntityListPage || text == "before")
              << "failed at " << failedAt << ": " << text;
        }
        sawPageText = sawPageText || text == kEntityListPage;
        parameters = std::make_unique<qm::AgentParameters>();
        parameters->push_back(qm::AgentParameter::Create("before", qm::_String));
      });
  EXPECT_GT(runs, 10);
  EXPECT_TRUE(sawPageText);  // some failures came after the page agent ran
}

}  // namespace
