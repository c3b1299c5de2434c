// Outputs that cannot be written or would cost data are refused.
#include "support/output_path.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support.h"
#include "support/atomic_file.h"

namespace enhance_depth_tool {
namespace {

namespace fs = std::filesystem;

TEST(ToolOutputPath, RefusesUnusableTargets) {
  const TemporaryDirectory folder;
  const fs::path pipe = folder / "pipe.png";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string path = folder.path().string();
  EXPECT_EQ(failure([&] { require_writable(folder / "A.PNG", {".png"}); }), "none");
  const auto other_extension = [&] { require_writable(folder / "a.jpg", {".tiff", ".tif"}); };
  EXPECT_EQ(failure(other_extension), path + "/a.jpg cannot be written: its name must end in .tiff or .tif.");
  EXPECT_EQ(
      failure([&] { require_writable(folder / "no/a.png", {".png"}); }),
      path + "/no/a.png cannot be written: the folder " + path + "/no does not exist. Create it first.");
  fs::create_symlink("circle", folder / "circle");
  EXPECT_TRUE(fails_with("circle cannot be reached: Too many levels",
                         [&] { require_writable(folder / "circle/a.png", {}); }));
  EXPECT_EQ(failure([&] { require_writable(pipe, {".png"}); }),
            path + "/pipe.png cannot be written: something that is not a regular file has that name.");
}

TEST(ToolOutputPath, RefusesToOverwriteInputsAndOtherOutputs) {
  const TemporaryDirectory folder;
  write_file(folder / "in.png", std::string("x"));
  fs::create_symlink("in.png", folder / "link.png");
  const auto refused = [](const std::vector<fs::path>& outputs, const std::vector<fs::path>& inputs) {
    return failure([&] { require_distinct(outputs, inputs); }) != "none";
  };
  EXPECT_FALSE(refused({folder / "a.png", {}, {}, folder / "b.png"}, {folder / "in.png", folder / "in.png"}));
  EXPECT_TRUE(refused({folder / "in.png"}, {folder / "in.png"}));
  EXPECT_TRUE(refused({folder / "./link.png"}, {folder / "in.png"}));
  EXPECT_TRUE(refused({folder / "a.png", folder / "a.png"}, {folder / "in.png"}));
  EXPECT_TRUE(refused({"new.png", "./new.png"}, {}));
}

}  // namespace
}  // namespace enhance_depth_tool
