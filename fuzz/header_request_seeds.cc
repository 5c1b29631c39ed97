// The seed corpus of header_request: described requests (the bundled examples, the recorder's
// usual formats, and the hostile requests that have broken the writer before), each written as
// the bytes from which the fuzzer reads it back.
//   header_request_seeds DIR          writes DIR/NAME for every seed
//   header_request_seeds --check DIR  fails unless DIR holds exactly those files and bytes
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/four_char_code.h"
#include "choice_encoder.h"
#include "fuzzed_choices.h"
#include "header_request_choice.h"
#include "header_request_values.h"
#include "media/audio_types.h"

namespace {

using namespace premoov::fuzzing;
namespace fs = std::filesystem;

// Where `value` stands in a table (a NaN finds the table's NaN).
template <typename T, typename U>
uint8_t indexIn(std::span<const T> table, const U& value) {
  const auto found = std::find_if(table.begin(), table.end(), [&](const T& entry) {
    return entry == value || (entry != entry && value != value);
  });
  if (found == table.end()) throw std::invalid_argument("value not in its table");
  return static_cast<uint8_t>(found - table.begin());
}

NumberChoice integer(int64_t v) { return {.source = NumberChoice::Source::kInteger, .integer = v}; }

NumberChoice real(double v) { return {.source = NumberChoice::Source::kReal, .real = v}; }

TextChoice text(std::string s) {
  if (s.size() > kMaxText) throw std::invalid_argument("text longer than a choice reads");
  return {.source = TextChoice::Source::kBytes, .bytes = std::move(s)};
}

// `length` bytes of pattern `pattern` (0 "A", 1 "é", 2 "日", ...).
TextChoice repeated(uint8_t pattern, uint16_t length) {
  return {.source = TextChoice::Source::kRepeated, .index = pattern, .length = length};
}

TimeChoice time(int64_t value, int32_t timescale) {
  return {.source = TimeChoice::Source::kAny, .value = value, .timescale = timescale};
}

template <typename T>
Setting<T> right(T value) {
  return {.presence = Presence::kRightKind, .right = std::move(value)};
}

Setting<bool> yes() { return right(true); }

LooseValue loose(ValueKind kind) {
  LooseValue v{.kind = kind};
  switch (kind) {
    case ValueKind::kString: v.text = text("30000"); break;
    case ValueKind::kData: v.data.bytes = {0x00, 0x00, 0x75, 0x30}; break;
    case ValueKind::kArray: v.elements = {integer(1001), integer(30000)}; break;
    case ValueKind::kDictionary:
      v.keys = {text("value"), text("timescale")};
      v.elements = {integer(1001), integer(30000)};
      break;
    default: v.number = integer(1); break;
  }
  return v;
}

template <typename T>
Setting<T> wrong(ValueKind kind) {
  return {.presence = Presence::kWrongKind, .wrong = loose(kind)};
}

StreamDescriptionChoice pcm(double rate, uint8_t channels, uint32_t bits, bool bigEndian) {
  return {.source = StreamDescriptionChoice::Source::kPcm,
          .rateIndex = indexIn(usualSampleRates(), rate),
          .channels = channels,
          .bitsIndex = indexIn(usualSampleBits(), bits),
          .bigEndian = bigEndian};
}

ChannelLayoutChoice layoutTag(uint32_t tag) {
  return {.source = ChannelLayoutChoice::Source::kTag, .tagIndex = indexIn(usualLayoutTags(), tag)};
}

DimensionsChoice dimensions(int32_t width, int32_t height) {
  return {.source = DimensionsChoice::Source::kAny, .width = width, .height = height};
}

DurationChoice seconds(uint16_t s, uint8_t frames = 0) {
  return {.source = s < 60 ? DurationChoice::Source::kSeconds : DurationChoice::Source::kMinutes,
          .seconds = s,
          .frames = frames};
}

DurationChoice hours(uint8_t h) { return {.source = DurationChoice::Source::kHours, .hours = h}; }

DurationChoice duration(int64_t value, int32_t timescale) {
  return {.source = DurationChoice::Source::kTime, .time = time(value, timescale)};
}

// A recorder's usual request: video of `codec`, `audioTracks` tracks of `pcmAudio`, timecode in
// every group, a 4 KiB block, a new file at an absolute path.
HeaderRequestChoice usual(std::string_view codec, TimeChoice frameDuration, int32_t width,
                          int32_t height, int audioTracks, StreamDescriptionChoice pcmAudio,
                          uint32_t layout, DurationChoice length) {
  HeaderRequestChoice c;
  const auto code = premoov::FourCC::fromString(codec);
  if (!code) throw std::invalid_argument("codec of other than four characters");
  c.numbers[kCodecSetting] = right(integer(code->value));
  c.numbers[kFieldCountSetting] = right(integer(1));
  c.numbers[kHorizontalSpacingSetting] = right(integer(1));
  c.numbers[kVerticalSpacingSetting] = right(integer(1));
  c.numbers[kColorPrimariesSetting] = right(integer(1));
  c.numbers[kTransferFunctionSetting] = right(integer(1));
  c.numbers[kMatrixSetting] = right(integer(1));
  c.numbers[kAudioTrackCountSetting] = right(integer(audioTracks));
  c.frameDuration = right(frameDuration);
  c.booleans[kDropFrameSetting] = right(false);
  c.booleans[kGlobalTimecodeSetting] = right(false);
  c.booleans[kCaptionsSetting] = right(false);
  c.texts[kSoftwareSetting] = right(text("premoov"));
  c.streamDescriptions =
      right(std::vector<StreamDescriptionChoice>(static_cast<size_t>(audioTracks), pcmAudio));
  c.channelLayouts =
      right(std::vector<ChannelLayoutChoice>(static_cast<size_t>(audioTracks), layoutTag(layout)));
  c.dimensions = right(dimensions(width, height));
  c.duration = length;
  c.blockSize = {.exponent = 12};
  c.newFile = true;
  c.path = {.name = text("clip.mov")};
  return c;
}

constexpr uint32_t kMono = premoov::kAudioChannelLayoutTag_Mono;
constexpr uint32_t kStereo = premoov::kAudioChannelLayoutTag_Stereo;

struct Seed {
  std::string name;
  HeaderRequestChoice choice;
};

std::vector<Seed> seeds() {
  std::vector<Seed> out;
  const auto add = [&](std::string name, HeaderRequestChoice c) {
    out.push_back({std::move(name), std::move(c)});
  };

  // The bundled examples.
  {
    auto c = usual("apch", time(1001, 30000), 1920, 1080, 8, pcm(48000, 1, 24, true), kMono,
                   duration(107999892, 30000));
    c.numbers[kFieldCountSetting] = right(integer(2));
    c.numbers[kFieldOrderSetting] = right(integer(9));
    c.booleans[kDropFrameSetting] = yes();
    c.booleans[kCaptionsSetting] = yes();
    c.booleans[kLongGOPSetting] = right(false);
    c.texts[kFormatNameSetting] = right(text("Apple ProRes 422 HQ"));
    c.texts[kReelNameSetting] = right(text("A001"));
    c.path = {.source = PathChoice::Source::kText, .name = text("/tmp/premoov-example.mov")};
    add("example_prores_hq_1080i2997_8ch_1h", c);
  }
  {
    auto c = usual("2vuy", time(1000, 25000), 720, 576, 1, pcm(48000, 2, 16, true), kStereo,
                   duration(75000, 25000));
    c.numbers[kHorizontalSpacingSetting] = right(integer(59));
    c.numbers[kVerticalSpacingSetting] = right(integer(54));
    c.numbers[kColorPrimariesSetting] = right(integer(5));
    c.numbers[kMatrixSetting] = right(integer(6));
    c.numbers[kFieldOrderSetting] = right(integer(0));
    c.booleans[kGlobalTimecodeSetting] = yes();
    c.texts[kFormatNameSetting] = right(text("Component Y'CbCr 8-bit 4:2:2"));
    c.texts[kReelNameSetting] = right(text("B002"));
    c.path = {.source = PathChoice::Source::kText, .name = text("/tmp/premoov-2vuy-25p.mov")};
    add("example_2vuy_25p_global_tc", c);
  }
  {
    auto c = usual("2vuy", time(1001, 30000), 1280, 720, 2, pcm(48000, 1, 24, true), kMono,
                   duration(50050, 30000));
    c.numbers[kFieldOrderSetting] = right(integer(0));
    c.booleans[kDropFrameSetting] = yes();
    c.booleans[kCaptionsSetting] = yes();
    c.texts[kFormatNameSetting] = right(text("Component Y'CbCr 8-bit 4:2:2"));
    c.texts[kReelNameSetting] = right(text("C003"));
    c.path = {.source = PathChoice::Source::kText, .name = text("/tmp/premoov-2vuy-mid-group.mov")};
    add("example_2vuy_2997_mid_group", c);
  }
  {
    auto c = usual("2vuy", time(1001, 30000), 1280, 720, 1, pcm(48000, 2, 24, true), kStereo,
                   duration(30030, 30000));
    c.booleans[kDropFrameSetting] = yes();
    c.booleans[kCaptionsSetting] = yes();
    c.texts[kFormatNameSetting] = right(text("Component Y'CbCr 8-bit 4:2:2"));
    c.texts[kReelNameSetting] = right(text("META01"));
    c.texts[kSoftwareSetting] = right(text("premoov 0.1"));
    using Type = MetadataItemChoice::Type;
    const auto item = [](std::string key, Type type) {
      return MetadataItemChoice{
          .hasKey = true, .key = text(std::move(key)), .type = type, .matchingValue = true};
    };
    auto title = item("com.apple.quicktime.title", Type::kString);
    title.text = text("Interview, camera A");
    auto day = item("com.example.shoot-day", Type::kDate);
    day.number = real(816'942'600.0);  // 2026-11-21 08:30 UTC
    auto clip = item("com.example.clip-name", Type::kTokens);
    clip.tokens = {text("$$SourceName"), text("$$Dash"), text("$$Day#EEE"), text("$$Counter.3")};
    clip.text = text("CamA-Sat-007");
    auto take = item("com.example.take", Type::kNumber);
    take.number = integer(7);
    auto gain = item("com.example.gain", Type::kNumber);
    gain.number = real(2.5);
    c.metadataItems = right(std::vector<MetadataItemChoice>{title, day, clip, take, gain});
    c.path = {.source = PathChoice::Source::kText, .name = text("/tmp/premoov-metadata.mov")};
    add("example_metadata_items", c);
  }
  {
    auto c = usual("v210", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 16, false), kMono,
                   duration(30030, 30000));
    c.numbers[kFieldCountSetting] = right(integer(2));
    c.numbers[kFieldOrderSetting] = right(integer(9));
    c.booleans[kDropFrameSetting] = yes();
    c.booleans[kCaptionsSetting] = yes();
    c.texts[kFormatNameSetting] = right(text("10-bit 4:2:2"));
    c.texts[kReelNameSetting] = right(text("V210"));
    c.path = {.source = PathChoice::Source::kText, .name = text("/tmp/premoov-v210.mov")};
    add("example_v210_2997i_2ch_tc_cc", c);
  }

