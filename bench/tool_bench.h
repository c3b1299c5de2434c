// Benchmarks of the command-line tool's stages for one frame, tool/<stage>/<size>, from the bytes of the
// input files to the bytes of the output files. The library's own stage runs a network that takes no time;
// what is encoded and drawn comes from the reference network.
#ifndef ENHANCE_DEPTH_BENCH_TOOL_BENCH_H
#define ENHANCE_DEPTH_BENCH_TOOL_BENCH_H

namespace enhance_depth_bench {

void register_tool_stages();

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_TOOL_BENCH_H
