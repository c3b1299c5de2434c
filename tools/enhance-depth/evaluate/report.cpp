#include "evaluate/report.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

// Four significant digits, which is more than frames of a few hundred thousand pixels give.
std::string shown(double value) { return std::isfinite(value) ? fmt::format("{:.4g}", value) : "-"; }

// The figures of all evaluations, in the order of the first; a figure that an engine lacks is NaN.
std::vector<std::vector<Figure>> rows(const std::vector<Evaluation>& evaluations, DepthScale scale) {
  std::vector<std::vector<Figure>> rows;
  for (std::size_t column = 0; column < evaluations.size(); ++column) {
    for (const Figure& figure : figures(evaluations[column], scale)) {
      auto row = std::find_if(rows.begin(), rows.end(), [&](const std::vector<Figure>& candidate) {
        return candidate[0].kind == figure.kind && candidate[0].measure == figure.measure;
      });
      if (row == rows.end()) {
        const Figure missing{figure.kind, figure.measure, std::nan("")};
        row = rows.insert(rows.end(), std::vector<Figure>(evaluations.size(), missing));
      }
      (*row)[column].value = figure.value;
    }
  }
  return rows;
}

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) {
    return text;
  }
  std::string quoted = "\"";
  for (const char character : text) {
    quoted += character == '"' ? "\"\"" : std::string(1, character);
  }
  return quoted + "\"";
}

const nlohmann::ordered_json& member(const nlohmann::ordered_json& json, const char* name) {
  const auto found = json.find(name);
  if (!json.is_object() || found == json.end()) {
    throw UsageError(
        fmt::format("The file to compare with has no \"{}\": it was not written by evaluate --json.", name));
  }
  return *found;
}

}  // namespace

std::string to_table(const std::vector<Evaluation>& evaluations, DepthScale scale) {
  std::string table = fmt::format("{:<14} {:<27}", "pixels", "measure");
  for (const Evaluation& evaluation : evaluations) {
    const std::string& name = evaluation.engine();
    table += fmt::format(" {:>17}", name.size() <= 17 ? name : ".." + name.substr(name.size() - 15));
  }
  table += "\n";
  std::string last_kind;
  for (const std::vector<Figure>& row : rows(evaluations, scale)) {
    table += fmt::format("{:<14} {:<27}", row[0].kind == last_kind ? "" : row[0].kind, row[0].measure);
    last_kind = row[0].kind;
    for (std::size_t column = 0; column < row.size(); ++column) {
      const double fraction = row[column].value / row[0].value;
      const std::string beside =
          column > 0 && std::isfinite(fraction) ? fmt::format(" ({:.2f})", fraction) : "";
      table += fmt::format(" {:>17}", shown(row[column].value) + beside);
    }
    table += "\n";
  }
  return table;
}

std::string to_csv(const std::vector<Evaluation>& evaluations, DepthScale scale) {
  std::string csv = "kind,measure";
  for (const Evaluation& evaluation : evaluations) {
    csv += "," + csv_field(evaluation.engine());
  }
  csv += "\n";
  for (const std::vector<Figure>& row : rows(evaluations, scale)) {
    csv += row[0].kind + "," + row[0].measure;
    for (const Figure& figure : row) {
      csv += std::isfinite(figure.value) ? fmt::format(",{}", figure.value) : ",";
    }
    csv += "\n";
  }
  return csv;
}

std::vector<std::string> differences(const nlohmann::ordered_json& now, const nlohmann::ordered_json& earlier,
                                     double tolerance) {
  for (const char* name : {"frames", "hiding"}) {
    if (member(earlier, name) != member(now, name)) {
      throw UsageError(
          fmt::format("The runs cannot be compared: \"{}\" is {} here and {} in the earlier run.", name,
                      member(now, name).dump(), member(earlier, name).dump()));
    }
  }
  const nlohmann::ordered_json& engines = member(now, "engines");
  const nlohmann::ordered_json& earlier_engines = member(earlier, "engines");
  if (!earlier_engines.is_array() || earlier_engines.size() < engines.size()) {
    throw UsageError("The runs cannot be compared: the earlier run had fewer engines.");
  }
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < engines.size(); ++i) {
    const nlohmann::ordered_json& before = member(earlier_engines[i], "figures");
    for (const auto& [kind, measures] : engines[i].at("figures").items()) {
      for (const auto& [measure, value] : measures.items()) {
        if (measure == "time per frame [ms]") {
          continue;
        }
        const nlohmann::ordered_json& old = member(member(before, kind.c_str()), measure.c_str());
        const bool both = value.is_number() && old.is_number();
        if (!both && value.is_null() && old.is_null()) {
          continue;
        }
        const double difference = both ? std::abs(value.get<double>() - old.get<double>()) : INFINITY;
        if (!both || difference > tolerance * std::abs(old.get<double>())) {
          lines.push_back(fmt::format("{}: {}, {}: {} here, {} in the earlier run",
                                      engines[i].at("engine").get<std::string>(), kind, measure, value.dump(),
                                      old.dump()));
        }
      }
    }
  }
  return lines;
}

}  // namespace enhance_depth_tool
