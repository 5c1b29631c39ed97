#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace premoov {

// Every message on a connection is one frame: a 32-bit big-endian payload length, then the
// payload.
inline constexpr size_t kFrameLengthBytes = 4;
// The largest request the service reads; a real one is a few kilobytes.
inline constexpr uint32_t kMaxRequestPayload = uint32_t{16} << 20;
// The largest reply a client reads: a header room of long-GOP video at the highest rates
// (under 172 MiB) and the message around it.
inline constexpr uint32_t kMaxReplyPayload = uint32_t{256} << 20;

enum class FrameStatus {
  kFrame,      // a whole frame was read
  kEnd,        // the peer closed (or stopped sending) between frames
  kEmpty,      // a frame announcing no payload
  kTooLarge,   // a frame announcing more than the reader accepts; its payload is not read
  kTruncated,  // the peer closed inside a frame
  kFailed,     // the socket failed (`error` holds errno)
};

struct FrameRead {
  FrameStatus status = FrameStatus::kFailed;
  std::vector<uint8_t> payload;
  uint32_t announced = 0;  // the length the frame announced
  size_t received = 0;     // bytes of the frame received, length included
  int error = 0;
};

// Reads one frame from a stream socket, blocking. The payload grows with the bytes that actually
// arrive, so that a frame announcing much and sending little costs little; a reader that trusts
// its peer (a client reading the service's replies) may reserve the announced length at once
// instead, and save the copies of growing.
FrameRead readFrame(int fd, uint32_t maxPayload, bool reserveAnnounced = false);

// Sends one frame, blocking until all of it is written (or the socket's send time limit passes with
// nothing taken); nothing on success, otherwise why. Never
// raises SIGPIPE.
std::optional<std::string> writeFrame(int fd, std::span<const uint8_t> payload);

const char* frameStatusText(FrameStatus status);

}  // namespace premoov
