// Identifies a file that a result was made from.
#ifndef ENHANCE_DEPTH_TOOL_INPUT_IDENTITY_H
#define ENHANCE_DEPTH_TOOL_INPUT_IDENTITY_H

#include <cstdint>
#include <filesystem>
#include <string>

#include "support/input_file.h"

namespace enhance_depth_tool {

struct InputIdentity {
  std::string file;  // its name without folders: a recording may move
  std::uintmax_t bytes = 0;
  std::int64_t modified_ns = 0;
  std::uint32_t crc32 = 0;
};

struct IdentifiedInput {
  Bytes content;
  InputIdentity identity;
};

// The content of an image file and its identity. Throws as read_file() does.
IdentifiedInput read_identified(const std::filesystem::path& path);

// Whether `path` still has the same content; reads it only if name or modification time differ. A file that
// cannot be examined counts as unchanged.
bool has_content_of(const InputIdentity& identity, const std::filesystem::path& path);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_INPUT_IDENTITY_H
