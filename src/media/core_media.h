#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/four_char_code.h"
#include "media/cm_time.h"
#include "media/pixel_buffer.h"

namespace premoov {

// The media objects caption samples are made of, as small as the captions need: a format
// description (media type and subtype), a block buffer (owned bytes) and a sample buffer (a
// format, its bytes, and the timing and size of its samples). Objects are shared, as retained
// objects are: whoever holds a reference keeps the object alive, and handing the same object on
// is handing a reference.

using OSStatus = int32_t;
using CMItemCount = int64_t;

// Status codes of the media calls (0 is success).
inline constexpr OSStatus kCMBlockBufferStructureAllocationFailedErr = -12700;
inline constexpr OSStatus kCMBlockBufferBlockAllocationFailedErr = -12701;
inline constexpr OSStatus kCMBlockBufferBadOffsetParameterErr = -12703;
inline constexpr OSStatus kCMBlockBufferBadLengthParameterErr = -12704;
inline constexpr OSStatus kCMFormatDescriptionError_AllocationFailed = -12711;
inline constexpr OSStatus kCMSampleBufferError_AllocationFailed = -12730;
inline constexpr OSStatus kCMSampleBufferError_RequiredParameterMissing = -12731;
inline constexpr OSStatus kCMSampleBufferError_ArrayTooSmall = -12737;
inline constexpr OSStatus kCMSampleBufferError_InvalidEntryCount = -12738;
inline constexpr OSStatus kCMSampleBufferError_BufferHasNoSampleTimingInfo = -12736;
inline constexpr OSStatus kCMSampleBufferError_SampleIndexOutOfRange = -12734;

class CMFormatDescription {
 public:
  CMFormatDescription(FourCC mediaType, FourCC mediaSubType)
      : mediaType_(mediaType), mediaSubType_(mediaSubType) {}
  FourCC mediaType() const { return mediaType_; }
  FourCC mediaSubType() const { return mediaSubType_; }

 private:
  FourCC mediaType_;
  FourCC mediaSubType_;
};
using CMFormatDescriptionRef = std::shared_ptr<const CMFormatDescription>;

class CMBlockBuffer {
 public:
  explicit CMBlockBuffer(size_t length) : bytes_(length) {}
  size_t length() const { return bytes_.size(); }
  uint8_t* data() { return bytes_.data(); }
  const uint8_t* data() const { return bytes_.data(); }

 private:
  std::vector<uint8_t> bytes_;
};
using CMBlockBufferRef = std::shared_ptr<CMBlockBuffer>;

struct CMSampleTimingInfo {
  CMTime duration;
  CMTime presentationTimeStamp;
  CMTime decodeTimeStamp;
};

class CMSampleBuffer {
 public:
  CMSampleBuffer(CMBlockBufferRef dataBuffer, CMFormatDescriptionRef format, CMItemCount samples,
                 std::vector<CMSampleTimingInfo> timing, std::vector<size_t> sizes)
      : dataBuffer_(std::move(dataBuffer)),
        format_(std::move(format)),
        samples_(samples),
        timing_(std::move(timing)),
        sizes_(std::move(sizes)) {}

  const CMBlockBufferRef& dataBuffer() const { return dataBuffer_; }
  const CMFormatDescriptionRef& formatDescription() const { return format_; }
  CMItemCount numSamples() const { return samples_; }
  const std::vector<CMSampleTimingInfo>& timing() const { return timing_; }
  const std::vector<size_t>& sizes() const { return sizes_; }
  // The picture of a video sample (nothing for other samples).
  const CVPixelBufferRef& imageBuffer() const { return imageBuffer_; }
  void setImageBuffer(CVPixelBufferRef imageBuffer) { imageBuffer_ = std::move(imageBuffer); }

 private:
  CMBlockBufferRef dataBuffer_;
  CMFormatDescriptionRef format_;
  CMItemCount samples_;
  std::vector<CMSampleTimingInfo> timing_;
  std::vector<size_t> sizes_;
  CVPixelBufferRef imageBuffer_;
};
using CMSampleBufferRef = std::shared_ptr<CMSampleBuffer>;

// The calls that make and read these objects. The creation calls answer a status, so that every
// path of a caller where an object "cannot be made" can be driven by a test: each is virtual, and
// a test stands in an implementation that fails the calls it names.
class CoreMedia {
 public:
  virtual ~CoreMedia() = default;

