#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "fixtures/json_match.h"
#include "fixtures/kmwidget_run.h"
#include "fixtures/temp_dir.h"

namespace km::cli {
namespace {

using km::testing::TempDir;
using nlohmann::json;

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Every case of cli_runs.json is a sequence of runs of the tool in this process, sharing one
// temporary folder ("{dir}" anywhere in a case stands for it). A step writes its "files" (text
// as it stands, anything else as JSON), runs "args" with "stdin", and checks the exit "code"
// (0 unless given), that standard output parses to JSON with everything "stdout" asks for
// (exactly so when "exact") or is empty ("stdoutEmpty"), that standard error contains "stderr"
// or starts with "stderrStarts", that the "output" files contain their text and that the
// "absent" paths were not made.
TEST(KmwidgetTest, CommandLineRuns) {
  const json cases = km::testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) / "tests" /
                                               "kmwidget" / "cli_runs.json");
  ASSERT_GE(cases.size(), 30u);
  for (const json& raw : cases) {
    TempDir dir;
    std::string text = raw.dump();
    for (std::size_t at; (at = text.find("{dir}")) != std::string::npos;)
      text.replace(at, 5, dir.path().string());
    const json c = json::parse(text);
    int stepNumber = 0;
    for (const json& step : c.at("steps")) {
      SCOPED_TRACE(c.at("name").get<std::string>() + ", step " + std::to_string(++stepNumber));
      const json files = step.value("files", json::object()),
                 outputs = step.value("output", json::object());
      for (const auto& [name, content] : files.items())
        std::ofstream(dir.file(name))
            << (content.is_string() ? content.get<std::string>() : content.dump());
      const auto run = km::testing::kmwidget(step.at("args").get<std::vector<std::string>>(),
                                             step.value("stdin", ""));
      EXPECT_EQ(run.code, step.value("code", 0)) << run.err;
      if (step.contains("stdout")) {
        std::string why;
        EXPECT_TRUE(km::testing::jsonMatches(step["stdout"], json::parse(run.out), 0, why, "$",
                                             step.value("exact", false)))
            << why;
      }
      EXPECT_TRUE(!step.value("stdoutEmpty", false) || run.out.empty()) << run.out;
      EXPECT_NE(run.err.find(step.value("stderr", "")), std::string::npos) << run.err;
      EXPECT_TRUE(run.err.starts_with(step.value("stderrStarts", ""))) << run.err;
      for (const auto& [name, content] : outputs.items())
        EXPECT_NE(slurp(dir.file(name)).find(content.get<std::string>()), std::string::npos)
            << name;
      for (const json& name : step.value("absent", json::array()))
        EXPECT_FALSE(std::filesystem::exists(dir.file(name))) << name;
    }
  }
}

// What validate calls a stop does stop the render, for the same reason.
TEST(KmwidgetTest, AValidateStopStopsTheRender) {
  TempDir dir;
  std::ofstream(dir.file("near-zero.json"))
      << R"({"currentDayInt":3,"currentDate":817128000,"isLoggedIn":true,"energyCurrent":900,)"
         R"("energyTotal":2000,"fatCurrent":-4,"fatTotal":2,"proteinCurrent":1e-300,)"
         R"("proteinTotal":4,"carbsCurrent":9,"carbsTotal":6,"energyDays":[1,2,3,4,5,6,7],)"
         R"("isKilojoules":false})";
  EXPECT_DEATH(km::testing::kmwidget({"--store", dir.file("store.sqlite"), "render", "--record",
                                      dir.file("near-zero.json"), "--kind", "medium_pie_macros",
                                      "--family", "systemMedium", "--format", "json"}),
               "Fatal error: Double value cannot be converted to Int64");
}

}  // namespace
}  // namespace km::cli
