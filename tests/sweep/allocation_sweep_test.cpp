// Fails the first allocation of a handle's whole life, then the second, and so on until nothing fails any
// more; then again with every later one failing, too; then with an exception that is none of the standard
// ones.
#include <cstdio>
#include <functional>
#include <set>
#include <string>

#include "sweep/allocation_faults.h"
#include "sweep/failure_table.h"
#include "sweep/scenario.h"

namespace sweep {
namespace {

using allocation_faults::Thrown;

const Around kArmed = [](const std::function<void()>& call) {
  const allocation_faults::Armed armed;
  call();
};

struct Mode {
  bool and_all_later;
  Thrown thrown;
  int code() const { return thrown == Thrown::kBadAlloc ? 34 : 35; }
  std::string message(const std::string& function) const {
    return function + (thrown == Thrown::kBadAlloc ? " exception: std::bad_alloc" : " unknown exception.");
  }
};

class AllocationSweep : public test_support::BoardTest {
 protected:
  // Runs `run_once(mode)`, which checks what came of it, for each allocation that it makes.
  void sweep(const std::function<void(const Mode&)>& run_once) {
    for (const Mode& mode : {Mode{false, Thrown::kBadAlloc}, Mode{true, Thrown::kBadAlloc},
                             Mode{false, Thrown::kSomethingElse}, Mode{true, Thrown::kSomethingElse}}) {
      for (int nth = 1;; ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth) + (mode.and_all_later ? " and all later ones" : ""));
        emulated_board::reset();
        allocation_faults::plan(nth, mode.and_all_later, mode.thrown);
        run_once(mode);
        const int failed = allocation_faults::failed();
        allocation_faults::plan(0, false, Thrown::kBadAlloc);
        ASSERT_FALSE(HasFailure());
        if (failed == 0) {
          EXPECT_GT(nth, 1) << "there was nothing to fail";
          break;
        }
        ++cases_;
        injected_ += failed;
      }
    }
  }

  void print(const char* what) const {
    std::printf("allocation failure sweep of %s: %d cases, %d injected failures\n", what, cases_, injected_);
  }

 private:
  int cases_ = 0;
  int injected_ = 0;
};

// What the exception frame makes of a failed allocation. When no memory is left at all, neither the text nor
// the record can be made.
Expected out_of_memory(const Mode& mode, const Step& step) {
  if (mode.and_all_later) return {false, {}, false, "out of memory"};
  return fails(mode.code(), mode.message(function_of(step)), step, "");
}

TEST_F(AllocationSweep, OfAHandlesWholeLife) {
  const std::string path = write_engine(test_support::small_output_engine());
  sweep([&](const Mode& mode) {
    Life life(path);
    life.ignore_log();
    for (const Step& step : scenario()) {
      const Expected untouched = life.untouched(step);
      const int failed_before = allocation_faults::failed();
      life.run(step, kArmed);
      life.expect(step, allocation_faults::failed() > failed_before ? out_of_memory(mode, step) : untouched);
      if (!life.exists()) break;
    }
    const int failed = allocation_faults::failed();
    life.expect_mended_and_destroy();
    EXPECT_EQ(allocation_faults::failed(), failed) << "the board and the test are not armed";
  });
  print("a handle's life");
}

