// Records what each result of a run over a recording was made from: one line of JSON per frame, written once
// the frame's files are complete, so that the journal is right however the run ends.
#ifndef ENHANCE_DEPTH_TOOL_RESULT_JOURNAL_H
#define ENHANCE_DEPTH_TOOL_RESULT_JOURNAL_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "sequence/input_identity.h"
#include "support/atomic_file.h"

namespace enhance_depth_tool {

struct ResultRecord {
  InputIdentity color;
  InputIdentity depth;
  std::map<std::string, std::uintmax_t> bytes;  // of each file of the result, by kind, such as "preview"
};

class ResultJournal {
 public:
  explicit ResultJournal(std::filesystem::path file) : file_(std::move(file)) {}

  // Reads what an earlier run left; skips damaged lines. Throws a UsageError if the file cannot be read.
  void load();

  // Null if there is none.
  const ResultRecord* find(const std::string& frame) const;
  bool empty() const { return records_.empty(); }
  void forget(const std::string& frame);

  // Writes all records: first those of `frames`, in their order, then the rest. Throws a WriteError.
  void write(const std::vector<std::string>& frames) const;

  // Adds a line to the file. Throws a WriteError.
  void add(const std::string& frame, const ResultRecord& record);

 private:
  std::filesystem::path file_;
  std::map<std::string, ResultRecord> records_;  // by key_of(frame)
  Descriptor descriptor_;
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_RESULT_JOURNAL_H
