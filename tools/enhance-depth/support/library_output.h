// Sends the output of libraries to standard error, in whole lines, with control characters escaped and
// without what the tool reports itself. Standard output is for results.
#ifndef ENHANCE_DEPTH_TOOL_LIBRARY_OUTPUT_H
#define ENHANCE_DEPTH_TOOL_LIBRARY_OUTPUT_H

#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace enhance_depth_tool {

// While it exists, std::cout and std::cerr keep their destinations, and whatever else the process prints goes
// through a filter to standard error. The filter is a separate process, so that the last lines are not lost
// when this one crashes. Only one may exist at a time, created before any thread.
class LibraryOutput {
 public:
  // `quiet`: the camera SDK's information is dropped.
  explicit LibraryOutput(bool quiet);
  LibraryOutput(const LibraryOutput&) = delete;
  LibraryOutput& operator=(const LibraryOutput&) = delete;
  ~LibraryOutput();

 private:
  int output_ = -1;  // the standard streams as they were
  int error_ = -1;
  pid_t filter_ = -1;
  std::unique_ptr<std::streambuf> output_buffer_;
  std::unique_ptr<std::streambuf> error_buffer_;
};

// The line to pass on, or none to drop it: the library's log line of a failure, which the tool reports from
// the record, and with `quiet` the camera SDK's information messages.
std::optional<std::string> filtered_line(std::string_view line, bool quiet);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_LIBRARY_OUTPUT_H
