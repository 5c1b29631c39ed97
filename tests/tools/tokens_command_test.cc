#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "premoov/commands.h"
#include "tools/tool_runs.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using OrderedJson = nlohmann::ordered_json;

OrderedJson kinds() {
  std::ostringstream out, err;
  EXPECT_EQ(runTokensKindsCommand(out, err), kExitSuccess);
  EXPECT_THAT(err.str(), IsEmpty());
  return OrderedJson::parse(out.str());
}

OrderedJson parse(const std::vector<std::string>& texts) {
  std::ostringstream out, err;
  EXPECT_EQ(runTokensParseCommand(texts, out, err), kExitSuccess);
  EXPECT_THAT(err.str(), IsEmpty());
  return OrderedJson::parse(out.str());
}

ToolOutcome menu(const std::string& code, std::optional<std::string> pick = std::nullopt) {
  std::ostringstream out, err;
  ToolOutcome outcome;
  outcome.code = runTokensMenuCommand({.code = code, .pick = std::move(pick)}, out, err);
  outcome.out = out.str();
  outcome.err = err.str();
  return outcome;
}

TEST(TokensCommandTest, KindsInDeclarationOrder) {
  const OrderedJson answer = kinds();
  ASSERT_TRUE(answer.is_array());
  std::vector<std::string> codes, names;
  std::vector<OrderedJson> formatters;
  for (const auto& kind : answer) {
    EXPECT_EQ(kind.size(), 4u);
    codes.push_back(kind["code"]);
    names.push_back(kind["displayName"]);
    formatters.push_back(kind["defaultFormatter"]);
  }
  EXPECT_THAT(codes, ElementsAre("$$Timecode", "$$Day", "$$Month", "$$Year", "$$Hour", "$$Minute",
                                 "$$Second", "$$SourceName", "$$DestinationName", "$$RecordingName",
                                 "$$Week", "$$WhiteSpace", "$$Dash", "$$Counter", "$$AVPresetName",
                                 "$$CodecName"));
  EXPECT_THAT(names, ElementsAre("Timecode", "Day", "Month", "Year", "Hour", "Minute", "Second",
                                 "SourceName", "DestinationName", "RecordingName", "Week",
                                 "WhiteSpace", "Dash", "Counter", "AVPresetName", "CodecName"));
  EXPECT_THAT(formatters,
              ElementsAre(nullptr, "dd", "MM", "yyyy", "HH", "mm", "ss", nullptr, nullptr, nullptr,
                          "ww", nullptr, nullptr, "1", nullptr, nullptr));
}

TEST(TokensCommandTest, KindsCarryTheirMenus) {
  const OrderedJson answer = kinds();
  ASSERT_EQ(answer.size(), 16u);
  EXPECT_EQ(answer[1]["menu"].dump(),
            R"([{"title":"5","formatter":"d"},{"title":"05","formatter":"dd"},)"
            R"({"title":"Mon","formatter":"EEE"},{"title":"Monday","formatter":"EEEE"}])");
  EXPECT_EQ(answer[2]["menu"].dump(),
            R"([{"title":"1","formatter":"M"},{"title":"01","formatter":"MM"},)"
            R"({"title":"Jan","formatter":"MMM"},{"title":"January","formatter":"MMMM"}])");
  EXPECT_EQ(answer[3]["menu"].dump(),
            R"([{"title":"16","formatter":"yy"},{"title":"2016","formatter":"yyyy"}])");
  EXPECT_EQ(answer[13]["menu"].dump(),
            R"([{"title":"1","formatter":"1"},{"title":"01","formatter":"2"},)"
            R"({"title":"001","formatter":"3"},{"title":"0001","formatter":"4"},)"
            R"({"title":"00001","formatter":"5"},{"title":"000001","formatter":"6"}])");
  for (size_t i : {0, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 15}) {
    EXPECT_TRUE(answer[i]["menu"].is_null()) << answer[i]["code"];
  }
}

