#include "service/wire/frame_io.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

#include "base/byte_writer.h"

// The largest single allocation made on the calling thread while a counter is armed: what a
// frame costs the reader, whatever it announces.
namespace {
thread_local bool tArmed = false;
thread_local size_t tLargestAllocation = 0;

void* allocate(size_t size) {
  if (tArmed && size > tLargestAllocation) tLargestAllocation = size;
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
}  // namespace

void* operator new(size_t size) { return allocate(size); }
void* operator new[](size_t size) { return allocate(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }

namespace premoov {
namespace {

class LargestAllocation {
 public:
  LargestAllocation() {
    tLargestAllocation = 0;
    tArmed = true;
  }
  ~LargestAllocation() { tArmed = false; }
  size_t bytes() const { return tLargestAllocation; }
};

struct SocketPair {
  SocketPair() { EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0); }
  ~SocketPair() {
    closeWriter();
    if (fds[0] >= 0) ::close(fds[0]);
  }
  int reader() const { return fds[0]; }
  int writer() const { return fds[1]; }
  void closeWriter() {
    if (fds[1] >= 0) ::close(fds[1]);
    fds[1] = -1;
  }
  void sendRaw(const std::vector<uint8_t>& bytes) const {
    ASSERT_EQ(::send(writer(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  int fds[2] = {-1, -1};
};

std::vector<uint8_t> lengthThen(uint32_t length, std::vector<uint8_t> after = {}) {
  ByteWriter w;
  w.u32(length);
  w.bytes(after);
  return w.take();
}

// The bytes waiting on `fd`, without blocking.
std::vector<uint8_t> waitingBytes(int fd) {
  std::vector<uint8_t> out;
  uint8_t buffer[4096];
  for (;;) {
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
    if (n <= 0) break;
    out.insert(out.end(), buffer, buffer + n);
  }
  return out;
}

TEST(FrameIoTest, AFrameArrivesAsItWasSent) {
  SocketPair pair;
  const std::vector<uint8_t> payload{1, 2, 3, 0, 255};
  ASSERT_FALSE(writeFrame(pair.writer(), payload));
  const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
  EXPECT_EQ(read.status, FrameStatus::kFrame);
  EXPECT_EQ(read.payload, payload);
  EXPECT_EQ(read.announced, 5u);
  EXPECT_EQ(read.received, 9u);
}

TEST(FrameIoTest, AFrameLargerThanTheSocketBufferArrivesWhole) {
  SocketPair pair;
  std::vector<uint8_t> payload(5'000'003);
  for (size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<uint8_t>(i * 7 + i / 251);
  std::optional<std::string> written;
  std::thread writer([&] { written = writeFrame(pair.writer(), payload); });
  const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
  writer.join();
  EXPECT_FALSE(written) << *written;
  EXPECT_EQ(read.status, FrameStatus::kFrame);
  EXPECT_TRUE(read.payload == payload);
}

TEST(FrameIoTest, FramesFollowEachOtherOnOneStream) {
  SocketPair pair;
  ASSERT_FALSE(writeFrame(pair.writer(), std::vector<uint8_t>{7}));
  ASSERT_FALSE(writeFrame(pair.writer(), std::vector<uint8_t>{8, 9}));
  pair.closeWriter();
  EXPECT_EQ(readFrame(pair.reader(), 16).payload, std::vector<uint8_t>{7});
  EXPECT_EQ(readFrame(pair.reader(), 16).payload, (std::vector<uint8_t>{8, 9}));
  EXPECT_EQ(readFrame(pair.reader(), 16).status, FrameStatus::kEnd);
}

TEST(FrameIoTest, AnEmptyFrameIsNeitherWrittenNorAccepted) {
  SocketPair pair;
  EXPECT_TRUE(writeFrame(pair.writer(), std::vector<uint8_t>{}));
  EXPECT_TRUE(waitingBytes(pair.reader()).empty());  // nothing went out
  pair.sendRaw(lengthThen(0));
  const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
  EXPECT_EQ(read.status, FrameStatus::kEmpty);
  EXPECT_EQ(read.received, 4u);
}

TEST(FrameIoTest, AFrameOverTheLimitIsRefusedWithoutReadingItsPayload) {
  SocketPair pair;
  const std::vector<uint8_t> payload{10, 11, 12, 13, 14};
  pair.sendRaw(lengthThen(kMaxRequestPayload + 1, payload));
  const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
  EXPECT_EQ(read.status, FrameStatus::kTooLarge);
  EXPECT_EQ(read.announced, kMaxRequestPayload + 1);
  EXPECT_TRUE(read.payload.empty());
  EXPECT_EQ(waitingBytes(pair.reader()), payload);  // still in the socket
}

TEST(FrameIoTest, AFrameAtTheLimitIsRead) {
  SocketPair pair;
  const std::vector<uint8_t> payload(16, 0x5A);
  pair.sendRaw(lengthThen(16, payload));
  const FrameRead read = readFrame(pair.reader(), 16);
  EXPECT_EQ(read.status, FrameStatus::kFrame);
  EXPECT_EQ(read.payload, payload);
}

TEST(FrameIoTest, ATruncatedLengthIsTruncated) {
  SocketPair pair;
  pair.sendRaw({0, 0});
  pair.closeWriter();
  const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
  EXPECT_EQ(read.status, FrameStatus::kTruncated);
  EXPECT_EQ(read.received, 2u);
}

TEST(FrameIoTest, ATruncatedPayloadIsTruncatedAndDropped) {
  SocketPair pair;
  pair.sendRaw(lengthThen(100, std::vector<uint8_t>(50, 1)));
  pair.closeWriter();
  const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
  EXPECT_EQ(read.status, FrameStatus::kTruncated);
  EXPECT_EQ(read.announced, 100u);
  EXPECT_EQ(read.received, 54u);
  EXPECT_TRUE(read.payload.empty());
}

TEST(FrameIoTest, APeerThatClosesBetweenFramesEndsTheStream) {
  SocketPair pair;
  pair.closeWriter();
  const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
  EXPECT_EQ(read.status, FrameStatus::kEnd);
  EXPECT_EQ(read.received, 0u);
}

TEST(FrameIoTest, WritingToAClosedPeerFailsWithoutASignal) {
  SocketPair pair;
  ::close(pair.fds[0]);
  pair.fds[0] = -1;
  const auto failed = writeFrame(pair.writer(), std::vector<uint8_t>(1000, 1));
  ASSERT_TRUE(failed);
  EXPECT_NE(failed->find("cannot send"), std::string::npos) << *failed;
}

TEST(FrameIoTest, APeerThatStopsReadingIsGivenUpAfterTheSendTimeLimit) {
  SocketPair pair;
  timeval limit{0, 200'000};
  ASSERT_EQ(::setsockopt(pair.writer(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit), 0);
  const auto start = std::chrono::steady_clock::now();
  const auto failed = writeFrame(pair.writer(), std::vector<uint8_t>(8 << 20, 1));
  ASSERT_TRUE(failed);
  EXPECT_EQ(*failed, "the peer stopped reading for longer than allowed");
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(190));
}

TEST(FrameIoTest, AFrameAnnouncingFourGibibytesCostsOnlyWhatArrives) {
  SocketPair pair;
  pair.sendRaw(lengthThen(0xFFFFFFFF, std::vector<uint8_t>(1000, 3)));
  pair.closeWriter();
  LargestAllocation largest;
  // A reader that accepts any length: what it allocates follows the bytes that came.
  const FrameRead read = readFrame(pair.reader(), UINT32_MAX);
  EXPECT_EQ(read.status, FrameStatus::kTruncated);
  EXPECT_EQ(read.announced, 0xFFFFFFFFu);
  EXPECT_EQ(read.received, 1004u);
  EXPECT_LE(largest.bytes(), size_t{1} << 20);
}

TEST(FrameIoTest, TheAllocationCounterSeesAPayloadThatArrives) {
  // The counter behind the test above is live: a 4 MiB frame is read into 4 MiB.
  SocketPair pair;
  const std::vector<uint8_t> payload(4 << 20, 9);
  std::thread writer([&] { EXPECT_FALSE(writeFrame(pair.writer(), payload)); });
  size_t largestBytes = 0;
  {
    LargestAllocation largest;
    const FrameRead read = readFrame(pair.reader(), kMaxRequestPayload);
    largestBytes = largest.bytes();
    EXPECT_EQ(read.status, FrameStatus::kFrame);
  }
  writer.join();
  EXPECT_GE(largestBytes, size_t{2} << 20);
}

TEST(FrameIoTest, EveryStatusHasAText) {
  for (FrameStatus status :
       {FrameStatus::kFrame, FrameStatus::kEnd, FrameStatus::kEmpty, FrameStatus::kTooLarge,
        FrameStatus::kTruncated, FrameStatus::kFailed}) {
    EXPECT_NE(std::string(frameStatusText(status)), "");
  }
  EXPECT_EQ(std::string(frameStatusText(FrameStatus::kTooLarge)), "a frame larger than allowed");
}

}  // namespace
}  // namespace premoov
