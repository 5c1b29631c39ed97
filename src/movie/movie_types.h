#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/fixed_point.h"
#include "base/four_char_code.h"

namespace premoov {

// Result of a movie toolbox call: 0 is success, negative values name the failure.
using OSErr = int32_t;
using OSType = FourCC;
using TimeScale = int32_t;
using TimeValue = int32_t;
using TimeValue64 = int64_t;

constexpr OSErr noErr = 0;
constexpr OSErr paramErr = -50;
constexpr OSErr memFullErr = -108;
constexpr OSErr nilHandleErr = -109;
constexpr OSErr couldNotResolveDataRef = -2000;
constexpr OSErr badDataRefIndex = -2050;
constexpr OSErr invalidMedia = -2008;
constexpr OSErr invalidTrack = -2009;
constexpr OSErr invalidMovie = -2010;
constexpr OSErr invalidSampleTable = -2013;
constexpr OSErr userDataItemNotFound = -2026;
constexpr OSErr kQTMetaDataInvalidMetaDataErr = -2155;

inline constexpr FourCC VideoMediaType("vide");
inline constexpr FourCC SoundMediaType("soun");
inline constexpr FourCC TimeCodeMediaType("tmcd");
inline constexpr FourCC ClosedCaptionMediaType("clcp");
inline constexpr FourCC HandleDataHandlerSubType("hndl");
inline constexpr FourCC AliasDataHandlerSubType("alis");

// Media sample flags, as the toolbox records them per sample.
enum MediaSampleFlags : uint32_t {
  mediaSampleNotSync = 1u << 0,
  mediaSamplePartialSync = 1u << 16,
  mediaSampleHasRedundantCoding = 1u << 24,
  mediaSampleHasNoRedundantCoding = 1u << 25,
  mediaSampleIsDependedOnByOthers = 1u << 26,
  mediaSampleIsNotDependedOnByOthers = 1u << 27,
  mediaSampleDependsOnOthers = 1u << 28,
  mediaSampleDoesNotDependOnOthers = 1u << 29,
  mediaSampleEarlierDisplayTimesAllowed = 1u << 30,
};

// Where a medium's samples live. 'alis' references made from a path name a file; 'hndl'
// references stand for memory and are placeholders until a file reference is added.
struct DataReference {
  OSType type;
  std::string path;            // 'alis': the file's full path
  std::vector<uint8_t> bytes;  // 'hndl': the handle value

  bool operator==(const DataReference&) const = default;
};

// One entry of a medium's sample description table, in the big-endian form it takes in the file:
// the 16-byte header (size, format, 6 reserved bytes, data reference index) is implied, `body` is
// everything after it (for video, the image description fields from version on, then its
// extension atoms).
struct SampleDescription {
  OSType format;
  uint16_t dataReferenceIndex = 0;
  std::vector<uint8_t> body;

  uint32_t size() const { return static_cast<uint32_t>(16 + body.size()); }
  bool operator==(const SampleDescription&) const = default;
};
using SampleDescriptionHandle = std::shared_ptr<SampleDescription>;

// The toolbox's 64-bit sample reference record: `numberOfSamples` samples of equal size lying
// back to back at `dataOffset`, together `dataSize` bytes.
struct SampleReference64Record {
  uint64_t dataOffset = 0;
  uint32_t dataSize = 0;
  // In the media's time scale; unsigned 32-bit as a 'stts' delta is, so that one sample may last
  // more than 2^31 units (a global timecode sample of many hours).
  uint32_t durationPerSample = 0;
  uint32_t numberOfSamples = 0;
  uint16_t sampleFlags = 0;
};

// User data: items by type, each a list of texts (the reel name is a 'name' text).
struct UserDataText {
  OSType type;
  std::string text;
  int16_t regionCode = 0;
};
struct UserDataRecord {
  std::vector<UserDataText> texts;
};
using UserData = std::shared_ptr<UserDataRecord>;

}  // namespace premoov
