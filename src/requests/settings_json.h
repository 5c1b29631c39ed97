#pragma once

#include <string_view>

#include "plist/value.h"
#include "requests/json_fields.h"

namespace premoov {

// The settings dictionary of a header request from the "settings" object of a request file.
// Each of the 24 settings keys is converted to the value the movie creator reads under it:
//   numbers            "matrix": 1 (integer), "verticalSpacing": 1.5 (real, has a fraction)
//   booleans, strings  "isLongGOP": false, "reelName": "A001"
//   "videoCodec"       "apch" or its integer code
//   "videoFrameDuration"  {"value": 1001, "timescale": 30000}: the time dictionary
//   "videoDimensions"  [1920, 1080]: 8 bytes, two int32 in host order
//   "asbds", "layouts" arrays of objects as audio_json.h shows them: host-order data
//   "extensionAtoms"   {"ACLR": {"base64": "..."}}: a dictionary of data
//   "metadataItems"    an array of metadata items (see metadata_items_json.h)
// Any data may also be written {"base64": "..."}. Unknown keys are left out; a value of the wrong
// type under a known key fails with its key path.
Result<Value> settingsFromJson(const Json& settings, std::string_view path);

}  // namespace premoov
