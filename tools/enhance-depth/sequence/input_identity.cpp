#include "sequence/input_identity.h"

#include <optional>

#include <sys/stat.h>
#include <zlib.h>

#include "image/image_io.h"
#include "support/json_file.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

// All but the checksum; std::nullopt for a file that does not exist.
std::optional<InputIdentity> describe(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  return InputIdentity{path.filename().string(), static_cast<std::uintmax_t>(status.st_size),
                       status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec, 0};
}

}  // namespace

IdentifiedInput read_identified(const fs::path& path) {
  IdentifiedInput input;
  input.identity =
      describe(path).value_or(InputIdentity());  // before the file is read, so that a later change shows
  input.content = read_file(path, "image", kMaxFileBytes);
  input.identity.bytes = input.content.size();
  input.identity.crc32 = static_cast<std::uint32_t>(crc32_z(0, input.content.data(), input.content.size()));
  return input;
}

bool has_content_of(const InputIdentity& identity, const fs::path& path) {
  const std::optional<InputIdentity> present = describe(path);
  if (present && present->bytes != identity.bytes) {
    return false;
  }
  if (!present || (present->file == identity.file && present->modified_ns == identity.modified_ns)) {
    return true;
  }
  try {
    return read_identified(path).identity.crc32 == identity.crc32;
  } catch (const ToolError&) {
    return true;
  }
}

}  // namespace enhance_depth_tool
