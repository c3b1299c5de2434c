// What the tests against the emulated board share.
#ifndef ENHANCE_DEPTH_TESTS_SUPPORT_BOARD_TEST_H
#define ENHANCE_DEPTH_TESTS_SUPPORT_BOARD_TEST_H

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "emulated_board/control.h"
#include "enhance_depth.h"
#include "gtest/gtest.h"
#include "support/record.h"
#include "support/temporary_directory.h"
#include "support/test_engine.h"

namespace emulated_board {

inline std::ostream& operator<<(std::ostream& out, const LiveObjects& live) {
  return out << live.streams << " streams, " << live.events << " events, " << live.allocations
             << " allocations of " << live.allocated_bytes << " bytes, " << live.runtimes << " runtimes, "
             << live.engines << " engines, " << live.contexts << " contexts, " << live.camera_errors
             << " camera errors";
}

}  // namespace emulated_board

namespace test_support {

struct HandleDestroyer {
  void operator()(enhance_depth_handle handle) const { enhance_depth_destroy(handle); }
};
using Handle = std::unique_ptr<std::remove_pointer_t<enhance_depth_handle>, HandleDestroyer>;

// One colour and one depth image with contents of their own at every pixel.
struct Frame {
  int width;
  int height;
  std::vector<std::uint8_t> rgb;
  std::vector<std::uint16_t> depth;

  Frame(int image_width, int image_height, unsigned seed = 1);
  enhance_depth_input input() const;
};

// The pixels of a depth image, copied.
std::vector<std::uint16_t> pixels_of(const enhance_depth_output& output);

// "function: arguments" of all calls recorded, without the calls of the log.
std::vector<std::string> recorded_board_calls();

// What is alive on the board when a handle is configured for a size and has `outputs` outputs of that size,
// and when a reset has failed.
emulated_board::LiveObjects configured(int width, int height, int outputs = 2);
emulated_board::LiveObjects unconfigured();

// Starts from a board that nothing is planned on and whose camera log is captured. At the end nothing may be
// alive, and nothing may have been released that was not there.
class BoardTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string write_engine(const TestEngine& engine, const char* name = "test.engine") const {
    return directory_.write(name, engine.text());
  }
  // A handle for a test that is not about creating one.
  Handle create(const TestEngine& engine = {}) const;

  // The messages of the captured camera log with this severity.
  static std::vector<std::string> logged(int severity);

  TemporaryDirectory directory_;
};

}  // namespace test_support

#endif  // ENHANCE_DEPTH_TESTS_SUPPORT_BOARD_TEST_H
