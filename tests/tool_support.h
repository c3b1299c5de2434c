// What the tests of the tool share.
#ifndef ENHANCE_DEPTH_TESTS_TOOL_SUPPORT_H
#define ENHANCE_DEPTH_TESTS_TOOL_SUPPORT_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "tool_error.h"

namespace enhance_depth_tool {

// An empty folder that is removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "enhance_depth_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("no temporary folder");
    }
    path_ = pattern;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// The sentence that `function` fails with.
template <typename Function>
std::string failure(const Function& function) {
  try {
    function();
  } catch (const ToolError& error) {
    return error.what();
  }
  return "none";
}

template <typename Function>
bool fails_with(const std::string& part, const Function& function) {
  return failure(function).find(part) != std::string::npos;
}

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TESTS_TOOL_SUPPORT_H
