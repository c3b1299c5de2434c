// Fails the first allocation of a handle's whole life, then the second, and so on until nothing fails any
// more; then again with every later one failing, too; then with an exception that is none of the standard
// ones.
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "library/sweep/allocation_faults.h"
#include "library/sweep/failure_table.h"
#include "library/sweep/scenario.h"

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

class AllocationSweep : public SweepTest {
 protected:
  // Runs `run_once(mode)`, which checks the outcome, for each allocation that it makes.
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

  // Functions that report nothing, or only a last error, while memory fails.
  static void expect_calls_without_record(const Mode& mode, enhance_depth_handle handle);

  void print(const char* what) const {
    std::printf("allocation failure sweep of %s: %d cases, %d injected failures\n", what, cases_, injected_);
  }

 private:
  int cases_ = 0;
  int injected_ = 0;
};

// How the exception guard reports a failed allocation. If no memory is left at all, neither the text nor
// the record can be made.
Expected out_of_memory(const Mode& mode, const Step& step) {
  if (mode.and_all_later) {
    return {false, {}, false, "out of memory"};
  }
  return fails(mode.code(), mode.message(function_of(step)), step, "");
}

// Each life ends in both ways: recovered and destroyed with memory available again, and destroyed without.
TEST_F(AllocationSweep, OfAHandlesWholeLife) {
  const Engine engines[] = {engine(true), engine(false)};
  int mended = 0;
  for (const Engine& engine : engines) {
    for (const bool mend : {true, false}) {
      sweep([&](const Mode& mode) {
        Life life(engine);
        life.expect_of_log(Life::Log::kEndsWithTheFailure);
        const auto run = [&](const Step& step, const Around& around) {
          const Expected untouched = life.untouched(step);
          const int failed_before = allocation_faults::failed();
          life.run(step, around);
          life.expect(step,
                      allocation_faults::failed() > failed_before ? out_of_memory(mode, step) : untouched);
        };
        for (const Step& step : scenario()) {
          run(step, kArmed);
          if (!life.exists()) {
            return;
          }
        }
        if (mend) {
          life.expect_mended();
          ++mended;
        }
        run({Action::kDestroy}, mend ? kPlainly : kArmed);
      });
    }
  }
  EXPECT_GT(mended, 0);
  print("a handle's life");
}

void AllocationSweep::expect_calls_without_record(const Mode& mode, enhance_depth_handle handle) {
  // True if an allocation failed during the call.
  const auto fails = [](const std::function<void()>& call) {
    const int failed_before = allocation_faults::failed();
    kArmed(call);
    return allocation_faults::failed() > failed_before;
  };
  const auto last_error = [](enhance_depth_handle of) {
    return std::string(enhance_depth_get_last_error(of));
  };
  const auto report = [&](const char* function) {
    return mode.and_all_later ? "out of memory" : mode.message(function);
  };
  const std::string null_level = "enhance_depth_set_optimization_level received null engine handle.";
  const std::string null_time = "enhance_GetLastInferenceTime received null engine handle.";
  float time = 0;

  enhance_depth_destroy(nullptr);
  const bool level_fails = fails([&] { enhance_depth_set_optimization_level(nullptr, 1); });
  EXPECT_EQ(last_error(nullptr), level_fails ? "OK" : null_level);
  const bool time_fails = fails([&] { time = enhance_GetLastInferenceTime(nullptr); });
  EXPECT_EQ(last_error(nullptr), time_fails ? report("enhance_GetLastInferenceTime") : null_time);
  EXPECT_EQ(time, -1.0F);
  const bool destroy_fails = fails([&] { enhance_depth_destroy(nullptr); });
  EXPECT_EQ(last_error(nullptr), destroy_fails ? report("enhance_depth_destroy") : "OK");

  enhance_depth_process(handle, nullptr, nullptr, nullptr);
  fails([&] { enhance_depth_set_optimization_level(handle, 1); });
  EXPECT_EQ(last_error(handle), "OK") << "cleared, whatever becomes of the line of the log";
  EXPECT_FALSE(fails([&] {
    enhance_depth_get_last_error(handle);
    enhance_depth_get_last_error(nullptr);
    enhance_depth_get_version();
  }));

  enhance_error* made = nullptr;
  const bool record_fails = fails([&] { made = enhance_create_error(1, "message", "function", "args", 2); });
  EXPECT_EQ(made == nullptr, record_fails);
  enhance_delete_error(made);
}

