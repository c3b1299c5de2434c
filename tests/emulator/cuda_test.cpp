// The emulated CUDA runtime: where it is stricter than the real one, and the rules of the real one that
// programs rely on.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <cuda_runtime_api.h>
#include <gtest/gtest.h>

#include "device/device_access.h"
#include "emulated_board/control.h"

namespace {

// A stream or an event.
template <typename Object, cudaError_t (*create)(Object*), cudaError_t (*destroy)(Object)>
class Owned {
 public:
  Owned() { EXPECT_EQ(create(&object_), cudaSuccess); }
  ~Owned() { EXPECT_EQ(destroy(object_), cudaSuccess); }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  operator Object() const { return object_; }

 private:
  Object object_ = nullptr;
};
using Stream = Owned<cudaStream_t, cudaStreamCreate, cudaStreamDestroy>;
using Event = Owned<cudaEvent_t, cudaEventCreate, cudaEventDestroy>;

class DeviceBuffer {
 public:
  explicit DeviceBuffer(std::size_t size) { EXPECT_EQ(cudaMalloc(&data_, size), cudaSuccess); }
  ~DeviceBuffer() { EXPECT_EQ(cudaFree(data_), cudaSuccess); }
  DeviceBuffer(const DeviceBuffer&) = delete;
  DeviceBuffer& operator=(const DeviceBuffer&) = delete;
  std::uint8_t* get() const { return static_cast<std::uint8_t*>(data_); }

