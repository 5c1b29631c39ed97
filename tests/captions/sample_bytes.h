#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "media/core_media.h"

namespace premoov::testing {

// The bytes a sample's block buffer holds.
inline std::vector<uint8_t> bytesOf(const CMSampleBufferRef& sample) {
  const CMBlockBufferRef block = CMSampleBufferGetDataBuffer(sample);
  std::vector<uint8_t> bytes(CMBlockBufferGetDataLength(block));
  EXPECT_EQ(CMBlockBufferCopyDataBytes(block, 0, bytes), 0);
  return bytes;
}

}  // namespace premoov::testing
