// Evaluations of several engines on the same frames: as a table, as CSV, and compared with an earlier one.
#ifndef ENHANCE_DEPTH_TOOL_EVALUATION_REPORT_H
#define ENHANCE_DEPTH_TOOL_EVALUATION_REPORT_H

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "evaluate/evaluation.h"

namespace enhance_depth_tool {

// One row per figure, one column per engine; for each engine but the first also the fraction of the first
// one's figure.
std::string to_table(const std::vector<Evaluation>& evaluations, DepthScale scale);

// "kind,measure,<engine>,<engine>...": the same rows with every digit.
std::string to_csv(const std::vector<Evaluation>& evaluations, DepthScale scale);

// The figures that differ from those of an earlier run, `earlier` as evaluate writes it with --json, by more
// than `tolerance` (0.01 is one percent), engine by engine in their order; time per frame is not compared.
// One line each. Throws a UsageError if the earlier run had other frames, hid other pixels or had fewer
// engines.
std::vector<std::string> differences(const nlohmann::ordered_json& now, const nlohmann::ordered_json& earlier,
                                     double tolerance);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_EVALUATION_REPORT_H
