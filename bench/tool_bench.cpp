#include "tool_bench.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include "commands/options.h"
#include "image/color_scale.h"
#include "image/image_io.h"
#include "image/preview.h"
#include "image/synthetic_frame.h"
#include "measure.h"
#include "support/engine.h"
#include "support/rgb_layout.h"
#include "test_images.h"

namespace enhance_depth_bench {
namespace {

namespace tool = enhance_depth_tool;

// A frame as it is before and after each stage.
struct ToolFrame {
  explicit ToolFrame(ImageSize image_size)
      : size(image_size.width, image_size.height),
        input(tool::make_synthetic_frame(size, 1)),
        color_file(tool::encode_picture(input.color, "color.png")),
        depth_file(tool::encode_depth(input.depth)),
        rgb(tool::arrange_rgb(input.color, tool::RgbLayout::kPlanar)),
        engine(ENHANCE_DEPTH_BENCH_ENGINE) {
    tool::Engine reference(ENHANCE_DEPTH_BENCH_REFERENCE_ENGINE);
    reference.configure(size);
    const tool::Refined result = reference.process(rgb, input.depth);
    refined = result.depth.clone();
    confidence = result.confidence.clone();
    range = tool::depth_range({input.depth, refined});
    preview = draw();
    engine.configure(size);
  }

  cv::Mat draw() const {
    return tool::render_preview({input.color, input.depth, refined, confidence}, range, tool::DepthScale{});
  }

  cv::Size size;
  tool::SyntheticFrame input;
  tool::Bytes color_file;
  tool::Bytes depth_file;
  std::vector<std::uint8_t> rgb;
  tool::Engine engine;
  cv::Mat refined;
  cv::Mat confidence;
  tool::ValueRange range;
  cv::Mat preview;
};

// Made when first asked for, and shared by the stages.
ToolFrame& frame_for(ImageSize size) {
  static std::map<std::size_t, ToolFrame> frames;
  return frames.try_emplace(size.pixels(), size).first->second;
}

template <typename Stage>
void add_stage(const char* name, Stage stage) {
  for (const ImageSize size : kImageSizes) {
    benchmark::RegisterBenchmark(
        ("tool/" + std::string(name) + "/" + size.name()).c_str(),
        [=](benchmark::State& state) {
          ToolFrame& frame = frame_for(size);
          measure(state, [&] { benchmark::DoNotOptimize(stage(frame)); });
          state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(size.pixels()));
        })
        ->UseManualTime();
  }
}

}  // namespace

void register_tool_stages() {
  add_stage("decode color",
            [](ToolFrame& frame) { return tool::decode_color(frame.color_file, "color.png"); });
  add_stage("decode depth",
            [](ToolFrame& frame) { return tool::decode_depth(frame.depth_file, "depth.png"); });
  add_stage("arrange color",
            [](ToolFrame& frame) { return tool::arrange_rgb(frame.input.color, tool::RgbLayout::kPlanar); });
  add_stage("library",
            [](ToolFrame& frame) { return frame.engine.process(frame.rgb, frame.input.depth).library_ms; });
  add_stage("encode depth", [](ToolFrame& frame) { return tool::encode_depth(frame.refined); });
  add_stage("encode confidence", [](ToolFrame& frame) { return tool::encode_confidence(frame.confidence); });
  add_stage("draw preview", [](ToolFrame& frame) { return frame.draw(); });
  add_stage("encode preview",
            [](ToolFrame& frame) { return tool::encode_picture(frame.preview, "preview.png"); });
}

}  // namespace enhance_depth_bench
