#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/four_char_code.h"

namespace premoov {

// One cc_data triplet (CEA-708 cc_data): marker bits, cc_valid, cc_type, two data bytes.
// cc_type 0 and 1 carry a CEA-608 pair of line 21 field 1 and 2; 2 and 3 carry DTVCC data.
struct CcTriplet {
  bool valid = false;
  uint8_t type = 0;
  std::array<uint8_t, 2> data{};
};

// A CEA-608 byte pair of line 21, parity bits included, with the field it was sent on.
struct LineTwentyOnePair {
  uint8_t field = 1;  // 1 or 2
  std::array<uint8_t, 2> bytes{};
  bool valid = true;  // false for a cc_data triplet with cc_valid 0
};

// The time code section of a cdp (SMPTE ST 12 fields, as SMPTE ST 334-2 carries them).
struct CdpTimeCode {
  uint8_t hours = 0, minutes = 0, seconds = 0, frames = 0;
  bool fieldFlag = false;
  bool dropFrame = false;
};

// One entry of the caption service information section (CEA-708 ccsvcinfo).
struct CaptionServiceEntry {
  uint8_t serviceNumber = 0;  // caption_service_number of the entry's first byte
  std::array<char, 3> language{};
  bool digital = false;        // digital_cc
  uint8_t line21Field = 0;     // 0: field 1, when not digital
  uint8_t digitalService = 0;  // caption_service_number, when digital
  bool easyReader = false;
  bool wideAspectRatio = false;
};

struct CdpServiceInfo {
  bool start = false, change = false, complete = false;
  uint8_t count = 0;  // svc_count as written
  std::vector<CaptionServiceEntry> services;
};

// The fields of one caption distribution packet (SMPTE ST 334-2 cdp, CEA-708 ccdata).
struct CdpFields {
  uint16_t identifier = 0;
  uint8_t length = 0;         // cdp_length: bytes from the identifier to the checksum
  uint8_t frameRateCode = 0;  // cdp_frame_rate
  bool timeCodePresent = false, ccdataPresent = false, svcinfoPresent = false;
  bool svcInfoStart = false, svcInfoChange = false, svcInfoComplete = false;
  bool captionServiceActive = false;
  uint16_t headerSequence = 0;
  std::optional<CdpTimeCode> timeCode;
  std::optional<uint8_t> ccCount;
  std::vector<CcTriplet> triplets;
  std::optional<CdpServiceInfo> serviceInfo;
  std::optional<uint16_t> footerSequence;
  std::optional<uint8_t> checksum;
  std::optional<bool> checksumHolds;  // all cdp_length bytes sum to 0 mod 256; unset when cut short

  bool countersAgree() const { return footerSequence && *footerSequence == headerSequence; }
};

// The frame rate of a cdp_frame_rate code ("29.97"), or nothing for a reserved code.
std::optional<std::string> cdpFrameRateName(uint8_t code);

enum class CaptionSampleProblemCode {
  // "c708" samples.
  kAtomCutShort,         // fewer than 8 bytes for the 'ccdp' atom header
  kNotCcdpAtom,          // the atom is not 'ccdp'
  kAtomSizeDiffers,      // the atom size is not the sample size (note: the sample is trusted)
  kCdpHeaderCutShort,    // fewer than 7 bytes for the cdp header
  kWrongIdentifier,      // cdp_identifier is not 0x9669
  kCdpLengthTooShort,    // cdp_length smaller than a header and footer
  kCdpLengthPastSample,  // cdp_length runs past the sample
  kBytesAfterCdp,        // bytes in the sample after cdp_length (note)
  kReservedFrameRate,    // cdp_frame_rate 0 or 9 to 15
  kSectionCutShort,      // a section runs past cdp_length
  kUnknownSection,       // a byte where a section should start that names none
  kSectionRepeated,      // a time code, ccdata or service information section seen twice
  kSectionNotFlagged,    // a section its flag says is absent, or a flagged one missing
  kMarkerBitsWrong,      // marker bits that are not all 1 (note)
  kNoFooter,             // cdp_length ends before a footer
  kBytesAfterFooter,     // the footer ends before cdp_length
  kChecksumWrong,        // the cdp does not sum to 0 mod 256
  kCountersDisagree,     // header and footer sequence counters differ
  // "c608" samples.
  kPairAtomSizeWrong,  // a 'cdat'/'cdt2' atom size smaller than its header or past the sample
  kUnknownPairAtom,    // an atom that is neither 'cdat' nor 'cdt2' (skipped)
  kOddPairBytes,       // an odd byte count: the last byte has no partner (ignored)
  kEmptySample,        // a sample of no bytes (note)
  // Any other format.
  kUnknownFormat,
};

// What is wrong with a caption sample, and where: `offset` counts from the sample's first byte.
struct CaptionSampleProblem {
  CaptionSampleProblemCode code;
  size_t offset = 0;
  uint64_t found = 0;     // the value read, where the text names one
  uint64_t expected = 0;  // what it should have been, where the text names one

  // Notes describe what a reader can live with; everything else is an error.
  bool isNote() const;
  // "cdp_length 89 runs past the sample (60 bytes from offset 8) at offset 10"
  std::string message() const;
};

// One caption sample taken apart.
struct CaptionSampleContents {
  FourCC format;
  std::optional<CdpFields> cdp;          // "c708"
  std::vector<LineTwentyOnePair> pairs;  // in sample order: c608 pairs, or the cdp's line-21
                                         // triplets (cc_type 0 and 1)
  std::vector<CaptionSampleProblem> problems;

  bool ok() const;  // no problem other than notes
};

// Takes apart one sample of a caption track of format "c708" (a 'ccdp' atom around a cdp) or
// "c608" ('cdat' and 'cdt2' atoms of pairs for fields 1 and 2, or bare field-1 pairs). Never
// reads past `sample`; reads on after a problem where the rest still makes sense.
CaptionSampleContents readCaptionSample(FourCC format, std::span<const uint8_t> sample);

// Whether a byte of line 21 has odd parity, as CEA-608 sends every byte.
constexpr bool hasOddParity(uint8_t byte) {
  int ones = 0;
  for (int bit = 0; bit < 8; ++bit) ones += (byte >> bit) & 1;
  return ones % 2 == 1;
}

}  // namespace premoov
