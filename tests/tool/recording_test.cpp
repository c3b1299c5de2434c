// How the tool finds the frames of a recording.
#include "sequence/recording.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sequence/pairing.h"
#include "sequence/tum_layout.h"
#include "support.h"
#include "support/atomic_file.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

using Pairs = std::vector<std::pair<std::size_t, std::size_t>>;  // colour, depth

Pairs by_time(const std::vector<double>& color, const std::vector<double>& depth, double max_difference) {
  Pairs pairs;
  for (const IndexPair& pair : pair_by_time(color, depth, max_difference)) {
    pairs.emplace_back(pair.color, pair.depth);
  }
  return pairs;
}

// The definition taken literally: repeatedly the closest of the remaining pairs.
Pairs pair_by_definition(const std::vector<double>& color, const std::vector<double>& depth,
                         double max_difference) {
  std::multimap<double, Pairs::value_type> candidates;
  for (std::size_t c = 0; c < color.size(); ++c) {
    for (std::size_t d = 0; d < depth.size(); ++d) {
      candidates.insert({std::abs(color[c] - depth[d]), {c, d}});
    }
  }
  std::set<std::size_t> used_color;
  std::set<std::size_t> used_depth;
  Pairs pairs;
  for (const auto& [difference, pair] : candidates) {
    const bool free = used_color.count(pair.first) == 0 && used_depth.count(pair.second) == 0;
    if (!free || difference > max_difference) {
      continue;
    }
    used_color.insert(pair.first);
    used_depth.insert(pair.second);
    pairs.push_back(pair);
  }
  std::sort(pairs.begin(), pairs.end(),
            [&](const auto& a, const auto& b) { return depth[a.second] < depth[b.second]; });
  return pairs;
}

TEST(ToolPairing, AgreesWithItsDefinition) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> time(0.0, 1.0);
  for (int round = 0; round < 200; ++round) {
    std::vector<double> color(random() % 20);
    std::vector<double> depth(random() % 20);
    std::generate(color.begin(), color.end(), [&] { return time(random); });
    std::generate(depth.begin(), depth.end(), [&] { return time(random); });
    EXPECT_EQ(by_time(color, depth, 0.3), pair_by_definition(color, depth, 0.3 + 1e-6));
  }
  // As far apart as is allowed, and just beyond.
  EXPECT_EQ(by_time({1305031102.37}, {1305031102.39}, 0.02), (Pairs{{0, 0}}))
      << "as numbers, 0.0200002 apart";
  EXPECT_EQ(by_time({1305031102.175304}, {1305031102.195404}, 0.02), Pairs{});
}

TEST(ToolTumLayout, ReadsTheListsOfTheBenchmark) {
  const auto entries = parse_tum_list(
      "# color images\n#\n\n1305031102.175304 rgb/1305031102.175304.png\r\n 12,\trgb/with blank.png \n3 x",
      "rgb.txt");
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].time, 1305031102.175304);
  EXPECT_EQ(entries[0].time_text, "1305031102.175304");
  EXPECT_EQ(entries[0].file, "rgb/1305031102.175304.png");
  EXPECT_EQ(entries[1].file, "rgb/with blank.png");
  EXPECT_EQ(entries[2].file, "x");

  const auto again = parse_tum_list(tum_list("title", entries), "again");
  ASSERT_EQ(again.size(), 3U);
  EXPECT_EQ(again[1].time_text, entries[1].time_text);
  EXPECT_EQ(again[1].file, entries[1].file);
}

TEST(ToolTumLayout, NamesTheLineThatItCannotRead) {
  for (const char* line :
       {"rgb/a.png", "1.5", "1.5s rgb/a.png", "nan a.png", "1e999 a.png", "inf a.png", "0x10 a"}) {
    SCOPED_TRACE(line);
    EXPECT_EQ(failure([&] {
                parse_tum_list("# list\n1.0 a.png\n" + std::string(line) + "\n", "rgb.txt");
              }).substr(0, 16),
              "rgb.txt, line 3:");
  }
}

class ToolRecording : public testing::Test {
 protected:
  void add(const std::string& name, const std::string& content = "") {
    fs::create_directories((folder_ / name).parent_path());
    write_file(folder_ / name, content);
  }
  static std::vector<std::string> names(const Recording& recording) {
    std::vector<std::string> result;
    for (const FrameFiles& frame : recording.frames) {
      result.push_back(frame.color.filename().string() + "+" + frame.depth.filename().string());
    }
    return result;
  }
  using Names = std::vector<std::string>;
  TemporaryDirectory folder_;
};

