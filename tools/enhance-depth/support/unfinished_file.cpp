#include "support/unfinished_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

// The files that the signal handler removes. A free slot is null; a process has one or two such files.
std::array<std::atomic<const char*>, 64> unfinished_paths{};
std::atomic<bool> process_ends{false};
static_assert(std::atomic<const char*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "a signal handler may only touch lock-free atomics");

std::atomic<const char*>& free_slot() {
  static constexpr const char* kTaken = "";
  for (std::atomic<const char*>& slot : unfinished_paths) {
    const char* free = nullptr;
    if (slot.compare_exchange_strong(free, kTaken)) {
      return slot;
    }
  }
  throw std::logic_error("too many unfinished files");
}

extern "C" void remove_files_and_end(int signal) {
  process_ends = true;
  for (const std::atomic<const char*>& slot : unfinished_paths) {
    if (const char* path = slot) {
      unlink(path);
    }
  }
  std::signal(signal, SIG_DFL);
  std::raise(signal);  // takes effect when this handler returns
}

std::string unused_name() {
  static std::random_device random;
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), ".enhance-depth-%08x", random());
  return name.data();
}

}  // namespace

UnfinishedFile::UnfinishedFile(const fs::path& target, std::string_view extension, const Create& create)
    : target_(target), path_(std::make_unique<std::string>()), slot_(&free_slot()) {
  do {
    // Registered before the file exists, so that no signal can come in between.
    set_path(target_.parent_path() / (unused_name() + std::string(extension)));
    exists_ = create(path());
  } while (!exists_ && errno == EEXIST);
  if (!exists_) {
    const int reason = errno;
    slot_->store(nullptr);
    throw WriteError(target_.string(), reason);
  }
}

UnfinishedFile::~UnfinishedFile() {
  if (exists_) {
    unlink(path().c_str());
  }
  slot_->store(nullptr);
  if (process_ends) {
    (void)path_.release();  // the handler may be reading it
  }
}

void UnfinishedFile::set_path(std::string path) {
  *path_ = std::move(path);
  slot_->store(path_->c_str());
}

void UnfinishedFile::publish() {
  if (std::rename(path().c_str(), target_.c_str()) != 0) {
    throw WriteError(target_.string(), errno);
  }
  exists_ = false;
}

void remove_unfinished_files_on_signals() {
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU}) {
    if (std::signal(signal, remove_files_and_end) == SIG_IGN) {
      std::signal(signal, SIG_IGN);
    }
  }
  std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace enhance_depth_tool
