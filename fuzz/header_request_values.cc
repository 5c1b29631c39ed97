#include "header_request_values.h"

#include <array>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/four_char_code.h"
#include "header/header_settings.h"
#include "media/audio_types.h"
#include "naming/metadata_item.h"

namespace premoov::fuzzing {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

constexpr auto kFrameDurations = std::to_array<FrameDuration>({{1001, 30000},
                                                               {1001, 60000},
                                                               {1, 25},
                                                               {1000, 25000},
                                                               {1000, 24000},
                                                               {1001, 24000},
                                                               {1, 1},
                                                               {1, 30},
                                                               {1, 24},
                                                               {1, 50},
                                                               {1, 60},
                                                               {1000, 50000},
                                                               {1000, 30000},
                                                               {1000, 60000},
                                                               {2002, 60000},
                                                               {500, 25000},
                                                               {1001, 30000},
                                                               {1000, 25000}});
constexpr auto kExtremeTimeValues =
    std::to_array<int64_t>({0, 1, -1, -1001, 1001, 1000, 2, INT32_MAX, INT32_MIN, INT64_MAX,
                            INT64_MIN, int64_t{1} << 32, 107999892});
constexpr auto kExtremeTimeScales = std::to_array<int32_t>(
    {0, 1, -1, 30000, 2000000000, INT32_MAX, INT32_MIN, 1000, 600, 1000000000, 24000});

constexpr auto kExtremeIntegers =
    std::to_array<int64_t>({0, 1, -1, 2, -2, 255, 256, 258, 65535, 65536, INT32_MAX, INT32_MIN,
                            UINT32_MAX, int64_t{1} << 32, INT64_MAX, INT64_MIN});
constexpr auto kExtremeReals = std::to_array<double>(
    {0.0, -0.0, 1.0, -1.0, 0.5, 1e300, -1e300, 1e-300, std::numeric_limits<double>::denorm_min(),
     kNaN, kInfinity, -kInfinity, 4294967296.0, 2147483648.0, 48000.0, 1e10});

constexpr auto kCodecs = std::to_array<int64_t>(
    {FourCC("apch").value, FourCC("apcn").value, FourCC("apcs").value, FourCC("apco").value,
     FourCC("ap4h").value, FourCC("ap4x").value, FourCC("v210").value, FourCC("2vuy").value,
     FourCC("xd5c").value, FourCC("dvh5").value, FourCC("dvh6").value, FourCC("dvhp").value,
     FourCC("AVdn").value, FourCC("dvc ").value, FourCC("dv5p").value, FourCC("v216").value,
     FourCC("r210").value, FourCC("BGRA").value, FourCC("avc1").value, 0});
constexpr auto kFrameSizes = std::to_array<int64_t>(
    {0, 0, 0, 0, 1, 4096, 200000, 400001, 600001, 917504, 1500001, 0x7fffffff, 0xffffffff});
constexpr auto kOverheads = std::to_array<int64_t>({0, 0, 4096, 65536, 1, 0xffffffff});
constexpr auto kFieldCounts = std::to_array<int64_t>({1, 2, 0, 258});
constexpr auto kFieldOrders = std::to_array<int64_t>({0, 1, 6, 9, 14});
constexpr auto kSpacings = std::to_array<int64_t>({1, 10, 11, 40, 33, 59, 54, 4, 3, 0});
constexpr auto kPrimaries = std::to_array<int64_t>({1, 5, 6, 9, 2, 0, 65535});
constexpr auto kTransfers = std::to_array<int64_t>({1, 2, 16, 18, 0});
constexpr auto kMatrices = std::to_array<int64_t>({1, 6, 7, 9, 0});
constexpr auto kAudioTrackCounts = std::to_array<int64_t>({0, 1, 2, 4, 8, 16, 17, 20, 2, 8});

constexpr auto kSampleRates =
    std::to_array<double>({48000, 44100, 96000, 48000, 1, 0, 32000, 192000, -48000, kNaN, kInfinity,
                           1e300, 8000, 0.5, 4294967296.0});
constexpr auto kSampleBits = std::to_array<uint32_t>({24, 16, 32, 24, 8, 0, 20, 64, 7});
constexpr auto kLayoutTags = std::to_array<uint32_t>(
    {kAudioChannelLayoutTag_Mono, kAudioChannelLayoutTag_Stereo, (121u << 16) | 6, (147u << 16) | 8,
     kAudioChannelLayoutTag_UseChannelBitmap, kAudioChannelLayoutTag_UseChannelDescriptions,
     0xffff0000});

constexpr auto kFormatNames = std::to_array<const char*>(
    {"Apple ProRes 422 HQ", "Apple ProRes 422", "Component Y'CbCr 8-bit 4:2:2", "10-bit 4:2:2",
     "DVCPRO HD 1080i50", "DVCPRO HD 1080i60", "DVCPRO HD", "XDCAM HD422 1080i50 (50 Mb/s)",
     "Avid DNxHD", "", "DVCPRO HDX", "Apple ProRes 4444 XQ with a name longer than its field"});
constexpr auto kReelNames =
    std::to_array<const char*>({"001", "A001", "B002", "", "Reel \xc3\xa9t\xc3\xa9",
                                "\xe6\x97\xa5\xe6\x9c\xac", "V210", "C003"});
constexpr auto kSoftwareNames = std::to_array<const char*>({"premoov", "premoov 0.1", ""});
constexpr auto kLooseTexts = std::to_array<const char*>(
    {"", "30000", "1001", "apch", "value", "timescale", "com.apple.quicktime.title",
     "com.example.take", "$$Day", "$$Counter.3", "YES", "-1", "1e999", "0x10"});
constexpr auto kPathNames = std::to_array<const char*>(
    {"clip.mov", "A001C001_260101.mov", "Rec 1.mov", "", "d\xc3\xa9j\xc3\xa0.mov"});
// Patterns repeated to a length: one byte, two- and three-byte characters, a NUL, format
// directives and bytes that are no UTF-8.
constexpr auto kPatterns = std::to_array<std::string_view>(
    {"A", "\xc3\xa9", "\xe6\x97\xa5", std::string_view("x\0y", 3), "%n%s", "\xff\xfe", "\\"});
constexpr auto kLargeSizes = std::to_array<size_t>({41, 48, 100, 1000, 4096, 65536, 1 << 20});

struct Dimensions {
  int32_t width;
  int32_t height;
};
constexpr auto kDimensions = std::to_array<Dimensions>({{1920, 1080},
                                                        {1280, 720},
                                                        {720, 486},
                                                        {720, 480},
                                                        {720, 576},
                                                        {1440, 1080},
                                                        {960, 720},
                                                        {3840, 2160},
                                                        {4096, 2160},
                                                        {7680, 4320},
                                                        {0, 0},
                                                        {1, 1},
                                                        {32767, 32767},
                                                        {65535, 65535},
                                                        {-1920, -1080},
                                                        {2048, 1080}});

// A table's entry for any index: the index wraps.
template <typename Table>
const auto& pick(const Table& table, size_t index) {
  return table[index % table.size()];
}

std::string textOf(const TextChoice& c, std::span<const char* const> usual) {
  switch (c.source) {
    case TextChoice::Source::kUsual: return usual.empty() ? "" : pick(usual, c.index);
    case TextChoice::Source::kBytes: return c.bytes;
    case TextChoice::Source::kRepeated: {
      const std::string_view pattern = pick(kPatterns, c.index);
      std::string out;
      while (out.size() < c.length) out.append(pattern);
      out.resize(c.length);
      return out;
    }
  }
  return "";
}

Value numberOf(const NumberChoice& c, std::span<const int64_t> usual) {
  switch (c.source) {
    case NumberChoice::Source::kUsual:
      return Value::integer(usual.empty() ? 0 : pick(usual, c.index));
    case NumberChoice::Source::kSmall: return Value::integer(c.small);
    case NumberChoice::Source::kExtremeInteger:
      return Value::integer(pick(kExtremeIntegers, c.index));
    case NumberChoice::Source::kInteger: return Value::integer(c.integer);
    case NumberChoice::Source::kExtremeReal: return Value::real(pick(kExtremeReals, c.index));
    case NumberChoice::Source::kReal: return Value::real(c.real);
  }
  return Value::integer(0);
}

bool truthOf(const NumberChoice& c) {
  return c.index != 0 || c.small != 0 || c.integer != 0 || c.real != 0;
}

double secondsOf(const NumberChoice& c) {
  switch (c.source) {
    case NumberChoice::Source::kSmall: return c.small;
    case NumberChoice::Source::kInteger: return static_cast<double>(c.integer);
    case NumberChoice::Source::kExtremeReal: return pick(kExtremeReals, c.index);
    case NumberChoice::Source::kReal: return c.real;
    default: return static_cast<double>(pick(kExtremeIntegers, c.index));
  }
}

std::vector<uint8_t> dataOf(const DataChoice& c) {
  if (c.source == DataChoice::Source::kBytes) return c.bytes;
  return std::vector<uint8_t>(pick(kLargeSizes, c.sizeIndex), c.fill);
}

Value looseValueOf(const LooseValue& c) {
  switch (c.kind) {
    case ValueKind::kNumber: return numberOf(c.number, {});
    case ValueKind::kString: return Value::string(textOf(c.text, kLooseTexts));
    case ValueKind::kData: return Value::data(dataOf(c.data));
    case ValueKind::kArray: {
      Value array = Value::array();
      for (const NumberChoice& e : c.elements) array.append(numberOf(e, {}));
      return array;
    }
    case ValueKind::kDictionary: {
      Value dictionary = Value::dictionary();
      for (size_t i = 0; i < c.keys.size() && i < c.elements.size(); ++i) {
        dictionary.setObject(textOf(c.keys[i], kLooseTexts), numberOf(c.elements[i], {}));
      }
      return dictionary;
    }
    case ValueKind::kBoolean: return Value::boolean(truthOf(c.number));
    case ValueKind::kDate: return Value::date(secondsOf(c.number));
  }
  return Value();
}

CMTime timeOf(const TimeChoice& c) {
  CMTime t;
  switch (c.source) {
    case TimeChoice::Source::kUsual: {
      const FrameDuration& d = pick(kFrameDurations, c.index);
      t.value = d.value;
      t.timescale = d.timescale;
      break;
    }
    case TimeChoice::Source::kExtreme:
      t.value = pick(kExtremeTimeValues, c.index);
      t.timescale = pick(kExtremeTimeScales, c.scaleIndex);
      break;
    case TimeChoice::Source::kAny:
      t.value = c.value;
      t.timescale = c.timescale;
      break;
  }
  t.flags = c.flagsSource == TimeChoice::Flags::kValid ? kCMTimeFlags_Valid : c.flags;
  t.epoch = c.anyEpoch ? c.epoch : 0;
  return t;
}

Value timeDictionaryOf(const TimeChoice& c) {
  const CMTime t = timeOf(c);
  const std::array<const char*, 4> keys{kCMTimeValueKey, kCMTimeScaleKey, kCMTimeFlagsKey,
                                        kCMTimeEpochKey};
  const std::array<int64_t, 4> numbers{t.value, t.timescale, t.flags, t.epoch};
  const std::array<CFNumberType, 4> types{
      CFNumberType::kCFNumberSInt64Type, CFNumberType::kCFNumberSInt32Type,
      CFNumberType::kCFNumberSInt32Type, CFNumberType::kCFNumberSInt64Type};
  Value d = Value::dictionary();
  for (size_t i = 0; i < keys.size(); ++i) {
    if (c.shape == TimeChoice::Shape::kWhole || c.entry != i) {
      d.setObject(keys[i], Value::integer(numbers[i], types[i]));
    } else if (c.shape == TimeChoice::Shape::kRealEntry) {
      d.setObject(keys[i], Value::real(static_cast<double>(numbers[i])));
    } else if (c.shape == TimeChoice::Shape::kStringEntry) {
      d.setObject(keys[i], Value::string(std::to_string(numbers[i])));
    }
  }
  return d;
}

std::vector<uint8_t> pcmBytes(const StreamDescriptionChoice& c) {
  const uint32_t bits = pick(kSampleBits, c.bitsIndex);
  AudioStreamBasicDescription asbd;
  asbd.mSampleRate = pick(kSampleRates, c.rateIndex);
  asbd.mFormatID = kAudioFormatLinearPCM;
  asbd.mFormatFlags = (c.isFloat ? kAudioFormatFlagIsFloat : kAudioFormatFlagIsSignedInteger) |
                      (c.bigEndian ? kAudioFormatFlagIsBigEndian : 0) | kAudioFormatFlagIsPacked;
  asbd.mBytesPerPacket = c.channels * bits / 8;
  asbd.mFramesPerPacket = 1;
  asbd.mBytesPerFrame = c.channels * bits / 8;
  asbd.mChannelsPerFrame = c.channels;
  asbd.mBitsPerChannel = bits;
  return hostBytesOf(asbd);
}

Value streamDescriptionOf(const StreamDescriptionChoice& c) {
  switch (c.source) {
    case StreamDescriptionChoice::Source::kPcm: return Value::data(pcmBytes(c));
    case StreamDescriptionChoice::Source::kData: return Value::data(dataOf(c.data));
    case StreamDescriptionChoice::Source::kLoose: return looseValueOf(c.loose);
  }
  return Value();
}

Value channelLayoutOf(const ChannelLayoutChoice& c) {
  switch (c.source) {
    case ChannelLayoutChoice::Source::kTag:
      return Value::data(AudioChannelLayout{pick(kLayoutTags, c.tagIndex), 0, {}}.hostBytes());
    case ChannelLayoutChoice::Source::kDescriptions: {
      // Written by hand: the count field may say more or fewer than the descriptions that follow.
      std::vector<uint8_t> bytes(12 + 20 * size_t{c.descriptions}, 0);
      const uint32_t tag = kAudioChannelLayoutTag_UseChannelDescriptions;
      std::memcpy(bytes.data(), &tag, 4);
      std::memcpy(bytes.data() + 8, &c.count, 4);
      for (uint32_t i = 0; i < c.descriptions; ++i) {
        const uint32_t label = i + 1;
        std::memcpy(bytes.data() + 12 + 20 * i, &label, 4);
      }
      return Value::data(std::move(bytes));
    }
    case ChannelLayoutChoice::Source::kData: return Value::data(dataOf(c.data));
    case ChannelLayoutChoice::Source::kLoose: return looseValueOf(c.loose);
  }
  return Value();
}

Value extensionAtomsOf(const ExtensionAtomsChoice& c) {
  Value atoms = Value::dictionary();
  for (size_t i = 0; i < c.atoms.size(); ++i) {
    if (!c.present[i]) continue;
    atoms.setObject(ExtensionAtomsChoice::kNames[i],
                    c.loose[i] ? looseValueOf(c.looseAtoms[i]) : Value::data(dataOf(c.atoms[i])));
  }
  if (c.extra) atoms.setObject(textOf(c.extraKey, kLooseTexts), looseValueOf(c.extraValue));
  return atoms;
}

Value metadataItemOf(const MetadataItemChoice& c) {
  if (c.source == MetadataItemChoice::Source::kLoose) return looseValueOf(c.loose);
  auto item = std::make_shared<ZPRMetadataItem>();
  if (c.hasKey) item->setKey(textOf(c.key, kLooseTexts));
  using Type = MetadataItemChoice::Type;
  const uint32_t type = c.type == Type::kUnknown ? c.unknownType : static_cast<uint32_t>(c.type);
  item->setValueType(type);
  if (!c.matchingValue) {
    // A value of whatever kind, stored where the item's type looks for its value.
    const Value loose = looseValueOf(c.loose);
    switch (c.type) {
      case Type::kNumber: item->setNumberValue(loose); break;
      case Type::kDate: item->setDateValue(loose); break;
      case Type::kTokens: item->setTokenValues(loose); break;
      default:
        if (loose.isString()) item->setStringValue(loose.stringValue());
        break;
    }
    return Value::object(item);
  }
  switch (c.type) {
    case Type::kString:
    case Type::kUnknown: item->setStringValue(textOf(c.text, kLooseTexts)); break;
    case Type::kNumber: item->setNumberValue(numberOf(c.number, {})); break;
    case Type::kDate: item->setDateValue(Value::date(secondsOf(c.number))); break;
    case Type::kTokens: {
      Value tokens = Value::array();
      for (const TextChoice& t : c.tokens) tokens.append(Value::string(textOf(t, kLooseTexts)));
      item->setTokenValues(tokens);
      item->setStringValue(textOf(c.text, kLooseTexts));
      break;
    }
  }
  return Value::object(item);
}

Value dimensionsOf(const DimensionsChoice& c) {
  Dimensions d{c.width, c.height};
  if (c.source == DimensionsChoice::Source::kData) return Value::data(dataOf(c.data));
  if (c.source == DimensionsChoice::Source::kUsual) d = pick(kDimensions, c.index);
  std::vector<uint8_t> bytes(8);
  std::memcpy(bytes.data(), &d.width, 4);
  std::memcpy(bytes.data() + 4, &d.height, 4);
  return Value::data(std::move(bytes));
}

template <typename T, typename Make>
void put(Value& settings, const char* key, const Setting<T>& s, Make make) {
  if (s.presence == Presence::kRightKind) settings.setObject(key, make(s.right));
  if (s.presence == Presence::kWrongKind) settings.setObject(key, looseValueOf(s.wrong));
}

template <typename T, typename Make>
Value arrayOf(const std::vector<T>& elements, Make make) {
  Value array = Value::array();
  for (const T& e : elements) array.append(make(e));
  return array;
}

constexpr std::array<const char*, kNumberSettings> kNumberKeys{
    settings_key::kVideoCodec,          settings_key::kMaxVideoFrameSize,
    settings_key::kFirstFrameOverhead,  settings_key::kNumberOfFields,
    settings_key::kFieldOrder,          settings_key::kHorizontalSpacing,
    settings_key::kVerticalSpacing,     settings_key::kColorPrimaries,
    settings_key::kTransferFunction,    settings_key::kMatrix,
    settings_key::kNumberOfAudioTracks,
};
constexpr std::array<const char*, kBooleanSettings> kBooleanKeys{
    settings_key::kIsLongGOP, settings_key::kTimecodeIsDropFrame, settings_key::kGlobalTimecode,
    settings_key::kAddClosedCaptionTrack};
constexpr std::array<const char*, kTextSettings> kTextKeys{
    settings_key::kFormatName, settings_key::kReelName, settings_key::kSoftware};

// The recording's length in the video's own time scale (the layout divides it by the frame
// duration's value as it is), so that the usual choices give whole seconds of video.
CMTime durationOf(const DurationChoice& c, const HeaderRequestChoice& request) {
  if (c.source == DurationChoice::Source::kTime) return timeOf(c.time);
  CMTime frame = CMTimeMake(1001, 30000);
  if (request.frameDuration.presence == Presence::kRightKind) {
    frame = timeOf(request.frameDuration.right);
  }
  // Wrapping arithmetic: extreme frame durations make extreme lengths, not undefined ones.
  const auto scale = static_cast<uint64_t>(static_cast<int64_t>(frame.timescale));
  const uint64_t seconds =
      c.source == DurationChoice::Source::kHours ? uint64_t{c.hours} * 3600 : c.seconds;
  const uint64_t value = seconds * scale + uint64_t{c.frames} * static_cast<uint64_t>(frame.value);
  return CMTimeMake(static_cast<int64_t>(value), frame.timescale);
}

uint32_t blockSizeOf(const BlockSizeChoice& c) {
  if (c.source == BlockSizeChoice::Source::kAny) return c.any;
  return c.exponent >= 32 ? 0 : uint32_t{1} << c.exponent;
}

std::string pathOf(const PathChoice& c) {
  switch (c.source) {
    case PathChoice::Source::kAbsolute: return "/tmp/premoov-fuzz/" + textOf(c.name, kPathNames);
    case PathChoice::Source::kEmpty: return "";
    case PathChoice::Source::kRelative: return "clips/" + textOf(c.name, kPathNames);
    case PathChoice::Source::kText: return textOf(c.name, kPathNames);
  }
  return "";
}

}  // namespace

