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

#include "engine/trt_engine_wrapper.h"
#include "gtest/gtest.h"

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

// What the last call came with.
const void* called_on;
std::string called_with;

template <typename Function>
Slot slot(Function* function) {
  return reinterpret_cast<Slot>(function);
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
  void expect_called(const std::string& arguments) {
    EXPECT_EQ(called_on, &behind_);
    EXPECT_EQ(called_with, arguments);
    called_on = nullptr;
    called_with.clear();
  }
  void release_and_expect_its_destructor() {
    enhance_depth::TrtDeleter<Interface>()(get());
    EXPECT_EQ(called_on, &face_);
    EXPECT_EQ(called_with, "deleted");
  }

 private:
  static void deleting_destructor(void* self) {
    called_on = self;
    called_with = "deleted";
  }
  Table table_;
  Table face_table_ = table_with({{1, slot(&deleting_destructor)}});
  Behind behind_{table_.data()};
  Face face_{face_table_.data(), &behind_};
  Interface* volatile object_ = reinterpret_cast<Interface*>(&face_);
};

// The functions behind the slots, as the binary interface sees them: the object comes first.
Dims shape_of(int rank) {
  Dims shape{};
  shape.nbDims = rank;
  return shape;
}
Dims by_name(void* self, const char* name) {
  called_on = self;
  called_with = name;
  return shape_of(7);
}
std::int32_t number_by_name(void* self, const char* name) {
  called_on = self;
  called_with = name;
  return 2;
}
std::int32_t count(void* self) {
  called_on = self;
  return 42;
}
bool on_stream(void* self, cudaStream_t stream) {
  called_on = self;
  called_with = stream == reinterpret_cast<cudaStream_t>(0x1234) ? "the stream" : "?";
  return true;
}

TEST(PlatformInterface, RuntimeCallsItsSlots) {
  FakeObject<IRuntime> runtime({{3, slot(+[](void* self, const void* blob, std::size_t size) -> void* {
                                   called_on = self;
                                   called_with = std::string(static_cast<const char*>(blob), size);
                                   return &called_on;
                                 })}});
  EXPECT_EQ(static_cast<void*>(runtime.get()->deserializeCudaEngine("engine and more", 6)), &called_on);
  runtime.expect_called("engine");
  runtime.release_and_expect_its_destructor();
}

TEST(PlatformInterface, EngineCallsItsSlots) {
  FakeObject<ICudaEngine> engine(
      {{5, slot(+[](void* self, std::int32_t strategy) -> void* {
          called_on = self;
          called_with = std::to_string(strategy);
          return &called_on;
        })},
       {10, slot(&count)},
       {19, slot(&by_name)},
       {20, slot(&number_by_name)},
       {23, slot(&number_by_name)},
       {29, slot(+[](void* self, const char* name, std::int32_t profile, std::int32_t select) {
          called_on = self;
          called_with = std::string(name) + " " + std::to_string(profile) + " " + std::to_string(select);
          return shape_of(5);
        })},
       {30, slot(+[](void* self) -> std::int32_t {
          called_on = self;
          return 43;
        })},
       {31, slot(+[](void* self, std::int32_t index) {
          called_on = self;
          called_with = std::to_string(index);
          return "a name";
        })}});
  const auto strategy = ExecutionContextAllocationStrategy::kUSER_MANAGED;
  EXPECT_EQ(static_cast<void*>(engine.get()->createExecutionContext(strategy)), &called_on);
  engine.expect_called("2");
  EXPECT_EQ(engine.get()->getNbOptimizationProfiles(), 42);
  engine.expect_called("");
  EXPECT_EQ(engine.get()->getTensorShape("rgb").nbDims, 7);
  engine.expect_called("rgb");
  EXPECT_EQ(engine.get()->getTensorDataType("dep"), DataType::kINT8);
  engine.expect_called("dep");
  EXPECT_EQ(engine.get()->getTensorIOMode("pred"), TensorIOMode::kOUTPUT);
  engine.expect_called("pred");
  EXPECT_EQ(engine.get()->getProfileShape("rgb", 3, OptProfileSelector::kMAX).nbDims, 5);
  engine.expect_called("rgb 3 2");
  EXPECT_EQ(engine.get()->getNbIOTensors(), 43);
  engine.expect_called("");
  EXPECT_STREQ(engine.get()->getIOTensorName(6), "a name");
  engine.expect_called("6");
  engine.release_and_expect_its_destructor();
}

TEST(PlatformInterface, ContextCallsItsSlots) {
  FakeObject<IExecutionContext> context(
      {{17, slot(+[](void* self, std::int32_t profile, cudaStream_t stream) {
          on_stream(self, stream);
          called_with += " " + std::to_string(profile);
          return true;
        })},
       {21, slot(+[](void* self, const char* name, const Dims* dims) {
          called_on = self;
          called_with = std::string(name) + " " + std::to_string(dims->d[7]);
          return true;
        })},
       {22, slot(&by_name)},
       {24, slot(+[](void* self, const char* name, void* data) {
          called_on = self;
          *static_cast<std::string*>(data) = name;
          return true;
        })},
       {37, slot(&on_stream)}});
  const auto stream = reinterpret_cast<cudaStream_t>(0x1234);
  EXPECT_TRUE(context.get()->setOptimizationProfileAsync(9, stream));
  context.expect_called("the stream 9");
  EXPECT_TRUE(context.get()->setInputShape("dep", {8, {1, 2, 3, 4, 5, 6, 7, 88}}));
  context.expect_called("dep 88");
  EXPECT_EQ(context.get()->getTensorShape("pred").nbDims, 7);
  context.expect_called("pred");
  std::string data;
  EXPECT_TRUE(context.get()->setTensorAddress("rgb", &data));
  context.expect_called("");
  EXPECT_EQ(data, "rgb");
  EXPECT_TRUE(context.get()->enqueueV3(stream));
  context.expect_called("the stream");
  context.release_and_expect_its_destructor();
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
