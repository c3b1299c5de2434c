// Engine files of every kind. This program has system calls of its own between the library and the kernel, so
// that a file can change at the worst moment.
#include "engine/engine_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "support/board_test.h"
#include "support/open_engine.h"

namespace {

// What happens before the next open(), with which error it fails, the flags of every open(), whether fstat()
// fails, and what happens at each read(): a result, or nothing for the real one of at most `limit`.
std::function<void()> before_open;
int open_error = 0;
std::vector<int> open_flags;
bool fstat_fails = false;
std::function<std::optional<ssize_t>(std::size_t& limit)> at_read;

}  // namespace

extern "C" int open(const char* path, int flags, ...) {
  if (before_open) {
    std::exchange(before_open, nullptr)();
  }
  open_flags.push_back(flags);
  if (open_error != 0) {
    errno = std::exchange(open_error, 0);
    return -1;
  }
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" int fstat(int descriptor, struct stat* status) noexcept {
  if (fstat_fails) {
    errno = EIO;
    return -1;
  }
  return fstatat(descriptor, "", status, AT_EMPTY_PATH);
}

extern "C" ssize_t read(int descriptor, void* buffer, std::size_t count) {
  if (at_read) {
    if (const auto result = at_read(count)) {
      return *result;
    }
  }
  return syscall(SYS_read, descriptor, buffer, count);
}

namespace enhance_depth {
namespace {

using test_support::ErrorPlace;
using test_support::Handle;
using test_support::Record;

class EngineFile : public test_support::BoardTest {
 protected:
  static std::ptrdiff_t open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
  }

  void SetUp() override {
    BoardTest::SetUp();
    descriptors_ = open_descriptors();
  }
  void TearDown() override {
    before_open = nullptr;
    open_flags.clear();
    fstat_fails = false;
    at_read = nullptr;
    alarm(0);
    EXPECT_EQ(open_descriptors(), descriptors_) << "every file is closed";
    BoardTest::TearDown();
  }

  // Refused before any TensorRT object exists; the record cuts the message, the last error does not.
  static void expect_refusal(const std::string& path, const std::string& reason) {
    alarm(30);  // a refusal that blocks ends the test
    const std::string message = "Cannot read engine file (" + reason + "): " + path;
    ErrorPlace error;
    EXPECT_EQ(enhance_depth_create(path.c_str(), error), nullptr);
    EXPECT_EQ(error.read(), (Record{1, message.substr(0, 255), "enhance_depth_create", path.substr(0, 255)}));
    EXPECT_EQ(enhance_depth_get_last_error(nullptr), message);
    EXPECT_EQ(emulated_board::calls("createInferRuntime"), 0);
    EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
  }

  std::string good_engine() const { return write_engine({}); }

