#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "fixtures/kmwidget_run.h"
#include "fixtures/temp_dir.h"
#include "kmwidget/cli.h"
#include "model/widget_nutrition_summary.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using namespace km::testing;

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// The default run: every widget of the bundle in every family it offers, from an empty store
// (the fallback record), with the contact sheet and the gallery page.
TEST(RenderCommandTest, DefaultRendersTheWholeBundle) {
  WidgetTestEnvironment env;
  TempDir dir;
  const ToolRun run =
      kmwidget({"render", "--store", dir.file("empty.sqlite"), "-o", dir.file("out")});
  ASSERT_EQ(run.code, 0) << run.err;
  std::set<std::string> files;
  for (const auto& e : std::filesystem::directory_iterator(dir.path() / "out")) {
    files.insert(e.path().filename().string());
  }
  const std::set<std::string> expected = {"small_energy.systemSmall.png",
                                          "small_energy.accessoryInline.png",
                                          "small_energy.accessoryCircular.png",
                                          "medium_history.systemMedium.png",
                                          "medium_pie_macros.systemMedium.png",
                                          "medium_pie_macros.accessoryRectangular.png",
                                          "medium_buttons.systemMedium.png",
                                          "medium_buttons.accessoryCircular.png",
                                          "lockscreen_button.accessoryCircular.png",
                                          "gallery.png",
                                          "gallery.html"};
  EXPECT_EQ(files, expected);
  const std::string page = readFile(dir.path() / "out" / "gallery.html");
  EXPECT_NE(page.find("Home screen"), std::string::npos);
  EXPECT_NE(page.find("Lock screen"), std::string::npos);
  EXPECT_NE(page.find("kalomate://diary-widget-small_energy"), std::string::npos);
  EXPECT_NE(page.find("kalomate://addFood-widget-lockscreen_button"), std::string::npos);
  // Home-screen widgets come before the lock-screen heading, lock-screen ones after it.
  EXPECT_LT(page.find("small_energy.systemSmall.png"), page.find("Lock screen"));
  EXPECT_GT(page.find("small_energy.accessoryCircular.png"), page.find("Lock screen"));
}

// On platform 15 there are no lock-screen families to draw.
TEST(RenderCommandTest, Platform15DrawsHomeScreenOnly) {
  WidgetTestEnvironment env;
  TempDir dir;
  const ToolRun run = kmwidget({"render", "--os", "15", "--store", dir.file("empty.sqlite"), "-o",
                                dir.file("out"), "--format", "json"});
  ASSERT_EQ(run.code, 0) << run.err;
  int count = 0;
  for (const auto& e : std::filesystem::directory_iterator(dir.path() / "out")) {
    ++count;
    EXPECT_EQ(e.path().string().find("accessory"), std::string::npos) << e.path();
  }
  EXPECT_EQ(count, 4);
}

// One widget as JSON goes to standard output; --record draws that record.
TEST(RenderCommandTest, OneWidgetAsJsonFromARecordFile) {
  WidgetTestEnvironment env;
  TempDir dir;
  {
    std::ofstream record(dir.file("record.json"));
    record << encodeSummary(RecordBuilder().energy(2250, 2000).build());
  }
  const ToolRun run = kmwidget({"render", "--kind", "small_energy", "--family", "accessoryInline",
                                "--format", "json", "--record", dir.file("record.json"), "--now",
                                "2024-03-14T12:00:00+01:00", "--tz", "Europe/Berlin"});
  ASSERT_EQ(run.code, 0) << run.err;
  const Json list = Json::parse(run.out);
  EXPECT_EQ(list.at("kind"), "small_energy");
  EXPECT_EQ(list.at("family"), "accessoryInline");
  EXPECT_EQ(texts(list), std::vector<std::string>{"250 Kcal over"});
  EXPECT_EQ(widgetURLOf(list), "kalomate://diary-widget-lockscreen_calories_inline");
}

}  // namespace
}  // namespace km