 private:
  void* data_ = nullptr;
};

using Bytes = std::vector<std::uint8_t>;

void download(Bytes& to, const DeviceBuffer& from, cudaStream_t stream) {
  ASSERT_EQ(cudaMemcpyAsync(to.data(), from.get(), to.size(), cudaMemcpyDeviceToHost, stream), cudaSuccess);
}

TEST(EmulatedCuda, FreshDeviceMemoryIsPoisoned) {
  const Stream stream;
  for (int round = 0; round < 2; ++round) {  // also what was used before
    const DeviceBuffer buffer(1000);
    Bytes contents(1000);
    download(contents, buffer, stream);
    ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
    EXPECT_EQ(contents, Bytes(1000, 0x5A));
    ASSERT_EQ(cudaMemset(buffer.get(), 0, 1000), cudaSuccess);
  }
}

// These use CUDA only in the processes that die: a process that was forked from one that uses CUDA cannot use
// it.
TEST(EmulatedCudaDeathTest, TheHostCannotTouchDeviceMemory) {
  const auto device_memory = [] {
    void* memory = nullptr;
    if (cudaMalloc(&memory, 16) != cudaSuccess) {
      std::exit(0);
    }
    return static_cast<volatile std::uint8_t*>(memory);
  };
  EXPECT_DEATH(*device_memory() = 1, "");
  EXPECT_DEATH(std::exit(*device_memory() == 0 ? 0 : 1), "");
}

TEST(EmulatedCudaDeathTest, TheProcessMayEndWhileAThreadUsesTheDevice) {
  EXPECT_EXIT(
      {
        std::atomic<int> rounds{0};
        std::thread([&rounds] {
          constexpr std::size_t kLong = std::size_t{256} << 20;
          void* memory = nullptr;
          for (cudaMalloc(&memory, kLong); cudaMemset(memory, 0, kLong) == cudaSuccess; ++rounds) {
          }
        }).detach();
        while (rounds < 2) {
          std::this_thread::yield();
        }
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
}

TEST(EmulatedCudaDeathTest, WritingOutsideAnAllocationIsFoundOutWhenItIsFreed) {
  for (const int offset : {-1, 100}) {
    EXPECT_DEATH(
        {
          void* memory = nullptr;
          cudaMalloc(&memory, 100);
          emulated_board::device_range(memory).contents[offset] = std::byte{0};  // as a network might
          cudaFree(memory);
        },
        "wrote outside the 100 bytes");
  }
}

TEST(EmulatedCuda, QueuedWorkRunsOnlyWhenSomethingWaitsForIt) {
  const Stream stream;
  const Event event;
  const DeviceBuffer buffer(64);
  ASSERT_EQ(cudaMemset(buffer.get(), 7, 64), cudaSuccess);
  const std::map<std::string, std::function<cudaError_t()>> waits{
      {"cudaStreamSynchronize", [&] { return cudaStreamSynchronize(stream); }},
      {"cudaEventSynchronize", [&] { return cudaEventSynchronize(event); }},
      {"cudaMemset", [&] { return cudaMemset(buffer.get(), 7, 1); }},
      {"cudaFree",
       [] {
         void* other = nullptr;
         cudaMalloc(&other, 1);
         return cudaFree(other);
       }},
  };
  for (const auto& [name, wait] : waits) {
    SCOPED_TRACE(name);
    Bytes contents(64, 1);
    download(contents, buffer, stream);
    ASSERT_EQ(cudaEventRecord(event, stream), cudaSuccess);
    EXPECT_EQ(contents, Bytes(64, 1));
    EXPECT_EQ(wait(), cudaSuccess);
    EXPECT_EQ(contents, Bytes(64, 7));
  }
}

TEST(EmulatedCuda, AnUploadTakesItsSourceWhenItIsQueued) {
  const Stream stream;
  const DeviceBuffer buffer(32);
  Bytes source(32, 1);
  Bytes result(32);
  ASSERT_EQ(cudaMemcpyAsync(buffer.get(), source.data(), 32, cudaMemcpyHostToDevice, stream), cudaSuccess);
  std::fill(source.begin(), source.end(), std::uint8_t{2});
  download(result, buffer, stream);
  ASSERT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_EQ(result, Bytes(32, 1));
}

TEST(EmulatedCuda, TheWorkOfADestroyedStreamStillCompletes) {
  const DeviceBuffer buffer(8);
  ASSERT_EQ(cudaMemset(buffer.get(), 9, 8), cudaSuccess);
  Bytes result(8, 1);
  {
    const Stream stream;
    download(result, buffer, stream);
  }
  EXPECT_EQ(result, Bytes(8, 1)) << "cudaStreamDestroy does not wait";
  ASSERT_EQ(cudaMemset(buffer.get(), 0, 8), cudaSuccess);
  EXPECT_EQ(result, Bytes(8, 9));

  // A failure that nobody has waited for also outlives its stream.
  {
    const Stream stream;
    const auto fail = [] { return cudaErrorLaunchFailure; };
    ASSERT_TRUE(emulated_board::queue_work(stream, fail));
    ASSERT_TRUE(emulated_board::queue_work(nullptr, [] { return cudaSuccess; }));
    ASSERT_EQ(cudaStreamSynchronize(nullptr), cudaSuccess);
  }
  EXPECT_EQ(cudaMemset(buffer.get(), 0, 8), cudaErrorLaunchFailure);
  EXPECT_EQ(cudaMemset(buffer.get(), 0, 8), cudaSuccess);
}

// Streams A and B, and the default stream 0: which of the queued work has run after one of them was waited
// for.
TEST(EmulatedCuda, TheDefaultStreamWaitsForAllAndAllWaitForIt) {
  struct Case {
    const char* queued;
    char waited_for;
    const char* ran;
  };
  for (const Case& each : {
           Case{"AB", 'A', "A"},
           Case{"AB", 'B', "B"},
           Case{"A0", '0', "A0"},
           Case{"A0", 'A', "A"},
           Case{"0A", 'A', "0A"},
           Case{"0AB", 'B', "0B"},
           Case{"A0B", 'B', "A0B"},
           Case{"A0BA0", 'B', "A0B"},
           Case{"AB0A", 'A', "AB0A"},
           Case{"B", 'A', ""},
       }) {
    SCOPED_TRACE(std::string(each.queued) + ", waiting for " + each.waited_for);
    const Stream a;
    const Stream b;
    const std::map<char, cudaStream_t> streams{{'A', a}, {'B', b}, {'0', nullptr}};
    std::string ran;
    for (const char* name = each.queued; *name != '\0'; ++name) {
      ASSERT_TRUE(emulated_board::queue_work(streams.at(*name), [&ran, letter = *name] {
        ran += letter;
        return cudaSuccess;
      }));
    }
    EXPECT_EQ(cudaStreamSynchronize(streams.at(each.waited_for)), cudaSuccess);
    EXPECT_EQ(ran, each.ran);
    EXPECT_EQ(cudaMemset(DeviceBuffer(1).get(), 0, 1), cudaSuccess);
    EXPECT_EQ(ran.size(), std::strlen(each.queued)) << "the device as a whole waits for everything";
  }
}

TEST(EmulatedCuda, AnEventIsTimedWhenTheWorkBeforeItHasRun) {
  using std::chrono::milliseconds;
  const Stream stream;
  const Event start;
  const Event stop;
  const Event never;
  float elapsed = -7.0F;
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, stop), cudaErrorInvalidResourceHandle);
  EXPECT_EQ(cudaEventSynchronize(never), cudaSuccess);

  const auto sleep = [] {
    std::this_thread::sleep_for(milliseconds(20));
    return cudaSuccess;
  };
  ASSERT_EQ(cudaEventRecord(start, stream), cudaSuccess);
  ASSERT_TRUE(emulated_board::queue_work(stream, sleep));
  ASSERT_EQ(cudaEventRecord(stop, stream), cudaSuccess);
  EXPECT_EQ(cudaEventSynchronize(start), cudaSuccess);
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, stop), cudaErrorNotReady);
  std::this_thread::sleep_for(milliseconds(200));
  EXPECT_EQ(elapsed, -7.0F);
  EXPECT_EQ(cudaEventSynchronize(stop), cudaSuccess);
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, stop), cudaSuccess);
  EXPECT_GE(elapsed, 200.0F);
  EXPECT_LT(elapsed, 60'000.0F) << "milliseconds";

  ASSERT_EQ(cudaEventRecord(start, stream), cudaSuccess);
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, stop), cudaErrorNotReady) << "recorded anew";
  ASSERT_TRUE(emulated_board::queue_work(stream, sleep));
  ASSERT_EQ(cudaEventRecord(stop, stream), cudaSuccess);
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, stop), cudaSuccess);
  EXPECT_GE(elapsed, 20.0F);
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, never), cudaErrorInvalidResourceHandle);
}

