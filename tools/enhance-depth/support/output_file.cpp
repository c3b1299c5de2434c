#include "support/output_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include <fcntl.h>
#include <unistd.h>

#include "support/input_file.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

std::string joined(std::initializer_list<std::string_view> endings) {
  std::string text;
  for (std::string_view ending : endings) {
    text += (text.empty() ? "" : " or ") + std::string(ending);
  }
  return text;
}

// A file being written: removed again unless it was renamed to its target.
class PartFile {
 public:
  explicit PartFile(const fs::path& target) : target_(target), part_(target.string() + ".part") {
    constexpr mode_t kReadWriteForAll = 0666;  // less the process's mask
    descriptor_ =
        open(part_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, kReadWriteForAll);
    if (descriptor_ < 0) {
      fail();
    }
  }
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;
  ~PartFile() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
    if (!renamed_) {
      unlink(part_.c_str());
    }
  }

  void write_all(const char* data, std::size_t size) {
    while (size > 0) {
      const ssize_t written = write(descriptor_, data, size);
      if (written < 0 && errno == EINTR) {
        continue;
      }
      if (written < 0) {
        fail();
      }
      data += written;
      size -= static_cast<std::size_t>(written);
    }
  }

  // The content reaches the disk before the name does: after a power cut the name never stands for an empty
  // file.
  void rename_to_target() {
    // EINVAL: a file system that cannot do it.
    if (fdatasync(descriptor_) != 0 && errno != EINVAL) {
      fail();
    }
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0 || rename(part_.c_str(), target_.c_str()) != 0) {
      fail();
    }
    renamed_ = true;
  }

 private:
  // A constructor that throws runs no destructor; then there is no file to remove either.
  [[noreturn]] void fail() const {
    const int reason = errno;
    std::string remedy = "Write somewhere else.";
    if (reason == ENOSPC || reason == EDQUOT) {
      remedy = "Make room on the disk or write somewhere else.";
    }
    if (reason == EACCES || reason == EPERM) {
      remedy = "Check the folder's permissions.";
    }
    throw ToolError(kFramesFailed,
                    target_.string() + " cannot be written: " + std::strerror(reason) + ". " + remedy);
  }

  fs::path target_;
  fs::path part_;
  int descriptor_ = -1;
  bool renamed_ = false;
};

fs::path folder_of(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

}  // namespace

void require_writable(const fs::path& path, std::initializer_list<std::string_view> endings) {
  const std::string ending = lower_case(path.extension().string());
  if (endings.size() > 0 && std::find(endings.begin(), endings.end(), ending) == endings.end()) {
    throw UsageError(path.string() + " cannot be written: its name must end in " + joined(endings) + ".");
  }
  const fs::path folder = folder_of(path);
  if (type_of(folder) != fs::file_type::directory) {
    throw UsageError(path.string() + " cannot be written: the folder " + folder.string() +
                     " does not exist. Create it first.");
  }
  const fs::file_type type = type_of(path);
  if (type != fs::file_type::not_found && type != fs::file_type::regular) {
    throw UsageError(path.string() +
                     " cannot be written: something that is not a regular file has that name.");
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    throw UsageError(path.string() + " cannot be written: " + std::strerror(errno) +
                     ". Write to another folder, or change the permissions of " + folder.string() + ".");
  }
}

fs::path canonical_path(const fs::path& path) {
  std::error_code problem;
  const fs::path absolute = fs::absolute(path, problem);  // weakly_canonical() keeps "new.png" as it is
  const fs::path canonical = fs::weakly_canonical(absolute, problem);
  return problem ? absolute.lexically_normal() : canonical;  // such as for links in a circle
}

void require_distinct(const std::vector<fs::path>& outputs, const std::vector<fs::path>& inputs) {
  std::set<fs::path> read;
  for (const fs::path& input : inputs) {
    read.insert(canonical_path(input));
  }
  std::set<fs::path> written;
  for (const fs::path& output : outputs) {
    if (output.empty()) {
      continue;
    }
    const fs::path path = canonical_path(output);
    if (read.count(path) > 0) {
      throw UsageError(output.string() +
                       " is read by this command and would be overwritten. Choose another output.");
    }
    if (!written.insert(path).second) {
      throw UsageError(output.string() + " is named twice. Every output needs a file of its own.");
    }
  }
}

void write_file(const fs::path& path, const void* data, std::size_t size) {
  PartFile file(path);
  file.write_all(static_cast<const char*>(data), size);
  file.rename_to_target();
}

void write_file(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
  write_file(path, bytes.data(), bytes.size());
}

void write_file(const fs::path& path, const std::string& text) { write_file(path, text.data(), text.size()); }

}  // namespace enhance_depth_tool
