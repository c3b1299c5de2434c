// Owning what TensorRT's factories return.
#ifndef ENHANCE_DEPTH_ENGINE_TRT_OBJECT_H
#define ENHANCE_DEPTH_ENGINE_TRT_OBJECT_H

#include <cstdint>

namespace enhance_depth {

// Releases a TensorRT object through its virtual destructor.
template <typename T>
struct TrtDeleter {
  void operator()(T* object) const noexcept { delete object; }
};

// The result of a TensorRT factory, or null if that is not an object. A factory that fails inside TensorRT
// may convert its null pointer to a base class and thereby return the offset of that base, such as 0x200,
// instead of null. No object is ever in the first page of memory.
template <typename T>
T* object_or_null(T* result) noexcept {
  constexpr std::uintptr_t kFirstPage = 4096;
  return reinterpret_cast<std::uintptr_t>(result) < kFirstPage ? nullptr : result;
}

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_ENGINE_TRT_OBJECT_H
