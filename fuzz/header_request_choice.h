#pragma once

// A header request as a tree of choices: what is present, of which kind, and from which family of
// values (the usual ones of a recorder, the extremes of a type, or any bits). The fuzzer reads
// the choices from its bytes (FuzzedChoices); the seed generator writes described requests into
// such bytes (ChoiceEncoder). `exchange` walks one tree for both, so the two cannot drift apart;
// header_request_values.h turns a tree into the request itself.
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace premoov::fuzzing {

// The longest byte strings and lists a choice reads; whatever is longer comes from a "large"
// choice, which names a size instead of spelling every byte.
inline constexpr size_t kMaxRawBytes = 64;
inline constexpr size_t kMaxText = 300;
inline constexpr size_t kMaxAudioElements = 20;
inline constexpr size_t kMaxMetadataItems = 8;
inline constexpr size_t kMaxLooseElements = 4;

// The kinds a property-list value can take; a setting of the wrong kind is one of these.
enum class ValueKind : uint8_t { kNumber, kString, kData, kArray, kDictionary, kBoolean, kDate };
inline constexpr std::array<uint8_t, 7> kValueKindWeights{1, 1, 1, 1, 1, 1, 1};

// A number: one of the key's usual values, a small integer, an extreme integer or real, or any
// bits.
struct NumberChoice {
  enum class Source : uint8_t { kUsual, kSmall, kExtremeInteger, kInteger, kExtremeReal, kReal };
  static constexpr std::array<uint8_t, 6> kWeights{10, 4, 2, 1, 2, 1};
  Source source = Source::kUsual;
  uint8_t index = 0;  // into the usual or extreme table, modulo its length
  int16_t small = 0;
  int64_t integer = 0;
  double real = 0;
};

// A string: one of the key's usual texts, any bytes, or a pattern repeated to a length (long
// reel names, multi-byte characters).
struct TextChoice {
  enum class Source : uint8_t { kUsual, kBytes, kRepeated };
  static constexpr std::array<uint8_t, 3> kWeights{6, 3, 2};
  Source source = Source::kUsual;
  uint8_t index = 0;
  std::string bytes;
  uint16_t length = 0;  // kRepeated: bytes of the result, 0..kMaxText
};

// Data: any bytes, or a larger block of one size from a table, filled with one byte.
struct DataChoice {
  enum class Source : uint8_t { kBytes, kLarge };
  static constexpr std::array<uint8_t, 2> kWeights{7, 1};
  Source source = Source::kBytes;
  std::vector<uint8_t> bytes;
  uint8_t sizeIndex = 0;
  uint8_t fill = 0;
};

// A value of any kind, for a setting of the wrong kind and for elements that do not belong.
// Containers hold numbers only, to keep the tree shallow.
struct LooseValue {
  ValueKind kind = ValueKind::kNumber;
  NumberChoice number;  // kNumber, kBoolean (its truth), kDate (its seconds)
  TextChoice text;
  DataChoice data;
  std::vector<NumberChoice> elements;  // kArray
  std::vector<TextChoice> keys;        // kDictionary: keys[i] -> elements[i]
};

// A time dictionary of the settings, as the time reader expects it, or nearly: one of its four
// entries left out, a real, or a string.
struct TimeChoice {
  enum class Source : uint8_t { kUsual, kExtreme, kAny };
  static constexpr std::array<uint8_t, 3> kWeights{10, 3, 2};
  enum class Shape : uint8_t { kWhole, kMissingEntry, kRealEntry, kStringEntry };
  static constexpr std::array<uint8_t, 4> kShapeWeights{13, 1, 1, 1};
  enum class Flags : uint8_t { kValid, kAny };
  static constexpr std::array<uint8_t, 2> kFlagsWeights{7, 1};
  Source source = Source::kUsual;
  uint8_t index = 0;       // kUsual: the pair; kExtreme: the value
  uint8_t scaleIndex = 0;  // kExtreme: the time scale
  int64_t value = 0;
  int32_t timescale = 0;
  Flags flagsSource = Flags::kValid;
  uint32_t flags = 0;
  bool anyEpoch = false;
  int64_t epoch = 0;
  Shape shape = Shape::kWhole;
  uint8_t entry = 0;  // which of value, timescale, flags, epoch the shape touches (0..3)
};

// One "asbds" element: linear PCM from a few usual fields, or data, or another kind.
struct StreamDescriptionChoice {
  enum class Source : uint8_t { kPcm, kData, kLoose };
  static constexpr std::array<uint8_t, 3> kWeights{12, 3, 1};
  Source source = Source::kPcm;
  uint8_t rateIndex = 0;
  uint8_t channels = 0;  // 0..32
  uint8_t bitsIndex = 0;
  bool isFloat = false;
  bool bigEndian = false;
  DataChoice data;
  LooseValue loose;
};

// One "layouts" element: a layout tag, a layout of channel descriptions whose count may lie,
// data, or another kind.
struct ChannelLayoutChoice {
  enum class Source : uint8_t { kTag, kDescriptions, kData, kLoose };
  static constexpr std::array<uint8_t, 4> kWeights{12, 2, 2, 1};
  Source source = Source::kTag;
  uint8_t tagIndex = 0;
  uint8_t descriptions = 0;  // 0..8 written
  uint32_t count = 0;        // the count field
  DataChoice data;
  LooseValue loose;
};

// "extensionAtoms": a dictionary of codec atoms under their names, plus perhaps a stranger.
struct ExtensionAtomsChoice {
  static constexpr std::array<const char*, 3> kNames{"ACLR", "APRG", "ARES"};
  std::array<bool, 3> present{};
  std::array<bool, 3> loose{};  // present, but not data
  std::array<DataChoice, 3> atoms;
  std::array<LooseValue, 3> looseAtoms;
  bool extra = false;
  TextChoice extraKey;
  LooseValue extraValue;
};

// One "metadataItems" element: a metadata item, or something that is not one.
struct MetadataItemChoice {
  enum class Source : uint8_t { kItem, kLoose };
  static constexpr std::array<uint8_t, 2> kWeights{7, 1};
  enum class Type : uint8_t { kString, kNumber, kDate, kTokens, kUnknown };
  static constexpr std::array<uint8_t, 5> kTypeWeights{3, 3, 2, 2, 1};
  Source source = Source::kItem;
  bool hasKey = false;
  TextChoice key;
  Type type = Type::kString;
  uint32_t unknownType = 0;
  bool matchingValue = false;  // the value is of the item's type
  TextChoice text;
  NumberChoice number;
  std::vector<TextChoice> tokens;
  LooseValue loose;
};

// "videoDimensions": width and height from a table, any two integers, or data of another length.
struct DimensionsChoice {
  enum class Source : uint8_t { kUsual, kAny, kData };
  static constexpr std::array<uint8_t, 3> kWeights{10, 2, 1};
  Source source = Source::kUsual;
  uint8_t index = 0;
  int32_t width = 0;
  int32_t height = 0;
  DataChoice data;
};

// A setting: left out, of its own kind, or of another kind.
enum class Presence : uint8_t { kAbsent, kRightKind, kWrongKind };
inline constexpr std::array<uint8_t, 3> kPresenceWeights{3, 12, 1};

template <typename T>
struct Setting {
  Presence presence = Presence::kAbsent;
  T right{};
  LooseValue wrong;
};

// The number settings, in the order of the settings table.
enum NumberSetting : size_t {
  kCodecSetting,
  kMaxFrameSizeSetting,
  kFirstFrameOverheadSetting,
  kFieldCountSetting,
  kFieldOrderSetting,
  kHorizontalSpacingSetting,
  kVerticalSpacingSetting,
  kColorPrimariesSetting,
  kTransferFunctionSetting,
  kMatrixSetting,
  kAudioTrackCountSetting,
  kNumberSettings
};
enum BooleanSetting : size_t {
  kLongGOPSetting,
  kDropFrameSetting,
  kGlobalTimecodeSetting,
  kCaptionsSetting,
  kBooleanSettings
};
enum TextSetting : size_t { kFormatNameSetting, kReelNameSetting, kSoftwareSetting, kTextSettings };

// The recording's length: seconds (and frames) of the video's own time scale, hours of it, or any
// time. Most are under a minute, so that the fuzzer runs many requests; the long ones are what
// the writer has to bound.
struct DurationChoice {
  enum class Source : uint8_t { kSeconds, kMinutes, kHours, kTime };
  static constexpr std::array<uint8_t, 4> kWeights{12, 2, 1, 2};
  Source source = Source::kSeconds;
  uint16_t seconds = 0;  // 0..59, or 0..1200 for kMinutes
  uint8_t frames = 0;    // frames past the seconds
  uint8_t hours = 0;     // 1..24
  TimeChoice time;
};

struct BlockSizeChoice {
  enum class Source : uint8_t { kPowerOfTwo, kAny };
  static constexpr std::array<uint8_t, 2> kWeights{6, 1};
  Source source = Source::kPowerOfTwo;
  uint8_t exponent = 0;  // 0..31, or 32 for a block size of 0
  uint32_t any = 0;
};

struct PathChoice {
  enum class Source : uint8_t { kAbsolute, kEmpty, kRelative, kText };
  static constexpr std::array<uint8_t, 4> kWeights{12, 1, 1, 2};
  Source source = Source::kAbsolute;
  TextChoice name;
};

struct HeaderRequestChoice {
  std::array<Setting<NumberChoice>, kNumberSettings> numbers;
  std::array<Setting<bool>, kBooleanSettings> booleans;
  std::array<Setting<TextChoice>, kTextSettings> texts;
  Setting<TimeChoice> frameDuration;
  Setting<std::vector<StreamDescriptionChoice>> streamDescriptions;
  Setting<std::vector<ChannelLayoutChoice>> channelLayouts;
  Setting<ExtensionAtomsChoice> extensionAtoms;
  Setting<std::vector<MetadataItemChoice>> metadataItems;
  Setting<DimensionsChoice> dimensions;
  DurationChoice duration;
  BlockSizeChoice blockSize;
  bool newFile = false;
  PathChoice path;
  bool cancelFirst = false;  // cancel() before the request: no reply at all
};

// The walk shared by reading and writing. `Io` is FuzzedChoices or ChoiceEncoder.
template <typename Io, typename T, typename Each>
void exchangeList(Io& io, std::vector<T>& list, size_t maxLength, Each each) {
  size_t length = list.size();
  io.template integer<size_t>(length, 0, maxLength);
  list.resize(length);
  for (T& element : list) each(io, element);
}

template <typename Io>
void exchange(Io& io, NumberChoice& c) {
  io.weighted(c.source, NumberChoice::kWeights);
  switch (c.source) {
    case NumberChoice::Source::kUsual:
    case NumberChoice::Source::kExtremeInteger:
    case NumberChoice::Source::kExtremeReal: io.template integer<uint8_t>(c.index, 0, 255); break;
    case NumberChoice::Source::kSmall: io.template integer<int16_t>(c.small, -16, 300); break;
    case NumberChoice::Source::kInteger:
      io.template integer<int64_t>(c.integer, INT64_MIN, INT64_MAX);
      break;
    case NumberChoice::Source::kReal: io.real(c.real); break;
  }
}

template <typename Io>
void exchange(Io& io, TextChoice& c) {
  io.weighted(c.source, TextChoice::kWeights);
  switch (c.source) {
    case TextChoice::Source::kUsual: io.template integer<uint8_t>(c.index, 0, 255); break;
    case TextChoice::Source::kBytes: io.text(c.bytes, kMaxText); break;
    case TextChoice::Source::kRepeated:
      io.template integer<uint8_t>(c.index, 0, 255);
      io.template integer<uint16_t>(c.length, 0, kMaxText);
      break;
  }
}

template <typename Io>
void exchange(Io& io, DataChoice& c) {
  io.weighted(c.source, DataChoice::kWeights);
  if (c.source == DataChoice::Source::kBytes) {
    io.bytes(c.bytes, kMaxRawBytes);
  } else {
    io.template integer<uint8_t>(c.sizeIndex, 0, 255);
    io.template integer<uint8_t>(c.fill, 0, 255);
  }
}

template <typename Io>
void exchange(Io& io, LooseValue& c) {
  io.weighted(c.kind, kValueKindWeights);
  switch (c.kind) {
    case ValueKind::kNumber:
    case ValueKind::kBoolean:
    case ValueKind::kDate: exchange(io, c.number); break;
    case ValueKind::kString: exchange(io, c.text); break;
    case ValueKind::kData: exchange(io, c.data); break;
    case ValueKind::kArray:
      exchangeList(io, c.elements, kMaxLooseElements,
                   [](Io& i, NumberChoice& e) { exchange(i, e); });
      break;
    case ValueKind::kDictionary:
      exchangeList(io, c.keys, kMaxLooseElements, [](Io& i, TextChoice& e) { exchange(i, e); });
      c.elements.resize(c.keys.size());
      for (NumberChoice& e : c.elements) exchange(io, e);
      break;
  }
}

template <typename Io>
void exchange(Io& io, TimeChoice& c) {
  io.weighted(c.source, TimeChoice::kWeights);
  switch (c.source) {
    case TimeChoice::Source::kUsual: io.template integer<uint8_t>(c.index, 0, 255); break;
    case TimeChoice::Source::kExtreme:
      io.template integer<uint8_t>(c.index, 0, 255);
      io.template integer<uint8_t>(c.scaleIndex, 0, 255);
      break;
    case TimeChoice::Source::kAny:
      io.template integer<int64_t>(c.value, INT64_MIN, INT64_MAX);
      io.template integer<int32_t>(c.timescale, INT32_MIN, INT32_MAX);
      break;
  }
  io.weighted(c.flagsSource, TimeChoice::kFlagsWeights);
  if (c.flagsSource == TimeChoice::Flags::kAny) {
    io.template integer<uint32_t>(c.flags, 0, UINT32_MAX);
  }
  io.boolean(c.anyEpoch);
  if (c.anyEpoch) io.template integer<int64_t>(c.epoch, INT64_MIN, INT64_MAX);
  io.weighted(c.shape, TimeChoice::kShapeWeights);
  if (c.shape != TimeChoice::Shape::kWhole) io.template integer<uint8_t>(c.entry, 0, 3);
}

template <typename Io>
void exchange(Io& io, StreamDescriptionChoice& c) {
  io.weighted(c.source, StreamDescriptionChoice::kWeights);
  switch (c.source) {
    case StreamDescriptionChoice::Source::kPcm:
      io.template integer<uint8_t>(c.rateIndex, 0, 255);
      io.template integer<uint8_t>(c.channels, 0, 32);
      io.template integer<uint8_t>(c.bitsIndex, 0, 255);
      io.boolean(c.isFloat);
      io.boolean(c.bigEndian);
      break;
    case StreamDescriptionChoice::Source::kData: exchange(io, c.data); break;
    case StreamDescriptionChoice::Source::kLoose: exchange(io, c.loose); break;
  }
}

template <typename Io>
void exchange(Io& io, ChannelLayoutChoice& c) {
  io.weighted(c.source, ChannelLayoutChoice::kWeights);
  switch (c.source) {
    case ChannelLayoutChoice::Source::kTag: io.template integer<uint8_t>(c.tagIndex, 0, 255); break;
    case ChannelLayoutChoice::Source::kDescriptions:
      io.template integer<uint8_t>(c.descriptions, 0, 8);
      io.template integer<uint32_t>(c.count, 0, UINT32_MAX);
      break;
    case ChannelLayoutChoice::Source::kData: exchange(io, c.data); break;
    case ChannelLayoutChoice::Source::kLoose: exchange(io, c.loose); break;
  }
}

template <typename Io>
void exchange(Io& io, ExtensionAtomsChoice& c) {
  for (size_t i = 0; i < c.atoms.size(); ++i) {
    io.boolean(c.present[i]);
    if (!c.present[i]) continue;
    io.boolean(c.loose[i]);
    if (c.loose[i]) {
      exchange(io, c.looseAtoms[i]);
    } else {
      exchange(io, c.atoms[i]);
    }
  }
  io.boolean(c.extra);
  if (c.extra) {
    exchange(io, c.extraKey);
    exchange(io, c.extraValue);
  }
}

template <typename Io>
void exchange(Io& io, MetadataItemChoice& c) {
  io.weighted(c.source, MetadataItemChoice::kWeights);
  if (c.source == MetadataItemChoice::Source::kLoose) {
    exchange(io, c.loose);
    return;
  }
  io.boolean(c.hasKey);
  if (c.hasKey) exchange(io, c.key);
  io.weighted(c.type, MetadataItemChoice::kTypeWeights);
  if (c.type == MetadataItemChoice::Type::kUnknown) {
    io.template integer<uint32_t>(c.unknownType, 0, UINT32_MAX);
  }
  io.boolean(c.matchingValue);
  if (!c.matchingValue) {
    exchange(io, c.loose);
    return;
  }
  switch (c.type) {
    case MetadataItemChoice::Type::kString: exchange(io, c.text); break;
    case MetadataItemChoice::Type::kNumber:
    case MetadataItemChoice::Type::kDate: exchange(io, c.number); break;
    case MetadataItemChoice::Type::kTokens:
      exchangeList(io, c.tokens, kMaxLooseElements, [](Io& i, TextChoice& e) { exchange(i, e); });
      exchange(io, c.text);
      break;
    case MetadataItemChoice::Type::kUnknown: exchange(io, c.text); break;
  }
}

template <typename Io>
void exchange(Io& io, DimensionsChoice& c) {
  io.weighted(c.source, DimensionsChoice::kWeights);
  switch (c.source) {
    case DimensionsChoice::Source::kUsual: io.template integer<uint8_t>(c.index, 0, 255); break;
    case DimensionsChoice::Source::kAny:
      io.template integer<int32_t>(c.width, INT32_MIN, INT32_MAX);
      io.template integer<int32_t>(c.height, INT32_MIN, INT32_MAX);
      break;
    case DimensionsChoice::Source::kData: exchange(io, c.data); break;
  }
}

template <typename Io>
void exchange(Io& io, bool& b) {
  io.boolean(b);
}

template <typename Io>
void exchange(Io& io, std::vector<StreamDescriptionChoice>& list) {
  exchangeList(io, list, kMaxAudioElements,
               [](Io& i, StreamDescriptionChoice& e) { exchange(i, e); });
}
template <typename Io>
void exchange(Io& io, std::vector<ChannelLayoutChoice>& list) {
  exchangeList(io, list, kMaxAudioElements, [](Io& i, ChannelLayoutChoice& e) { exchange(i, e); });
}
template <typename Io>
void exchange(Io& io, std::vector<MetadataItemChoice>& list) {
  exchangeList(io, list, kMaxMetadataItems, [](Io& i, MetadataItemChoice& e) { exchange(i, e); });
}

template <typename Io, typename T>
void exchange(Io& io, Setting<T>& s) {
  io.weighted(s.presence, kPresenceWeights);
  if (s.presence == Presence::kRightKind) exchange(io, s.right);
  if (s.presence == Presence::kWrongKind) exchange(io, s.wrong);
}

template <typename Io>
void exchange(Io& io, DurationChoice& c) {
  io.weighted(c.source, DurationChoice::kWeights);
  switch (c.source) {
    case DurationChoice::Source::kSeconds:
      io.template integer<uint16_t>(c.seconds, 0, 59);
      io.template integer<uint8_t>(c.frames, 0, 255);
      break;
    case DurationChoice::Source::kMinutes:
      io.template integer<uint16_t>(c.seconds, 0, 1200);
      io.template integer<uint8_t>(c.frames, 0, 255);
      break;
    case DurationChoice::Source::kHours: io.template integer<uint8_t>(c.hours, 1, 24); break;
    case DurationChoice::Source::kTime: exchange(io, c.time); break;
  }
}

template <typename Io>
void exchange(Io& io, BlockSizeChoice& c) {
  io.weighted(c.source, BlockSizeChoice::kWeights);
  if (c.source == BlockSizeChoice::Source::kPowerOfTwo) {
    io.template integer<uint8_t>(c.exponent, 0, 32);
  } else {
    io.template integer<uint32_t>(c.any, 0, UINT32_MAX);
  }
}

template <typename Io>
void exchange(Io& io, PathChoice& c) {
  io.weighted(c.source, PathChoice::kWeights);
  if (c.source != PathChoice::Source::kEmpty) exchange(io, c.name);
}

inline constexpr std::array<uint8_t, 2> kCancelWeights{31, 1};

template <typename Io>
void exchange(Io& io, HeaderRequestChoice& c) {
  for (auto& s : c.numbers) exchange(io, s);
  exchange(io, c.frameDuration);
  for (auto& s : c.booleans) exchange(io, s);
  for (auto& s : c.texts) exchange(io, s);
  exchange(io, c.streamDescriptions);
  exchange(io, c.channelLayouts);
  exchange(io, c.extensionAtoms);
  exchange(io, c.metadataItems);
  exchange(io, c.dimensions);
  exchange(io, c.duration);
  exchange(io, c.blockSize);
  io.boolean(c.newFile);
  exchange(io, c.path);
  io.weighted(c.cancelFirst, kCancelWeights);
}

}  // namespace premoov::fuzzing
