#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/temporary_directory.h"

namespace premoov::testing {

// True when something accepts connections at `path`.
inline bool socketAnswers(const std::string& path) {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const bool answered = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  ::close(fd);
  return answered;
}

// A premoovd of its own, on a socket in a temporary directory; its log goes to a file the test
// can read. Stopped with SIGTERM when the object goes.
class ServiceProcess {
 public:
  // kHeldWhileStarting starts the service with SIGTERM and SIGINT blocked, so that a signal sent
  // at once waits for the service to take it instead of killing a process that has not yet set
  // up its handlers. The constructor then returns without waiting for the socket.
  enum class StopSignals { kDelivered, kHeldWhileStarting };

  explicit ServiceProcess(std::vector<std::string> extraArguments = {},
                          std::optional<int> passedSocket = std::nullopt,
                          StopSignals stopSignals = StopSignals::kDelivered) {
    socketPath_ = directory_.path() + "/premoov.sock";
    logPath_ = directory_.path() + "/premoovd.log";
    std::vector<std::string> arguments{PREMOOVD_PATH, "--socket", socketPath_, "--verbose"};
    arguments.insert(arguments.end(), extraArguments.begin(), extraArguments.end());
    // Blocked before the fork, so that no signal reaches the child before it is held; the child
    // keeps the mask across exec, the test's own thread gets its mask back.
    sigset_t held, previous;
    sigemptyset(&held);
    if (stopSignals == StopSignals::kHeldWhileStarting) {
      sigaddset(&held, SIGTERM);
      sigaddset(&held, SIGINT);
    }
    ::pthread_sigmask(SIG_BLOCK, &held, &previous);
    pid_ = ::fork();
    if (pid_ != 0) ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (pid_ == 0) {
      const int log = ::open(logPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      ::dup2(log, STDERR_FILENO);
      if (passedSocket) {
        // As the system passes a socket: descriptor 3, named by LISTEN_FDS and LISTEN_PID.
        if (*passedSocket == 3) {
          ::fcntl(3, F_SETFD, 0);  // dup2 onto itself would leave it closing on exec
        } else {
          ::dup2(*passedSocket, 3);
        }
        ::setenv("LISTEN_FDS", "1", 1);
        ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
      }
      std::vector<char*> argv;
      for (auto& argument : arguments) argv.push_back(argument.data());
      argv.push_back(nullptr);
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
    if (!passedSocket && stopSignals == StopSignals::kDelivered) waitForSocket();
  }
  ~ServiceProcess() { stop(); }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  const std::string& socketPath() const { return socketPath_; }
  pid_t pid() const { return pid_; }
  bool ready() const { return ready_; }

  // SIGTERM, then the exit status as waitpid reports it. A service that does not exit cleanly
  // within kStopLimit, or whose sanitizers reported anything, fails the test that ran it; one
  // that does not exit at all is killed.
  int stop() {
    if (pid_ <= 0) return status_;
    ::kill(pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + kStopLimit;
    pid_t ended = 0;
    while ((ended = ::waitpid(pid_, &status_, WNOHANG)) == 0 &&
           std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (ended == 0) {
      ADD_FAILURE() << "premoovd did not stop within " << kStopLimit.count()
                    << " s of SIGTERM; killed";
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, &status_, 0);
    }
    pid_ = -1;
    const std::string text = log();
    for (const char* report :
         {"ThreadSanitizer:", "AddressSanitizer", "LeakSanitizer", "runtime error:"}) {
      EXPECT_EQ(text.find(report), std::string::npos) << "premoovd reported:\n" << text;
    }
    EXPECT_TRUE(WIFEXITED(status_) && WEXITSTATUS(status_) == 0)
        << "premoovd ended with status " << status_ << "\n"
        << text.substr(text.size() > 4000 ? text.size() - 4000 : 0);
    return status_;
  }
  int signal(int number) { return ::kill(pid_, number); }

  std::string log() const {
    std::ifstream in(logPath_);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  // The service's open descriptors and threads, as /proc counts them.
  size_t openDescriptors() const { return entries("/proc/" + std::to_string(pid_) + "/fd"); }
  size_t threads() const { return entries("/proc/" + std::to_string(pid_) + "/task"); }

 private:
  static constexpr std::chrono::seconds kStopLimit{60};

  void waitForSocket() {
    for (int attempt = 0; attempt < 500 && !ready_; ++attempt) {
      if (std::filesystem::exists(socketPath_) && socketAnswers(socketPath_)) {
        ready_ = true;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  static size_t entries(const std::string& directory) {
    std::error_code error;
    size_t count = 0;
    for (auto it = std::filesystem::directory_iterator(directory, error);
         !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
      ++count;
    }
    return count;
  }

  TemporaryDirectory directory_;
  std::string socketPath_;
  std::string logPath_;
  pid_t pid_ = -1;
  int status_ = 0;
  bool ready_ = false;
};

}  // namespace premoov::testing
