// Prints the types of the exported functions, one a line.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <typeinfo>

#include <cxxabi.h>

#include "enhance_depth.h"

namespace {

template <typename Function>
void describe(const char* name, Function*) {
  const std::unique_ptr<char, void (*)(void*)> type(
      abi::__cxa_demangle(typeid(Function).name(), nullptr, nullptr, nullptr), std::free);
  std::printf("function %s: %s\n", name, type.get());
}

// A member that is added or taken away does not compile here, even one that fits into padding.
[[maybe_unused]] void count_members(const enhance_error& error, const enhance_depth_input& input,
                                    const enhance_depth_output& output) {
  [[maybe_unused]] const auto& [e1, e2, e3, e4, e5, e6, e7] = error;
  [[maybe_unused]] const auto& [i1, i2, i3, i4, i5, i6] = input;
  [[maybe_unused]] const auto& [o1, o2, o3, o4] = output;
}

}  // namespace

int main() {
  describe("enhance_create_error", enhance_create_error);
  describe("enhance_delete_error", enhance_delete_error);
  describe("enhance_depth_create", enhance_depth_create);
  describe("enhance_depth_destroy", enhance_depth_destroy);
  describe("enhance_depth_get_confidence_threshold", enhance_depth_get_confidence_threshold);
  describe("enhance_depth_get_last_error", enhance_depth_get_last_error);
  describe("enhance_depth_get_version", enhance_depth_get_version);
  describe("enhance_depth_process", enhance_depth_process);
  describe("enhance_depth_reset", enhance_depth_reset);
  describe("enhance_depth_set_confidence_threshold", enhance_depth_set_confidence_threshold);
  describe("enhance_depth_set_optimization_level", enhance_depth_set_optimization_level);
  describe("enhance_GetLastInferenceTime", enhance_GetLastInferenceTime);
  return 0;
}
