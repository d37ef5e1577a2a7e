#include "platform/ui/layout.h"

#include <gtest/gtest.h>

#include <cmath>

#include "fixtures/json_match.h"
#include "kmwidget/view_description/view_description.h"
#include "platform/ui/display_list_json.h"
#include "platform/ui/layout/layouter.h"
#include "platform/ui/text_engine.h"

namespace km {
namespace {

// Frames of the drawn items in order, for comparing with hand-worked expectations.
std::vector<Rect> frames(const DisplayList& list) {
  std::vector<Rect> out;
  for (const auto& item : list.items)
    out.push_back(item.frame);
  return out;
}

View box(double w, double h) {
  return Rectangle().frame(w, h);
}

// The list's dump against the reviewed partial dump `name` of dumps/layout.json.
void expectDump(const std::string& name, const DisplayList& list) {
  static const nlohmann::json wants =
      testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) / "tests/ui/dumps/layout.json");
  const nlohmann::json got =
      displayListToJson(list, "layout", "custom", ColorScheme::light, nullptr);
  std::string why;
  EXPECT_TRUE(testing::jsonMatches(wants.at(name), got, 1e-3, why)) << name << why << "\n"
                                                                    << got.dump();
}

struct FrameCase {
  const char* name;
  View view;
  Size container;
  std::vector<Rect> want;
};

void expectFrames(const FrameCase& c) {
  const auto got = frames(layout(c.view, c.container));
  ASSERT_EQ(got.size(), c.want.size()) << c.name;
  for (size_t i = 0; i < got.size(); ++i) {
    const Rect &g = got[i], &w = c.want[i];
    EXPECT_TRUE(std::abs(g.x - w.x) + std::abs(g.y - w.y) + std::abs(g.width - w.width) +
                    std::abs(g.height - w.height) <
                1e-9)
        << c.name << " item " << i;
  }
}

TEST(LayoutTest, GeometryReaderTakesProposalAndPlacesTopLeading) {
  Size seen;
  View reader = GeometryReader([&seen](const GeometryProxy& g) {
    seen = g.size;
    return box(g.size.width / 2, g.size.height / 4);
  });
  expectFrames({"reader", reader, {200, 100}, {{0, 0, 100, 25}}});
  EXPECT_EQ(seen, (Size{200, 100}));
  // Inside padding the reader sees the reduced size and starts at the padded corner.
  expectFrames({"padded reader", reader.padding(10), {200, 100}, {{10, 10, 90, 20}}});
  EXPECT_EQ(seen, (Size{180, 80}));
  // Asked for its ideal size a reader is 10 by 10, like a shape.
  EXPECT_EQ(sizeThatFits(reader, {}), (Size{10, 10}));
}

TEST(LayoutTest, RightToLeftMirrorsPlacementButNotContent) {
  LayoutOptions rtl;
  rtl.layoutDirection = LayoutDirection::rightToLeft;
  // A reader's content starts at the top-right corner.
  const View reader = GeometryReader([](const GeometryProxy&) { return box(50, 25); });
  expectDump("rtl reader", layout(reader, {200, 100}, rtl));
  // A shape keeps its own outline; a linear gradient runs from the leading (right) edge, while
  // an angular one keeps its clockwise sweep.
  const Gradient colours = Gradient::evenlySpaced({Color::sRGB(1, 0, 0), Color::sRGB(0, 0, 1)});
  const View shapes = HStack({
      Rectangle().fill(LinearGradient{colours, UnitPoint{0.2, 0.5}, UnitPoint::trailing()}),
      Circle().fill(AngularGradient{colours, UnitPoint{0.25, 0.5}}),
  });
  expectDump("rtl shapes", layout(shapes, {108, 50}, rtl));
  // Texts carry the direction for their line alignment.
  const DisplayList text = layout(Text("a"), {50, 50}, rtl);
  EXPECT_EQ(std::get<DisplayText>(text.items[0].content).direction, LayoutDirection::rightToLeft);
}

TEST(LayoutTest, ReadersBuildingDifferentContentKeepTheirOwnSizes) {
  // Each reader builds its content during layout and drops it afterwards, so the second
  // reader's content may be allocated where the first one's was. Sizes must follow the content,
  // not the address it happens to live at.
  std::vector<View> readers;
  for (double side : {10.0, 30.0, 20.0, 40.0}) {
    readers.push_back(
        GeometryReader([side](const GeometryProxy&) { return box(side, side); }).frame(40, 40));
  }
  expectFrames({"readers",
                HStack(VerticalAlignment::center, 0, readers),
                {160, 40},
                {{0, 0, 10, 10}, {40, 0, 30, 30}, {80, 0, 20, 20}, {120, 0, 40, 40}}});
}

