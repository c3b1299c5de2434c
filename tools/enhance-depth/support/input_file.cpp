#include "support/input_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>

#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const fs::path& path, const char* what, int reason) {
  const bool forbidden = reason == EACCES || reason == EPERM;
  throw UsageError(
      path.string() + " cannot be " + what + ": " +
      (reason == 0 ? "it became shorter meanwhile" : std::strerror(reason)) +
      (forbidden ? ". Check its permissions and those of its folders." : ". Check the path and the disk."));
}

std::uintmax_t size_of(const fs::path& path) {
  const fs::file_type type = type_of(path);
  if (type == fs::file_type::not_found) {
    throw UsageError(path.string() + " does not exist. Check the path.");
  }
  if (type != fs::file_type::regular) {
    throw UsageError(path.string() + " is not a regular file. Name the file itself.");
  }
  std::error_code problem;
  const std::uintmax_t size = fs::file_size(path, problem);
  if (problem) {
    refuse(path, "reached", problem.value());
  }
  return size;
}

}  // namespace

fs::file_type type_of(const fs::path& path) {
  std::error_code problem;
  const fs::file_type type = fs::status(path, problem).type();
  if (type == fs::file_type::none) {
    refuse(path, "reached", problem.value());
  }
  return type;
}

Bytes read_file(const fs::path& path, const char* kind, std::uintmax_t limit) {
  const std::uintmax_t size = size_of(path);
  if (size > limit) {
    throw UsageError(path.string() + " is larger than any " + kind +
                     " that is accepted. Name the file itself.");
  }
  return read_beginning(path, size);
}

Bytes read_beginning(const fs::path& path, std::uintmax_t size) {
  Bytes bytes(std::min(size, size_of(path)));
  errno = 0;
  std::ifstream stream(path, std::ios::binary);
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!stream) {
    refuse(path, "read", errno);
  }
  return bytes;
}

}  // namespace enhance_depth_tool
