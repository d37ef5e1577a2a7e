#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>
#include <regex>
#include <set>
#include <sstream>
#include <vector>

#include "components/chart_data_model.h"
#include "components/donut_chart.h"
#include "components/inner_circle.h"
#include "components/pie_chart.h"
#include "components/pie_chart_cell.h"
#include "model/extension_log.h"
#include "platform/ui/layout.h"
#include "widget_support/widget_support.h"
#include "widget_views/chart_test_support.h"

namespace km {
namespace {

using testing::DrawnArc;
using testing::firstArc;
using testing::shapeItems;

std::vector<ChartCellModel> cellsOf(const std::vector<double>& values) {
  std::vector<ChartCellModel> cells;
  for (double v : values)
    cells.push_back(ChartCellModel{UUID::random(), Color::white(), v, ""});
  return cells;
}

// The model hands out each asked value's far end and moves its near end there; its state is
// never reset, so asking again goes one turn further. The log holds each far end.
TEST(ChartDataModel, HandsOutRunningAnglesAndLogsEachEnd) {
  struct Case {
    const char* name;
    std::vector<double> cells, asked;
    std::vector<std::pair<double, double>> ends;  // (far, near) in degrees after each ask
    std::string log;
  } cases[] = {
      {"forty ninety seventy",
       {40, 90, 70},
       {40, 90, 70},
       {{72, 0}, {234, 72}, {360, 234}},
       "72.0\n234.0\n360.0\n"},
      {"one cell", {7.5}, {7.5}, {{360, 0}}, "360.0\n"},
      {"two equal", {3, 3}, {3, 3}, {{180, 0}, {360, 180}}, "180.0\n360.0\n"},
      {"zero beside positive",
       {1, 0, 1},
       {1, 0, 1},
       {{180, 0}, {180, 180}, {360, 180}},
       "180.0\n180.0\n360.0\n"},
      {"negative sweeps back", {3, -1}, {3, -1}, {{540, 0}, {360, 540}}, "540.0\n360.0\n"},
      {"a second pass goes one turn further",
       {40, 90, 70},
       {40, 90, 70, 40, 40},
       {{72, 0}, {234, 72}, {360, 234}, {432, 360}, {504, 432}},
       "72.0\n234.0\n360.0\n432.0\n504.0\n"},
      {"all zero values give not-a-number", {0, 0}, {0}, {{NAN, 0}}, "nan\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ChartDataModel model(cellsOf(c.cells));
    std::ostringstream log;
    {
      ScopedExtensionLog capture(log);
      for (std::size_t i = 0; i < c.asked.size(); ++i) {
        const double far = model.angle(c.asked[i]).inDegrees();
        EXPECT_TRUE(std::isnan(c.ends[i].first) ? std::isnan(far)
                                                : std::abs(far - c.ends[i].first) < 1e-9)
            << "ask " << i << ": " << far;
        if (!std::isnan(far)) {
          EXPECT_NEAR(model.startingAngle.inDegrees(), c.ends[i].second, 1e-9) << "ask " << i;
        }
      }
    }
    EXPECT_EQ(log.str(), c.log);
  }
}

TEST(ChartDataModel, DebugNumbersPrintLikeThePlatform) {
  const std::vector<std::pair<double, const char*>> cases = {
      {72, "72.0"},
      {0, "0.0"},
      {-90, "-90.0"},
      {0.1, "0.1"},
      {123.456, "123.456"},
      {1e16, "1e+16"},
      {NAN, "nan"},
      {INFINITY, "inf"},
      {-INFINITY, "-inf"},
      {72.00000000000001, "72.00000000000001"},
      // The plain range starts at 1e-4 inclusive.
      {1e-4, "0.0001"},
      {9e-5, "9e-05"},
  };
  for (const auto& [value, text] : cases)
    EXPECT_EQ(formatDebugDouble(value), text) << value;
}

// Byte order and dashes of the text form, and random ids are version 4 with the RFC 4122 variant.
TEST(UUID, TextFormAndRandomIds) {
  UUID id;
  for (std::uint8_t i = 0; i < 16; ++i)
    id.bytes[i] = static_cast<std::uint8_t>(i * 0x11);
  EXPECT_EQ(id.uuidString(), "00112233-4455-6677-8899-AABBCCDDEEFF");
  const std::regex v4("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    const std::string text = UUID::random().uuidString();
    EXPECT_TRUE(std::regex_match(text, v4)) << text;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 50u);
}

// Shape geometry: centre and radius from the frame, and the arc the wedge is cut along.
TEST(PieChartCell, WedgeGeometryInSquareAndWideFrames) {
  struct Case {
    Rect rect;
    double start, end;  // degrees
    Point center;
    double radius, startDeg, sweepDeg;
  };
  const Case cases[] = {
      {{0, 0, 100, 100}, 72, 0, {50, 50}, 50, 72, -72},
      {{0, 0, 100, 60}, 234, 72, {50, 30}, 30, 234, -162},
      {{0, 0, 60, 100}, 360, 0, {30, 50}, 30, 360, -360},
      // The origin is added before halving: an offset frame moves the centre by half the offset.
      {{20, 10, 100, 100}, 180, 0, {60, 55}, 55, 180, -180},
  };
  for (const Case& c : cases) {
    const Path p = PieChartCell{Angle::degrees(c.start), Angle::degrees(c.end)}.path(c.rect);
    ASSERT_EQ(p.elements().size(), 3u);  // the arc's start point, the arc, the line home
    const auto& arc = std::get<Path::Arc>(p.elements()[1]);
    EXPECT_EQ(arc.center, c.center);
    EXPECT_DOUBLE_EQ(arc.radius, c.radius);
    EXPECT_NEAR(arc.startAngle * 180 / std::numbers::pi, c.startDeg, 1e-9);
    EXPECT_NEAR(arc.sweep * 180 / std::numbers::pi, c.sweepDeg, 1e-9);
    EXPECT_EQ(std::get<Path::LineTo>(p.elements()[2]).to, c.center);
  }
}

// Tap sequence: select, deselect, select another, move the selection; each step checks what is
// reported and which wedge is drawn 5% larger.
TEST(PieChart, TapsSelectScaleAndReport) {
  auto model = std::make_shared<ChartDataModel>(cellsOf({1, 1}));
  const UUID first = model->chartCellModel[0].id, second = model->chartCellModel[1].id;
  std::vector<std::optional<UUID>> reported;
  const PieChart chart{std::make_shared<UUID>(UUID::random()), model,
                       [&](const std::optional<ChartCellModel>& cell) {
                         reported.push_back(cell ? std::optional<UUID>(cell->id) : std::nullopt);
                       }};
  auto scales = [&] {
    std::ostringstream log;
    ScopedExtensionLog capture(log);
    const DisplayList list = layout(chart.body().frame(100, 100), Size{100, 100});
    std::vector<double> out;
    for (const DisplayItem* item : shapeItems(list, "pieChartCell"))
      out.push_back(item->transform.xx);
    return out;
  };
  EXPECT_EQ(scales(), (std::vector<double>{1, 1}));
  struct Step {
    int tapped;
    std::optional<UUID> report;
    std::vector<double> scales;
  };
  const Step steps[] = {
      {0, first, {1.05, 1}},
      {0, std::nullopt, {1, 1}},
      {1, second, {1, 1.05}},
      {0, first, {1.05, 1}},
  };
  for (const Step& s : steps) {
    chart.tap(model->chartCellModel[static_cast<std::size_t>(s.tapped)]);
    ASSERT_FALSE(reported.empty());
    EXPECT_EQ(reported.back(), s.report);
    EXPECT_EQ(scales(), s.scales);
  }
  EXPECT_EQ(reported.size(), 4u);
}

}  // namespace
}  // namespace km
