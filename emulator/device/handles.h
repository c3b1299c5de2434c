// Stream and event handles are tagged numbers in the form of pointers, never dereferenced: a stale or invalid
// handle is recognised by its value.
#ifndef EMULATED_BOARD_DEVICE_HANDLES_H
#define EMULATED_BOARD_DEVICE_HANDLES_H

#include <cstdint>

#include <cuda_runtime_api.h>

namespace emulated_board {

inline constexpr int kDefaultStream = 0;
inline constexpr int kNoSuchNumber = -1;

namespace detail {

// Neither x86-64 nor AArch64 can map an address with these bits.
inline constexpr std::uintptr_t kStreamTag = 0x5354'5200'0000'0000;
inline constexpr std::uintptr_t kEventTag = 0x4556'4e00'0000'0000;
inline constexpr std::uintptr_t kTagMask = 0xffff'ff00'0000'0000;

template <typename Handle>
Handle tagged(std::uintptr_t tag, int number) {
  return reinterpret_cast<Handle>(tag | (static_cast<std::uintptr_t>(number) << 4));
}

template <typename Handle>
int untagged(std::uintptr_t tag, Handle handle) {
  const int number = static_cast<int>((reinterpret_cast<std::uintptr_t>(handle) & ~kTagMask) >> 4);
  return tagged<Handle>(tag, number) == handle ? number : kNoSuchNumber;
}

}  // namespace detail

inline cudaStream_t stream_handle(int number) {
  return detail::tagged<cudaStream_t>(detail::kStreamTag, number);
}
inline cudaEvent_t event_handle(int number) { return detail::tagged<cudaEvent_t>(detail::kEventTag, number); }

// kNoSuchNumber if the value is not a handle.
inline int stream_number(cudaStream_t stream) {
  return stream == nullptr ? kDefaultStream : detail::untagged(detail::kStreamTag, stream);
}
inline int event_number(cudaEvent_t event) { return detail::untagged(detail::kEventTag, event); }

}  // namespace emulated_board

#endif  // EMULATED_BOARD_DEVICE_HANDLES_H
