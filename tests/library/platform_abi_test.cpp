// The interface headers against the binary interface that they stand for: layouts, numbers, and the slot of
// the virtual table through which each call goes, seen from objects whose tables are made by hand.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

#include <NvInferRuntime.h>
#include <cuda_runtime_api.h>
#include <libobsensor/ObSensor.h>

#include "gtest/gtest.h"
#include "support/open_engine.h"
#include "support/temporary_directory.h"

namespace {

void* made_runtime;

}  // namespace

// Replaces TensorRT's own.
extern "C" void* createInferRuntime_INTERNAL(void*, std::int32_t) noexcept { return made_runtime; }

namespace {

using namespace nvinfer1;

static_assert(sizeof(Dims64) == 72 && offsetof(Dims64, d) == 8 && Dims64::MAX_DIMS == 8);
static_assert(std::is_same_v<Dims, Dims64>);
static_assert(sizeof(IRuntime) == 16 && sizeof(ICudaEngine) == 16 && sizeof(IExecutionContext) == 16);
static_assert(sizeof(ILogger) == sizeof(void*));
template <typename Enum>
constexpr int number(Enum value) {
  static_assert(sizeof(Enum) == sizeof(std::int32_t));
  return static_cast<int>(value);
}
static_assert(number(DataType::kFLOAT) == 0 && number(DataType::kHALF) == 1 && number(DataType::kINT8) == 2 &&
              number(DataType::kINT32) == 3 && number(DataType::kBOOL) == 4 &&
              number(DataType::kUINT8) == 5 && number(DataType::kFP8) == 6 && number(DataType::kBF16) == 7 &&
              number(DataType::kINT64) == 8 && number(DataType::kINT4) == 9);
static_assert(number(TensorIOMode::kNONE) == 0 && number(TensorIOMode::kINPUT) == 1 &&
              number(TensorIOMode::kOUTPUT) == 2);
static_assert(number(OptProfileSelector::kMIN) == 0 && number(OptProfileSelector::kOPT) == 1 &&
              number(OptProfileSelector::kMAX) == 2);
static_assert(number(ExecutionContextAllocationStrategy::kSTATIC) == 0);
static_assert(number(ILogger::Severity::kINTERNAL_ERROR) == 0 && number(ILogger::Severity::kERROR) == 1 &&
              number(ILogger::Severity::kWARNING) == 2 && number(ILogger::Severity::kINFO) == 3 &&
              number(ILogger::Severity::kVERBOSE) == 4);
static_assert(NV_TENSORRT_MAJOR == 10 && NV_TENSORRT_VERSION / 10000 == 10);
static_assert(cudaMemcpyHostToHost == 0 && cudaMemcpyHostToDevice == 1 && cudaMemcpyDeviceToHost == 2 &&
              cudaMemcpyDeviceToDevice == 3 && cudaMemcpyDefault == 4 && sizeof(cudaError_t) == 4);
static_assert(cudaErrorInvalidValue == 1 && cudaErrorMemoryAllocation == 2 && cudaErrorNoDevice == 100 &&
              cudaErrorInvalidResourceHandle == 400 && cudaErrorNotReady == 600 &&
              cudaErrorLaunchFailure == 719 && cudaErrorUnknown == 999);
static_assert(OB_LOG_SEVERITY_INFO == 1 && OB_LOG_SEVERITY_WARN == 2 && OB_LOG_SEVERITY_ERROR == 3 &&
              sizeof(OBLogSeverity) == 4);

using Slot = void (*)();
using Table = std::array<Slot, 64>;

void wrong_slot() {
  std::fputs("a call went through a slot that it must not use\n", stderr);
  std::abort();
}

// The slot and the arguments of the last call.
const void* called_on;
std::string called_with;

cudaStream_t const kStream = reinterpret_cast<cudaStream_t>(0x1234);

// Arguments as texts: the names, data and addresses that the tests pass are all texts.
std::string text_of(std::int32_t value) { return std::to_string(value); }
std::string text_of(std::size_t value) { return std::to_string(value); }
std::string text_of(const void* text) { return static_cast<const char*>(text); }
std::string text_of(const Dims* dims) { return std::to_string(dims->d[7]); }
std::string text_of(cudaStream_t stream) { return stream == kStream ? "the stream" : "?"; }

// The object that a slot returns: not a real one, but it has an address.
template <int index>
void* made = &called_on;

// The result of each type of function.
template <int index, typename Result>
Result answer() {
  if constexpr (std::is_same_v<Result, Dims>) {
    return {7, {}};
  } else if constexpr (std::is_same_v<Result, void*>) {
    return made<index>;
  } else if constexpr (std::is_same_v<Result, const char*>) {
    return "a name";
  } else if constexpr (!std::is_void_v<Result>) {
    return Result{1};
  }
}

// A function as the binary interface sees it, with the object first, and its place in the table, which it
// notes.
template <int index, typename Result, typename... Arguments>
std::pair<int, Slot> slot() {
  Result (*const function)(void*, Arguments...) = [](void* self, Arguments... arguments) {
    called_on = self;
    called_with = std::to_string(index);
    ((called_with += " " + text_of(arguments)), ...);
    return answer<index, Result>();
  };
  return {index, reinterpret_cast<Slot>(function)};
}

Table table_with(std::initializer_list<std::pair<int, Slot>> slots) {
  Table table;
  table.fill(&wrong_slot);
  for (const auto& [index, function] : slots) {
    table[static_cast<std::size_t>(index)] = function;
  }
  return table;
}

// The memory of a TensorRT object: the table of its public face, and the object behind it, which begins with
// its own.
struct Behind {
  const Slot* table;
};
struct Face {
  const Slot* table;
  Behind* behind;
};

template <typename Interface>
class FakeObject {
 public:
  FakeObject(std::initializer_list<std::pair<int, Slot>> slots) : table_(table_with(slots)) {}
  // Through a volatile pointer, so that the compiler does not look behind it.
  Interface* get() { return object_; }
  void expect_called(const std::string& slot_and_arguments) {
    EXPECT_EQ(called_on, &behind_);
    EXPECT_EQ(called_with, slot_and_arguments);
    called_on = nullptr;
  }
  void release_and_expect_its_destructor() {
    enhance_depth::TrtDeleter<Interface>()(get());
    EXPECT_EQ(called_on, &face_);
    EXPECT_EQ(called_with, "1");
  }

