#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "header/quicktime_service_delegate.h"
#include "header/sample_layout_observer.h"
#include "media/audio_types.h"
#include "media/cm_time.h"
#include "movie/toolbox.h"
#include "plist/value.h"

namespace premoov {

struct VideoDimensions {
  int32_t width = 0;
  int32_t height = 0;
};

// Serves the header requests of one client connection: builds the complete movie header of a
// file that is about to be recorded, with every sample of the planned duration referenced where
// the recorder will write it, and replies through the connection.
class ZPRQuickTimeMovieCreator final : public ZPRQuickTimeServiceProtocol {
 public:
  explicit ZPRQuickTimeMovieCreator(Toolbox& toolbox = defaultToolbox());
  ZPRQuickTimeMovieCreator(const ZPRQuickTimeMovieCreator&) = delete;
  ZPRQuickTimeMovieCreator& operator=(const ZPRQuickTimeMovieCreator&) = delete;

  // setXPCConnection: — kept, not owned.
  void setXPCConnection(ZPRServiceConnection* connection) { connection_ = connection; }

  // writeQuickTimeHeaderAtPath:newFile:blockSize:uniqueID:duration:settings:
  // Replies once, unless cancelled; returns after the reply.
  void writeQuickTimeHeaderAtPath(const std::string& path, bool newFile, uint32_t blockSize,
                                  const Value& uniqueID, const CMTime& duration,
                                  const Value& settings) override;
  // cancel — from now on this creator sends no reply of any kind.
  void cancel() override;
  bool isCancelled() const { return cancelled_.load(std::memory_order_relaxed); }

  // failWithError:
  void failWithError(const std::string& message);

  // Runs work that must happen on the main queue, synchronously; by default on the calling
  // thread (a service installs its main loop here).
  using MainQueue = std::function<void(const std::function<void()>&)>;
  void setMainQueue(MainQueue mainQueue) { mainQueue_ = std::move(mainQueue); }

  // Watches the sample layout of the following requests (the write map); not owned.
  void setSampleLayoutObserver(SampleLayoutObserver* observer) { observer_ = observer; }

  // frameSizeForVideoCodec:dimensions:
  static int32_t frameSizeForVideoCodec(uint32_t codec, VideoDimensions dimensions);
  // videoChunksTableForFrameSize:frameDuration:
  static std::optional<std::vector<int32_t>> videoChunksTableForFrameSize(
      int32_t frameSize, const CMTime& frameDuration);

 private:
  Toolbox& toolbox_;
  ZPRServiceConnection* connection_ = nullptr;
  SampleLayoutObserver* observer_ = nullptr;
  MainQueue mainQueue_ = [](const std::function<void()>& work) { work(); };
  std::atomic<bool> cancelled_{false};
  // Serialises `cancelled_` against the sending of replies (a binary semaphore).
  std::mutex delegateSemaphore_;
  bool growing_ = false;
};

}  // namespace premoov
