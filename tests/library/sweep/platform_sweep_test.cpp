// Fails the first call of each function of the board, runs a handle's whole life, checks what came of it;
// fails the second call, and so on until the scenario runs to its end untouched. Then all over again with
// every later call failing, too. Each life ends in both ways: mended and then destroyed with nothing failing
// any more, and destroyed while things still fail.
#include <cstdio>
#include <string>
#include <vector>

#include "library/sweep/failure_table.h"
#include "library/sweep/scenario.h"

namespace sweep {
namespace {

// The function whose failures make the library call this one at all; empty for most.
std::string cause_of_calls(const std::string& function) {
  if (function == "cudaGetErrorString") {
    return "cudaMemcpyAsync";
  }
  if (function == "ob_delete_error") {
    return "ob_log_external_message";
  }
  return "";
}

class PlatformSweep : public SweepTest {
 protected:
  void sweep(bool and_all_later) {
    for (const bool confidence : {true, false}) {
      const Engine engine = this->engine(confidence);
      for (const std::string& function : emulated_board::all_functions()) {
        ASSERT_TRUE(is_known(function)) << "the sweep does not know " << function;
        const std::string cause = cause_of_calls(function);
        const Failing failing{function, cause, calls_by_step(engine, function, cause),
                              calls_by_step(engine, cause, cause), and_all_later};
        const int cases_before = cases_;
        for (const bool mend : {true, false}) {
          for (int nth = 1; run(engine, failing, nth, mend); ++nth) {
            ++cases_;
          }
          ASSERT_FALSE(HasFailure());
        }
        EXPECT_GT(cases_, cases_before) << function << " has not failed once";
      }
    }
    EXPECT_GT(mended_, 0);
    std::printf("platform failure sweep, %s: %d cases, %d injected failures, %d handles mended\n",
                and_all_later ? "every call from the Nth on" : "the Nth call", cases_, injected_, mended_);
  }

 private:
  struct Failing {
    std::string function;
    std::string cause;
    std::vector<int> calls;  // of the function, by steps, while only the cause fails
    std::vector<int> calls_of_cause;
    bool and_all_later;
  };

  static std::vector<int> calls_by_step(const Engine& engine, const std::string& function,
                                        const std::string& cause) {
    std::vector<int> calls;
    if (function.empty()) {
      return calls;
    }
    emulated_board::reset();
    if (!cause.empty()) {
      emulated_board::fail_calls_from(cause, 1);
    }
    Life life(engine);
    for (const Step& step : scenario()) {
      const int before = emulated_board::calls(function);
      life.run(step, kPlainly);
      calls.push_back(emulated_board::calls(function) - before);
    }
    return calls;
  }

  // Runs a life in which the function fails its call number `nth`, or all from there on. False when the life
  // was over before that call.
  bool run(const Engine& engine, const Failing& failing, int nth, bool mend) {
    SCOPED_TRACE(failing.function + " call " + std::to_string(nth) +
                 (failing.and_all_later ? " and all later ones" : "") +
                 (engine.confidence ? "" : ", no confidence"));
    emulated_board::reset();
    if (!failing.cause.empty()) {
      emulated_board::fail_calls_from(failing.cause, 1);
    }
    if (failing.and_all_later) {
      emulated_board::fail_calls_from(failing.function, nth);
    } else {
      emulated_board::fail_call(failing.function, nth);
    }
    Life life(engine);
    if (failing.function == "ob_log_external_message" || failing.cause == "ob_log_external_message") {
      life.expect_of_log(Life::Log::kAnything);
    }
    run_scenario(life, engine, failing, nth);
    if (!mend) {
      destroy(life);
    }
    const bool came = emulated_board::calls(failing.function) >= nth;
    injected_ += emulated_board::failures_produced();
    emulated_board::reset();
    if (mend && life.exists()) {
      life.expect_mended();
      destroy(life);
      ++mended_;
    }
    return came && !HasFailure();
  }

  static void run_scenario(Life& life, const Engine& engine, const Failing& failing, int nth) {
    int to_come = nth;  // the number, within the current step, of the first call that fails
    for (std::size_t i = 0; i < scenario().size(); ++i) {
      const Step& step = scenario()[i];
      Expected expected = life.untouched(step);
      if (expected.success || step.action == Action::kReset) {  // else it does not come to the board
        if (!failing.cause.empty() && failing.calls_of_cause[i] > 0) {
          expected = expected_failure(engine, step, failing.cause, 1, 1, true, expected);
        }
        const int calls = failing.calls[i];
        if (to_come >= 1 && to_come <= calls) {
          expected = expected_failure(engine, step, failing.function, calls, to_come, failing.and_all_later,
                                      expected);
          to_come = failing.and_all_later ? 1 : 0;
        } else {
          to_come -= calls;
        }
      }
      life.run(step, kPlainly);
      life.expect(step, expected);
      if (!life.exists()) {
        break;
      }
    }
  }

  static void destroy(Life& life) {
    if (!life.exists()) {
      return;  // the create has failed
    }
    const Step step{Action::kDestroy};
    life.run(step, kPlainly);
    life.expect(step, succeeds());
  }

  int cases_ = 0;
  int injected_ = 0;
  int mended_ = 0;
};

TEST_F(PlatformSweep, FailingOneCall) { sweep(false); }

TEST_F(PlatformSweep, FailingEveryCallFromOneOn) { sweep(true); }

}  // namespace
}  // namespace sweep
