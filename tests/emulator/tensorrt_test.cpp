// The emulated TensorRT runtime: the rules for shapes and addresses, networks, and its failures.
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <NvInferRuntime.h>
#include <gtest/gtest.h>

#include "emulated_board/control.h"
#include "emulated_engine.h"
#include "nvinfer/networks/guided_filter.h"

namespace {

using namespace emulated_board_tests;
using nvinfer1::DataType;
using nvinfer1::Dims;
using nvinfer1::OptProfileSelector;
using nvinfer1::TensorIOMode;

TEST_F(EmulatedTensorRT, AnEngineIsWhatItsDescriptionSays) {
  load(std::string(kEngine));
  EXPECT_EQ(extents(engine->getProfileShape("dep", 0, OptProfileSelector::kOPT)), (Extents{1, 1, 4, 4}));
  EXPECT_EQ(extents(engine->getProfileShape("dep", 0, OptProfileSelector::kMAX)), (Extents{1, 1, 8, 8}));
  EXPECT_EQ(extents(engine->getProfileShape("rgb", 1, OptProfileSelector::kMAX)), (Extents{5}));
  EXPECT_TRUE(logger.severities.empty());

  // Things that do not exist.
  EXPECT_EQ(engine->getProfileShape("dep", 1, OptProfileSelector::kMIN).nbDims, -1);
  EXPECT_EQ(
      logger.last,
      "ICudaEngine::getProfileShape: Error Code 3: API Usage Error (profile 1 has no range for \"dep\")");
  EXPECT_EQ(engine->getProfileShape("rgb", 2, OptProfileSelector::kMIN).nbDims, -1);
  EXPECT_EQ(engine->getTensorShape("depth").nbDims, -1);
  EXPECT_EQ(engine->getTensorDataType("depth"), static_cast<DataType>(-1));
  EXPECT_EQ(engine->getTensorIOMode("depth"), TensorIOMode::kNONE);
  EXPECT_EQ(engine->getTensorShape(nullptr).nbDims, -1);
  EXPECT_EQ(engine->getIOTensorName(4), nullptr);
  EXPECT_EQ(engine->getIOTensorName(-1), nullptr);
  EXPECT_EQ(logger.severities.size(), 8U);
}

TEST_F(EmulatedTensorRT, WhatIsNoEngineDoesNotDeserialize) {
  const std::string text = engine_with("uint8", "u8");
  EXPECT_EQ(runtime->deserializeCudaEngine(text.data(), text.size()), nullptr);
  EXPECT_EQ(
      logger.last.find(
          "IRuntime::deserializeCudaEngine: Error Code 1: Serialization (the engine was not understood: "
          "line 7, column 8: "),
      0U)
      << logger.last;
  EXPECT_EQ(runtime->deserializeCudaEngine(nullptr, 5), nullptr);
  EXPECT_EQ(logger.severities, std::vector(2, nvinfer1::ILogger::Severity::kERROR));
}

TEST_F(EmulatedTensorRT, OnlyItsOwnMajorVersionGetsARuntime) {
  constexpr std::int32_t kFirstOfMajor = NV_TENSORRT_MAJOR * 10000;
  constexpr std::int32_t kFirstOfNextMajor = kFirstOfMajor + 10000;
  // The address of a failure is that of the real TensorRT: null and an offset.
  const auto create = [](nvinfer1::ILogger* its_logger, std::int32_t version) {
    return reinterpret_cast<std::uintptr_t>(createInferRuntime_INTERNAL(its_logger, version));
  };
  EXPECT_EQ(create(&logger, kFirstOfMajor - 1), 0x228U);
  EXPECT_EQ(create(&logger, kFirstOfNextMajor), 0x228U);
  EXPECT_NE(logger.last.find("built for version " + std::to_string(kFirstOfNextMajor)), std::string::npos)
      << logger.last;
  std::unique_ptr<nvinfer1::IRuntime> later(
      static_cast<nvinfer1::IRuntime*>(createInferRuntime_INTERNAL(&logger, kFirstOfNextMajor - 1)));
  EXPECT_NE(later, nullptr);
  testing::internal::CaptureStderr();
  EXPECT_EQ(create(nullptr, NV_TENSORRT_VERSION), 0x228U);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("logger"), std::string::npos);
}