 private:
  std::ptrdiff_t descriptors_ = 0;
};

TEST_F(EngineFile, MustBeARegularReadableFileWithContents) {
  expect_refusal(directory_ / "missing", "No such file or directory");
  expect_refusal("", "No such file or directory");
  expect_refusal(directory_ / "", "Is a directory");
  expect_refusal(directory_.write("empty", ""), "The file is empty");
  expect_refusal(good_engine() + "/below", "Not a directory");
  open_flags.clear();  // from here on nothing may be opened: that can disturb the other end
  expect_refusal("/dev/null", "Not a regular file");
  expect_refusal("/dev/zero", "Not a regular file");
  const std::string fifo = directory_ / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  expect_refusal(fifo, "Not a regular file");
  const std::string loop = directory_ / "loop";
  ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
  expect_refusal(loop, "Too many levels of symbolic links");
  EXPECT_TRUE(open_flags.empty());
}

// A missing or incompatible driver is reported first, whatever else is wrong.
TEST_F(EngineFile, IsNotLookedAtWithoutTimingEvents) {
  emulated_board::fail_call("cudaEventCreate", 1);
  ErrorPlace error;
  EXPECT_EQ(enhance_depth_create("/nonexistent", error), nullptr);
  EXPECT_EQ(error.read(), (Record{20, "cudaEventCreate(timer) failed: out of memory", "enhance_depth_create",
                                  "/nonexistent"}));
}

TEST_F(EngineFile, MayHaveAnyPath) {
  const std::string engine = test_support::TestEngine{}.text();
  const std::string name = "Tiefe größer – 深度 %s \"1\".engine";
  EXPECT_EQ(enhance_GetLastInferenceTime(nullptr), -1.0F);
  before_open = [] { EXPECT_STREQ(enhance_depth_get_last_error(nullptr), "OK") << "cleared on entry"; };
  EXPECT_NE(Handle(enhance_depth_create(directory_.write(name, engine).c_str(), nullptr)), nullptr);
  EXPECT_NE(open_flags.at(0) & O_CLOEXEC, 0) << "no child process inherits the engine";
  std::string deep = directory_ / "";
  while (deep.size() < 3900) {
    deep += std::string(90, 'd') + "/";
  }
  std::filesystem::create_directories(deep);
  deep += std::string(4000 - deep.size(), 'e');
  std::ofstream(deep) << engine;
  EXPECT_NE(Handle(enhance_depth_create(deep.c_str(), nullptr)), nullptr);

  std::filesystem::remove(deep);
  std::filesystem::remove(directory_ / name);
  emulated_board::reset();
  expect_refusal(directory_ / name, "No such file or directory");
  expect_refusal(deep, "No such file or directory");
  expect_refusal(deep + std::string(200, 'e'), "File name too long");
}

TEST_F(EngineFile, MayChangeUnderTheHandsOfTheReader) {
  const std::string path = good_engine();
  const auto refill = [&] { write_engine({}); };
  before_open = [&] { std::filesystem::remove(path); };
  expect_refusal(path, "No such file or directory");
  refill();
  before_open = [&] { std::filesystem::resize_file(path, 0); };
  expect_refusal(path, "The file is empty");
  refill();
  before_open = [&] {
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  };
  expect_refusal(path, "Not a regular file");
  std::filesystem::remove(path);
  refill();
  at_read = [&](std::size_t& limit) -> std::optional<ssize_t> {
    limit = 100;  // the first piece, and then it is gone
    std::filesystem::resize_file(path, 100);
    return std::nullopt;
  };
  expect_refusal(path, "The file became shorter while it was read");
  refill();
  open_error = EACCES;
  expect_refusal(path, "Permission denied");
  fstat_fails = true;
  expect_refusal(path, "Input/output error");
  fstat_fails = false;
  at_read = [](std::size_t&) -> std::optional<ssize_t> {
    errno = EIO;
    return -1;
  };
  expect_refusal(path, "Input/output error");
}

TEST_F(EngineFile, IsReadWholeThroughSignalsAndShortReads) {
  int reads = 0;
  at_read = [&](std::size_t& limit) -> std::optional<ssize_t> {
    if (++reads % 2 == 1) {
      errno = EINTR;
      return -1;
    }
    limit = std::min<std::size_t>(limit, 64);
    return std::nullopt;
  };
  const std::string engine = test_support::TestEngine{}.text();
  std::unique_ptr<std::uint8_t[]> data;
  std::uint64_t size = 0;
  std::string message;
  ASSERT_TRUE(read_engine_file(good_engine().c_str(), data, size, message)) << message;
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.get()), size), engine);
  EXPECT_GT(reads, 10);
}

TEST_F(EngineFile, OfGarbageIsRefusedByTensorRt) {
  std::minstd_rand random(3);
  for (std::size_t size = 1; size <= 4U << 20U; size *= 7) {
    std::string garbage(size, '\0');
    std::generate(garbage.begin(), garbage.end(), [&] { return static_cast<char>(random() >> 9U); });
    const std::string path = directory_.write("garbage", garbage);
    ErrorPlace error;
    EXPECT_EQ(enhance_depth_create(path.c_str(), error), nullptr) << size << " bytes";
    EXPECT_EQ(error.read(),
              (Record{13, "Failed to deserialize TensorRT engine.", "enhance_depth_create", path}));
    EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
  }
}

class Init : public EngineFile {};

TEST_F(Init, RefusesANullPathAndLeavesTheRuntimeOfAFileThatIsNoEngine) {
  OpenEngine wrapper;
  EXPECT_FALSE(wrapper.init(nullptr));
  EXPECT_EQ(wrapper.last_error_code(), 1);
  EXPECT_EQ(wrapper.last_error_message(), "Engine path must not be null.");
  EXPECT_FALSE(wrapper.init(directory_.write("garbage", "garbage").c_str()));
  EXPECT_EQ(wrapper.last_error_code(), 13);
  EXPECT_NE(wrapper.runtime, nullptr);
  EXPECT_EQ(wrapper.engine, nullptr);
  EXPECT_EQ(wrapper.context, nullptr);
  EXPECT_FALSE(wrapper.initialized);
  EXPECT_EQ(wrapper.engine_data, nullptr);
  EXPECT_EQ(wrapper.engine_size, 0U);
}

TEST_F(Init, IsDoneOnce) {
  OpenEngine wrapper;
  const std::string path = good_engine();
  ASSERT_TRUE(wrapper.init(path.c_str()));
  EXPECT_TRUE(wrapper.initialized);
  EXPECT_TRUE(wrapper.buffers_ready);
  EXPECT_EQ(wrapper.engine_data, nullptr);
  EXPECT_EQ(wrapper.engine_size, 0U);
  EXPECT_EQ(wrapper.last_error_message(), "OK");
  wrapper.fail(ENHANCE_DEPTH_ERROR_SYNC_FAILED, "a failure");
  std::filesystem::remove(path);
  for (const char* again : {path.c_str(), static_cast<const char*>(nullptr)}) {
    EXPECT_TRUE(wrapper.init(again));
    EXPECT_EQ(wrapper.last_error_message(), "a failure");
  }
  EXPECT_EQ(emulated_board::calls("createInferRuntime"), 1);
}

}  // namespace
}  // namespace enhance_depth
