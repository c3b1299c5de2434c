// The command line as a whole: global options, the table of subcommands, and how their failures are reported.
#ifndef ENHANCE_DEPTH_TOOL_APPLICATION_H
#define ENHANCE_DEPTH_TOOL_APPLICATION_H

namespace enhance_depth_tool {

// Runs the tool and returns its exit status (see ExitStatus). Results go to standard output, errors and
// progress to standard error. No exception leaves it.
int run(int argc, const char* const* argv) noexcept;

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_APPLICATION_H
