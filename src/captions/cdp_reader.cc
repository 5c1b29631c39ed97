#include "captions/cdp_reader.h"

#include <algorithm>
#include <tuple>

#include "base/byte_reader.h"
#include "base/log.h"
#include "captions/cdp_layout.h"

namespace premoov {

namespace {

// cdp_future_section ids: each says its own length in the byte after the id.
constexpr uint8_t kFirstFutureSectionId = 0x75;
constexpr uint8_t kLastFutureSectionId = 0xEF;
constexpr size_t kAtomHeaderSize = 8;
constexpr size_t kCdpHeaderSize = 7;
constexpr size_t kCdpFooterSize = 4;
constexpr size_t kServiceEntrySize = 7;

struct Reader {
  std::span<const uint8_t> sample;
  CaptionSampleContents& contents;

  void problem(CaptionSampleProblemCode code, size_t offset, uint64_t found = 0,
               uint64_t expected = 0) {
    contents.problems.push_back(CaptionSampleProblem{code, offset, found, expected});
  }
};

CdpTimeCode timeCodeOf(std::span<const uint8_t, 4> b) {
  CdpTimeCode tc;
  tc.hours = static_cast<uint8_t>(((b[0] >> 4) & 0x3) * 10 + (b[0] & 0xF));
  tc.minutes = static_cast<uint8_t>(((b[1] >> 4) & 0x7) * 10 + (b[1] & 0xF));
  tc.fieldFlag = (b[2] & 0x80) != 0;
  tc.seconds = static_cast<uint8_t>(((b[2] >> 4) & 0x7) * 10 + (b[2] & 0xF));
  tc.dropFrame = (b[3] & 0x80) != 0;
  tc.frames = static_cast<uint8_t>(((b[3] >> 4) & 0x3) * 10 + (b[3] & 0xF));
  return tc;
}

CaptionServiceEntry serviceOf(std::span<const uint8_t, kServiceEntrySize> b) {
  CaptionServiceEntry s;
  s.serviceNumber = b[0] & 0x1F;
  s.language = {static_cast<char>(b[1]), static_cast<char>(b[2]), static_cast<char>(b[3])};
  s.digital = (b[4] & 0x80) != 0;
  if (s.digital) {
    s.digitalService = b[4] & 0x3F;
  } else {
    s.line21Field = b[4] & 0x01;
  }
  s.easyReader = (b[5] & 0x80) != 0;
  s.wideAspectRatio = (b[5] & 0x40) != 0;
  return s;
}

// The sections of a cdp from the byte after its header to `end` (cdp_length, or the sample's
// end when that comes first). Offsets in problems count from the sample; the cdp starts at 8.
void readSections(Reader& r, std::span<const uint8_t> cdp, size_t end, CdpFields& fields) {
  constexpr size_t base = kAtomHeaderSize;
  bool sawTimeCode = false, sawCcdata = false, sawServiceInfo = false;
  bool markersNoted = false;
  size_t pos = kCdpHeaderSize;
  const auto noteMarkers = [&](size_t at, uint8_t byte) {
    if (markersNoted) return;
    markersNoted = true;
    r.problem(CaptionSampleProblemCode::kMarkerBitsWrong, base + at, byte);
  };
  while (pos < end) {
    const uint8_t id = cdp[pos];
    const size_t left = end - pos;
    // A second section of a kind would leave two answers for one field: the cdp is read no
    // further.
    if ((id == kTimeCodeSectionId && sawTimeCode) || (id == kCcdataId && sawCcdata) ||
        (id == kCcsvcinfoId && sawServiceInfo)) {
      r.problem(CaptionSampleProblemCode::kSectionRepeated, base + pos, id);
      pos = end;
      break;
    }
    if (id == kTimeCodeSectionId) {
      sawTimeCode = true;
      if (left < 5) break;
      fields.timeCode = timeCodeOf(cdp.subspan(pos + 1).first<4>());
      pos += 5;
    } else if (id == kCcdataId) {
      sawCcdata = true;
      if (left < 2) break;
      const uint8_t head = cdp[pos + 1];
      if ((head & 0xE0) != 0xE0) noteMarkers(pos + 1, head);
      const uint8_t count = head & 0x1F;
      fields.ccCount = count;
      // Whole triplets only, as far as the section really reaches.
      const size_t whole = std::min<size_t>(count, (left - 2) / 3);
      for (size_t i = 0; i < whole; ++i) {
        const size_t at = pos + 2 + 3 * i;
        const uint8_t b = cdp[at];
        if ((b & 0xF8) != 0xF8) noteMarkers(at, b);
        fields.triplets.push_back(CcTriplet{.valid = (b & 0x04) != 0,
                                            .type = static_cast<uint8_t>(b & 0x03),
                                            .data = {cdp[at + 1], cdp[at + 2]}});
      }
      if (whole < count) break;
      pos += 2 + size_t{3} * count;
    } else if (id == kCcsvcinfoId) {
      sawServiceInfo = true;
      if (left < 2) break;
      const uint8_t head = cdp[pos + 1];
      CdpServiceInfo info;
      info.start = (head & 0x40) != 0;
      info.change = (head & 0x20) != 0;
      info.complete = (head & 0x10) != 0;
      info.count = head & 0x0F;
      const size_t whole = std::min<size_t>(info.count, (left - 2) / kServiceEntrySize);
      for (size_t i = 0; i < whole; ++i) {
        info.services.push_back(
            serviceOf(cdp.subspan(pos + 2 + kServiceEntrySize * i).first<kServiceEntrySize>()));
      }
      fields.serviceInfo = std::move(info);
      if (whole < fields.serviceInfo->count) break;
      pos += 2 + kServiceEntrySize * fields.serviceInfo->count;
    } else if (id == kCdpFooterId) {
      if (left < kCdpFooterSize) break;
      fields.footerSequence = static_cast<uint16_t>((cdp[pos + 1] << 8) | cdp[pos + 2]);
      fields.checksum = cdp[pos + 3];
      if (left > kCdpFooterSize) {
        r.problem(CaptionSampleProblemCode::kBytesAfterFooter, base + pos, left - kCdpFooterSize);
      }
      if (*fields.footerSequence != fields.headerSequence) {
        r.problem(CaptionSampleProblemCode::kCountersDisagree, base + pos + 1,
                  *fields.footerSequence, fields.headerSequence);
      }
      pos = end;
      break;
    } else if (id >= kFirstFutureSectionId && id <= kLastFutureSectionId) {
      if (left < 2 || left - 2 < cdp[pos + 1]) break;
      pos += 2 + size_t{cdp[pos + 1]};
    } else {
      r.problem(CaptionSampleProblemCode::kUnknownSection, base + pos, id);
      pos = end;
      break;
    }
  }
  if (pos < end) {
    r.problem(CaptionSampleProblemCode::kSectionCutShort, base + pos, cdp[pos]);
  }
  const bool complete = fields.footerSequence.has_value();
  if (!complete) r.problem(CaptionSampleProblemCode::kNoFooter, base + std::min(pos, end));

  // A section against its flag: present though not flagged always counts; flagged though absent
  // only when the cdp was read to its footer.
  const std::array<std::tuple<bool, bool, uint8_t>, 3> checks{{
      {fields.timeCodePresent, sawTimeCode, kTimeCodeSectionId},
      {fields.ccdataPresent, sawCcdata, kCcdataId},
      {fields.svcinfoPresent, sawServiceInfo, kCcsvcinfoId},
  }};
  for (const auto& [flagged, seen, sectionId] : checks) {
    if (seen != flagged && (seen || complete)) {
      r.problem(CaptionSampleProblemCode::kSectionNotFlagged, base + 4, sectionId, flagged);
    }
  }
}

void readCcdp(Reader& r) {
  const auto sample = r.sample;
  auto& contents = r.contents;
  if (sample.size() < kAtomHeaderSize) {
    r.problem(CaptionSampleProblemCode::kAtomCutShort, 0, sample.size(), kAtomHeaderSize);
    return;
  }
  ByteReader header(sample);
  const uint32_t atomSize = *header.u32();
  const FourCC type = *header.fourCC();
  if (type != FourCC("ccdp")) {
    r.problem(CaptionSampleProblemCode::kNotCcdpAtom, 4, type.value);
    return;
  }
  // Recorders have always kept only the size's low byte; the sample size is the one to trust.
  if (atomSize != sample.size()) {
    r.problem(CaptionSampleProblemCode::kAtomSizeDiffers, 0, atomSize, sample.size());
  }
  const auto cdp = sample.subspan(kAtomHeaderSize);
  if (cdp.size() < kCdpHeaderSize) {
    r.problem(CaptionSampleProblemCode::kCdpHeaderCutShort, kAtomHeaderSize, cdp.size(),
              kCdpHeaderSize);
    return;
  }
  CdpFields fields;
  fields.identifier = static_cast<uint16_t>((cdp[0] << 8) | cdp[1]);
  if (fields.identifier != kCdpIdentifier) {
    r.problem(CaptionSampleProblemCode::kWrongIdentifier, kAtomHeaderSize, fields.identifier,
              kCdpIdentifier);
    return;
  }
  fields.length = cdp[2];
  fields.frameRateCode = cdp[3] >> 4;
  const uint8_t flags = cdp[4];
  fields.timeCodePresent = (flags & 0x80) != 0;
  fields.ccdataPresent = (flags & 0x40) != 0;
  fields.svcinfoPresent = (flags & 0x20) != 0;
  fields.svcInfoStart = (flags & 0x10) != 0;
  fields.svcInfoChange = (flags & 0x08) != 0;
  fields.svcInfoComplete = (flags & 0x04) != 0;
  fields.captionServiceActive = (flags & 0x02) != 0;
  fields.headerSequence = static_cast<uint16_t>((cdp[5] << 8) | cdp[6]);
  if (!cdpFrameRateName(fields.frameRateCode)) {
    r.problem(CaptionSampleProblemCode::kReservedFrameRate, kAtomHeaderSize + 3,
              fields.frameRateCode);
  }

  if (fields.length < kCdpHeaderSize + kCdpFooterSize) {
    r.problem(CaptionSampleProblemCode::kCdpLengthTooShort, kAtomHeaderSize + 2, fields.length,
              kCdpHeaderSize + kCdpFooterSize);
    contents.cdp = std::move(fields);
    return;
  }
  size_t end = fields.length;
  if (end > cdp.size()) {
    r.problem(CaptionSampleProblemCode::kCdpLengthPastSample, kAtomHeaderSize + 2, fields.length,
              cdp.size());
    end = cdp.size();
  } else {
    if (end < cdp.size()) {
      r.problem(CaptionSampleProblemCode::kBytesAfterCdp, kAtomHeaderSize + end, cdp.size() - end);
    }
    uint8_t sum = 0;
    for (size_t i = 0; i < end; ++i) sum = static_cast<uint8_t>(sum + cdp[i]);
    fields.checksumHolds = sum == 0;
    if (sum != 0) {
      r.problem(CaptionSampleProblemCode::kChecksumWrong, kAtomHeaderSize + end - 1, sum,
                cdp[end - 1]);
    }
  }
  readSections(r, cdp, end, fields);
  for (const CcTriplet& triplet : fields.triplets) {
    if (triplet.type > 1) continue;
    contents.pairs.push_back(LineTwentyOnePair{.field = static_cast<uint8_t>(triplet.type + 1),
                                               .bytes = triplet.data,
                                               .valid = triplet.valid});
  }
  contents.cdp = std::move(fields);
}

void readPairBytes(Reader& r, size_t offset, size_t count, uint8_t field) {
  for (size_t i = 0; i + 1 < count; i += 2) {
    r.contents.pairs.push_back(LineTwentyOnePair{
        .field = field, .bytes = {r.sample[offset + i], r.sample[offset + i + 1]}, .valid = true});
  }
  if (count % 2 != 0) r.problem(CaptionSampleProblemCode::kOddPairBytes, offset + count - 1);
}

bool isPairAtom(FourCC type) { return type == FourCC("cdat") || type == FourCC("cdt2"); }

void readCea608(Reader& r) {
  const auto sample = r.sample;
  if (sample.empty()) {
    r.problem(CaptionSampleProblemCode::kEmptySample, 0);
    return;
  }
  ByteReader peek(sample);
  const bool atoms = sample.size() >= kAtomHeaderSize && peek.skip(4) && isPairAtom(*peek.fourCC());
  if (!atoms) {
    readPairBytes(r, 0, sample.size(), 1);
    return;
  }
  size_t pos = 0;
  while (pos < sample.size()) {
    const size_t left = sample.size() - pos;
    if (left < kAtomHeaderSize) {
      r.problem(CaptionSampleProblemCode::kPairAtomSizeWrong, pos, left, kAtomHeaderSize);
      return;
    }
    ByteReader header(sample.subspan(pos));
    const uint32_t size = *header.u32();
    const FourCC type = *header.fourCC();
    if (size < kAtomHeaderSize || size > left) {
      r.problem(CaptionSampleProblemCode::kPairAtomSizeWrong, pos, size, left);
      return;
    }
    if (isPairAtom(type)) {
      readPairBytes(r, pos + kAtomHeaderSize, size - kAtomHeaderSize,
                    type == FourCC("cdat") ? 1 : 2);
    } else {
      r.problem(CaptionSampleProblemCode::kUnknownPairAtom, pos + 4, type.value);
    }
    pos += size;
  }
}

std::string fourCCText(uint64_t value) { return FourCC(static_cast<uint32_t>(value)).toString(); }

}  // namespace

std::optional<std::string> cdpFrameRateName(uint8_t code) {
  static constexpr const char* kNames[] = {"23.976", "24", "25",    "29.97",
                                           "30",     "50", "59.94", "60"};
  if (code < 1 || code > 8) return std::nullopt;
  return std::string(kNames[code - 1]);
}

bool CaptionSampleProblem::isNote() const {
  return code == CaptionSampleProblemCode::kAtomSizeDiffers ||
         code == CaptionSampleProblemCode::kBytesAfterCdp ||
         code == CaptionSampleProblemCode::kMarkerBitsWrong ||
         code == CaptionSampleProblemCode::kEmptySample;
}

std::string CaptionSampleProblem::message() const {
  using Code = CaptionSampleProblemCode;
  const auto f = static_cast<unsigned long long>(found);
  const auto e = static_cast<unsigned long long>(expected);
  std::string text;
  switch (code) {
    case Code::kAtomCutShort:
      text = stringWithFormat("the sample holds %llu bytes, fewer than a 'ccdp' atom header", f);
      break;
    case Code::kNotCcdpAtom: text = "the atom is '" + fourCCText(found) + "', not 'ccdp'"; break;
    case Code::kAtomSizeDiffers:
      text = stringWithFormat(
          "the 'ccdp' atom size is %llu where the sample holds %llu bytes (the sample size is "
          "used)",
          f, e);
      break;
    case Code::kCdpHeaderCutShort:
      text = stringWithFormat("%llu bytes after the atom header, fewer than a cdp header", f);
      break;
    case Code::kWrongIdentifier:
      text = stringWithFormat("cdp_identifier 0x%04llX is not 0x9669", f);
      break;
    case Code::kCdpLengthTooShort:
      text =
          stringWithFormat("cdp_length %llu is shorter than a cdp header and footer (%llu)", f, e);
      break;
    case Code::kCdpLengthPastSample:
      text = stringWithFormat("cdp_length %llu runs past the sample, which holds %llu bytes of cdp",
                              f, e);
      break;
    case Code::kBytesAfterCdp:
      text = stringWithFormat("%llu bytes follow the cdp in the sample", f);
      break;
    case Code::kReservedFrameRate:
      text = stringWithFormat("cdp_frame_rate %llu is a reserved code", f);
      break;
    case Code::kSectionCutShort:
      text = stringWithFormat("section 0x%02llX runs past the end of the cdp", f);
      break;
    case Code::kUnknownSection: text = stringWithFormat("0x%02llX starts no cdp section", f); break;
    case Code::kSectionRepeated:
      text = stringWithFormat("section 0x%02llX appears a second time", f);
      break;
    case Code::kSectionNotFlagged:
      text = stringWithFormat(expected ? "section 0x%02llX is flagged but absent"
                                       : "section 0x%02llX is present but not flagged",
                              f);
      break;
    case Code::kMarkerBitsWrong:
      text = stringWithFormat("marker bits not all 1 in 0x%02llX", f);
      break;
    case Code::kNoFooter: text = "no cdp footer (0x74) before the cdp ends"; break;
    case Code::kBytesAfterFooter:
      text = stringWithFormat("the footer ends %llu bytes before cdp_length", f);
      break;
    case Code::kChecksumWrong:
      text = stringWithFormat(
          "the cdp sums to 0x%02llX mod 256, not 0: packet_checksum 0x%02llX is wrong", f, e);
      break;
    case Code::kCountersDisagree:
      text = stringWithFormat("footer sequence counter %llu differs from the header's %llu", f, e);
      break;
    case Code::kPairAtomSizeWrong:
      text =
          stringWithFormat("atom size %llu does not fit the %llu bytes left in the sample", f, e);
      break;
    case Code::kUnknownPairAtom:
      text = "atom '" + fourCCText(found) + "' is neither 'cdat' nor 'cdt2'; skipped";
      break;
    case Code::kOddPairBytes: text = "a byte without its partner; ignored"; break;
    case Code::kEmptySample: text = "the sample holds no bytes"; break;
    case Code::kUnknownFormat:
      text = "format '" + fourCCText(found) + "' is neither 'c608' nor 'c708'";
      break;
  }
  return text + stringWithFormat(" at offset %llu", static_cast<unsigned long long>(offset));
}

bool CaptionSampleContents::ok() const {
  return std::all_of(problems.begin(), problems.end(),
                     [](const CaptionSampleProblem& p) { return p.isNote(); });
}

CaptionSampleContents readCaptionSample(FourCC format, std::span<const uint8_t> sample) {
  CaptionSampleContents contents;
  contents.format = format;
  Reader reader{sample, contents};
  if (format == FourCC("c708")) {
    readCcdp(reader);
  } else if (format == FourCC("c608")) {
    readCea608(reader);
  } else {
    reader.problem(CaptionSampleProblemCode::kUnknownFormat, 0, format.value);
  }
  return contents;
}

}  // namespace premoov
