// The external log of the camera SDK.
#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include <libobsensor/ObSensor.h>
#include <sys/time.h>

#include "core/call.h"
#include "core/camera_log.h"
#include "core/live_objects.h"

struct ob_error_t {
  emulated_board::CountedObject counted{emulated_board::ObjectKind::kCameraError};
};

namespace {

using emulated_board::Function;
using emulated_board::InsideBoard;
using emulated_board::LogLine;

std::string text_of(const char* text) { return text == nullptr ? std::string() : text; }

const char* severity_name(int severity) {
  constexpr std::array kNames{"DEBUG", "INFO", "WARNING", "ERROR", "FATAL"};
  return severity >= 0 && severity < OB_LOG_SEVERITY_OFF ? kNames[static_cast<std::size_t>(severity)] : "OFF";
}

// "[11/21 07:50:00.123456]"
std::string time_stamp() {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::tm local{};
  localtime_r(&now.tv_sec, &local);
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "[%02d/%02d %02d:%02d:%02d.%06ld]", local.tm_mon + 1, local.tm_mday,
                local.tm_hour, local.tm_min, local.tm_sec, static_cast<long>(now.tv_usec));
  return text.data();
}

// Writes the line in one piece, so that lines of several threads do not mix.
void print(const LogLine& line) {
  const std::string text = time_stamp() + "[" + severity_name(line.severity) + "][" + line.module + "][" +
                           line.function + ":" + std::to_string(line.line) + "] " + line.message + "\n";
  std::fwrite(text.data(), 1, text.size(), stderr);
}

// The error objects that the program must release, by address. Lives until the library is unloaded.
struct HandedOut {
  std::mutex mutex;
  std::unordered_map<const ob_error*, std::unique_ptr<ob_error>> errors;
};

HandedOut& handed_out() {
  static HandedOut& the_errors = *new HandedOut;
  return the_errors;
}

[[gnu::destructor]] void remove_handed_out() { delete &handed_out(); }

void hand_out_error(ob_error** place) {
  if (place == nullptr) {
    return;
  }
  auto error = std::make_unique<ob_error>();
  ob_error* address = error.get();
  const std::lock_guard lock(handed_out().mutex);
  handed_out().errors.emplace(address, std::move(error));
  *place = address;
}

}  // namespace

void ob_log_external_message(ob_log_severity severity, const char* module, const char* message,
                             const char* file, const char* function, int line, ob_error** error) {
  const InsideBoard inside_board;
  try {
    if (emulated_board::arrive(Function::kLogExternalMessage, [&] { return text_of(message); }).fails) {
      hand_out_error(error);
      return;
    }
    if (severity >= OB_LOG_SEVERITY_OFF) {
      return;
    }
    const LogLine entry{severity, text_of(module), text_of(message), text_of(file), text_of(function), line};
    if (!emulated_board::capture_log_line(entry)) {
      print(entry);
    }
  } catch (...) {
    // Out of memory: the line is lost, and there is no way to report that.
  }
}

void ob_delete_error(ob_error* error) {
  const InsideBoard inside_board;
  try {
    emulated_board::arrive(Function::kDeleteError,
                           [&] { return std::string(error == nullptr ? "null" : "an error"); });
  } catch (...) {
    // The call is not recorded, but the object is still released.
  }
  if (error == nullptr) {
    return;
  }
  const std::lock_guard lock(handed_out().mutex);
  if (handed_out().errors.erase(error) == 0) {
    emulated_board::count_invalid_release();
  }
}