// The calls that fail anyway, and those that cannot report.
TEST_F(AllocationSweep, OfReportsAndSettings) {
  const test_support::Handle handle = create(test_support::small_output_engine());
  float threshold = 0;
  std::map<int, std::string> places;  // what the records with each line say
  struct Call {
    const char* function;
    std::function<bool(enhance_error**)> run;  // true for success
    int code;                                  // of the failure, or 0
    bool on_handle;
  };
  const auto create_of = [](const char* path) {
    return [=](enhance_error** error) { return enhance_depth_create(path, error) != nullptr; };
  };
  const auto reset_of = [](enhance_depth_handle of) {
    return [=](enhance_error** error) { return enhance_depth_reset(of, 0, 1, error) == 1; };
  };
  const auto process_of = [](enhance_depth_handle of) {
    return [=](enhance_error** error) { return enhance_depth_process(of, nullptr, nullptr, error) == 1; };
  };
  const auto set_of = [](enhance_depth_handle of) {
    return
        [=](enhance_error** error) { return enhance_depth_set_confidence_threshold(of, 0.5F, error) == 1; };
  };
  const auto get_of = [](enhance_depth_handle of, float* place) {
    return
        [=](enhance_error** error) { return enhance_depth_get_confidence_threshold(of, place, error) == 1; };
  };
  const Call kCalls[] = {
      {"enhance_depth_create", create_of(nullptr), 1, false},
      {"enhance_depth_create", create_of("/nonexistent/engine"), 1, false},
      {"enhance_depth_reset", reset_of(nullptr), 2, false},
      {"enhance_depth_reset", reset_of(handle.get()), 1, true},
      {"enhance_depth_process", process_of(nullptr), 2, false},
      {"enhance_depth_process", process_of(handle.get()), 1, true},
      {"enhance_depth_set_confidence_threshold", set_of(nullptr), 2, false},
      {"enhance_depth_set_confidence_threshold", set_of(handle.get()), 0, true},
      {"enhance_depth_get_confidence_threshold", get_of(nullptr, nullptr), 2, false},
      {"enhance_depth_get_confidence_threshold", get_of(handle.get(), nullptr), 1, true},
      {"enhance_depth_get_confidence_threshold", get_of(handle.get(), &threshold), 0, true},
  };
  sweep([&](const Mode& mode) {
    for (const Call& call : kCalls) {
      test_support::ErrorPlace error;
      const int failed_before = allocation_faults::failed();
      bool success = false;
      kArmed([&] { success = call.run(error); });
      const std::string last_error = enhance_depth_get_last_error(call.on_handle ? handle.get() : nullptr);
      SCOPED_TRACE(call.function);
      if (!error.empty()) {
        const std::string what = error.get()->message + std::string(call.on_handle ? ", on a handle" : "");
        EXPECT_EQ(places.try_emplace(error.get()->line, what).first->second, what);
      }
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
    expect_calls_without_record(mode, handle.get());
  });
  print("reports and settings");
  EXPECT_EQ(enhance_depth_reset(handle.get(), 64, 48, nullptr), 1);
}

// A call of the board fails, and memory runs out before it, while it is recorded and reported, or after it.
TEST_F(AllocationSweep, TogetherWithFailuresOfTheBoard) {
  const Engine engine = this->engine(true);
  const Step create{Action::kCreate};
  const Step reset{Action::kReset, 64, 48};
  const Step process{Action::kProcess, 64, 48};
  for (const auto& steps : {std::vector<Step>{create}, {create, reset}, {create, reset, process}}) {
    const Step& step = steps.back();
    const auto prepare = [&](Life& life) {
      life.expect_of_log(Life::Log::kEndsWithTheFailure);
      for (auto before = steps.begin(); before != steps.end() - 1; ++before) {
        life.run(*before, kPlainly);
        life.expect(*before, succeeds());
      }
      emulated_board::reset();
    };
    std::map<std::string, int> calls;
    {
      Life life(engine);
      prepare(life);
      life.run(step, kPlainly);
      for (const std::string& function : emulated_board::all_functions()) {
        calls[function] = emulated_board::calls(function);
      }
    }
    for (const auto& entry : calls) {
      const std::string& function = entry.first;
      const int count = entry.second;
      for (int call = 1; call <= count; ++call) {
        SCOPED_TRACE(function + " call " + std::to_string(call) + " in " + function_of(step));
        sweep([&](const Mode& mode) {
          Life life(engine);
          prepare(life);
          if (function.rfind("ob_", 0) == 0) {
            life.expect_of_log(Life::Log::kAnything);
          }
          emulated_board::fail_call(function, call);
          life.run(step, kArmed);
          life.expect(step, allocation_faults::failed() > 0
                                ? out_of_memory(mode, step)
                                : expected_failure(engine, step, function, count, call, false, succeeds()));
          emulated_board::reset();
          if (!life.exists()) {
            return;
          }
          life.expect_mended();
          life.run({Action::kDestroy}, kPlainly);
          life.expect({Action::kDestroy}, succeeds());
        });
      }
    }
  }
  print("failures of the board");
}

}  // namespace
}  // namespace sweep
