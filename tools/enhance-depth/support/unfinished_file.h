// Files with temporary names, which never outlive the process.
#ifndef ENHANCE_DEPTH_TOOL_UNFINISHED_FILE_H
#define ENHANCE_DEPTH_TOOL_UNFINISHED_FILE_H

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace enhance_depth_tool {

// A file in the folder of its target, with a new name. It is removed when this object is destroyed without
// publish(), and by a signal that ends the process. One thread.
class UnfinishedFile {
 public:
  // Creates the file at a path, which must not exist. Returns whether it succeeded; otherwise errno says why.
  using Create = std::function<bool(const std::string& path)>;

  // Calls `create` to create the file; its name ends in `extension`, which may be empty. Throws a WriteError
  // that names `target`.
  UnfinishedFile(const std::filesystem::path& target, std::string_view extension, const Create& create);
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;
  ~UnfinishedFile();

  const std::string& path() const { return *path_; }

  // Gives the file the target's name, whatever had it before. Throws a WriteError.
  void publish();

 private:
  void set_path(std::string path);

  std::filesystem::path target_;
  std::unique_ptr<std::string> path_;
  std::atomic<const char*>* slot_;  // where the signal handler finds the path
  bool exists_ = false;
};

// From now on signals that end a process, such as SIGHUP and SIGTERM, remove unfinished files first. A signal
// that was ignored when the process started stays ignored. Writing beyond the limit of a file's size fails,
// as on a full disk.
void remove_unfinished_files_on_signals();

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_UNFINISHED_FILE_H
