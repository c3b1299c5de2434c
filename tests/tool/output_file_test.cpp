// Files are written whole or not at all, and outputs that would cost data are refused.
#include "support/output_file.h"

#include <csignal>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "support.h"
#include "support/input_file.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

std::string content(const fs::path& path) {
  const Bytes bytes = read_beginning(path, 100);
  return {bytes.begin(), bytes.end()};
}

std::ptrdiff_t files_in(const fs::path& folder) {
  return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

// No file of this process may grow beyond `bytes`: a write fails half-way, as on a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : previous_handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &previous_);
    const rlimit limit{bytes, previous_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &previous_);
    std::signal(SIGXFSZ, previous_handler_);
  }

 private:
  void (*previous_handler_)(int);
  rlimit previous_{};
};

TEST(ToolOutputFile, ReplacesAFileAndLeavesNothingBeside) {
  const TemporaryDirectory folder;
  write_file(folder / "a.txt", std::string("first"));
  write_file(folder / "a.txt.part", std::string("left by a run that was killed"));
  write_file(folder / "a.txt", std::string("second"));
  EXPECT_EQ(content(folder / "a.txt"), "second");
  EXPECT_EQ(files_in(folder.path()), 1);
}

TEST(ToolOutputFile, KeepsTheOldFileWhenWritingFailsHalfWay) {
  const TemporaryDirectory folder;
  const fs::path path = folder / "a.bin";
  write_file(path, std::string("old"));
  std::string message;
  {
    const FileSizeLimit limit(1000);
    message = failure([&] { write_file(path, std::string(2000, 'x')); });
  }
  EXPECT_EQ(message, path.string() + " cannot be written: File too large. Write somewhere else.");
  EXPECT_EQ(content(path), "old");
  EXPECT_EQ(files_in(folder.path()), 1);
}

TEST(ToolOutputFile, LeavesWhatLiesInTheWay) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "taken");
  EXPECT_TRUE(fails_with("Is a directory. Write somewhere else.",
                         [&] { write_file(folder / "taken", std::string("x")); }));
  EXPECT_EQ(files_in(folder.path()), 1);
  write_file(folder / "precious", std::string("precious"));
  fs::create_symlink("precious", folder / "a.txt.part");
  EXPECT_NE(failure([&] { write_file(folder / "a.txt", std::string("x")); }), "none");
  EXPECT_EQ(content(folder / "precious"), "precious");
}

TEST(ToolOutputFile, RefusesUnusableTargets) {
  const TemporaryDirectory folder;
  const fs::path pipe = folder / "pipe.png";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string path = folder.path().string();
  EXPECT_EQ(failure([&] { require_writable(folder / "A.PNG", {".png"}); }), "none");
  const auto other_ending = [&] { require_writable(folder / "a.jpg", {".tiff", ".tif"}); };
  EXPECT_EQ(failure(other_ending), path + "/a.jpg cannot be written: its name must end in .tiff or .tif.");
  EXPECT_EQ(
      failure([&] { require_writable(folder / "no/a.png", {".png"}); }),
      path + "/no/a.png cannot be written: the folder " + path + "/no does not exist. Create it first.");
  fs::create_symlink("circle", folder / "circle");
  EXPECT_TRUE(fails_with("circle cannot be reached: Too many levels",
                         [&] { require_writable(folder / "circle/a.png", {}); }));
  EXPECT_EQ(failure([&] { require_writable(pipe, {".png"}); }),
            path + "/pipe.png cannot be written: something that is not a regular file has that name.");
}

TEST(ToolOutputFile, RefusesToOverwriteInputsAndOtherOutputs) {
  const TemporaryDirectory folder;
  write_file(folder / "in.png", std::string("x"));
  fs::create_symlink("in.png", folder / "link.png");
  const auto refused = [](const std::vector<fs::path>& outputs, const std::vector<fs::path>& inputs) {
    return failure([&] { require_distinct(outputs, inputs); }) != "none";
  };
  EXPECT_FALSE(refused({folder / "a.png", {}, {}, folder / "b.png"}, {folder / "in.png", folder / "in.png"}));
  EXPECT_TRUE(refused({folder / "in.png"}, {folder / "in.png"}));
  EXPECT_TRUE(refused({folder / "./link.png"}, {folder / "in.png"}));
  EXPECT_TRUE(refused({folder / "a.png", folder / "a.png"}, {folder / "in.png"}));
  EXPECT_TRUE(refused({"new.png", "./new.png"}, {}));
}

}  // namespace
}  // namespace enhance_depth_tool
