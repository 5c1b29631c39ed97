#include "naming/token_kinds.h"

#include <array>
#include <string>

#include "naming/token.h"

namespace premoov {
namespace {

// Counter formatters are digit counts: "3" writes the counter as at least three digits.
constexpr std::array<TokenMenuEntry, 6> kCounterMenu{{
    {"1", "1"},
    {"01", "2"},
    {"001", "3"},
    {"0001", "4"},
    {"00001", "5"},
    {"000001", "6"},
}};

// Date formatters are UTS #35 date field patterns.
constexpr std::array<TokenMenuEntry, 4> kDayMenu{{
    {"5", "d"},
    {"05", "dd"},
    {"Mon", "EEE"},
    {"Monday", "EEEE"},
}};

constexpr std::array<TokenMenuEntry, 4> kMonthMenu{{
    {"1", "M"},
    {"01", "MM"},
    {"Jan", "MMM"},
    {"January", "MMMM"},
}};

constexpr std::array<TokenMenuEntry, 2> kYearMenu{{
    {"16", "yy"},
    {"2016", "yyyy"},
}};

// The codes are stored in naming patterns and travel between client and service, so they never
// change; the order is the order of the exported ZPR...TokenKey constants.
constexpr std::array<TokenKind, 16> kTokenKinds{{
    {"$$Timecode", "Timecode", std::nullopt, {}},
    {"$$Day", "Day", "dd", kDayMenu},
    {"$$Month", "Month", "MM", kMonthMenu},
    {"$$Year", "Year", "yyyy", kYearMenu},
    {"$$Hour", "Hour", "HH", {}},
    {"$$Minute", "Minute", "mm", {}},
    {"$$Second", "Second", "ss", {}},
    {"$$SourceName", "SourceName", std::nullopt, {}},
    {"$$DestinationName", "DestinationName", std::nullopt, {}},
    {"$$RecordingName", "RecordingName", std::nullopt, {}},
    {"$$Week", "Week", "ww", {}},
    {"$$WhiteSpace", "WhiteSpace", std::nullopt, {}},
    {"$$Dash", "Dash", std::nullopt, {}},
    {"$$Counter", "Counter", "1", kCounterMenu},
    {"$$AVPresetName", "AVPresetName", std::nullopt, {}},
    {"$$CodecName", "CodecName", std::nullopt, {}},
}};

constexpr bool wordsMatchCodes() {
  for (const TokenKind& kind : kTokenKinds) {
    if (!kind.code.starts_with("$$") || kind.code.substr(2) != kind.word) return false;
  }
  return true;
}
static_assert(wordsMatchCodes(), "a token kind's code is \"$$\" followed by its word");

std::string codeAt(size_t index) { return std::string(kTokenKinds[index].code); }

}  // namespace

const std::string ZPRTimecodeTokenKey = codeAt(0);
const std::string ZPRDayOfMonthTokenKey = codeAt(1);
const std::string ZPRMonthTokenKey = codeAt(2);
const std::string ZPRYearTokenKey = codeAt(3);
const std::string ZPRHourTokenKey = codeAt(4);
const std::string ZPRMinuteTokenKey = codeAt(5);
const std::string ZPRSecondTokenKey = codeAt(6);
const std::string ZPRSourceNameTokenKey = codeAt(7);
const std::string ZPRDestinationNameTokenKey = codeAt(8);
const std::string ZPRRecordingNameTokenKey = codeAt(9);
const std::string ZPRWeekTokenKey = codeAt(10);
const std::string ZPRWhiteSpaceTokenKey = codeAt(11);
const std::string ZPRDashTokenKey = codeAt(12);
const std::string ZPRCounterTokenKey = codeAt(13);
const std::string ZPRAVPresetNameTokenKey = codeAt(14);
const std::string ZPRCodecNameTokenKey = codeAt(15);

std::span<const TokenKind> tokenKinds() { return kTokenKinds; }

const TokenKind* findTokenKind(std::string_view code) {
  for (const TokenKind& kind : kTokenKinds) {
    if (kind.code == code) return &kind;
  }
  return nullptr;
}

}  // namespace premoov
