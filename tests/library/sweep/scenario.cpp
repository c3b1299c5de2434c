#include "library/sweep/scenario.h"

#include <algorithm>
#include <map>
#include <utility>

namespace sweep {

using test_support::Record;

namespace {

const test_support::Frame& frame_of(const Step& step) {
  static std::map<std::pair<int, int>, test_support::Frame> frames;
  return frames.try_emplace({step.width, step.height}, step.width, step.height).first->second;
}

std::vector<Step> make_scenario() {
  std::vector<Step> steps;
  for (const auto& [width, height] : {std::pair{640, 480}, {64, 48}, {8, 8}, {656, 32}, {64, 48}}) {
    const bool first = steps.empty();  // the largest, which is to cost no more than it must
    steps.push_back(first ? Step{Action::kCreate} : Step{Action::kReset, width, height});
    steps.insert(steps.end(), first ? 1 : 2, {Action::kProcess, width, height});
  }
  return steps;
}

// The calling thread's last error before each step.
const char* const kOfTheThread = "enhance_GetLastInferenceTime received null engine handle.";

// The contents of the error output parameter before each step.
std::uint16_t any_pred;
float any_conf;
const enhance_depth_output kUntouched{&any_pred, -11, &any_conf, -22};

}  // namespace

const Around kPlainly = [](const std::function<void()>& call) { call(); };

const std::vector<Step>& scenario() {
  static const std::vector<Step> kSteps = make_scenario();
  return kSteps;
}

const char* function_of(const Step& step) {
  switch (step.action) {
    case Action::kCreate:
      return "enhance_depth_create";
    case Action::kProcess:
      return "enhance_depth_process";
    case Action::kReset:
      return "enhance_depth_reset";
    case Action::kDestroy:
      break;
  }
  return "enhance_depth_destroy";
}

Expected succeeds() { return {}; }

Expected fails(int code, const std::string& message, const Step& step, const std::string& args) {
  return {false, {code, message.substr(0, 255), function_of(step), args.substr(0, 255)}, true, message};
}

void Life::run(const Step& step, const Around& around) {
  emulated_board::capture_log(true);
  enhance_GetLastInferenceTime(nullptr);
  output_ = kUntouched;
  const enhance_depth_input input = frame_of(step).input();
  around([&] {
    switch (step.action) {
      case Action::kCreate:
        handle_ = enhance_depth_create(engine_.path.c_str(), error_);
        result_ = handle_ != nullptr;
        break;
      case Action::kProcess:
        result_ = enhance_depth_process(handle_, &input, &output_, error_) == 1;
        break;
      case Action::kReset:
        result_ = enhance_depth_reset(handle_, step.width, step.height, error_) == 1;
        break;
      case Action::kDestroy:
        enhance_depth_destroy(handle_);
        handle_ = nullptr;
        result_ = true;
        break;
    }
  });
}

Expected Life::untouched(const Step& step) const {
  if (step.action == Action::kReset && step.width == 8) {
    return fails(
        26,
        "No TensorRT optimization profile supports requested shapes. rgb=(1, 3, 8, 8), depth=(1, 1, 8, 8). "
        "Rejected profiles: profile 0: rgb outside range. actual=(1, 3, 8, 8), min=(1, 3, 16, 16), "
        "max=(1, 3, 480, 640), depth outside range. actual=(1, 1, 8, 8), min=(1, 1, 16, 16), "
        "max=(1, 1, 480, 640); profile 1: rgb outside range. actual=(1, 3, 8, 8), min=(1, 3, 16, 16), "
        "max=(1, 3, 960, 1280), depth outside range. actual=(1, 1, 8, 8), min=(1, 1, 16, 16), "
        "max=(1, 1, 960, 1280); ",
        step, "allocate");
  }
  if (step.action == Action::kProcess && width_ == 0) {
    return fails(16, "TensorRT buffers are not configured. Call enhance_depth_reset(width, height) first.",
                 step, "");
  }
  return succeeds();
}

void Life::expect(const Step& step, const Expected& expected) {
  SCOPED_TRACE(std::string(function_of(step)) + " " + std::to_string(step.width) + " x " +
               std::to_string(step.height));
  if (step.action == Action::kCreate || step.action == Action::kReset) {
    const bool create = step.action == Action::kCreate;
    width_ = !expected.success ? 0 : create ? 640 : step.width;
    height_ = !expected.success ? 0 : create ? 480 : step.height;
    asked_for_ = {Action::kProcess, create ? 640 : step.width, create ? 480 : step.height};
    EXPECT_EQ(handle_ != nullptr, !create || expected.success);
  }

  EXPECT_EQ(result_, expected.success) << (error_.empty() ? "no record" : error_.get()->message);
  if (step.action != Action::kDestroy) {  // which makes no records
    EXPECT_EQ(error_.empty(), expected.success || !expected.record_made);
    if (!error_.empty()) {
      EXPECT_EQ(error_.read(), expected.record);
    }
  }
  const std::string last_error = expected.success ? "OK" : expected.last_error;
  if (handle_ != nullptr) {
    EXPECT_EQ(enhance_depth_get_last_error(handle_), last_error);
  }
  const bool on_handle = step.action == Action::kProcess || step.action == Action::kReset;
  EXPECT_EQ(enhance_depth_get_last_error(nullptr), on_handle ? kOfTheThread : last_error);
  EXPECT_EQ(emulated_board::live_objects(), live());
  EXPECT_EQ(emulated_board::invalid_releases(), 0);
  std::vector<std::string> errors;
  for (const auto& line : emulated_board::captured_log()) {
    if (line.severity == 3) {
      errors.push_back(line.message);
    }
  }
  if (log_ == Log::kEndsWithTheFailure && on_handle && !expected.success) {
    ASSERT_FALSE(errors.empty());
    EXPECT_EQ(errors.back(), last_error);
  } else if (log_ == Log::kOnlyTheFailure) {
    EXPECT_EQ(errors, std::vector<std::string>(expected.success ? 0 : 1, last_error));
  }
  if (step.action == Action::kProcess && expected.success) {
    ASSERT_EQ(output_.pred_stride, step.width * step.height * 2);
    EXPECT_TRUE(std::equal(output_.pred, output_.pred + 7 * 9, frame_of(step).depth.begin()));
    ASSERT_EQ(output_.conf != nullptr, engine_.confidence);
    EXPECT_EQ(output_.conf_stride, engine_.confidence ? step.width * step.height * 4 : 0);
    if (engine_.confidence) {
      EXPECT_EQ(std::count(output_.conf, output_.conf + 3 * 5, 1.0F), 3 * 5);
    }
  } else {
    EXPECT_TRUE(output_.pred == kUntouched.pred && output_.pred_stride == kUntouched.pred_stride &&
                output_.conf == kUntouched.conf && output_.conf_stride == kUntouched.conf_stride);
  }
}

emulated_board::LiveObjects Life::live() const {
  if (handle_ == nullptr) {
    return {};
  }
  emulated_board::LiveObjects live = test_support::unconfigured();
  if (width_ != 0) {
    live.streams = 1;
    live.allocations = engine_.confidence ? 4 : 3;
    live.allocated_bytes =
        static_cast<std::size_t>(width_ * height_) * (3 + 4) + (7 * 9 + (engine_.confidence ? 3 * 5 : 0)) * 4;
  }
  return live;
}

void Life::expect_mended() {
  log_ = Log::kOnlyTheFailure;
  const Step reset{Action::kReset, 32, 16};
  for (const Step& step : {asked_for_, reset, Step{Action::kProcess, 32, 16}}) {
    run(step, kPlainly);
    expect(step, untouched(step));
  }
}

Engine SweepTest::engine(bool confidence) const {
  test_support::TestEngine engine = test_support::small_output_engine();
  if (!confidence) {
    engine.tensors.pop_back();
  }
  return {write_engine(engine, confidence ? "four.engine" : "three.engine"), confidence};
}

}  // namespace sweep
