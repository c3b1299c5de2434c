#include "frame_session.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>

#include <benchmark/benchmark.h>
#include <cuda_runtime_api.h>

#include "api/boundary.h"
#include "convert/depth_conversion.h"
#include "emulated_board/control.h"
#include "scalar_conversion.h"
#include "support/open_engine.h"

namespace enhance_depth_bench {

using enhance_depth::OpenEngine;

namespace {

// Twice the size of the largest cache, and far more on boards, whose caches are small.
std::size_t cold_footprint() {
  std::size_t bytes = std::size_t{64} << 20;
  for (const auto& cache : benchmark::CPUInfo::Get().caches) {
    bytes = std::max(bytes, 2 * static_cast<std::size_t>(cache.size));
  }
  return bytes;
}

template <typename T>
std::size_t bytes(const std::vector<T>& buffer) {
  return buffer.size() * sizeof(T);
}

template <typename T>
bool copy_to_device(void* to, const std::vector<T>& from, cudaStream_t stream) {
  return cudaMemcpyAsync(to, from.data(), bytes(from), cudaMemcpyHostToDevice, stream) == cudaSuccess;
}

template <typename T>
bool copy_to_host(std::vector<T>& to, const void* from, cudaStream_t stream) {
  return cudaMemcpyAsync(to.data(), from, bytes(to), cudaMemcpyDeviceToHost, stream) == cudaSuccess;
}

void require(bool succeeded, const char* what) {
  if (!succeeded) {
    throw std::runtime_error(std::string(what) + " failed");
  }
}

// Compares bytes, because NaN differs from itself.
template <typename T>
bool same(const T* left, const std::vector<T>& right) {
  return std::memcmp(left, right.data(), bytes(right)) == 0;
}

}  // namespace

Handle create_handle() {
  Handle handle(enhance_depth_create(ENHANCE_DEPTH_BENCH_ENGINE, nullptr));
  if (handle == nullptr) {
    throw std::runtime_error(enhance_depth_get_last_error(nullptr));
  }
  return handle;
}

void reset_handle(const Handle& handle, ImageSize size) {
  if (enhance_depth_reset(handle.get(), size.width, size.height, nullptr) == 0) {
    throw std::runtime_error(enhance_depth_get_last_error(handle.get()));
  }
}

FrameSession::Buffers::Buffers(enhance_depth::TrtEngineWrapper& engine)
    : stream(engine.*&OpenEngine::stream),
      d_rgb(engine.*&OpenEngine::d_rgb),
      d_depth(engine.*&OpenEngine::d_depth),
      d_pred(engine.*&OpenEngine::d_pred),
      d_conf(engine.*&OpenEngine::d_conf),
      depth_f32(engine.*&OpenEngine::depth_f32),
      pred_u16(engine.*&OpenEngine::pred_u16),
      h_rgb(engine.*&OpenEngine::h_rgb),
      h_depth(engine.*&OpenEngine::h_depth),
      h_pred(engine.*&OpenEngine::h_pred),
      h_conf(engine.*&OpenEngine::h_conf) {}

FrameSession::FrameSession(ImageSize size, FirstFrame first_frame)
    : size_(size),
      handle_(create_handle()),
      engine_(*enhance_depth::from_handle(handle_.get())),
      rgb_(make_color(size.pixels() * 3)),
      depth_(make_depth(size.pixels(), Values::kRandom)),
      prediction_(make_prediction(size.pixels(), Values::kRandom)),
      confidence_(make_prediction(size.pixels(), Values::kExtreme)) {
  reset_handle(handle_, size);
  if (first_frame == FirstFrame::kLater) {
    return;
  }
  require(process(), "enhance_depth_process");
  // The network writes nothing, so the contents of the device's buffers stay.
  require(copy_to_device(engine_.d_pred, prediction_, engine_.stream) &&
              copy_to_device(engine_.d_conf, confidence_, engine_.stream) &&
              cudaStreamSynchronize(engine_.stream) == cudaSuccess,
          "writing the outputs on the device");
}

bool FrameSession::process() {
  const auto pixels = static_cast<std::int32_t>(size_.pixels());
  const enhance_depth_input input{rgb_.data(), pixels * 3,   depth_.data(),
                                  pixels * 2,  size_.height, size_.width};
  enhance_depth_output output{};
  return enhance_depth_process(handle_.get(), &input, &output, nullptr) == 1;
}

bool FrameSession::process_floor() {
  convert_depth();
  stage_inputs();
  if (!upload() || !download()) {
    return false;
  }
  convert_prediction();
  return true;
}

void FrameSession::convert_depth() {
  enhance_depth::convert_depth_u16_to_f32_neon(depth_.data(), engine_.depth_f32.data(), depth_.size());
}

void FrameSession::stage_inputs() {
  std::memcpy(engine_.h_rgb.data(), rgb_.data(), bytes(engine_.h_rgb));
  std::memcpy(engine_.h_depth.data(), engine_.depth_f32.data(), bytes(engine_.h_depth));
}

// Waits at its end, as a frame waits for the network.
bool FrameSession::upload() {
  return copy_to_device(engine_.d_rgb, engine_.h_rgb, engine_.stream) &&
         copy_to_device(engine_.d_depth, engine_.h_depth, engine_.stream) &&
         cudaStreamSynchronize(engine_.stream) == cudaSuccess;
}

bool FrameSession::download() {
  return copy_to_host(engine_.h_pred, engine_.d_pred, engine_.stream) &&
         copy_to_host(engine_.h_conf, engine_.d_conf, engine_.stream) &&
         cudaStreamSynchronize(engine_.stream) == cudaSuccess;
}

void FrameSession::convert_prediction() {
  enhance_depth::convert_pred_f32_to_u16_neon(engine_.h_pred.data(), engine_.pred_u16.data(),
                                              engine_.h_pred.size());
}

void FrameSession::vary() {
  rgb_.front() ^= 1U;
  depth_.front() ^= 1U;
  engine_.pred_u16.front() ^= 1U;
  engine_.h_conf.front() = -1.0F;
}

std::string FrameSession::check() {
  std::vector<std::uint16_t> refined(prediction_.size());
  scalar_prediction_to_depth(prediction_.data(), refined.data(), refined.size());
  std::vector<float> depth(depth_.size());
  scalar_depth_to_float(depth_.data(), depth.data(), depth.size());
  std::vector<std::uint8_t> device_rgb(rgb_.size());
  std::vector<float> device_depth(depth.size());
  require(copy_to_host(device_rgb, engine_.d_rgb, engine_.stream) &&
              copy_to_host(device_depth, engine_.d_depth, engine_.stream) &&
              cudaStreamSynchronize(engine_.stream) == cudaSuccess,
          "reading the inputs from the device");
  if (!same(device_rgb.data(), rgb_)) {
    return "the colour image did not reach the device";
  }
  if (!same(device_depth.data(), depth)) {
    return "the depth image did not reach the device";
  }
  if (!same(engine_.pred_u16.data(), refined)) {
    return "wrong refined depth";
  }
  if (!same(engine_.h_conf.data(), confidence_)) {
    return "wrong confidence";
  }
  return {};
}

SessionRing::SessionRing(std::size_t sessions, ImageSize size) {
  // A ring takes a third of what is left at most: for the largest cache of a server, which many share, the
  // device has not the room.
  const std::size_t least_free = emulated_board::free_device_memory() / 3 * 2;
  do {
    sessions_.emplace_back(size);
  } while (sessions_.size() < sessions && emulated_board::free_device_memory() > least_free);
}

SessionRing& SessionRing::warm(ImageSize size) {
  static std::map<std::size_t, SessionRing> rings;
  return rings.try_emplace(size.pixels(), 1, size).first->second;
}

SessionRing& SessionRing::cold(ImageSize size) {
  static std::map<std::size_t, SessionRing> rings;
  const std::size_t bytes_per_session = size.pixels() * FrameSession::kFootprintPerPixel;
  return rings.try_emplace(size.pixels(), cold_footprint() / bytes_per_session + 1, size).first->second;
}

FrameSession& SessionRing::next() {
  turn_ = (turn_ + 1) % sessions_.size();
  return sessions_[turn_];
}

}  // namespace enhance_depth_bench
