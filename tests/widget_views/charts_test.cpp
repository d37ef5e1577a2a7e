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

struct SliceCase {
  const char* name;
  std::vector<double> values;
  // (far end, near end) in degrees per call, and the log lines.
  std::vector<std::pair<double, double>> slices;
  std::string log;
};

class ChartDataModelSlices : public ::testing::TestWithParam<SliceCase> {};

TEST_P(ChartDataModelSlices, HandsOutRunningAnglesAndLogsEachEnd) {
  const SliceCase& c = GetParam();
  ChartDataModel model(cellsOf(c.values));
  std::ostringstream log;
  {
    ScopedExtensionLog capture(log);
    for (std::size_t i = 0; i < c.values.size(); ++i) {
      const Angle far = model.angle(c.values[i]);
      EXPECT_NEAR(far.inDegrees(), c.slices[i].first, 1e-9) << c.name << " slice " << i;
      EXPECT_NEAR(model.startingAngle.inDegrees(), c.slices[i].second, 1e-9)
          << c.name << " slice " << i;
    }
  }
  EXPECT_EQ(log.str(), c.log) << c.name;
}

INSTANTIATE_TEST_SUITE_P(
    Examples, ChartDataModelSlices,
    ::testing::Values(
        SliceCase{"forty ninety seventy",
                  {40, 90, 70},
                  {{72, 0}, {234, 72}, {360, 234}},
                  "72.0\n234.0\n360.0\n"},
        SliceCase{"one cell", {7.5}, {{360, 0}}, "360.0\n"},
        SliceCase{"two equal", {3, 3}, {{180, 0}, {360, 180}}, "180.0\n360.0\n"},
        SliceCase{"zero beside positive",
                  {1, 0, 1},
                  {{180, 0}, {180, 180}, {360, 180}},
                  "180.0\n180.0\n360.0\n"},
        SliceCase{"negative sweeps back", {3, -1}, {{540, 0}, {360, 540}}, "540.0\n360.0\n"}),
    [](const auto& info) {
      std::string n = info.param.name;
      for (char& ch : n) {
        if (ch == ' ') ch = '_';
      }
      return n;
    });

TEST(ChartDataModel, AllZeroValuesGiveNaN) {
  ChartDataModel model(cellsOf({0, 0}));
  std::ostringstream log;
  ScopedExtensionLog capture(log);
  EXPECT_TRUE(std::isnan(model.angle(0).radians));
  EXPECT_EQ(log.str(), "nan\n");
}

TEST(ChartDataModel, StateIsNeverResetSoASecondPassGoesOneTurnFurther) {
  ChartDataModel model(cellsOf({40, 90, 70}));
  std::ostringstream log;
  ScopedExtensionLog capture(log);
  for (const auto& cell : model.chartCellModel)
    model.angle(cell.value);
  // Asking twice for the same value: the previous end becomes the start and the sweep is added
  // again.
  EXPECT_NEAR(model.angle(40).inDegrees(), 432, 1e-9);
  EXPECT_NEAR(model.startingAngle.inDegrees(), 360, 1e-9);
  EXPECT_NEAR(model.angle(40).inDegrees(), 504, 1e-9);
  EXPECT_NEAR(model.startingAngle.inDegrees(), 432, 1e-9);
  EXPECT_EQ(log.str(), "72.0\n234.0\n360.0\n432.0\n504.0\n");
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
