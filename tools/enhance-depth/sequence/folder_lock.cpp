#include "sequence/folder_lock.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "support/tool_error.h"

namespace enhance_depth_tool {

FolderLock::FolderLock(const std::filesystem::path& folder)
    : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  // Goes without a lock on a file system that has none, and in a folder that may be written to but not read.
  if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    close(descriptor_);
    throw UsageError("Another run writes to the output folder " + folder.string() +
                     ". Wait for its end, or choose another folder with --output.");
  }
}

FolderLock::~FolderLock() { close(descriptor_); }

}  // namespace enhance_depth_tool
