// A handle on an engine that computes nothing, ready for one size, with a frame to process.
#ifndef ENHANCE_DEPTH_BENCH_FRAME_SESSION_H
#define ENHANCE_DEPTH_BENCH_FRAME_SESSION_H

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "engine/trt_engine_wrapper.h"
#include "enhance_depth.h"
#include "test_images.h"

namespace enhance_depth_bench {

// Deletes a handle through the library.
struct DestroyHandle {
  void operator()(enhance_depth_engine* handle) const { enhance_depth_destroy(handle); }
};
using Handle = std::unique_ptr<enhance_depth_engine, DestroyHandle>;

// These throw std::runtime_error with the library's message.
Handle create_handle();
void reset_handle(const Handle& handle, ImageSize size);

class FrameSession {
 public:
  enum class FirstFrame { kProcessed, kLater };

  // Throws std::runtime_error when the library or the board refuses something.
  explicit FrameSession(ImageSize size, FirstFrame first_frame = FirstFrame::kProcessed);

  // One frame through the library. False when it fails.
  bool process();

  // Only the moves of bytes that a frame cannot do without, on the same buffers in the same order:
  // converting, staging, copying to the device and back, converting. False if a copy fails.
  bool process_floor();

  // The parts of a floor frame.
  void convert_depth();
  void stage_inputs();
  bool upload();
  bool download();
  void convert_prediction();

  // Changes a pixel of the input and of each result, so that leftovers of an earlier frame cannot pass for
  // results of the next one.
  void vary();

  // Compares the last frame's results on the host and on the device with the expected ones. Returns the first
  // fault, or an empty text.
  std::string check();

  // The bytes that a frame reads and writes for each pixel: two conversions, staging of colour and depth, and
  // four copies between host and device.
  static constexpr std::size_t kMovedBytesPerPixel = 6 + 2 * (3 + 4) + 2 * (3 + 4) + 2 * (4 + 4) + 6;

  // The memory that a frame uses: the images, the converted depth, staging, the device's buffers, and the
  // refined depth.
  static constexpr std::size_t kFootprintPerPixel = (3 + 2) + 4 + (3 + 4 + 4 + 4) + (3 + 4 + 4 + 4) + 2;

 private:
  ImageSize size_;
  Handle handle_;
  // The buffers of the handle's engine.
  struct Buffers {
    explicit Buffers(enhance_depth::TrtEngineWrapper& engine);
    cudaStream_t& stream;
    void*& d_rgb;
    void*& d_depth;
    void*& d_pred;
    void*& d_conf;
    std::vector<float>& depth_f32;
    std::vector<std::uint16_t>& pred_u16;
    std::vector<std::uint8_t>& h_rgb;
    std::vector<float>& h_depth;
    std::vector<float>& h_pred;
    std::vector<float>& h_conf;
  };
  Buffers engine_;
  std::vector<std::uint8_t> rgb_;
  std::vector<std::uint16_t> depth_;
  std::vector<float> prediction_;
  std::vector<float> confidence_;
};

// Sessions of one size that take turns.
class SessionRing {
 public:
  // Fewer than `sessions` where the device has not the memory for them.
  explicit SessionRing(std::size_t sessions, ImageSize size);

  // The rings of that size, created on first use: everything that is measured at one size shares its buffers.
  // The warm ring is one session. The cold ring has so many that none finds its buffers in the caches when
  // its turn comes, as on a board, where the host's and the network's own work passes through the caches
  // between two frames.
  static SessionRing& warm(ImageSize size);
  static SessionRing& cold(ImageSize size);

  FrameSession& next();

 private:
  std::deque<FrameSession> sessions_;
  std::size_t turn_ = 0;
};

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_FRAME_SESSION_H
