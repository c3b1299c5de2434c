// The subcommands. Each adds its options to `app` and returns the action to run once the command line has
// been read. The action owns the options, and returns the exit status or throws a ToolError.
#ifndef ENHANCE_DEPTH_TOOL_SUBCOMMANDS_H
#define ENHANCE_DEPTH_TOOL_SUBCOMMANDS_H

#include <functional>

namespace CLI {
class App;
}  // namespace CLI

namespace enhance_depth_tool {

using Action = std::function<int()>;

Action add_refine(CLI::App& app);
Action add_sequence(CLI::App& app);
Action add_bench(CLI::App& app);
Action add_evaluate(CLI::App& app);
Action add_inspect(CLI::App& app);

}  // namespace enhance_depth_tool

#endif  // ENHANCE_DEPTH_TOOL_SUBCOMMANDS_H
