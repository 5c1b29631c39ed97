#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/result.h"
#include "media/cm_time.h"
#include "plist/value.h"

namespace premoov {

// The arguments of one header request, as writeQuickTimeHeaderAtPath takes them.
struct RequestFile {
  std::string path;
  bool newFile = false;
  uint32_t blockSize = 0;  // bytes
  Value uniqueID;          // ignored by the movie creator
  CMTime duration;
  Value settings;
};

// A request file is one JSON object:
//   {"path": "/tmp/x.mov", "newFile": true, "blockSize": 4096, "uniqueID": "any",
//    "duration": {"value": 75075, "timescale": 30000},
//    "settings": {"videoCodec": "apch", "videoDimensions": [1920, 1080], ...}}
// "uniqueID" is optional and kept only when it is a string, number or boolean; the others are
// required. settings_json.h tells how the settings are written.
inline constexpr size_t kRequestFileLimit = 64 * 1024 * 1024;  // bytes

// Reads and converts the request file at `fileName`. Every failure names the file and, for a
// bad value, its key path: `x.json: "settings.videoDimensions" must be [width, height] ...`.
Result<RequestFile> readRequestFile(const std::string& fileName);
// The same for request text already read; `fileName` only names it in messages.
Result<RequestFile> parseRequest(std::string_view text, std::string_view fileName);

}  // namespace premoov
