#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "header/quicktime_movie_creator.h"
#include "media/cm_time.h"
#include "plist/value.h"

namespace premoov::bench {

// One kind of recording the benchmarks ask headers for.
struct HeaderCase {
  std::string name;
  Value settings;
  CMTime frameDuration;
  uint32_t headerRoom = 0;  // bytes, what every reply must measure
};

// 1080i29.97 ProRes 422 HQ: frame size from the codec table, 8 mono 24-bit 48 kHz big-endian
// PCM tracks, timecode and captions (4 MiB room).
HeaderCase proResCase();
// 1080i29.97 long-GOP video with a given 1,000,000-byte maximum frame, the same audio, timecode
// and captions (30 x 10 MiB / 25 = 12,582,912 bytes of room).
HeaderCase longGopCase();

inline constexpr uint32_t kBlockSize = 4096;
// One hour at 30000/1001 frames a second, in whole frames.
inline constexpr int64_t kOneHourFrames = 107'892;

// The client's end of the connection: keeps only the last reply.
class LastReplyClient : public ZPRServiceConnection, public ZPRQuickTimeServiceDelegate {
 public:
  ZPRQuickTimeServiceDelegate* remoteObjectProxy() override { return this; }
  void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                       int64_t fileSize) override;
  void failedCreatingGrowingHeader(bool growing, std::string error) override;
  // Forgets the last reply before the next request.
  void reset();

  int replies = 0;
  std::vector<uint8_t> header;
  int64_t fileSize = 0;
  std::optional<std::string> error;
};

// Asks `creator` for the header of `frames` whole frames of `headerCase` and leaves the reply in
// `client`.
void requestHeader(ZPRQuickTimeMovieCreator& creator, LastReplyClient& client,
                   const HeaderCase& headerCase, int64_t frames);

// Empty when `client` holds exactly one header of the case's room; otherwise why not.
std::optional<std::string> checkReply(const LastReplyClient& client, const HeaderCase& headerCase);

// True for the failure a request gets when its movie outgrows the header room.
bool isTooLong(const std::string& error);

// The most whole frames whose header still fits the room, found by doubling from one hour and
// then bisecting; an error for any failure other than "too long".
struct LongestFit {
  int64_t frames = 0;
  std::optional<std::string> error;
};
LongestFit findLongestFit(const HeaderCase& headerCase);

}  // namespace premoov::bench
