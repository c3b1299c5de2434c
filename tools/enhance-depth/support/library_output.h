// What libraries print belongs on standard error, whole lines of it, fit to be shown, and without what the
// tool says itself. Standard output is for results.
#ifndef ENHANCE_DEPTH_TOOL_LIBRARY_OUTPUT_H
#define ENHANCE_DEPTH_TOOL_LIBRARY_OUTPUT_H

#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace enhance_depth_tool {

// While it lives, std::cout and std::cerr write to where they did before, and whatever else the process
// prints goes through a filter to standard error. The filter is a process of its own: what is printed last is
// not lost when this one crashes. One at a time, made before there are threads.
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

// The line as it is passed on; none when it is dropped: the library's own report of a failure, which comes
// back as a record, too, and with `quiet` the camera SDK's information.
std::optional<std::string> filtered_line(std::string_view line, bool quiet);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_LIBRARY_OUTPUT_H
