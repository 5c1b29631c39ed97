#include "service/wire/service_interface.h"

#include <gtest/gtest.h>

#include "base/log.h"

namespace premoov {
namespace {

bool logged(const LogCapture& log, const std::string& text) {
  for (const std::string& line : log.lines()) {
    if (line.find(text) != std::string::npos) return true;
  }
  return false;
}

TEST(ServiceInterfaceTest, EveryArgumentTakesThePlainClassesUntilDeclared) {
  const auto interface = ServiceInterface::interfaceWithProtocol(quickTimeServiceProtocol());
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(interface.classesForArgument(selector::kWriteQuickTimeHeader, i),
              ServiceInterface::plainClasses());
  }
  EXPECT_EQ(ServiceInterface::plainClasses(),
            (std::set<std::string>{"NSString", "NSNumber", "NSData", "NSDate", "NSArray",
                                   "NSDictionary"}));
}

TEST(ServiceInterfaceTest, SetClassesDeclaresOneArgumentOnly) {
  auto interface = ServiceInterface::interfaceWithProtocol(quickTimeServiceProtocol());
  interface.setClasses({"ZPRToken", "NSString"}, selector::kWriteQuickTimeHeader, 5, false);
  EXPECT_EQ(interface.classesForArgument(selector::kWriteQuickTimeHeader, 5),
            (std::set<std::string>{"ZPRToken", "NSString"}));
  EXPECT_EQ(interface.classesForArgument(selector::kWriteQuickTimeHeader, 3),
            ServiceInterface::plainClasses());
}

TEST(ServiceInterfaceTest, SetClassesAgainReplacesTheSet) {
  auto interface = ServiceInterface::interfaceWithProtocol(quickTimeServiceProtocol());
  interface.setClasses({"ZPRToken"}, selector::kWriteQuickTimeHeader, 5, false);
  interface.setClasses({"NSArray"}, selector::kWriteQuickTimeHeader, 5, false);
  EXPECT_EQ(interface.classesForArgument(selector::kWriteQuickTimeHeader, 5),
            std::set<std::string>{"NSArray"});
}

TEST(ServiceInterfaceTest, ADeclarationForNoArgumentIsLoggedAndIgnored) {
  LogCapture log;
  auto interface = ServiceInterface::interfaceWithProtocol(quickTimeServiceProtocol());
  interface.setClasses({"NSArray"}, selector::kWriteQuickTimeHeader, 6, false);
  interface.setClasses({"NSArray"}, "removeAllFiles", 0, false);
  interface.setClasses({"NSArray"}, selector::kCancel, 0, false);
  interface.setClasses({"NSArray"}, selector::kWriteQuickTimeHeader, 5, true);
  for (size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(interface.classesForArgument(selector::kWriteQuickTimeHeader, i),
              ServiceInterface::plainClasses());
  }
  EXPECT_TRUE(logged(log, "no argument 6 of " + std::string(selector::kWriteQuickTimeHeader)));
  EXPECT_TRUE(logged(log, "removeAllFiles"));
  EXPECT_TRUE(logged(log, "'s reply"));
  EXPECT_EQ(log.lines().size(), 4u);
}

TEST(ServiceInterfaceTest, TheProtocolsDeclareTheirMethods) {
  const auto service = ServiceInterface::interfaceWithProtocol(quickTimeServiceProtocol());
  ASSERT_TRUE(service.method(selector::kWriteQuickTimeHeader));
  EXPECT_EQ(service.method(selector::kWriteQuickTimeHeader)->arguments.size(), 6u);
  ASSERT_TRUE(service.method(selector::kCancel));
  EXPECT_TRUE(service.method(selector::kCancel)->arguments.empty());
  EXPECT_FALSE(service.method(selector::kDidCreateHeader));
  const auto replies = ServiceInterface::interfaceWithProtocol(quickTimeServiceDelegateProtocol());
  EXPECT_EQ(replies.method(selector::kDidCreateHeader)->arguments.size(), 4u);
  EXPECT_EQ(replies.method(selector::kFailedCreatingGrowingHeader)->arguments.size(), 2u);
  EXPECT_FALSE(replies.method(selector::kCancel));
}

}  // namespace
}  // namespace premoov
