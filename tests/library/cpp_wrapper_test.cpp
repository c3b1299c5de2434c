// The C++ wrapper: ownership, borrowed images, and failures as exceptions.
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "enhance_depth.hpp"
#include "library/sweep/allocation_faults.h"
#include "support/board_test.h"

namespace {

using enhance_depth::Engine;
using enhance_depth::Error;
using enhance_depth::Pixels;
using enhance_depth::RefinedFrame;
using test_support::Frame;
using test_support::TestEngine;

static_assert(!std::is_copy_constructible_v<Engine> && !std::is_copy_assignable_v<Engine>);
static_assert(std::is_nothrow_move_constructible_v<Engine> && std::is_nothrow_move_assignable_v<Engine>);
static_assert(std::is_nothrow_copy_constructible_v<Error>, "a failing copy would end the program");
static_assert(!std::is_constructible_v<Pixels<char>, std::string> &&
                  !std::is_constructible_v<Pixels<char>, const std::string>,
              "the pixels of a temporary would be gone before they are read");
static_assert(std::is_constructible_v<Pixels<char>, std::string&> &&
              std::is_constructible_v<Pixels<char>, const std::string&>);
static_assert(std::is_constructible_v<Pixels<char>, std::string_view> &&
                  std::is_constructible_v<Pixels<char>, const Pixels<char>>,
              "a temporary view refers to what lives elsewhere");

enhance_depth::Frame view(const Frame& frame) { return {frame.width, frame.height, frame.rgb, frame.depth}; }

// Runs `call` and returns the record of the Error that it throws.
template <typename Call>
enhance_error record_of_failure(Call&& call) {
  try {
    call();
  } catch (const Error& error) {
    return error.record();
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

class CppWrapper : public test_support::BoardTest {};

TEST_F(CppWrapper, RefinesFramesOfTheConfiguredSize) {
  TestEngine description;
  description.parameters = "scale = 0.5\nconfidence = 0.75";
  Engine engine(write_engine(description));
  EXPECT_EQ(engine.last_inference_time(), std::nullopt);
  engine.reset(40, 30);
  const Frame frame(40, 30);

  const RefinedFrame refined = engine.process(view(frame));

  ASSERT_EQ(refined.depth.size(), frame.depth.size());
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      const auto index = static_cast<std::size_t>(y) * 40 + static_cast<std::size_t>(x);
      ASSERT_EQ(refined.depth(x, y), frame.depth[index] / 2) << x << ", " << y;
    }
  }
  ASSERT_TRUE(refined.confidence.has_value());
  EXPECT_EQ(refined.depth.width(), 40);
  EXPECT_EQ(refined.confidence->width(), 40);
  EXPECT_EQ(refined.confidence->height(), 30);
  EXPECT_EQ(refined.confidence->copy(), std::vector<float>(40 * 30, 0.75F));
  EXPECT_GE(engine.last_inference_time().value(), 0.0F);
}

TEST_F(CppWrapper, AnEngineWithoutConfidenceGivesNone) {
  Engine engine(write_engine(test_support::three_tensor_engine()));
  EXPECT_FALSE(engine.process(view(Frame(640, 480))).confidence.has_value());
}

TEST_F(CppWrapper, BorrowedImagesShowTheNextFrameAndSurviveAMove) {
  Engine first(write_engine(TestEngine{}));
  const Frame one(640, 480, 1);
  const Frame two(640, 480, 2);
  const RefinedFrame refined = first.process(view(one));
  const std::vector<std::uint16_t> kept = refined.depth.copy();

  Engine second(std::move(first));
  EXPECT_EQ(refined.depth.copy(), one.depth);
  second.process(view(two));

  EXPECT_EQ(refined.depth.copy(), two.depth);
  EXPECT_EQ(kept, one.depth);
}

TEST_F(CppWrapper, MovingReleasesWhatWasHeldAndLeavesAnEngineThatSaysSoUnlessIntoItself) {
  const std::string path = write_engine(TestEngine{});
  Engine target(path);
  Engine source(path);
  const emulated_board::LiveObjects two_engines = emulated_board::live_objects();
  target = std::move(source);
  EXPECT_LT(emulated_board::live_objects().contexts, two_engines.contexts);

  const enhance_error record = record_of_failure([&] { source.reset(64, 48); });
  EXPECT_EQ(record.error_code, ENHANCE_DEPTH_ERROR_NULL_HANDLE);
  EXPECT_STREQ(record.function, "enhance_depth_reset");
  Engine& same = target;
  target = std::move(same);
  target.process(view(Frame(640, 480)));
  { const Engine last(std::move(target)); }
  EXPECT_EQ(emulated_board::live_objects(), emulated_board::LiveObjects{});
  { const Engine none(std::move(source)); }
  EXPECT_TRUE(logged(2).empty()) << "no handle, nothing to destroy";
}

TEST_F(CppWrapper, KeepsTheConfidenceThreshold) {
  Engine engine(write_engine(TestEngine{}));
  EXPECT_FLOAT_EQ(engine.confidence_threshold(), 0.95F);
  engine.set_confidence_threshold(0.5F);
  engine.reset(64, 48);
  EXPECT_FLOAT_EQ(engine.confidence_threshold(), 0.5F);
}

TEST_F(CppWrapper, AnErrorCarriesTheWholeRecord) {
  try {
    Engine engine("no/such.engine");
    FAIL() << "a missing file was loaded";
  } catch (const Error& error) {
    const Error copy = error;
    EXPECT_EQ(copy.code(), ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT);
    EXPECT_NE(std::string(copy.what()).find("no/such.engine"), std::string::npos);
    EXPECT_STREQ(copy.function(), "enhance_depth_create");
    EXPECT_STREQ(copy.args(), "no/such.engine");
    EXPECT_EQ(copy.exception_type(), 2);
    EXPECT_EQ(copy.line(), copy.record().line);
  }
}

TEST_F(CppWrapper, RefusesAPathThatTheSystemWouldCut) {
  const std::string path = write_engine(TestEngine{});
  const enhance_error record = record_of_failure([&] { Engine{path + '\0' + "and more"}; });
  EXPECT_EQ(record.status, ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT);
  EXPECT_EQ(record.error_code, record.status);
  EXPECT_EQ(record.exception_type, 2);
  EXPECT_STREQ(record.message, "The engine path contains a NUL byte.");
  EXPECT_STREQ(record.args, "engine_path");
}

TEST_F(CppWrapper, FreesTheRecordOfAFailure) {
  Engine engine(write_engine(TestEngine{}));
  const auto fail = [&] { engine.process(view(Frame(64, 48))); };
  record_of_failure(fail);  // what is allocated once
  const long before = allocation_faults::bytes_in_use();
  record_of_failure(fail);
  EXPECT_EQ(allocation_faults::bytes_in_use(), before);
}

TEST_F(CppWrapper, ImagesOfAnotherSizeThanTheFrameSaysAreRefused) {
  Engine engine(write_engine(TestEngine{}));
  Frame frame(640, 480);
  frame.rgb.pop_back();
  EXPECT_STREQ(record_of_failure([&] { engine.process(view(frame)); }).args, "rgb_stride");
  frame = Frame(640, 480);
  frame.depth.push_back(0);
  EXPECT_STREQ(record_of_failure([&] { engine.process(view(frame)); }).args, "depth_stride");
  EXPECT_STREQ(record_of_failure([&] { engine.process(view(Frame(64, 48))); }).args, "height/width");
  frame = Frame(640, 480);
  // Its size in 32 bits is right.
  const Pixels<std::uint16_t> huge(frame.depth.data(), frame.depth.size() + (std::size_t{1} << 32U));
  EXPECT_STREQ(record_of_failure([&] { engine.process({640, 480, frame.rgb, huge}); }).args, "depth_stride");
  engine.process(view(frame));
}

// The text then comes from the last error: the handle's, or the thread's when there is none.
TEST_F(CppWrapper, ThrowsEvenWhenThereIsNoMemoryForARecord) {
  Engine engine(write_engine(TestEngine{}));
  Engine moved_from(write_engine(TestEngine{}));
  const Engine holder(std::move(moved_from));
  for (Engine* failing : {&engine, &moved_from}) {
    enhance_GetLastInferenceTime(nullptr);  // leaves another text with the thread
    allocation_faults::plan(1, true, allocation_faults::Thrown::kBadAlloc);
    const enhance_error record = record_of_failure([&] {
      const allocation_faults::Armed armed;
      failing->reset(0, 0);
    });
    EXPECT_EQ(record.error_code, ENHANCE_DEPTH_ERROR_STD_EXCEPTION);
    EXPECT_EQ(record.exception_type, 6);
    EXPECT_STREQ(record.message, "out of memory");
    EXPECT_STREQ(record.function, "enhance_depth_reset");
  }
}

TEST_F(CppWrapper, NamesTheLibraryThatWasLoaded) {
  EXPECT_STREQ(enhance_depth::version(), enhance_depth_get_version());
}

}  // namespace
