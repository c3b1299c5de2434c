// A long run in short: thousands of frames, a reset every 200 to one of six sizes, calls of the board failing
// at random. The memory in use, without the board's own, and the live objects at the end must be what they
// were after the first 400 frames, and a frame that neither follows a reset nor fails must not allocate.
//
//   soak [FRAMES [SEED]]
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "library/sweep/allocation_faults.h"
#include "support/board_test.h"

namespace {

using test_support::Frame;

int failed_checks = 0;

// A fault that repeats ends the run, which might otherwise not end.
void expect(bool condition, const std::string& what) {
  if (!condition) {
    std::printf("soak: FAILED: %s\n", what.c_str());
    if (++failed_checks == 20) {
      std::exit(1);
    }
  }
}

class Soak {
 public:
  Soak(const std::string& engine, unsigned seed)
      : random_(seed), functions_(emulated_board::all_functions()) {
    handle_.reset(enhance_depth_create(engine.c_str(), error_));
    expect(handle_ != nullptr, "no handle");
  }

  // Resets to a size, and repeats that as long as it fails.
  void reset_to(std::size_t size) {
    for (size_ = size; enhance_depth_reset(handle_.get(), frame().width, frame().height, error_) != 1;) {
      expect(!error_.empty() && error_.get()->error_code >= 20 && error_.get()->error_code <= 33,
             "reset: wrong code");
      const enhance_depth_input input = frame().input();
      enhance_depth_output output{};
      expect(enhance_depth_process(handle_.get(), &input, &output, error_) == 0 &&
                 error_.get()->error_code == 16,
             "a handle without buffers takes a frame");
      count_failures();
    }
    count_failures();
    steady_ = false;
    ++resets_;
  }

  void process() {
    const enhance_depth_input input = frame().input();
    enhance_depth_output output{};
    allocation_faults::plan(0, false, allocation_faults::Thrown::kBadAlloc);
    int result = 0;
    {
      const allocation_faults::Armed armed;
      result = enhance_depth_process(handle_.get(), &input, &output, error_);
    }
    if (result == 1) {
      expect(error_.empty(), "a record of a good frame");
      expect(std::memcmp(output.pred, frame().depth.data(), frame().depth.size() * 2) == 0,
             "a wrong picture");
      if (steady_) {
        ++steady_frames_;
        expect(allocation_faults::count() == 0, "a steady frame allocates");
      }
      steady_ = true;
    } else {
      expect(!error_.empty() && error_.get()->error_code >= 20 && error_.get()->error_code <= 25,
             "frame: wrong code");
    }
    count_failures();
    ++frames_;
  }

  void plan_a_failure() {
    const std::size_t function = random_() % functions_.size();
    emulated_board::fail_call(functions_[function], 1 + static_cast<int>(random_() % 4));
  }

  std::size_t any_size() { return random_() % std::size(kFrames); }
  bool chance(unsigned one_in) { return random_() % one_in == 0; }

  void print_summary() const {
    std::printf("soak: %d frames (%d steady), %d resets, %d injected failures", frames_, steady_frames_,
                resets_, injected_);
  }

 private:
  static inline const Frame kFrames[] = {{640, 480, 1}, {320, 240, 2}, {64, 48, 3},
                                         {160, 120, 4}, {424, 240, 5}, {33, 17, 6}};
  const Frame& frame() const { return kFrames[size_]; }

  // Clears planned failures that have happened, with everything else that the board has recorded.
  void count_failures() {
    expect(emulated_board::invalid_releases() == 0, "something was released that was not there");
    const int produced = emulated_board::failures_produced();
    if (produced > 0) {
      injected_ += produced;
      emulated_board::reset();
    }
  }

  std::minstd_rand random_;
  std::vector<std::string> functions_;
  test_support::ErrorPlace error_;
  test_support::Handle handle_;
  std::size_t size_ = 0;
  bool steady_ = false;
  int frames_ = 0;
  int steady_frames_ = 0;
  int resets_ = 0;
  int injected_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  const int frames = argc > 1 ? std::atoi(argv[1]) : 20000;
  const unsigned seed = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 1;
  // The texts of last errors keep the capacity that they once needed.
  const long kTolerance = 4096;
  const test_support::TemporaryDirectory directory;
  emulated_board::capture_log(true);
  long memory_before = 0;
  long memory_after = 0;
  {
    Soak soak(directory.write("soak.engine", test_support::TestEngine{}.text()), seed);
    // Ends with a good frame of the first size.
    const auto run = [&soak](int count, int frames_of_a_size) {
      for (int i = 0; i < count; ++i) {
        if (soak.chance(2)) {
          soak.plan_a_failure();
        }
        if (i % frames_of_a_size == 0) {
          emulated_board::capture_log(true);  // forgets the lines so far
          soak.reset_to(soak.any_size());
        }
        soak.process();
      }
      emulated_board::reset();
      soak.reset_to(0);
      soak.process();
    };
    run(400, 20);
    const auto live_before = emulated_board::live_objects();
    memory_before = allocation_faults::bytes_in_use();
    run(frames, 200);
    memory_after = allocation_faults::bytes_in_use();
    expect(emulated_board::live_objects() == live_before, "the live objects have changed");
    soak.print_summary();
  }
  expect(emulated_board::live_objects() == emulated_board::LiveObjects{}, "something outlives the handle");
  std::printf(", %ld bytes of memory in use, then %ld\n", memory_before, memory_after);
  expect(memory_after - memory_before <= kTolerance, "the memory has grown");
  return failed_checks == 0 ? 0 : 1;
}
