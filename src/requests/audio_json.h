#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "requests/json_fields.h"

namespace premoov {

// One element of "settings.asbds" as the 40 host-order bytes of an AudioStreamBasicDescription:
// either data {"base64": ...} taken as it is, or an object
//   {"sampleRate": 48000, "formatID": "lpcm", "formatFlags": 14, "bytesPerPacket": 3,
//    "framesPerPacket": 1, "bytesPerFrame": 3, "channelsPerFrame": 1, "bitsPerChannel": 24}
// where every field but the optional "reserved" (default 0) is required.
Result<std::vector<uint8_t>> streamDescriptionBytesOf(const Json& value, std::string_view path);

// One element of "settings.layouts" as the host-order bytes of an AudioChannelLayout: either
// data {"base64": ...} taken as it is, or an object
//   {"tag": 6553601, "bitmap": 0, "descriptions": [{"label": 1, "flags": 0,
//    "coordinates": [0, 0, 0]}]}
// where "tag" is required, "bitmap" defaults to 0 and "descriptions" to none; in a description
// "label" is required, "flags" defaults to 0 and "coordinates" to [0, 0, 0].
Result<std::vector<uint8_t>> channelLayoutBytesOf(const Json& value, std::string_view path);

}  // namespace premoov
