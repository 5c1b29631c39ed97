#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "movie/movie.h"

namespace premoov::sample_movie {

// A short recording as the header writer lays it out: 2.002 s of 720x486 v210 video at
// 30000/1001 frames per second, 24-bit stereo PCM at 48 kHz, a drop-frame timecode track with a
// reel name and a CEA-708 caption track, interleaved one chunk of each per group, with a title
// in the user data and a take number in the metadata. The sample
// descriptions are made here by hand; the real builders live elsewhere.
inline constexpr int32_t kMovieTimeScale = 30000;
inline constexpr int64_t kFrameDuration = 1001;     // video time scale 30000
inline constexpr uint32_t kFrameSize = 1920 * 486;  // v210: 128 bytes per 48 pixels of a line
inline constexpr uint32_t kAudioFrameSize = 6;      // two 24-bit channels
inline constexpr uint32_t kTimecodeSampleSize = 4;
inline constexpr std::string_view kReelName = "A001C003";
inline constexpr std::string_view kTakeKey = "com.example.premoov.take";
inline constexpr std::string_view kTitle = "Growing take";
inline constexpr uint32_t kVideoTrackID = 1, kSoundTrackID = 2, kTimecodeTrackID = 3,
                          kCaptionTrackID = 4;

inline DataReference selfReference() {
  return DataReference{AliasDataHandlerSubType, "/recordings/growing.mov", {}};
}

inline std::vector<uint8_t> videoDescriptionBody() {
  ByteWriter w;
  w.u16(0);                  // version
  w.u16(0);                  // revision level
  w.fourCC(FourCC("appl"));  // vendor
  w.u32(0);                  // temporal quality
  w.u32(0x400);              // spatial quality: lossless
  w.u16(720);                // width
  w.u16(486);                // height
  w.u32(0x00480000);         // horizontal resolution, 72 dpi 16.16
  w.u32(0x00480000);         // vertical resolution
  w.u32(0);                  // data size
  w.u16(1);                  // frame count
  const std::string_view name = "Uncompressed 10-bit 4:2:2";
  w.u8(static_cast<uint8_t>(name.size()));  // compressor name length
  w.text(name);                             // compressor name
  w.zeros(31 - name.size());                // compressor name padding
  w.u16(24);                                // depth
  w.i16(-1);                                // colour table ID: none
  {
    AtomScope colr(w, FourCC("colr"));
    w.fourCC(FourCC("nclc"));  // colour parameter type
    w.u16(6);                  // primaries: SMPTE 170M
    w.u16(1);                  // transfer function: ITU-R BT.709
    w.u16(6);                  // matrix: SMPTE 170M
  }
  {
    AtomScope fiel(w, FourCC("fiel"));
    w.u8(2);  // fields
    w.u8(6);  // detail: bottom field first
  }
  return w.take();
}

// Version 2: integer PCM beyond 16 bits needs it.
inline std::vector<uint8_t> soundDescriptionBody() {
  ByteWriter w;
  w.u16(2);                // version
  w.u16(0);                // revision level
  w.u32(0);                // vendor
  w.u16(3);                // always 3
  w.u16(16);               // always 16
  w.i16(-2);               // always -2
  w.u16(0);                // always 0
  w.u32(0x00010000);       // always 65536
  w.u32(72);               // size of the structure only
  w.f64(48000.0);          // sample rate
  w.u32(2);                // channels
  w.u32(0x7F000000);       // always 0x7F000000
  w.u32(24);               // bits per channel
  w.u32(0x4 | 0x8);        // format flags: signed integer, packed (little-endian)
  w.u32(kAudioFrameSize);  // bytes per packet
  w.u32(1);                // frames per packet
  {
    AtomScope chan(w, FourCC("chan"), 0, 0);
    w.u32(0x650002);  // layout tag: stereo
    w.u32(0);         // channel bitmap
    w.u32(0);         // channel descriptions
  }
  return w.take();
}

inline std::vector<uint8_t> timecodeDescriptionBody() {
  ByteWriter w;
  w.u32(0);      // reserved
  w.u32(0x3);    // flags: drop frame, 24-hour maximum
  w.u32(30000);  // time scale
  w.u32(1001);   // frame duration
  w.u8(30);      // frames per second
  w.u8(0);       // reserved
  w.u32(0);      // source reference placeholder
  return w.take();
}

inline SampleDescriptionHandle description(FourCC format, std::vector<uint8_t> body) {
  return std::make_shared<SampleDescription>(SampleDescription{format, 1, std::move(body)});
}

// A 'hndl' placeholder first and the file's alias after it, as the toolbox leaves them.
inline std::unique_ptr<Media> newMedia(OSType type, TimeScale timescale) {
  auto media = std::make_unique<Media>();
  media->type = type;
  media->timescale = timescale;
  media->dataReferences.push_back({DataReference{HandleDataHandlerSubType, "", {0, 0, 0, 0}}, 0});
  media->dataReferences.push_back({selfReference(), 0});
  return media;
}

inline Track& addTrack(Movie& movie, uint32_t trackID, Fixed width, Fixed height, ShortFixed volume,
                       std::unique_ptr<Media> media) {
  auto track = std::make_unique<Track>();
  track->movie = &movie;
  track->trackID = trackID;
  track->width = width;
  track->height = height;
  track->volume = volume;
  // The whole media, from its start, converted to the movie time scale.
  track->edits.push_back(Edit{media->duration() * kMovieTimeScale / media->timescale, 0, kFixed1});
  track->media = std::move(media);
  movie.tracks.push_back(std::move(track));
  return *movie.tracks.back();
}

// Group sizes in video frames: a first frame alone (so a reader sees it early), then the rest.
inline const std::vector<uint32_t>& framesPerGroup() {
  static const std::vector<uint32_t> groups = {1, 29, 30};
  return groups;
}

// Media bytes start at `mediaStart`; the caption samples alternate between two sizes per group.
inline Movie makeMovie(uint64_t mediaStart) {
  auto video = newMedia(VideoMediaType, 30000);
  auto sound = newMedia(SoundMediaType, 48000);
  auto timecode = newMedia(TimeCodeMediaType, 30000);
  auto captions = newMedia(ClosedCaptionMediaType, 30000);
  video->descriptions.push_back(description(FourCC("v210"), videoDescriptionBody()));
  sound->descriptions.push_back(description(FourCC("lpcm"), soundDescriptionBody()));
  timecode->descriptions.push_back(description(FourCC("tmcd"), timecodeDescriptionBody()));
  captions->descriptions.push_back(description(FourCC("c708"), {}));
  timecode->timecodeSourceUserData = std::make_shared<UserDataRecord>();
  timecode->timecodeSourceUserData->texts.push_back({FourCC("name"), std::string(kReelName), 0});

  uint64_t offset = mediaStart;
  const auto add = [&](Media& media, uint32_t sampleSize, uint32_t count, uint32_t duration) {
    media.runs.push_back(
        {.offset = offset, .sampleSize = sampleSize, .count = count, .decodeDuration = duration});
    offset += uint64_t{sampleSize} * count;
  };
  uint32_t framesBefore = 0;
  for (size_t group = 0; group < framesPerGroup().size(); ++group) {
    const uint32_t frames = framesPerGroup()[group];
    if (group == 0) add(*timecode, kTimecodeSampleSize, 1, 60 * kFrameDuration);
    add(*video, kFrameSize, frames, kFrameDuration);
    // 1601.6 audio frames per video frame: the sound ends exactly where the video does.
    const auto audioBefore = static_cast<uint32_t>(uint64_t{framesBefore} * 8008 / 5);
    const auto audioAfter = static_cast<uint32_t>(uint64_t{framesBefore + frames} * 8008 / 5);
    add(*sound, kAudioFrameSize, audioAfter - audioBefore, 1);
    add(*captions, group == 0 ? 72 : 80, frames, kFrameDuration);
    framesBefore += frames;
  }

  Movie movie;
  movie.timescale = kMovieTimeScale;
  Track& videoTrack =
      addTrack(movie, kVideoTrackID, IntToFixed(720), IntToFixed(486), 0, std::move(video));
  videoTrack.aperture = ApertureDimensions{IntToFixed(704), IntToFixed(480), IntToFixed(720),
                                           IntToFixed(540), IntToFixed(720), IntToFixed(486)};
  videoTrack.references.push_back({FourCC("tmcd"), {kTimecodeTrackID}});
  addTrack(movie, kSoundTrackID, 0, 0, kShortFixed1, std::move(sound));
  addTrack(movie, kTimecodeTrackID, 0, 0, 0, std::move(timecode));
  addTrack(movie, kCaptionTrackID, 0, 0, 0, std::move(captions));
  const auto bytesOf = [](std::string_view s) { return std::vector<uint8_t>(s.begin(), s.end()); };
  movie.metadata.push_back({FourCC("mdta"), FourCC("mdta"), bytesOf(kTakeKey), bytesOf("7"), 1});
  movie.metadata.push_back(
      {FourCC("udta"), FourCC("udta"), {0xA9, 'n', 'a', 'm'}, bytesOf(kTitle), 1});
  return movie;
}

// Where the media of makeMovie(mediaStart) ends.
inline uint64_t mediaEnd(const Movie& movie) {
  uint64_t end = 0;
  for (const auto& track : movie.tracks) {
    for (const SampleRun& run : track->media->runs) {
      end = std::max(end, run.offset + uint64_t{run.sampleSize} * run.count);
    }
  }
  return end;
}

}  // namespace premoov::sample_movie
