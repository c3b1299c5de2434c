// What each result of a run over a recording was made of: one line of JSON per frame, written when the
// frame's files are complete, so that a run that ends in any way leaves the truth about those it finished.
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

  // Takes over what an earlier run left; lines that are damaged are passed over. Throws a UsageError when the
  // file cannot be read.
  void load();

  // Null when there is none.
  const ResultRecord* find(const std::string& frame) const;
  bool empty() const { return records_.empty(); }
  void forget(const std::string& frame);

  // Writes what is known: first `frames`, in their order, then the rest. Throws a WriteError.
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
