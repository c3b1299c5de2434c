#include "nvinfer/onnx/network_library.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace emulated_board::nvinfer {

namespace {

namespace fs = std::filesystem;

constexpr char kLibrary[] = "libemulated_board_onnx.so";

fs::path own_folder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<const void*>(&load_onnx_network), &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  return fs::path(info.dli_fname).parent_path();
}

// What the loader says, in one line.
std::string loader_error() {
  const char* error = dlerror();
  return error == nullptr ? "unknown reason" : error;
}

LoadOnnxNetwork find_function() {
  const fs::path path = own_folder() / kLibrary;
  std::error_code ignored;
  if (!fs::exists(path, ignored)) {
    throw std::runtime_error(
        "this emulated board was built without OpenVINO, which runs ONNX models: run scripts/setup networks, "
        "configure with -DENHANCE_DEPTH_ONNX=on, and build again");
  }
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    throw std::runtime_error("OpenVINO, which runs ONNX models, cannot be loaded: " + loader_error() +
                             "; install it where it was when the emulated board was built");
  }
  void* function = dlsym(library, kLoadOnnxNetwork);
  if (function == nullptr) {
    throw std::runtime_error(path.string() + " is of another version: " + loader_error());
  }
  return reinterpret_cast<LoadOnnxNetwork>(function);
}

}  // namespace

std::unique_ptr<OnnxNetwork> load_onnx_network(std::string_view file, const enhance_depth_onnx::Model& model,
                                               const OnnxSettings& settings) {
  static const LoadOnnxNetwork load = find_function();  // after a failure the next call tries again
  return std::unique_ptr<OnnxNetwork>(load(file, model, settings));
}

}  // namespace emulated_board::nvinfer
