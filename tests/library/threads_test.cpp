// What may happen at the same time: distinct handles on many threads, errors per thread, one logger for all.
#include <atomic>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "log/trt_logger.h"
#include "support/board_test.h"
#include "support/captured_output.h"

namespace {

using test_support::ErrorPlace;
using test_support::Frame;
using test_support::Handle;

constexpr int kThreads = 6;

// Runs `body(number)` on several threads that start together.
void on_many_threads(const std::function<void(int)>& body) {
  std::atomic<int> waiting{kThreads};
  std::vector<std::thread> threads;
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      --waiting;
      while (waiting > 0) {
        std::this_thread::yield();
      }
      body(number);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

class Threads : public test_support::BoardTest {};

TEST_F(Threads, UseDistinctHandlesWhileOthersFail) {
  const std::string path = write_engine({});
  const std::string garbage = directory_.write("garbage", "garbage");
  on_many_threads([&](int number) {
    const int width = 32 + 16 * number;
    const Frame frame(width, 32, static_cast<unsigned>(number));
    const enhance_depth_input input = frame.input();
    for (int round = 0; round < 3; ++round) {
      ErrorPlace error;
      const Handle handle(enhance_depth_create(path.c_str(), error));
      ASSERT_NE(handle, nullptr);
      EXPECT_EQ(enhance_depth_create(garbage.c_str(), error), nullptr);
      EXPECT_EQ(error.read().code, 13);
      EXPECT_EQ(enhance_depth_reset(handle.get(), 5000, number, error), 0);
      ASSERT_EQ(enhance_depth_reset(handle.get(), width, 32, error), 1);
      for (int i = 0; i < 5; ++i) {
        enhance_depth_output output{};
        ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, error), 1);
        ASSERT_EQ(test_support::pixels_of(output), frame.depth);
        EXPECT_GE(enhance_GetLastInferenceTime(handle.get()), 0.0F);
      }
      EXPECT_STREQ(enhance_depth_get_last_error(handle.get()), "OK");
    }
  });
}

TEST_F(Threads, HaveTheirOwnLastErrors) {
  on_many_threads([&](int number) {
    EXPECT_STREQ(enhance_depth_get_last_error(nullptr), "OK") << "a thread that never failed";
    const std::string path = "/nonexistent/engine of thread " + std::to_string(number);
    for (int i = 0; i < 50; ++i) {
      EXPECT_EQ(enhance_depth_create(path.c_str(), nullptr), nullptr);
      EXPECT_EQ(enhance_depth_get_last_error(nullptr),
                "Cannot read engine file (No such file or directory): " + path);
      if (number % 2 == 0) {
        enhance_depth_destroy(nullptr);
        EXPECT_STREQ(enhance_depth_get_last_error(nullptr), "OK");
      }
    }
  });
}

// Destructors of thread-local and static objects may call the library when it has released what it kept for
// the thread.
TEST_F(Threads, ReportFailuresUntilTheirVeryEnd) {
  const std::string path = "/nonexistent/" + std::string(300, 'e');
  const std::string message = "Cannot read engine file (No such file or directory): " + path;
  std::vector<std::string> seen;
  struct AtTheEnd {
    const std::string* path = nullptr;
    std::vector<std::string>* seen = nullptr;
    ~AtTheEnd() {
      if (seen == nullptr) {
        return;
      }
      seen->emplace_back(enhance_depth_get_last_error(nullptr));
      enhance_depth_reset(nullptr, 1, 1, nullptr);
      seen->emplace_back(enhance_depth_get_last_error(nullptr));
      enhance_depth_create(path->c_str(), nullptr);
      seen->emplace_back(enhance_depth_get_last_error(nullptr));
      enhance_depth_destroy(nullptr);
      seen->emplace_back(enhance_depth_get_last_error(nullptr));
    }
  };
  std::thread([&] {
    thread_local AtTheEnd first_made_last_destroyed;
    first_made_last_destroyed.path = &path;
    first_made_last_destroyed.seen = &seen;
    enhance_depth_create(path.c_str(), nullptr);
    seen.emplace_back(enhance_depth_get_last_error(nullptr));
  }).join();
  const std::string cut = message.substr(0, 255);
  EXPECT_EQ(seen, (std::vector<std::string>{message, cut, "enhance_depth_reset received null engine handle.",
                                            cut, "OK"}));
}

TEST_F(Threads, AskForTheVersionAtOnce) {
  std::vector<const char*> versions(kThreads);
  on_many_threads(
      [&](int number) { versions[static_cast<std::size_t>(number)] = enhance_depth_get_version(); });
  EXPECT_EQ(std::set<const char*>(versions.begin(), versions.end()).size(), 1U);
}

TEST_F(Threads, OfTensorRtPrintWholeLines) {
  constexpr int kLines = 300;
  const test_support::CapturedOutput output;
  on_many_threads([&](int number) {
    const std::string text(static_cast<std::size_t>(20 + number), static_cast<char>('a' + number));
    for (int i = 0; i < kLines; ++i) {
      enhance_depth::g_logger.log(nvinfer1::ILogger::Severity::kERROR, text.c_str());
    }
  });
  std::istringstream lines(output.text());
  std::vector<int> seen(kThreads);
  for (std::string line; std::getline(lines, line);) {
    ASSERT_GT(line.size(), 5U);
    const int number = line[5] - 'a';
    ASSERT_TRUE(number >= 0 && number < kThreads) << line;
    ASSERT_EQ(line, "TRT: " + std::string(static_cast<std::size_t>(20 + number), line[5]));
    ++seen[static_cast<std::size_t>(number)];
  }
  EXPECT_EQ(seen, std::vector<int>(kThreads, kLines));
}

}  // namespace
