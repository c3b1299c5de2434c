/**
 * @file enhance_depth.hpp
 * C++17 wrapper of enhance_depth.h: an owning engine, exceptions for failures, and views of borrowed images.
 *
 *     enhance_depth::Engine engine("model.engine");
 *     engine.reset(1280, 720);
 *     const enhance_depth::RefinedFrame refined = engine.process({1280, 720, rgb, depth});
 *     show(refined.depth);                       // borrowed: valid until the next process() or reset()
 *     keep(refined.depth.copy());                // an independent std::vector
 *
 * Units, threads and versions are as in enhance_depth.h. This header is self-contained: it needs only that
 * header and the standard library.
 */
#ifndef ENHANCE_DEPTH_HPP
#define ENHANCE_DEPTH_HPP

#if __cplusplus < 201703L
#error "enhance_depth.hpp needs C++17"
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "enhance_depth.h"

/// The C++ interface of the library.
namespace enhance_depth {

/// A failed call. Holds a copy of the C error record by value, so that copying the exception cannot fail.
class Error : public std::exception {
 public:
  /// Copies the record; the caller keeps it.
  explicit Error(const enhance_error& record) noexcept : record_(record) {}

  /// The library's message: what went wrong.
  const char* what() const noexcept override { return record_.message; }
  /// The code of the failure.
  EnhanceDepthErrorCode code() const noexcept {
    return static_cast<EnhanceDepthErrorCode>(record_.error_code);
  }
  /// The C function that reported it, e.g. "enhance_depth_process".
  const char* function() const noexcept { return record_.function; }
  /// The offending arguments, the failed stage or the engine path; see enhance_error::args.
  const char* args() const noexcept { return record_.args; }
  /// Where in the library it was reported; see enhance_error::line.
  std::int32_t line() const noexcept { return record_.line; }
  /// The class of the failure; see enhance_error::exception_type.
  std::int32_t exception_type() const noexcept { return record_.exception_type; }
  /// The whole record.
  const enhance_error& record() const noexcept { return record_; }

 private:
  enhance_error record_;
};

/// Pixels that are owned elsewhere, contiguous in memory. A view: it copies nothing, and the owner must
/// outlive it.
/// @tparam T the type of a pixel's value, without const
template <typename T>
class Pixels {
 public:
  /// Refers to `size` values from `data` on.
  constexpr Pixels(const T* data, std::size_t size) noexcept : data_(data), size_(size) {}
  /// Refers to the contents of a container that has data() and size(), such as a std::vector.
  template <typename Container,
            typename = decltype(static_cast<const T*>(std::declval<const Container&>().data()))>
  constexpr Pixels(const Container& container) noexcept : data_(container.data()), size_(container.size()) {}
  /// Refuses a temporary that owns its contents, as they would be destroyed before they are read. A temporary
  /// view is fine: unlike an owner it gives the same access to its contents whether or not it is const
  /// itself.
  template <typename Container,
            typename = std::enable_if_t<!std::is_same_v<decltype(std::declval<Container&>().data()),
                                                        decltype(std::declval<const Container&>().data())>>>
  Pixels(const Container&&) = delete;

  /// The first value.
  constexpr const T* data() const noexcept { return data_; }
  /// The number of values.
  constexpr std::size_t size() const noexcept { return size_; }
  /// The first value.
  constexpr const T* begin() const noexcept { return data_; }
  /// Past the last value.
  constexpr const T* end() const noexcept { return data_ + size_; }

 private:
  const T* data_;
  std::size_t size_;
};

/// One frame to refine. The images are read during the call only.
struct Frame {
  int width;                    ///< columns
  int height;                   ///< rows
  Pixels<std::uint8_t> rgb;     ///< width * height * 3 values, planar or interleaved as the engine was built
  Pixels<std::uint16_t> depth;  ///< width * height values, row by row, 0 where the camera saw nothing
};

/// An image that lives in an Engine: valid until that engine's next process() or reset(), or its destruction.
/// Moving the engine does not move the image. copy() what is needed for longer.
/// @tparam T the type of a pixel
template <typename T>
class BorrowedImage {
 public:
  /// Refers to `width` * `height` pixels from `data` on.
  BorrowedImage(const T* data, int width, int height) noexcept
      : data_(data), width_(width), height_(height) {}

