// Files that are written whole or not at all: the content is on the disk before the name is.
#ifndef ENHANCE_DEPTH_TOOL_ATOMIC_FILE_H
#define ENHANCE_DEPTH_TOOL_ATOMIC_FILE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/unfinished_file.h"

namespace enhance_depth_tool {

// A file descriptor that is closed with its owner; -1 when there is none.
class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  int get() const { return descriptor_; }
  void reset(int descriptor);
  bool write_all(const void* data, std::size_t size);  // false with errno; some of it may then be written
  bool close();                                        // false, with errno, when what was written may be lost

 private:
  int descriptor_;
};

// A file that gets its name, replacing what had it, only with commit(). Until then it has no name at all or,
// on file systems that know no such files, one of its own in the same folder. Any number of processes may
// write one target: it becomes the file of the last. One thread.
class AtomicFile {
 public:
  // Throws a WriteError, as all functions do; the target is then untouched and nothing is left beside it.
  explicit AtomicFile(std::filesystem::path target);

  void write(const void* data, std::size_t size);
  void commit();

 private:
  [[noreturn]] void fail() const;

  std::filesystem::path target_;
  Descriptor descriptor_;
  std::optional<UnfinishedFile> name_;
};

// Writes the whole file at once.
void write_file(const std::filesystem::path& path, const void* data, std::size_t size);
void write_file(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes);
void write_file(const std::filesystem::path& path, const std::string& text);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_ATOMIC_FILE_H
