#ifndef ENHANCE_DEPTH_TESTS_TOOL_FAILURE_H
#define ENHANCE_DEPTH_TESTS_TOOL_FAILURE_H

#include <string>

#include "tool_error.h"

namespace enhance_depth_tool {

// The sentence that `function` fails with.
template <typename Function>
std::string failure(const Function& function) {
  try {
    function();
  } catch (const ToolError& error) {
    return error.what();
  }
  return "none";
}

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TESTS_TOOL_FAILURE_H
