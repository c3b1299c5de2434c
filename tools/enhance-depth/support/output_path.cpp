#include "support/output_path.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include <unistd.h>

#include "support/input_file.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

std::string joined(std::initializer_list<std::string_view> extensions) {
  std::string text;
  for (std::string_view extension : extensions) {
    text += (text.empty() ? "" : " or ") + std::string(extension);
  }
  return text;
}

fs::path folder_of(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

}  // namespace

void require_writable(const fs::path& path, std::initializer_list<std::string_view> extensions) {
  const std::string extension = lower_case(path.extension().string());
  if (extensions.size() > 0 &&
      std::find(extensions.begin(), extensions.end(), extension) == extensions.end()) {
    throw UsageError(path.string() + " cannot be written: its name must end in " + joined(extensions) + ".");
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

}  // namespace enhance_depth_tool
