#include "core/network_runner.h"

#include <atomic>
#include <mutex>
#include <set>

#include "emulated_board/control.h"

namespace {

std::atomic<const char*> latest = "";

}  // namespace

void emulated_board::set_network_runner(const std::string& runner) {
  // Never freed, because a caller may hold the text; there are few different ones.
  static std::mutex& mutex = *new std::mutex;
  static std::set<std::string>& texts = *new std::set<std::string>;
  const std::lock_guard lock(mutex);
  latest = texts.insert(runner).first->c_str();
}

extern "C" const char* emulated_board_network_runner() { return latest; }
