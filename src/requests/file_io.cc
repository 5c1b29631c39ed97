#include "requests/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "requests/request_messages.h"

namespace premoov {

namespace {

Unexpected fileError(const std::string& path, std::string_view what, int error) {
  std::string message = path + ": ";
  message += what;
  message += std::strerror(error);
  return unexpected(std::move(message));
}

// Closes a descriptor when it goes out of scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return fd_; }
  // Closes now, for the error a deferred write may report at close.
  int close() {
    const int result = ::close(fd_);
    fd_ = -1;
    return result;
  }

 private:
  int fd_;
};

// Reads until `count` bytes or the end of the file; -1 with errno on failure.
ssize_t readFully(int fd, char* buffer, size_t count, uint64_t offset) {
  size_t done = 0;
  while (done < count) {
    const ssize_t n = ::pread(fd, buffer + done, count - done, static_cast<off_t>(offset + done));
    if (n < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    if (n == 0) break;
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

}  // namespace

Result<std::string> readWholeFile(const std::string& path, size_t limit) {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return fileError(path, kCannotReadFile, errno);
  struct stat status {};
  if (::fstat(fd.get(), &status) != 0) return fileError(path, kCannotReadFile, errno);
  if (S_ISDIR(status.st_mode)) return fileError(path, kCannotReadFile, EISDIR);
  // Read piece by piece rather than by the reported size, so that a pipe or a file that grows
  // is bounded by `limit` too.
  constexpr size_t kPiece = 64 * 1024;
  std::string text;
  while (text.size() <= limit) {
    const size_t start = text.size();
    text.resize(start + kPiece);
    const ssize_t n = ::read(fd.get(), text.data() + start, kPiece);
    if (n < 0) {
      if (errno == EINTR) {
        text.resize(start);
        continue;
      }
      return fileError(path, kCannotReadFile, errno);
    }
    text.resize(start + static_cast<size_t>(n));
    if (n == 0) return text;
  }
  std::string message = path + ": ";
  message += kFileTooLarge;
  message += std::to_string(limit) + " bytes";
  return unexpected(std::move(message));
}

Result<std::string> readFileRange(const std::string& path, uint64_t offset, size_t count) {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd.get() < 0) return fileError(path, kCannotReadFile, errno);
  if (offset > static_cast<uint64_t>(std::numeric_limits<off_t>::max()) - count) {
    return fileError(path, kCannotReadFile, EOVERFLOW);
  }
  std::string bytes(count, '\0');
  const ssize_t n = readFully(fd.get(), bytes.data(), count, offset);
  if (n < 0) return fileError(path, kCannotReadFile, errno);
  bytes.resize(static_cast<size_t>(n));
  return bytes;
}

Result<uint64_t> fileSizeOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return fileError(path, kCannotReadFile, errno);
  if (S_ISDIR(status.st_mode)) return fileError(path, kCannotReadFile, EISDIR);
  return static_cast<uint64_t>(status.st_size);
}

Result<uint64_t> writeFileAtStart(const std::string& path, std::span<const uint8_t> bytes,
                                  uint64_t length) {
  FileDescriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
  if (fd.get() < 0) return fileError(path, kCannotWriteFile, errno);
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd.get(), bytes.data() + done, bytes.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return fileError(path, kCannotWriteFile, errno);
    }
    done += static_cast<size_t>(n);
  }
  uint64_t fileLength = bytes.size();
  if (length > fileLength) {
    if (length > static_cast<uint64_t>(std::numeric_limits<off_t>::max())) {
      return fileError(path, kCannotWriteFile, EFBIG);
    }
    if (::ftruncate(fd.get(), static_cast<off_t>(length)) != 0) {
      return fileError(path, kCannotWriteFile, errno);
    }
    fileLength = length;
  }
  if (fd.close() != 0) return fileError(path, kCannotWriteFile, errno);
  return fileLength;
}

}  // namespace premoov
