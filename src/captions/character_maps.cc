// The caption character sets: which character each code of a set stands for, as UTF-8.
//
// Every table is written as code points, row by row. A few rows differ from the character the
// caption standards assign to the code (a plain apostrophe for a curly quote, fullwidth signs for
// cent and pound, a plain space for the currency sign, the copyright sign for the caption logo):
// recorded captions have always been read this way, so the rows stay as they are.

#include <array>
#include <cstdint>
#include <span>

#include "captions/cc_utilities.h"

namespace premoov {
namespace {

struct CharacterRow {
  uint8_t code;
  char32_t character;
};

// One set: for each of the 256 codes, the UTF-8 bytes of its character, or nothing.
class CharacterTable {
 public:
  template <size_t N>
  constexpr explicit CharacterTable(const std::array<CharacterRow, N>& rows) {
    for (const auto& row : rows) set(row.code, row.character);
  }
  // Codes first..last stand for the characters of the same numbers, then `rows` replace some.
  template <size_t N>
  constexpr CharacterTable(uint8_t first, uint8_t last, const std::array<CharacterRow, N>& rows) {
    for (unsigned code = first; code <= last; ++code) set(static_cast<uint8_t>(code), code);
    for (const auto& row : rows) set(row.code, row.character);
  }
  // Every code stands for the one byte it is, then `rows` replace some.
  template <size_t N>
  static constexpr CharacterTable rawBytesReplacing(const std::array<CharacterRow, N>& rows) {
    CharacterTable table(rows);
    for (unsigned code = 0; code < 256; ++code) {
      if (table.lengths_[code] == 0) {
        table.utf8_[code][0] = static_cast<uint8_t>(code);
        table.lengths_[code] = 1;
      }
    }
    return table;
  }

  std::span<const uint8_t> operator[](uint8_t code) const {
    return std::span<const uint8_t>(utf8_[code].data(), lengths_[code]);
  }

 private:
  constexpr void set(uint8_t code, char32_t c) {
    auto& out = utf8_[code];
    if (c < 0x80) {
      out[0] = static_cast<uint8_t>(c);
      lengths_[code] = 1;
    } else if (c < 0x800) {
      out[0] = static_cast<uint8_t>(0xC0 | (c >> 6));
      out[1] = static_cast<uint8_t>(0x80 | (c & 0x3F));
      lengths_[code] = 2;
    } else {
      out[0] = static_cast<uint8_t>(0xE0 | (c >> 12));
      out[1] = static_cast<uint8_t>(0x80 | ((c >> 6) & 0x3F));
      out[2] = static_cast<uint8_t>(0x80 | (c & 0x3F));
      lengths_[code] = 3;
    }
  }