TEST_F(EmulatedTensorRT, InputShapesMustFitTheEngineAndItsProfile) {
  load(std::string(kEngine));
  EXPECT_TRUE(context->setInputShape("rgb", dims({1, 3, 2, 8})));
  EXPECT_TRUE(context->setInputShape("rgb", dims({1, 3, 8, 2})));
  const struct {
    const char* name;
    Dims shape;
    const char* why;
  } refused[] = {
      {"rgb", dims({1, 3, 9, 8}), "is not within profile 0, from (1, 3, 2, 2) to (1, 3, 8, 8)"},
      {"rgb", dims({1, 3, 8, 1}), "is not within profile 0"},
      {"rgb", dims({1, 4, 8, 8}), "does not fit the engine's (1, 3, -1, -1)"},
      {"rgb", dims({1, 3, -1, 8}), "does not fit"},
      {"rgb", dims({8, 8, 3}), "another rank"},
      {"pred", dims({1, 1, 8, 8}), "not an input"},
      {"depth", dims({1, 1, 8, 8}), "no input or output tensor \"depth\""},
      {nullptr, dims({1}), "(null)"},
  };
  for (const auto& each : refused) {
    EXPECT_FALSE(context->setInputShape(each.name, each.shape)) << each.why;
    EXPECT_NE(logger.last.find(each.why), std::string::npos) << logger.last;
  }
  EXPECT_EQ(extents(context->getTensorShape("rgb")), (Extents{1, 3, 8, 2})) << "as it was";

  EXPECT_FALSE(context->setOptimizationProfileAsync(2, stream));
  EXPECT_FALSE(context->setOptimizationProfileAsync(-1, stream));
  EXPECT_FALSE(context->setOptimizationProfileAsync(0, reinterpret_cast<cudaStream_t>(this)));
  EXPECT_TRUE(context->setOptimizationProfileAsync(0, stream));
  EXPECT_EQ(extents(context->getTensorShape("rgb")), (Extents{1, 3, 8, 2}));
  EXPECT_TRUE(context->setOptimizationProfileAsync(1, stream));
  EXPECT_EQ(extents(context->getTensorShape("rgb")), (Extents{1, 3, -1, -1}))
      << "a profile has shapes of its own";
  EXPECT_FALSE(context->setInputShape("rgb", dims({1, 3, 4, 4}))) << "a profile of another rank";
  EXPECT_FALSE(context->setInputShape("dep", dims({1, 1, 4, 4}))) << "a profile without this tensor";

  load(engine_with("[1, 1, -1, -1]", "[1, 1, 6, 7]"));
  EXPECT_TRUE(context->setInputShape("dep", dims({1, 1, 6, 7})));
  EXPECT_FALSE(context->setInputShape("dep", dims({1, 1, 7, 6})));
  std::string without_profiles(kEngine);
  load(without_profiles.substr(0, without_profiles.find("[[profile]]")));
  EXPECT_EQ(engine->getNbOptimizationProfiles(), 0);
  EXPECT_FALSE(context->setInputShape("dep", dims({1, 1, 6, 7})));
}

TEST_F(EmulatedTensorRT, OutputShapesFollowTheDepthImage) {
  load(engine_with("[-1, -1]\n[[profile]]", "[-1, 2, -1]\n[[profile]]"));
  const Extents unknown{1, 1, -1, -1};
  EXPECT_EQ(extents(context->getTensorShape("pred")), unknown);
  ASSERT_TRUE(context->setInputShape("dep", dims({1, 1, 4, 6})));
  EXPECT_EQ(extents(context->getTensorShape("pred")), unknown) << "the other input is not known yet";
  ASSERT_TRUE(context->setInputShape("rgb", dims({1, 3, 5, 7})));
  EXPECT_EQ(extents(context->getTensorShape("pred")), (Extents{1, 1, 4, 6}));
  EXPECT_EQ(extents(context->getTensorShape("confidence_output")), (Extents{-1, 2, 6}))
      << "stays unknown, is given";
  EXPECT_EQ(context->getTensorShape("depth").nbDims, -1);
}

TEST_F(EmulatedTensorRT, ARunNeedsShapesAndDeviceMemoryForAllTensors) {
  load(std::string(kEngine));
  const auto refused = [&](const std::string& why) {
    EXPECT_FALSE(context->enqueueV3(stream));
    EXPECT_NE(logger.last.find("IExecutionContext::enqueueV3: Error Code 3: "), std::string::npos)
        << logger.last;
    EXPECT_NE(logger.last.find(why), std::string::npos) << logger.last;
  };
  refused("tensor \"rgb\" has no complete shape");
  prepare(4, 5);
  EXPECT_TRUE(context->enqueueV3(stream));
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_FALSE(context->enqueueV3(reinterpret_cast<cudaStream_t>(this)));
  EXPECT_FALSE(context->setTensorAddress("dep", nullptr));
  EXPECT_FALSE(context->setTensorAddress("depth", tensors["dep"].first));
  ASSERT_TRUE(context->setTensorAddress("pred", nullptr));
  refused("tensor \"pred\" has no address");
  const std::unique_ptr<void, decltype(&std::free)> host_memory(std::aligned_alloc(256, 256), &std::free);
  ASSERT_TRUE(context->setTensorAddress("pred", host_memory.get()));
  refused("the address of tensor \"pred\" is not device memory");
  ASSERT_TRUE(context->setTensorAddress("pred", allocate(4 * 5 * 4 - 1)));
  refused("tensor \"pred\" needs 80 bytes; at its address there are 79");

  load(engine_with(
      "[1, 1, -1, -1]\n[[tensor]]\nname = \"confidence_output\"\ndirection = \"output\"\ntype = \"float\"",
      "[1, 1, -1, -1]\n[[tensor]]\nname = \"confidence_output\"\ndirection = \"output\"\ntype = \"int4\""));
  prepare(3, 5);
  ASSERT_TRUE(context->setTensorAddress("confidence_output", allocate(7)));
  refused("tensor \"confidence_output\" needs 8 bytes; at its address there are 7");
}

