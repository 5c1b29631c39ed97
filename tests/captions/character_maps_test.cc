#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "captions/cc_utilities.h"

namespace premoov {
namespace {

using Lookup = std::span<const uint8_t> (*)(uint8_t);

std::string textOf(std::span<const uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

// The characters of a UTF-8 text, one string each.
std::vector<std::string> charactersOf(const std::string& text) {
  std::vector<std::string> out;
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<uint8_t>(text[i]);
    const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    out.push_back(text.substr(i, length));
    i += length;
  }
  return out;
}

// `characters` for the codes from `first` on, one character each.
std::map<uint8_t, std::string> run(uint8_t first, const std::string& characters) {
  std::map<uint8_t, std::string> out;
  unsigned code = first;
  for (const auto& c : charactersOf(characters)) out[static_cast<uint8_t>(code++)] = c;
  return out;
}

// Every one of the 256 codes gives what `expected` says, and the codes it leaves out give
// `other(code)`.
template <typename Other>
void expectWholeSet(Lookup lookup, const std::map<uint8_t, std::string>& expected, Other other) {
  for (unsigned code = 0; code < 256; ++code) {
    const auto byte = static_cast<uint8_t>(code);
    const auto found = expected.find(byte);
    const std::string want = found != expected.end() ? found->second : other(byte);
    EXPECT_EQ(textOf(lookup(byte)), want) << "code 0x" << std::hex << code;
  }
}

std::string nothing(uint8_t) { return {}; }

TEST(CharacterMapsTest, Basic608SetReplacesTenCodesAndHandsBackEveryOtherByte) {
  const std::map<uint8_t, std::string> replaced{
      {0x2A, "á"}, {0x5C, "é"}, {0x5E, "í"}, {0x5F, "ó"}, {0x60, "ú"},
      {0x7B, "ç"}, {0x7C, "÷"}, {0x7D, "Ñ"}, {0x7E, "ñ"}, {0x7F, "█"},
  };
  expectWholeSet(&ZPRCCUtilities::dataWith608ASCIICharacter, replaced,
                 [](uint8_t code) { return std::string(1, static_cast<char>(code)); });
}

TEST(CharacterMapsTest, Basic608EdgeCases) {
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith608ASCIICharacter(0x41)), "\x41");
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith608ASCIICharacter(0x2A)), "\xC3\xA1");
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith608ASCIICharacter(0xC1)), "\xC1")
      << "a code with its parity bit still set comes back as it is";
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith608ASCIICharacter(0x5D)), "]");
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith608ASCIICharacter(0x00)), std::string(1, '\0'));
}

TEST(CharacterMapsTest, Special608Characters) {
  expectWholeSet(&ZPRCCUtilities::dataWith608SpecialCharacter, run(0x30, "®°½¿™¢£♫à\u00A0èâêîôû"),
                 nothing);
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith608SpecialCharacter(0x37)), "\xE2\x99\xAB");
  EXPECT_TRUE(ZPRCCUtilities::dataWith608SpecialCharacter(0x2F).empty());
}

TEST(CharacterMapsTest, ExtendedSpanishFrench608Characters) {
  expectWholeSet(&ZPRCCUtilities::dataWith608ExtSpanishFrenchCharacter,
                 run(0x20, "ÁÉÓÚÜü´¡*'-©℠•\"\"ÀÂÇÈÊËëÎÏïÔÙùÛ«»"), nothing);
}

TEST(CharacterMapsTest, ExtendedPortugueseGermanDanish608CharactersWithoutTheBoxCorners) {
  expectWholeSet(&ZPRCCUtilities::dataWith608ExtPortugueseGermanDanishCharacter,
                 run(0x20, "ÃãÍÌìÒòÕõ{}\\^_|~ÄäÖöß¥ ¦ÅåØø"), nothing);
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith608ExtPortugueseGermanDanishCharacter(0x36)), " ")
      << "a plain space where the currency sign belongs";
  EXPECT_TRUE(ZPRCCUtilities::dataWith608ExtPortugueseGermanDanishCharacter(0x3F).empty());
}

TEST(CharacterMapsTest, G0IsAsciiWithTheMusicNote) {
  expectWholeSet(&ZPRCCUtilities::dataWith708G0Character,
                 run(0x20,
                     " !\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`"
                     "abcdefghijklmnopqrstuvwxyz{|}~♫"),
                 nothing);
}

TEST(CharacterMapsTest, G1IsLatin1WithSixReplacements) {
  expectWholeSet(&ZPRCCUtilities::dataWith708G1Character,
                 run(0xA0,
                     "\u00A0¡￠￡¤￥¦§¨©ª«￢-®￣°±²³´µ¶·¸¹º»¼½¾¿"
                     "ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞß"
                     "àáâãäåæçèéêëìíîïðñòóôõö÷øùúûüýþÿ"),
                 nothing);
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith708G1Character(0xA2)), "\xEF\xBF\xA0");
  EXPECT_TRUE(ZPRCCUtilities::dataWith708G1Character(0x9F).empty());
}

TEST(CharacterMapsTest, G2HasNoEllipsisAndPlainApostrophes) {
  std::map<uint8_t, std::string> expected{
      {0x20, " "}, {0x21, "\u00A0"}, {0x2A, "Š"}, {0x2C, "Œ"}, {0x30, "█"},
      {0x31, "'"}, {0x32, "'"},      {0x33, "“"}, {0x34, "”"}, {0x35, "•"},
      {0x39, "™"}, {0x3A, "š"},      {0x3C, "œ"}, {0x3D, "℠"}, {0x3F, "Ÿ"},
  };
  expected.merge(run(0x76, "⅛⅜⅝⅞│┐└─┘┌"));
  expectWholeSet(&ZPRCCUtilities::dataWith708G2Character, expected, nothing);
  EXPECT_TRUE(ZPRCCUtilities::dataWith708G2Character(0x25).empty());
  EXPECT_EQ(textOf(ZPRCCUtilities::dataWith708G2Character(0x31)), "\x27");
}

TEST(CharacterMapsTest, G3HasOnlyTheCaptionLogoAsTheCopyrightSign) {
  expectWholeSet(&ZPRCCUtilities::dataWith708G3Character, {{0xA0, "\xC2\xA9"}}, nothing);
}

TEST(CharacterMapsTest, TheBytesOutliveTheCall) {
  const auto first = ZPRCCUtilities::dataWith608SpecialCharacter(0x34);
  const auto again = ZPRCCUtilities::dataWith608SpecialCharacter(0x34);
  EXPECT_EQ(first.data(), again.data());
  EXPECT_EQ(textOf(first), "™");
}

}  // namespace
}  // namespace premoov
