#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace premoov {

// printf-style formatting into a std::string ("%i", "%li", "%s" as in C).
[[gnu::format(printf, 1, 2)]] std::string stringWithFormat(const char* format, ...);

// The system log: problems that do not stop an operation. Lines go to standard error unless a
// sink is installed.
[[gnu::format(printf, 1, 2)]] void NSLog(const char* format, ...);
void logLine(const std::string& line);

using LogSink = std::function<void(const std::string&)>;
// Installs `sink` for the whole process and answers the previous one (empty: standard error).
LogSink setLogSink(LogSink sink);

// Collects log lines for as long as it lives (tests).
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  std::vector<std::string> lines() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
  LogSink previous_;
};

}  // namespace premoov
