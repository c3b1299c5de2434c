#include "library/sweep/failure_table.h"

#include <map>
#include <set>
#include <vector>

namespace sweep {
namespace {

// The effect of one failed call.
struct Effect {
  int code = 0;  // 0: nothing
  std::string message;
  const char* args = "";  // of a reset: its stage; of a create: replaced by the engine path
};

// The effects of the calls of each function, in their order.
using Table = std::map<std::string, std::vector<Effect>>;

const Effect kHarmless;

Effect failure(int code, const std::string& message, const char* args = "") { return {code, message, args}; }
Effect missing(const char* tensor) {
  return failure(29, std::string("Required tensor not found in engine: ") + tensor);
}
Effect wrong_mode(const char* tensor) {
  return failure(30, std::string("Tensor mode mismatch for ") + tensor);
}
Effect wrong_type(const char* tensor) {
  const char* type = std::string(tensor) == "rgb" ? "UINT8" : "FLOAT";
  return failure(31,
                 std::string("Tensor dtype mismatch for ") + tensor + ". Expected " + type + ", got UNKNOWN");
}
Effect no_shape(const char* tensor) {
  return failure(32, std::string("Tensor shape is not fully specified for ") + tensor + ": ()", "allocate");
}
Effect no_memory(const char* buffer) {
  return failure(21, std::string("cudaMalloc(") + buffer + ") failed: out of memory", "allocate");
}
Effect not_bound(const char* tensor) {
  return failure(33, std::string("Failed to bind tensor address for ") + tensor + ".", "allocate");
}
Effect not_cleared(const char* buffer) {
  return failure(23, std::string("cudaMemset(") + buffer + ") failed: invalid argument", "warmup");
}
Effect not_copied(const char* buffer) {
  return failure(22, std::string("cudaMemcpyAsync(") + buffer + ") failed: invalid argument");
}

// The effects of a call that is made once for each tensor. Some failures call the fourth one by another name.
std::vector<Effect> each(const Engine& engine, Effect (*effect)(const char*),
                         const char* fourth = "confidence_output") {
  std::vector<Effect> effects{effect("rgb"), effect("dep"), effect("pred")};
  if (engine.confidence) {
    effects.push_back(effect(fourth));
  }
  return effects;
}

// Loading: from the file to the checked engine.
Table load(const Engine& engine) {
  // A confidence output that is not found is not bound, and TensorRT then does not run.
  const Effect overlooked = engine.confidence ? failure(25, "TensorRT warmup enqueueV3 failed.") : kHarmless;
  const Effect no_events = failure(20, "cudaEventCreate(timer) failed: out of memory");
  return {
      {"cudaEventCreate", {no_events, no_events}},
      {"createInferRuntime", {failure(12, "Failed to create TensorRT runtime.")}},
      {"IRuntime::deserializeCudaEngine", {failure(13, "Failed to deserialize TensorRT engine.")}},
      {"ICudaEngine::createExecutionContext", {failure(14, "Failed to create TensorRT execution context.")}},
      // The number of tensors is asked once for itself and once for each search by name.
      {"ICudaEngine::getNbIOTensors",
       {failure(32, "Expected 3 or 4 IO tensors in the engine."), missing("rgb"), missing("dep"),
        missing("pred"), overlooked, missing("confidence_output")}},
      // A search ends at the name that it looks for; the names before it do not matter.
      {"ICudaEngine::getIOTensorName",
       {missing("rgb"), kHarmless, missing("dep"), kHarmless, kHarmless, missing("pred"), kHarmless,
        kHarmless, kHarmless, overlooked, kHarmless, kHarmless, kHarmless, missing("confidence_output")}},
      {"ICudaEngine::getTensorIOMode", each(engine, wrong_mode)},
      {"ICudaEngine::getTensorDataType", each(engine, wrong_type)},
      {"ICudaEngine::getTensorShape", each(engine, [](const char*) { return kHarmless; })},  // only logged
  };
}

// Configuring for a size, in create and in reset.
Table configure(const Engine& engine, const Step& step) {
  const std::string size = std::to_string(step.height) + ", " + std::to_string(step.width) + ")";
  const std::string profile = std::to_string(step.width > 640 ? 1 : 0);
  const Effect no_warmup = failure(25, "TensorRT warmup enqueueV3 failed.", "warmup");
  return {
      {"cudaStreamCreate", {failure(20, "cudaStreamCreate failed: out of memory", "allocate")}},
      {"ICudaEngine::getTensorShape", {failure(32, "Unexpected rgb tensor rank: ()", "allocate")}},
      {"ICudaEngine::getNbOptimizationProfiles",
       {failure(26,
                "No TensorRT optimization profile supports requested shapes. rgb=(1, 3, " + size +
                    ", depth=(1, 1, " + size + ". Rejected profiles: ",
                "allocate")}},
      {"IExecutionContext::setOptimizationProfileAsync",
       {failure(27, "Failed to set TensorRT optimization profile " + profile + ".", "allocate")}},
      {"IExecutionContext::setInputShape",
       {failure(28, "Failed to set rgb input shape to (1, 3, " + size, "allocate"),
        failure(28, "Failed to set depth input shape to (1, 1, " + size, "allocate")}},
      {"IExecutionContext::getTensorShape", each(engine, no_shape)},
      {"cudaMalloc", each(engine, no_memory)},
      {"IExecutionContext::setTensorAddress", each(engine, not_bound, "conf")},
      {"cudaMemset", each(engine, not_cleared, "conf")},
      {"IExecutionContext::enqueueV3", {no_warmup, no_warmup}},
      {"cudaStreamSynchronize",
       {failure(24, "cudaStreamSynchronize(warmup) failed: unspecified launch failure", "warmup")}},
  };
}

Table process(const Engine& engine) {
  return {
      {"cudaMemcpyAsync", each(engine, not_copied, "conf")},
      // The text of a failed upload.
      {"cudaGetErrorString", {failure(22, "cudaMemcpyAsync(rgb) failed: unrecognized error code")}},
      {"cudaEventRecord",
       {failure(24, "cudaEventRecord(start) failed: invalid resource handle"),
        failure(24, "cudaEventRecord(stop) failed: invalid resource handle")}},
      {"IExecutionContext::enqueueV3", {failure(25, "TensorRT enqueueV3 failed.")}},
      {"cudaEventSynchronize",
       {failure(24, "cudaEventSynchronize(stop) failed: unspecified launch failure")}},
      {"cudaEventElapsedTime", {failure(24, "cudaEventElapsedTime failed: device not ready")}},
      {"cudaStreamSynchronize", {failure(24, "cudaStreamSynchronize failed: unspecified launch failure")}},
  };
}

// Releasing continues whatever the calls return, and failures of the log are ignored.
const std::set<std::string>& harmless() {
  static const std::set<std::string> kFunctions{"cudaStreamDestroy",
                                                "cudaEventDestroy",
                                                "cudaFree",
                                                "IRuntime::~IRuntime",
                                                "ICudaEngine::~ICudaEngine",
                                                "IExecutionContext::~IExecutionContext",
                                                "ob_log_external_message",
                                                "ob_delete_error"};
  return kFunctions;
}

void append(std::vector<Effect>& effects, const Table& table, const std::string& function) {
  const auto found = table.find(function);
  if (found != table.end()) {
    effects.insert(effects.end(), found->second.begin(), found->second.end());
  }
}

std::string shape(int channels, int height, int width) {
  return "(1, " + std::to_string(channels) + ", " + std::to_string(height) + ", " + std::to_string(width) +
         ")";
}

std::vector<Effect> effects(const Engine& engine, const std::string& function, const Step& step) {
  std::vector<Effect> effects;
  switch (step.action) {
    case Action::kCreate:
      append(effects, load(engine), function);
      append(effects, configure(engine, {Action::kReset, 640, 480}), function);
      break;
    case Action::kReset:
      append(effects, configure(engine, step), function);
      break;
    case Action::kProcess:
      append(effects, process(engine), function);
      break;
    case Action::kDestroy:
      break;
  }
  return effects;
}

// Profile selection for a size while calls of ICudaEngine::getProfileShape fail: the `first` one of the step,
// or all from that one on. Empty when a profile is found nevertheless, else the message.
std::string profile_message(const Step& step, int first, bool and_all_later) {
  const int width = step.action == Action::kCreate ? 640 : step.width;
  const int height = step.action == Action::kCreate ? 480 : step.height;
  const std::pair<int, int> kLargest[] = {{640, 480}, {1280, 960}};
  std::string rejected;
  int call = 0;
  const auto answer = [&](const std::string& text) {
    ++call;
    return call == first || (and_all_later && call > first) ? std::string("()") : text;
  };
  for (int profile = 0; profile < 2; ++profile) {
    const auto [most_width, most_height] = kLargest[profile];
    std::string reasons[2];
    bool fits = true;
    for (const int channels : {3, 1}) {
      std::string& reason = reasons[channels == 3 ? 0 : 1];
      const std::string min = answer(shape(channels, 16, 16));
      const std::string max = answer(shape(channels, most_height, most_width));
      const bool rank = min != "()" && max != "()";
      const bool range = width >= 16 && height >= 16 && width <= most_width && height <= most_height;
      if (!rank || !range) {
        fits = false;
        reason = std::string(rank ? "outside range." : "rank mismatch.") +
                 " actual=" + shape(channels, height, width) + ", min=" + min + ", max=" + max;
      } else {
        reason = "ok";
      }
    }
    if (fits) {
      return "";
    }
    rejected += "profile " + std::to_string(profile) + ": rgb " + reasons[0] + ", depth " + reasons[1] + "; ";
  }
  return "No TensorRT optimization profile supports requested shapes. rgb=" + shape(3, height, width) +
         ", depth=" + shape(1, height, width) + ". Rejected profiles: " + rejected;
}

}  // namespace

Expected expected_failure(const Engine& engine, const Step& step, const std::string& function, int calls,
                          int first, bool and_all_later, const Expected& otherwise) {
  const auto args = [&](const char* stage) { return step.action == Action::kCreate ? engine.path : stage; };
  if (harmless().count(function) != 0) {
    return otherwise;
  }
  if (function == "ICudaEngine::getProfileShape") {
    const std::string message = profile_message(step, first, and_all_later);
    return message.empty() ? succeeds() : fails(26, message, step, args("allocate"));
  }
  const std::vector<Effect> of_calls = effects(engine, function, step);
  for (int call = first; call <= (and_all_later ? calls : first); ++call) {
    if (static_cast<std::size_t>(call) > of_calls.size()) {
      ADD_FAILURE() << "the table has no entry for call " << call << " of " << function << " in "
                    << function_of(step);
      break;
    }
    const Effect& effect = of_calls[static_cast<std::size_t>(call) - 1];
    if (effect.code != 0) {
      return fails(effect.code, effect.message, step, args(effect.args));
    }
  }
  return otherwise;
}

bool is_known(const std::string& function) {
  const Engine engine{"", true};
  return harmless().count(function) != 0 || function == "ICudaEngine::getProfileShape" ||
         load(engine).count(function) != 0 ||
         configure(engine, {Action::kReset, 1, 1}).count(function) != 0 ||
         process(engine).count(function) != 0;
}

}  // namespace sweep