TEST(EmulatedCuda, AnEventStandsForItsLatestRecordOnWhicheverStream) {
  const Stream first;
  const Stream second;
  const Event event;
  const Event start;
  float elapsed = 0.0F;
  std::string ran;
  const auto queue = [&](cudaStream_t stream, char letter) {
    ASSERT_TRUE(emulated_board::queue_work(stream, [&ran, letter] {
      ran += letter;
      return cudaSuccess;
    }));
  };
  ASSERT_EQ(cudaEventRecord(start, nullptr), cudaSuccess);
  queue(first, '1');
  ASSERT_EQ(cudaEventRecord(event, first), cudaSuccess);
  queue(second, '2');
  ASSERT_EQ(cudaEventRecord(event, second), cudaSuccess);
  ASSERT_EQ(cudaStreamSynchronize(first), cudaSuccess);
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, event), cudaErrorNotReady) << "the record on the first";
  EXPECT_EQ(cudaEventSynchronize(event), cudaSuccess);
  EXPECT_EQ(ran, "12");

  queue(first, '1');
  ASSERT_EQ(cudaEventRecord(event, first), cudaSuccess);
  ASSERT_EQ(cudaEventRecord(event, second), cudaSuccess);
  EXPECT_EQ(cudaEventSynchronize(event), cudaSuccess);
  EXPECT_EQ(ran, "12") << "only the second stream was waited for";
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, event), cudaSuccess);
  const float at_the_latest_record = elapsed;
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  ASSERT_EQ(cudaStreamSynchronize(first), cudaSuccess);
  EXPECT_EQ(cudaEventElapsedTime(&elapsed, start, event), cudaSuccess);
  EXPECT_EQ(elapsed, at_the_latest_record) << "an earlier record that runs later changes nothing";
}

