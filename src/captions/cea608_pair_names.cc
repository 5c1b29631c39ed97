#include "captions/cea608_pair_names.h"

#include <array>
#include <span>

#include "base/log.h"
#include "captions/cc_utilities.h"
#include "captions/cdp_reader.h"

namespace premoov {

namespace {

// Miscellaneous control codes, second bytes 0x20 to 0x2F (CEA-608 table 52).
constexpr std::array<const char*, 16> kControlCodes = {"RCL", "BS",  "AOF", "AON", "DER", "RU2",
                                                       "RU3", "RU4", "FON", "RDC", "TR",  "RTD",
                                                       "EDM", "CR",  "ENM", "EOC"};
// Preamble address codes: the row of the first byte's low three bits, for second bytes 0x40 to
// 0x5F and 0x60 to 0x7F; 0 where the code is unassigned.
constexpr std::array<std::array<uint8_t, 2>, 8> kPacRows = {
    {{11, 0}, {1, 2}, {3, 4}, {12, 13}, {14, 15}, {5, 6}, {7, 8}, {9, 10}}};
constexpr std::array<const char*, 8> kColours = {"white", "green",  "blue",    "cyan",
                                                 "red",   "yellow", "magenta", "italics"};
constexpr std::array<const char*, 8> kBackgrounds = {"white", "green",  "blue",    "cyan",
                                                     "red",   "yellow", "magenta", "black"};

std::string text(std::span<const uint8_t> utf8) { return std::string(utf8.begin(), utf8.end()); }

std::string withUnderline(std::string name, uint8_t second) {
  if (second & 0x01) name += " underline";
  return name;
}

// A control code pair (first byte 0x10 to 0x1F, parity stripped).
std::string controlName(uint8_t first, uint8_t second) {
  const uint8_t low = first & 0x07;  // the channel bit 0x08 stripped
  if (second >= 0x40) {
    const uint8_t row = kPacRows[low][(second & 0x20) ? 1 : 0];
    if (row == 0) return "unknown";
    std::string name = "PAC row " + std::to_string(row) + " ";
    const uint8_t attribute = second & 0x1F;
    if (attribute & 0x10) {
      name += "col " + std::to_string(((attribute & 0x0E) >> 1) * 4);
    } else {
      name += kColours[(attribute & 0x0E) >> 1];
    }
    return withUnderline(name, second);
  }
  if (second < 0x20) return "unknown";
  // 0x14 and 0x15 are the miscellaneous codes of fields 1 and 2 (0x1C and 0x1D on channel 2).
  if ((low == 4 || low == 5) && second <= 0x2F) return kControlCodes[second - 0x20];
  if (low == 1 && second <= 0x2F)
    return withUnderline(std::string("mid-row ") + kColours[(second & 0x0E) >> 1], second);
  if (low == 1) return "special " + text(ZPRCCUtilities::dataWith608SpecialCharacter(second));
  if (low == 2) return "ext " + text(ZPRCCUtilities::dataWith608ExtSpanishFrenchCharacter(second));
  if (low == 3) {
    return "ext " + text(ZPRCCUtilities::dataWith608ExtPortugueseGermanDanishCharacter(second));
  }
  if (low == 7 && second >= 0x21 && second <= 0x23) return "TO" + std::to_string(second - 0x20);
  if (low == 7 && second == 0x2D) return "background transparent";
  if (low == 7 && second == 0x2E) return "foreground black";
  if (low == 7 && second == 0x2F) return "foreground black underline";
  if (low == 0 && second <= 0x2F) {
    std::string name = std::string("background ") + kBackgrounds[(second & 0x0E) >> 1];
    return (second & 0x01) ? name + " semi-transparent" : name;
  }
  return "unknown";
}

}  // namespace

Cea608PairName nameCea608Pair(uint8_t first, uint8_t second) {
  Cea608PairName name;
  name.parityOk = hasOddParity(first) && hasOddParity(second);
  const uint8_t a = first & 0x7F;
  const uint8_t b = second & 0x7F;
  if (a == 0 && b == 0) {
    name.text = "null";
  } else if (a >= 0x10 && a <= 0x1F) {
    name.channel = (a & 0x08) ? 2 : 1;
    name.text = controlName(a, b);
    if (name.text == "unknown") name.channel = 0;
  } else if (a >= 0x20) {
    // Two basic characters; a 0x00 second byte only fills the pair.
    std::string quoted(1, '"');
    quoted += text(ZPRCCUtilities::dataWith608ASCIICharacter(a));
    if (b >= 0x20) quoted += text(ZPRCCUtilities::dataWith608ASCIICharacter(b));
    quoted += '"';
    name.text = std::move(quoted);
  } else if (a >= 0x01 && a <= 0x0F) {
    name.text = stringWithFormat("XDS 0x%02X 0x%02X", a, b);
  } else {
    name.text = "unknown";
  }
  return name;
}

}  // namespace premoov
