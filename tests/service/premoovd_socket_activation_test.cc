// premoovd started the way the system starts a socket-activated service: its listening socket is
// descriptor 3, named by LISTEN_FDS and LISTEN_PID.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "service/client/quicktime_service_client.h"
#include "service/raw_client.h"
#include "service/reply_collector.h"
#include "service/service_process.h"
#include "service/service_requests.h"

namespace premoov::testing {
namespace {

// A listening socket bound at `path`, as the system makes it before starting the service.
int listeningSocket(const std::string& path) {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  EXPECT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(::listen(fd, 16), 0);
  return fd;
}

TEST(PremoovdSocketActivationTest, ServesThroughThePassedSocketAndIgnoresSocketOption) {
  TemporaryDirectory directory;
  const std::string path = directory.path() + "/activated.sock";
  const int socket = listeningSocket(path);
  ServiceProcess service({}, socket);
  ::close(socket);  // from now on only the service holds it

  {
    SCOPED_TRACE(service.log());
    expectAnsweredAt(path);
  }

  EXPECT_TRUE(logs(service, "listening on the socket passed by the system"));
  // --socket named another path: nothing was made there.
  EXPECT_FALSE(std::filesystem::exists(service.socketPath()));
  EXPECT_EQ(service.log().find(service.socketPath()), std::string::npos);

  const int status = service.stop();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  // The socket belongs to the system that made it: the service leaves its path alone.
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(PremoovdSocketActivationTest, ASocketMeantForAnotherProcessIsIgnored) {
  // A parent that did not clear the variables: premoovd listens on its own path.
  ::setenv("LISTEN_FDS", "1", 1);
  ::setenv("LISTEN_PID", "1", 1);
  ServiceProcess service;
  ::unsetenv("LISTEN_FDS");
  ::unsetenv("LISTEN_PID");
  ASSERT_TRUE(service.ready()) << service.log();
  EXPECT_TRUE(logs(service, "listening on " + service.socketPath()));
}

}  // namespace
}  // namespace premoov::testing