TEST(LayoutTest, ShapesFillTheProposalAndCirclesAreInscribed) {
  expectDump("inscribed circle", layout(Circle().fill(Color::black()), {200, 100}));
}

// Rotation and opacity change drawing, not layout; a turn by pi about the vertical axis mirrors.
TEST(LayoutTest, EffectsChangeDrawingNotLayout) {
  expectDump(
      "effects",
      layout(HStack(VerticalAlignment::center, 0,
                    {box(20, 20).rotationEffect(Angle::degrees(90)).opacity(0.5), box(20, 20)}),
             {40, 20}));
  expectDump("mirrored",
             layout(box(20, 10).rotation3DEffect(Angle::degrees(180), 0, 1, 0), {20, 10}));
}

// The foreground reaches shapes and texts; the outermost widget URL wins.
TEST(LayoutTest, EnvironmentAndWidgetSettingsReachTheList) {
  expectDump("environment", layout(VStack({Circle(), Text("a")})
                                       .foregroundColor(Color::sRGB(0, 1, 0))
                                       .widgetAccentable()
                                       .widgetURL("kalomate://x")
                                       .containerBackground(Color::named("bg"))
                                       .widgetURL("kalomate://ignored"),
                                   {100, 100}));
  expectDump("link", layout(Link("kalomate://a", box(30, 20)).padding(5), {100, 100}));
}

// Wrapping, line limits and line heights are rows of sizes.json; a text that may shrink does so
// (down to its factor) before it truncates.
TEST(LayoutTest, TextScalesDownBeforeTruncating) {
  const std::string sentence = "The quick brown fox jumps over the lazy dog";
  const Size natural = sizeThatFits(Text(sentence), {});
  // Minimum scale factor: the text shrinks (down to the factor) before truncating.
  const View scaled = Text(sentence).lineLimit(1).minimumScaleFactor(0.5);
  const DisplayList half = layout(scaled.frame(natural.width * 0.6, 40), {400, 40});
  const auto& shrunk = std::get<DisplayText>(half.items[0].content);
  EXPECT_LT(shrunk.font.size, 17 * 0.61);
  EXPECT_GE(shrunk.font.size, 17 * 0.5 - 1e-9);
  const DisplayList tiny = layout(scaled.frame(40, 40), {400, 40});
  EXPECT_DOUBLE_EQ(std::get<DisplayText>(tiny.items[0].content).font.size, 8.5);
  EXPECT_EQ(std::get<DisplayText>(tiny.items[0].content).maxLines, 1);
  EXPECT_LE(tiny.items[0].frame.width, 40 + 1e-9);
}

TEST(LayoutTest, TextNextToSpacerKeepsItsWidth) {
  const Size word = sizeThatFits(Text("Semibold 1 250"), {});
  const DisplayList list =
      layout(HStack({Text("Semibold 1 250"), Spacer(), Text("Semibold 1 250")}),
             {word.width * 2 + 20, 50});
  ASSERT_EQ(list.items.size(), 2u);
  EXPECT_NEAR(list.items[0].frame.width, word.width, 1e-6);
  EXPECT_NEAR(list.items[0].frame.height, word.height, 1e-6);
  EXPECT_NEAR(list.items[1].frame.x, word.width + 20, 1e-6);
}

// Track, arc and current-value label (the label is not drawn); the arc's trim is the value
// over the total, not-a-number as nothing and more than the total as a full ring.
TEST(LayoutTest, ProgressViewDrawsTrackArcAndLabel) {
  expectDump(
      "progress",
      layout(ProgressView(0.25, 1, Text("Energy"), Text("1200")).foregroundColor(Color::white()),
             {72, 72}));
  expectDump("progress nan", layout(ProgressView(NAN, 1, Text(""), Text("")), {72, 72}));
  expectDump("progress over", layout(ProgressView(3, 1, Text(""), Text("")), {72, 72}));
}

