// Fails the first call of each function of the board, runs a handle's whole life, checks what came of it;
// fails the second call, and so on until the scenario runs to its end untouched. Then all over again with
// every later call failing, too.
#include <cstdio>
#include <map>
#include <set>

#include "sweep/failure_table.h"
#include "sweep/scenario.h"

namespace sweep {
namespace {

const Around kPlainly = [](const std::function<void()>& call) { call(); };

class PlatformSweep : public test_support::BoardTest {
 protected:
  void SetUp() override {
    BoardTest::SetUp();
    engine_path_ = write_engine(test_support::small_output_engine());
    record_untouched_calls();
  }

  // How often each step calls each function when nothing fails.
  void record_untouched_calls() {
    emulated_board::record_calls(true);
    Life life(engine_path_);
    std::size_t seen = 0;
    for (const Step& step : scenario()) {
      life.run(step, kPlainly);
      life.expect(step, life.untouched(step));
      const auto calls = emulated_board::recorded_calls();
      std::map<std::string, int> counts;
      for (; seen < calls.size(); ++seen) {
        ++counts[calls[seen].function];
        EXPECT_TRUE(is_known(calls[seen].function)) << "the sweep does not know " << calls[seen].function;
      }
      untouched_calls_.push_back(std::move(counts));
    }
    for (const std::string& function : emulated_board::all_functions()) {
      EXPECT_TRUE(is_known(function)) << "the sweep does not know " << function;
    }
    emulated_board::record_calls(false);
    ASSERT_FALSE(HasFailure());
  }

  // Runs the scenario while `function` fails its call number `nth`, or all from there on. Returns the number
  // of calls that failed.
  int run_with_failure(const std::string& function, int nth, bool and_all_later) {
    SCOPED_TRACE(function + " call " + std::to_string(nth) + (and_all_later ? " and all later ones" : ""));
    emulated_board::reset();
    if (and_all_later) {
      emulated_board::fail_calls_from(function, nth);
    } else {
      emulated_board::fail_call(function, nth);
    }
    Life life(engine_path_);
    if (function == "ob_log_external_message") {
      life.ignore_log();
    }
    int to_come = nth;  // the number, within the current step, of the first call that fails
    for (std::size_t i = 0; i < scenario().size(); ++i) {
      const Step& step = scenario()[i];
      Expected expected = life.untouched(step);
      const auto found = untouched_calls_[i].find(function);
      const int calls = found == untouched_calls_[i].end() ? 0 : found->second;
      const bool calls_the_board = expected.success || step.action == Action::kReset;
      if (calls_the_board && calls > 0 && to_come >= 1) {
        if (to_come <= calls) {
          expected = expect_failure(life, function, step, calls, to_come, and_all_later, expected);
          to_come = and_all_later ? 1 : 0;
        } else {
          to_come -= calls;
        }
      }
      life.run(step, kPlainly);
      life.expect(step, expected);
      if (!life.exists()) break;
    }
    const int failed = emulated_board::failures_produced();
    emulated_board::reset();
    life.expect_mended_and_destroy();
    return failed;
  }

  // What the table says about a step in which the calls from `first` to `calls` are asked to fail.
  static Expected expect_failure(const Life& life, const std::string& function, const Step& step, int calls,
                                 int first, bool and_all_later, const Expected& untouched) {
    const auto args = [&](const char* stage) {
      return step.action == Action::kCreate ? life.engine_path() : stage;
    };
    if (is_harmless(function)) return untouched;
    if (function == "ICudaEngine::getProfileShape") {
      const std::string message = profile_message(step, first, and_all_later);
      return message.empty() ? succeeds() : fails(26, message, step, args("allocate"));
    }
    const std::vector<Effect> of_calls = effects(function, step);
    for (int call = first; call <= (and_all_later ? calls : first); ++call) {
      if (static_cast<std::size_t>(call) > of_calls.size()) {
        ADD_FAILURE() << "the table has no entry for call " << call << " of " << function << " in "
                      << function_of(step);
        break;
      }
      const Effect& effect = of_calls[static_cast<std::size_t>(call) - 1];
      if (effect.code != 0) return fails(effect.code, effect.message, step, args(effect.args));
    }
    return untouched;
  }

  void sweep(bool and_all_later) {
    int cases = 0;
    int injected = 0;
    for (const std::string& function : emulated_board::all_functions()) {
      for (int nth = 1;; ++nth) {
        const int failed = run_with_failure(function, nth, and_all_later);
        ASSERT_FALSE(HasFailure());
        if (failed == 0) break;
        ++cases;
        injected += failed;
      }
    }
    std::printf("platform failure sweep, %s: %d cases, %d injected failures\n",
                and_all_later ? "every call from the Nth on" : "the Nth call", cases, injected);
  }

 private:
  std::string engine_path_;
  std::vector<std::map<std::string, int>> untouched_calls_;
};

TEST_F(PlatformSweep, FailingOneCall) { sweep(false); }

TEST_F(PlatformSweep, FailingEveryCallFromOneOn) { sweep(true); }

}  // namespace
}  // namespace sweep