  // The recorder's other usual formats.
  {
    // XDCAM HD422 long-GOP at 25 fps: a 10 MiB room and one reference per frame.
    auto c = usual("xd5c", time(1, 25), 1920, 1080, 4, pcm(48000, 1, 24, true), kMono, seconds(60));
    c.numbers[kMaxFrameSizeSetting] = right(integer(400000));
    c.numbers[kFieldCountSetting] = right(integer(2));
    c.numbers[kFieldOrderSetting] = right(integer(1));
    c.booleans[kLongGOPSetting] = yes();
    c.texts[kFormatNameSetting] = right(text("XDCAM HD422 1080i50 (50 Mb/s)"));
    add("long_gop_xd5c_1080i25_4ch", c);
  }
  {
    auto c =
        usual("xd5c", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono, hours(1));
    c.numbers[kMaxFrameSizeSetting] = right(integer(420000));
    c.booleans[kLongGOPSetting] = yes();
    c.booleans[kCaptionsSetting] = yes();
    add("long_gop_xd5c_2997_1h", c);
  }
  {
    auto c = usual("dvh5", time(1, 25), 1920, 1080, 2, pcm(48000, 1, 16, true), kMono, seconds(30));
    c.numbers[kFieldCountSetting] = right(integer(2));
    c.texts[kFormatNameSetting] = right(text("DVCPRO HD 1080i50"));
    add("dvcpro_hd_1080i50", c);
  }
  {
    auto c = usual("dvhp", time(1001, 60000), 960, 720, 2, pcm(48000, 1, 16, true), kMono,
                   seconds(10, 7));
    c.texts[kFormatNameSetting] = right(text("DVCPRO HD 720p60"));
    add("dvcpro_hd_720p5994", c);
  }
  {
    auto c = usual("apcn", time(1000, 24000), 3840, 2160, 2, pcm(48000, 2, 24, true), kStereo,
                   seconds(90, 5));
    c.booleans[kCaptionsSetting] = yes();
    c.texts[kFormatNameSetting] = right(text("Apple ProRes 422"));
    add("prores_422_uhd_24p", c);
  }
  {
    auto c = usual("ap4x", time(1001, 24000), 4096, 2160, 1, pcm(96000, 2, 32, true), kStereo,
                   seconds(20));
    add("prores_4444xq_dci_23976", c);
  }
  {
    auto c =
        usual("AVdn", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono, seconds(5));
    c.extensionAtoms =
        right(ExtensionAtomsChoice{.present = {true, true, true},
                                   .atoms = {DataChoice{.bytes = std::vector<uint8_t>(16, 1)},
                                             DataChoice{.bytes = std::vector<uint8_t>(16, 2)},
                                             DataChoice{.bytes = std::vector<uint8_t>(64, 3)}}});
    add("dnxhd_1080i2997_extension_atoms", c);
  }
  {
    auto c = usual("2vuy", time(1001, 60000), 1280, 720, 16, pcm(48000, 1, 24, true), kMono,
                   seconds(120));
    c.booleans[kCaptionsSetting] = yes();
    c.booleans[kDropFrameSetting] = yes();
    add("2vuy_720p5994_16ch_cc", c);
  }
  {
    auto c = usual("apch", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono,
                   seconds(1, 3));
    c.numbers[kFirstFrameOverheadSetting] = right(integer(65536));
    c.blockSize = {.exponent = 0};
    add("prores_first_frame_overhead_block_1", c);
  }
  {
    auto c =
        usual("apch", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono, seconds(3));
    c.blockSize = {.exponent = 32};  // block size 0
    c.newFile = false;
    c.path = {.source = PathChoice::Source::kRelative, .name = text("clip.mov")};
    add("prores_block_size_0_relative_path", c);
  }
  {
    auto c = usual("apch", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono,
                   seconds(10));
    c.cancelFirst = true;
    add("cancelled_before_the_request", c);
  }
  add("empty_settings", HeaderRequestChoice{});
  {
    // Every setting of another kind than its own.
    HeaderRequestChoice c;
    const ValueKind kinds[] = {ValueKind::kString,     ValueKind::kData,    ValueKind::kArray,
                               ValueKind::kDictionary, ValueKind::kBoolean, ValueKind::kDate};
    size_t k = 0;
    for (auto& s : c.numbers) s = wrong<NumberChoice>(kinds[k++ % std::size(kinds)]);
    for (auto& s : c.booleans) s = wrong<bool>(kinds[k++ % std::size(kinds)]);
    for (auto& s : c.texts) s = wrong<TextChoice>(kinds[k++ % std::size(kinds)]);
    c.frameDuration = wrong<TimeChoice>(ValueKind::kArray);
    c.streamDescriptions = wrong<std::vector<StreamDescriptionChoice>>(ValueKind::kDictionary);
    c.channelLayouts = wrong<std::vector<ChannelLayoutChoice>>(ValueKind::kData);
    c.extensionAtoms = wrong<ExtensionAtomsChoice>(ValueKind::kArray);
    c.metadataItems = wrong<std::vector<MetadataItemChoice>>(ValueKind::kString);
    c.dimensions = wrong<DimensionsChoice>(ValueKind::kNumber);
    c.numbers[kMaxFrameSizeSetting] = right(integer(100000));
    c.duration = seconds(2);
    add("settings_of_the_wrong_kind", c);
  }
  {
    // Audio arrays whose elements are short, long, or not data, with more tracks than elements.
    auto c = usual("apcn", time(1, 25), 1920, 1080, 0, pcm(48000, 1, 24, true), kMono, seconds(4));
    c.numbers[kAudioTrackCountSetting] = right(integer(12));
    c.streamDescriptions = right(std::vector<StreamDescriptionChoice>{
        pcm(48000, 2, 24, true),
        {.source = StreamDescriptionChoice::Source::kData, .data = {.bytes = {1, 2, 3}}},
        {.source = StreamDescriptionChoice::Source::kData,
         .data = {.source = DataChoice::Source::kLarge, .sizeIndex = 4, .fill = 0x40}},
        {.source = StreamDescriptionChoice::Source::kLoose, .loose = loose(ValueKind::kString)},
        pcm(0, 0, 0, false),
    });
    c.channelLayouts = right(std::vector<ChannelLayoutChoice>{
        {.source = ChannelLayoutChoice::Source::kDescriptions, .descriptions = 2, .count = 9},
        {.source = ChannelLayoutChoice::Source::kData, .data = {.bytes = {0, 0}}},
        {.source = ChannelLayoutChoice::Source::kDescriptions,
         .descriptions = 3,
         .count = 0xffffffff},
    });
    add("audio_elements_short_long_and_loose", c);
  }

