// What the tests of the tool share.
#ifndef ENHANCE_DEPTH_TESTS_TOOL_SUPPORT_H
#define ENHANCE_DEPTH_TESTS_TOOL_SUPPORT_H

#include <string>

#include "support/temporary_directory.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {

using test_support::TemporaryDirectory;

// The message of the error that `function` throws.
template <typename Function>
std::string failure(const Function& function) {
  try {
    function();
  } catch (const ToolError& error) {
    return error.what();
  }
  return "none";
}

template <typename Function>
bool fails_with(const std::string& part, const Function& function) {
  return failure(function).find(part) != std::string::npos;
}

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TESTS_TOOL_SUPPORT_H
