// Files that are written completely or not at all: the content is on the disk before the name is.
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

// An owned file descriptor, closed on destruction; -1 if there is none.
class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close(); }

  int get() const { return descriptor_; }
  void reset(int descriptor);
  bool write_all(const void* data, std::size_t size);  // false with errno; some of it may then be written
  bool close();                                        // false, with errno, if written data may be lost

 private:
  int descriptor_;
};

// A file that gets its name, replacing an earlier file, only with commit(). Until then it is unnamed or, on
// file systems that do not support that, has a unique name in the same folder. Any number of processes may
// write the same target: the last one wins. One thread.
class AtomicFile {
 public:
  // Throws a WriteError, as all functions do; the target is then untouched and nothing is left behind.
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