// The calls that fail anyway, and those that cannot report.
TEST_F(AllocationSweep, OfReportsAndSettings) {
  const test_support::Handle handle = create(test_support::small_output_engine());
  const std::string missing = "/nonexistent/engine";
  float threshold = 0;
  enhance_error* made = nullptr;
  struct Call {
    const char* function;
    std::function<bool(enhance_error**)> run;  // true for success
    int code;                                  // of the failure, or 0
    bool on_handle;
  };
  const Call kCalls[] = {
      {"enhance_depth_create", [&](enhance_error** e) { return enhance_depth_create(nullptr, e) != nullptr; },
       1, false},
      {"enhance_depth_create",
       [&](enhance_error** e) { return enhance_depth_create(missing.c_str(), e) != nullptr; }, 1, false},
      {"enhance_depth_reset", [&](enhance_error** e) { return enhance_depth_reset(nullptr, 1, 1, e) == 1; },
       2, false},
      {"enhance_depth_process",
       [&](enhance_error** e) { return enhance_depth_process(nullptr, nullptr, nullptr, e) == 1; }, 2, false},
      {"enhance_depth_process",
       [&](enhance_error** e) { return enhance_depth_process(handle.get(), nullptr, nullptr, e) == 1; }, 1,
       true},
      {"enhance_depth_set_confidence_threshold",
       [&](enhance_error** e) { return enhance_depth_set_confidence_threshold(handle.get(), 0.5F, e) == 1; },
       0, true},
      {"enhance_depth_get_confidence_threshold",
       [&](enhance_error** e) {
         return enhance_depth_get_confidence_threshold(handle.get(), nullptr, e) == 1;
       },
       1, true},
      {"enhance_depth_get_confidence_threshold",
       [&](enhance_error** e) {
         return enhance_depth_get_confidence_threshold(handle.get(), &threshold, e) == 1;
       },
       0, true},
  };
  sweep([&](const Mode& mode) {
    for (const Call& call : kCalls) {
      test_support::ErrorPlace error;
      const int failed_before = allocation_faults::failed();
      bool success = false;
      kArmed([&] { success = call.run(error); });
      const std::string last_error = enhance_depth_get_last_error(call.on_handle ? handle.get() : nullptr);
      SCOPED_TRACE(call.function);
      if (allocation_faults::failed() == failed_before) {
        EXPECT_EQ(success, call.code == 0);
        EXPECT_EQ(success ? 0 : error.read().code, call.code);
        continue;
      }
      EXPECT_FALSE(success);
      EXPECT_EQ(error.empty(), mode.and_all_later);
      if (!error.empty()) {
        EXPECT_EQ(error.read(),
                  (test_support::Record{mode.code(), mode.message(call.function), call.function, ""}));
      }
      EXPECT_EQ(last_error, mode.and_all_later ? "out of memory" : mode.message(call.function));
    }
    // Without a record, and without a way to fail.
    kArmed([&] {
      enhance_depth_set_optimization_level(nullptr, 1);
      enhance_depth_set_optimization_level(handle.get(), 1);
      enhance_depth_destroy(nullptr);
      enhance_depth_get_last_error(handle.get());
      enhance_depth_get_version();
    });
    const int failed_before = allocation_faults::failed();
    float time = 0;
    kArmed([&] { time = enhance_GetLastInferenceTime(nullptr); });
    EXPECT_EQ(time, -1.0F);
    if (allocation_faults::failed() > failed_before) {
      EXPECT_EQ(enhance_depth_get_last_error(nullptr),
                mode.and_all_later ? "out of memory" : mode.message("enhance_GetLastInferenceTime"));
    }
    const int failed_before_record = allocation_faults::failed();
    kArmed([&] { made = enhance_create_error(1, "message", "function", "args", 2); });
    EXPECT_EQ(made == nullptr, allocation_faults::failed() > failed_before_record);
    enhance_delete_error(made);
  });
  print("reports and settings");
  EXPECT_EQ(enhance_depth_reset(handle.get(), 64, 48, nullptr), 1);
}

// Memory runs out while a failure of the board is being recorded and reported.
TEST_F(AllocationSweep, OfFailuresOfTheBoard) {
  const std::string path = write_engine(test_support::small_output_engine());
  const Step reset{Action::kReset, 64, 48};
  const Step process{Action::kProcess, 64, 48};
  const Around plainly = [](const std::function<void()>& call) { call(); };
  for (const Step& step : {reset, process}) {
    for (const std::string& function : emulated_board::all_functions()) {
      const std::vector<Effect> of_calls = effects(function, step);
      if (of_calls.empty()) continue;
      SCOPED_TRACE(function + " in " + function_of(step));
      sweep([&](const Mode& mode) {
        Life life(path);
        life.ignore_log();
        for (const Step& before : {Step{Action::kCreate}, reset}) {
          life.run(before, plainly);
          life.expect(before, succeeds());
        }
        emulated_board::fail_call(function, 1);
        life.run(step, kArmed);
        life.expect(step, allocation_faults::failed() > 0
                              ? out_of_memory(mode, step)
                              : fails(of_calls[0].code, of_calls[0].message, step, of_calls[0].args));
        emulated_board::reset();
        life.expect_mended_and_destroy();
      });
    }
  }
  print("failures of the board");
}

TEST_F(AllocationSweep, FindsNoneInASteadyFrame) {
  test_support::TestEngine engine;
  const test_support::Handle handle = create(engine);
  const test_support::Frame frame(640, 480);
  const enhance_depth_input input = frame.input();
  enhance_depth_output output{};
  test_support::ErrorPlace error;
  ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, error), 1);
  allocation_faults::plan(0, false, Thrown::kBadAlloc);
  for (int frames = 0; frames < 100; ++frames) {
    const allocation_faults::Armed armed;
    ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, error), 1);
  }
  EXPECT_EQ(allocation_faults::count(), 0);
}

}  // namespace
}  // namespace sweep
