// Control of the emulated board: make its functions fail, and see how a program has used it. Unless the
// program calls something from here, the board just works.
//
// Functions have the names that their callers use: "cudaMalloc", "createInferRuntime",
// "IRuntime::deserializeCudaEngine", "ICudaEngine::getNbIOTensors", "IExecutionContext::enqueueV3",
// "ob_log_external_message" and so on; all_functions() lists them. All functions here may be called from any
// thread.
#ifndef EMULATED_BOARD_CONTROL_H
#define EMULATED_BOARD_CONTROL_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace emulated_board {

// Stands for the usual error of a function.
inline constexpr int kDefaultStatus = -1;

// Fails the `nth` call (from 1, counted from now on, over all threads) of `function`, once. `status` is the
// cudaError that a CUDA function then returns. The others have only one way to fail: a null object or text,
// false, a shape with nbDims -1, a count of 0, TensorIOMode::kNONE, an invalid DataType (-1);
// createInferRuntime, an address in the first page. Like real failures, those of TensorRT are reported to the
// logger.
//
// A function that releases or waits still does so and then returns the failure, as CUDA returns asynchronous
// errors of earlier work. A function that creates an object stores an invalid value in its place. Any other
// function does nothing.
//
// Throws std::invalid_argument for a name that is not in all_functions(), for an `nth` below 1, for status 0,
// which is not a failure, and for any status if the function does not return a cudaError.
void fail_call(std::string_view function, int nth, int status = kDefaultStatus);

// The same for the `nth` call and all later ones.
void fail_calls_from(std::string_view function, int nth, int status = kDefaultStatus);

// Removes the CUDA driver, or installs it again. Without it, as on a machine without a GPU, every CUDA
// function except cudaGetErrorString does nothing and returns cudaErrorInsufficientDriver (35), and TensorRT
// creates and runs nothing. Call it before anything is created: without a driver nothing can be released
// either.
void install_driver(bool there_is_one);

// Installs the driver and clears all planned failures, recorded calls and call counts; recording and
// capturing stay on or off. Live objects stay. The numbers of streams and of events restart at 1 if none of
// them is alive and nothing is queued.
void reset();

// How many planned failures have happened since reset().
int failures_produced();

// Calls of `function` since reset(). Throws std::invalid_argument for a name that is not in all_functions().
int calls(std::string_view function);

// The names of all functions of the board.
std::vector<std::string> all_functions();

// One call, in the order of arrival. `arguments` is a readable summary, e.g. "host to device, 921600 bytes,
// stream 1" or "rgb (1, 3, 480, 640)"; streams are numbered from 1 in the order of creation, 0 is the default
// stream.
struct Call {
  std::string function;
  std::string arguments;
};

// Turns recording of calls on or off (initially off), and returns the calls recorded since reset().
void record_calls(bool on);
std::vector<Call> recorded_calls();

// What is alive on the board now.
struct LiveObjects {
  int streams = 0;
  int events = 0;
  int allocations = 0;
  std::size_t allocated_bytes = 0;
  int runtimes = 0;
  int engines = 0;
  int contexts = 0;
  int camera_errors = 0;  // error objects of the camera SDK that the program has not released
  bool operator==(const LiveObjects& other) const;
};
LiveObjects live_objects();

// Bytes of free device memory. TensorRT uses some, too: an engine 1 MiB plus the size of its file, an
// execution context 8 MiB.
std::size_t free_device_memory();

// Calls since reset() of cudaFree, cudaStreamDestroy, cudaEventDestroy and ob_delete_error with a value that
// has already been released or was never theirs. Null is valid for cudaFree and ob_delete_error, and invalid
// for the other two. Programs rarely check the status of a release; a test can require 0 here at its end.
int invalid_releases();

// One line of the camera SDK's log.
struct LogLine {
  int severity = 0;
  std::string module;
  std::string message;
  std::string file;
  std::string function;
  int line = 0;
};

// While on, the camera SDK's log lines are kept for captured_log() instead of going to standard error.
// Turning it on and reset() discard the lines kept so far.
void capture_log(bool on);
std::vector<LogLine> captured_log();

// Makes TensorRT send `message` to the logger of the most recently created runtime (severity as in
// nvinfer1::ILogger::Severity). Does nothing when no runtime is alive.
void send_tensorrt_message(int severity, const char* message);

// True while the calling thread runs code of the board, so that a test that counts a program's memory
// allocations or makes them fail can leave out the board's own.
bool inside() noexcept;

}  // namespace emulated_board

// What runs the network of the last engine loaded, such as "OpenVINO 2026.4.1, all cores"; empty before the
// first. The text stays valid. A C name, so that a program that does not link the board can look it up with
// dlsym() and tell the emulated board from a real one.
extern "C" const char* emulated_board_network_runner();

#endif  // EMULATED_BOARD_CONTROL_H
