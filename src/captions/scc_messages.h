#pragma once

#include <string>
#include <string_view>

namespace premoov {

// Every text the SCC reader and the timecode labels say about bad input, in one place. The
// reader puts "line N, column C: " in front of each.

inline constexpr std::string_view kSccHeader = "Scenarist_SCC V1.0";
// Then kSccHeader in quotes.
inline constexpr std::string_view kSccMissingHeader = "the file does not start with ";
// 'TEXT' in front.
inline constexpr std::string_view kSccNotCaptionWord =
    " is not a caption word (four hexadecimal digits)";
inline constexpr std::string_view kNotTimecode = " is not a timecode (HH:MM:SS:FF or HH:MM:SS;FF)";
// "hours 24" in front, then the range.
inline constexpr std::string_view kTimecodeOutOfRange = " out of range: ";
inline constexpr std::string_view kNoDropFrameAtRate =
    "drop-frame timecode at a frame rate that has none";
// The label in front.
inline constexpr std::string_view kSkippedByDropFrame = " is skipped by drop-frame counting";

// Input quoted in a message: at most 16 characters, anything unprintable as '?', so that a
// message stays short and readable whatever the file held.
inline std::string quotedInput(std::string_view text) {
  constexpr size_t kShown = 16;
  std::string out = "'";
  for (size_t i = 0; i < text.size() && i < kShown; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    out += (c >= 0x20 && c < 0x7F) ? static_cast<char>(c) : '?';
  }
  if (text.size() > kShown) out += "...";
  return out + "'";
}

}  // namespace premoov
