#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media/cm_time.h"
#include "plist/value.h"

namespace premoov {

// The requests a header service serves, one object per client connection.
class ZPRQuickTimeServiceProtocol {
 public:
  virtual ~ZPRQuickTimeServiceProtocol() = default;

  // writeQuickTimeHeaderAtPath:newFile:blockSize:uniqueID:duration:settings:
  virtual void writeQuickTimeHeaderAtPath(const std::string& path, bool newFile, uint32_t blockSize,
                                          const Value& uniqueID, const CMTime& duration,
                                          const Value& settings) = 0;
  // cancel
  virtual void cancel() = 0;
};

// The replies of a header request, implemented by the client (the recorder) and called by the
// service through its connection.
class ZPRQuickTimeServiceDelegate {
 public:
  virtual ~ZPRQuickTimeServiceDelegate() = default;

  // didCreateHeader:growing:frameSize:fileSize:
  // `header` is exactly the header room: the bytes for offset 0 of the file.
  virtual void didCreateHeader(std::vector<uint8_t> header, bool growing, int32_t frameSize,
                               int64_t fileSize) = 0;

  // failedCreatingGrowingHeader:error:
  virtual void failedCreatingGrowingHeader(bool growing, std::string error) = 0;
};

// What a movie creator replies through: the client's end of its connection.
class ZPRServiceConnection {
 public:
  virtual ~ZPRServiceConnection() = default;
  virtual ZPRQuickTimeServiceDelegate* remoteObjectProxy() = 0;
};

}  // namespace premoov
