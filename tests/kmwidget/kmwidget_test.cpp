#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "fixtures/kmwidget_run.h"
#include "fixtures/temp_dir.h"
#include "kmwidget/cli.h"
#include "model/widget_nutrition_summary.h"

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

TEST_F(KmwidgetTest, ValidateReportsTheWidgetsThatStopAndNothingElse) {
  // Today's record at the moment the runs take as now.
  const std::string today =
      std::string(kRecord).replace(std::string(kRecord).find("794000000"), 9, "817128000");
  auto with = [&](std::vector<std::pair<std::string, std::string>> changes) {
    std::string json = today;
    for (const auto& [from, to] : changes)
      json.replace(json.find(from), from.size(), to);
    return json;
  };
  // Carbohydrate and fat energies cancel out (9·4 − 4·9): the macro shares divide by almost 0.
  const std::string nearZero = with({{"\"fatCurrent\":1", "\"fatCurrent\":-4"},
                                     {"\"proteinCurrent\":3", "\"proteinCurrent\":1e-300"},
                                     {"\"carbsCurrent\":5", "\"carbsCurrent\":9"}});
  const std::string pie = "medium_pie_macros systemMedium";
  const std::string lockPie = "medium_pie_macros accessoryRectangular";
  struct Case {
    std::string json;
    std::vector<std::string> options;
    std::vector<std::string> stops;     // "kind family", in order
    std::vector<std::string> warnings;  // fragments, in order
    std::string reason = "cannot be converted to Int64";
  } cases[] = {
      {today, {}, {}, {}},
      {nearZero, {}, {pie, lockPie}, {"fatCurrent is negative: -4"}},
      // No lock-screen families before 16.
      {nearZero, {"--os", "15"}, {pie}, {"fatCurrent is negative: -4"}},
      // Only the history chart reads a week.
      {with({{"[1,2,3,4,5,6,7]", "[1,2]"}}),
       {},
       {"medium_history systemMedium"},
       {"energyDays has 2 values"},
       "the week's energy holds 2 days"},
      // Amounts past 32 bits that the widgets convert to 64-bit integers without trouble.
      {with({{"\"energyCurrent\":900", "\"energyCurrent\":3e9"}}), {}, {}, {}},
      // Signed out: nothing of the record is drawn.
      {with({{"\"isLoggedIn\":true", "\"isLoggedIn\":false"},
             {"\"energyCurrent\":900", "\"energyCurrent\":1e308"}}),
       {},
       {},
       {"isLoggedIn is false"}},
      // Stamped at 01:00 UTC: today in UTC, yesterday evening in Los Angeles.
      {with({{"817128000", "817088400"}}), {"--tz", "UTC"}, {}, {}},
      {with({{"817128000", "817088400"}}), {"--tz", "America/Los_Angeles"}, {}, {"is not today"}},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args = {"validate", writeFile("v.json", c.json), "--now",
                                     "2026-11-23T12:00:00Z"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    const Outcome r = run(args);
    ASSERT_EQ(r.code, 0) << c.json << r.err;
    const json doc = json::parse(r.out);
    SCOPED_TRACE(c.json);
    EXPECT_EQ(doc["valid"], c.stops.empty());
    ASSERT_EQ(doc["stops"].size(), c.stops.size()) << r.out;
    for (std::size_t i = 0; i < c.stops.size(); ++i) {
      const json& stop = doc["stops"][i];
      EXPECT_EQ(stop["kind"].get<std::string>() + " " + stop["family"].get<std::string>(),
                c.stops[i]);
      EXPECT_NE(stop["reason"].get<std::string>().find(c.reason), std::string::npos) << stop;
    }
    ASSERT_EQ(doc["warnings"].size(), c.warnings.size()) << r.out;
    for (std::size_t i = 0; i < c.warnings.size(); ++i) {
      EXPECT_NE(doc["warnings"][i].get<std::string>().find(c.warnings[i]), std::string::npos)
          << doc["warnings"][i];
    }
  }
  // What validate calls a stop does stop the render, for the same reason.
  const std::string file = writeFile("near-zero.json", nearZero);
  EXPECT_DEATH(run({"render", "--record", file, "--kind", "medium_pie_macros", "--family",
                    "systemMedium", "--format", "json"}),
               "Fatal error: Double value cannot be converted to Int64");
}

TEST_F(KmwidgetTest, MessagesNameTheProblemAndQuoteLittle) {
  const std::string longZone(1000, 'Z');
  struct Case {
    std::vector<std::string> args;
    std::string input;
    std::string message;
  } cases[] = {
      {{"timeline", "--tz", longZone},
       "",
       "kmwidget: --tz: unknown time zone \"" + std::string(59, 'Z') + "…\"\n"},
      {{"validate", "-"},
       std::string(R"({"currentDayInt":1e20})"),
       "kmwidget: standard input: data corrupted at \"currentDayInt\": the number 1e+20 does not "
       "fit in a 32-bit integer\n"},
      {{"validate", "-"},
       std::string(kMaxSummaryBytes + 1, ' '),
       "kmwidget: standard input: data corrupted: the record is 1048577 bytes long, more than the "
       "1048576 bytes a record may have\n"},
      {{"--store", dir_.path().string(), "store", "get", "k"},
       "",
       "kmwidget: cannot open store " + dir_.path().string() + ": it is a directory\n"},
  };
  for (const auto& c : cases) {
    const Outcome r = km::testing::kmwidget(c.args, c.input);
    EXPECT_NE(r.code, 0);
    EXPECT_EQ(r.err.substr(0, c.message.size()), c.message);
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
