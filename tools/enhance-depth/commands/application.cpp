#include "commands/application.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <opencv2/core/utils/logger.hpp>

#include "commands/help_formatter.h"
#include "commands/recording_options.h"
#include "commands/subcommands.h"
#include "enhance_depth.h"
#include "support/library_output.h"
#include "support/terminal.h"
#include "support/text.h"
#include "support/tool_error.h"

namespace enhance_depth_tool {
namespace {

struct Subcommand {
  const char* name;
  const char* description;
  const char* example;
  Action (*add)(CLI::App& app);
};

constexpr Subcommand kSubcommands[] = {
    {"refine", "Refine one frame: a colour image and a depth image",
     "enhance-depth refine --engine model.engine \\\n"
     "      --color color.png --depth depth.png --output refined.png \\\n"
     "      --confidence confidence.tiff --preview preview.png",
     add_refine},
    {"sequence", "Refine a recording: a TUM folder or folders of images",
     "enhance-depth sequence --engine model.engine recording --output refined\n"
     "  enhance-depth sequence --engine model.engine --output refined --resume \\\n"
     "      --color \"rec/*_color.png\" --depth \"rec/*_depth.png\"",
     add_sequence},
    {"bench", "Measure how long the network and the library take",
     "enhance-depth bench --engine model.engine --size 1280x720 --frames 300", add_bench},
    {"evaluate", "Measure how good the results of engines are",
     "enhance-depth evaluate --engine a.engine --engine b.engine recording", add_evaluate},
    {"inspect", "Check whether an ONNX model or an engine fits", "enhance-depth inspect reference.onnx",
     add_inspect},
};

constexpr const char* kExitStatuses =
    "Exit status: 0 all went well, 1 frames failed or the model does not fit,\n"
    "  2 usage, 3 engine not loaded";

int report(const std::string& sentence, ExitStatus status) {
  std::cerr << highlighted("enhance-depth:", Highlight::kError, StandardStream::kError) << " "
            << printable(sentence) << "\n";
  return status;
}

// What is wrong with the command line.
std::string usage_sentence(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining(true);
  std::string sentence = error.what();
  if (!unknown.empty()) {  // explains more than what is missing
    sentence = "not expected:";
    for (const std::string& argument : unknown) {
      sentence += " " + argument;
    }
  }
  while (!sentence.empty() && (sentence.back() == '.' || sentence.back() == '\n')) {
    sentence.pop_back();
  }
  return sentence + ". Run with --help for more information.";
}

int parse_and_run(int argc, const char* const* argv) {
  CLI::App app("Refine the depth images of an RGB-D camera with a TensorRT engine.", "enhance-depth");
  app.formatter(std::make_shared<HelpFormatter>(std::min(terminal_width(), 100)));
  app.require_subcommand(1);
  app.set_version_flag("--version",
                       [] { return std::string("enhance-depth ") + enhance_depth_get_version(); });
  app.footer(std::string("Example:\n  ") + kSubcommands[0].example +
             "\n\n'enhance-depth SUBCOMMAND --help' explains a subcommand.\n" + kExitStatuses);

  Action chosen;
  bool quiet = false;
  for (const Subcommand& subcommand : kSubcommands) {
    CLI::App* options = app.add_subcommand(subcommand.name, subcommand.description);
    options->footer(std::string("Example:\n  ") + subcommand.example + "\n\n" + kExitStatuses);
    options->add_flag("-q,--quiet", quiet, "Drop the camera SDK's information messages, but no warnings");
    options->callback([&chosen, action = subcommand.add(*options)] { chosen = action; });
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
      const std::string expanded = explain_expanded_pattern(argc, argv);
      return report(expanded.empty() ? usage_sentence(app, error) : expanded, kUsage);
    }
    app.exit(error, std::cout, std::cerr);  // --help, --version
    return kSuccess;
  }
  cv::utils::logging::setLogLevel(
      cv::utils::logging::LOG_LEVEL_SILENT);  // what it says, the tool says better
  const LibraryOutput library_output(quiet);
  return chosen();
}

}  // namespace

int run(int argc, const char* const* argv) noexcept {
  try {
    const int status = parse_and_run(argc, argv);
    std::cout.flush();
    if (!std::cout) {  // such as a full disk that it was redirected to
      report("standard output cannot be written. Make room on the disk, or redirect it somewhere else.",
             kFramesFailed);
      return status == kSuccess ? kFramesFailed : status;
    }
    return status;
  } catch (const ToolError& error) {
    return report(error.what(), error.exit_status());
  } catch (const std::exception& error) {
    return report(std::string("stopped by an unexpected failure: ") + error.what() + ".", kFramesFailed);
  }
}

}  // namespace enhance_depth_tool
