#include "support/atomic_file.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kReadWriteForAll = 0666;  // less the process's mask

// The path through which an unnamed file is given a name.
std::string link_to(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

// An unnamed file in `folder`; -1 if this file system does not support those, or gives no way to name it
// later.
int open_nameless(const fs::path& folder) {
  const int descriptor = open(folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, kReadWriteForAll);
  if (descriptor >= 0 && access(link_to(descriptor).c_str(), F_OK) != 0) {
    close(descriptor);
    return -1;
  }
  return descriptor;
}

}  // namespace

void Descriptor::reset(int descriptor) {
  close();
  descriptor_ = descriptor;
}

bool Descriptor::close() {
  const int descriptor = std::exchange(descriptor_, -1);
  return descriptor < 0 || ::close(descriptor) == 0;
}

bool Descriptor::write_all(const void* data, std::size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t written = write(descriptor_, next, size);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written < 0) {
      return false;
    }
    next += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

AtomicFile::AtomicFile(fs::path target) : target_(std::move(target)) {
  const fs::path folder = target_.parent_path();
  descriptor_.reset(open_nameless(folder.empty() ? "." : folder));
  if (descriptor_.get() < 0) {
    name_.emplace(target_, "", [&](const std::string& path) {
      descriptor_.reset(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadWriteForAll));
      return descriptor_.get() >= 0;
    });
  }
}

void AtomicFile::write(const void* data, std::size_t size) {
  if (!descriptor_.write_all(data, size)) {
    fail();
  }
}

// The content reaches the disk before the name does: after a power failure the name never refers to an empty
// file.
void AtomicFile::commit() {
  // EINVAL: the file system does not support it.
  if (fdatasync(descriptor_.get()) != 0 && errno != EINVAL) {
    fail();
  }
  if (!name_) {
    name_.emplace(target_, "", [&](const std::string& path) {
      return linkat(AT_FDCWD, link_to(descriptor_.get()).c_str(), AT_FDCWD, path.c_str(),
                    AT_SYMLINK_FOLLOW) == 0;
    });
  }
  if (!descriptor_.close()) {
    fail();
  }
  name_->publish();
}

void AtomicFile::fail() const { throw WriteError(target_.string(), errno); }

void write_file(const fs::path& path, const void* data, std::size_t size) {
  AtomicFile file(path);
  file.write(data, size);
  file.commit();
}

void write_file(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
  write_file(path, bytes.data(), bytes.size());
}

void write_file(const fs::path& path, const std::string& text) { write_file(path, text.data(), text.size()); }

}  // namespace enhance_depth_tool