  /// The first pixel of the first row; rows follow one another without a gap.
  const T* data() const noexcept { return data_; }
  /// Columns.
  int width() const noexcept { return width_; }
  /// Rows.
  int height() const noexcept { return height_; }
  /// The number of pixels.
  std::size_t size() const noexcept {
    return static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
  }
  /// The first pixel.
  const T* begin() const noexcept { return data_; }
  /// Past the last pixel.
  const T* end() const noexcept { return data_ + size(); }
  /// The first pixel of row `y`, 0 <= y < height().
  const T* row(int y) const noexcept {
    return data_ + static_cast<std::size_t>(y) * static_cast<std::size_t>(width_);
  }
  /// The pixel in column `x` of row `y`.
  T operator()(int x, int y) const noexcept { return row(y)[x]; }
  /// Copies the pixels into a vector.
  std::vector<T> copy() const { return std::vector<T>(begin(), end()); }

 private:
  const T* data_;
  int width_;
  int height_;
};

/// The result of process(); its images are borrowed from the engine.
struct RefinedFrame {
  BorrowedImage<std::uint16_t> depth;              ///< refined depth, in the unit of the input depth
  std::optional<BorrowedImage<float>> confidence;  ///< confidence map, if the engine has one
};

/// A loaded engine. Movable but not copyable. A moved-from engine has no handle: its last_inference_time() is
/// std::nullopt, and functions that can throw fail with ENHANCE_DEPTH_ERROR_NULL_HANDLE until another engine
/// is assigned to it. One thread at a time, for const functions too: they write the last error.
class Engine {
 public:
  /// Loads the engine file and configures it for 640 x 480; see enhance_depth_create(). Throws Error, also
  /// for a path that contains a NUL byte, which would otherwise name another file.
  explicit Engine(const std::string& engine_path) {
    if (engine_path.find('\0') != std::string::npos) {
      constexpr std::int32_t kArgumentClass = 2;  // see enhance_error::exception_type
      throw make_error(ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT, kArgumentClass,
                       "The engine path contains a NUL byte.", "enhance_depth_create", "engine_path");
    }
    RecordOwner error;
    handle_ = enhance_depth_create(engine_path.c_str(), error.address());
    if (handle_ == nullptr) {
      error.raise("enhance_depth_create", nullptr);
    }
  }
  ~Engine() {
    if (handle_ != nullptr) {
      enhance_depth_destroy(handle_);
    }
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  /// Takes over the engine. Images that were borrowed from `other` stay valid and now belong to this one.
  Engine(Engine&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  /// Takes over the engine and releases the one held so far.
  Engine& operator=(Engine&& other) noexcept {
    Engine(std::move(other)).swap(*this);
    return *this;
  }
  /// Exchanges two engines.
  void swap(Engine& other) noexcept { std::swap(handle_, other.handle_); }

  /// Configures another image size; see enhance_depth_reset(). Borrowed images become invalid. Throws Error;
  /// process() then fails until a reset succeeds.
  void reset(int width, int height) {
    RecordOwner error;
    if (enhance_depth_reset(handle_, width, height, error.address()) == 0) {
      error.raise("enhance_depth_reset", handle_);
    }
  }

  /// Refines one frame of the configured size and waits for the result; see enhance_depth_process(). An image
  /// whose number of values does not match the frame's size is refused. Images borrowed earlier become
  /// invalid. Throws Error; the engine stays usable.
  RefinedFrame process(const Frame& frame) & {
    const enhance_depth_input input = {frame.rgb.data(),       byte_size(frame.rgb), frame.depth.data(),
                                       byte_size(frame.depth), frame.height,         frame.width};
    enhance_depth_output output = {};
    RecordOwner error;
    if (enhance_depth_process(handle_, &input, &output, error.address()) == 0) {
      error.raise("enhance_depth_process", handle_);
    }
    RefinedFrame refined = {{output.pred, frame.width, frame.height}, std::nullopt};
    if (output.conf != nullptr) {
      refined.confidence.emplace(output.conf, frame.width, frame.height);
    }
    return refined;
  }
  /// Not on a temporary engine, whose images would be destroyed before they could be read.
  RefinedFrame process(const Frame& frame) && = delete;

  /// Stores a confidence threshold; see enhance_depth_set_confidence_threshold(). Throws Error.
  void set_confidence_threshold(float threshold) {
    RecordOwner error;
    if (enhance_depth_set_confidence_threshold(handle_, threshold, error.address()) == 0) {
      error.raise("enhance_depth_set_confidence_threshold", handle_);
    }
  }
  /// The stored confidence threshold. Throws Error.
  float confidence_threshold() const {
    float threshold = 0.0F;
    RecordOwner error;
    if (enhance_depth_get_confidence_threshold(handle_, &threshold, error.address()) == 0) {
      error.raise("enhance_depth_get_confidence_threshold", handle_);
    }
    return threshold;
  }

  /// Milliseconds that the network ran on the device in the last frame; std::nullopt before the first frame.
  std::optional<float> last_inference_time() const noexcept {
    const float milliseconds = enhance_GetLastInferenceTime(handle_);
    return milliseconds < 0.0F ? std::nullopt : std::optional<float>(milliseconds);
  }

  /// The C handle, for what this class does not offer. The engine keeps it: do not destroy it.
  enhance_depth_handle handle() const noexcept { return handle_; }

 private:
  // A failure for which the library made no record.
  static Error make_error(EnhanceDepthErrorCode code, std::int32_t exception_type, const char* message,
                          const char* function, const char* args) noexcept {
    enhance_error record = {};
    record.status = code;
    record.error_code = code;
    record.exception_type = exception_type;
    std::strncpy(record.message, message, ENHANCE_ERROR_TEXT_SIZE - 1);
    std::strncpy(record.function, function, ENHANCE_ERROR_TEXT_SIZE - 1);
    std::strncpy(record.args, args, ENHANCE_ERROR_TEXT_SIZE - 1);
    return Error(record);
  }

  // Receives the record of one C call and frees it, however the call ends.
  class RecordOwner {
   public:
    RecordOwner() = default;
    ~RecordOwner() { enhance_delete_error(record_); }
    RecordOwner(const RecordOwner&) = delete;
    RecordOwner& operator=(const RecordOwner&) = delete;
    enhance_error** address() noexcept { return &record_; }

    // Without a record, for which there was no memory, falls back to the text of the last error.
    [[noreturn]] void raise(const char* function, enhance_depth_handle handle) const {
      if (record_ != nullptr) {
        throw Error(*record_);
      }
      constexpr std::int32_t kExceptionClass = 6;  // see enhance_error::exception_type
      throw make_error(ENHANCE_DEPTH_ERROR_STD_EXCEPTION, kExceptionClass,
                       enhance_depth_get_last_error(handle), function, "");
    }

   private:
    enhance_error* record_ = nullptr;
  };

  // The size in bytes for the C record. No valid image is larger than 2 GiB; larger sizes are clamped, and
  // the library refuses them.
  template <typename T>
  static std::int32_t byte_size(const Pixels<T>& pixels) noexcept {
    constexpr auto kLargest = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    return static_cast<std::int32_t>(std::min(pixels.size(), kLargest / sizeof(T)) * sizeof(T));
  }

  enhance_depth_handle handle_ = nullptr;
};

/// The loaded library's version and build time; see enhance_depth_get_version().
inline const char* version() noexcept { return enhance_depth_get_version(); }

}  // namespace enhance_depth

#endif  // ENHANCE_DEPTH_HPP
