#pragma once

namespace premoov {

// Registers ZPRToken and ZPRMetadataItem with KeyedUnarchiver so archives naming them can be
// read. Idempotent and thread-safe; the factories of both classes (tokenWithCode:displayName:,
// initWithDictionary:, initWithKey:value:) and their encodeWithCoder: call it, and a process that
// only reads archives calls it before its first decode.
void registerNamingClasses();

}  // namespace premoov
