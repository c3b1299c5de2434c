// Error records, the output parameter for them, and the two stores of the last error.
#include "api/error_record.h"

#include <climits>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "api/boundary.h"
#include "support/board_test.h"

namespace enhance_depth {
namespace {

using test_support::ErrorPlace;
using test_support::Handle;
using test_support::Record;

TEST(ErrorRecord, HasTheClassOfItsCode) {
  const std::pair<std::set<int>, int> kClasses[] = {
      {{1, 17, 18, 19, 32}, 2},  {{2, 15, 16}, 3},    {{3}, 10},
      {{4, 5, 6, 7}, 9},         {{8, 9, 10, 11}, 4}, {{12, 13, 14, 25, 26, 27, 28, 29, 30, 31, 33}, 7},
      {{20, 21, 22, 23, 24}, 8}, {{34}, 6},           {{0, 35, 36, 40, -1, INT_MIN, INT_MAX}, 0},
  };
  for (const auto& [codes, expected] : kClasses) {
    for (const int code : codes) {
      EXPECT_EQ(exception_type_from_error_code(code), expected) << "code " << code;
    }
  }
}

TEST(ErrorRecord, CutsTextsTo255Characters) {
  for (const std::size_t length : {0U, 1U, 254U, 255U, 256U, 300U, 5000U}) {
    const std::string message(length, 'm');
    const std::string function(length, 'f');
    const std::string args(length, 'a');
    enhance_error* error = enhance_create_error(7, message.c_str(), function.c_str(), args.c_str(), -5);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->message, message.substr(0, 255));
    EXPECT_EQ(error->function, function.substr(0, 255));
    EXPECT_EQ(error->args, args.substr(0, 255));
    enhance_delete_error(error);
  }
  const std::vector<char> endless(ENHANCE_ERROR_TEXT_SIZE - 1, 'e');  // no further byte may be read
  enhance_error* error = enhance_create_error(7, endless.data(), nullptr, nullptr, 0);
  EXPECT_EQ(error->message, std::string(endless.begin(), endless.end()));
  enhance_delete_error(error);
}

TEST(ErrorRecord, MadeByTheHostHoldsWhatItWasGiven) {
  enhance_error* error = enhance_create_error(INT_MIN, nullptr, nullptr, nullptr, INT_MAX);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->status, INT_MIN);
  EXPECT_EQ(error->error_code, INT_MIN);
  EXPECT_EQ(error->exception_type, INT_MAX);
  EXPECT_EQ(error->line, 0);
  for (const char* text : {error->message, error->function, error->args}) {
    EXPECT_EQ(std::string(text, ENHANCE_ERROR_TEXT_SIZE), std::string(ENHANCE_ERROR_TEXT_SIZE, '\0'));
  }
  enhance_delete_error(error);
  enhance_delete_error(nullptr);
}

TEST(ErrorRecord, IsNotMadeForSuccessOrWithoutAPlace) {
  enhance_error* error = nullptr;
  fill_error_result(&error, {0, "message"}, "function", "args", ReportSite::kCreateLoad);
  EXPECT_EQ(error, nullptr);
  fill_error_result(nullptr, {1, "message"}, "function", "args", ReportSite::kCreateLoad);
  clear_error_result(nullptr);
  clear_error_result(&error);
}

TEST(ThreadError, KeepsTextsOfAnyLengthUntilItIsCleared) {
  for (const std::size_t length : {0U, 255U, 256U, 257U, 5000U}) {
    const std::string message(length, 'm');
    set_global_error(7, message);
    EXPECT_EQ(global_error().code, 7);
    EXPECT_EQ(global_error().message, message);
  }
  clear_global_error();
  EXPECT_EQ(global_error().code, 0);
  EXPECT_STREQ(global_error().message, "OK");
}

// Every exit of the exception guard, with and without a handle to record the failure on.
TEST(ExceptionFrame, ReportsWhateverEscapes) {
  struct Speechless : std::exception {
    const char* what() const noexcept override { return nullptr; }
  };
  constexpr EntryPoint kEntry{"entry_point", ReportSite::kResetException};
  const struct {
    std::function<int()> body;
    int code;
    const char* message;
    int line_on_handle;
  } kCases[] = {{[]() -> int { throw std::runtime_error("what was thrown"); }, 34,
                 "entry_point exception: what was thrown", 290},
                {[]() -> int { throw Speechless(); }, 34, "entry_point exception: ", 290},
                {[]() -> int { throw 1; }, 35, "entry_point unknown exception.",
                 292}};  // NOLINT(hicpp-exception-baseclass)
  TrtEngineWrapper wrapper;
  emulated_board::capture_log(true);
  for (const auto& example : kCases) {
    for (TrtEngineWrapper* handle : {&wrapper, static_cast<TrtEngineWrapper*>(nullptr)}) {
      clear_global_error();
      wrapper.clear_error();
      ErrorPlace error;
      EXPECT_EQ(run_guarded(kEntry, handle, error, -9, example.body), -9);
      EXPECT_EQ(error.read(), (Record{example.code, example.message, "entry_point", ""}));
      EXPECT_EQ(error.get()->line, example.line_on_handle + (handle != nullptr ? 0 : 1));
      EXPECT_EQ(wrapper.last_error_message(), handle != nullptr ? example.message : "OK");
      EXPECT_STREQ(global_error().message, handle != nullptr ? "OK" : example.message);
      EXPECT_EQ(handle != nullptr ? wrapper.last_error_code() : global_error().code, example.code);
      EXPECT_EQ(run_guarded(kEntry, handle, nullptr, -9, example.body), -9);
    }
  }
  EXPECT_EQ(emulated_board::captured_log().size(), 2 * std::size(kCases)) << "what a handle records";
  emulated_board::capture_log(false);
}

