#include "premoov/inspect_text.h"

#include <sstream>

#include "base/log.h"
#include "captions/timecode_label.h"
#include "premoov/command_output.h"
#include "premoov/text_table.h"

namespace premoov {

namespace {

// "29.97", "25", "23.976": a rate with at most three decimals, trailing zeros dropped.
std::string rateText(double rate) {
  std::string text = stringWithFormat("%.3f", rate);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

std::string sampleRateText(double hertz) {
  if (hertz >= 1000) return rateText(hertz / 1000) + " kHz";
  return rateText(hertz) + " Hz";
}

// Frames a second of a track whose samples are its frames, from its count and duration.
std::optional<double> framesPerSecond(const TrackSummary& track) {
  if (track.duration == 0 || track.timeScale == 0 || track.sampleCount == 0) return std::nullopt;
  return static_cast<double>(track.sampleCount) * track.timeScale /
         static_cast<double>(track.duration);
}

std::string codecText(const TrackSummary& track) {
  if (!track.codec) return "?";
  std::string text = visibleText(track.codec->toString());
  if (track.details.video && track.details.video->compressorName) {
    return text + "  " + visibleText(*track.details.video->compressorName);
  }
  if (auto name = codecName(*track.codec)) text += "  " + std::string(*name);
  return text;
}

std::string formatText(const TrackSummary& track) {
  const TrackDetails& details = track.details;
  if (details.video) {
    std::string text =
        std::to_string(details.video->width) + "x" + std::to_string(details.video->height);
    if (auto fps = framesPerSecond(track)) text += ", " + rateText(*fps) + " fps";
    return text;
  }
  if (details.sound) {
    return sampleRateText(details.sound->sampleRate) + ", " +
           std::to_string(details.sound->channels) + " ch, " +
           std::to_string(details.sound->bitsPerChannel) + "-bit";
  }
  if (details.timecode) {
    const TimecodeDescription& tc = *details.timecode;
    std::string text = tc.frameDuration != 0
                           ? rateText(static_cast<double>(tc.timeScale) / tc.frameDuration) + " fps"
                           : std::string("? fps");
    if (tc.dropFrame) text += ", drop frame";
    return text;
  }
  if (auto fps = framesPerSecond(track)) return rateText(*fps) + " samples a second";
  return "";
}

std::string positionText(const std::optional<SamplePosition>& position) {
  return position ? groupedNumber(position->offset) : "-";
}

std::string sampleBytesText(const TrackSummary& track) {
  if (!track.firstSample || !track.lastSample) return "-";
  if (track.firstSample->size == track.lastSample->size) {
    return groupedNumber(track.firstSample->size);
  }
  return groupedNumber(track.firstSample->size) + " .. " + groupedNumber(track.lastSample->size);
}

void printFile(const InspectedMovie& inspected, std::ostream& out) {
  const MovieAtoms& movie = inspected.movie;
  out << visibleText(inspected.path) << '\n';
  if (movie.headerOnly()) {
    out << "  a movie header alone, " << groupedNumber(movie.fileSize)
        << " bytes: the recording it starts will be " << byteSizeText(movie.atomsEnd) << " ("
        << groupedNumber(movie.atomsEnd) << " bytes)\n";
  } else {
    out << "  QuickTime movie of " << byteSizeText(movie.fileSize) << " ("
        << groupedNumber(movie.fileSize) << " bytes)";
    if (inspected.bytesOnDisk) out << ", " << byteSizeText(*inspected.bytesOnDisk) << " on disk";
    out << '\n';
  }
  const AtomNode* moov = findAtom(movie.tree.atoms, "moov");
  const AtomNode* mdat = findAtom(movie.tree.atoms, "mdat");
  if (moov != nullptr) {
    out << "  movie header (moov) of " << groupedNumber(moov->size) << " bytes at "
        << groupedNumber(moov->offset);
    if (mdat != nullptr) out << "; media data (mdat) from " << groupedNumber(mdat->payloadOffset());
    out << '\n';
  }
  if (!movie.headerOnly() && inspected.mediaWritten && !*inspected.mediaWritten) {
    out << "  nothing recorded yet: past its header the file is a hole (sparse) that takes no\n"
           "  disk space until the recorder writes the media\n";
  }
}

void printTracks(const std::vector<TrackSummary>& tracks, std::ostream& out) {
  using Align = TextTable::Align;
  TextTable table({{"ID", Align::kRight},
                   {"kind"},
                   {"codec"},
                   {"format"},
                   {"samples", Align::kRight},
                   {"duration"},
                   {"first at", Align::kRight},
                   {"last at", Align::kRight},
                   {"sample bytes", Align::kRight}});
  for (const TrackSummary& track : tracks) {
    table.addRow(
        {std::to_string(track.trackID), trackKindName(track.kind), codecText(track),
         formatText(track), groupedNumber(track.sampleCount),
         clockText(track.timeScale != 0 ? std::optional<uint64_t>(track.duration) : std::nullopt,
                   track.timeScale),
         positionText(track.firstSample), positionText(track.lastSample), sampleBytesText(track)});
  }
  out << "\nTracks (offsets and sizes in bytes)\n";
  table.print(out, "  ");
}

void printTimecode(const InspectedMovie& inspected, std::ostream& out) {
  for (const TrackSummary& track : inspected.tracks) {
    if (!track.details.timecode) continue;
    const TimecodeDescription& tc = *track.details.timecode;
    out << "\nTimecode (track " << track.trackID << ")\n  ";
    if (inspected.timecodeStartFrame) {
      const auto counting = timecodeCountingForFrameDuration(
          CMTimeMake(static_cast<int64_t>(tc.frameDuration), static_cast<int32_t>(tc.timeScale)));
      if (counting) {
        out << "starts at "
            << labelText(labelOfFrameIndex(*inspected.timecodeStartFrame, *counting, tc.dropFrame));
      } else {
        out << "starts at frame " << *inspected.timecodeStartFrame;
      }
    } else {
      out << "start not recorded yet: the recorder writes it with the media";
    }
    out << "; " << (tc.dropFrame ? "drop frame" : "non-drop frame");
    out << "; reel " << (tc.reel ? "\"" + visibleText(*tc.reel) + "\"" : std::string("none"))
        << '\n';
    return;  // a recording has one timecode track
  }
}

std::string metadataValueText(const MetadataSummary& item) {
  // The growing-file flag: a big-endian 32-bit 1 while the file is being recorded.
  if (item.storage == "udta" && item.key == "fgff" && item.value.size() == 4) {
    const bool growing =
        item.value[3] != 0 || item.value[2] != 0 || item.value[1] != 0 || item.value[0] != 0;
    return growing ? "1 (growing-file flag: the file is still being recorded)"
                   : "0 (growing-file flag: the recording is finished)";
  }
  const std::string declared = describeMetadataValue(item);
  if (const auto swapped = describeMetadataValueByteSwapped(item)) {
    return declared + " (big-endian, as its type declares; " + *swapped +
           " in the byte order it was written)";
  }
  return declared;
}

void printMetadata(const std::vector<MetadataSummary>& metadata, std::ostream& out) {
  if (metadata.empty()) return;
  out << "\nMetadata\n";
  for (const MetadataSummary& item : metadata) {
    out << "  " << visibleText(item.key) << " = " << visibleText(metadataValueText(item)) << '\n';
  }
}

void printProblems(const InspectedMovie& inspected, std::ostream& out) {
  std::vector<std::string> problems;
  for (const TrackSummary& track : inspected.tracks) {
    for (const std::string& problem : track.problems) {
      problems.push_back("track " + std::to_string(track.trackID) + ": " + problem);
    }
  }
  if (inspected.movie.tree.error) problems.push_back(inspected.movie.tree.error->message());
  if (problems.empty()) return;
  out << "\nProblems\n";
  for (const std::string& problem : problems) out << "  " << visibleText(problem) << '\n';
}

}  // namespace

void printInspectText(const InspectedMovie& inspected, bool atoms, std::ostream& out) {
  printFile(inspected, out);
  if (!inspected.tracks.empty()) printTracks(inspected.tracks, out);
  printTimecode(inspected, out);
  printMetadata(inspected.metadata, out);
  printProblems(inspected, out);
  if (atoms) {
    out << "\nAtoms (offset @, size in bytes)\n";
    std::istringstream tree(dumpAtomTree(inspected.movie.tree, inspected.movie.data()));
    for (std::string line; std::getline(tree, line);) out << "  " << visibleText(line) << '\n';
  } else {
    out << "\nThe atom tree: --atoms. All of it as JSON: --json.\n";
  }
}

}  // namespace premoov
