#include "engine/engine_file.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace enhance_depth {
namespace {

class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  ~FileDescriptor() {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  int get() const { return descriptor_; }

 private:
  int descriptor_;
};

bool refuse(const char* path, const std::string& reason, std::string& message) {
  message = "Cannot read engine file (" + reason + "): " + path;
  return false;
}

std::string system_reason() { return std::generic_category().message(errno); }

bool check_kind(const struct stat& status, const char* path, std::string& message) {
  if (S_ISDIR(status.st_mode)) {
    return refuse(path, std::generic_category().message(EISDIR), message);
  }
  if (!S_ISREG(status.st_mode)) {
    return refuse(path, "Not a regular file", message);
  }
  if (status.st_size <= 0) {
    return refuse(path, "The file is empty", message);
  }
  return true;
}

// Reads `size` bytes, continuing after signals and short reads.
bool read_exactly(int descriptor, std::uint8_t* data, std::uint64_t size, const char* path,
                  std::string& message) {
  while (size > 0) {
    const ssize_t count = ::read(descriptor, data, size);
    if (count == 0) {
      return refuse(path, "The file became shorter while it was read", message);
    }
    if (count < 0) {
      if (errno == EINTR) {
        continue;
      }
      return refuse(path, system_reason(), message);
    }
    data += count;
    size -= static_cast<std::uint64_t>(count);
  }
  return true;
}

}  // namespace

bool read_engine_file(const char* path, std::unique_ptr<std::uint8_t[]>& data, std::uint64_t& size,
                      std::string& message) {
  // Checked before it is opened, because opening a FIFO or a device can disturb whoever is at its other end.
  struct stat status {};
  if (::stat(path, &status) != 0) {
    return refuse(path, system_reason(), message);
  }
  if (!check_kind(status, path, message)) {
    return false;
  }
  const FileDescriptor file(::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
    return refuse(path, system_reason(), message);
  }
  if (!check_kind(status, path, message)) {  // another file may have taken its place since
    return false;
  }
  const auto length = static_cast<std::uint64_t>(status.st_size);
  std::unique_ptr<std::uint8_t[]> bytes(new std::uint8_t[length]);
  if (!read_exactly(file.get(), bytes.get(), length, path, message)) {
    return false;
  }
  data = std::move(bytes);
  size = length;
  return true;
}

}  // namespace enhance_depth
