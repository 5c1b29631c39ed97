// Runs a whole header request, made from the fuzzer's bytes, through the movie creator and holds
// the reply to its promises: exactly one reply (none once cancelled); a header of exactly the
// header room that starts with the movie atom and ends in the media data atom's header, whose
// size is the file size less the room.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include "base/log.h"
#include "fuzzed_choices.h"
#include "header/header_room.h"
#include "header/header_settings.h"
#include "header/quicktime_movie_creator.h"
#include "header_request_choice.h"
#include "header_request_values.h"
#include "support/recording_client.h"

namespace {

using premoov::fuzzing::HeaderRequest;
using premoov::testing::RecordingClient;

// A broken promise of the header writer: stop here so that libFuzzer keeps the input.
void check(bool condition) {
  if (!condition) std::abort();
}

uint32_t u32At(std::span<const uint8_t> bytes, uint64_t at) {
  check(at + 4 <= bytes.size());
  return (uint32_t{bytes[at]} << 24) | (uint32_t{bytes[at + 1]} << 16) |
         (uint32_t{bytes[at + 2]} << 8) | uint32_t{bytes[at + 3]};
}

uint64_t u64At(std::span<const uint8_t> bytes, uint64_t at) {
  return (uint64_t{u32At(bytes, at)} << 32) | u32At(bytes, at + 4);
}

// Compared a block at a time with memcmp: a loop over the bytes would be instrumented, and the
// room is megabytes long.
bool allZero(std::span<const uint8_t> bytes) {
  static const std::array<uint8_t, 65536> kZeros{};
  while (!bytes.empty()) {
    const size_t n = std::min(bytes.size(), kZeros.size());
    if (std::memcmp(bytes.data(), kZeros.data(), n) != 0) return false;
    bytes = bytes.subspan(n);
  }
  return true;
}

void checkHeader(const HeaderRequest& request, const RecordingClient::Header& reply) {
  const premoov::HeaderSettings s = premoov::readHeaderSettings(request.settings);
  const uint32_t room =
      premoov::headerRoom(s.isLongGOP, premoov::framesPerSecond(s.videoFrameDuration));
  const std::span<const uint8_t> header(reply.bytes);
  check(header.size() == room);
  check(reply.growing == request.newFile);

  int32_t frameSize = static_cast<int32_t>(s.maxVideoFrameSize);
  if (frameSize == 0) {
    frameSize =
        premoov::ZPRQuickTimeMovieCreator::frameSizeForVideoCodec(s.videoCodec, s.videoDimensions);
  }
  check(frameSize != 0 && reply.frameSize == frameSize);

  // The media data atom's header: the 32-bit size and an 8-byte 'wide' atom, or size 1 and the
  // 64-bit size. Its size counts its own 16 bytes and is what the file holds past the room.
  const uint64_t mdatStart = premoov::mediaDataAtomStart(room, s.globalTimecode);
  check(mdatStart + premoov::kMdatHeaderSize <= header.size());
  check(u32At(header, mdatStart + 4) == premoov::FourCC("mdat").value);
  uint64_t mdatSize = u32At(header, mdatStart);
  if (mdatSize == 1) {
    mdatSize = u64At(header, mdatStart + 8);
    check(mdatSize >> 32 != 0);
  } else {
    check(u32At(header, mdatStart + 8) == 8 &&
          u32At(header, mdatStart + 12) == premoov::FourCC("wide").value);
  }
  check(mdatSize >= premoov::kMdatHeaderSize);
  check(reply.fileSize >= 0 && static_cast<uint64_t>(reply.fileSize) - room == mdatSize);

  // The movie atom first, all of it before the media data atom; the 'free' atom after it when
  // there are 8 bytes for its header, and zeros up to the media data atom.
  const uint64_t movieSize = u32At(header, 0);
  check(u32At(header, 4) == premoov::FourCC("moov").value);
  check(movieSize >= 8 && movieSize <= mdatStart);
  if (mdatStart - movieSize >= 8) {
    check(u32At(header, movieSize) == mdatStart - movieSize);
    check(u32At(header, movieSize + 4) == premoov::FourCC("free").value);
    check(allZero(header.subspan(movieSize + 8, mdatStart - movieSize - 8)));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = [] {
    // The writer logs what it passes over or repairs; the fuzzer makes a lot of that.
    premoov::setLogSink([](const std::string&) {});
    return true;
  }();
  (void)quiet;

  FuzzedDataProvider provider(data, size);
  premoov::fuzzing::FuzzedChoices choices(provider);
  premoov::fuzzing::HeaderRequestChoice choice;
  exchange(choices, choice);
  const HeaderRequest request = premoov::fuzzing::requestOf(choice);

  RecordingClient client;
  premoov::ZPRQuickTimeMovieCreator creator;
  creator.setXPCConnection(&client);
  if (request.cancelFirst) creator.cancel();
  creator.writeQuickTimeHeaderAtPath(request.path, request.newFile, request.blockSize,
                                     premoov::Value::string("fuzz"), request.duration,
                                     request.settings);

  if (request.cancelFirst) {
    check(client.replies() == 0);
    return 0;
  }
  check(client.replies() == 1);
  for (const auto& failure : client.failures) {
    check(!failure.error.empty());
    check(failure.growing == request.newFile);
  }
  for (const auto& header : client.headers) checkHeader(request, header);
  return 0;
}
