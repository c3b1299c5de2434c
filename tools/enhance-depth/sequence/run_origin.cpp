#include "sequence/run_origin.h"

#include <algorithm>
#include <fstream>
#include <vector>

#include <nlohmann/json.hpp>
#include <zlib.h>

#include "support/json_file.h"
#include "support/output_path.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

// Piece by piece: an engine may be larger than the memory that is left.
nlohmann::ordered_json describe_content(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  std::vector<char> piece(std::size_t{1} << 16);
  std::int64_t size = 0;
  uLong checksum = 0;
  while (stream.read(piece.data(), static_cast<std::streamsize>(piece.size())) || stream.gcount() > 0) {
    checksum =
        crc32(checksum, reinterpret_cast<const Bytef*>(piece.data()), static_cast<uInt>(stream.gcount()));
    size += stream.gcount();
  }
  return {{"bytes", size}, {"crc32", checksum}};
}

}  // namespace

RunOrigin::RunOrigin(const EngineOptions& engine, const fs::path& color, const fs::path& depth,
                     DepthScale scale, double max_difference)
    : text_(
          json_text({{"engine", describe_content(engine.engine)},
                     {"recording",
                      {{"color", canonical_path(color).string()}, {"depth", canonical_path(depth).string()}}},
                     {"depth_scale", scale.units_per_metre},
                     {"max_difference", max_difference}})) {}

void RunOrigin::require_same(const fs::path& file) const {
  std::ifstream stream(file);
  const auto earlier = nlohmann::json::parse(stream, nullptr, false);
  if (!earlier.is_object()) {
    throw UsageError(file.string() +
                     " is missing or damaged, and nothing else tells what the results beside " +
                     "it were made of. Choose another folder with --output.");
  }
  const auto present = nlohmann::json::parse(text_);
  std::string differences;
  for (const auto& [name, value] : present.items()) {
    if (earlier.value(name, nlohmann::json()) != value) {
      differences += (differences.empty() ? "" : ", ") + name;
    }
  }
  if (!differences.empty()) {
    std::replace(differences.begin(), differences.end(), '_', ' ');
    throw UsageError("The results beside " + file.string() + " were made with another " + differences +
                     ". Choose another folder with --output, or continue with what the file names.");
  }
}

}  // namespace enhance_depth_tool
