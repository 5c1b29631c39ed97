#include "service/socket_activation.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace premoov {
namespace {

class SocketActivationTest : public ::testing::Test {
 protected:
  void SetUp() override { clear(); }
  void TearDown() override { clear(); }
  static void clear() {
    ::unsetenv("LISTEN_PID");
    ::unsetenv("LISTEN_FDS");
    ::unsetenv("LISTEN_FDNAMES");
  }
  static void pass(const std::string& pid, const std::string& count) {
    ::setenv("LISTEN_PID", pid.c_str(), 1);
    ::setenv("LISTEN_FDS", count.c_str(), 1);
    ::setenv("LISTEN_FDNAMES", "premoov", 1);
  }
  static bool cleared() {
    return !std::getenv("LISTEN_PID") && !std::getenv("LISTEN_FDS") &&
           !std::getenv("LISTEN_FDNAMES");
  }
  static std::string ourPid() { return std::to_string(::getpid()); }
};

TEST_F(SocketActivationTest, NoVariablesMeanNoSocket) {
  auto socket = activatedListeningSocket();
  ASSERT_TRUE(socket) << socket.error();
  EXPECT_FALSE(*socket);
}

TEST_F(SocketActivationTest, OneSocketForThisProcessIsDescriptorThree) {
  pass(ourPid(), "1");
  auto socket = activatedListeningSocket();
  ASSERT_TRUE(socket) << socket.error();
  ASSERT_TRUE(*socket);
  EXPECT_EQ(**socket, 3);
  EXPECT_TRUE(cleared());
}

TEST_F(SocketActivationTest, ASocketForAnotherProcessIsIgnored) {
  pass(std::to_string(::getpid() + 1), "1");
  auto socket = activatedListeningSocket();
  ASSERT_TRUE(socket) << socket.error();
  EXPECT_FALSE(*socket);
  EXPECT_TRUE(cleared());  // no child takes them for its own
}

TEST_F(SocketActivationTest, APidThatIsNoNumberIsIgnored) {
  pass(ourPid() + "x", "1");
  auto socket = activatedListeningSocket();
  ASSERT_TRUE(socket);
  EXPECT_FALSE(*socket);
}

TEST_F(SocketActivationTest, TwoSocketsAreRefused) {
  pass(ourPid(), "2");
  auto socket = activatedListeningSocket();
  ASSERT_FALSE(socket);
  EXPECT_NE(socket.error().find("LISTEN_FDS is 2"), std::string::npos) << socket.error();
  EXPECT_TRUE(cleared());
}

TEST_F(SocketActivationTest, NoSocketCountedIsRefused) {
  for (const char* count : {"0", "-1", "one", ""}) {
    pass(ourPid(), count);
    auto socket = activatedListeningSocket();
    EXPECT_FALSE(socket) << "LISTEN_FDS=" << count;
  }
}

}  // namespace
}  // namespace premoov
