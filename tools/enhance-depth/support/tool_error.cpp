#include "support/tool_error.h"

#include <cerrno>
#include <cstring>

namespace enhance_depth_tool {
namespace {

const char* remedy(int reason) {
  switch (reason) {
    case ENOSPC:
    case EDQUOT:
      return "Make room on the disk or write somewhere else.";
    case EACCES:
    case EPERM:
      return "Check the folder's permissions.";
    default:
      return "Write somewhere else.";
  }
}

}  // namespace

WriteError::WriteError(const std::string& path, int reason)
    : ToolError(kFramesFailed, path + " cannot be written: " + std::strerror(reason) + ". " + remedy(reason)),
      concerns_all_files_(reason != ENAMETOOLONG && reason != EILSEQ && reason != EISDIR) {}

}  // namespace enhance_depth_tool