  // Requests that have broken the writer: rates it cannot divide by, groups that reference
  // nothing, lengths that cannot fit, long reel names, tracks without samples.
  {
    auto c = usual("apch", time(-1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono,
                   seconds(10));
    add("negative_frame_duration", c);
  }
  {
    auto c = usual("apch", time(1, 2000000000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono,
                   duration(2000000000, 2000000000));
    add("rate_above_a_billion_fps", c);
  }
  {
    auto c = usual("apch", time(-1, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono,
                   duration(INT64_MIN, 30000));
    add("duration_int64_min_frame_value_minus_1", c);
  }
  {
    auto c = usual("2vuy", time(1, 1), 1920, 1080, 16, pcm(1, 1, 24, true), kMono,
                   duration(INT32_MAX, 1));
    c.booleans[kGlobalTimecodeSetting] = yes();
    add("groups_that_reference_nothing", c);
  }
  {
    auto c =
        usual("apch", time(1001, 60000), 1920, 1080, 8, pcm(48000, 1, 24, true), kMono, hours(24));
    c.booleans[kCaptionsSetting] = yes();
    add("too_long_24h_5994", c);
  }
  {
    auto c =
        usual("apch", time(1001, 60000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono, hours(10));
    c.booleans[kGlobalTimecodeSetting] = yes();
    add("global_timecode_10h_5994", c);
  }
  {
    auto c =
        usual("apch", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono, seconds(2));
    c.texts[kReelNameSetting] = right(repeated(0, 200));
    add("reel_name_200_characters", c);
  }
  {
    auto c =
        usual("apch", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono, seconds(2));
    c.texts[kReelNameSetting] = right(repeated(1, 255));
    add("reel_name_255_bytes_of_two_byte_characters", c);
  }
  {
    auto c =
        usual("apch", time(1001, 30000), 1920, 1080, 2, pcm(48000, 1, 24, true), kMono, seconds(0));
    c.booleans[kCaptionsSetting] = yes();
    add("no_samples_zero_duration", c);
  }
  {
    // Audio of 0 Hz: its tracks get no samples while the video has some.
    auto c =
        usual("apch", time(1001, 30000), 1920, 1080, 2, pcm(0, 1, 24, true), kMono, seconds(3));
    add("audio_tracks_without_samples", c);
  }
  {
    // Groups of one caption sample each and sixteen empty audio runs, 2^31 - 1 of them: the
    // layout walks group by group until the caption tables fill the room.
    auto c = usual("2vuy", time(1, 1), 1920, 1080, 16, pcm(1, 1, 24, true), kMono,
                   duration(INT32_MAX, 1));
    c.booleans[kCaptionsSetting] = yes();
    add("caption_only_groups_at_1_fps", c);
  }
  {
    // Audio rates that are no media time scale: not a number, and past 32 bits.
    auto c = usual("apch", time(1001, 30000), 1920, 1080, 1,
                   pcm(std::numeric_limits<double>::quiet_NaN(), 1, 24, true), kMono, seconds(2));
    add("audio_rate_not_a_number", c);
    c.streamDescriptions = right(std::vector{pcm(4294967296.0, 1, 24, true)});
    add("audio_rate_past_32_bits", c);
  }
  return out;
}

std::vector<uint8_t> encode(HeaderRequestChoice choice) {
  ChoiceEncoder encoder;
  exchange(encoder, choice);
  return encoder.encoded();
}

// The fuzzer must read back what was described: every byte read, and the choices it reads
// written again give the same bytes.
void checkRoundTrip(const Seed& seed, const std::vector<uint8_t>& bytes) {
  FuzzedDataProvider provider(bytes.data(), bytes.size());
  FuzzedChoices choices(provider);
  HeaderRequestChoice read;
  exchange(choices, read);
  if (provider.remaining_bytes() != 0 || encode(read) != bytes) {
    throw std::runtime_error("seed " + seed.name + " does not read back as written");
  }
  (void)requestOf(read);
}

std::vector<uint8_t> fileBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

int run(bool checkOnly, const fs::path& dir) {
  std::set<std::string> names;
  int stale = 0;
  for (const Seed& seed : seeds()) {
    if (!names.insert(seed.name).second) throw std::runtime_error("two seeds named " + seed.name);
    const std::vector<uint8_t> bytes = encode(seed.choice);
    checkRoundTrip(seed, bytes);
    const fs::path path = dir / seed.name;
    if (checkOnly) {
      if (!fs::exists(path) || fileBytes(path) != bytes) {
        std::fprintf(stderr, "%s: not the bytes of its description\n", path.c_str());
        ++stale;
      }
      continue;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + path.string());
  }
  for (const auto& entry : fs::directory_iterator(dir)) {
    if (!names.contains(entry.path().filename().string()) &&
        !entry.path().filename().string().starts_with("found_")) {
      std::fprintf(stderr, "%s: no seed describes it\n", entry.path().c_str());
      ++stale;
    }
  }
  std::printf("%zu seeds %s %s\n", names.size(), checkOnly ? "checked in" : "written to",
              dir.c_str());
  return stale == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string_view> args(argv + 1, argv + argc);
  const bool checkOnly = !args.empty() && args[0] == "--check";
  if (args.size() != (checkOnly ? 2u : 1u)) {
    std::fprintf(stderr, "usage: header_request_seeds [--check] DIR\n");
    return 2;
  }
  try {
    const fs::path dir(args.back());
    if (!checkOnly) fs::create_directories(dir);
    return run(checkOnly, dir);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "header_request_seeds: %s\n", e.what());
    return 1;
  }
}