TEST_F(EmulatedTensorRT, ANetworkRunsWhenItsStreamIsWaitedFor) {
  load(std::string(kEngine));
  prepare(2, 2);
  upload<std::uint8_t>("rgb", {1, 2, 3, 4, 50, 60, 70, 80, 101, 102, 103, 255});
  upload<float>("dep", {1000, 2000, 3000, 4000});
  ASSERT_TRUE(context->enqueueV3(stream));
  EXPECT_EQ(download("pred"), (std::vector<float>{1000 + 1 + 100 + 404, 2000 + 2 + 120 + 408,
                                                  3000 + 3 + 140 + 412, 4000 + 4 + 160 + 1020}));
  EXPECT_EQ(download("confidence_output")[3], 1.0F);
}

TEST_F(EmulatedTensorRT, TestNetworksFillWholeOutputsOfAnySize) {
  const struct {
    const char* network;
    std::vector<float> pred;  // of 2 x 3, from a depth image of 2 x 2
  } cases[] = {
      {"network = 'scale-offset'\nparameters = { scale = 2, offset = 1 }", {3, 5, 7, 9, 1, 1}},
      {"network = 'constant'\nparameters = { value = 2.5 }", {2.5F, 2.5F, 2.5F, 2.5F, 2.5F, 2.5F}},
      {"network = 'rgb-sum'", {8, 9, 10, 11, 0, 0}},
  };
  for (const auto& each : cases) {
    std::string text = engine_with("network = \"rgb-sum\"", each.network);
    text.replace(text.find("[1, 1, -1, -1]", text.find("\"pred\"")), 14, "[1, 1, 2, 3]");
    load(text);
    prepare(2, 2);
    upload<std::uint8_t>("rgb", std::vector<std::uint8_t>(12, 1));
    upload<float>("dep", {1, 2, 3, 4});
    ASSERT_TRUE(context->enqueueV3(stream));
    EXPECT_EQ(download("pred"), each.pred) << each.network;
  }
}

TEST_F(EmulatedTensorRT, TheReferenceNetworkIsTheGuidedFilter) {
  constexpr std::size_t kPixels = 6 * std::size_t{8};
  std::vector<std::uint8_t> rgb(3 * kPixels);
  std::vector<float> depth(kPixels);
  for (std::size_t i = 0; i < rgb.size(); ++i) {
    rgb[i] = static_cast<std::uint8_t>(i * 37);
  }
  for (std::size_t i = 0; i < depth.size(); ++i) {
    depth[i] = i % 5 == 0 ? 0.0F : 900.0F + static_cast<float>(i * 13 % 50);
  }
  emulated_board::nvinfer::GuidedFilterParameters parameters;
  parameters.radius = 2;
  parameters.epsilon = 0.05;
  std::vector<float> refined(kPixels);
  std::vector<float> confidence(kPixels);
  emulated_board::nvinfer::guided_filter(parameters, rgb.data(),
                                         emulated_board::nvinfer::ColorLayout::kPlanar, depth.data(), 6, 8,
                                         refined.data(), confidence.data());

  std::string text = engine_with("network = \"rgb-sum\"",
                                 "network = \"guided-filter\"\nparameters = { radius = 2, epsilon = 0.05 }");
  text.replace(text.find("[1, 1, -1, -1]", text.find("\"pred\"")), 14, "[2, 1, -1, -1]");
  refined.resize(2 * kPixels);  // the second image of the batch is 0
  load(text);
  prepare(6, 8);
  upload("rgb", rgb);
  upload("dep", depth);
  ASSERT_TRUE(context->enqueueV3(stream));
  EXPECT_EQ(download("pred"), refined);
  EXPECT_EQ(download("confidence_output"), confidence);
}

TEST_F(EmulatedTensorRT, MessagesGoToTheNewestLiveRuntime) {
  Logger second_logger;
  {
    const std::unique_ptr<nvinfer1::IRuntime> second(nvinfer1::createInferRuntime(second_logger));
    emulated_board::send_tensorrt_message(2, "to the second");
  }
  emulated_board::send_tensorrt_message(1, "to the first");
  EXPECT_EQ(second_logger.severities, std::vector{nvinfer1::ILogger::Severity::kWARNING});
  EXPECT_EQ(second_logger.last, "to the second");
  EXPECT_EQ(logger.last, "to the first");
}

}  // namespace
