#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "fixtures/kmwidget_run.h"
#include "fixtures/temp_dir.h"
#include "kmwidget/cli.h"

namespace km::cli {
namespace {

using km::testing::kmwidget;
using km::testing::ToolRun;

class LayoutCommandTest : public ::testing::Test {
 protected:
  ToolRun run(const std::vector<std::string>& args, const std::string& input = "") {
    return kmwidget(args, input);
  }
  std::string write(const std::string& name, const std::string& text) {
    std::ofstream(dir_.file(name)) << text;
    return dir_.file(name);
  }
  km::testing::TempDir dir_;
};

// The root is proposed the canvas and centred in it; the dump gives frames in canvas points.
TEST_F(LayoutCommandTest, PrintsTheDisplayListOfAFileOrStandardInput) {
  const std::string view =
      R"({"Circle": {}, "modifiers": [{"fill": "blue"}, {"frame": {"width": 20, "height": 10}}]})";
  const std::string file = write("v.json", view);
  for (const ToolRun& r : {run({"layout", file, "--width", "100", "--height", "50"}),
                           run({"layout", "-", "--width", "100", "--height", "50"}, view)}) {
    ASSERT_EQ(r.code, kExitOk) << r.err;
    const auto dump = nlohmann::json::parse(r.out);
    EXPECT_EQ(dump["size"], (nlohmann::json{{"width", 100}, {"height", 50}}));
    ASSERT_EQ(dump["items"].size(), 1u);
    EXPECT_EQ(dump["items"][0]["frame"], (nlohmann::json{40, 20, 20, 10}));
    EXPECT_EQ(dump["items"][0]["fill"], "#007AFFFF");
  }
}

TEST_F(LayoutCommandTest, DrawsImagesAndRefusesBadInput) {
  const std::string file = write("v.json", R"({"Color": "red"})");
  const std::string png = dir_.file("out.png");
  const ToolRun drawn =
      run({"layout", file, "--width", "10", "--height", "10", "--scale", "2", "-o", png});
  ASSERT_EQ(drawn.code, kExitOk) << drawn.err;
  std::ifstream in(png, std::ios::binary);
  std::string header(8, '\0');
  in.read(header.data(), 8);
  EXPECT_EQ(header, "\x89PNG\r\n\x1a\n");

  const std::string svg = dir_.file("out.svg");
  EXPECT_EQ(run({"layout", file, "--width", "10", "--height", "10", "-o", svg}).code, kExitOk);
  EXPECT_TRUE(std::filesystem::file_size(svg) > 0);

  const struct {
    const char* name;
    std::vector<std::string> args;
    int code;
    std::string message;
  } cases[] = {
      {"bad description",
       {"layout", write("bad.json", R"({"Color": "red", "modifiers": [{"blurr": 1}]})"), "--width",
        "10", "--height", "10"},
       kExitFailure,
       "$.modifiers[0].blurr: unknown modifier"},
      {"not JSON",
       {"layout", write("t.json", "{"), "--width", "10", "--height", "10"},
       kExitFailure,
       "$: not valid JSON"},
      {"missing file",
       {"layout", dir_.file("none.json"), "--width", "10", "--height", "10"},
       kExitFailure,
       "cannot be read"},
      {"image without a file",
       {"layout", file, "--width", "10", "--height", "10", "--format", "png"},
       kExitFailure,
       "png output needs -o PATH"},
      {"format and extension disagree",
       {"layout", file, "--width", "10", "--height", "10", "--format", "pdf", "-o", png},
       kExitFailure,
       "must end in .pdf"},
      {"no height", {"layout", file, "--width", "10"}, kExitUsage, "--height"},
      {"negative width", {"layout", file, "--width", "-1", "--height", "10"}, kExitUsage, ""},
  };
  for (const auto& c : cases) {
    const ToolRun r = run(c.args);
    EXPECT_EQ(r.code, c.code) << c.name << ": " << r.err;
    EXPECT_NE(r.err.find(c.message), std::string::npos) << c.name << ": " << r.err;
    EXPECT_TRUE(r.out.empty()) << c.name;
  }
}

}  // namespace
}  // namespace km::cli