std::span<const FrameDuration> usualFrameDurations() { return kFrameDurations; }
std::span<const double> usualSampleRates() { return kSampleRates; }
std::span<const uint32_t> usualSampleBits() { return kSampleBits; }
std::span<const uint32_t> usualLayoutTags() { return kLayoutTags; }

std::span<const int64_t> usualNumbers(NumberSetting setting) {
  switch (setting) {
    case kCodecSetting: return kCodecs;
    case kMaxFrameSizeSetting: return kFrameSizes;
    case kFirstFrameOverheadSetting: return kOverheads;
    case kFieldCountSetting: return kFieldCounts;
    case kFieldOrderSetting: return kFieldOrders;
    case kHorizontalSpacingSetting:
    case kVerticalSpacingSetting: return kSpacings;
    case kColorPrimariesSetting: return kPrimaries;
    case kTransferFunctionSetting: return kTransfers;
    case kMatrixSetting: return kMatrices;
    case kAudioTrackCountSetting: return kAudioTrackCounts;
    case kNumberSettings: break;
  }
  return {};
}

std::span<const char* const> usualTexts(TextSetting setting) {
  switch (setting) {
    case kFormatNameSetting: return kFormatNames;
    case kReelNameSetting: return kReelNames;
    case kSoftwareSetting: return kSoftwareNames;
    case kTextSettings: break;
  }
  return {};
}