TEST(EmulatedCuda, FailedWorkSurfacesOnceToItsStreamAndToTheDeviceAndDropsWhatFollowsIt) {
  const Stream failing;
  const Stream healthy;
  const Event event;
  const DeviceBuffer buffer(4);
  const DeviceBuffer neighbour(4);
  const auto set = [&] { return cudaMemset(buffer.get(), 3, 4); };
  const auto fail = [&](const std::function<cudaError_t()>& work) {
    ASSERT_TRUE(emulated_board::queue_work(failing, work));
  };
  ASSERT_EQ(set(), cudaSuccess);
  Bytes lost(4, 1);
  Bytes result(4, 1);
  fail([] { return cudaErrorLaunchFailure; });
  EXPECT_EQ(cudaMemset(buffer.get(), 4, 4), cudaErrorLaunchFailure) << "and sets nothing";
  EXPECT_EQ(cudaMemset(neighbour.get(), 4, 4), cudaSuccess) << "told before";
  download(lost, buffer, failing);
  ASSERT_EQ(cudaEventRecord(event, failing), cudaSuccess);
  download(result, buffer, healthy);
  EXPECT_EQ(cudaStreamSynchronize(healthy), cudaSuccess) << "whoever else waits";
  EXPECT_EQ(result, Bytes(4, 3));
  EXPECT_EQ(cudaEventSynchronize(event), cudaErrorLaunchFailure);
  EXPECT_EQ(lost, Bytes(4, 1));
  EXPECT_EQ(cudaStreamSynchronize(failing), cudaSuccess);
  download(lost, buffer, failing);
  EXPECT_EQ(cudaStreamSynchronize(failing), cudaSuccess);
  EXPECT_EQ(lost, Bytes(4, 3)) << "no longer lost";
  fail([]() -> cudaError_t { throw std::bad_alloc(); });
  EXPECT_EQ(set(), cudaErrorLaunchFailure) << "another failure";
  EXPECT_EQ(cudaStreamSynchronize(failing), cudaErrorLaunchFailure);
}

