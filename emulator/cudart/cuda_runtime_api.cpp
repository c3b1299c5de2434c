// The functions of the CUDA runtime (cudaGetErrorString is in error_strings.cpp).
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include <cuda_runtime_api.h>

#include "core/call.h"
#include "device/device.h"
#include "device/device_access.h"
#include "device/driver.h"
#include "device/handles.h"

namespace {

using emulated_board::device;
using emulated_board::Device;
using emulated_board::event_number;
using emulated_board::Function;
using emulated_board::stream_name;
using emulated_board::stream_number;

// What a function whose failure is planned does before it returns.
enum class WhenFailing {
  kNothing,
  kWorkFirst,  // releases and waits: these are never skipped
};

// Runs `body` as one call of the runtime. No exception escapes.
template <typename Describe, typename Body>
cudaError_t cuda_call(Function function, cudaError_t usual_error, WhenFailing when_failing,
                      const Describe& describe, const Body& body) noexcept {
  const emulated_board::InsideBoard inside_board;
  const cudaError_t driver = emulated_board::driver_status();
  // Checked before the call is recorded, because a thread of the parent may have held that lock during the
  // fork.
  if (driver == cudaErrorInitializationError) {
    return driver;
  }
  emulated_board::Injection injection;
  try {
    injection = emulated_board::arrive(function, describe);
  } catch (...) {
    injection = {true, cudaErrorMemoryAllocation};  // recording it ran out of memory
  }
  if (driver != cudaSuccess) {
    return driver;
  }
  const auto injected = static_cast<cudaError_t>(injection.status_or(usual_error));
  if (injection.fails && when_failing == WhenFailing::kNothing) {
    return injected;
  }
  try {
    Device& the_device = device();
    const std::lock_guard lock(the_device.mutex);
    const cudaError_t status = body(the_device);
    return injection.fails ? injected : status;
  } catch (const std::bad_alloc&) {
    return cudaErrorMemoryAllocation;
  } catch (...) {
    return cudaErrorUnknown;
  }
}

// The status of a release, which is counted if there was nothing to release.
cudaError_t released(bool was_there, cudaError_t otherwise) {
  if (was_there) {
    return cudaSuccess;
  }
  emulated_board::count_invalid_release();
  return otherwise;
}

// When CUDA fails to create an object, the output parameter is undefined; here it always gets an invalid
// value.
template <typename Handle>
cudaError_t created(cudaError_t status, Handle* place) {
  constexpr std::uintptr_t kAnything = 0x5A5A'5A5A'5A5A'5A50;
  if (status != cudaSuccess && place != nullptr) {
    *place = reinterpret_cast<Handle>(kAnything);
  }
  return status;
}

std::string event_name(cudaEvent_t event) {
  const int number = event_number(event);
  return number < 0 ? "no event" : "event " + std::to_string(number);
}

std::string bytes(std::size_t count) { return std::to_string(count) + " bytes"; }

// Where a pointer of a copy points: device memory or host memory.
struct Place {
  std::byte* contents = nullptr;  // null if fewer than `count` bytes follow
  bool on_device = false;
};

Place locate(const Device& the_device, const void* pointer, std::size_t count) {
  if (the_device.memory.reserved(pointer)) {
    const auto range = the_device.memory.find(pointer);
    return {count <= range.size ? range.contents : nullptr, true};
  }
  return {const_cast<std::byte*>(static_cast<const std::byte*>(pointer)), false};
}

bool kind_fits(int kind, bool from_device, bool to_device) {
  switch (kind) {
    case cudaMemcpyHostToHost:
      return !from_device && !to_device;
    case cudaMemcpyHostToDevice:
      return !from_device && to_device;
    case cudaMemcpyDeviceToHost:
      return from_device && !to_device;
    case cudaMemcpyDeviceToDevice:
      return from_device && to_device;
    default:
      return kind == cudaMemcpyDefault;
  }
}

std::string kind_name(int kind) {
  constexpr const char* kNames[] = {"host to host", "host to device", "device to host", "device to device",
                                    "default"};
  return kind >= 0 && kind <= cudaMemcpyDefault ? kNames[kind] : "no copy kind";
}

}  // namespace

