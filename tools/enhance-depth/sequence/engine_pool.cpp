#include "sequence/engine_pool.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>

namespace enhance_depth_tool {
namespace {

// The emulated board reads this when it loads an engine; a real board ignores it.
constexpr const char* kThreadsOfANetwork = "EMULATED_BOARD_THREADS";

void share_cores(std::size_t count) {
  const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
  const std::size_t each = std::max<std::size_t>(1, cores / count);
  constexpr int kKeepWhatIsSet = 0;
  setenv(kThreadsOfANetwork, std::to_string(each).c_str(), kKeepWhatIsSet);
}

}  // namespace

EnginePool::EnginePool(const std::filesystem::path& path, std::size_t count) {
  if (count > 1) {
    share_cores(count);
  }
  for (std::size_t i = 0; i < count; ++i) {
    free_.push(&engines_.emplace_back(path));
  }
}

}  // namespace enhance_depth_tool
