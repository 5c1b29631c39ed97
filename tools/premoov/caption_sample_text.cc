#include "premoov/caption_sample_text.h"

#include "base/log.h"
#include "captions/cea608_pair_names.h"

namespace premoov {

std::string cdpText(const CdpFields& cdp) {
  std::string text = "cdp ";
  const auto rate = cdpFrameRateName(cdp.frameRateCode);
  text += rate ? *rate + " fps" : "rate " + std::to_string(cdp.frameRateCode) + "?";
  text += " len " + std::to_string(cdp.length);
  text += " seq " + std::to_string(cdp.headerSequence);
  if (cdp.footerSequence && !cdp.countersAgree()) {
    text += "/" + std::to_string(*cdp.footerSequence) + " (differ)";
  }
  if (cdp.timeCode) {
    const CdpTimeCode& tc = *cdp.timeCode;
    text += stringWithFormat(" tc %02u:%02u:%02u%c%02u", tc.hours, tc.minutes, tc.seconds,
                             tc.dropFrame ? ';' : ':', tc.frames);
  }
  if (cdp.ccCount) text += " cc_count " + std::to_string(*cdp.ccCount);
  text += " svcinfo ";
  if (cdp.serviceInfo) {
    text += std::to_string(cdp.serviceInfo->services.size());
  } else {
    text += cdp.svcinfoPresent ? "missing" : "no";
  }
  text += " checksum ";
  text += cdp.checksumHolds ? (*cdp.checksumHolds ? "ok" : "bad") : "?";
  size_t dtvcc = 0, dtvccValid = 0;
  for (const CcTriplet& triplet : cdp.triplets) {
    if (triplet.type < 2) continue;
    ++dtvcc;
    if (triplet.valid) ++dtvccValid;
  }
  text += " dtvcc " + std::to_string(dtvccValid) + "/" + std::to_string(dtvcc);
  return text;
}

std::string pairText(const LineTwentyOnePair& pair) {
  std::string text = stringWithFormat("f%u %02X %02X", pair.field, pair.bytes[0], pair.bytes[1]);
  if (!pair.valid) return text + " invalid";
  const Cea608PairName name = nameCea608Pair(pair.bytes[0], pair.bytes[1]);
  if (!name.parityOk) text += " parity-error";
  if (name.channel != 0) text += " CC" + std::to_string(name.channel + (pair.field == 2 ? 2 : 0));
  return text + " " + name.text;
}

std::string captionContentsText(const CaptionSampleContents& contents) {
  std::string text = contents.cdp ? cdpText(*contents.cdp) : contents.format.toString();
  for (const LineTwentyOnePair& pair : contents.pairs) text += " | " + pairText(pair);
  for (const CaptionSampleProblem& problem : contents.problems) {
    text += problem.isNote() ? " | note: " : " | error: ";
    text += problem.message();
  }
  return text;
}

}  // namespace premoov
