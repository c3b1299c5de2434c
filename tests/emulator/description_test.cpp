// The emulated TensorRT's engine descriptions: what can be described, and the messages for what cannot.
#include <string>
#include <variant>

#include <gtest/gtest.h>

#include "emulated_engine.h"
#include "nvinfer/engine_description.h"

namespace {

using emulated_board_tests::engine_with;

// What every description needs, in three lines.
const std::string kHeader = "format = 'enhance-depth-emulated-engine'\nversion = 1\nnetwork = 'nothing'\n";

TEST(EmulatedEngineDescription, UnfitEnginesCanBeDescribed) {
  const auto none = emulated_board::nvinfer::parse_engine_description(kHeader);
  ASSERT_TRUE(std::holds_alternative<emulated_board::nvinfer::EngineDescription>(none));
  EXPECT_TRUE(std::get<emulated_board::nvinfer::EngineDescription>(none).tensors.empty());
  const auto odd = emulated_board::nvinfer::parse_engine_description(
      kHeader +
      "[[tensor]]\nname='a b'\ndirection='output'\ntype='int4'\nshape=[]\n"
      "[[tensor]]\nname='x'\ndirection='input'\ntype='bf16'\nshape=[1,2,3,4,5,6,7,0]\n[[profile]]\n");
  ASSERT_TRUE(std::holds_alternative<emulated_board::nvinfer::EngineDescription>(odd));
  EXPECT_EQ(std::get<emulated_board::nvinfer::EngineDescription>(odd).tensors[1].shape.nbDims, 8);
  EXPECT_EQ(std::get<emulated_board::nvinfer::EngineDescription>(odd).profiles.size(), 1U);
}

TEST(EmulatedEngineDescription, WhatIsWrongIsSaidWithItsPlace) {
  const std::string nested(3000, '.');
  const struct {
    std::string text;
    const char* message;
  } cases[] = {
      {"", "it is empty"},
      {std::string("\x7f"
                   "ELF\0\1",
                   6),
       "binary data"},
      {"key = 'value'\n", "it is not an engine of the emulated board"},
      {std::string(300 << 10, ' '),
       "it is too large for an engine of the emulated board: it has 307200 bytes"},
      {nested, "it has 3000 dots"},
      {"format = 'enhance-depth-emulated-engine\n", "line 1, column 4"},
      {engine_with("rgb-sum", "d\xc3\xa9pth"), "line 3, column 13: there is a character that is not ASCII"},
      {"format = 1\n[=", "it is not well-formed TOML"},
      {engine_with("version = 1", "version = 2"), "line 2, column 11: \"version\" must be 1"},
      {engine_with("version = 1\n", ""), "the description has no \"version\""},
      {engine_with("network = \"rgb-sum\"", "network = 3"),
       "line 3, column 11: \"network\" must be a string"},
      {engine_with("rgb-sum", "resnet"),
       "line 3, column 11: there is no network \"resnet\"; there are guided-filter, "},
      {engine_with("[[tensor]]", "[parameters]\nradius = 8\n[[tensor]]"),
       "line 4, column 1: network \"rgb-sum\" has no parameter \"radius\""},
      {engine_with("[[tensor]]", "[parameters]\nradius = true\n[[tensor]]"),
       "parameter \"radius\" must be a number"},
      {engine_with("network = \"rgb-sum\"", "network = \"guided-filter\"\nparameters = { radius = -1 }"),
       "parameter \"radius\" is -1; it must be from 0 to "},
      {engine_with("network = \"rgb-sum\"", "network = \"guided-filter\"\nparameters = { radius = 1.5 }"),
       "parameter \"radius\" must be a whole number"},
      {engine_with("network", "layers = 5\nnetwork"),
       "line 3, column 1: the description has an unknown entry \"layers\""},
      {kHeader + "tensor = 1\n",
       "line 4, column 10: \"tensor\" must be an array of tables, written [[tensor]]"},
      {kHeader + "tensor = [1]\n", "line 4, column 11: each \"tensor\" must be a table, written [[tensor]]"},
      {engine_with("name = \"rgb\"", "nam = \"rgb\""), "unknown entry \"nam\""},
      {engine_with("name = \"rgb\"\n", ""), "[[tensor]] has no \"name\""},
      {engine_with("name = \"rgb\"", "name = \"\""), "the name of a tensor must be a text"},
      {engine_with("name = \"rgb\"", "name = \"dep\""), "there is more than one tensor \"dep\""},
      {engine_with("\"input\"", "\"in\""), "\"direction\" is \"in\"; it must be \"input\" or \"output\""},
      {engine_with("uint8", "u8"), "line 7, column 8: \"type\" is \"u8\"; it must be one of float, half, "},
      {engine_with("[1, 3, -1, -1]", "[1, 3, -2, -1]"), "line 8, column 16: each dimension"},
      {engine_with("[1, 3, -1, -1]", "[1, 3.0]"), "must be a whole number"},
      {engine_with("[1, 3, -1, -1]", "[1, 2, 3, 4, 5, 6, 7, 8, 9]"), "\"shape\" has 9 dimensions; at most 8"},
      {engine_with("[1, 3, -1, -1]", "640"), "\"shape\" must be an array"},
      {engine_with("rgb = { min = [1, 3, 2, 2]", "rgb = { min = [1, 3, 5, 2]"), "min <= opt <= max"},
      {engine_with("opt = [4]", "opt = [6]"), "min <= opt <= max"},
      {engine_with("rgb = { min = [1, 3, 2, 2]", "rgb = { min = [1, 3, 2]"), "different ranks"},
      {engine_with("rgb = { min = [1, 3, 2, 2]", "rgb = { min = [1, 3, -1, 2]"), "from 0 to 2147483647"},
      {engine_with("rgb = { min", "rgb = { least"), "unknown entry \"least\""},
      {engine_with("rgb = { min", "red = { min"), "\"red\", which is not an input tensor"},
      {engine_with("rgb = { min", "pred = { min"), "\"pred\", which is not an input tensor"},
      {engine_with("dep = { min", "rgb = { min"),
       "line 26, column 7: Error while parsing key-value pair: cannot redefine existing table 'rgb'"},
      {kHeader + "[profile]\n",
       "line 4, column 1: \"profile\" must be an array of tables, written [[profile]]"},
      {engine_with("rgb-sum\"", "constant\"\nparameters = { value = -1e300 }"),
       "line 4, column 14: parameter \"value\" is too large for a float"},
  };
  for (const auto& each : cases) {
    const auto parsed = emulated_board::nvinfer::parse_engine_description(each.text);
    const auto* error = std::get_if<emulated_board::nvinfer::DescriptionError>(&parsed);
    ASSERT_NE(error, nullptr) << each.message;
    EXPECT_NE(error->message.find(each.message), std::string::npos)
        << "expected: " << each.message << "\nfound: " << error->message;
  }
}

}  // namespace
