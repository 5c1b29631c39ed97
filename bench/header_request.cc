#include "header_request.h"

#include <utility>

#include "base/four_char_code.h"
#include "header/header_settings.h"
#include "support/recording_client.h"

namespace premoov::bench {
namespace {

constexpr int kAudioTracks = 8;

// 1080i: two fields, top field first and stored spatially ('fiel' detail 9).
Value interlacedHdSettings(FourCC codec, const CMTime& frameDuration) {
  Value s = testing::typicalSettings(codec, frameDuration, kAudioTracks, /*captions=*/true);
  s.setObject(settings_key::kNumberOfFields, Value::integer(2));
  s.setObject(settings_key::kFieldOrder, Value::integer(9));
  return s;
}

}  // namespace

HeaderCase proResCase() {
  const CMTime frameDuration = CMTimeMake(1001, 30000);
  Value s = interlacedHdSettings(FourCC("apch"), frameDuration);
  // No frame size given: the codec table sizes the frame.
  s.setObject(settings_key::kMaxVideoFrameSize, Value::integer(0));
  s.setObject(settings_key::kIsLongGOP, Value::boolean(false));
  return {"ProRes422HQ_1080i2997", std::move(s), frameDuration, 4'194'304};
}

HeaderCase longGopCase() {
  const CMTime frameDuration = CMTimeMake(1001, 30000);
  Value s = interlacedHdSettings(FourCC("xdvc"), frameDuration);
  s.setObject(settings_key::kMaxVideoFrameSize, Value::integer(1'000'000));
  s.setObject(settings_key::kIsLongGOP, Value::boolean(true));
  return {"LongGOP_1080i2997", std::move(s), frameDuration, 12'582'912};
}

void LastReplyClient::didCreateHeader(std::vector<uint8_t> bytes, bool, int32_t,
                                      int64_t replyFileSize) {
  ++replies;
  header = std::move(bytes);
  fileSize = replyFileSize;
}

void LastReplyClient::failedCreatingGrowingHeader(bool, std::string message) {
  ++replies;
  error = std::move(message);
}

void LastReplyClient::reset() {
  replies = 0;
  header.clear();
  fileSize = 0;
  error.reset();
}

void requestHeader(ZPRQuickTimeMovieCreator& creator, LastReplyClient& client,
                   const HeaderCase& headerCase, int64_t frames) {
  client.reset();
  creator.setXPCConnection(&client);
  const CMTime duration =
      CMTimeMake(frames * headerCase.frameDuration.value, headerCase.frameDuration.timescale);
  creator.writeQuickTimeHeaderAtPath("/tmp/premoov_bench.mov", /*newFile=*/true, kBlockSize,
                                     Value(), duration, headerCase.settings);
}

std::optional<std::string> checkReply(const LastReplyClient& client, const HeaderCase& headerCase) {
  if (client.replies != 1) return "expected one reply, got " + std::to_string(client.replies);
  if (client.error) return *client.error;
  if (client.header.size() != headerCase.headerRoom) {
    return "header of " + std::to_string(client.header.size()) + " bytes, room is " +
           std::to_string(headerCase.headerRoom);
  }
  return std::nullopt;
}

bool isTooLong(const std::string& error) {
  return error.rfind("Movie is too long, please record a shorter duration(", 0) == 0;
}

LongestFit findLongestFit(const HeaderCase& headerCase) {
  ZPRQuickTimeMovieCreator creator;
  LastReplyClient client;
  // Answers whether `frames` fit; an error stops the search.
  std::optional<std::string> error;
  auto fits = [&](int64_t frames) {
    error.reset();
    requestHeader(creator, client, headerCase, frames);
    if (client.replies == 1 && client.error && isTooLong(*client.error)) return false;
    error = checkReply(client, headerCase);
    return !error;
  };

  int64_t low = 0;  // fits (zero frames is the trivial answer)
  int64_t high = kOneHourFrames;
  while (fits(high)) {
    low = high;
    high *= 2;
    if (high > (int64_t{1} << 40)) return {0, "no duration too long found below 2^40 frames"};
  }
  if (error) return {0, error};
  // Invariant: `low` fits, `high` does not.
  while (high - low > 1) {
    const int64_t middle = low + (high - low) / 2;
    if (fits(middle)) {
      low = middle;
    } else if (error) {
      return {0, error};
    } else {
      high = middle;
    }
  }
  return {low, std::nullopt};
}

}  // namespace premoov::bench
