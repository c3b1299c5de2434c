// enhance-depth inspect: what it reads, and that it names what does not fit the library.
#include <algorithm>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "inspect/contract.h"
#include "inspect/engine.h"
#include "inspect/onnx.h"
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
  for (const std::int64_t size : shape) {
    auto* dimension = tensor->mutable_shape()->add_dim();
    if (size < 0) {
      dimension->set_dim_param("n");
    } else {
      dimension->set_dim_value(size);
    }
  }
}

// A model that fits, for tests to modify.
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

std::string all_violations(const ModelInfo& model) {
  std::string text;
  for (const Violation& violation : check_contract(model)) {
    text += violation.subject + ": " + violation.text + "\n";
  }
  return text;
}

using Change = std::function<void(onnx_file::Graph&)>;

Change first_operators(const std::vector<std::vector<std::string>>& operators) {  // type, input, output
  return [=](onnx_file::Graph& graph) {
    for (const auto& words : operators) {
      onnx_file::Node* node = graph.add_node();
      node->set_op_type(words[0]);
      node->add_input(words[1]);
      node->add_output(words[2]);
    }
  };
}

struct ChangedModel {
  std::string name;
  Change change;
  std::string violations;  // all of them, line by line
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
    {"ColourIsCast",
     first_operators(
         {{"Shape", "rgb", "s"}, {"Identity", "rgb", "same"}, {"Cast", "same", "f"}, {"Relu", "f", "g"}}),
     ""},
    {"ColourInUint8",
     first_operators(
         {{"Identity", "rgb", "same"}, {"Transpose", "same", "t"}, {"Cast", "t", "f"}, {"Relu", "rgb", "a"}}),
     "rgb: the operator Transpose takes it as UINT8, in which TensorRT computes nothing; cast it to FLOAT "
     "before.\n"},
    {"OutputAsHalf",
     [](onnx_file::Graph& graph) { tensor_type(graph.mutable_output(0)).set_elem_type(kHalf); },
     "pred: its type is HALF; make it FLOAT, with a cast inside the network if need be.\n"},
    {"ConfidenceAsInput",
     [](onnx_file::Graph& graph) {
       *graph.add_input() = graph.output(1);
       graph.mutable_output()->RemoveLast();
       set_shape(*graph.mutable_input(2), {7});
     },
     "confidence_output: it is an input; make it an output.\n"},
    {"RankOfDepth", input_shape(1, {-1, -1}), "dep: its shape (-1, -1) has rank 2; make it (1, 1, H, W).\n"},
    {"RankBeyondAll", input_shape(1, Shape(17, 1)),
     "dep: its shape (1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, ...) has rank 17; make it (1, 1, H, "
     "W).\n"},
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
    EXPECT_EQ(all_violations(*info), changed.violations);
  }
}

TEST(InspectOnnx, RefusesWhatIsNoModel) {
  EXPECT_FALSE(read_onnx({}));
  EXPECT_FALSE(read_onnx(Bytes(100, 0xFF)));
  std::string file = fitting_model().SerializeAsString();
  file.resize(file.size() - 5);
  EXPECT_FALSE(read_onnx(Bytes(file.begin(), file.end())));
}

// An engine of the emulated board with these profiles.
std::string description(const std::string& profiles) {
  return R"(format = "enhance-depth-emulated-engine"
version = 1
network = "nothing"
tensor = [
  { name = "rgb", direction = "input", type = "uint8", shape = [1, 3, -1, -1] },
  { name = "dep", direction = "input", type = "float", shape = [1, 1, -1, -1] },
  { name = "pred", direction = "output", type = "float", shape = [-1, -1] },
]
)" + profiles;
}

LoadedEngine load(const std::string& content) {
  const TemporaryDirectory folder;
  std::ofstream(folder / "model.engine") << content;
  return load_engine(folder / "model.engine");
}

