#include "naming/token.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "archive_inspection.h"
#include "naming/naming_classes.h"
#include "plist/keyed_archive.h"
#include "plist/value.h"

namespace premoov {
namespace {

using ::testing::ElementsAre;
using ::testing::Field;

auto MenuItem(const std::string& title, const std::string& representedObject) {
  return ::testing::AllOf(Field(&ZPRTokenMenuItem::title, title),
                          Field(&ZPRTokenMenuItem::representedObject, representedObject));
}

std::optional<std::string> none() { return std::nullopt; }

// A token as an archive's root object, read back by plain (not secure) decoding.
std::shared_ptr<const ZPRToken> archiveRoundTrip(const std::shared_ptr<ZPRToken>& token) {
  registerNamingClasses();
  const std::vector<uint8_t> data = KeyedArchiver::archivedDataWithRootObject(Value::object(token));
  auto coder = KeyedUnarchiver::fromData(data);
  if (!coder) {
    ADD_FAILURE() << coder.error();
    return nullptr;
  }
  const std::optional<Value> root = (*coder)->decodeRootObject();
  if (!root || !root->isObject()) {
    ADD_FAILURE() << "no object decoded"
                  << ((*coder)->error() ? ": " + (*coder)->error()->message : std::string());
    return nullptr;
  }
  return std::dynamic_pointer_cast<const ZPRToken>(root->objectValue());
}

TEST(ZPRTokenTest, KindCodeTakesItsDefaultFormatter) {
  const ZPRToken token("Day", "$$Day");
  EXPECT_EQ(token.codeName(), "$$Day");
  EXPECT_EQ(token.displayName(), "Day");
  EXPECT_EQ(token.formatter(), "dd");
  EXPECT_EQ(token.simpleString(), none());
}

TEST(ZPRTokenTest, EveryKindStartsWithItsOwnDefaultFormatter) {
  struct Case {
    const std::string* code;
    std::optional<std::string> formatter;
  };
  const std::vector<Case> cases{
      {&ZPRTimecodeTokenKey, std::nullopt},
      {&ZPRDayOfMonthTokenKey, "dd"},
      {&ZPRMonthTokenKey, "MM"},
      {&ZPRYearTokenKey, "yyyy"},
      {&ZPRHourTokenKey, "HH"},
      {&ZPRMinuteTokenKey, "mm"},
      {&ZPRSecondTokenKey, "ss"},
      {&ZPRSourceNameTokenKey, std::nullopt},
      {&ZPRDestinationNameTokenKey, std::nullopt},
      {&ZPRRecordingNameTokenKey, std::nullopt},
      {&ZPRWeekTokenKey, "ww"},
      {&ZPRWhiteSpaceTokenKey, std::nullopt},
      {&ZPRDashTokenKey, std::nullopt},
      {&ZPRCounterTokenKey, "1"},
      {&ZPRAVPresetNameTokenKey, std::nullopt},
      {&ZPRCodecNameTokenKey, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(*c.code);
    const auto token = ZPRToken::tokenWithCode(*c.code, "name");
    EXPECT_EQ(token->codeName(), *c.code);
    EXPECT_EQ(token->displayName(), "name");
    EXPECT_EQ(token->formatter(), c.formatter);
  }
}

TEST(ZPRTokenTest, CodeWithOneSeparatorNamesWordAndFormatter) {
  const ZPRToken token("Anything", "$$Day#EEE");
  EXPECT_EQ(token.codeName(), "$$Day#EEE");
  EXPECT_EQ(token.displayName(), "Day");
  EXPECT_EQ(token.formatter(), "EEE");
}

TEST(ZPRTokenTest, EmptyFormatterAfterSeparatorIsKept) {
  const ZPRToken token("Anything", "$$Day#");
  EXPECT_EQ(token.displayName(), "Day");
  EXPECT_EQ(token.formatter(), "");
  EXPECT_EQ(token.codeName(), "$$Day#");
}

TEST(ZPRTokenTest, EmptyWordBeforeSeparator) {
  const ZPRToken token("Anything", "$$#EEE");
  EXPECT_EQ(token.displayName(), "");
  EXPECT_EQ(token.formatter(), "EEE");
}

TEST(ZPRTokenTest, TwoSeparatorsAreNotSplit) {
  const ZPRToken token("Given", "$$Day#a#b");
  EXPECT_EQ(token.codeName(), "$$Day#a#b");
  EXPECT_EQ(token.displayName(), "Given");
  EXPECT_EQ(token.formatter(), none());
}

TEST(ZPRTokenTest, CodeWithoutPrefixIsKeptAsItIs) {
  ZPRToken token("Take", "Day#EEE");
  EXPECT_EQ(token.codeName(), "Day#EEE");
  EXPECT_EQ(token.displayName(), "Take");
  EXPECT_EQ(token.formatter(), none());
  EXPECT_EQ(token.tokenMenu(), std::nullopt);
  token.setFormatter("EEEE");
  token.updateCodeName();
  EXPECT_EQ(token.codeName(), "Day#EEE");
}

TEST(ZPRTokenTest, KindNameWithoutPrefixTakesNoDefault) {
  const ZPRToken token("Day", "Day");
  EXPECT_EQ(token.formatter(), none());
  EXPECT_EQ(token.tokenMenu(), std::nullopt);
}

TEST(ZPRTokenTest, TimecodeHasNoFormatterAndNoMenu) {
  const ZPRToken token("Timecode", "$$Timecode");
  EXPECT_EQ(token.formatter(), none());
  EXPECT_EQ(token.tokenMenu(), std::nullopt);
}

TEST(ZPRTokenTest, MenusOfTheFourKindsThatHaveOne) {
  EXPECT_THAT(ZPRToken("Day", "$$Day").tokenMenu().value_or(std::vector<ZPRTokenMenuItem>{}),
              ElementsAre(MenuItem("5", "d"), MenuItem("05", "dd"), MenuItem("Mon", "EEE"),
                          MenuItem("Monday", "EEEE")));
  EXPECT_THAT(ZPRToken("Month", "$$Month").tokenMenu().value_or(std::vector<ZPRTokenMenuItem>{}),
              ElementsAre(MenuItem("1", "M"), MenuItem("01", "MM"), MenuItem("Jan", "MMM"),
                          MenuItem("January", "MMMM")));
  EXPECT_THAT(ZPRToken("Year", "$$Year").tokenMenu().value_or(std::vector<ZPRTokenMenuItem>{}),
              ElementsAre(MenuItem("16", "yy"), MenuItem("2016", "yyyy")));
  EXPECT_THAT(
      ZPRToken("Counter", "$$Counter").tokenMenu().value_or(std::vector<ZPRTokenMenuItem>{}),
      ElementsAre(MenuItem("1", "1"), MenuItem("01", "2"), MenuItem("001", "3"),
                  MenuItem("0001", "4"), MenuItem("00001", "5"), MenuItem("000001", "6")));
}

TEST(ZPRTokenTest, OtherKindsHaveNoMenu) {
  for (const std::string* code :
       {&ZPRHourTokenKey, &ZPRMinuteTokenKey, &ZPRSecondTokenKey, &ZPRWeekTokenKey,
        &ZPRSourceNameTokenKey, &ZPRDashTokenKey, &ZPRCodecNameTokenKey}) {
    SCOPED_TRACE(*code);
    EXPECT_EQ(ZPRToken("x", *code).tokenMenu(), std::nullopt);
  }
  ZPRToken noCode;
  EXPECT_EQ(noCode.tokenMenu(), std::nullopt);
}

TEST(ZPRTokenTest, MenuFollowsTheCodeBeforeTheSeparator) {
  const auto menu = ZPRToken("x", "$$Month#MMM").tokenMenu();
  ASSERT_TRUE(menu.has_value());
  ASSERT_EQ(menu->size(), 4u);
  EXPECT_EQ((*menu)[2].title, "Jan");
  // Everything from the first separator on is passed over, so two separators still find the kind.
  EXPECT_TRUE(ZPRToken("x", "$$Year#a#b").tokenMenu().has_value());
}

TEST(ZPRTokenTest, PickingADayFormatterRewritesTheCode) {
  ZPRToken token("Day", "$$Day");
  const auto menu = token.tokenMenu();
  ASSERT_TRUE(menu.has_value());
  ASSERT_EQ(menu->size(), 4u);
  ASSERT_EQ((*menu)[3].title, "Monday");
  token.tokenMenuAction((*menu)[3]);
  EXPECT_EQ(token.formatter(), "EEEE");
  EXPECT_EQ(token.codeName(), "$$Day#EEEE");
  EXPECT_EQ(token.displayName(), "Day");
  EXPECT_THAT(token.tokenMenu().value_or(std::vector<ZPRTokenMenuItem>{}),
              ElementsAre(MenuItem("5", "d"), MenuItem("05", "dd"), MenuItem("Mon", "EEE"),
                          MenuItem("Monday", "EEEE")));
}

TEST(ZPRTokenTest, PickingACounterWidthRewritesTheCode) {
  ZPRToken token("Counter", "$$Counter");
  EXPECT_EQ(token.formatter(), "1");
  const auto menu = token.tokenMenu();
  ASSERT_TRUE(menu.has_value());
  ASSERT_EQ(menu->size(), 6u);
  ASSERT_EQ((*menu)[3].title, "0001");
  token.tokenMenuAction((*menu)[3]);
  EXPECT_EQ(token.formatter(), "4");
  EXPECT_EQ(token.codeName(), "$$Counter#4");
}

TEST(ZPRTokenTest, RewrittenCodeUsesTheDisplayName) {
  ZPRToken token("Date", "$$Day");
  EXPECT_EQ(token.displayName(), "Date");
  EXPECT_EQ(token.formatter(), "dd");
  token.updateCodeName();
  EXPECT_EQ(token.codeName(), "$$Date#dd");
}

TEST(ZPRTokenTest, RewrittenCodeWritesMissingPartsAsNull) {
  ZPRToken timecode("Timecode", "$$Timecode");
  timecode.updateCodeName();
  EXPECT_EQ(timecode.codeName(), "$$Timecode#(null)");

  ZPRToken day("Day", "$$Day");
  day.setDisplayName(std::nullopt);
  day.updateCodeName();
  EXPECT_EQ(day.codeName(), "$$(null)#dd");

  ZPRToken noCode;
  noCode.setFormatter("dd");
  noCode.updateCodeName();
  EXPECT_EQ(noCode.codeName(), none());
}

TEST(ZPRTokenTest, FactoryPassesCodeAndDisplayName) {
  const auto token = ZPRToken::tokenWithCode("$$Year#yy", "Ignored");
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(token->codeName(), "$$Year#yy");
  EXPECT_EQ(token->displayName(), "Year");
  EXPECT_EQ(token->formatter(), "yy");
}

TEST(ZPRTokenTest, DictionaryHoldsOnlyFieldsThatAreSet) {
  const ZPRToken token("Day", "$$Day");
  const Value dictionary = token.dictionary();
  EXPECT_EQ(dictionary, Value::dictionary({
                            {"codeName", Value::string("$$Day")},
                            {"displayName", Value::string("Day")},
                            {"formatter", Value::string("dd")},
                        }));
  EXPECT_EQ(dictionary.objectForKey("simpleString"), nullptr);

  ZPRToken full("Day", "$$Day");
  full.setSimpleString("05");
  ASSERT_NE(full.dictionary().objectForKey("simpleString"), nullptr);
  EXPECT_EQ(*full.dictionary().objectForKey("simpleString"), Value::string("05"));

  EXPECT_EQ(ZPRToken().dictionary(), Value::dictionary());
}

TEST(ZPRTokenTest, DictionaryFillsNoDefaultFormatter) {
  const auto token = ZPRToken::initWithDictionary(Value::dictionary({
      {"codeName", Value::string("$$Day")},
      {"displayName", Value::string("Day")},
  }));
  ASSERT_NE(token, nullptr);
  EXPECT_EQ(token->codeName(), "$$Day");
  EXPECT_EQ(token->displayName(), "Day");
  EXPECT_EQ(token->formatter(), none());
  EXPECT_EQ(token->simpleString(), none());
}

TEST(ZPRTokenTest, DictionaryRoundTrip) {
  ZPRToken token("Counter", "$$Counter#3");
  token.setSimpleString("007");
  const auto back = ZPRToken::initWithDictionary(token.dictionary());
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->codeName(), "$$Counter#3");
  EXPECT_EQ(back->displayName(), "Counter");
  EXPECT_EQ(back->formatter(), "3");
  EXPECT_EQ(back->simpleString(), "007");
}

TEST(ZPRTokenTest, LoadingADictionaryLeavesAbsentFields) {
  ZPRToken token("Day", "$$Day");
  token.setSimpleString("05");
  token.loadFromDict(Value::dictionary({
      {"formatter", Value::string("EEE")},
      {"displayName", Value::integer(3)},  // not a string: left as it was
  }));
  EXPECT_EQ(token.codeName(), "$$Day");
  EXPECT_EQ(token.displayName(), "Day");
  EXPECT_EQ(token.formatter(), "EEE");
  EXPECT_EQ(token.simpleString(), "05");

  token.loadFromDict(Value::string("not a dictionary"));
  EXPECT_EQ(token.formatter(), "EEE");
}

TEST(ZPRTokenTest, CopyIsIndependent) {
  ZPRToken token("Day", "$$Day#EEE");
  token.setSimpleString("Tue");
  const auto copy = token.copy();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->codeName(), "$$Day#EEE");
  EXPECT_EQ(copy->displayName(), "Day");
  EXPECT_EQ(copy->formatter(), "EEE");
  EXPECT_EQ(copy->simpleString(), "Tue");
  copy->setFormatter("d");
  copy->updateCodeName();
  EXPECT_EQ(token.formatter(), "EEE");
  EXPECT_EQ(token.codeName(), "$$Day#EEE");
}

TEST(ZPRTokenTest, CopyKeepsMissingFields) {
  const auto copy = ZPRToken().copy();
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(copy->codeName(), none());
  EXPECT_EQ(copy->displayName(), none());
  EXPECT_EQ(copy->formatter(), none());
  EXPECT_EQ(copy->simpleString(), none());
}

TEST(ZPRTokenTest, ArchiveWritesAllFourFieldsMissingOnesAsNull) {
  registerNamingClasses();
  const auto token = ZPRToken::tokenWithCode("$$Month", "Month");
  const std::vector<uint8_t> data = KeyedArchiver::archivedDataWithRootObject(Value::object(token));
  const testing_archive::ArchiveInspection archive(data);
  ASSERT_TRUE(archive.valid());
  EXPECT_EQ(archive.rootKeys(), (std::set<std::string>{"$class", "codeName", "displayName",
                                                       "formatter", "simpleString"}));
  EXPECT_EQ(archive.stringForKey("codeName"), "$$Month");
  EXPECT_EQ(archive.stringForKey("displayName"), "Month");
  EXPECT_EQ(archive.stringForKey("formatter"), "MM");
  EXPECT_EQ(archive.uidForKey("simpleString"), std::optional<uint64_t>(0));
}

TEST(ZPRTokenTest, ArchiveRoundTripKeepsFieldsAsStored) {
  // A display name that disagrees with the code, and a kind code without its default formatter:
  // decoding neither parses the code nor fills the default in.
  auto token = std::make_shared<ZPRToken>();
  token->setCodeName("$$Day#EEE");
  token->setDisplayName("Weekday");
  token->setSimpleString("Tue");
  const auto back = archiveRoundTrip(token);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->codeName(), "$$Day#EEE");
  EXPECT_EQ(back->displayName(), "Weekday");
  EXPECT_EQ(back->formatter(), none());
  EXPECT_EQ(back->simpleString(), "Tue");

