// Files are written whole or not at all, whatever else goes on in their folder.
#include "support/atomic_file.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support.h"
#include "support/input_file.h"
#include "support/interrupt.h"
#include "support/unfinished_file.h"

// The system calls of this program, in whose place these stand: their order, and what they are told to fail
// with.
namespace {

struct SystemCalls {
  std::string order;
  int write_fails_once = 0;
  int sync_fails = 0;
  bool no_nameless_files = false;
} system_calls;

}  // namespace

extern "C" ssize_t write(int descriptor, const void* data, std::size_t size) {
  if (descriptor > STDERR_FILENO) {
    system_calls.order += "write ";
  }
  if (descriptor > STDERR_FILENO && system_calls.write_fails_once != 0) {
    errno = std::exchange(system_calls.write_fails_once, 0);
    return -1;
  }
  return syscall(SYS_write, descriptor, data, size);
}

extern "C" int fdatasync(int descriptor) {
  system_calls.order += "fdatasync ";
  if (system_calls.sync_fails != 0) {
    errno = system_calls.sync_fails;
    return -1;
  }
  return static_cast<int>(syscall(SYS_fdatasync, descriptor));
}

extern "C" int rename(const char* from, const char* to) noexcept {
  system_calls.order += "rename ";
  return static_cast<int>(syscall(SYS_renameat, AT_FDCWD, from, AT_FDCWD, to));
}

extern "C" int access(const char* path, int mode) noexcept {
  if (system_calls.no_nameless_files) {
    errno = ENOENT;
    return -1;
  }
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

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

// Everything on a file system with unnamed temporary files, and on one without.
class ToolAtomicFile : public testing::TestWithParam<bool> {
 protected:
  ToolAtomicFile() { system_calls = {"", 0, 0, GetParam()}; }
  ~ToolAtomicFile() override { system_calls = {}; }
  const TemporaryDirectory folder_;
};
INSTANTIATE_TEST_SUITE_P(NamelessFiles, ToolAtomicFile, testing::Values(false, true),
                         [](const auto& suite) { return suite.param ? "Missing" : "There"; });

TEST_P(ToolAtomicFile, IsOnTheDiskBeforeItsNameIsAndLeavesNothingBeside) {
  write_file(folder_ / "a.txt", std::string("first"));
  system_calls = {"", EINTR, EINVAL, GetParam()};
  write_file(folder_ / "a.txt", std::string("second"));
  EXPECT_EQ(system_calls.order, "write write fdatasync rename ");
  EXPECT_EQ(content(folder_ / "a.txt"), "second");
  const mode_t withheld = umask(0);
  umask(withheld);
  EXPECT_EQ(fs::status(folder_ / "a.txt").permissions(), fs::perms(0666 & ~withheld)) << "as any other file";
  EXPECT_EQ(files_in(folder_.path()), 1);
}

TEST_P(ToolAtomicFile, KeepsTheOldFileWhenWritingFails) {
  const fs::path path = folder_ / "a.bin";
  write_file(path, std::string("old"));
  const std::string refused = path.string() + " cannot be written: ";
  {
    const FileSizeLimit limit(1000);
    EXPECT_EQ(failure([&] { write_file(path, std::string(2000, 'x')); }),
              refused + "File too large. Write somewhere else.");
  }
  system_calls.sync_fails = ENOSPC;
  EXPECT_EQ(failure([&] { write_file(path, std::string("new")); }),
            refused + "No space left on device. Make room on the disk or write somewhere else.");
  EXPECT_EQ(content(path), "old");
  fs::create_directory(folder_ / "taken");
  system_calls.sync_fails = 0;
  EXPECT_TRUE(fails_with("Is a directory. Write somewhere else.",
                         [&] { write_file(folder_ / "taken", std::string("x")); }));
  EXPECT_EQ(files_in(folder_.path()), 2);
}

TEST_P(ToolAtomicFile, IsThatOfTheLastOfTwoWriters) {
  const fs::path path = folder_ / "a.txt";
  AtomicFile first(path);
  first.write("first", 5);
  AtomicFile second(path);
  second.write("second", 6);
  first.commit();
  EXPECT_EQ(content(path), "first");
  second.commit();
  EXPECT_EQ(content(path), "second");
  EXPECT_EQ(files_in(folder_.path()), 1);
}

TEST(ToolUnfinishedFile, GoesWithASignalThatEndsTheProcess) {
  testing::GTEST_FLAG(death_test_style) = "fast";
  const TemporaryDirectory folder;
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    const auto end_in_the_middle = [&] {
      remove_unfinished_files_on_signals();
      system_calls.no_nameless_files = true;
      const AtomicFile file(folder / "a.txt");
      const InterruptGuard interrupt;
      std::raise(SIGTERM);  // requests a clean end, before which the file may be finished
      std::raise(files_in(folder.path()) == 1 ? signal : SIGABRT);
    };
    EXPECT_EXIT(end_in_the_middle(), testing::KilledBySignal(signal), "");
    EXPECT_EQ(files_in(folder.path()), 0);
  }
}

}  // namespace
}  // namespace enhance_depth_tool