// Bad numbers from a widget's arithmetic are ignored like the phone ignores them: the layout
// stays finite and drawing goes on.
TEST(LayoutTest, InvalidNumbersAreIgnored) {
  const double nan = std::nan("");
  const FrameCase cases[] = {
      {"nan frame", box(20, 20).frame(nan, 40), {100, 100}, {{40, 40, 20, 20}}},
      {"negative frame", box(20, 20).frame(-5, std::nullopt), {100, 100}, {{40, 40, 20, 20}}},
      {"infinite fixed frame",
       box(20, 20).frame(kInfinity, kInfinity),
       {100, 100},
       {{40, 40, 20, 20}}},
      {"nan padding", box(20, 20).padding(nan), {100, 100}, {{40, 40, 20, 20}}},
      {"nan spacing is the default",
       VStack(HorizontalAlignment::center, nan, {box(10, 10), box(10, 10)}),
       {100, 100},
       {{45, 36, 10, 10}, {45, 54, 10, 10}}},
      {"nan offset", box(20, 20).offset(nan, 3), {100, 100}, {{40, 40, 20, 20}}},
  };
  for (const auto& c : cases)
    expectFrames(c);
  // The size memo finds a key with a NaN in it again (it compares numbers by their bits, as it
  // hashes them): otherwise each visit below such a view redoes the layout there (the input that
  // showed it is in ui_view_fuzz's corpus).
  const layout_pass::MemoKey key{nullptr, nan, 10, nan, 0, -1, nan, -1};
  EXPECT_TRUE(key == key);
  const DisplayList list = layout(box(20, 20).opacity(nan).offset(nan, 3), {100, 100});
  EXPECT_DOUBLE_EQ(list.items[0].opacity, 1);
  EXPECT_DOUBLE_EQ(list.items[0].transform.x0, 0);
  EXPECT_DOUBLE_EQ(list.items[0].transform.y0, 3);
}

TEST(LayoutTest, TapsOpenTheTopmostLinkOrTheWidgetURL) {
  const View view =
      ZStack(
          Alignment::topLeading(),
          {Link("kalomate://under", box(100, 100)), Link("kalomate://over", box(50, 50)),
           Link("kalomate://turned", box(20, 10)).rotationEffect(Angle::degrees(90)).offset(70, 0)})
          .widgetURL("kalomate://widget");
  const DisplayList list = layout(view, {100, 100});
  struct Case {
    Point at;
    std::optional<std::string> want;
  } cases[] = {
      {{10, 10}, "kalomate://over"},
      {{60, 60}, "kalomate://under"},
      // The turned link's 20×10 frame at (0, 0) turns about (10, 5) and moves right by 70: it
      // covers x 75..85, y -5..15.
      {{80, 12}, "kalomate://turned"},
      {{10, 3}, "kalomate://over"},
      {{150, 150}, "kalomate://widget"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(urlAt(list, c.at), c.want) << c.at.x << "," << c.at.y;
  }
  EXPECT_EQ(urlAt(layout(box(10, 10), {10, 10}), {5, 5}), std::nullopt);
}

// What views choose when asked for their ideal (null), minimum (0) and maximum ("infinity")
// size: each row of sizes.json is a view description, a proposal and the size it must choose.
TEST(LayoutTest, IdealMinimumAndMaximumSizes) {
  auto number = [](const nlohmann::json& v) -> std::optional<double> {
    if (v.is_null()) return std::nullopt;
    return v == "infinity" ? kInfinity : v.get<double>();
  };
  const nlohmann::json rows =
      testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) / "tests/ui/sizes.json");
  for (const nlohmann::json& row : rows) {
    const Result<View> view = parseViewDescription(row["view"]);
    ASSERT_TRUE(view.ok()) << row["name"] << ": " << view.error().message;
    const Size got =
        sizeThatFits(view.value(), {number(row["proposal"][0]), number(row["proposal"][1])});
    const double tolerance = row.value("tolerance", 0.0);
    for (int axis : {0, 1}) {
      const std::optional<double> want = number(row["size"][axis]);
      if (!want) continue;  // not checked
      const double value = axis == 0 ? got.width : got.height;
      EXPECT_TRUE(value == *want || std::abs(value - *want) <= tolerance)
          << row["name"] << ": axis " << axis << " is " << value << ", not " << *want;
    }
  }
  EXPECT_GE(rows.size(), 32u);  // the file was found and read
}

}  // namespace
}  // namespace km
