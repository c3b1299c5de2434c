#include "sequence/run_summary.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "support/percentiles.h"
#include "support/terminal.h"
#include "support/text.h"

namespace enhance_depth_tool {
namespace {

constexpr const char* kPercentileLine = "  {:<16}{:>10}{:>10}{:>10}{:>10}\n";

double rate(const RunSummary& summary) {
  return summary.wall_s > 0.0 ? static_cast<double>(summary.refined) / summary.wall_s : 0.0;
}

double fraction(std::int64_t part, std::int64_t whole) {
  return whole == 0 ? 0.0 : static_cast<double>(part) / static_cast<double>(whole);
}

std::string headline(const RunSummary& summary) {
  const std::size_t to_do = summary.paired - summary.done_before;
  if (to_do == 0) {
    return "Nothing to do: " + count(static_cast<std::int64_t>(summary.paired), "frame") +
           " refined by an earlier run";
  }
  std::string text = "Refined " + std::to_string(summary.refined) + " of " +
                     count(static_cast<std::int64_t>(to_do), "frame") + " in " + duration(summary.wall_s) +
                     ", " + decimals(rate(summary), 1) + " frames/s";
  if (!summary.failures.empty()) {
    text += "; " + std::to_string(summary.failures.size()) + " failed";
  }
  return text;
}

}  // namespace

void RunSummary::add(const std::string& name, const FrameMeasures& frame) {
  rows.push_back({name, frame});
  times.network.push_back(frame.network_ms);
  times.library.push_back(frame.library_ms);
  times.input.push_back(frame.input_ms);
  times.output.push_back(frame.output_ms);
  pixels += frame.pixels;
  valid_before += frame.valid_before;
  valid_after += frame.valid_after;
  removed.unsure += frame.removed.unsure;
  removed.outside += frame.removed.outside;
  ++refined;
}

std::string percentile_heading() {
  return fmt::format(fmt::runtime(kPercentileLine), "ms per frame", "median", "95 %", "99 %", "maximum");
}

std::string percentile_line(const std::string& what, const std::vector<double>& times) {
  const Percentiles values = percentiles(times);
  return fmt::format(fmt::runtime(kPercentileLine), what, decimals(values.median, 1), decimals(values.p95, 1),
                     decimals(values.p99, 1), decimals(values.maximum, 1));
}

nlohmann::ordered_json percentile_json(const std::vector<double>& times) {
  if (times.empty()) {
    return nullptr;
  }
  const Percentiles values = percentiles(times);
  return {{"median", values.median}, {"p95", values.p95}, {"p99", values.p99}, {"maximum", values.maximum}};
}

std::string to_text(const RunSummary& summary) {
  std::string text = highlighted(headline(summary), Highlight::kHeading, StandardStream::kOutput) + "\n";
  if (summary.done_before > 0 && summary.done_before < summary.paired) {
    text += "  done earlier    " + count(static_cast<std::int64_t>(summary.done_before), "frame") + "\n";
  }
  if (summary.changed > 0) {
    text += "  refined again   " + count(static_cast<std::int64_t>(summary.changed), "frame") +
            " whose images changed\n";
  }
  if (summary.unpaired_color + summary.unpaired_depth > 0) {
    text += "  left out        " + count(static_cast<std::int64_t>(summary.unpaired_color), "colour image") +
            " and " + count(static_cast<std::int64_t>(summary.unpaired_depth), "depth image") +
            " without a partner\n";
  }
  if (summary.refined > 0) {
    text += "  valid pixels    " + percent(fraction(summary.valid_before, summary.pixels)) + " before, " +
            percent(fraction(summary.valid_after, summary.pixels)) + " after\n";
    text += percentile_heading() + percentile_line("network time", summary.times.network) +
            percentile_line("library time", summary.times.library) +
            percentile_line("input time", summary.times.input) +
            percentile_line("output time", summary.times.output);
  }
  return text;
}

nlohmann::ordered_json to_json(const RunSummary& summary) {
  nlohmann::ordered_json failures = nlohmann::ordered_json::array();
  for (const FrameFailure& failure : summary.failures) {
    failures.push_back({{"frame", failure.frame}, {"reason", failure.reason}});
  }
  nlohmann::ordered_json stopped_by;
  if (!summary.stopped_by.empty()) {
    stopped_by = summary.stopped_by;
  }
  return {{"frames", summary.paired},
          {"done_before", summary.done_before},
          {"changed", summary.changed},
          {"refined", summary.refined},
          {"failed", summary.failures.size()},
          {"failures", failures},
          {"stopped_by", stopped_by},
          {"not_written", summary.not_written},
          {"unpaired_color", summary.unpaired_color},
          {"unpaired_depth", summary.unpaired_depth},
          {"wall_s", summary.wall_s},
          {"frames_per_s", rate(summary)},
          {"network_ms", percentile_json(summary.times.network)},
          {"library_ms", percentile_json(summary.times.library)},
          {"input_ms", percentile_json(summary.times.input)},
          {"output_ms", percentile_json(summary.times.output)},
          {"valid_fraction_before", fraction(summary.valid_before, summary.pixels)},
          {"valid_fraction_after", fraction(summary.valid_after, summary.pixels)},
          {"unsure_pixels", summary.removed.unsure},
          {"clipped_pixels", summary.removed.outside}};
}

std::string to_csv(const RunSummary& summary) {
  std::string text =
      "frame,input_ms,network_ms,library_ms,output_ms,valid_fraction_before,valid_fraction_after,"
      "mean_confidence,unsure_pixels,clipped_pixels\n";
  for (const auto& [name, frame] : summary.rows) {
    std::string quoted = printable(name);
    for (std::size_t at = 0; (at = quoted.find('"', at)) != std::string::npos; at += 2) {
      quoted.insert(at, 1, '"');
    }
    text += fmt::format("\"{}\",{:.3f},{:.3f},{:.3f},{:.3f},{:.6f},{:.6f},{},{},{}\n", quoted, frame.input_ms,
                        frame.network_ms, frame.library_ms, frame.output_ms,
                        fraction(frame.valid_before, frame.pixels), fraction(frame.valid_after, frame.pixels),
                        frame.mean_confidence ? fmt::format("{:.6f}", *frame.mean_confidence) : "",
                        frame.removed.unsure, frame.removed.outside);
  }
  return text;
}

}  // namespace enhance_depth_tool