  auto day = std::make_shared<ZPRToken>();
  day->setCodeName("$$Day");
  const auto dayBack = archiveRoundTrip(day);
  ASSERT_NE(dayBack, nullptr);
  EXPECT_EQ(dayBack->codeName(), "$$Day");
  EXPECT_EQ(dayBack->displayName(), none());
  EXPECT_EQ(dayBack->formatter(), none());
}

TEST(ZPRTokenTest, ArchiveRoundTripOfAFactoryToken) {
  const auto token = ZPRToken::tokenWithCode("$$Counter", "Counter");
  const auto menu = token->tokenMenu();
  ASSERT_TRUE(menu.has_value());
  token->tokenMenuAction((*menu)[2]);
  const auto back = archiveRoundTrip(token);
  ASSERT_NE(back, nullptr);
  EXPECT_EQ(back->codeName(), "$$Counter#3");
  EXPECT_EQ(back->displayName(), "Counter");
  EXPECT_EQ(back->formatter(), "3");
  EXPECT_EQ(back->simpleString(), none());
}

TEST(ZPRTokenTest, ConcurrentGetAndSetOfAPropertyDoNotRace) {
  // One thread sets each field to either of two long texts while another reads it: every read
  // sees one of them whole.
  ZPRToken token;
  const std::optional<std::string> first = std::string(200, 'a');
  const std::optional<std::string> second = std::string(300, 'b');
  using Getter = std::optional<std::string> (*)(const ZPRToken&);
  using Setter = void (*)(ZPRToken&, const std::optional<std::string>&);
  const std::vector<std::pair<Getter, Setter>> fields{
      {[](const ZPRToken& t) { return std::optional<std::string>(t.codeName()); },
       [](ZPRToken& t, const std::optional<std::string>& v) { t.setCodeName(v); }},
      {[](const ZPRToken& t) { return std::optional<std::string>(t.displayName()); },
       [](ZPRToken& t, const std::optional<std::string>& v) { t.setDisplayName(v); }},
      {[](const ZPRToken& t) { return std::optional<std::string>(t.formatter()); },
       [](ZPRToken& t, const std::optional<std::string>& v) { t.setFormatter(v); }},
      {[](const ZPRToken& t) { return std::optional<std::string>(t.simpleString()); },
       [](ZPRToken& t, const std::optional<std::string>& v) { t.setSimpleString(v); }},
  };
  for (const auto& [get, set] : fields) {
    set(token, first);
    std::atomic<bool> torn{false};
    std::thread writer([&, set = set] {
      for (int i = 0; i < 20000; ++i) set(token, i % 2 ? first : second);
    });
    std::thread reader([&, get = get] {
      for (int i = 0; i < 20000; ++i) {
        const std::optional<std::string> seen = get(token);
        if (seen != first && seen != second) torn = true;
      }
    });
    writer.join();
    reader.join();
    EXPECT_FALSE(torn);
  }
}

}  // namespace
}  // namespace premoov
