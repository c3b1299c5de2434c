#include "support/board_test.h"

#include <random>

namespace test_support {

Frame::Frame(int image_width, int image_height, unsigned seed)
    : width(image_width),
      height(image_height),
      rgb(static_cast<std::size_t>(image_width) * static_cast<std::size_t>(image_height) * 3),
      depth(rgb.size() / 3) {
  std::minstd_rand random(seed);
  for (auto& byte : rgb) {
    byte = static_cast<std::uint8_t>(random() >> 8U);
  }
  for (auto& pixel : depth) {
    pixel = static_cast<std::uint16_t>(random() >> 8U);
  }
}

enhance_depth_input Frame::input() const {
  return {rgb.data(), height * width * 3, depth.data(), height * width * 2, height, width};
}

std::vector<std::uint16_t> pixels_of(const enhance_depth_output& output) {
  return {output.pred, output.pred + output.pred_stride / 2};
}

std::vector<std::string> recorded_board_calls() {
  std::vector<std::string> calls;
  for (const emulated_board::Call& call : emulated_board::recorded_calls()) {
    if (call.function != "ob_log_external_message") {
      calls.push_back(call.arguments.empty() ? call.function : call.function + ": " + call.arguments);
    }
  }
  return calls;
}

emulated_board::LiveObjects configured(int width, int height, int outputs) {
  emulated_board::LiveObjects live = unconfigured();
  live.streams = 1;
  live.allocations = 2 + outputs;
  live.allocated_bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
                         (3U + 4U + 4U * static_cast<unsigned>(outputs));
  return live;
}

emulated_board::LiveObjects unconfigured() {
  emulated_board::LiveObjects live;
  live.events = 2;
  live.runtimes = 1;
  live.engines = 1;
  live.contexts = 1;
  return live;
}

void BoardTest::SetUp() {
  emulated_board::reset();
  emulated_board::capture_log(true);
}

void BoardTest::TearDown() {
  EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
  EXPECT_EQ(emulated_board::invalid_releases(), 0);
  emulated_board::record_calls(false);
  emulated_board::capture_log(false);
  emulated_board::reset();
}

Handle BoardTest::create(const TestEngine& engine) const {
  ErrorPlace error;
  Handle handle(enhance_depth_create(write_engine(engine).c_str(), error));
  if (handle == nullptr) {
    throw std::runtime_error(std::string("no handle: ") + error.get()->message);
  }
  return handle;
}

std::vector<std::string> BoardTest::logged(int severity) {
  std::vector<std::string> messages;
  for (const emulated_board::LogLine& line : emulated_board::captured_log()) {
    if (line.severity == severity) {
      messages.push_back(line.message);
    }
  }
  return messages;
}

}  // namespace test_support
