#pragma once

#include <string>

#include "captions/cdp_reader.h"

namespace premoov {

// How the caption commands show a caption sample taken apart, one line:
// "cdp 29.97 fps len 73 seq 12 cc_count 20 svcinfo no checksum ok dtvcc 0/18".
std::string cdpText(const CdpFields& cdp);
// "f1 94 2C CC1 EOC", "f2 80 80 invalid".
std::string pairText(const LineTwentyOnePair& pair);
// The cdp (or the format), then " | " and each pair, then each problem as " | error: ..." or
// " | note: ...".
std::string captionContentsText(const CaptionSampleContents& contents);

}  // namespace premoov
