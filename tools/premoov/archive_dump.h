#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/result.h"

namespace premoov {

// A keyed archive's object graph written for a person, one line per key or element:
//
//   root: ZPRMetadataItem (object 1)
//     key: "com.example.take"
//     valueType: 3
//     tokenValues: NSArray (object 3), 2 elements
//       [0]: "$$Day#EEE"
//       [1]: " take "
//
// References are followed wherever they are met; strings, numbers, data and dates are written on
// the line of their key, objects with their class name and "$objects" index and their keys or
// elements indented below. An object met again inside itself is written as a back-reference.
struct ArchiveDump {
  std::optional<uint64_t> version;  // "$version", when it is an integer
  size_t objectCount = 0;           // elements of "$objects"
  std::vector<std::string> lines;
  // What the dump could not show: references outside "$objects", objects without a class, and
  // where it stopped at one of the limits below. Empty for a sound archive.
  std::vector<std::string> problems;
};

// Levels of indentation the dump goes down (one per object and per array or dictionary): a
// chain of references deeper than this stops with a problem.
inline constexpr size_t kDumpMaxDepth = 64;
// Objects shared by many references are written out at every one of them, so a small archive
// could ask for an enormous dump. It stops after this many lines, after this many bytes of text,
// or after looking at this many keys and elements, written or not (a dictionary may repeat
// "$class", which writes nothing).
inline constexpr size_t kDumpMaxLines = 10000;
inline constexpr size_t kDumpMaxBytes = size_t{8} << 20;
inline constexpr size_t kDumpMaxSteps = 1'000'000;
// The most bytes of a string, of data, and of a key or class name shown; longer ones are cut and
// say their size.
inline constexpr size_t kDumpTextBytes = 1024;
inline constexpr size_t kDumpDataBytes = 64;
inline constexpr size_t kDumpKeyBytes = 256;

// Reads `data` (a binary or XML property list, through the bounded reader of src/plist) and dumps
// it from "$top"'s "root", then any other keys of "$top". Fails with a message (no file name in
// front) when the data is no property list or its layout is no keyed archive.
Result<ArchiveDump> dumpKeyedArchive(std::span<const uint8_t> data);

}  // namespace premoov