  // CMFormatDescriptionCreate: no extensions.
  virtual OSStatus CMFormatDescriptionCreate(FourCC mediaType, FourCC mediaSubType,
                                             CMFormatDescriptionRef* formatOut);
  // CMBlockBufferCreateWithMemoryBlock: a new zero-filled block of `blockLength` bytes, its
  // memory assured at once.
  virtual OSStatus CMBlockBufferCreateWithMemoryBlock(size_t blockLength,
                                                      CMBlockBufferRef* blockBufferOut);
  // CMBlockBufferGetDataPointer: the bytes from `offset` on (all of them are contiguous).
  virtual OSStatus CMBlockBufferGetDataPointer(const CMBlockBufferRef& buffer, size_t offset,
                                               size_t* lengthAtOffset, size_t* totalLength,
                                               uint8_t** dataPointer);
  // CMSampleBufferCreate with a ready data buffer: `timing` holds one entry for all samples or
  // one per sample, `sizes` likewise (or none).
  virtual OSStatus CMSampleBufferCreate(const CMBlockBufferRef& dataBuffer,
                                        const CMFormatDescriptionRef& format,
                                        CMItemCount numSamples,
                                        std::span<const CMSampleTimingInfo> timing,
                                        std::span<const size_t> sizes,
                                        CMSampleBufferRef* sampleBufferOut);
  // CMSampleBufferCreateReadyWithImageBuffer: one video sample holding `imageBuffer`, timed by
  // `timing` (nullptr: a sample without timing).
  virtual OSStatus CMSampleBufferCreateReadyWithImageBuffer(const CVPixelBufferRef& imageBuffer,
                                                            const CMFormatDescriptionRef& format,
                                                            const CMSampleTimingInfo* timing,
                                                            CMSampleBufferRef* sampleBufferOut);
};

// The real implementation, shared by the process.
CoreMedia& defaultCoreMedia();

// Reading calls; they cannot fail, and answer zero or nothing for a null object.
FourCC CMFormatDescriptionGetMediaType(const CMFormatDescriptionRef& format);
FourCC CMFormatDescriptionGetMediaSubType(const CMFormatDescriptionRef& format);
size_t CMBlockBufferGetDataLength(const CMBlockBufferRef& buffer);
// CMBlockBufferCopyDataBytes: `destination.size()` bytes from `offset`; fails, copying nothing,
// when they are not all there.
OSStatus CMBlockBufferCopyDataBytes(const CMBlockBufferRef& buffer, size_t offset,
                                    std::span<uint8_t> destination);
CMBlockBufferRef CMSampleBufferGetDataBuffer(const CMSampleBufferRef& sample);
CMFormatDescriptionRef CMSampleBufferGetFormatDescription(const CMSampleBufferRef& sample);
CVPixelBufferRef CMSampleBufferGetImageBuffer(const CMSampleBufferRef& sample);
// CMSampleBufferGetSampleTimingInfo: the timing of sample `index` (the one entry, when one
// stands for all); a status when the buffer has no timing or no such sample.
OSStatus CMSampleBufferGetSampleTimingInfo(const CMSampleBufferRef& sample, CMItemCount index,
                                           CMSampleTimingInfo* timingOut);
CMItemCount CMSampleBufferGetNumSamples(const CMSampleBufferRef& sample);
size_t CMSampleBufferGetTotalSampleSize(const CMSampleBufferRef& sample);
// The first sample's times (caption samples hold one sample each); kCMTimeInvalid when the
// buffer has no timing.
CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBufferRef& sample);
CMTime CMSampleBufferGetDecodeTimeStamp(const CMSampleBufferRef& sample);
CMTime CMSampleBufferGetFirstSampleDuration(const CMSampleBufferRef& sample);

}  // namespace premoov
