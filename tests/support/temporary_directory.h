// A folder for the files of a test.
#ifndef ENHANCE_DEPTH_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H
#define ENHANCE_DEPTH_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace test_support {

// Empty at first, and removed with its contents.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "enhance_depth_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      throw std::runtime_error("cannot make a temporary folder");
    }
    path_ = pattern;
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  // Writes a file and returns its path.
  std::string write(std::string_view name, std::string_view contents) const {
    std::ofstream(path_ / name, std::ios::binary) << contents;
    return path_ / name;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace test_support

#endif  // ENHANCE_DEPTH_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H
