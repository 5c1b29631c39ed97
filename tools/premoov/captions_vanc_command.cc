#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_writer.h"
#include "base/log.h"
#include "captions/ancillary_packets.h"
#include "captions/cc_utilities.h"
#include "captions/cdp_reader.h"
#include "media/pixel_formats.h"
#include "premoov/caption_sample_text.h"
#include "premoov/command_output.h"
#include "premoov/commands.h"

namespace premoov {

namespace {

// A frame's ancillary rows are a few rows of one picture line each; this bounds what one frame
// may ask to be read at once.
constexpr uint64_t kMaxFrameBytes = 256ull << 20;

std::string hexText(std::span<const uint8_t> bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (uint8_t byte : bytes) text += stringWithFormat("%02X", byte);
  return text;
}

// A cdp found by the scanner, as a "c708" sample: a 'ccdp' atom of its true size.
std::vector<uint8_t> ccdpSampleOf(std::span<const uint8_t> cdp) {
  ByteWriter atom;
  atom.u32(static_cast<uint32_t>(cdp.size() + 8));
  atom.fourCC(FourCC("ccdp"));
  atom.bytes(cdp);
  return atom.take();
}

// "1 frame", "2 frames".
std::string counted(uint64_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string framesText(uint64_t first, uint64_t count) {
  return count == 1 ? "frame " + std::to_string(first)
                    : "frames " + std::to_string(first) + "-" + std::to_string(first + count - 1);
}

// What the whole file gave.
struct VancTotals {
  uint64_t frames = 0;
  uint64_t captionPackets = 0;
  uint64_t otherPackets = 0;
  uint64_t packetsWithErrors = 0;
  uint64_t framesWithoutCaption = 0;
  uint64_t samplesWritten = 0;
};

// Prints each frame as the options ask, and collects the samples to write.
class VancPrinter {
 public:
  VancPrinter(const CaptionsVancOptions& options, FourCC format, std::ostream& out)
      : options_(options), format_(format), out_(out) {}

  void frame(uint64_t index, std::span<const uint8_t> rows) {
    ++totals_.frames;
    if (options_.recorder) {
      recorderFrame(index, rows);
    } else {
      scannedFrame(index, rows);
    }
  }

  // Ends a run of frames without packets, and answers the totals.
  const VancTotals& finish() {
    flushEmptyRun();
    return totals_;
  }
  const std::vector<uint8_t>& samples() const { return samples_; }

 private:
  void scannedFrame(uint64_t index, std::span<const uint8_t> rows) {
    const std::vector<AncillaryPacket> packets =
        findAncillaryPackets(rows, options_.bytesPerRow, format_);
    OrderedJson json;
    if (options_.json) {
      json["frame"] = index;
      json["packets"] = OrderedJson::array();
    }
    bool captioned = false;
    for (const AncillaryPacket& packet : packets) {
      std::optional<CaptionSampleContents> contents;
      if (packet.isCaption()) {
        ++totals_.captionPackets;
        const std::vector<uint8_t> sample = ccdpSampleOf(packet.userData);
        contents = readCaptionSample(FourCC("c708"), sample);
        if (!captioned && !options_.outPath.empty()) {
          samples_.insert(samples_.end(), sample.begin(), sample.end());
          ++totals_.samplesWritten;
        }
        captioned = true;
      } else {
        ++totals_.otherPackets;
      }
      const bool ok = packet.ok() && (!contents || contents->ok());
      if (!ok) ++totals_.packetsWithErrors;
      if (options_.json) {
        json["packets"].push_back(packetJson(packet, contents));
      } else {
        flushEmptyRun();
        out_ << packetLine(index, packet, contents) << '\n';
      }
    }
    if (!captioned) ++totals_.framesWithoutCaption;
    if (options_.json) {
      out_ << jsonText(json) << '\n';
    } else if (packets.empty()) {
      noteEmpty(index);
    }
  }

  void recorderFrame(uint64_t index, std::span<const uint8_t> rows) {
    const CMSampleTimingInfo timing{kCMTimeInvalid, kCMTimeInvalid, kCMTimeInvalid};
    const CMSampleBufferRef sample = utilities_.createClosedCaptionSampleFromCEA708DataBuffer(
        rows.data(), static_cast<uint32_t>(rows.size()), options_.bytesPerRow, format_, timing);
    std::vector<uint8_t> bytes;
    if (sample) {
      const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample);
      bytes.resize(CMBlockBufferGetDataLength(block));
      if (CMBlockBufferCopyDataBytes(block, 0, bytes) != 0) bytes.clear();
      ++totals_.captionPackets;
      if (!options_.outPath.empty()) {
        samples_.insert(samples_.end(), bytes.begin(), bytes.end());
        ++totals_.samplesWritten;
      }
    } else {
      ++totals_.framesWithoutCaption;
    }
    std::optional<CaptionSampleContents> contents;
    if (sample) contents = readCaptionSample(FourCC("c708"), bytes);
    if (contents && !contents->ok()) ++totals_.packetsWithErrors;
    if (options_.json) {
      OrderedJson json;
      json["frame"] = index;
      json["sample"] = sample ? OrderedJson(hexText(bytes)) : OrderedJson(nullptr);
      out_ << jsonText(json) << '\n';
    } else if (!sample) {
      noteEmpty(index);
    } else {
      flushEmptyRun();
      out_ << "frame " << index << ": " << bytes.size() << " B: " << captionContentsText(*contents)
           << '\n';
    }
  }

  static std::string packetLine(uint64_t frame, const AncillaryPacket& packet,
                                const std::optional<CaptionSampleContents>& contents) {
    std::string line = stringWithFormat(
        "frame %llu row %zu %s @%zu: ", static_cast<unsigned long long>(frame), packet.row,
        std::string(ancillaryStreamName(packet.stream)).c_str(), packet.position);
    line += packet.isCaption() ? std::string("caption")
                               : stringWithFormat("DID %02X SDID %02X", packet.did, packet.sdid);
    line += ", " + std::to_string(packet.dataCount) + " words";
    if (packet.cutShort) {
      line += ", cut short by the row end";
    } else {
      if (packet.parityHolds) line += *packet.parityHolds ? ", parity ok" : ", parity error";
      line += packet.checksumHolds ? ", checksum ok" : ", checksum error";
    }
    if (contents) line += " | " + captionContentsText(*contents);
    return line;
  }

  static OrderedJson packetJson(const AncillaryPacket& packet,
                                const std::optional<CaptionSampleContents>& contents) {
    OrderedJson json;
    json["row"] = packet.row;
    json["stream"] = std::string(ancillaryStreamName(packet.stream));
    json["position"] = packet.position;
    json["did"] = packet.did;
    json["sdid"] = packet.sdid;
    json["dataCount"] = packet.dataCount;
    json["parityOk"] = packet.parityHolds ? OrderedJson(*packet.parityHolds) : OrderedJson(nullptr);
    json["checksumOk"] = packet.checksumHolds;
    json["cutShort"] = packet.cutShort;
    json["caption"] = packet.isCaption();
    json["userData"] = hexText(packet.userData);
    if (contents) {
      json["cdpOk"] = contents->ok();
      OrderedJson pairs = OrderedJson::array();
      for (const LineTwentyOnePair& pair : contents->pairs) {
        OrderedJson p;
        p["field"] = pair.field;
        p["bytes"] = hexText(pair.bytes);
        p["valid"] = pair.valid;
        pairs.push_back(std::move(p));
      }
      json["pairs"] = std::move(pairs);
    }
    return json;
  }

  // Frames without packets come in long runs: one line a run.
  void noteEmpty(uint64_t index) {
    if (emptyCount_ != 0 && emptyFirst_ + emptyCount_ == index) {
      ++emptyCount_;
      return;
    }
    flushEmptyRun();
    emptyFirst_ = index;
    emptyCount_ = 1;
  }

  void flushEmptyRun() {
    if (emptyCount_ == 0) return;
    out_ << framesText(emptyFirst_, emptyCount_) << ": "
         << (options_.recorder ? "no caption sample" : "no ancillary packet") << '\n';
    emptyCount_ = 0;
  }

  const CaptionsVancOptions& options_;
  FourCC format_;
  std::ostream& out_;
  ZPRCCUtilities utilities_;
  VancTotals totals_;
  std::vector<uint8_t> samples_;
  uint64_t emptyFirst_ = 0;
  uint64_t emptyCount_ = 0;
};

std::optional<FourCC> rowFormat(const std::string& name) {
  if (name == "v210") return kCVPixelFormatType_422YpCbCr10;
  if (name == "2vuy" || name == "UYVY") return kCVPixelFormatType_422YpCbCr8;
  return std::nullopt;
}

}  // namespace

int runCaptionsVancCommand(const CaptionsVancOptions& options, std::ostream& out,
                           std::ostream& err) {
  const std::optional<FourCC> format = rowFormat(options.format);
  if (!format) {
    err << "--format " << options.format << ": rows are v210 or 2vuy (UYVY)\n";
    return kExitBadInput;
  }
  if (options.bytesPerRow == 0 || options.rowsPerFrame == 0) {
    err << "--bytes-per-row and --rows-per-frame must be at least 1\n";
    return kExitBadInput;
  }
  const uint64_t frameBytes = uint64_t{options.bytesPerRow} * options.rowsPerFrame;
  if (frameBytes > kMaxFrameBytes) {
    err << "a frame of " << options.rowsPerFrame << " rows of " << options.bytesPerRow
        << " bytes is " << frameBytes << " bytes; frames of at most " << kMaxFrameBytes
        << " bytes are read\n";
    return kExitBadInput;
  }
  std::ifstream in(options.rowsPath, std::ios::binary);
  if (!in) {
    err << options.rowsPath << ": cannot be read\n";
    return kExitBadInput;
  }
  VancPrinter printer(options, *format, out);
  std::vector<uint8_t> frame(frameBytes);
  uint64_t index = 0;
  uint64_t leftOver = 0;
  while (!options.frameLimit || index < *options.frameLimit) {
    in.read(reinterpret_cast<char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
    const auto got = static_cast<uint64_t>(in.gcount());
    if (got < frame.size()) {
      leftOver = got;
      break;
    }
    printer.frame(index++, frame);
  }
  if (in.bad()) {
    err << options.rowsPath << ": cannot be read\n";
    return kExitBadInput;
  }
  const VancTotals& totals = printer.finish();
  if (!options.outPath.empty()) {
    std::ofstream samplesOut(options.outPath, std::ios::binary | std::ios::trunc);
    samplesOut.write(reinterpret_cast<const char*>(printer.samples().data()),
                     static_cast<std::streamsize>(printer.samples().size()));
    if (!samplesOut) {
      err << options.outPath << ": cannot be written\n";
      return kExitBadInput;
    }
  }
  if (!options.json) {
    out << counted(totals.frames, "frame") << ": "
        << counted(totals.captionPackets, options.recorder ? "caption sample" : "caption packet")
        << " (" << totals.packetsWithErrors << " with errors)";
    if (!options.recorder) out << ", " << counted(totals.otherPackets, "other packet");
    out << ", " << counted(totals.framesWithoutCaption, "frame") << " without captions";
    if (!options.outPath.empty()) {
      out << "; " << counted(totals.samplesWritten, "sample") << " written to " << options.outPath;
    }
    out << '\n';
  }
  int status = kExitSuccess;
  if (leftOver != 0) {
    err << options.rowsPath << ": the last " << leftOver << " bytes are not a whole frame of "
        << counted(options.rowsPerFrame, "row") << " of " << options.bytesPerRow
        << " bytes; they are not read\n";
    status = kExitBadInput;
  }
  if (totals.packetsWithErrors != 0) {
    err << options.rowsPath << ": "
        << counted(totals.packetsWithErrors, options.recorder ? "caption sample" : "packet")
        << " with errors\n";
    status = kExitBadInput;
  }
  return status;
}

}  // namespace premoov
