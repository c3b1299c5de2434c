#include "sequence/run_manifest.h"

#include <algorithm>
#include <cstdint>
#include <fstream>

#include <nlohmann/json.hpp>
#include <zlib.h>

#include "support/input_file.h"
#include "support/json_file.h"
#include "support/output_path.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPlaces = "recording";

// In pieces, because an engine may be larger than the available memory.
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

nlohmann::ordered_json canonical(const std::vector<fs::path>& places) {
  nlohmann::ordered_json result = nlohmann::ordered_json::array();
  for (const fs::path& place : places) {
    result.push_back(canonical_path(place).string());
  }
  return result;
}

// Null also equals the nothing that versions without these options wrote.
nlohmann::ordered_json or_null(const std::optional<double>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

nlohmann::ordered_json describe(const std::optional<MetreRange>& range) {
  return range ? nlohmann::ordered_json{range->nearest, range->farthest} : nlohmann::ordered_json();
}

}  // namespace

RunManifest::RunManifest(const fs::path& engine, const std::vector<fs::path>& places, DepthScale scale,
                         double max_difference, const DepthFilter& filter)
    : text_(json_text({{"engine", describe_content(engine)},
                       {kPlaces, canonical(places)},
                       {"depth_scale", scale.units_per_metre},
                       {"max_difference", max_difference},
                       {"min_confidence", or_null(filter.least_confidence)},
                       {"clip", describe(filter.clip)}})) {}

bool RunManifest::require_same(const fs::path& file) const {
  constexpr std::uintmax_t kLargest = std::uintmax_t{1} << 20;
  nlohmann::json earlier;
  if (type_of(file) == fs::file_type::regular) {
    const Bytes bytes = read_file(file, "list of what results were made of", kLargest);
    earlier = parse_json({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  if (!earlier.is_object()) {
    throw UsageError(file.string() +
                     " is missing or damaged, and nothing else tells what the results beside " +
                     "it were made of. Choose another folder with --output.");
  }
  std::string differences;
  bool same_place = true;
  const nlohmann::json present = parse_json(text_);
  for (const auto& [name, value] : present.items()) {
    const bool same = earlier.value(name, nlohmann::json()) == value;
    if (name == kPlaces) {
      same_place = same;
    } else if (!same) {
      differences += (differences.empty() ? "" : ", ") + name;
    }
  }
  if (!differences.empty()) {
    std::replace(differences.begin(), differences.end(), '_', ' ');
    throw UsageError("The results beside " + file.string() + " were made with another " + differences +
                     ". Choose another folder with --output, or continue with what the file names.");
  }
  return same_place;
}

}  // namespace enhance_depth_tool
