// Exported: refining one frame.
#include <cstddef>
#include <cstdint>

#include "api/boundary.h"
#include "convert/depth_conversion.h"
#include "enhance_depth.h"

namespace enhance_depth {
namespace {

constexpr ApiFile kFile = ApiFile::kProcess;

constexpr EntryPoint kProcess{"enhance_depth_process", reporting_line(kFile)};

// height * width * bytes_per_pixel in 32 bits, wrapping around as the records' fields do.
std::int32_t image_bytes(std::int32_t height, std::int32_t width, std::uint32_t bytes_per_pixel) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(height) * static_cast<std::uint32_t>(width) *
                                   bytes_per_pixel);
}

// Checks the records in a fixed order; the first fault is reported.
bool check_arguments(TrtEngineWrapper& wrapper, const enhance_depth_input* input,
                     const enhance_depth_output* output, enhance_error** error) {
  if (input == nullptr || output == nullptr) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_INVALID_ARGUMENT,
                    "enhance_depth_process received null input or output.", "input/output", error,
                    reporting_line(kFile));
    return false;
  }
  if (input->rgb == nullptr || input->depth == nullptr) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_NULL_INPUT_DATA,
                    "enhance_depth_process received null RGB or depth buffer.", "rgb/depth", error,
                    reporting_line(kFile));
    return false;
  }
  if (input->height != wrapper.input_height || input->width != wrapper.input_width) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_RESOLUTION_MISMATCH,
                    "enhance_depth_process received invalid input resolution.", "height/width", error,
                    reporting_line(kFile));
    return false;
  }
  if (input->rgb_stride != image_bytes(input->height, input->width, 3)) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_STRIDE_MISMATCH,
                    "enhance_depth_process RGB stride mismatch.", "rgb_stride", error, reporting_line(kFile));
    return false;
  }
  if (input->depth_stride != image_bytes(input->height, input->width, 2)) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_STRIDE_MISMATCH,
                    "enhance_depth_process depth stride mismatch.", "depth_stride", error,
                    reporting_line(kFile));
    return false;
  }
  return true;
}

// Without buffers infer() refuses the frame before it reads anything. The size is then one that a reset
// refused, which nothing vouches for, so the images are not touched.
void convert_depth(TrtEngineWrapper& wrapper, const enhance_depth_input& input) {
  if (!wrapper.buffers_ready) {
    return;
  }
  const std::size_t count = static_cast<std::size_t>(input.height) * static_cast<std::size_t>(input.width);
  if (wrapper.depth_f32.size() != count) {
    wrapper.depth_f32.clear();  // growing shall not copy what is overwritten below
    wrapper.depth_f32.resize(count);
  }
  convert_depth_u16_to_f32_neon(input.depth, wrapper.depth_f32.data(), count);
}

int process(TrtEngineWrapper* wrapper, const enhance_depth_input* input, enhance_depth_output* output,
            enhance_error** error) {
  clear_error_result(error);
  if (wrapper == nullptr) {
    report_null_handle(kProcess, error, reporting_line(kFile));
    return 0;
  }
  if (!check_arguments(*wrapper, input, output, error)) {
    return 0;
  }
  convert_depth(*wrapper, *input);
  if (!wrapper->infer(input->rgb, wrapper->depth_f32.data(), &output->pred, &output->conf, input->height,
                      input->width)) {
    report_engine_failure(kProcess, *wrapper, "", error, reporting_line(kFile));
    return 0;
  }
  output->pred_stride = image_bytes(input->height, input->width, 2);
  output->conf_stride = output->conf != nullptr ? image_bytes(input->height, input->width, 4) : 0;
  wrapper->clear_error();
  return 1;
}

}  // namespace
}  // namespace enhance_depth

using namespace enhance_depth;

int enhance_depth_process(enhance_depth_handle handle, const enhance_depth_input* input,
                          enhance_depth_output* output, enhance_error** error) {
  TrtEngineWrapper* wrapper = from_handle(handle);
  return run_guarded(kProcess, wrapper, error, 0, [&] { return process(wrapper, input, output, error); });
}
