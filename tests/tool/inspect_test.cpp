// enhance-depth inspect: what it reads, and that it names what does not fit the library.
#include <algorithm>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "inspect/contract.h"
#include "inspect/engine.h"
#include "inspect/formats.h"
#include "onnx.pb.h"
#include "support.h"

namespace enhance_depth_tool {
namespace {

enum OnnxType { kFloat = 1, kUint8 = 2, kHalf = 10 };

void add_value(onnx_file::ValueInfo* value, const std::string& name, int type, const Shape& shape) {
  value->set_name(name);
  auto* tensor = value->mutable_type()->mutable_tensor_type();
  tensor->set_elem_type(type);
  tensor->mutable_shape();
  for (const std::int64_t extent : shape) {
    auto* dimension = tensor->mutable_shape()->add_dim();
    if (extent < 0) {
      dimension->set_dim_param("n");
    } else {
      dimension->set_dim_value(extent);
    }
  }
}

// A model that fits, for a test to break.
onnx_file::Model fitting_model() {
  onnx_file::Model model;
  model.set_ir_version(8);
  model.add_opset_import()->set_version(17);
  add_value(model.mutable_graph()->add_input(), "rgb", kUint8, {1, 3, -1, -1});
  add_value(model.mutable_graph()->add_input(), "dep", kFloat, {1, 1, -1, -1});
  add_value(model.mutable_graph()->add_output(), "pred", kFloat, {1, 1, -1, -1});
  add_value(model.mutable_graph()->add_output(), "confidence_output", kFloat, {1, 1, -1, -1});
  return model;
}

std::optional<ModelInfo> read(const onnx_file::Model& model) {
  const std::string file = model.SerializeAsString();
  return read_onnx(Bytes(file.begin(), file.end()));
}

std::string all_breaches(const ModelInfo& model) {
  std::string text;
  for (const Breach& breach : check_contract(model)) text += breach.subject + ": " + breach.text + "\n";
  return text;
}

using Change = std::function<void(onnx_file::Graph&)>;

struct ChangedModel {
  std::string name;
  Change change;
  std::string breaches;  // all of them, line by line
};

void set_shape(onnx_file::ValueInfo& value, const Shape& shape) {
  const onnx_file::ValueInfo old = value;
  value.Clear();
  add_value(&value, old.name(), old.type().tensor_type().elem_type(), shape);
}

Change input_shape(int index, const Shape& shape) {
  return [=](onnx_file::Graph& graph) { set_shape(*graph.mutable_input(index), shape); };
}

Change output_shape(int index, const Shape& shape) {
  return [=](onnx_file::Graph& graph) { set_shape(*graph.mutable_output(index), shape); };
}

onnx_file::TensorType& tensor_type(onnx_file::ValueInfo* value) {
  return *value->mutable_type()->mutable_tensor_type();
}

void add_normals(onnx_file::Graph& graph) {
  add_value(graph.add_output(), "normals", kFloat, {1, 3, -1, -1});
}

const std::vector<ChangedModel> kModels = {
    {"Unchanged", [](onnx_file::Graph&) {}, ""},
    {"NoConfidence", [](onnx_file::Graph& graph) { graph.mutable_output()->RemoveLast(); }, ""},
    {"InterleavedColour", input_shape(0, {-1, -1, 3}), ""},
    {"AllDynamicOutput", output_shape(0, {-1, -1, -1, -1}), ""},
    {"OutputOfRankTwo", output_shape(0, {-1, -1}), ""},
    {"FixedToTheFirstSize",
     [](onnx_file::Graph& graph) {
       set_shape(*graph.mutable_input(0), {1, 3, 480, 640});
       set_shape(*graph.mutable_input(1), {1, 1, 480, 640});
       set_shape(*graph.mutable_output(0), {1, 1, 480, 640});
       set_shape(*graph.mutable_output(1), {480, 640});
     },
     ""},
    {"WeightsAmongTheInputs",  // as old models have them
     [](onnx_file::Graph& graph) {
       graph.add_initializer()->set_name("conv.weight");
       add_value(graph.add_input(), "conv.weight", kFloat, {8, 4, 3, 3});
     },
     ""},
    {"WrongName", [](onnx_file::Graph& graph) { graph.mutable_input(1)->set_name("depth"); },
     "dep: there is no such tensor; name the input that holds the depth image \"dep\" (is it \"depth\"?).\n"
     "depth: the library knows no such input and leaves it unbound, with which TensorRT does not run; remove "
     "or rename it.\n"},
    {"ColourAsFloat",
     [](onnx_file::Graph& graph) { tensor_type(graph.mutable_input(0)).set_elem_type(kFloat); },
     "rgb: its type is FLOAT; make it UINT8 and cast it to FLOAT inside the network.\n"},
    {"OutputAsHalf",
     [](onnx_file::Graph& graph) { tensor_type(graph.mutable_output(0)).set_elem_type(kHalf); },
     "pred: its type is HALF; make it FLOAT, with a cast inside the network if need be.\n"},
    {"ConfidenceAsInput",
     [](onnx_file::Graph& graph) {
       *graph.add_input() = graph.output(1);
       graph.mutable_output()->RemoveLast();
     },
     "confidence_output: it is an input; make it an output.\n"},
    {"RankOfDepth", input_shape(1, {-1, -1}), "dep: its shape (-1, -1) has rank 2; make it (1, 1, H, W).\n"},
    {"InterleavedColourOfRankFour", input_shape(0, {1, -1, -1, 3}),
     "rgb: its shape (1, -1, -1, 3) does not admit 640 x 480 pixels, which the library sets up first; make "
     "it (1, 3, H, W) with H and W dynamic.\n"},
    {"FourColours", input_shape(0, {1, 4, -1, -1}),
     "rgb: its shape is (1, 4, -1, -1); make it (1, 3, H, W).\n"},
    {"MissingOutput", [](onnx_file::Graph& graph) { graph.clear_output(); },
     "pred: there is no such tensor; name the output that holds the refined depth \"pred\".\n"
     "tensors: there are 2; the library takes 3 or 4: rgb, dep, pred and, if there is confidence, "
     "confidence_output.\n"},
    {"TooManyTensors", add_normals,
     "normals: the library knows no such output and leaves it unbound, with which TensorRT does not run; "
     "remove or rename it.\n"
     "tensors: there are 5; the library takes 3 or 4: rgb, dep, pred and, if there is confidence, "
     "confidence_output.\n"},
    {"FixedToAnotherSize", input_shape(1, {1, 1, 720, 1280}),
     "dep: its shape (1, 1, 720, 1280) does not admit 640 x 480 pixels, which the library sets up first; "
     "make it (1, 1, H, W) with H and W dynamic.\n"},
    {"FixedOutput", output_shape(0, {1, 1, 480, 640}),
     "pred: its shape (1, 1, 480, 640) is fixed while the inputs are dynamic; make it (1, 1, H, W) with "
     "their H and W.\n"},
    {"TwoChannelsOfOutput", output_shape(0, {1, 2, -1, -1}),
     "pred: its shape (1, 2, -1, -1) does not have one element per pixel; make it (1, 1, H, W).\n"},
    {"SmallOutput", output_shape(1, {1, 1, 240, 320}),
     "confidence_output: its shape (1, 1, 240, 320) does not have one element per pixel of 640 x 480; make "
     "it (1, 1, H, W).\n"},
    {"NoShape", [](onnx_file::Graph& graph) { tensor_type(graph.mutable_output(0)).clear_shape(); },
     "pred: the file gives no shape for it; export the model with shapes.\n"},
    {"NoTensor", [](onnx_file::Graph& graph) { graph.mutable_input(1)->clear_type(); },
     "dep: its type is no tensor; make it FLOAT, with a cast inside the network if need be.\n"
     "dep: the file gives no shape for it; export the model with shapes.\n"},
};

TEST(InspectOnnx, SaysWhatToChangeInAModel) {
  for (const ChangedModel& changed : kModels) {
    SCOPED_TRACE(changed.name);
    onnx_file::Model model = fitting_model();
    changed.change(*model.mutable_graph());
    const auto info = read(model);
    ASSERT_TRUE(info);
    EXPECT_EQ(all_breaches(*info), changed.breaches);
  }
}

TEST(InspectOnnx, RefusesWhatIsNoModel) {
  EXPECT_FALSE(read_onnx({}));
  EXPECT_FALSE(read_onnx(Bytes(100, 0xFF)));
  std::string file = fitting_model().SerializeAsString();
  file.resize(file.size() - 5);
  EXPECT_FALSE(read_onnx(Bytes(file.begin(), file.end())));
}

constexpr const char* kDescription = R"(format = "enhance-depth-emulated-engine"
version = 1
network = "guided-filter"
tensor = [
  { name = "rgb", direction = "input", type = "uint8", shape = [1, 3, -1, -1] },
  { name = "dep", direction = "input", type = "float", shape = [1, 1, -1, -1] },
  { name = "pred", direction = "output", type = "float", shape = [1, 1, -1, -1] },
]
)";

std::optional<ModelInfo> read_description(const std::string& text) {
  return read_engine_description(Bytes(text.begin(), text.end()), "engine.toml");
}

TEST(InspectDescription, ChecksTheProfiles) {
  const std::string fitting =
      "[[profile]]\nrgb = { min = [1, 3, 1, 1], max = [1, 3, 480, 640] }\n"
      "dep = { min = [1, 1, 480, 640], max = [1, 1, 480, 640] }\n";
  const std::string too_small =
      "[[profile]]\nrgb = { min = [1, 3, 1, 1], max = [1, 3, 480, 640] }\n"
      "dep = { min = [1, 1, 1, 1], max = [1, 1, 480, 639] }\n";
  const std::string of_another_rank =
      "[[profile]]\nrgb = { min = [1, 1, 3], max = [480, 640, 3] }\n"
      "dep = { min = [1, 1, 1, 1], max = [1, 1, 480, 640] }\n";
  const std::string without_depth = "[[profile]]\nrgb = { min = [1, 3, 481, 1], max = [1, 3, 800, 800] }\n";
  const std::string none =
      "profiles: none admits 640 x 480 pixels, which the library sets up first; widen one or add one ";

  EXPECT_EQ(all_breaches(*read_description(kDescription + fitting)), "");
  EXPECT_EQ(all_breaches(*read_description(kDescription + too_small + fitting)), "");
  EXPECT_EQ(all_breaches(*read_description(kDescription)),
            "profiles: there is none; add one that admits 640 x 480 pixels.\n");
  EXPECT_EQ(
      all_breaches(*read_description(kDescription + too_small + of_another_rank + without_depth)),
      none +
          "(profile 0: dep from (1, 1, 1, 1) to (1, 1, 480, 639); profile 1: rgb from (1, 1, 3) to (480, "
          "640, 3); profile 2: rgb from (1, 3, 481, 1) to (1, 3, 800, 800), no range for dep).\n");
}

TEST(InspectDescription, SaysWhereATextCannotBeRead) {
  const auto expect_refusal = [](const std::string& text, const std::string& reason) {
    EXPECT_EQ(failure([&] { read_description(text); }),
              "engine.toml cannot be read as an engine description: " + reason);
  };
  const std::string start = "format = \"enhance-depth-emulated-engine\"\n";
  expect_refusal(start + "[[tensor]]\nname = \"rgb\"\n", "line 2: a text \"direction\" is missing.");
  expect_refusal(start + "[[tensor]]\nname = \"rgb\"\ndirection = \"in\"\n",
                 "line 2: \"direction\" is neither \"input\" nor \"output\".");
  expect_refusal(
      start + "[[tensor]]\nname = \"rgb\"\ndirection = \"input\"\ntype = \"uint8\"\nshape = [1,\n 3.5]\n",
      "line 7: an extent is not a whole number.");
  expect_refusal(start + "tensor = [1]\n", "line 2: \"tensor\" is not written [[tensor]].");
  expect_refusal(start + "[[profile]]\nrgb = 1\n", "line 3: a profile's range is not a table.");
  EXPECT_FALSE(read_description("format = \"another\""));
  EXPECT_FALSE(read_description("# enhance-depth-emulated-engine\n"));
}

TEST(InspectEngine, ReadsTheTensorsFromTheLog) {
  const std::string log =
      "[07/14 10:33:25.190000][INFO][EnhanceDepth][validate_tensor_meta:52] TEST Tensor rgb: mode=INPUT, "
      "shape=(-1, -1, 3), dtype=UINT8\n"
      "something else\n"
      "TEST Tensor pred: mode=OUTPUT, shape=(), dtype=UNKNOWN\n";
  const std::vector<TensorInfo> tensors = tensors_in_log(log);
  ASSERT_EQ(tensors.size(), 2U);
  EXPECT_EQ(tensors[0].name, "rgb");
  EXPECT_EQ(tensors[0].direction, Direction::kInput);
  EXPECT_EQ(tensors[0].type, "UINT8");
  EXPECT_EQ(tensors[0].shape, (Shape{-1, -1, 3}));
  EXPECT_EQ(tensors[1].direction, Direction::kOutput);
  EXPECT_EQ(tensors[1].shape, Shape());
}

TEST(InspectEngine, LoadsAnEngineAndReportsWhatTheBoardSays) {
  const TemporaryDirectory folder;
  const auto path = folder.path() / "model.engine";
  std::ofstream(path)
      << kDescription
      << "[[profile]]\nrgb = { min = [1, 3, 1, 1], opt = [1, 3, 1, 1], max = [1, 3, 480, 640] }\n"
         "dep = { min = [1, 1, 1, 1], opt = [1, 1, 1, 1], max = [1, 1, 480, 640] }\n";
  const LoadedEngine loaded = load_engine(path);
  EXPECT_FALSE(loaded.failure);
  EXPECT_EQ(loaded.model.tensors.size(), 3U);
  EXPECT_EQ(all_breaches(loaded.model), "");

  std::ofstream(path) << "ftrt";
  const LoadedEngine refused = load_engine(path);
  ASSERT_TRUE(refused.failure);
  EXPECT_EQ(refused.failure->record().error_code, ENHANCE_DEPTH_ERROR_ENGINE_DESERIALIZE_FAILED);
  EXPECT_TRUE(refused.model.tensors.empty());
  ASSERT_EQ(refused.board_errors.size(), 1U);
  EXPECT_EQ(refused.board_errors[0].rfind("TRT: ", 0), 0U);
}

}  // namespace
}  // namespace enhance_depth_tool
