#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace premoov {

// A movie written with `premoov write --file` has its final size at once but holds only its
// header: the rest is a hole that takes no disk space until the recorder writes the media. These
// ask the file system what has really been written.

// The bytes the file takes on disk; nothing when it cannot be examined.
std::optional<uint64_t> bytesOnDisk(const std::string& path);

// Whether anything has been written at or after `offset`: false when the rest of the file is a
// hole. Nothing when the file system cannot tell (it then reports every byte as written).
std::optional<bool> writtenFrom(const std::string& path, uint64_t offset);

// The `size` bytes at `offset`, when they have been written: nothing when they start in a hole,
// lie past the end of the file or cannot be read.
std::optional<std::vector<uint8_t>> writtenBytes(const std::string& path, uint64_t offset,
                                                 uint32_t size);

}  // namespace premoov
