#include "media/core_media.h"

#include <cstring>
#include <exception>

namespace premoov {

OSStatus CoreMedia::CMFormatDescriptionCreate(FourCC mediaType, FourCC mediaSubType,
                                              CMFormatDescriptionRef* formatOut) {
  if (!formatOut) return kCMFormatDescriptionError_AllocationFailed;
  *formatOut = std::make_shared<const CMFormatDescription>(mediaType, mediaSubType);
  return 0;
}

OSStatus CoreMedia::CMBlockBufferCreateWithMemoryBlock(size_t blockLength,
                                                       CMBlockBufferRef* blockBufferOut) {
  if (!blockBufferOut) return kCMBlockBufferStructureAllocationFailedErr;
  try {
    *blockBufferOut = std::make_shared<CMBlockBuffer>(blockLength);
  } catch (const std::exception&) {  // no memory, or more than a vector holds
    blockBufferOut->reset();
    return kCMBlockBufferBlockAllocationFailedErr;
  }
  return 0;
}

OSStatus CoreMedia::CMBlockBufferGetDataPointer(const CMBlockBufferRef& buffer, size_t offset,
                                                size_t* lengthAtOffset, size_t* totalLength,
                                                uint8_t** dataPointer) {
  if (!buffer || offset > buffer->length() || (offset == buffer->length() && offset > 0)) {
    return kCMBlockBufferBadOffsetParameterErr;
  }
  if (lengthAtOffset) *lengthAtOffset = buffer->length() - offset;
  if (totalLength) *totalLength = buffer->length();
  if (dataPointer) *dataPointer = buffer->data() + offset;
  return 0;
}

OSStatus CoreMedia::CMSampleBufferCreate(const CMBlockBufferRef& dataBuffer,
                                         const CMFormatDescriptionRef& format,
                                         CMItemCount numSamples,
                                         std::span<const CMSampleTimingInfo> timing,
                                         std::span<const size_t> sizes,
                                         CMSampleBufferRef* sampleBufferOut) {
  if (!sampleBufferOut) return kCMSampleBufferError_RequiredParameterMissing;
  sampleBufferOut->reset();
  if (numSamples < 0) return kCMSampleBufferError_InvalidEntryCount;
  const auto count = static_cast<size_t>(numSamples);
  // One entry stands for every sample; otherwise there must be one per sample.
  if ((timing.size() > 1 && timing.size() != count) ||
      (sizes.size() > 1 && sizes.size() != count)) {
    return kCMSampleBufferError_ArrayTooSmall;
  }
  *sampleBufferOut = std::make_shared<CMSampleBuffer>(dataBuffer, format, numSamples,
                                                      std::vector(timing.begin(), timing.end()),
                                                      std::vector(sizes.begin(), sizes.end()));
  return 0;
}

OSStatus CoreMedia::CMSampleBufferCreateReadyWithImageBuffer(const CVPixelBufferRef& imageBuffer,
                                                             const CMFormatDescriptionRef& format,
                                                             const CMSampleTimingInfo* timing,
                                                             CMSampleBufferRef* sampleBufferOut) {
  if (!sampleBufferOut) return kCMSampleBufferError_RequiredParameterMissing;
  sampleBufferOut->reset();
  if (!imageBuffer || !format) return kCMSampleBufferError_RequiredParameterMissing;
  std::vector<CMSampleTimingInfo> timings;
  if (timing) timings.push_back(*timing);
  auto sample = std::make_shared<CMSampleBuffer>(nullptr, format, 1, std::move(timings),
                                                 std::vector<size_t>{});
  sample->setImageBuffer(imageBuffer);
  *sampleBufferOut = std::move(sample);
  return 0;
}

CoreMedia& defaultCoreMedia() {
  static CoreMedia coreMedia;
  return coreMedia;
}

FourCC CMFormatDescriptionGetMediaType(const CMFormatDescriptionRef& format) {
  return format ? format->mediaType() : FourCC();
}

FourCC CMFormatDescriptionGetMediaSubType(const CMFormatDescriptionRef& format) {
  return format ? format->mediaSubType() : FourCC();
}

size_t CMBlockBufferGetDataLength(const CMBlockBufferRef& buffer) {
  return buffer ? buffer->length() : 0;
}

OSStatus CMBlockBufferCopyDataBytes(const CMBlockBufferRef& buffer, size_t offset,
                                    std::span<uint8_t> destination) {
  if (!buffer || offset > buffer->length()) return kCMBlockBufferBadOffsetParameterErr;
  if (destination.size() > buffer->length() - offset) return kCMBlockBufferBadLengthParameterErr;
  if (!destination.empty())
    std::memcpy(destination.data(), buffer->data() + offset, destination.size());
  return 0;
}

CMBlockBufferRef CMSampleBufferGetDataBuffer(const CMSampleBufferRef& sample) {
  return sample ? sample->dataBuffer() : nullptr;
}

CMFormatDescriptionRef CMSampleBufferGetFormatDescription(const CMSampleBufferRef& sample) {
  return sample ? sample->formatDescription() : nullptr;
}

CVPixelBufferRef CMSampleBufferGetImageBuffer(const CMSampleBufferRef& sample) {
  return sample ? sample->imageBuffer() : nullptr;
}

OSStatus CMSampleBufferGetSampleTimingInfo(const CMSampleBufferRef& sample, CMItemCount index,
                                           CMSampleTimingInfo* timingOut) {
  if (!sample || !timingOut) return kCMSampleBufferError_RequiredParameterMissing;
  const auto& timing = sample->timing();
  if (timing.empty()) return kCMSampleBufferError_BufferHasNoSampleTimingInfo;
  if (index < 0 || index >= sample->numSamples()) return kCMSampleBufferError_SampleIndexOutOfRange;
  *timingOut = timing.size() == 1 ? timing.front() : timing[static_cast<size_t>(index)];
  return 0;
}

CMItemCount CMSampleBufferGetNumSamples(const CMSampleBufferRef& sample) {
  return sample ? sample->numSamples() : 0;
}

size_t CMSampleBufferGetTotalSampleSize(const CMSampleBufferRef& sample) {
  if (!sample) return 0;
  const auto& sizes = sample->sizes();
  if (sizes.size() == 1) return sizes[0] * static_cast<size_t>(sample->numSamples());
  size_t total = 0;
  for (size_t size : sizes) total += size;
  return total;
}

namespace {

const CMSampleTimingInfo* firstTiming(const CMSampleBufferRef& sample) {
  return sample && !sample->timing().empty() ? &sample->timing().front() : nullptr;
}

}  // namespace

CMTime CMSampleBufferGetPresentationTimeStamp(const CMSampleBufferRef& sample) {
  const CMSampleTimingInfo* timing = firstTiming(sample);
  return timing ? timing->presentationTimeStamp : kCMTimeInvalid;
}

CMTime CMSampleBufferGetDecodeTimeStamp(const CMSampleBufferRef& sample) {
  const CMSampleTimingInfo* timing = firstTiming(sample);
  return timing ? timing->decodeTimeStamp : kCMTimeInvalid;
}

CMTime CMSampleBufferGetFirstSampleDuration(const CMSampleBufferRef& sample) {
  const CMSampleTimingInfo* timing = firstTiming(sample);
  return timing ? timing->duration : kCMTimeInvalid;
}

}  // namespace premoov
