#include "base/log.h"

#include <cerrno>  // program_invocation_short_name
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

namespace premoov {
namespace {

std::mutex& sinkMutex() {
  static std::mutex m;
  return m;
}

LogSink& currentSink() {
  static LogSink sink;
  return sink;
}

std::string vformat(const char* format, va_list args) {
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  if (n <= 0) return {};
  std::string out(static_cast<size_t>(n) + 1, '\0');
  std::vsnprintf(out.data(), out.size(), format, args);
  out.resize(static_cast<size_t>(n));
  return out;
}

}  // namespace

std::string stringWithFormat(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string s = vformat(format, args);
  va_end(args);
  return s;
}

void logLine(const std::string& line) {
  std::lock_guard lock(sinkMutex());
  if (currentSink()) {
    currentSink()(line);
  } else {
    // Named by the program that logs (premoov, premoovd), as the system log names its senders.
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, line.c_str());
  }
}

void NSLog(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string s = vformat(format, args);
  va_end(args);
  logLine(s);
}

LogSink setLogSink(LogSink sink) {
  std::lock_guard lock(sinkMutex());
  return std::exchange(currentSink(), std::move(sink));
}

struct LogCapture::State {
  mutable std::mutex mutex;
  std::vector<std::string> lines;
};

LogCapture::LogCapture() : state_(std::make_shared<State>()) {
  previous_ = setLogSink([state = state_](const std::string& line) {
    std::lock_guard lock(state->mutex);
    state->lines.push_back(line);
  });
}

LogCapture::~LogCapture() { setLogSink(std::move(previous_)); }

std::vector<std::string> LogCapture::lines() const {
  std::lock_guard lock(state_->mutex);
  return state_->lines;
}

}  // namespace premoov
