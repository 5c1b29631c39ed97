#include "movie/movie_serializer.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <string_view>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "base/log.h"
#include "movie/metadata_atoms.h"
#include "movie/sample_table_atoms.h"

namespace premoov {
namespace {

constexpr int64_t kMaxU32 = std::numeric_limits<uint32_t>::max();

// The identity transform: a, b, u, c, d, v, x, y (16.16 fixed) and w (2.30 fixed).
constexpr std::array<uint32_t, 9> kUnityMatrix = {
    0x00010000, 0,          0,           // a, b, u
    0,          0x00010000, 0,           // c, d, v
    0,          0,          0x40000000,  // x, y, w
};

// Track header flags: enabled, used in the movie, in its preview and in its poster.
constexpr uint32_t kTrackEnabled = 0x1;
constexpr uint32_t kTrackInMovieAndPreviewAndPoster = 0x2 | 0x4 | 0x8;

constexpr uint16_t kGraphicsModeDitherCopy = 0x40;
constexpr uint16_t kOpColorGray = 0x8000;       // each of red, green and blue
constexpr uint16_t kLanguageEnglish = 0;        // Macintosh language code
constexpr uint32_t kVideoMediaHeaderFlags = 1;  // "no lean ahead", as QuickTime always writes

// 'alis' flag: the data lies in the file that holds the movie, no alias record follows.
constexpr uint32_t kAliasSelfReference = 1;

constexpr FourCC kMediaHandlerType("mhlr");
constexpr FourCC kDataHandlerType("dhlr");
constexpr FourCC kTimecodeDescriptionFormat("tmcd");

// The timecode description's fields before its 4-byte source reference: reserved, flags, time
// scale, frame duration, frames per second and a pad byte.
constexpr size_t kTimecodeFieldsBeforeSource = 18;
constexpr size_t kTimecodeSourceSize = 4;

// How the timecode media handler draws its text: 12 points, black on white. The size is written
// as 16.16, as FFmpeg does, which MediaInfo reads as a timecode media information atom.
constexpr int32_t kTimecodeTextSize = 12;
constexpr std::string_view kTimecodeFontName = "Lucida Grande";

bool fitsU32(int64_t v) { return v >= 0 && v <= kMaxU32; }
bool fitsI32(int64_t v) {
  return v >= std::numeric_limits<int32_t>::min() && v <= std::numeric_limits<int32_t>::max();
}
uint64_t nonNegative(int64_t v) { return v < 0 ? 0 : static_cast<uint64_t>(v); }

// A time or duration field: 64 bits in version 1 atoms, 32 bits in version 0 ones.
void timeField(ByteWriter& w, bool wide, int64_t v) {
  if (wide) {
    w.u64(nonNegative(v));
  } else {
    w.u32(static_cast<uint32_t>(std::min<uint64_t>(nonNegative(v), kMaxU32)));
  }
}

void writeMatrix(ByteWriter& w) {
  for (uint32_t entry : kUnityMatrix) w.u32(entry);  // matrix a, b, u, c, d, v, x, y, w
}

// A memory placeholder, or an alias to the file that holds the movie.
bool isSelfReference(const DataReference& reference, const DataReference& selfReference) {
  if (reference.type == HandleDataHandlerSubType) return true;
  return reference.type == AliasDataHandlerSubType && reference.path == selfReference.path;
}

bool usesSourceReference(const Media& media, const SampleDescription& description) {
  return media.type == TimeCodeMediaType && description.format == kTimecodeDescriptionFormat &&
         media.timecodeSourceUserData && !media.timecodeSourceUserData->texts.empty() &&
         description.body.size() >= kTimecodeFieldsBeforeSource + kTimecodeSourceSize;
}

uint32_t nextTrackID(const Movie& movie) {
  uint32_t next = movie.nextTrackID();
  for (const auto& track : movie.tracks) {
    if (track->trackID >= next && track->trackID < kMaxU32) next = track->trackID + 1;
  }
  return next;
}

void writeMovieHeader(ByteWriter& w, const Movie& movie) {
  const int64_t duration = movie.duration();
  const bool wide = !fitsU32(duration);
  AtomScope mvhd(w, FourCC("mvhd"), wide ? 1 : 0, 0);
  timeField(w, wide, 0);         // creation time
  timeField(w, wide, 0);         // modification time
  w.i32(movie.timescale);        // time scale, units per second
  timeField(w, wide, duration);  // duration, movie time scale
  w.i32(kFixed1);                // preferred rate, 16.16
  w.i16(kShortFixed1);           // preferred volume, 8.8
  w.zeros(10);                   // reserved
  writeMatrix(w);                // matrix
  w.u32(0);                      // preview time
  w.u32(0);                      // preview duration
  w.u32(0);                      // poster time
  w.u32(0);                      // selection time
  w.u32(0);                      // selection duration
  w.u32(0);                      // current time
  w.u32(nextTrackID(movie));     // next track ID
}

void writeTrackHeader(ByteWriter& w, const Track& track) {
  const int64_t duration = track.duration();
  const bool wide = !fitsU32(duration);
  const uint32_t flags = (track.enabled ? kTrackEnabled : 0) | kTrackInMovieAndPreviewAndPoster;
  AtomScope tkhd(w, FourCC("tkhd"), wide ? 1 : 0, flags);
  timeField(w, wide, 0);         // creation time
  timeField(w, wide, 0);         // modification time
  w.u32(track.trackID);          // track ID
  w.u32(0);                      // reserved
  timeField(w, wide, duration);  // duration, movie time scale
  w.zeros(8);                    // reserved
  w.i16(0);                      // layer
  w.i16(0);                      // alternate group: none, so every track plays (audio too)
  w.i16(track.volume);           // volume, 8.8
  w.u16(0);                      // reserved
  writeMatrix(w);                // matrix
  w.i32(track.width);            // track width, 16.16
  w.i32(track.height);           // track height, 16.16
}

void writeDimensions(ByteWriter& w, FourCC type, Fixed width, Fixed height) {
  AtomScope atom(w, type, 0, 0);
  w.i32(width);   // width, 16.16
  w.i32(height);  // height, 16.16
}

void writeApertureDimensions(ByteWriter& w, const ApertureDimensions& aperture) {
  AtomScope tapt(w, FourCC("tapt"));
  writeDimensions(w, FourCC("clef"), aperture.cleanWidth, aperture.cleanHeight);
  writeDimensions(w, FourCC("prof"), aperture.productionWidth, aperture.productionHeight);
  writeDimensions(w, FourCC("enof"), aperture.encodedWidth, aperture.encodedHeight);
}

void writeEdits(ByteWriter& w, const std::vector<Edit>& edits) {
  const bool wide = std::any_of(edits.begin(), edits.end(), [](const Edit& edit) {
    return !fitsU32(edit.trackDuration) || !fitsI32(edit.mediaTime);
  });
  AtomScope edts(w, FourCC("edts"));
  AtomScope elst(w, FourCC("elst"), wide ? 1 : 0, 0);
  w.u32(static_cast<uint32_t>(edits.size()));  // number of entries
  for (const Edit& edit : edits) {
    timeField(w, wide, edit.trackDuration);  // track duration, movie time scale
    if (wide) {
      w.i64(edit.mediaTime);  // media time, media time scale; -1 for an empty edit
    } else {
      w.i32(static_cast<int32_t>(edit.mediaTime));  // media time, media time scale; -1: empty
    }
    w.i32(edit.rate);  // media rate, 16.16
  }
}

void writeTrackReferences(ByteWriter& w, const std::vector<TrackReference>& references) {
  AtomScope tref(w, FourCC("tref"));
  for (const TrackReference& reference : references) {
    AtomScope typed(w, reference.type);
    for (uint32_t trackID : reference.trackIDs) w.u32(trackID);  // track ID
  }
}

void writeMediaHeader(ByteWriter& w, const Media& media, int64_t duration) {
  const bool wide = !fitsU32(duration);
  AtomScope mdhd(w, FourCC("mdhd"), wide ? 1 : 0, 0);
  timeField(w, wide, 0);         // creation time
  timeField(w, wide, 0);         // modification time
  w.i32(media.timescale);        // time scale, units per second
  timeField(w, wide, duration);  // duration, media time scale
  w.u16(kLanguageEnglish);       // language
  w.u16(0);                      // quality
}

void writeHandler(ByteWriter& w, FourCC componentType, FourCC subtype) {
  AtomScope hdlr(w, FourCC("hdlr"), 0, 0);
  w.fourCC(componentType);  // component type
  w.fourCC(subtype);        // component subtype
  w.u32(0);                 // component manufacturer
  w.u32(0);                 // component flags
  w.u32(0);                 // component flags mask
  w.u8(0);                  // component name: empty Pascal string, NUL-terminated too
}

void writeVideoMediaHeader(ByteWriter& w) {
  AtomScope vmhd(w, FourCC("vmhd"), 0, kVideoMediaHeaderFlags);
  w.u16(kGraphicsModeDitherCopy);  // graphics mode
  w.u16(kOpColorGray);             // opcolor red
  w.u16(kOpColorGray);             // opcolor green
  w.u16(kOpColorGray);             // opcolor blue
}

void writeSoundMediaHeader(ByteWriter& w) {
  AtomScope smhd(w, FourCC("smhd"), 0, 0);
  w.i16(0);  // balance, 8.8: centre
  w.u16(0);  // reserved
}

void writeTimecodeMediaInformation(ByteWriter& w) {
  AtomScope tmcd(w, FourCC("tmcd"));
  AtomScope tcmi(w, FourCC("tcmi"), 0, 0);
  w.u16(0);                                              // text font: the system font
  w.u16(0);                                              // text face: plain
  w.i32(IntToFixed(kTimecodeTextSize));                  // text size in points, 16.16
  w.u16(0);                                              // text colour red
  w.u16(0);                                              // text colour green
  w.u16(0);                                              // text colour blue
  w.u16(0xFFFF);                                         // background colour red
  w.u16(0xFFFF);                                         // background colour green
  w.u16(0xFFFF);                                         // background colour blue
  w.u8(static_cast<uint8_t>(kTimecodeFontName.size()));  // font name length
  w.text(kTimecodeFontName);                             // font name
}

// Timecode and caption media have the base media header; timecode adds how its text is drawn.
void writeBaseMediaHeader(ByteWriter& w, bool timecode) {
  AtomScope gmhd(w, FourCC("gmhd"));
  {
    AtomScope gmin(w, FourCC("gmin"), 0, 0);
    w.u16(kGraphicsModeDitherCopy);  // graphics mode
    w.u16(kOpColorGray);             // opcolor red
    w.u16(kOpColorGray);             // opcolor green
    w.u16(kOpColorGray);             // opcolor blue
    w.i16(0);                        // balance, 8.8: centre
    w.u16(0);                        // reserved
  }
  if (timecode) writeTimecodeMediaInformation(w);
}

// One data reference to the file that holds the movie. FFmpeg reads an 'alis' entry only when it
// carries a full alias record, ignores the self-reference flag and drops entries it does not know
// while moving later ones down; a placeholder before an alias would thus send sample description
// index 1 to an "external track". A lone 12-byte self-referencing 'alis' reads as "this file" in
// FFmpeg, MediaInfo and mp4box.js alike, so every description uses it whatever the media holds.
void writeDataInformation(ByteWriter& w) {
  AtomScope dinf(w, FourCC("dinf"));
  AtomScope dref(w, FourCC("dref"), 0, 0);
  w.u32(1);  // number of entries
  AtomScope alis(w, AliasDataHandlerSubType, 0, kAliasSelfReference);
}

// The timecode description's source reference, the reel name, is written as bare text atoms in
// place of its 4-byte placeholder, as QuickTime, FFmpeg and MediaInfo lay it out (not in 'udta').
void writeSourceReference(ByteWriter& w, const UserDataRecord& userData) {
  for (const UserDataText& text : userData.texts) {
    const std::string_view bytes(text.text.data(), std::min<size_t>(text.text.size(), 0xFFFF));
    AtomScope item(w, text.type);
    w.u16(static_cast<uint16_t>(bytes.size()));  // text length
    w.i16(text.regionCode);                      // language: Macintosh code, 0 is English
    w.text(bytes);                               // text
  }
}

void writeSampleDescription(ByteWriter& w, const Media& media,
                            const SampleDescriptionHandle& description) {
  AtomScope entry(w, description ? description->format : FourCC());
  w.zeros(6);  // reserved
  w.u16(1);    // data reference index: the movie's own file
  if (!description) return;
  const std::span<const uint8_t> body = description->body;
  if (usesSourceReference(media, *description)) {
    w.bytes(body.first(kTimecodeFieldsBeforeSource));
    writeSourceReference(w, *media.timecodeSourceUserData);
    w.bytes(body.subspan(kTimecodeFieldsBeforeSource + kTimecodeSourceSize));
  } else {
    w.bytes(body);
  }
}

void writeSampleTable(ByteWriter& w, const Media& media) {
  AtomScope stbl(w, FourCC("stbl"));
  {
    AtomScope stsd(w, FourCC("stsd"), 0, 0);
    w.u32(static_cast<uint32_t>(media.descriptions.size()));  // number of entries
    for (const auto& description : media.descriptions) {
      writeSampleDescription(w, media, description);
    }
  }
  writeSampleTableAtoms(w, media.runs);
}

void writeMediaInformation(ByteWriter& w, const Media& media) {
  AtomScope minf(w, FourCC("minf"));
  if (media.type == VideoMediaType) {
    writeVideoMediaHeader(w);
  } else if (media.type == SoundMediaType) {
    writeSoundMediaHeader(w);
  } else {
    writeBaseMediaHeader(w, media.type == TimeCodeMediaType);
  }
  writeHandler(w, kDataHandlerType, AliasDataHandlerSubType);
  writeDataInformation(w);
  writeSampleTable(w, media);
}

void writeMedia(ByteWriter& w, const Media& media) {
  AtomScope mdia(w, FourCC("mdia"));
  writeMediaHeader(w, media, media.duration());
  writeHandler(w, kMediaHandlerType, media.type);
  writeMediaInformation(w, media);
}

void writeTrack(ByteWriter& w, const Track& track) {
  AtomScope trak(w, FourCC("trak"));
  writeTrackHeader(w, track);
  if (track.aperture) writeApertureDimensions(w, *track.aperture);
  if (!track.edits.empty()) writeEdits(w, track.edits);
  if (!track.references.empty()) writeTrackReferences(w, track.references);
  writeMedia(w, *track.media);
}

}  // namespace

std::optional<std::string> serializationProblem(const Movie& movie,
                                                const DataReference& selfReference) {
  if (movie.timescale <= 0) {
    return stringWithFormat("the movie's time scale is %d", movie.timescale);
  }
  for (const auto& track : movie.tracks) {
    const Track& t = *track;
    if (!t.media) return stringWithFormat("track %u has no media", t.trackID);
    const Media& media = *t.media;
    if (media.timescale <= 0) {
      return stringWithFormat("track %u: its media's time scale is %d", t.trackID, media.timescale);
    }
    for (const auto& reference : media.dataReferences) {
      if (!isSelfReference(reference.reference, selfReference)) {
        return stringWithFormat("track %u refers to data other than the movie's file: '%s' %s",
                                t.trackID, reference.reference.type.toString().c_str(),
                                reference.reference.path.c_str());
      }
    }
    for (size_t i = 0; i < media.descriptions.size(); ++i) {
      if (!media.descriptions[i]) {
        return stringWithFormat("track %u: sample description %zu is missing", t.trackID, i + 1);
      }
    }
    if (auto problem = media.runs.summary().problem(media.descriptions.size())) {
      return stringWithFormat("track %u: %s", t.trackID, problem->c_str());
    }
    if (media.timecodeSourceUserData) {
      for (const UserDataText& text : media.timecodeSourceUserData->texts) {
        if (text.text.size() > 0xFFFF) {
          return stringWithFormat("track %u: its source name is longer than 65535 bytes",
                                  t.trackID);
        }
      }
    }
  }
  for (const MetaDataItem& item : movie.metadata) {
    if (auto problem = metadataItemProblem(item)) return problem;
  }
  return std::nullopt;
}

void serializeMovie(const Movie& movie, const DataReference& /*selfReference*/,
                    std::vector<uint8_t>& out) {
  out.clear();
  ByteWriter w(std::move(out));
  {
    AtomScope moov(w, FourCC("moov"));
    writeMovieHeader(w, movie);
    for (const auto& track : movie.tracks) {
      if (track->media) writeTrack(w, *track);
    }
    writeUserDataAtom(w, movie.metadata);
    writeMetadataAtom(w, movie.metadata);
  }
  out = w.take();
}

std::vector<uint8_t> serializeMovie(const Movie& movie, const DataReference& selfReference) {
  std::vector<uint8_t> out;
  serializeMovie(movie, selfReference, out);
  return out;
}

}  // namespace premoov