 private:
  Table table_;
  Table face_table_ = table_with({slot<1, void>()});  // the deleting destructor
  Behind behind_{table_.data()};
  Face face_{face_table_.data(), &behind_};
  Interface* volatile object_ = reinterpret_cast<Interface*>(&face_);
};

TEST(PlatformInterface, RuntimeCallsItsSlots) {
  FakeObject<IRuntime> runtime({slot<3, void*, const void*, std::size_t>()});
  EXPECT_EQ(static_cast<void*>(runtime.get()->deserializeCudaEngine("engine", 5)), &called_on);
  runtime.expect_called("3 engine 5");
  runtime.release_and_expect_its_destructor();
}

TEST(PlatformInterface, EngineCallsItsSlots) {
  FakeObject<ICudaEngine> engine({slot<5, void*, std::int32_t>(), slot<10, std::int32_t>(),
                                  slot<19, Dims, const char*>(), slot<20, std::int32_t, const char*>(),
                                  slot<23, std::int32_t, const char*>(),
                                  slot<29, Dims, const char*, std::int32_t, std::int32_t>(),
                                  slot<30, std::int32_t>(), slot<31, const char*, std::int32_t>()});
  const auto strategy = ExecutionContextAllocationStrategy::kUSER_MANAGED;
  EXPECT_EQ(static_cast<void*>(engine.get()->createExecutionContext(strategy)), &called_on);
  engine.expect_called("5 2");
  EXPECT_EQ(engine.get()->getNbOptimizationProfiles(), 1);
  engine.expect_called("10");
  EXPECT_EQ(engine.get()->getTensorShape("rgb").nbDims, 7);
  engine.expect_called("19 rgb");
  EXPECT_EQ(engine.get()->getTensorDataType("dep"), DataType::kHALF);
  engine.expect_called("20 dep");
  EXPECT_EQ(engine.get()->getTensorIOMode("pred"), TensorIOMode::kINPUT);
  engine.expect_called("23 pred");
  EXPECT_EQ(engine.get()->getProfileShape("rgb", 3, OptProfileSelector::kMAX).nbDims, 7);
  engine.expect_called("29 rgb 3 2");
  EXPECT_EQ(engine.get()->getNbIOTensors(), 1);
  engine.expect_called("30");
  EXPECT_STREQ(engine.get()->getIOTensorName(6), "a name");
  engine.expect_called("31 6");
  engine.release_and_expect_its_destructor();
}

TEST(PlatformInterface, ContextCallsItsSlots) {
  FakeObject<IExecutionContext> context(
      {slot<17, bool, std::int32_t, cudaStream_t>(), slot<21, bool, const char*, const Dims*>(),
       slot<22, Dims, const char*>(), slot<24, bool, const char*, void*>(), slot<37, bool, cudaStream_t>()});
  EXPECT_TRUE(context.get()->setOptimizationProfileAsync(9, kStream));
  context.expect_called("17 9 the stream");
  EXPECT_TRUE(context.get()->setInputShape("dep", {8, {1, 2, 3, 4, 5, 6, 7, 88}}));
  context.expect_called("21 dep 88");
  EXPECT_EQ(context.get()->getTensorShape("pred").nbDims, 7);
  context.expect_called("22 pred");
  char address[] = "an address";
  EXPECT_TRUE(context.get()->setTensorAddress("rgb", address));
  context.expect_called("24 rgb an address");
  EXPECT_TRUE(context.get()->enqueueV3(kStream));
  context.expect_called("37 the stream");
  context.release_and_expect_its_destructor();
}

// What TensorRT's factories return when they fail: null, converted to a base class.
TEST(PlatformInterface, AnAddressInTheFirstPageIsNoObject) {
  FakeObject<IRuntime> runtime({slot<3, void*, const void*, std::size_t>()});
  FakeObject<ICudaEngine> engine({slot<5, void*, std::int32_t>()});
  const test_support::TemporaryDirectory directory;
  const std::string path = directory.write("engine", {"a text", sizeof "a text"});
#ifdef ENHANCE_DEPTH_TYPES_ARE_CHECKED
  constexpr int kStages = 1;  // a sanitizer ends the library's calls on objects made by hand
#else
  constexpr int kStages = 3;
#endif
  for (const std::uintptr_t address : {0x0U, 0x200U, 0x208U, 0x228U, 0xfffU}) {
    void* const no_object = reinterpret_cast<void*>(address);
    const struct {
      void* runtime;
      void* engine;
      int code;
    } kCases[] = {
        {no_object, no_object, 12}, {runtime.get(), no_object, 13}, {runtime.get(), engine.get(), 14}};
    for (int stage = 0; stage < kStages; ++stage) {
      const auto& example = kCases[stage];
      made_runtime = example.runtime;
      made<3> = example.engine;
      made<5> = no_object;
      enhance_depth::OpenEngine wrapper;
      EXPECT_FALSE(wrapper.init(path.c_str()));
      EXPECT_EQ(wrapper.last_error_code(), example.code) << "address " << address;
      EXPECT_EQ(wrapper.runtime != nullptr, example.runtime != no_object);
      EXPECT_EQ(wrapper.engine != nullptr, example.engine != no_object);
      EXPECT_EQ(wrapper.context, nullptr);
    }
  }
}

TEST(PlatformInterface, LoggerIsCalledThroughItsFirstSlot) {
  class Logger : public ILogger {
   public:
    void log(Severity severity, const char* message) noexcept override {
      text = std::to_string(number(severity)) + message;
    }
    std::string text;
  };
  Logger logger;
  using Log = void (*)(ILogger*, std::int32_t, const char*);
  const Slot* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(static_cast<ILogger*>(&logger)), sizeof table);
  reinterpret_cast<Log>(table[0])(&logger, 1, " a message");
  EXPECT_EQ(logger.text, "1 a message");
}

}  // namespace
