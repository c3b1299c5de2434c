#ifndef ENHANCE_DEPTH_TOOL_CONTACT_SHEET_H
#define ENHANCE_DEPTH_TOOL_CONTACT_SHEET_H

#include <cstddef>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "evaluate/depth_errors.h"

namespace enhance_depth_tool {

// The frames on which the first engine did worst, as pictures: colour, truth, input and each engine's result,
// one row per frame. Keeps only its few rows in memory, however many frames it is offered.
class ContactSheet {
 public:
  // `columns` names the engines. Keeps the `rows` worst frames.
  ContactSheet(std::vector<std::string> columns, std::size_t rows)
      : columns_(std::move(columns)), rows_(rows) {}

  // `error` ranks the frame; `predictions` (CV_16UC1) are those of the engines in their order.
  void offer(double error, const std::string& name, const cv::Mat& color, const JudgedFrame& frame,
             const std::vector<cv::Mat>& predictions);

  // BGR; empty without frames.
  cv::Mat render() const;

 private:
  struct Row {
    double error;
    cv::Mat picture;
  };
  std::vector<std::string> columns_;
  std::size_t rows_;
  std::vector<Row> worst_;  // worst first
};

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_CONTACT_SHEET_H
