#include "captions/scc_file.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "base/log.h"
#include "captions/scc_messages.h"

namespace premoov {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool isSpace(char c) { return c == ' ' || c == '\t'; }

std::optional<uint8_t> hexDigit(char c) {
  if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
  return std::nullopt;
}

// "hhhh": a byte pair.
std::optional<CEA608Pair> captionWord(std::string_view word) {
  if (word.size() != 4) return std::nullopt;
  uint8_t nibbles[4];
  for (size_t i = 0; i < 4; ++i) {
    const auto digit = hexDigit(word[i]);
    if (!digit) return std::nullopt;
    nibbles[i] = *digit;
  }
  return CEA608Pair{static_cast<uint8_t>(nibbles[0] << 4 | nibbles[1]),
                    static_cast<uint8_t>(nibbles[2] << 4 | nibbles[3])};
}

// Splits a text into lines at LF, CRLF or a lone CR, numbering them from 1.
class LineReader {
 public:
  explicit LineReader(std::string_view text) : rest_(text) {}

  std::optional<std::string_view> next() {
    if (done_) return std::nullopt;
    ++number_;
    const size_t end = rest_.find_first_of("\r\n");
    if (end == std::string_view::npos) {
      done_ = true;
      return rest_;
    }
    const std::string_view line = rest_.substr(0, end);
    const size_t breakLength = rest_.compare(end, 2, "\r\n") == 0 ? 2 : 1;
    rest_.remove_prefix(end + breakLength);
    return line;
  }
  size_t number() const { return number_; }

 private:
  std::string_view rest_;
  size_t number_ = 0;
  bool done_ = false;
};

Unexpected problemAt(size_t line, size_t column, const std::string& why) {
  return unexpected(stringWithFormat("line %zu, column %zu: ", line, column + 1) + why);
}

}  // namespace

Result<SccCaptions> readSccFile(std::string_view text, const CMTime& frameDuration) {
  const std::optional<TimecodeCounting> counting = timecodeCountingForFrameDuration(frameDuration);
  if (!counting) {
    return unexpected(stringWithFormat("frame duration %lld/%d", (long long)frameDuration.value,
                                       frameDuration.timescale) +
                      " is not a caption frame rate");
  }
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  LineReader lines(text);

  std::string_view header = lines.next().value_or("");
  while (!header.empty() && isSpace(header.back())) header.remove_suffix(1);
  if (header != kSccHeader) {
    return problemAt(1, 0, std::string(kSccMissingHeader) + "'" + std::string(kSccHeader) + "'");
  }

  SccCaptions captions;
  // The frame after the last word so far: where a line that starts earlier has its words go.
  int64_t nextFree = std::numeric_limits<int64_t>::min();
  while (const std::optional<std::string_view> line = lines.next()) {
    const size_t lineNumber = lines.number();
    size_t at = 0;
    const auto skipSpaces = [&] {
      while (at < line->size() && isSpace((*line)[at])) ++at;
    };
    const auto token = [&] {
      const size_t start = at;
      while (at < line->size() && !isSpace((*line)[at])) ++at;
      return line->substr(start, at - start);
    };
    skipSpaces();
    if (at == line->size()) continue;  // blank

    const size_t timecodeColumn = at;
    const auto parsed = parseTimecodeLabel(token(), *counting);
    if (const auto* problem = std::get_if<TimecodeProblem>(&parsed)) {
      return problemAt(lineNumber, timecodeColumn + problem->column, problem->message);
    }
    ++captions.captionLines;
    const int64_t lineFrame = frameIndexOfLabel(std::get<TimecodeLabel>(parsed), *counting);

    bool first = true;
    for (skipSpaces(); at < line->size(); skipSpaces()) {
      const size_t wordColumn = at;
      const std::string_view word = token();
      const std::optional<CEA608Pair> pair = captionWord(word);
      if (!pair) {
        return problemAt(lineNumber, wordColumn,
                         quotedInput(word) + std::string(kSccNotCaptionWord));
      }
      int64_t frame = nextFree;
      if (first) {
        if (lineFrame < nextFree) {
          ++captions.delayedLines;
        } else {
          frame = lineFrame;
        }
        first = false;
      }
      captions.pairs.push_back({frame, *pair});
      nextFree = frame + 1;
    }
  }
  return captions;
}

}  // namespace premoov