TEST_F(ToolRecording, PairsATumFolderAndCountsWhatIsLeft) {
  add("rgb.txt", "1.00 rgb/1.00.png\n2.00 rgb/2.00.png\n3.00 rgb/3.00.png\n");
  add("depth.txt", "# depth\n3.01 depth/3.01.png\n1.01 depth/1.01.png\n");
  const Recording recording = open_recording(folder_.path(), 0.02);
  EXPECT_EQ(names(recording), (Names{"1.00.png+1.01.png", "3.00.png+3.01.png"}));
  EXPECT_TRUE(recording.timed);
  EXPECT_EQ(recording.unpaired_color, 1U);
  EXPECT_EQ(recording.unpaired_depth, 0U);
  EXPECT_EQ(recording.frames[0].name, "1.01");
  EXPECT_EQ(recording.frames[0].depth_time, "1.01");
  EXPECT_EQ(recording.frames[0].color, folder_ / "rgb/1.00.png");
  EXPECT_TRUE(fails_with("allow more with --max-difference", [&] { open_recording(folder_.path(), 0.001); }));
}

TEST_F(ToolRecording, PairsFoldersByNameAndCountsWhatIsLeft) {
  for (const char* name : {"color/2.jpg", "color/10.JPG", "color/notes.txt", "color/7.png", "depth/2.png",
                           "depth/10.tif", "depth/99.png", "color/._7.png", "depth/._99.png"}) {
    add(name);
  }
  const Recording by_name = open_recording(folder_.path(), 0.02);
  EXPECT_EQ(names(by_name), (Names{"2.jpg+2.png", "10.JPG+10.tif"}));
  EXPECT_EQ(by_name.unpaired_color, 1U);
  EXPECT_EQ(by_name.unpaired_depth, 1U);
  EXPECT_FALSE(by_name.timed);
  add("color/2.png");
  EXPECT_TRUE(fails_with("color/2.png has the name of another colour image of the recording. Rename one",
                         [&] { open_recording(folder_.path(), 0.02); }));
}

TEST_F(ToolRecording, PairsPatternsByOrderOfNumbers) {
  for (const char* name :
       {"c_0009.png", "c_10.png", "d9.png", "d10.png", "a/c.png", "b/c.png", "a/d.png", "b/d.png"}) {
    add(name);
  }
  const std::string place = folder_.path().string();
  EXPECT_EQ(names(open_recording(place + "/c*.png", place + "/d*.png")),
            (Names{"c_0009.png+d9.png", "c_10.png+d10.png"}));
  Recording recording = open_recording(place + "/c*.png", place + "/d*.png");
  EXPECT_TRUE(recording.paired_by_order);
  select_frames(recording, {1, 2, 9});
  EXPECT_EQ(names(recording), (Names{"c_10.png+d10.png"}));
  EXPECT_TRUE(fails_with("has 1 frame, and none", [&] { select_frames(recording, {1, 2, 9}); }));
  const struct {
    const char* color;
    const char* depth;
    const char* refusal;
  } kCases[] = {{"/c*.png", "/d9.png", "2 and 1 images cannot be"},
                {"/x*.png", "/d9.png", "matches no colour images"},
                {"/*/c.png", "/*/d.png", "Rename one"}};
  for (const auto& example : kCases) {
    EXPECT_TRUE(fails_with(example.refusal, [&] {
      open_recording(place + example.color, place + example.depth);
    })) << example.refusal;
  }
}

TEST_F(ToolRecording, SaysWhatIsMissing) {
  const std::string place = folder_.path().string();
  EXPECT_TRUE(fails_with("is not a folder", [&] { open_recording(folder_ / "no", 0.02); }));
  fs::create_symlink("circle", folder_ / "circle");
  for (const char* unreachable : {"circle", "circle/*.png"}) {
    EXPECT_TRUE(fails_with("symbolic links", [&] { open_recording(place + "/" + unreachable, place); }));
  }
  EXPECT_TRUE(fails_with("symbolic links", [&] { open_recording(folder_ / "circle", 0.02); }));
  EXPECT_TRUE(fails_with("neither the lists", [&] { open_recording(folder_.path(), 0.02); }));
  add("rgb.txt", "1 a.png");
  EXPECT_EQ(failure([&] { open_recording(folder_.path(), 0.02); }),
            place + "/depth.txt does not exist. Check the path.");
}

}  // namespace
}  // namespace enhance_depth_tool
