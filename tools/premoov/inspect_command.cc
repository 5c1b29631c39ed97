#include <algorithm>
#include <sstream>

#include "movie/atom_tree.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/messages.h"
#include "premoov/metadata_summary.h"
#include "premoov/movie_file.h"
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

}  // namespace

int runInspectCommand(const std::string& moviePath, std::ostream& out, std::ostream& err) {
  auto movie = readMovieAtoms(moviePath);
  if (!movie) {
    err << movie.error() << '\n';
    return kExitBadInput;
  }
  const std::span<const uint8_t> bytes = movie->data();
  const AtomTree& tree = movie->tree;

  OrderedJson answer;
  answer["file"] = moviePath;
  answer["fileSize"] = movie->fileSize;
  answer["headerOnly"] = movie->headerOnly();
  answer["atoms"] = dumpLines(dumpAtomTree(tree, bytes));
  OrderedJson tracks = OrderedJson::array();
  for (const TrackSummary& track : summarizeTracks(tree.atoms, bytes)) {
    tracks.push_back(trackJson(track));
  }
  answer["tracks"] = std::move(tracks);
  OrderedJson metadata = OrderedJson::array();
  for (const MetadataSummary& item : summarizeMetadata(tree.atoms, bytes)) {
    OrderedJson entry;
    entry["storage"] = item.storage;
    entry["key"] = item.key;
    if (item.storage == "mdta") entry["dataType"] = item.dataType;
    entry["value"] = describeMetadataValue(item);
    entry["bytes"] = item.value.size();
    metadata.push_back(std::move(entry));
  }
  answer["metadata"] = std::move(metadata);
  if (tree.error) answer["error"] = tree.error->message();
  out << jsonText(answer, 2) << '\n';

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
