#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

// Every text a keyed archive failure carries, in one place. `where` names the key at fault and
// the way down to the object from it ("key \"items\", element 2 of NS.objects").
namespace premoov::keyed_messages {

std::string tooLarge(size_t size, size_t limit);
std::string unreadable();
std::string emptyInput();

// The shape of a binary property list, checked before libplist reads it.
std::string binaryHeader();
std::string binaryFieldWidths();
std::string binaryOffsetTable();
std::string binaryObjectCount();
std::string binaryTopObject();
std::string binaryObjectOutside(uint64_t index);
std::string binaryMarker(uint64_t index, unsigned marker);
std::string binaryCount(uint64_t index);
std::string binaryReference(uint64_t index, uint64_t reference, uint64_t objectCount);
std::string binaryKeyWithNul(uint64_t index);
// The shape of an XML property list, checked before libplist reads it.
std::string xmlNul(size_t offset);
std::string xmlComment(size_t offset);
std::string xmlCdata(size_t offset);
std::string xmlDtd(size_t offset);
std::string xmlMarkup(size_t offset);
std::string xmlUnbalanced(size_t offset);
// Either kind.
std::string plistTooDeep(size_t limit);
std::string plistTooLarge(size_t limit);

std::string topNotDictionary();
std::string wrongArchiver();
std::string noObjects();
std::string noTop();
std::string noRoot();
std::string rootOutside(uint64_t reference, size_t objectCount);

std::string notReference(const std::string& where);
std::string referenceOutside(const std::string& where, uint64_t reference, size_t objectCount);
std::string nullElement(const std::string& where);
std::string cycle(const std::string& where, uint64_t reference);
std::string tooDeep(const std::string& where, size_t limit);
std::string tooMuch(const std::string& where, size_t limit);
std::string notObject(const std::string& where, uint64_t reference, const char* kind);
std::string noClass(const std::string& where, uint64_t reference);
std::string badClassEntry(const std::string& where, uint64_t reference);
std::string missingContents(const std::string& where, const std::string& className, const char* key,
                            const char* kind);
std::string numberAsDictionary(const std::string& where);
std::string unpairedDictionary(const std::string& where, const std::string& className, size_t keys,
                               size_t objects);
std::string keyNotString(const std::string& where);
std::string classNotAllowed(const std::string& where, const std::string& className,
                            const std::set<std::string>& allowed);
std::string unknownClass(const std::string& where, const std::string& className);
std::string insecure(const std::string& call, const std::string& key);
std::string madeNothing(const std::string& where, const std::string& className);
std::string madeAnotherClass(const std::string& where, const std::string& className,
                             const std::string& madeClassName);

// Logged by the archiver.
std::string notArchivable(const std::string& className);
std::string textRewritten(size_t from, size_t to);

}  // namespace premoov::keyed_messages
