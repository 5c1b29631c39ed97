#include "header/sample_descriptions.h"

#include <algorithm>
#include <array>

#include "base/atom_writer.h"
#include "base/byte_writer.h"
#include "base/log.h"

namespace premoov {
namespace {

constexpr FourCC kDNxHD("AVdn");
constexpr uint32_t kImageDescriptionRecordSize = 86;
constexpr size_t kMaxNameLength = 31;  // a Str31 field of 32 bytes

// The codec's own extension atoms: each has a fixed size, so that the block keeps the size it
// was given even when the data under the key is of another length.
struct CodecAtom {
  FourCC type;
  const char* key;
  uint32_t size;  // including the 8-byte header
};
constexpr std::array<CodecAtom, 3> kCodecAtoms{{
    {FourCC("ACLR"), "ACLR", 24},
    {FourCC("APRG"), "APRG", 24},
    {FourCC("ARES"), "ARES", 120},
}};

void writeCodecAtom(ByteWriter& w, const CodecAtom& atom, const Value& data) {
  const size_t payload = atom.size - 8;
  if (!data.isData()) {
    NSLog("Extension atom %s is a %s, not data; zeros are written", atom.key,
          kindName(data.kind()));
  } else if (data.bytes().size() != payload) {
    NSLog("Extension atom %s holds %zu bytes, not %zu; it is cut or padded to fit", atom.key,
          data.bytes().size(), payload);
  }
  w.u32(atom.size);  // size
  w.fourCC(atom.type);
  const auto& bytes = data.isData() ? data.bytes() : std::vector<uint8_t>{};
  const size_t n = std::min(bytes.size(), payload);
  w.bytes({bytes.data(), n});
  w.zeros(payload - n);
}

}  // namespace

bool isDVCPROHD(const std::optional<std::string>& formatName) {
  return formatName && formatName->starts_with("DVCPRO HD");
}

uint32_t imageDescriptionSize(uint32_t codec, const std::optional<std::string>& formatName) {
  if (FourCC(codec) == kDNxHD) return kImageDescriptionRecordSize + 24 + 24 + 120 + 18 + 10 + 16;
  if (isDVCPROHD(formatName)) return kImageDescriptionRecordSize + 18 + 10 + 16 + 40;
  return kImageDescriptionRecordSize + 18 + 10 + 16;
}

SampleDescriptionHandle makeImageDescription(const ImageDescriptionSettings& s) {
  const uint32_t blockSize = imageDescriptionSize(s.codec, s.formatName);
  const auto width = static_cast<uint16_t>(s.dimensions.width);
  const auto height = static_cast<uint16_t>(s.dimensions.height);

  std::string name = s.formatName.value_or("");
  if (name.size() > kMaxNameLength) {
    // A longer name would run over the fields after it.
    NSLog("Format name \"%s\" is longer than %zu bytes; it is cut", name.c_str(), kMaxNameLength);
    name.resize(kMaxNameLength);
  }

  ByteWriter w;
  w.u16(0);                                 // version
  w.u16(0);                                 // revision level
  w.u32(0);                                 // vendor
  w.u32(0);                                 // temporal quality
  w.u32(0);                                 // spatial quality
  w.u16(width);                             // width, pixels
  w.u16(height);                            // height, pixels
  w.u32(0x00480000);                        // horizontal resolution, 72 dpi in 16.16
  w.u32(0x00480000);                        // vertical resolution, 72 dpi in 16.16
  w.u32(0);                                 // data size
  w.u16(0);                                 // frame count: left at zero
  w.u8(static_cast<uint8_t>(name.size()));  // name, Pascal string in 32 bytes
  w.text(name);
  w.zeros(kMaxNameLength - name.size());
  w.u16(24);  // depth
  w.i16(-1);  // colour table id: none

  if (s.extensionAtoms != nullptr && s.extensionAtoms->isDictionary()) {
    for (const auto& atom : kCodecAtoms) {
      if (const Value* data = s.extensionAtoms->objectForKey(atom.key)) {
        writeCodecAtom(w, atom, *data);
      }
    }
  }
  {
    AtomScope colr(w, FourCC("colr"));
    w.fourCC(FourCC("nclc"));                          // colour parameter type
    w.u16(static_cast<uint16_t>(s.colorPrimaries));    // primaries index
    w.u16(static_cast<uint16_t>(s.transferFunction));  // transfer function index
    w.u16(static_cast<uint16_t>(s.matrix));            // matrix index
  }
  {
    AtomScope fiel(w, FourCC("fiel"));
    w.u8(s.numberOfFields);  // field count
    w.u8(s.fieldOrder);      // field ordering
  }
  {
    AtomScope pasp(w, FourCC("pasp"));
    w.i32(s.horizontalSpacing);  // horizontal spacing
    w.i32(s.verticalSpacing);    // vertical spacing
  }
  if (isDVCPROHD(s.formatName)) {
    AtomScope clap(w, FourCC("clap"));
    w.u32(static_cast<uint32_t>(s.dimensions.width));   // aperture width numerator
    w.u32(1);                                           // aperture width denominator
    w.u32(static_cast<uint32_t>(s.dimensions.height));  // aperture height numerator
    w.u32(1);                                           // aperture height denominator
    w.u32(0);                                           // horizontal offset numerator
    w.u32(1);                                           // horizontal offset denominator
    w.u32(0);                                           // vertical offset numerator
    w.u32(1);                                           // vertical offset denominator
  }

  auto description = std::make_shared<SampleDescription>();
  description->format = FourCC(s.codec);
  description->dataReferenceIndex = 0;
  description->body = w.take();
  // The block keeps the size chosen up front: atoms it was sized for but not given leave zeros.
  description->body.resize(blockSize - 16, 0);
  return description;
}

SampleDescriptionHandle makeSoundDescription(Toolbox& toolbox,
                                             const AudioStreamBasicDescription& asbd,
                                             const AudioChannelLayout* layout) {
  const uint32_t layoutSize = layout ? layout->byteSize() : 0;
  SampleDescriptionHandle description;
  const OSErr err = toolbox.QTSoundDescriptionCreate(asbd, layout, layoutSize, nullptr, 0,
                                                     FourCC("mvny"), &description);
  if (err != noErr) {
    NSLog("Error creating sound description: %li", static_cast<long>(err));
    return nullptr;
  }
  return description;
}

SampleDescriptionHandle makeClosedCaptionDescription() {
  auto description = std::make_shared<SampleDescription>();
  description->format = FourCC("c708");
  description->dataReferenceIndex = 1;
  return description;
}

SampleDescriptionHandle makeTimecodeDescription(bool dropFrame, const CMTime& frameDuration) {
  ByteWriter w;
  w.u32(0);                                           // flags
  w.u32(dropFrame ? 1 : 0);                           // timecode flags: drop frame
  w.i32(frameDuration.timescale);                     // time scale
  w.u32(static_cast<uint32_t>(frameDuration.value));  // frame duration, low 32 bits
  // Frames a second from the time scale alone (30000 gives 30, 30 gives 0).
  w.u8(static_cast<uint8_t>(frameDuration.timescale / 1000));  // frames per second
  w.u8(0);                                                     // padding
  w.u32(0);                                                    // source reference
  auto description = std::make_shared<SampleDescription>();
  description->format = FourCC("tmcd");
  description->dataReferenceIndex = 1;
  description->body = w.take();
  return description;
}

}  // namespace premoov
