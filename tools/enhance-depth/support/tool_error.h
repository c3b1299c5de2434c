// The tool's failures: a message for the user and an exit status.
#ifndef ENHANCE_DEPTH_TOOL_TOOL_ERROR_H
#define ENHANCE_DEPTH_TOOL_TOOL_ERROR_H

#include <stdexcept>
#include <string>

namespace enhance_depth_tool {

enum ExitStatus : int {
  kSuccess = 0,                      // everything that was asked for was done
  kFramesFailed = 1,                 // frames could not be refined or written, or the run was interrupted
  kModelDoesNotFit = kFramesFailed,  // what inspect found
  kUsage = 2,  // the command line, or a file or folder that it names, cannot be used; nothing was refined
  kEngineNotLoaded = 3,  // the library refused the engine
};

// what() is a complete message: the file, the reason and, if there is one, the remedy.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitStatus exit_status, const std::string& sentence)
      : std::runtime_error(sentence), exit_status_(exit_status) {}
  ExitStatus exit_status() const noexcept { return exit_status_; }

 private:
  ExitStatus exit_status_;
};

// Something named on the command line cannot be used.
class UsageError : public ToolError {
 public:
  explicit UsageError(const std::string& sentence) : ToolError(kUsage, sentence) {}
};

// A file cannot be written: "<path> cannot be written: <the system's reason>. <remedy>".
class WriteError : public ToolError {
 public:
  WriteError(const std::string& path, int reason);

  // Whether another file in the same folder would fail for the same reason; otherwise this one's name is at
  // fault.
  bool concerns_all_files() const noexcept { return concerns_all_files_; }

 private:
  bool concerns_all_files_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_TOOL_ERROR_H
