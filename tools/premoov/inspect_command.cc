#include <algorithm>
#include <sstream>

#include "base/byte_reader.h"
#include "movie/atom_tree.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"
#include "premoov/messages.h"
#include "premoov/metadata_summary.h"
#include "premoov/track_summary.h"
#include "requests/file_io.h"

namespace premoov {

namespace {

// The most bytes inspect reads: the header atoms of any recording fit well within this.
constexpr uint64_t kInspectLimit = 512ull * 1024 * 1024;

// What to read of a movie file: everything but the media data payload.
struct FileExtent {
  uint64_t bytesToRead = 0;  // from offset 0: every atom except 'mdat' whole, 'mdat' its header
  uint64_t atomsEnd = 0;     // the file's size, or the end of its 'mdat' when the media data
                             // is not written yet; no other atom may reach past the file
};

// Walks the top-level atom headers of the file without reading the media data. A header that
// makes no sense stops the walk; the parser then reads it and names the problem.
Result<FileExtent> extentOf(const std::string& path, uint64_t fileSize) {
  FileExtent extent{.bytesToRead = 0, .atomsEnd = fileSize};
  uint64_t at = 0;
  while (at < fileSize) {
    auto header = readFileRange(path, at, 16);
    if (!header) return unexpected(header.error());
    const auto* data = reinterpret_cast<const uint8_t*>(header->data());
    ByteReader reader(std::span<const uint8_t>(data, header->size()));
    const auto size32 = reader.u32();
    const auto type = reader.fourCC();
    if (!size32 || !type) break;
    uint64_t size = *size32;
    uint64_t headerSize = 8;
    if (*size32 == 1) {
      const auto size64 = reader.u64();
      if (!size64) break;
      size = *size64;
      headerSize = 16;
    } else if (*size32 == 0) {
      if (type->value == 0) {
        // Zeros to the end: what follows the media data of a file extended to the reply's file
        // size (which counts the 'mdat' header twice). Nothing to read there.
        extent.atomsEnd = at;
        at = fileSize;
        break;
      }
      size = fileSize - at;
    }
    if (size < headerSize || size > UINT64_MAX - at) break;
    const bool media = *type == FourCC("mdat");
    extent.bytesToRead = std::max(extent.bytesToRead, at + (media ? headerSize : size));
    if (media) extent.atomsEnd = std::max(extent.atomsEnd, at + size);
    at += size;
  }
  // Whatever follows the last sensible header is read too, so that the parser reports it.
  if (at < fileSize) extent.bytesToRead = std::max(extent.bytesToRead, std::min(fileSize, at + 16));
  extent.bytesToRead = std::min(extent.bytesToRead, fileSize);
  return extent;
}

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
  auto fileSize = fileSizeOf(moviePath);
  if (!fileSize) {
    err << fileSize.error() << '\n';
    return kExitBadInput;
  }
  auto extent = extentOf(moviePath, *fileSize);
  if (!extent) {
    err << extent.error() << '\n';
    return kExitBadInput;
  }
  if (extent->bytesToRead > kInspectLimit) {
    err << moviePath << ": " << kHeaderAtomsTooLarge << kInspectLimit << " bytes\n";
    return kExitBadInput;
  }
  auto text = readFileRange(moviePath, 0, static_cast<size_t>(extent->bytesToRead));
  if (!text) {
    err << text.error() << '\n';
    return kExitBadInput;
  }
  const std::span<const uint8_t> bytes(reinterpret_cast<const uint8_t*>(text->data()),
                                       text->size());
  const AtomTree tree = parseAtomTree(bytes, extent->atomsEnd);

  OrderedJson answer;
  answer["file"] = moviePath;
  answer["fileSize"] = *fileSize;
  // A header written before the recording: its media data atom reaches past the file's end.
  answer["headerOnly"] = extent->atomsEnd > *fileSize;
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