  std::array<std::array<uint8_t, 3>, 256> utf8_{};
  std::array<uint8_t, 256> lengths_{};
};

// The CEA-608 basic set: the codes that do not stand for their ASCII character.
constexpr auto k608BasicReplacements = std::to_array<CharacterRow>({
    {0x2A, U'\u00E1'},  // á
    {0x5C, U'\u00E9'},  // é
    {0x5E, U'\u00ED'},  // í
    {0x5F, U'\u00F3'},  // ó
    {0x60, U'\u00FA'},  // ú
    {0x7B, U'\u00E7'},  // ç
    {0x7C, U'\u00F7'},  // ÷
    {0x7D, U'\u00D1'},  // Ñ
    {0x7E, U'\u00F1'},  // ñ
    {0x7F, U'\u2588'},  // █
});

// Second byte of the CEA-608 special characters.
constexpr auto k608Special = std::to_array<CharacterRow>({
    {0x30, U'\u00AE'},  // ®
    {0x31, U'\u00B0'},  // °
    {0x32, U'\u00BD'},  // ½
    {0x33, U'\u00BF'},  // ¿
    {0x34, U'\u2122'},  // ™
    {0x35, U'\u00A2'},  // ¢
    {0x36, U'\u00A3'},  // £
    {0x37, U'\u266B'},  // ♫, the music note
    {0x38, U'\u00E0'},  // à
    {0x39, U'\u00A0'},  // no-break space, for the transparent space
    {0x3A, U'\u00E8'},  // è
    {0x3B, U'\u00E2'},  // â
    {0x3C, U'\u00EA'},  // ê
    {0x3D, U'\u00EE'},  // î
    {0x3E, U'\u00F4'},  // ô
    {0x3F, U'\u00FB'},  // û
});

// Second byte of the first CEA-608 extended set (Spanish, French, miscellaneous).
constexpr auto k608ExtSpanishFrench = std::to_array<CharacterRow>({
    {0x20, U'\u00C1'},  // Á
    {0x21, U'\u00C9'},  // É
    {0x22, U'\u00D3'},  // Ó
    {0x23, U'\u00DA'},  // Ú
    {0x24, U'\u00DC'},  // Ü
    {0x25, U'\u00FC'},  // ü
    {0x26, U'\u00B4'},  // ´, for the opening single quote
    {0x27, U'\u00A1'},  // ¡
    {0x28, U'\u002A'},  // *
    {0x29, U'\u0027'},  // ', a plain apostrophe
    {0x2A, U'\u002D'},  // -, a plain hyphen for the dash
    {0x2B, U'\u00A9'},  // ©
    {0x2C, U'\u2120'},  // ℠
    {0x2D, U'\u2022'},  // •
    {0x2E, U'\u0022'},  // ", a plain double quote (opening)
    {0x2F, U'\u0022'},  // ", a plain double quote (closing)
    {0x30, U'\u00C0'},  // À
    {0x31, U'\u00C2'},  // Â
    {0x32, U'\u00C7'},  // Ç
    {0x33, U'\u00C8'},  // È
    {0x34, U'\u00CA'},  // Ê
    {0x35, U'\u00CB'},  // Ë
    {0x36, U'\u00EB'},  // ë
    {0x37, U'\u00CE'},  // Î
    {0x38, U'\u00CF'},  // Ï
    {0x39, U'\u00EF'},  // ï
    {0x3A, U'\u00D4'},  // Ô
    {0x3B, U'\u00D9'},  // Ù
    {0x3C, U'\u00F9'},  // ù
    {0x3D, U'\u00DB'},  // Û
    {0x3E, U'\u00AB'},  // «
    {0x3F, U'\u00BB'},  // »
});

// Second byte of the second CEA-608 extended set (Portuguese, German, Danish). The four box
// corners, 0x3C to 0x3F, stand for nothing.
constexpr auto k608ExtPortugueseGermanDanish = std::to_array<CharacterRow>({
    {0x20, U'\u00C3'},  // Ã
    {0x21, U'\u00E3'},  // ã
    {0x22, U'\u00CD'},  // Í
    {0x23, U'\u00CC'},  // Ì
    {0x24, U'\u00EC'},  // ì
    {0x25, U'\u00D2'},  // Ò
    {0x26, U'\u00F2'},  // ò
    {0x27, U'\u00D5'},  // Õ
    {0x28, U'\u00F5'},  // õ
    {0x29, U'\u007B'},  // {
    {0x2A, U'\u007D'},  // }
    {0x2B, U'\u005C'},  // backslash
    {0x2C, U'\u005E'},  // ^
    {0x2D, U'\u005F'},  // _
    {0x2E, U'\u007C'},  // |
    {0x2F, U'\u007E'},  // ~
    {0x30, U'\u00C4'},  // Ä
    {0x31, U'\u00E4'},  // ä
    {0x32, U'\u00D6'},  // Ö
    {0x33, U'\u00F6'},  // ö
    {0x34, U'\u00DF'},  // ß
    {0x35, U'\u00A5'},  // ¥
    {0x36, U'\u0020'},  // a plain space where the currency sign belongs
    {0x37, U'\u00A6'},  // ¦
    {0x38, U'\u00C5'},  // Å
    {0x39, U'\u00E5'},  // å
    {0x3A, U'\u00D8'},  // Ø
    {0x3B, U'\u00F8'},  // ø
});

// CEA-708 G0: ASCII, with the music note in place of DEL.
constexpr auto k708G0Replacements = std::to_array<CharacterRow>({
    {0x7F, U'\u266B'},  // ♫
});

// CEA-708 G1: Latin-1, with fullwidth signs and a plain hyphen in six places.
constexpr auto k708G1Replacements = std::to_array<CharacterRow>({
    {0xA2, U'\uFFE0'},  // ￠
    {0xA3, U'\uFFE1'},  // ￡
    {0xA5, U'\uFFE5'},  // ￥
    {0xAC, U'\uFFE2'},  // ￢
    {0xAD, U'\u002D'},  // -, a plain hyphen for the soft hyphen
    {0xAF, U'\uFFE3'},  // ￣
});

// CEA-708 G2: the codes in use; the ellipsis (0x25) and the unassigned codes stand for nothing.
constexpr auto k708G2 = std::to_array<CharacterRow>({
    {0x20, U'\u0020'},  // transparent space
    {0x21, U'\u00A0'},  // non-breaking transparent space
    {0x2A, U'\u0160'},  // Š
    {0x2C, U'\u0152'},  // Œ
    {0x30, U'\u2588'},  // █
    {0x31, U'\u0027'},  // ', a plain apostrophe for the opening single quote
    {0x32, U'\u0027'},  // ', a plain apostrophe for the closing single quote
    {0x33, U'\u201C'},  // “
    {0x34, U'\u201D'},  // ”
    {0x35, U'\u2022'},  // •
    {0x39, U'\u2122'},  // ™
    {0x3A, U'\u0161'},  // š
    {0x3C, U'\u0153'},  // œ
    {0x3D, U'\u2120'},  // ℠
    {0x3F, U'\u0178'},  // Ÿ
    {0x76, U'\u215B'},  // ⅛
    {0x77, U'\u215C'},  // ⅜
    {0x78, U'\u215D'},  // ⅝
    {0x79, U'\u215E'},  // ⅞
    {0x7A, U'\u2502'},  // │
    {0x7B, U'\u2510'},  // ┐
    {0x7C, U'\u2514'},  // └
    {0x7D, U'\u2500'},  // ─
    {0x7E, U'\u2518'},  // ┘
    {0x7F, U'\u250C'},  // ┌
});

// CEA-708 G3: the caption logo, shown as the copyright sign.
constexpr auto k708G3 = std::to_array<CharacterRow>({
    {0xA0, U'\u00A9'},  // ©
});

// The basic set hands every code it does not replace back as the one byte it is.
constexpr auto k608Basic = CharacterTable::rawBytesReplacing(k608BasicReplacements);
constexpr CharacterTable k608SpecialTable(k608Special);
constexpr CharacterTable k608ExtSpanishFrenchTable(k608ExtSpanishFrench);
constexpr CharacterTable k608ExtPortugueseGermanDanishTable(k608ExtPortugueseGermanDanish);
constexpr CharacterTable k708G0Table(0x20, 0x7E, k708G0Replacements);
constexpr CharacterTable k708G1Table(0xA0, 0xFF, k708G1Replacements);
constexpr CharacterTable k708G2Table(k708G2);
constexpr CharacterTable k708G3Table(k708G3);

}  // namespace

std::span<const uint8_t> ZPRCCUtilities::dataWith608ASCIICharacter(uint8_t code) {
  return k608Basic[code];
}
std::span<const uint8_t> ZPRCCUtilities::dataWith608SpecialCharacter(uint8_t code) {
  return k608SpecialTable[code];
}
std::span<const uint8_t> ZPRCCUtilities::dataWith608ExtSpanishFrenchCharacter(uint8_t code) {
  return k608ExtSpanishFrenchTable[code];
}
std::span<const uint8_t> ZPRCCUtilities::dataWith608ExtPortugueseGermanDanishCharacter(
    uint8_t code) {
  return k608ExtPortugueseGermanDanishTable[code];
}
std::span<const uint8_t> ZPRCCUtilities::dataWith708G0Character(uint8_t code) {
  return k708G0Table[code];
}
std::span<const uint8_t> ZPRCCUtilities::dataWith708G1Character(uint8_t code) {
  return k708G1Table[code];
}
std::span<const uint8_t> ZPRCCUtilities::dataWith708G2Character(uint8_t code) {
  return k708G2Table[code];
}
std::span<const uint8_t> ZPRCCUtilities::dataWith708G3Character(uint8_t code) {
  return k708G3Table[code];
}

}  // namespace premoov
