// Exported: refining one frame.
#include <cstdint>

#include "api/boundary.h"
#include "enhance_depth.h"

namespace enhance_depth {
namespace {

constexpr EntryPoint kProcess{"enhance_depth_process", ReportSite::kProcessException};

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
                    ReportSite::kProcessNullRecord);
    return false;
  }
  if (input->rgb == nullptr || input->depth == nullptr) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_NULL_INPUT_DATA,
                    "enhance_depth_process received null RGB or depth buffer.", "rgb/depth", error,
                    ReportSite::kProcessNullImage);
    return false;
  }
  if (!wrapper.has_input_size(input->width, input->height)) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_RESOLUTION_MISMATCH,
                    "enhance_depth_process received invalid input resolution.", "height/width", error,
                    ReportSite::kProcessResolution);
    return false;
  }
  if (input->rgb_stride != image_bytes(input->height, input->width, 3)) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_STRIDE_MISMATCH,
                    "enhance_depth_process RGB stride mismatch.", "rgb_stride", error,
                    ReportSite::kProcessRgbStride);
    return false;
  }
  if (input->depth_stride != image_bytes(input->height, input->width, 2)) {
    report_argument(kProcess, wrapper, ENHANCE_DEPTH_ERROR_STRIDE_MISMATCH,
                    "enhance_depth_process depth stride mismatch.", "depth_stride", error,
                    ReportSite::kProcessDepthStride);
    return false;
  }
  return true;
}

int process(TrtEngineWrapper* wrapper, const enhance_depth_input* input, enhance_depth_output* output,
            enhance_error** error) {
  clear_error_result(error);
  if (wrapper == nullptr) {
    report_null_handle(kProcess, error, ReportSite::kProcessNullHandle);
    return 0;
  }
  if (!check_arguments(*wrapper, input, output, error)) {
    return 0;
  }
  if (!wrapper->infer(input->rgb, wrapper->depth_as_floats(input->depth), &output->pred, &output->conf,
                      input->height, input->width)) {
    report_engine_failure(kProcess, *wrapper, "", error, ReportSite::kProcessInfer);
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
