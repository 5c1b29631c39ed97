#include "premoov/sparse_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace premoov {

namespace {

class ReadOnlyFile {
 public:
  explicit ReadOnlyFile(const std::string& path)
      : fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~ReadOnlyFile() {
    if (fd_ >= 0) ::close(fd_);
  }
  ReadOnlyFile(const ReadOnlyFile&) = delete;
  ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_;
};

// The first written offset at or after `offset`, or nothing past the last written byte (ENXIO).
std::optional<off_t> nextData(int fd, uint64_t offset) {
  const off_t data = ::lseek(fd, static_cast<off_t>(offset), SEEK_DATA);
  if (data < 0) return std::nullopt;
  return data;
}

}  // namespace

std::optional<uint64_t> bytesOnDisk(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return static_cast<uint64_t>(status.st_blocks) * 512;  // st_blocks counts 512-byte units
}

std::optional<bool> writtenFrom(const std::string& path, uint64_t offset) {
  ReadOnlyFile file(path);
  if (file.fd() < 0) return std::nullopt;
  errno = 0;
  if (nextData(file.fd(), offset)) return true;
  if (errno == ENXIO) return false;
  return std::nullopt;
}

std::optional<std::vector<uint8_t>> writtenBytes(const std::string& path, uint64_t offset,
                                                 uint32_t size) {
  ReadOnlyFile file(path);
  if (file.fd() < 0) return std::nullopt;
  const auto data = nextData(file.fd(), offset);
  if (!data || static_cast<uint64_t>(*data) != offset) return std::nullopt;
  std::vector<uint8_t> bytes(size);
  const ssize_t read = ::pread(file.fd(), bytes.data(), size, static_cast<off_t>(offset));
  if (read != static_cast<ssize_t>(size)) return std::nullopt;
  return bytes;
}

}  // namespace premoov