HeaderRequest requestOf(const HeaderRequestChoice& c) {
  HeaderRequest request;
  Value& s = request.settings;
  for (size_t i = 0; i < kNumberSettings; ++i) {
    const auto usual = usualNumbers(static_cast<NumberSetting>(i));
    put(s, kNumberKeys[i], c.numbers[i], [&](const NumberChoice& n) { return numberOf(n, usual); });
  }
  put(s, settings_key::kVideoFrameDuration, c.frameDuration, timeDictionaryOf);
  for (size_t i = 0; i < kBooleanSettings; ++i) {
    put(s, kBooleanKeys[i], c.booleans[i], [](bool b) { return Value::boolean(b); });
  }
  for (size_t i = 0; i < kTextSettings; ++i) {
    const auto usual = usualTexts(static_cast<TextSetting>(i));
    put(s, kTextKeys[i], c.texts[i],
        [&](const TextChoice& t) { return Value::string(textOf(t, usual)); });
  }
  put(s, settings_key::kAsbds, c.streamDescriptions,
      [](const auto& list) { return arrayOf(list, streamDescriptionOf); });
  put(s, settings_key::kLayouts, c.channelLayouts,
      [](const auto& list) { return arrayOf(list, channelLayoutOf); });
  put(s, settings_key::kExtensionAtoms, c.extensionAtoms, extensionAtomsOf);
  put(s, settings_key::kMetadataItems, c.metadataItems,
      [](const auto& list) { return arrayOf(list, metadataItemOf); });
  put(s, settings_key::kVideoDimensions, c.dimensions, dimensionsOf);

  request.path = pathOf(c.path);
  request.newFile = c.newFile;
  request.blockSize = blockSizeOf(c.blockSize);
  request.duration = durationOf(c.duration, c);
  request.cancelFirst = c.cancelFirst;
  return request;
}

}  // namespace premoov::fuzzing