TEST(EmulatedCuda, BadArgumentsAreRefusedWhenTheyAreGiven) {
  const Stream stream;
  const Event event;
  const DeviceBuffer buffer(100);
  const DeviceBuffer neighbour(100);
  std::uint8_t* device = buffer.get();
  Bytes host_bytes(200);
  std::uint8_t* host = host_bytes.data();
  const cudaStream_t stale_stream = Stream();
  const cudaEvent_t stale_event = Event();
  void* const freed = DeviceBuffer(10).get();
  const auto changed_stream = [&](std::uintptr_t bits) {
    return reinterpret_cast<cudaStream_t>(reinterpret_cast<std::uintptr_t>(cudaStream_t{stream}) ^ bits);
  };
  const auto copy = [&](void* to, const void* from, std::size_t count, cudaMemcpyKind kind) {
    return cudaMemcpyAsync(to, from, count, kind, stream);
  };
  const struct {
    const char* name;
    cudaError_t status;
    cudaError_t expected;
  } cases[] = {
      {"copy past the end", copy(device, host, 101, cudaMemcpyHostToDevice), cudaErrorInvalidValue},
      {"copy from inside past the end", copy(host, device + 1, 100, cudaMemcpyDeviceToHost),
       cudaErrorInvalidValue},
      {"copy from behind the end", copy(host, device + 101, 1, cudaMemcpyDeviceToHost),
       cudaErrorInvalidValue},
      {"copy to freed memory", copy(freed, host, 1, cudaMemcpyHostToDevice), cudaErrorInvalidValue},
      {"upload to the host", copy(host + 100, host, 1, cudaMemcpyHostToDevice), cudaErrorInvalidValue},
      {"download to the device", copy(device, device, 1, cudaMemcpyDeviceToHost), cudaErrorInvalidValue},
      {"download from the host", copy(host + 100, host, 1, cudaMemcpyDeviceToHost), cudaErrorInvalidValue},
      {"host copy with a device", copy(host, device, 1, cudaMemcpyHostToHost), cudaErrorInvalidValue},
      {"no such kind", copy(device, host, 1, static_cast<cudaMemcpyKind>(5)), cudaErrorInvalidValue},
      {"copy from null", copy(device, nullptr, 1, cudaMemcpyHostToDevice), cudaErrorInvalidValue},
      {"copy of nothing", copy(nullptr, nullptr, 0, cudaMemcpyHostToDevice), cudaSuccess},
      {"copy up to the end", copy(device + 60, host, 40, cudaMemcpyHostToDevice), cudaSuccess},
      {"copy between allocations", copy(device, neighbour.get(), 100, cudaMemcpyDeviceToDevice), cudaSuccess},
      {"copy by pointers", copy(device, host, 100, cudaMemcpyDefault), cudaSuccess},
      {"copy on a destroyed stream", cudaMemcpyAsync(device, host, 1, cudaMemcpyHostToDevice, stale_stream),
       cudaErrorInvalidResourceHandle},
      {"set past the end", cudaMemset(device, 0, 101), cudaErrorInvalidValue},
      {"set of null", cudaMemset(nullptr, 0, 1), cudaErrorInvalidValue},
      {"set of nothing", cudaMemset(nullptr, 0, 0), cudaSuccess},
      {"allocation to nowhere", cudaMalloc(nullptr, 1), cudaErrorInvalidValue},
      {"stream to nowhere", cudaStreamCreate(nullptr), cudaErrorInvalidValue},
      {"event to nowhere", cudaEventCreate(nullptr), cudaErrorInvalidValue},
      {"wait for a destroyed stream", cudaStreamSynchronize(stale_stream), cudaErrorInvalidResourceHandle},
      {"wait for almost a stream", cudaStreamSynchronize(changed_stream(1)), cudaErrorInvalidResourceHandle},
      {"wait for a stream and high bits", cudaStreamSynchronize(changed_stream(std::uintptr_t{1} << 36)),
       cudaErrorInvalidResourceHandle},
      {"destruction of the default stream", cudaStreamDestroy(nullptr), cudaErrorInvalidResourceHandle},
      {"wait for a destroyed event", cudaEventSynchronize(stale_event), cudaErrorInvalidResourceHandle},
      {"record of no event", cudaEventRecord(nullptr, stream), cudaErrorInvalidResourceHandle},
      {"record on a destroyed stream", cudaEventRecord(event, stale_stream), cudaErrorInvalidResourceHandle},
      {"time to nowhere", cudaEventElapsedTime(nullptr, event, event), cudaErrorInvalidValue},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.status, each.expected) << each.name;
  }
  EXPECT_EQ(cudaStreamSynchronize(stream), cudaSuccess);
}

TEST(EmulatedCuda, AllocationsEndWhereTheDevicesMemoryDoes) {
  const emulated_board::LiveObjects before = emulated_board::live_objects();
  void* memory = &memory;
  EXPECT_EQ(cudaMalloc(&memory, 0), cudaSuccess);
  EXPECT_EQ(memory, nullptr);
  constexpr std::size_t kMoreThanThereIs = (std::size_t{2} << 30) + 1;
  for (const std::size_t size : {kMoreThanThereIs, std::numeric_limits<std::size_t>::max()}) {
    EXPECT_EQ(cudaMalloc(&memory, size), cudaErrorMemoryAllocation);
  }
  EXPECT_EQ(emulated_board::live_objects(), before);
  // One at a time, more than there are places in the address space. A pointer to what was freed just before
  // stays invalid.
  for (int round = 0; round < 70'000; ++round) {
    void* const freed = memory;
    ASSERT_EQ(cudaMalloc(&memory, 1), cudaSuccess);
    ASSERT_NE(memory, freed);
    ASSERT_EQ(cudaFree(memory), cudaSuccess);
  }
  EXPECT_EQ(emulated_board::live_objects(), before);
}

}  // namespace