TEST(InspectEngine, AsksTensorRtWhatAnEngineIs) {
  const LoadedEngine loaded = load(description(
      "[[profile]]\nrgb = { min = [1, 3, 1, 2], opt = [1, 3, 3, 4], max = [1, 3, 5, 6] }\n[[profile]]\n"));
  ASSERT_TRUE(loaded.model);
  const std::vector<TensorInfo>& tensors = loaded.model->tensors;
  ASSERT_EQ(tensors.size(), 3U);
  EXPECT_EQ(tensors[0].name, "rgb");
  EXPECT_EQ(tensors[0].direction, Direction::kInput);
  EXPECT_EQ(tensors[0].type, "UINT8");
  EXPECT_EQ(tensors[0].shape, (Shape{1, 3, -1, -1}));
  EXPECT_EQ(tensors[2].direction, Direction::kOutput);
  EXPECT_EQ(tensors[2].type, "FLOAT");
  EXPECT_EQ(tensors[2].shape, (Shape{-1, -1}));
  ASSERT_EQ(loaded.model->profiles->size(), 2U);
  const ProfileInfo& profile = loaded.model->profiles->front();
  ASSERT_EQ(profile.size(), 1U);
  EXPECT_EQ(profile.at("rgb").min, (Shape{1, 3, 1, 2}));
  EXPECT_EQ(profile.at("rgb").max, (Shape{1, 3, 5, 6}));
}

TEST(InspectEngine, KeepsWhatTensorRtSaysShortAndFitToBeShown) {
  const LoadedEngine refused = load("\"\\u001b[2J" + std::string(200'000, 'a') + "\" = 1\n");
  EXPECT_FALSE(refused.model);
  ASSERT_EQ(refused.messages.size(), 1U);
  EXPECT_NE(refused.messages[0].find("does not say format"), std::string::npos) << refused.messages[0];
  const LoadedEngine unknown = load(description("\"\\u001b[2J" + std::string(200'000, 'a') + "\" = 1\n"));
  ASSERT_EQ(unknown.messages.size(), 1U);
  EXPECT_LT(unknown.messages[0].size(), 600U);
  EXPECT_EQ(unknown.messages[0].substr(unknown.messages[0].size() - 4), "a...");
  EXPECT_NE(unknown.messages[0].find("\\x1b[2Jaaa"), std::string::npos) << unknown.messages[0];
}

TEST(InspectEngine, ChecksTheProfiles) {
  const auto range = [](const std::string& name, const std::string& min, const std::string& max) {
    return name + " = { min = [" + min + "], opt = [" + min + "], max = [" + max + "] }\n";
  };
  const std::string rgb = range("rgb", "1, 3, 1, 1", "1, 3, 480, 640");
  const std::string fitting = "[[profile]]\n" + rgb + range("dep", "1, 1, 480, 640", "1, 1, 480, 640");
  const std::string too_small = "[[profile]]\n" + rgb + range("dep", "1, 1, 1, 1", "1, 1, 480, 639");
  const std::string of_another_rank =
      "[[profile]]\n" + range("rgb", "1, 1, 3", "480, 640, 3") + range("dep", "1, 1, 1, 1", "1, 1, 480, 640");
  const std::string without_depth = "[[profile]]\n" + range("rgb", "1, 3, 481, 1", "1, 3, 800, 800");
  const auto violations = [](const std::string& profiles) {
    return all_violations(*load(description(profiles)).model);
  };
  EXPECT_EQ(violations(fitting), "");
  EXPECT_EQ(violations(too_small + fitting), "");
  EXPECT_EQ(violations(""), "profiles: there is none; add one that admits 640 x 480 pixels.\n");
  EXPECT_EQ(violations(too_small + of_another_rank + without_depth),
            "profiles: none admits 640 x 480 pixels, which the library sets up first; widen one or add one "
            "(profile 0: dep from (1, 1, 1, 1) to (1, 1, 480, 639); profile 1: rgb from (1, 1, 3) to (480, "
            "640, 3); profile 2: rgb from (1, 3, 481, 1) to (1, 3, 800, 800), no range for dep).\n");
}

}  // namespace
}  // namespace enhance_depth_tool
