#include "inspect/engine.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <regex>
#include <sstream>
#include <system_error>

#include <unistd.h>

namespace enhance_depth_tool {
namespace {

// Collects what the process writes to standard output and error until text() is called.
class CapturedStreams {
 public:
  CapturedStreams() : file_(std::tmpfile()) {
    if (!file_) throw std::system_error(errno, std::generic_category(), "no temporary file for the log");
    redirect(STDOUT_FILENO, saved_output_);
    redirect(STDERR_FILENO, saved_error_);
  }
  CapturedStreams(const CapturedStreams&) = delete;
  CapturedStreams& operator=(const CapturedStreams&) = delete;
  ~CapturedStreams() { restore(); }

  std::string text() {
    restore();
    std::string content;
    if (std::fseek(file_.get(), 0, SEEK_SET) != 0) return content;
    char buffer[4096];
    while (const std::size_t length = std::fread(buffer, 1, sizeof buffer, file_.get()))
      content.append(buffer, length);
    return content;
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  void redirect(int stream, int& saved) const {
    std::fflush(nullptr);
    saved = dup(stream);
    if (saved >= 0) dup2(fileno(file_.get()), stream);
  }

  void restore() {
    std::fflush(nullptr);
    for (const auto& [stream, saved] :
         {std::pair{STDOUT_FILENO, &saved_output_}, std::pair{STDERR_FILENO, &saved_error_}}) {
      if (*saved < 0) continue;
      dup2(*saved, stream);
      close(*saved);
      *saved = -1;
    }
  }

  std::unique_ptr<std::FILE, Close> file_;
  int saved_output_ = -1;
  int saved_error_ = -1;
};

Shape parse_shape(const std::string& text) {
  Shape shape;
  std::istringstream stream(text);
  for (std::string extent; std::getline(stream, extent, ',');) shape.push_back(std::stoll(extent));
  return shape;
}

std::vector<std::string> errors_in_log(const std::string& log) {
  std::vector<std::string> errors;
  std::istringstream stream(log);
  for (std::string line; std::getline(stream, line);) {
    if (line.rfind("TRT: ", 0) == 0) errors.push_back(line);
  }
  return errors;
}

}  // namespace

std::vector<TensorInfo> tensors_in_log(const std::string& log) {
  static const std::regex kLine(
      R"(TEST Tensor (.+): mode=(INPUT|OUTPUT), shape=\(([-0-9, ]*)\), dtype=(\w+))");
  std::vector<TensorInfo> tensors;
  std::istringstream stream(log);
  for (std::string line; std::getline(stream, line);) {
    std::smatch match;
    if (!std::regex_search(line, match, kLine)) continue;
    tensors.push_back({match[1], match[2] == "INPUT" ? Direction::kInput : Direction::kOutput, match[4],
                       parse_shape(match[3])});
  }
  return tensors;
}

LoadedEngine load_engine(const std::filesystem::path& path) {
  LoadedEngine loaded;
  CapturedStreams streams;
  try {
    const Engine engine(path);
  } catch (const EngineError& error) {
    loaded.failure = error;
  }
  const std::string log = streams.text();
  loaded.model.format = "neither ONNX nor a description; loaded as a TensorRT engine";
  loaded.model.tensors = tensors_in_log(log);
  loaded.model.tensors_complete = false;
  loaded.board_errors = errors_in_log(log);
  return loaded;
}

}  // namespace enhance_depth_tool
