#include "service/wire/frame_io.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "base/byte_reader.h"
#include "base/byte_writer.h"

namespace premoov {
namespace {

// Bytes asked of the socket at once while a payload arrives.
constexpr size_t kReceiveStep = size_t{256} << 10;

// Receives up to `size` bytes; the count received, 0 at the end of the stream, -1 on failure.
ssize_t receiveSome(int fd, uint8_t* into, size_t size) {
  for (;;) {
    const ssize_t n = ::recv(fd, into, size, 0);
    if (n >= 0 || errno != EINTR) return n;
  }
}

// Receives exactly `size` bytes into `into`, unless the stream ends or fails first; answers how
// many arrived.
size_t receiveAll(int fd, uint8_t* into, size_t size, int* error) {
  size_t have = 0;
  while (have < size) {
    const ssize_t n = receiveSome(fd, into + have, size - have);
    if (n < 0) {
      *error = errno;
      return have;
    }
    if (n == 0) return have;
    have += static_cast<size_t>(n);
  }
  return have;
}

}  // namespace

FrameRead readFrame(int fd, uint32_t maxPayload, bool reserveAnnounced) {
  FrameRead read;
  uint8_t length[kFrameLengthBytes];
  read.received = receiveAll(fd, length, sizeof length, &read.error);
  if (read.error != 0) {
    read.status = FrameStatus::kFailed;
    return read;
  }
  if (read.received == 0) {
    read.status = FrameStatus::kEnd;
    return read;
  }
  if (read.received < sizeof length) {
    read.status = FrameStatus::kTruncated;
    return read;
  }
  ByteReader lengthReader(length);
  read.announced = *lengthReader.u32();
  if (read.announced == 0) {
    read.status = FrameStatus::kEmpty;
    return read;
  }
  if (read.announced > maxPayload) {
    read.status = FrameStatus::kTooLarge;
    return read;
  }
  if (reserveAnnounced) read.payload.reserve(read.announced);
  size_t have = 0;
  while (have < read.announced) {
    const size_t step = std::min<size_t>(read.announced - have, std::max(have, kReceiveStep));
    read.payload.resize(have + step);
    const size_t got = receiveAll(fd, read.payload.data() + have, step, &read.error);
    have += got;
    read.received += got;
    if (got < step) {
      read.payload.clear();
      read.status = read.error != 0 ? FrameStatus::kFailed : FrameStatus::kTruncated;
      return read;
    }
  }
  read.status = FrameStatus::kFrame;
  return read;
}

std::optional<std::string> writeFrame(int fd, std::span<const uint8_t> payload) {
  if (payload.empty() || payload.size() > UINT32_MAX) {
    return "a frame holds 1 to 4294967295 bytes, not " + std::to_string(payload.size());
  }
  ByteWriter length;
  length.u32(static_cast<uint32_t>(payload.size()));
  iovec parts[2] = {
      {const_cast<uint8_t*>(length.data().data()), length.size()},
      {const_cast<uint8_t*>(payload.data()), payload.size()},
  };
  size_t first = 0;
  while (first < 2) {
    msghdr message{};
    message.msg_iov = parts + first;
    message.msg_iovlen = 2 - first;
    const ssize_t n = ::sendmsg(fd, &message, MSG_NOSIGNAL);
    if (n < 0) {
      if (errno == EINTR) continue;
      // A send time limit (SO_SNDTIMEO) passed with nothing taken.
      if (errno == EAGAIN || errno == EWOULDBLOCK)
        return "the peer stopped reading for longer than allowed";
      return "cannot send: " + std::generic_category().message(errno);
    }
    auto sent = static_cast<size_t>(n);
    while (first < 2 && sent >= parts[first].iov_len) {
      sent -= parts[first].iov_len;
      ++first;
    }
    if (first < 2) {
      parts[first].iov_base = static_cast<uint8_t*>(parts[first].iov_base) + sent;
      parts[first].iov_len -= sent;
    }
  }
  return std::nullopt;
}

const char* frameStatusText(FrameStatus status) {
  switch (status) {
    case FrameStatus::kFrame: return "a frame";
    case FrameStatus::kEnd: return "the end of the connection";
    case FrameStatus::kEmpty: return "a frame of no bytes";
    case FrameStatus::kTooLarge: return "a frame larger than allowed";
    case FrameStatus::kTruncated: return "a truncated frame";
    case FrameStatus::kFailed: return "a failed read";
  }
  return "a frame";
}

}  // namespace premoov
