#include "plist/keyed_archive_messages.h"

#include "base/log.h"

namespace premoov::keyed_messages {

std::string tooLarge(size_t size, size_t limit) {
  return stringWithFormat("The archive is %zu bytes; at most %zu are read", size, limit);
}
std::string unreadable() { return "The archive is no property list libplist can read"; }
std::string emptyInput() { return "The archive is empty"; }

std::string binaryHeader() { return "The binary property list does not start with bplist00"; }
std::string binaryFieldWidths() {
  return "The binary property list's trailer is wrong: field widths outside 1 to 8 bytes";
}
std::string binaryOffsetTable() {
  return "The binary property list's trailer is wrong: offset table outside the file";
}
std::string binaryObjectCount() {
  return "The binary property list's trailer is wrong: object count does not fit the offset "
         "table";
}
std::string binaryTopObject() {
  return "The binary property list's trailer is wrong: top object outside the objects";
}
std::string binaryObjectOutside(uint64_t index) {
  return stringWithFormat("Object %llu of the binary property list lies outside its objects",
                          static_cast<unsigned long long>(index));
}
std::string binaryMarker(uint64_t index, unsigned marker) {
  return stringWithFormat("Object %llu of the binary property list has the unknown marker 0x%02X",
                          static_cast<unsigned long long>(index), marker);
}
std::string binaryCount(uint64_t index) {
  return stringWithFormat(
      "Object %llu of the binary property list declares more than the file holds",
      static_cast<unsigned long long>(index));
}
std::string binaryReference(uint64_t index, uint64_t reference, uint64_t objectCount) {
  return stringWithFormat(
      "Object %llu of the binary property list refers to object %llu of only %llu",
      static_cast<unsigned long long>(index), static_cast<unsigned long long>(reference),
      static_cast<unsigned long long>(objectCount));
}
std::string binaryKeyWithNul(uint64_t index) {
  return stringWithFormat(
      "Object %llu of the binary property list is a dictionary key holding a NUL character",
      static_cast<unsigned long long>(index));
}
std::string xmlNul(size_t offset) {
  return stringWithFormat("The XML property list holds a NUL byte at offset %zu", offset);
}
std::string xmlComment(size_t offset) {
  return stringWithFormat("The XML property list holds a comment at offset %zu, which is not read",
                          offset);
}
std::string xmlCdata(size_t offset) {
  return stringWithFormat(
      "The XML property list holds a CDATA section at offset %zu, which is not read", offset);
}
std::string xmlDtd(size_t offset) {
  return stringWithFormat("The XML property list holds a DTD at offset %zu, which is not read",
                          offset);
}
std::string xmlMarkup(size_t offset) {
  return stringWithFormat("The XML property list's tag at offset %zu is malformed", offset);
}
std::string xmlUnbalanced(size_t offset) {
  return stringWithFormat("The XML property list closes a container it never opened (offset %zu)",
                          offset);
}
std::string plistTooDeep(size_t limit) {
  return stringWithFormat("The property list nests containers deeper than %zu levels", limit);
}
std::string plistTooLarge(size_t limit) {
  return stringWithFormat("The property list would take more than %zu bytes to read", limit);
}

std::string topNotDictionary() { return "The archive's top level is no dictionary"; }
std::string wrongArchiver() { return "The archive's \"$archiver\" is not \"NSKeyedArchiver\""; }
std::string noObjects() { return "The archive has no \"$objects\" array"; }
std::string noTop() { return "The archive has no \"$top\" dictionary"; }
std::string noRoot() { return "The archive's \"$top\" has no \"root\" reference"; }
std::string rootOutside(uint64_t reference, size_t objectCount) {
  return stringWithFormat("The archive's root refers to object %llu of only %zu",
                          static_cast<unsigned long long>(reference), objectCount);
}

std::string notReference(const std::string& where) { return where + " holds no object reference"; }
std::string referenceOutside(const std::string& where, uint64_t reference, size_t objectCount) {
  return where + stringWithFormat(": reference %llu is outside the %zu archived objects",
                                  static_cast<unsigned long long>(reference), objectCount);
}
std::string nullElement(const std::string& where) {
  return where + ": a collection cannot hold \"$null\"";
}
std::string cycle(const std::string& where, uint64_t reference) {
  return where + stringWithFormat(": object %llu contains itself",
                                  static_cast<unsigned long long>(reference));
}
std::string tooDeep(const std::string& where, size_t limit) {
  return where + stringWithFormat(": objects nest deeper than %zu levels", limit);
}
std::string tooMuch(const std::string& where, size_t limit) {
  return where + stringWithFormat(": the decoded objects would take more than %zu bytes", limit);
}
std::string notObject(const std::string& where, uint64_t reference, const char* kind) {
  return where + stringWithFormat(": object %llu is a plain %s, not an archived object",
                                  static_cast<unsigned long long>(reference), kind);
}
std::string noClass(const std::string& where, uint64_t reference) {
  return where + stringWithFormat(": object %llu has no \"$class\" reference",
                                  static_cast<unsigned long long>(reference));
}
std::string badClassEntry(const std::string& where, uint64_t reference) {
  return where +
         stringWithFormat(": class entry %llu has no \"$classname\" string or a bad \"$classes\"",
                          static_cast<unsigned long long>(reference));
}
std::string missingContents(const std::string& where, const std::string& className, const char* key,
                            const char* kind) {
  return where + ": the " + className + " has no " + key + " " + kind;
}
std::string numberAsDictionary(const std::string& where) {
  return where + ": an NSNumber archived as a dictionary";
}
std::string unpairedDictionary(const std::string& where, const std::string& className, size_t keys,
                               size_t objects) {
  return where + ": the " + className +
         stringWithFormat(" has %zu keys but %zu objects", keys, objects);
}
std::string keyNotString(const std::string& where) {
  return where + ": a dictionary key that is no string";
}
std::string classNotAllowed(const std::string& where, const std::string& className,
                            const std::set<std::string>& allowed) {
  std::string list;
  for (const std::string& name : allowed) list += (list.empty() ? "" : ", ") + name;
  return where + ": class " + className +
         " is not allowed (allowed: " + (list.empty() ? "none" : list) + ")";
}
std::string unknownClass(const std::string& where, const std::string& className) {
  return where + ": class " + className + " is neither built in nor registered";
}
std::string insecure(const std::string& call, const std::string& key) {
  return call + " for key \"" + key + "\" names no allowed classes while secure coding is required";
}
std::string madeNothing(const std::string& where, const std::string& className) {
  return where + ": the " + className + " factory made nothing";
}

std::string madeAnotherClass(const std::string& where, const std::string& className,
                             const std::string& madeClassName) {
  return where + ": the " + className + " factory made a " + madeClassName;
}

std::string notArchivable(const std::string& className) {
  return "A " + className + " cannot be archived; \"$null\" is written instead";
}
std::string textRewritten(size_t from, size_t to) {
  return stringWithFormat(
      "A string of %zu bytes is archived as %zu bytes: text after a NUL is dropped and bytes "
      "that are not UTF-8 become U+FFFD",
      from, to);
}

}  // namespace premoov::keyed_messages
