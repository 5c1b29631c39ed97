#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "base/result.h"

namespace premoov {

// The whole file at `path` when it holds at most `limit` bytes. Fails with
// "PATH: cannot read: <reason>" or "PATH: is larger than the tool reads: LIMIT bytes".
Result<std::string> readWholeFile(const std::string& path, size_t limit);

// Up to `count` bytes of the file at `path` from `offset` (fewer at its end).
Result<std::string> readFileRange(const std::string& path, uint64_t offset, size_t count);
// The size of the file at `path` in bytes.
Result<uint64_t> fileSizeOf(const std::string& path);

// Writes `bytes` at offset 0 of the file at `path` (created, or emptied first), then sets the
// file's length to `length` bytes when that is longer: the rest reads as zeros and is left as a
// hole where the file system keeps them. Answers the file's length; fails with
// "PATH: cannot write: <reason>".
Result<uint64_t> writeFileAtStart(const std::string& path, std::span<const uint8_t> bytes,
                                  uint64_t length);

}  // namespace premoov
