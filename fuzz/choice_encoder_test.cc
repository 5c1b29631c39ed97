#include "choice_encoder.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include "fuzzed_choices.h"

namespace premoov::fuzzing {
namespace {

template <typename T>
T readBack(T value, T min, T max) {
  ChoiceEncoder encoder;
  encoder.integer(value, min, max);
  const std::vector<uint8_t> bytes = encoder.encoded();
  FuzzedDataProvider provider(bytes.data(), bytes.size());
  T read{};
  FuzzedChoices(provider).integer(read, min, max);
  EXPECT_EQ(provider.remaining_bytes(), 0u);
  return read;
}

TEST(ChoiceEncoder, IntegersReadBackAcrossTheirRanges) {
  EXPECT_EQ(readBack<int64_t>(INT64_MIN, INT64_MIN, INT64_MAX), INT64_MIN);
  EXPECT_EQ(readBack<int64_t>(INT64_MAX, INT64_MIN, INT64_MAX), INT64_MAX);
  EXPECT_EQ(readBack<int64_t>(-1, INT64_MIN, INT64_MAX), -1);
  EXPECT_EQ(readBack<int32_t>(INT32_MIN, INT32_MIN, INT32_MAX), INT32_MIN);
  EXPECT_EQ(readBack<uint64_t>(UINT64_MAX, 0, UINT64_MAX), UINT64_MAX);
  EXPECT_EQ(readBack<uint32_t>(0xdeadbeef, 0, UINT32_MAX), 0xdeadbeefu);
  EXPECT_EQ(readBack<int16_t>(-16, -16, 300), -16);
  EXPECT_EQ(readBack<int16_t>(300, -16, 300), 300);
  EXPECT_EQ(readBack<uint16_t>(1200, 0, 1200), 1200);
  EXPECT_EQ(readBack<uint8_t>(24, 1, 24), 24);
  EXPECT_EQ(readBack<uint8_t>(7, 7, 7), 7);  // a range of one value reads no byte
  EXPECT_EQ(readBack<size_t>(300, 0, 300), 300u);
}

TEST(ChoiceEncoder, IntegersGoAtTheEndMostSignificantByteReadFirst) {
  ChoiceEncoder encoder;
  uint16_t wide = 0x1234;
  encoder.integer<uint16_t>(wide, 0, 0xffff);
  uint16_t narrow = 0x56;
  encoder.integer<uint16_t>(narrow, 0, 0xff);  // the range needs one byte only
  uint8_t none = 3;
  encoder.integer<uint8_t>(none, 3, 3);
  EXPECT_EQ(encoder.encoded(), (std::vector<uint8_t>{0x56, 0x34, 0x12}));
}

TEST(ChoiceEncoder, ByteStringsGoAtTheFrontTheirLengthsAtTheEnd) {
  ChoiceEncoder encoder;
  std::string text = "ab";
  encoder.text(text, 300);  // two length bytes
  std::vector<uint8_t> bytes{1, 2, 3};
  encoder.bytes(bytes, 64);  // one length byte
  EXPECT_EQ(encoder.encoded(), (std::vector<uint8_t>{'a', 'b', 1, 2, 3, 3, 2, 0}));

  const std::vector<uint8_t> input = encoder.encoded();
  FuzzedDataProvider provider(input.data(), input.size());
  FuzzedChoices choices(provider);
  std::string readText;
  std::vector<uint8_t> readBytes;
  choices.text(readText, 300);
  choices.bytes(readBytes, 64);
  EXPECT_EQ(readText, "ab");
  EXPECT_EQ(readBytes, bytes);
  EXPECT_EQ(provider.remaining_bytes(), 0u);
}

TEST(ChoiceEncoder, RealsKeepEveryBit) {
  const std::array<double, 5> values{std::numeric_limits<double>::quiet_NaN(),
                                     -std::numeric_limits<double>::infinity(), -0.0,
                                     std::numeric_limits<double>::denorm_min(), 1e300};
  for (double value : values) {
    ChoiceEncoder encoder;
    double v = value;
    encoder.real(v);
    const std::vector<uint8_t> bytes = encoder.encoded();
    FuzzedDataProvider provider(bytes.data(), bytes.size());
    double read = 0;
    FuzzedChoices(provider).real(read);
    EXPECT_EQ(std::bit_cast<uint64_t>(read), std::bit_cast<uint64_t>(value));
  }
}

enum class Pick : uint8_t { kFirst, kNever, kSecond, kThird };
constexpr std::array<uint8_t, 4> kPickWeights{10, 0, 3, 1};

TEST(ChoiceEncoder, WeightedChoicesReadBackAndEveryByteLandsOnAShare) {
  for (Pick pick : {Pick::kFirst, Pick::kSecond, Pick::kThird}) {
    ChoiceEncoder encoder;
    encoder.weighted(pick, kPickWeights);
    const std::vector<uint8_t> bytes = encoder.encoded();
    ASSERT_EQ(bytes.size(), 1u);
    FuzzedDataProvider provider(bytes.data(), bytes.size());
    Pick read = Pick::kNever;
    FuzzedChoices(provider).weighted(read, kPickWeights);
    EXPECT_EQ(read, pick);
  }
  // The shares repeat over the byte's values: 10 of every 14 pick the first.
  int first = 0;
  for (int b = 0; b < 256; ++b) {
    const size_t index = weightedIndex(static_cast<uint8_t>(b), kPickWeights);
    EXPECT_NE(index, 1u);
    first += index == 0;
  }
  EXPECT_EQ(first, 18 * 10 + 4);
}

TEST(ChoiceEncoder, ChoicesOutsideTheirRangeAreRefused) {
  ChoiceEncoder encoder;
  int16_t small = 301;
  EXPECT_THROW(encoder.integer<int16_t>(small, -16, 300), std::out_of_range);
  Pick never = Pick::kNever;
  EXPECT_THROW(encoder.weighted(never, kPickWeights), std::out_of_range);
  std::string longText(5, 'x');
  EXPECT_THROW(encoder.text(longText, 4), std::out_of_range);
}

TEST(FuzzedChoices, BytesThatRunOutAnswerTheSmallestChoice) {
  FuzzedDataProvider provider(nullptr, 0);
  FuzzedChoices choices(provider);
  int32_t v = 5;
  choices.integer(v, -3, 9);
  EXPECT_EQ(v, -3);
  std::string text = "left over";
  choices.text(text, 300);
  EXPECT_EQ(text, "");
  Pick pick = Pick::kThird;
  choices.weighted(pick, kPickWeights);
  EXPECT_EQ(pick, Pick::kFirst);
}

}  // namespace
}  // namespace premoov::fuzzing