TEST(TokensCommandTest, ParseShowsTheTokenStringOfAPattern) {
  const OrderedJson answer = parse({"$$Day#EEE", " take ", "$$Counter", "$$Dash", "x"});
  EXPECT_EQ(answer["elements"].dump(),
            R"([{"token":{"codeName":"$$Day#EEE","displayName":"Day","formatter":"EEE"}},)"
            R"({"string":" take "},)"
            R"({"token":{"codeName":"$$Counter","displayName":"Counter","formatter":"1"}},)"
            R"({"token":{"codeName":"$$Dash","displayName":"Dash","formatter":null}},)"
            R"({"string":"x"}])");
  // A code that carries its formatter gets it appended once more: the form is not symmetric.
  EXPECT_EQ(answer["tokenStringArray"].dump(),
            R"(["$$Day#EEE.EEE"," take ","$$Counter.1","$$Dash","x"])");
  EXPECT_EQ(answer["tokenString"], "$$Day#EEE.EEE take $$Counter.1$$Dashx");
}

TEST(TokensCommandTest, ParseKeepsUnknownCodesAsTokensAndEmptyTextsAsStrings) {
  const OrderedJson answer = parse({"$$Nothing", "", "$$"});
  EXPECT_EQ(answer["elements"].dump(),
            R"([{"token":{"codeName":"$$Nothing","displayName":"Nothing","formatter":null}},)"
            R"({"string":""},)"
            R"({"token":{"codeName":"$$","displayName":"","formatter":null}}])");
  EXPECT_EQ(answer["tokenString"], "$$Nothing$$");
}

TEST(TokensCommandTest, MenuOfACounter) {
  const ToolOutcome answer = menu("$$Counter");
  ASSERT_EQ(answer.code, kExitSuccess) << answer.err;
  EXPECT_THAT(answer.err, IsEmpty());
  const OrderedJson json = OrderedJson::parse(answer.out);
  EXPECT_EQ(json["token"].dump(),
            R"({"codeName":"$$Counter","displayName":"Counter","formatter":"1"})");
  EXPECT_EQ(json["menu"].size(), 6u);
  EXPECT_EQ(json["menu"][5].dump(), R"({"title":"000001","formatter":"6"})");
  EXPECT_FALSE(json.contains("picked"));
}

TEST(TokensCommandTest, PickingAnItemRewritesTheCode) {
  const ToolOutcome answer = menu("$$Day", "Mon");
  ASSERT_EQ(answer.code, kExitSuccess) << answer.err;
  const OrderedJson json = OrderedJson::parse(answer.out);
  EXPECT_EQ(json["token"].dump(), R"({"codeName":"$$Day","displayName":"Day","formatter":"dd"})");
  EXPECT_EQ(json["picked"].dump(),
            R"({"title":"Mon","token":{"codeName":"$$Day#EEE","displayName":"Day",)"
            R"("formatter":"EEE"}})");

  // A code that already carries a formatter has the menu of its kind; picking replaces it.
  const ToolOutcome again = menu("$$Counter#2", "0001");
  ASSERT_EQ(again.code, kExitSuccess) << again.err;
  EXPECT_EQ(OrderedJson::parse(again.out)["picked"]["token"].dump(),
            R"({"codeName":"$$Counter#4","displayName":"Counter","formatter":"4"})");
}

TEST(TokensCommandTest, AKindWithoutMenuIsBadInput) {
  const ToolOutcome answer = menu("$$Hour");
  EXPECT_EQ(answer.code, kExitBadInput);
  EXPECT_THAT(answer.out, IsEmpty());
  EXPECT_EQ(answer.err,
            "premoov tokens menu: \"$$Hour\" has no menu; the kinds with one: $$Day, $$Month, "
            "$$Year, $$Counter\n");
  EXPECT_EQ(menu("Day").code, kExitBadInput);  // no "$$": a literal, no kind at all
}

TEST(TokensCommandTest, ATitleNotInTheMenuIsBadInput) {
  const ToolOutcome answer = menu("$$Year", "2k");
  EXPECT_EQ(answer.code, kExitBadInput);
  EXPECT_THAT(answer.out, IsEmpty());
  EXPECT_EQ(answer.err,
            "premoov tokens menu: \"2k\" is not a title of the menu of \"$$Year\": \"16\", "
            "\"2016\"\n");
  // Titles are matched exactly, not by formatter.
  EXPECT_EQ(menu("$$Year", "yy").code, kExitBadInput);
}

TEST(TokensCommandTest, TheCommandLineReachesEachCommand) {
  const ToolOutcome kindsRun = runInProcess({"tokens", "kinds"});
  EXPECT_EQ(kindsRun.code, kExitSuccess);
  EXPECT_EQ(OrderedJson::parse(kindsRun.out).size(), 16u);
  const ToolOutcome parseRun = runInProcess({"tokens", "parse", "$$Year", "-", "$$Month#MMM"});
  EXPECT_EQ(parseRun.code, kExitSuccess) << parseRun.err;
  EXPECT_EQ(OrderedJson::parse(parseRun.out)["tokenString"], "$$Year.yyyy-$$Month#MMM.MMM");
  const ToolOutcome menuRun = runInProcess({"tokens", "menu", "$$Month", "--pick", "January"});
  EXPECT_EQ(menuRun.code, kExitSuccess) << menuRun.err;
  EXPECT_EQ(OrderedJson::parse(menuRun.out)["picked"]["token"]["codeName"], "$$Month#MMMM");

  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"tokens"}, {"tokens", "parse"}, {"tokens", "menu"}, {"tokens", "list"}}) {
    const ToolOutcome bad = runInProcess(arguments);
    EXPECT_EQ(bad.code, kExitBadInput) << ::testing::PrintToString(arguments);
    EXPECT_THAT(bad.out, IsEmpty()) << ::testing::PrintToString(arguments);
  }
}

TEST(TokensCommandTest, TheBuiltToolAnswersEachCommand) {
  const ToolOutcome kindsRun = runToolProgram({"tokens", "kinds"});
  ASSERT_EQ(kindsRun.code, 0) << kindsRun.err;
  EXPECT_EQ(OrderedJson::parse(kindsRun.out)[13]["code"], "$$Counter");

  const ToolOutcome parseRun = runToolProgram({"tokens", "parse", "$$Day#EEE", " take "});
  ASSERT_EQ(parseRun.code, 0) << parseRun.err;
  EXPECT_EQ(OrderedJson::parse(parseRun.out)["tokenString"], "$$Day#EEE.EEE take ");

  const ToolOutcome menuRun = runToolProgram({"tokens", "menu", "$$Day", "--pick", "Monday"});
  ASSERT_EQ(menuRun.code, 0) << menuRun.err;
  EXPECT_EQ(OrderedJson::parse(menuRun.out)["picked"]["token"]["formatter"], "EEEE");

  const ToolOutcome noMenu = runToolProgram({"tokens", "menu", "$$Week"});
  EXPECT_EQ(noMenu.code, 1);
  EXPECT_THAT(noMenu.out, IsEmpty());
  EXPECT_EQ(noMenu.err,
            "premoov tokens menu: \"$$Week\" has no menu; the kinds with one: $$Day, $$Month, "
            "$$Year, $$Counter\n");
}

}  // namespace
}  // namespace premoov
