#include "plist/keyed_archive_messages.h"

#include <gtest/gtest.h>

namespace premoov {
namespace {

TEST(KeyedArchiveMessagesTest, ClassNotAllowedNamesTheKeyTheClassAndTheSet) {
  EXPECT_EQ(keyed_messages::classNotAllowed("key \"k\"", "NSData", {"NSString", "NSArray"}),
            "key \"k\": class NSData is not allowed (allowed: NSArray, NSString)");
  EXPECT_EQ(keyed_messages::classNotAllowed("key \"k\"", "NSData", {}),
            "key \"k\": class NSData is not allowed (allowed: none)");
}

TEST(KeyedArchiveMessagesTest, ReferencesAndCountsAreNamed) {
  EXPECT_EQ(keyed_messages::referenceOutside("key \"root\"", 12, 5),
            "key \"root\": reference 12 is outside the 5 archived objects");
  EXPECT_EQ(keyed_messages::binaryReference(3, 9, 4),
            "Object 3 of the binary property list refers to object 9 of only 4");
  EXPECT_EQ(keyed_messages::tooLarge(20, 10), "The archive is 20 bytes; at most 10 are read");
  EXPECT_EQ(keyed_messages::insecure("decodeObject", "k"),
            "decodeObject for key \"k\" names no allowed classes while secure coding is required");
}

}  // namespace
}  // namespace premoov
