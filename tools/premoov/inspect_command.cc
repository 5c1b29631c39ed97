#include <algorithm>
#include <sstream>

#include "base/byte_reader.h"
#include "movie/atom_tree.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/inspect_text.h"
#include "premoov/messages.h"
#include "premoov/metadata_summary.h"
#include "premoov/movie_file.h"
#include "premoov/sparse_file.h"
#include "premoov/track_summary.h"

namespace premoov {

namespace {

OrderedJson positionJson(const std::optional<SamplePosition>& position) {
  if (!position) return nullptr;
  OrderedJson json;
  json["offset"] = position->offset;
  json["size"] = position->size;
  return json;
}

OrderedJson trackJson(const TrackSummary& track) {
  OrderedJson json;
  json["trackID"] = track.trackID;
  json["kind"] = track.kind ? OrderedJson(track.kind->toString()) : OrderedJson(nullptr);
  json["codec"] = track.codec ? OrderedJson(track.codec->toString()) : OrderedJson(nullptr);
  json["sampleCount"] = track.sampleCount;
  json["timeScale"] = track.timeScale;
  json["duration"] = track.duration;
  json["seconds"] = track.timeScale != 0
                        ? OrderedJson(static_cast<double>(track.duration) / track.timeScale)
                        : OrderedJson(nullptr);
  json["firstSample"] = positionJson(track.firstSample);
  json["lastSample"] = positionJson(track.lastSample);
  if (!track.problems.empty()) json["problems"] = track.problems;
  return json;
}

OrderedJson dumpLines(const std::string& dump) {
  OrderedJson lines = OrderedJson::array();
  std::istringstream in(dump);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Where the recorder writes first: the first video frame, which follows the header room, or
// the media data when there is no video.
std::optional<uint64_t> recordingStart(const AtomTree& tree,
                                       const std::vector<TrackSummary>& tracks) {
  for (const TrackSummary& track : tracks) {
    if (track.kind == FourCC("vide") && track.firstSample) return track.firstSample->offset;
  }
  if (const AtomNode* mdat = findAtom(tree.atoms, "mdat")) return mdat->payloadOffset();
  return std::nullopt;
}

// The frame number in the first timecode sample, when the recorder has written it.
std::optional<uint32_t> timecodeStartFrame(const std::string& path,
                                           const std::vector<TrackSummary>& tracks) {
  for (const TrackSummary& track : tracks) {
    if (!track.details.timecode || !track.firstSample || track.firstSample->size != 4) continue;
    const auto bytes = writtenBytes(path, track.firstSample->offset, 4);
    if (!bytes) return std::nullopt;
    return *ByteReader(*bytes).u32();
  }
  return std::nullopt;
}

OrderedJson inspectJson(const InspectedMovie& inspected) {
  const MovieAtoms& movie = inspected.movie;
  OrderedJson answer;
  answer["file"] = inspected.path;
  answer["fileSize"] = movie.fileSize;
  answer["headerOnly"] = movie.headerOnly();
  answer["atoms"] = dumpLines(dumpAtomTree(movie.tree, movie.data()));
  OrderedJson tracks = OrderedJson::array();
  for (const TrackSummary& track : inspected.tracks) tracks.push_back(trackJson(track));
  answer["tracks"] = std::move(tracks);
  OrderedJson metadata = OrderedJson::array();
  for (const MetadataSummary& item : inspected.metadata) {
    OrderedJson entry;
    entry["storage"] = item.storage;
    entry["key"] = item.key;
    if (item.storage == "mdta") entry["dataType"] = item.dataType;
    entry["value"] = describeMetadataValue(item);
    entry["bytes"] = item.value.size();
    metadata.push_back(std::move(entry));
  }
  answer["metadata"] = std::move(metadata);
  if (movie.tree.error) answer["error"] = movie.tree.error->message();
  return answer;
}

}  // namespace

int runInspectCommand(const InspectOptions& options, std::ostream& out, std::ostream& err) {
  const std::string& moviePath = options.moviePath;
  auto movie = readMovieAtoms(moviePath);
  if (!movie) {
    err << movie.error() << '\n';
    return kExitBadInput;
  }
  const std::span<const uint8_t> bytes = movie->data();
  const AtomTree& tree = movie->tree;
  InspectedMovie inspected{.path = moviePath,
                           .movie = *movie,
                           .tracks = summarizeTracks(tree.atoms, bytes),
                           .metadata = summarizeMetadata(tree.atoms, bytes)};

  if (options.style == OutputStyle::kJson) {
    out << jsonText(inspectJson(inspected), 2) << '\n';
  } else {
    inspected.bytesOnDisk = bytesOnDisk(moviePath);
    if (const auto start = recordingStart(tree, inspected.tracks)) {
      inspected.mediaWritten = writtenFrom(moviePath, *start);
    }
    // The header itself may hold the timecode sample's slot, zeroed: it says nothing until the
    // recording has begun.
    if (inspected.mediaWritten != false) {
      inspected.timecodeStartFrame = timecodeStartFrame(moviePath, inspected.tracks);
    }
    printInspectText(inspected, options.atoms, out);
  }

  if (tree.error) {
    err << moviePath << ": " << tree.error->message() << '\n';
    return kExitBadInput;
  }
  if (findAtom(tree.atoms, "moov") == nullptr) {
    err << moviePath << ": " << kNoMovieAtom << '\n';
    return kExitBadInput;
  }
  return kExitSuccess;
}

}  // namespace premoov
