#include "sequence/tum_layout.h"

#include <charconv>
#include <cmath>

#include "support/input_file.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

constexpr std::string_view kBlanks = " \t\r,";

// Removes the text up to the next of `separators` from the front of `text` and returns it.
std::string_view take_until(std::string_view& text, std::string_view separators) {
  const std::size_t end = std::min(text.find_first_of(separators), text.size());
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end);
  return part;
}

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

std::vector<TimedFile> parse_tum_list(std::string_view text, const std::string& name) {
  std::vector<TimedFile> entries;
  for (int number = 1; !text.empty(); ++number) {
    std::string_view line = trimmed(take_until(text, "\n"));
    text.remove_prefix(std::min<std::size_t>(text.size(), 1));
    if (line.empty() || line.front() == '#') {
      continue;
    }
    TimedFile entry;
    entry.time_text = take_until(line, kBlanks);
    entry.file = trimmed(line);
    const char* end = entry.time_text.data() + entry.time_text.size();
    const auto [stopped_at, problem] = std::from_chars(entry.time_text.data(), end, entry.time);
    if (problem != std::errc() || stopped_at != end || !std::isfinite(entry.time) || entry.file.empty()) {
      throw UsageError(name + ", line " + std::to_string(number) +
                       ": a time stamp in seconds and a file name are needed, such as \"1305031102.160407 "
                       "depth/1305031102.160407.png\". Correct or remove the line.");
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

std::vector<TimedFile> read_tum_list(const std::filesystem::path& path) {
  constexpr std::uintmax_t kLargest = std::uintmax_t{1} << 30;
  const Bytes bytes = read_file(path, "list of images", kLargest);
  std::vector<TimedFile> entries =
      parse_tum_list({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, path.string());
  for (TimedFile& entry : entries) {
    entry.file = path.parent_path() / entry.file;
  }
  return entries;
}

std::string tum_list(const std::string& title, const std::vector<TimedFile>& entries) {
  std::string text = "# " + title + "\n# timestamp filename\n";
  for (const TimedFile& entry : entries) {
    text += entry.time_text + " " + entry.file.string() + "\n";
  }
  return text;
}

}  // namespace enhance_depth_tool
