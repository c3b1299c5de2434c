// Benchmarks of a frame through a network that is an ONNX model, where the emulated board can run one:
//   onnx/library/<size>    enhance_depth_process()
//   onnx/openvino/<size>   OpenVINO alone, on the same tensors, with the same options and threads
// Times are those of all threads together on their processors.
#ifndef ENHANCE_DEPTH_BENCH_ONNX_BENCH_H
#define ENHANCE_DEPTH_BENCH_ONNX_BENCH_H

namespace enhance_depth_bench {

void register_onnx();

}  // namespace enhance_depth_bench

#endif  // ENHANCE_DEPTH_BENCH_ONNX_BENCH_H
