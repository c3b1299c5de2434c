// ONNX models on the emulated board, through the library: they run, and what is wrong with them fails as it
// would with the engine that a board's TensorRT builds of them.
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "onnx.pb.h"
#include "support/board_test.h"
#include "support/captured_output.h"

namespace {

using namespace test_support;

enum OnnxType { kFloat = 1, kUint8 = 2, kInt64 = 7, kHalf = 10, kDouble = 11 };

void set_shape(onnx_file::ValueInfo& value, const Shape& shape) {
  auto& type = *value.mutable_type()->mutable_tensor_type();
  type.clear_shape();
  type.mutable_shape();
  for (const std::int64_t dimension : shape) {
    auto* entry = type.mutable_shape()->add_dim();
    if (dimension < 0) {
      entry->set_dim_param("n");
    } else {
      entry->set_dim_value(dimension);
    }
  }
}

void set_type(onnx_file::ValueInfo& value, int type) {
  value.mutable_type()->mutable_tensor_type()->set_elem_type(type);
}

void set_value(onnx_file::ValueInfo& value, const std::string& name, int type, const Shape& shape) {
  value.set_name(name);
  set_type(value, type);
  set_shape(value, shape);
}

onnx_file::Node& add_node(onnx_file::Graph& graph, const std::string& type,
                          const std::vector<std::string>& inputs, const std::string& output) {
  auto& node = *graph.add_node();
  node.set_op_type(type);
  for (const std::string& input : inputs) {
    node.add_input(input);
  }
  node.add_output(output);
  return node;
}

onnx_file::Attribute& add_attribute(onnx_file::Node& node, const std::string& name, int type) {
  auto& attribute = *node.add_attribute();
  attribute.set_name(name);
  attribute.set_type(type);
  return attribute;
}

void add_cast(onnx_file::Graph& graph, const std::string& input, const std::string& output, int type) {
  constexpr int kInteger = 2;
  add_attribute(add_node(graph, "Cast", {input}, output), "to", kInteger).set_i(type);
}

onnx_file::Tensor& add_constant(onnx_file::Graph& graph, const std::string& name, const Shape& shape,
                                float value) {
  auto& tensor = *graph.add_initializer();
  tensor.set_name(name);
  tensor.set_data_type(kFloat);
  std::int64_t count = 1;
  for (const std::int64_t dimension : shape) {
    tensor.add_dims(dimension);
    count *= dimension;
  }
  for (std::int64_t i = 0; i < count; ++i) {
    tensor.add_float_data(value);
  }
  return tensor;
}

// Makes `output` of the node that made it until now through another operator.
void insert(onnx_file::Graph& graph, const std::string& output,
            const std::function<void(const std::string& from)>& add_last) {
  const std::string before = output + "_before";
  for (onnx_file::Node& node : *graph.mutable_node()) {
    if (node.output(0) == output) {
      node.set_output(0, before);
    }
  }
  add_last(before);
}

// A model that fits: pred is twice the depth and half a unit, confidence_output the mean colour.
onnx_file::Model fitting_model() {
  onnx_file::Model model;
  model.set_ir_version(8);
  model.add_opset_import()->set_version(17);
  auto& graph = *model.mutable_graph();
  set_value(*graph.add_input(), "rgb", kUint8, {1, 3, -1, -1});
  set_value(*graph.add_input(), "dep", kFloat, {1, 1, -1, -1});
  set_value(*graph.add_output(), "pred", kFloat, {1, 1, -1, -1});
  set_value(*graph.add_output(), "confidence_output", kFloat, {1, 1, -1, -1});
  add_constant(graph, "two", {}, 2);
  add_constant(graph, "half", {}, 0.5F);
  add_node(graph, "Mul", {"dep", "two"}, "twice");
  add_node(graph, "Add", {"twice", "half"}, "pred");
  add_cast(graph, "rgb", "color", kFloat);
  constexpr int kIntegers = 7;
  add_attribute(add_node(graph, "ReduceMean", {"color"}, "confidence_output"), "axes", kIntegers).add_ints(1);
  return model;
}

void add_metadata(onnx_file::Model& model, const std::string& key, const std::string& value) {
  auto& entry = *model.add_metadata_props();
  entry.set_key("enhance_depth.profile." + key);
  entry.set_value(value);
}

void add_profile(onnx_file::Model& model, int number, const std::string& least, const std::string& most) {
  for (const auto& [input, channels] : {std::pair{"rgb", "1x3x"}, std::pair{"dep", "1x1x"}}) {
    const std::string prefix = std::to_string(number) + "." + input + ".";
    add_metadata(model, prefix + "min", channels + least);
    add_metadata(model, prefix + "max", channels + most);
  }
}

class OnnxModels : public BoardTest {
 protected:
  std::string write(const onnx_file::Model& model) const {
    return directory_.write("model.onnx", model.SerializeAsString());
  }
  Handle create_onnx(const onnx_file::Model& model) const {
    ErrorPlace error;
    Handle handle(enhance_depth_create(write(model).c_str(), error));
    EXPECT_NE(handle, nullptr) << error.read();
    return handle;
  }
};

void expect_result(const Handle& handle, int width, int height, unsigned seed) {
  const Frame frame(width, height, seed);
  const enhance_depth_input input = frame.input();
  enhance_depth_output output{};
  ErrorPlace error;
  ASSERT_EQ(enhance_depth_process(handle.get(), &input, &output, error), 1) << error.read();
  const std::size_t pixels = frame.depth.size();
  for (std::size_t i = 0; i < pixels; ++i) {
    ASSERT_EQ(output.pred[i], std::min(2 * frame.depth[i], 65535)) << i;
    const float mean =
        static_cast<float>(frame.rgb[i] + frame.rgb[pixels + i] + frame.rgb[2 * pixels + i]) / 3;
    ASSERT_NEAR(output.conf[i], mean, 1e-4) << i;
  }
}

TEST_F(OnnxModels, RunInTheOrderOfTheStreamAndInEverySize) {
  const CapturedOutput printed;
  const Handle handle = create_onnx(fitting_model());
  expect_result(handle, 640, 480, 1);
  EXPECT_EQ(std::string(emulated_board_network_runner()).substr(0, 9), "OpenVINO ");
  for (const auto& [width, height] : {std::pair{1, 1}, std::pair{7, 33}, std::pair{320, 240},
                                      std::pair{64, 64}, std::pair{128, 32}, std::pair{7, 33}}) {
    ASSERT_EQ(enhance_depth_reset(handle.get(), width, height, nullptr), 1);
    expect_result(handle, width, height, 2);
    expect_result(handle, width, height, 3);
  }
  EXPECT_EQ(enhance_depth_reset(handle.get(), 8193, 8, nullptr), 0);
  EXPECT_EQ(printed.text(), "");

  const Handle described = create();
  EXPECT_STREQ(emulated_board_network_runner(), "the emulated board's own network");
}

using Change = std::function<void(onnx_file::Model&)>;

struct Refusal {
  const char* name;
  Change change;
  int code;
  const char* reason;  // part of what TensorRT says, or else of the library's message
};

Change graph_change(const std::function<void(onnx_file::Graph&)>& change) {
  return [change](onnx_file::Model& model) { change(*model.mutable_graph()); };
}

void nest(onnx_file::Graph& graph, int depth) {
  constexpr int kGraph = 5;
  if (depth > 0) {
    nest(*add_attribute(add_node(graph, "If", {"dep"}, "o"), "then_branch", kGraph).mutable_g(), depth - 1);
  }
}

const Refusal kRefusals[] = {
    {"DepthMissing", graph_change([](auto& graph) {
       graph.mutable_input(1)->set_name("depth");
       graph.mutable_node(0)->set_input(0, "depth");
     }),
     29, "Required tensor not found in engine: dep"},
    {"ConfidenceIsAnInput", graph_change([](auto& graph) {
       graph.mutable_output()->RemoveLast();
       set_value(*graph.add_input(), "confidence_output", kFloat, {1, 1, -1, -1});
       graph.mutable_node(3)->set_output(0, "unused");
     }),
     30, "Tensor mode mismatch for confidence_output"},
    {"ColorOfFloats", graph_change([](auto& graph) { set_type(*graph.mutable_input(0), kFloat); }), 31,
     "Tensor dtype mismatch for rgb. Expected UINT8, got FLOAT"},
    {"HalfPrecisionOutput", graph_change([](auto& graph) {
       insert(graph, "pred", [&](const std::string& from) { add_cast(graph, from, "pred", kHalf); });
       set_type(*graph.mutable_output(0), kHalf);
     }),
     31, "Tensor dtype mismatch for pred. Expected FLOAT, got HALF"},
    {"FiveTensors", graph_change([](auto& graph) { set_value(*graph.add_input(), "more", kFloat, {1}); }), 32,
     "Expected 3 or 4 IO tensors"},
    {"FlatColor", graph_change([](auto& graph) {
       set_shape(*graph.mutable_input(0), {-1, -1});
       graph.mutable_node(3)->mutable_attribute(0)->set_ints(0, 1);
       set_shape(*graph.mutable_output(1), {-1, 1});
     }),
     32, "Unexpected rgb tensor rank: (-1, -1)"},
    {"SizeThatDependsOnThePixels", graph_change([](auto& graph) {
       insert(graph, "pred", [&](const std::string& from) {
         add_node(graph, "NonZero", {from}, "places");
         add_cast(graph, "places", "pred", kFloat);
       });
       set_shape(*graph.mutable_output(0), {4, -1});
     }),
     32, "Tensor shape is not fully specified for pred: (4, -1)"},
    {"SizeThatTheNetworkCannotTake", graph_change([](auto& graph) {
       add_constant(graph, "tile", {1, 1, 7, 9}, 1);
       insert(graph, "pred", [&](const std::string& from) {
         add_node(graph, "Add", {from, "tile"}, "pred");
       });
     }),
     32, "IExecutionContext::getTensorShape: Error Code 9: Internal Error (OpenVINO: "},
    {"OtherFixedSize", graph_change([](auto& graph) {
       set_shape(*graph.mutable_input(0), {1, 3, 240, 320});
       set_shape(*graph.mutable_input(1), {1, 1, 240, 320});
     }),
     26, "depth outside range. actual=(1, 1, 480, 640), min=(1, 1, 240, 320), max=(1, 1, 240, 320)"},
    {"ProfilesOfTheMetadata",
     [](auto& model) {
       add_profile(model, 0, "16x16", "240x320");
       add_profile(model, 1, "500x16", "1080x1920");
     },
     26,
     "profile 1: rgb outside range. actual=(1, 3, 480, 640), min=(1, 3, 500, 16), max=(1, 3, 1080, 1920)"},
    {"ProfileWithoutDepth",
     [](auto& model) {
       add_metadata(model, "0.rgb.min", "1x3x8x8");
       add_metadata(model, "0.rgb.max", "1x3x480x640");
     },
     13, "profile 0 of the metadata has no shapes for \"dep\""},
    {"ProfileOfAnotherTensor",
     [](auto& model) {
       add_profile(model, 0, "16x16", "480x640");
       add_metadata(model, "0.pred.min", "1x1x8x8");
     },
     13, "names \"pred\", which is no input"},
    {"ProfileNumbersWithAGap", [](auto& model) { add_profile(model, 1, "16x16", "480x640"); }, 13,
     "profile 1 of the metadata comes without those before it"},
    {"ProfileUpsideDown", [](auto& model) { add_profile(model, 0, "480x640", "16x16"); }, 13,
     "needs for \"rgb\" min <= opt <= max that fit (1, 3, -1, -1)"},
    {"ProfileOfAnotherRank", [](auto& model) { add_profile(model, 0, "16", "480"); }, 13,
     "that fit (1, 3, -1, -1)"},
    {"ProfileThatIsNoShape", [](auto& model) { add_metadata(model, "0.rgb.min", "1x3xHxW"); }, 13,
     "\"enhance_depth.profile.0.rgb.min\" = \"1x3xHxW\" name no profile"},
    {"ProfileKeyThatIsNone", [](auto& model) { add_metadata(model, "0.rgb.middle", "1x3x8x8"); }, 13,
     "name no profile"},
    {"OperatorThatOpenVinoLacks",
     graph_change([](auto& graph) { graph.mutable_node(0)->set_op_type("Frobnicate"); }), 13,
     "No conversion rule found for operations: Frobnicate-17)"},
    {"MissingValue", graph_change([](auto& graph) { graph.mutable_node(0)->set_input(0, "nowhere"); }), 13,
     "its operator \"Mul\" reads \"nowhere\", which nothing before it makes"},
    {"OperatorWithTooFewInputs", graph_change([](auto& graph) { add_node(graph, "Conv", {"dep"}, "a"); }), 13,
     "its operator \"Conv\" has 1 input and needs at least 2"},
    {"OperatorOfAnotherDomainWithTooFewInputs", graph_change([](auto& graph) {
       add_node(graph, "FusedConv", {"dep"}, "a").set_domain("com.microsoft");
     }),
     13, "its operator \"FusedConv\" has 1 input and needs at least 2"},
    {"OperatorWithTooFewInputsForItsVersion",
     [](auto& model) {
       model.mutable_opset_import(0)->set_version(10);
       add_node(*model.mutable_graph(), "Gemm", {"dep", "dep"}, "a");
     },
     13, "its operator \"Gemm\" has 2 inputs and needs at least 3"},
    {"OperatorWithTooFewInputsInTheHighestOfTwoVersions",
     [](auto& model) {
       model.add_opset_import()->set_version(1);
       add_node(*model.mutable_graph(), "Pad", {"dep"}, "a");
     },
     13, "its operator \"Pad\" has 1 input and needs at least 2"},
    {"OperatorWithTooFewInputsForTheVersionOfItsFunction",
     [](auto& model) {
       auto& function = *model.add_functions();
       function.add_opset_import()->set_version(10);
       auto& node = *function.add_node();
       node.set_op_type("Gemm");
       node.add_input("");
       node.add_input("");
     },
     13, "its operator \"Gemm\" has 2 inputs and needs at least 3"},
    {"OperatorsOfANegativeVersion", [](auto& model) { model.mutable_opset_import(0)->set_version(-1); }, 13,
     "it takes version -1 of ONNX's operators"},
    {"OperatorsOfAnEndlessVersion",
     [](auto& model) { model.mutable_opset_import(0)->set_version(std::int64_t{1} << 62); }, 13,
     "it takes version 4611686018427387904 of ONNX's operators"},
    {"LineEndInAName", graph_change([](auto& graph) { graph.mutable_node(0)->set_input(0, "no\nwhere"); }),
     13, "reads \"no?where\""},
    {"OperatorsInACircle", graph_change([](auto& graph) {
       add_node(graph, "Relu", {"b"}, "a");
       add_node(graph, "Relu", {"a"}, "b");
     }),
     13, "its operator \"Relu\" reads \"b\", which nothing before it makes"},
    {"OperatorsInACircleInsideAnother", graph_change([](auto& graph) {
       nest(graph, 1);
       auto& inner = *graph.mutable_node(graph.node_size() - 1)->mutable_attribute(0)->mutable_g();
       add_node(inner, "Relu", {"dep"}, "a");
       add_node(inner, "Relu", {"b"}, "b");
     }),
     13, "its operator \"Relu\" reads \"b\", which nothing before it makes"},
    {"ValueOfAnEndedGraph", graph_change([](auto& graph) {
       nest(graph, 1);
       add_node(*graph.mutable_node(graph.node_size() - 1)->mutable_attribute(0)->mutable_g(), "Relu",
                {"dep"}, "a");
       add_node(graph, "Relu", {"a"}, "b");
     }),
     13, "its operator \"Relu\" reads \"a\", which nothing before it makes"},
    {"TypeThatTensorRtLacks",
     graph_change([](auto& graph) { set_value(*graph.add_input(), "d", kDouble, {1}); }), 13,
     "input \"d\" has the element type f64, which TensorRT has not"},
    {"UnknownRank", graph_change([](auto& graph) {
       graph.mutable_input(0)->mutable_type()->mutable_tensor_type()->clear_shape();
     }),
     13, "input \"rgb\" does not settle its number of dimensions"},
    {"OneNameTwice", graph_change([](auto& graph) { *graph.add_output() = graph.output(0); }), 13,
     "two inputs or outputs are called \"pred\""},
    {"NoName", graph_change([](auto& graph) { graph.mutable_output(0)->clear_name(); }), 13, "has no name"},
    {"NoGraph", [](auto& model) { model.clear_graph(); }, 13, "it has no graph"},
    {"NoVersion", [](auto& model) { model.clear_ir_version(); }, 13,
     "it does not give the version of its format"},
    {"WeightsInAnotherFile", graph_change([](auto& graph) {
       auto& location = *graph.mutable_initializer(0)->add_external_data();
       location.set_key("location");
       location.set_value("/etc/passwd");
     }),
     13, "weights are in \"/etc/passwd\", and an engine is one file"},
    {"WeightsElsewhereInAnOperator", graph_change([](auto& graph) {
       constexpr int kTensor = 4;
       auto& weights = *add_attribute(add_node(graph, "Constant", {}, "k"), "value", kTensor).mutable_t();
       weights.set_data_location(1);
     }),
     13, "weights are in \"another file\""},
    {"WeightsElsewhereInAFunction",
     [](auto& model) {
       constexpr int kSparse = 11;
       auto& node = *model.add_functions()->add_node();
       node.set_op_type("Constant");
       auto& attribute = *node.add_attribute();
       attribute.set_type(kSparse);
       attribute.mutable_sparse_tensor()->mutable_values()->set_data_location(1);
     },
     13, "weights are in \"another file\""},
    {"NestedTooDeep", graph_change([](auto& graph) { nest(graph, 8); }), 13,
     "its graphs are nested more than 8 deep"},
    {"TooManyOperators", graph_change([](auto& graph) {
       for (int i = 0; i < 20'000; ++i) {
         add_node(graph, "Relu", {"dep"}, "");
       }
     }),
     13, "it has more than 20000 operators"},
};

class OnnxRefusals : public OnnxModels, public testing::WithParamInterface<Refusal> {};

TEST_P(OnnxRefusals, FailAsTheBoardsEngineWould) {
  onnx_file::Model model = fitting_model();
  GetParam().change(model);
  const std::string path = write(model);
  testing::internal::CaptureStderr();
  ErrorPlace error;
  std::string printed;
  {
    const CapturedOutput output;
    const Handle handle(enhance_depth_create(path.c_str(), error));
    EXPECT_EQ(handle, nullptr);
    printed = output.text();
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  const Record record = error.read();
  EXPECT_EQ(record.code, GetParam().code) << record;
  // The whole message is in the log; a record's text is cut.
  std::string told = printed;
  for (const std::string& line : logged(3)) {
    told += line + "\n";
  }
  told += record.message;
  EXPECT_NE(told.find(GetParam().reason), std::string::npos) << told;
  if (GetParam().code == 13) {
    EXPECT_EQ(
        printed.rfind("TRT: IRuntime::deserializeCudaEngine: Error Code 1: Serialization (the ONNX model", 0),
        0U);
    EXPECT_EQ(printed.find('\n'), printed.size() - 1) << printed;
  }
}

INSTANTIATE_TEST_SUITE_P(Models, OnnxRefusals, testing::ValuesIn(kRefusals),
                         [](const auto& refusal) { return std::string(refusal.param.name); });

TEST_F(OnnxModels, DamagedFilesAreRefusedInOneLine) {
  const std::string whole = fitting_model().SerializeAsString();
  const CapturedOutput output;
  for (const std::size_t size : {whole.size() - 1, whole.size() / 2, std::size_t{3}}) {
    ErrorPlace error;
    const std::string path = directory_.write("cut.onnx", whole.substr(0, size));
    EXPECT_EQ(enhance_depth_create(path.c_str(), error), nullptr);
    EXPECT_EQ(error.read().code, 13);
  }
  const std::string printed = output.text();
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 3) << printed;
}

TEST_F(OnnxModels, AFixedSizeIsAProfileOfThatSizeAlone) {
  onnx_file::Model model = fitting_model();
  set_shape(*model.mutable_graph()->mutable_input(0), {1, 3, 480, 640});
  set_shape(*model.mutable_graph()->mutable_input(1), {1, 1, 480, 640});
  const Handle handle = create_onnx(model);
  expect_result(handle, 640, 480, 1);
  ErrorPlace error;
  EXPECT_EQ(enhance_depth_reset(handle.get(), 640, 479, error), 0);
  EXPECT_EQ(error.read().code, 26);
}

// As for a failing kernel on the board: the next wait reports the failure, and then it is gone.
TEST_F(OnnxModels, AnExceptionOfTheRunIsACudaErrorOfTheNextWait) {
  onnx_file::Model model = fitting_model();
  auto& graph = *model.mutable_graph();
  // Multiplies the image by a square matrix of as many rows as 7 and its largest depth.
  add_constant(graph, "seven", {2}, 7);
  insert(graph, "pred", [&graph](const std::string& from) {
    add_node(graph, "ReduceMax", {"dep"}, "largest");
    auto& one = *graph.add_initializer();
    one.set_name("one");
    one.set_data_type(kInt64);
    one.add_dims(1);
    one.add_int64_data(1);
    add_node(graph, "Reshape", {"largest", "one"}, "largest_1d");
    add_node(graph, "Add", {"largest_1d", "seven"}, "length");
    add_cast(graph, "length", "shape", kInt64);
    add_node(graph, "Expand", {"half", "shape"}, "square");
    add_node(graph, "MatMul", {"dep", "square"}, "rows");
    add_node(graph, "ReduceMax", {"rows"}, "top");
    add_node(graph, "Add", {from, "top"}, "pred");
  });
  const std::string path = write(model);
  ErrorPlace error;
  std::string printed;
  {
    const CapturedOutput output;
    const Handle handle(enhance_depth_create(path.c_str(), error));
    printed = output.text();
  }
  EXPECT_EQ(error.read().code, 24) << error.read();
  EXPECT_EQ(printed.rfind("TRT: IExecutionContext::enqueueV3: Error Code 9: Internal Error (OpenVINO: ", 0),
            0U)
      << printed;
}

class Environment {
 public:
  Environment(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
  ~Environment() { unsetenv(name_); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  const char* name_;
};

TEST_F(OnnxModels, ThreadsAndCacheAreChosenByTheEnvironment) {
  {
    const Environment threads("EMULATED_BOARD_THREADS", "1");
    const std::string folder = directory_ / "cache";
    const Environment cache("EMULATED_BOARD_CACHE", folder.c_str());
    expect_result(create_onnx(fitting_model()), 640, 480, 1);
    EXPECT_NE(std::string(emulated_board_network_runner()).find(", 1 thread"), std::string::npos);
    EXPECT_TRUE(std::ifstream(folder).good()) << "nothing was cached";
    expect_result(create_onnx(fitting_model()), 640, 480, 1);
  }
  for (const char* bad : {"-1", "two", "1.5", "", "1025"}) {
    const Environment threads("EMULATED_BOARD_THREADS", bad);
    const CapturedOutput output;
    EXPECT_EQ(enhance_depth_create(write(fitting_model()).c_str(), nullptr), nullptr);
    EXPECT_NE(output.text().find("EMULATED_BOARD_THREADS must be a number from 0 to 1024"),
              std::string::npos);
  }
}

std::size_t resident_kibibytes() {
  std::ifstream statm("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  statm >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

// Each to a size of its own, so that none is found ready. Without a bound, 100 sizes hold 100 MiB.
TEST_F(OnnxModels, ResettingOverAndOverDoesNotGrowMemory) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the address sanitizer keeps freed memory for a while";
#endif
  const Handle handle = create_onnx(fitting_model());
  constexpr int kResets = 150;
  constexpr int kSettled = 50;
  std::size_t settled = 0;
  for (int i = 0; i < kResets; ++i) {
    emulated_board::capture_log(true);  // drops the lines of the resets before
    ASSERT_EQ(enhance_depth_reset(handle.get(), 300 + i % 7, 200 + i / 7, nullptr), 1);
    if (i == kSettled) {
      settled = resident_kibibytes();
    }
  }
  const std::size_t finally = resident_kibibytes();
  EXPECT_LT(finally, settled + 16 * 1024);
}

}  // namespace
