#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "fixtures/kmwidget_run.h"
#include "fixtures/temp_dir.h"
#include "kmwidget/cli.h"

namespace km::cli {
namespace {

using km::testing::TempDir;
using nlohmann::json;

const char* kRecord =
    R"({"currentDayInt":3,"currentDate":794000000,"isLoggedIn":true,"energyCurrent":900,)"
    R"("energyTotal":2000,"fatCurrent":1,"fatTotal":2,"proteinCurrent":3,"proteinTotal":4,)"
    R"("carbsCurrent":5,"carbsTotal":6,"energyDays":[1,2,3,4,5,6,7],"isKilojoules":false})";

using Outcome = km::testing::ToolRun;

// Runs the tool in-process against one temporary store.
class KmwidgetTest : public ::testing::Test {
 protected:
  Outcome run(std::vector<std::string> args, const std::string& input = "") {
    args.insert(args.begin(), {"--store", dir_.file("store.sqlite")});
    return km::testing::kmwidget(args, input);
  }
  std::string writeFile(const std::string& name, const std::string& text) {
    std::ofstream(dir_.file(name)) << text;
    return dir_.file(name);
  }

  TempDir dir_;
};

TEST_F(KmwidgetTest, StoredRecordFlowsIntoTheTimeline) {
  ASSERT_EQ(run({"store", "set-summary", writeFile("r.json", kRecord)}).code, 0);
  const Outcome r = run({"timeline", "--now", "2026-03-01T23:30:00", "--tz", "Asia/Tokyo"});
  ASSERT_EQ(r.code, 0) << r.err;
  const json doc = json::parse(r.out);
  EXPECT_EQ(doc["policy"], "atEnd");
  ASSERT_EQ(doc["entries"].size(), 7u);
  EXPECT_EQ(doc["entries"][0]["date"], "2026-03-01T23:30:00+09:00");
  EXPECT_EQ(doc["entries"][6]["date"], "2026-03-02T05:30:00+09:00");
  EXPECT_EQ(doc["entries"][3]["nutrition"], json::parse(kRecord));
}

TEST_F(KmwidgetTest, StoreCommandsKeepTypesAndRefuseBadRecords) {
  // A record that does not decode is refused with the decoder's message...
  Outcome r = run({"store", "set-summary", "-"}, R"({"currentDayInt":1.5})");
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("currentDayInt"), std::string::npos) << r.err;
  // Nothing was written, so there is not even a store to read.
  r = run({"store", "get", "KMWidgetNutritionSummary"});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("cannot open store"), std::string::npos) << r.err;
  // ...unless written raw, and then the extension falls back, logging to the error stream.
  ASSERT_EQ(run({"store", "set-summary", "--raw", "-"}, "{oops").code, 0);
  r = run({"snapshot"});
  ASSERT_EQ(r.code, 0);
  EXPECT_EQ(json::parse(r.out)["entries"][0]["nutrition"]["energyCurrent"], 825.0);
  EXPECT_NE(r.err.find("not valid JSON"), std::string::npos);
  // A string under the record's key is not a record: store fallback.
  ASSERT_EQ(run({"store", "set-string", "KMWidgetNutritionSummary", kRecord}).code, 0);
  EXPECT_EQ(json::parse(run({"store", "get", "KMWidgetNutritionSummary"}).out)["type"], "string");
  EXPECT_EQ(json::parse(run({"snapshot"}).out)["entries"][0]["nutrition"]["energyCurrent"], 1300.0);
  ASSERT_EQ(run({"store", "delete", "KMWidgetNutritionSummary"}).code, 0);
  EXPECT_EQ(json::parse(run({"store", "get", "KMWidgetNutritionSummary"}).out)["type"], nullptr);
  ASSERT_EQ(run({"store", "set-language", "de"}).code, 0);
  EXPECT_EQ(json::parse(run({"store", "get", "languageUserSelected"}).out)["value"], "de");
  EXPECT_EQ(json::parse(run({"store", "path"}).out)["path"], dir_.file("store.sqlite"));
}

TEST_F(KmwidgetTest, CatalogueFollowsTheChosenPlatformVersion) {
  const json v15 = json::parse(run({"catalogue", "--os", "15"}).out);
  const json v17 = json::parse(run({"--os", "17", "catalogue"}).out);
  ASSERT_EQ(v15.size(), 5u);
  EXPECT_EQ(v15[0]["kind"], "small_energy");
  EXPECT_EQ(v15[0]["families"], json::array({"systemSmall"}));
  EXPECT_EQ(v15[4]["families"], json::array());
  EXPECT_EQ(v15[4]["contentMarginsDisabled"], false);
  EXPECT_EQ(v17[0]["families"],
            json::array({"systemSmall", "accessoryInline", "accessoryCircular"}));
  EXPECT_EQ(v17[4]["contentMarginsDisabled"], true);
}

TEST_F(KmwidgetTest, ValidateDecodesAndWarnsAboutUnshowableValues) {
  struct Case {
    std::string json;
    int code;
    std::vector<std::string> warnings;  // fragments, in order
  } cases[] = {
      {kRecord, 0, {}},
      {R"({"currentDayInt":3})", 1, {}},
      {std::string(kRecord).replace(std::string(kRecord).find("[1,2,3,4,5,6,7]"), 15, "[1,2]"),
       0,
       {"energyDays has 2 values"}},
      {std::string(kRecord).replace(std::string(kRecord).find("\"energyCurrent\":900"), 19,
                                    "\"energyCurrent\":3e9"),
       0,
       {"energyCurrent = 3000000000"}},
      {std::string(kRecord).replace(std::string(kRecord).find("794000000"), 9, "1200000000"),
       0,
       {"currentDate = 1200000000"}},
  };
  for (const auto& c : cases) {
    const Outcome r = run({"validate", writeFile("v.json", c.json)});
    EXPECT_EQ(r.code, c.code) << c.json << r.err;
    if (c.code != 0) {
      EXPECT_NE(r.err.find("no value for \"currentDate\""), std::string::npos) << r.err;
      continue;
    }
    const json doc = json::parse(r.out);
    ASSERT_EQ(doc["warnings"].size(), c.warnings.size()) << r.out;
    for (std::size_t i = 0; i < c.warnings.size(); ++i) {
      EXPECT_NE(doc["warnings"][i].get<std::string>().find(c.warnings[i]), std::string::npos)
          << doc["warnings"][i];
    }
  }
}

TEST_F(KmwidgetTest, UsageErrorsExitWithTwo) {
  for (const auto& args :
       std::vector<std::vector<std::string>>{{},
                                             {"frobnicate"},
                                             {"timeline", "--now", "tomorrow"},
                                             {"timeline", "--tz", "Mars/Base"},
                                             {"catalogue", "--os", "seventeen"},
                                             {"store", "set-string", "only-key"}}) {
    const Outcome r = run(args);
    EXPECT_EQ(r.code, 2) << (args.empty() ? "" : args[0]) << r.err;
    EXPECT_TRUE(r.out.empty());
  }
}

}  // namespace
}  // namespace km::cli
