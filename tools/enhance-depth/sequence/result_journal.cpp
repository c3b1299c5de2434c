#include "sequence/result_journal.h"

#include <algorithm>
#include <cerrno>
#include <set>
#include <string_view>

#include <fcntl.h>
#include <nlohmann/json.hpp>

#include "support/input_file.h"
#include "support/json_file.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {

namespace fs = std::filesystem;

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(InputIdentity, file, bytes, modified_ns, crc32)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(ResultRecord, color, depth, bytes)

namespace {

// The frame's name as JSON shows it, in which bytes that are no UTF-8 are replaced.
std::string key_of(const std::string& frame) { return parse_json(json_line(frame)).get<std::string>(); }

std::string line_of(const std::string& key, const ResultRecord& record) {
  nlohmann::json line = record;
  line["frame"] = key;
  return json_line(line) + "\n";
}

}  // namespace

void ResultJournal::load() {
  if (type_of(file_) == fs::file_type::not_found) {
    return;
  }
  constexpr std::uintmax_t kLargest = std::uintmax_t{1} << 32;
  const Bytes bytes = read_file(file_, "list of results", kLargest);
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    try {
      const nlohmann::json values = parse_json(line);
      records_[values.at("frame").get<std::string>()] = values.get<ResultRecord>();
    } catch (const nlohmann::json::exception&) {
      continue;  // such as the last line of a run that was killed
    }
  }
}

const ResultRecord* ResultJournal::find(const std::string& frame) const {
  const auto found = records_.find(key_of(frame));
  return found == records_.end() ? nullptr : &found->second;
}

void ResultJournal::forget(const std::string& frame) { records_.erase(key_of(frame)); }

void ResultJournal::write(const std::vector<std::string>& frames) const {
  std::string text;
  std::set<std::string> written;
  const auto write_line = [&](const std::string& key) {
    const auto found = records_.find(key);
    if (found != records_.end() && written.insert(key).second) {
      text += line_of(key, found->second);
    }
  };
  for (const std::string& frame : frames) {
    write_line(key_of(frame));
  }
  for (const auto& [key, record] : records_) {
    write_line(key);
  }
  write_file(file_, text);
}

void ResultJournal::add(const std::string& frame, const ResultRecord& record) {
  if (descriptor_.get() < 0) {
    descriptor_.reset(open(file_.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW));
  }
  const std::string key = key_of(frame);
  const std::string line = line_of(key, record);
  if (!descriptor_.write_all(line.data(), line.size())) {
    throw WriteError(file_.string(), errno);
  }
  records_[key] = record;
}

}  // namespace enhance_depth_tool
