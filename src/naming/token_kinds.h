#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace premoov {

// One formatter choice offered by a token kind's menu: the title shown and the formatter it
// applies (a UTS #35 date pattern, or a counter's digit count).
struct TokenMenuEntry {
  std::string_view title;
  std::string_view representedObject;
};

// One kind of naming token: its code ("$$Day"), the word shown for it ("Day"), the formatter a
// new token of the kind starts with, and the formatter choices of its menu (empty: no menu).
struct TokenKind {
  std::string_view code;
  std::string_view word;
  std::optional<std::string_view> defaultFormatter;
  std::span<const TokenMenuEntry> menu;

  constexpr bool hasMenu() const { return !menu.empty(); }
};

// Every token kind, in the order the kinds are declared (Timecode first, CodecName last), for
// callers that list them (the CLI).
std::span<const TokenKind> tokenKinds();

// The kind whose code is exactly `code`, or nullptr: "$$Day#EEE" is no kind's code.
const TokenKind* findTokenKind(std::string_view code);

}  // namespace premoov