extern "C" {

cudaError_t cudaStreamCreate(cudaStream_t* stream) {
  const cudaError_t status = cuda_call(
      Function::kCudaStreamCreate, cudaErrorMemoryAllocation, WhenFailing::kNothing,
      [] { return std::string(); },
      [&](Device& the_device) {
        if (stream == nullptr) {
          return cudaErrorInvalidValue;
        }
        *stream = emulated_board::stream_handle(the_device.queue.create_stream());
        return cudaSuccess;
      });
  return created(status, stream);
}

cudaError_t cudaStreamDestroy(cudaStream_t stream) {
  return cuda_call(
      Function::kCudaStreamDestroy, cudaErrorInvalidResourceHandle, WhenFailing::kWorkFirst,
      [&] { return stream_name(stream); },
      [&](Device& the_device) {
        return released(the_device.queue.destroy_stream(stream_number(stream)),
                        cudaErrorInvalidResourceHandle);
      });
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream) {
  return cuda_call(
      Function::kCudaStreamSynchronize, cudaErrorLaunchFailure, WhenFailing::kWorkFirst,
      [&] { return stream_name(stream); },
      [&](Device& the_device) {
        const int number = stream_number(stream);
        if (!the_device.queue.stream_exists(number)) {
          return cudaErrorInvalidResourceHandle;
        }
        return the_device.queue.synchronize_stream(number);
      });
}

cudaError_t cudaEventCreate(cudaEvent_t* event) {
  const cudaError_t status = cuda_call(
      Function::kCudaEventCreate, cudaErrorMemoryAllocation, WhenFailing::kNothing,
      [] { return std::string(); },
      [&](Device& the_device) {
        if (event == nullptr) {
          return cudaErrorInvalidValue;
        }
        *event = emulated_board::event_handle(the_device.queue.create_event());
        return cudaSuccess;
      });
  return created(status, event);
}

cudaError_t cudaEventDestroy(cudaEvent_t event) {
  return cuda_call(
      Function::kCudaEventDestroy, cudaErrorInvalidResourceHandle, WhenFailing::kWorkFirst,
      [&] { return event_name(event); },
      [&](Device& the_device) {
        return released(the_device.queue.destroy_event(event_number(event)), cudaErrorInvalidResourceHandle);
      });
}

cudaError_t cudaEventRecord(cudaEvent_t event, cudaStream_t stream) {
  return cuda_call(
      Function::kCudaEventRecord, cudaErrorInvalidResourceHandle, WhenFailing::kNothing,
      [&] { return event_name(event) + ", " + stream_name(stream); },
      [&](Device& the_device) {
        if (!the_device.queue.event_exists(event_number(event)) ||
            !the_device.queue.stream_exists(stream_number(stream))) {
          return cudaErrorInvalidResourceHandle;
        }
        the_device.queue.queue_event(stream_number(stream), event_number(event));
        return cudaSuccess;
      });
}

cudaError_t cudaEventSynchronize(cudaEvent_t event) {
  return cuda_call(
      Function::kCudaEventSynchronize, cudaErrorLaunchFailure, WhenFailing::kWorkFirst,
      [&] { return event_name(event); },
      [&](Device& the_device) {
        const int number = event_number(event);
        if (!the_device.queue.event_exists(number)) {
          return cudaErrorInvalidResourceHandle;
        }
        return the_device.queue.synchronize_event(number);
      });
}

cudaError_t cudaEventElapsedTime(float* ms, cudaEvent_t start, cudaEvent_t end) {
  return cuda_call(
      Function::kCudaEventElapsedTime, cudaErrorNotReady, WhenFailing::kNothing,
      [&] { return event_name(start) + " to " + event_name(end); },
      [&](Device& the_device) {
        if (ms == nullptr) {
          return cudaErrorInvalidValue;
        }
        return the_device.queue.elapsed_time(event_number(start), event_number(end), *ms);
      });
}

cudaError_t cudaMalloc(void** device_pointer, size_t size) {
  const cudaError_t status = cuda_call(
      Function::kCudaMalloc, cudaErrorMemoryAllocation, WhenFailing::kNothing, [&] { return bytes(size); },
      [&](Device& the_device) {
        if (device_pointer == nullptr) {
          return cudaErrorInvalidValue;
        }
        void* allocated = size == 0 ? nullptr : the_device.memory.allocate(size);
        if (size != 0 && allocated == nullptr) {
          return cudaErrorMemoryAllocation;
        }
        *device_pointer = allocated;
        return cudaSuccess;
      });
  return created(status, device_pointer);
}

cudaError_t cudaFree(void* device_pointer) {
  const auto describe = [&] {
    if (device_pointer == nullptr) {
      return std::string("null");
    }
    const std::size_t size = emulated_board::device_range(device_pointer).size;
    return size == 0 ? std::string("not device memory") : bytes(size);
  };
  return cuda_call(Function::kCudaFree, cudaErrorInvalidValue, WhenFailing::kWorkFirst, describe,
                   [&](Device& the_device) {
                     if (device_pointer == nullptr) {
                       return cudaSuccess;
                     }
                     if (!the_device.memory.is_allocation(device_pointer)) {
                       return released(false, cudaErrorInvalidValue);
                     }
                     // Waits for all streams, so that no queued work outlives its memory.
                     const cudaError_t earlier = the_device.queue.synchronize_device();
                     the_device.memory.release(device_pointer);
                     return earlier;
                   });
}

cudaError_t cudaMemset(void* device_pointer, int value, size_t count) {
  return cuda_call(
      Function::kCudaMemset, cudaErrorInvalidValue, WhenFailing::kNothing,
      [&] { return "value " + std::to_string(value) + ", " + bytes(count); },
      [&](Device& the_device) {
        if (count == 0) {
          return cudaSuccess;
        }
        const Place place = locate(the_device, device_pointer, count);
        if (!place.on_device || place.contents == nullptr) {
          return cudaErrorInvalidValue;
        }
        const cudaError_t earlier = the_device.queue.synchronize_device();
        if (earlier == cudaSuccess) {
          std::memset(place.contents, value, count);
        }
        return earlier;
      });
}

cudaError_t cudaMemcpyAsync(void* destination, const void* source, size_t count, enum cudaMemcpyKind kind,
                            cudaStream_t stream) {
  const int kind_number = kind;
  return cuda_call(
      Function::kCudaMemcpyAsync, cudaErrorInvalidValue, WhenFailing::kNothing,
      [&] { return kind_name(kind_number) + ", " + bytes(count) + ", " + stream_name(stream); },
      [&](Device& the_device) {
        const int number = stream_number(stream);
        if (!the_device.queue.stream_exists(number)) {
          return cudaErrorInvalidResourceHandle;
        }
        if (count == 0) {
          return cudaSuccess;
        }
        const Place to = locate(the_device, destination, count);
        const Place from = locate(the_device, source, count);
        if (to.contents == nullptr || from.contents == nullptr ||
            !kind_fits(kind_number, from.on_device, to.on_device)) {
          return cudaErrorInvalidValue;
        }
        if (from.on_device) {
          the_device.queue.queue_copy(number, to.contents, from.contents, count);
        } else {
          the_device.queue.queue_captured_copy(number, to.contents, from.contents, count);
        }
        return cudaSuccess;
      });
}

}  // extern "C"
