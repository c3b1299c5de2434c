// One run at a time in an output folder: two would write the same files.
#ifndef ENHANCE_DEPTH_TOOL_FOLDER_LOCK_H
#define ENHANCE_DEPTH_TOOL_FOLDER_LOCK_H

#include <filesystem>

namespace enhance_depth_tool {

// Keeps other runs out of a folder for as long as it exists; the system releases the lock however the process
// ends.
class FolderLock {
 public:
  // Throws a UsageError when another run holds the folder.
  explicit FolderLock(const std::filesystem::path& folder);
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  ~FolderLock();

 private:
  int descriptor_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_FOLDER_LOCK_H