class LastError : public test_support::BoardTest {};

TEST_F(LastError, OfAHandleIsNotThatOfTheThreadAndAskingClearsNeither) {
  const Handle handle = create();
  EXPECT_EQ(enhance_depth_reset(nullptr, 64, 48, nullptr), 0);
  EXPECT_STREQ(enhance_depth_get_last_error(handle.get()), "OK");
  EXPECT_EQ(enhance_depth_process(handle.get(), nullptr, nullptr, nullptr), 0);
  for (int times = 0; times < 2; ++times) {
    EXPECT_STREQ(enhance_depth_get_last_error(nullptr), "enhance_depth_reset received null engine handle.");
    EXPECT_STREQ(enhance_depth_get_last_error(handle.get()),
                 "enhance_depth_process received null input or output.");
  }
  Handle another = create();
  EXPECT_STREQ(enhance_depth_get_last_error(nullptr), "OK");
  EXPECT_STREQ(enhance_depth_get_last_error(handle.get()),
               "enhance_depth_process received null input or output.");
  EXPECT_EQ(enhance_depth_reset(nullptr, 64, 48, nullptr), 0);
  another.reset();
  EXPECT_STREQ(enhance_depth_get_last_error(nullptr), "OK") << "destroying succeeds";
}

// Every call frees the record that it finds, even when it succeeds.
TEST_F(LastError, RecordLeftInTheOutPlaceIsFreedByTheNextCall) {
  const Handle handle = create();
  const test_support::Frame frame(640, 480);
  const enhance_depth_input input = frame.input();
  enhance_depth_output output{};
  float threshold = 0;
  ErrorPlace error;
  Handle another;
  const std::function<bool()> kCalls[] = {
      [&] { return enhance_depth_process(handle.get(), &input, &output, error) == 1; },
      [&] { return enhance_depth_reset(handle.get(), 64, 48, error) == 1; },
      [&] { return enhance_depth_set_confidence_threshold(handle.get(), 0.5F, error) == 1; },
      [&] { return enhance_depth_get_confidence_threshold(handle.get(), &threshold, error) == 1; },
      [&] {
        another.reset(enhance_depth_create((directory_ / "test.engine").c_str(), error));
        return another != nullptr;
      }};
  for (const auto& call : kCalls) {
    EXPECT_EQ(enhance_depth_reset(nullptr, 1, 1, error), 0);
    EXPECT_FALSE(error.empty());
    EXPECT_TRUE(call()) << "call " << &call - kCalls;
    EXPECT_TRUE(error.empty()) << "call " << &call - kCalls;
  }
}

// The numbers are in bug reports: none may change, and each names one place.
TEST_F(LastError, EveryReportingSiteHasItsNumber) {
  const Handle handle = create();
  const test_support::Frame frame(640, 480);
  enhance_depth_output output{};
  using Call = std::function<int(enhance_error**)>;
  const auto process_with = [&](const std::function<void(enhance_depth_input&)>& change) -> Call {
    return [&, change](enhance_error** error) {
      enhance_depth_input input = frame.input();
      change(input);
      return enhance_depth_process(handle.get(), &input, &output, error);
    };
  };
  const auto get = [](enhance_depth_handle from) -> Call {
    return
        [=](enhance_error** error) { return enhance_depth_get_confidence_threshold(from, nullptr, error); };
  };
  const std::pair<int, Call> kCalls[] = {
      {101, [](auto** error) { return enhance_depth_create(nullptr, error) != nullptr; }},
      {102, [](auto** error) { return enhance_depth_create("/nonexistent", error) != nullptr; }},
      {201, [](auto** error) { return enhance_depth_reset(nullptr, 1, 1, error); }},
      {202, [&](auto** error) { return enhance_depth_reset(handle.get(), 0, 1, error); }},
      {203,
       [&](auto** error) {
         emulated_board::fail_call("cudaMemset", 1);
         return enhance_depth_reset(handle.get(), 640, 480, error);
       }},
      {301, [](auto** error) { return enhance_depth_process(nullptr, nullptr, nullptr, error); }},
      {302, [&](auto** error) { return enhance_depth_process(handle.get(), nullptr, &output, error); }},
      {303, process_with([](auto& input) { input.rgb = nullptr; })},
      {304, process_with([](auto& input) { input.width = 1; })},
      {305, process_with([](auto& input) { input.rgb_stride = 1; })},
      {306, process_with([](auto& input) { input.depth_stride = 1; })},
      {307, process_with([](auto&) { /* the buffers are gone since the failed reset */ })},
      {401, [](auto** error) { return enhance_depth_set_confidence_threshold(nullptr, 1, error); }},
      {501, get(nullptr)},
      {502, get(handle.get())},
  };
  for (const auto& [line, call] : kCalls) {
    ErrorPlace error;
    EXPECT_EQ(call(error), 0);
    ASSERT_FALSE(error.empty());
    EXPECT_EQ(error.get()->line, line) << error.get()->message;
  }
}

}  // namespace
}  // namespace enhance_depth
