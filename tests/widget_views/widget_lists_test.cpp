// One runner for the widget states of cases.json: each is drawn through the entry view, as the
// host draws it, with its record, language, locale, zone, platform and time (or, for a "component"
// case, that component alone in a container of "size"), and its JSON display list
// (with the extension's log lines, which carry the chart angles) is compared whole with
// lists/<name>.json. A list is reviewed once when it is written (KM_UPDATE_GOLDENS=1) and guards
// every text, colour, frame, path and link after that. A case with an "image" is also rendered
// and compared with tests/golden/<image>.png: the look (gradients, caps, fonts, the mirror) that a
// list cannot show. Cases marked "fatal" must stop the process instead.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include "components/background_deep_link.h"
#include "components/button.h"
#include "components/donut_chart.h"
#include "components/loading_bar.h"
#include "components/nutrient_progress_bar.h"
#include "components/pie_chart.h"
#include "components/progress_ring.h"
#include "fixtures/json_match.h"
#include "host/km_widget_entry_view.h"
#include "model/extension_log.h"
#include "platform/foundation/date.h"
#include "platform/widgetkit/family_size.h"
#include "resources/widget_utils.h"
#include "widget_support/widget_support.h"

namespace km {
namespace {

using namespace km::testing;
namespace fs = std::filesystem;

const fs::path kHere = fs::path(KM_SOURCE_DIR) / "tests" / "widget_views";

Json readJson(const fs::path& file) {
  return fs::exists(file) ? readJsonFile(file) : Json();
}

// JSON has no NaN or infinity; cases spell them as strings.
double number(const Json& v) {
  if (v.is_string()) {
    const std::string s = v;
    if (s == "nan") return std::numeric_limits<double>::quiet_NaN();
    return s[0] == '-' ? -INFINITY : INFINITY;
  }
  return v.get<double>();
}

Date dateOf(const Json& v) {
  const auto date = parseISO8601(v.get<std::string>());
  if (!date) throw std::runtime_error("not an ISO 8601 date: " + v.dump());
  return *date;
}

NutritionEntry entryOf(const Json& c) {
  const Json r = c.value("record", Json::object());
  RecordBuilder b;
  auto pair = [&](const char* key, auto set) {
    if (r.contains(key)) (b.*set)(number(r[key][0]), number(r[key][1]));
  };
  pair("energy", &RecordBuilder::energy);
  pair("fat", &RecordBuilder::fat);
  pair("protein", &RecordBuilder::protein);
  pair("carbs", &RecordBuilder::carbs);
  if (r.contains("daysAgo")) b.daysAgo(r["daysAgo"]);
  if (r.contains("date")) b.date(dateOf(r["date"]));
  b.kilojoules(r.value("kilojoules", false)).loggedIn(r.value("loggedIn", true));
  if (r.contains("history")) {
    std::vector<double> days;
    for (const Json& d : r["history"])
      days.push_back(number(d));
    b.history(days);
  }
  const Date date = c.contains("entryDate") ? dateOf(c["entryDate"])
                    : c.contains("now")     ? dateOf(c["now"])
                                            : testNow();
  return NutritionEntry{date, b.build()};
}

struct Settings {
  explicit Settings(const Json& c)
      : env(c.value("language", "en"), c.value("platform", 17)),
        locale(c.value("locale", "en_US")),
        zone(c.value("zone", "Europe/Berlin")),
        now(c.contains("now") ? std::optional(dateOf(c["now"])) : std::optional(testNow())) {}
  WidgetTestEnvironment env;
  ScopedLocale locale;
  ScopedTimeZone zone;
  ScopedNow now;
};

// "#RRGGBB", "#RRGGBB@opacity" or the name of an asset colour.
Color colourOf(const Json& v) {
  const std::string s = v;
  if (s.empty() || s[0] != '#') return Color::named(s);
  const auto at = s.find('@');
  const Color c = WidgetUtils::colorFromHex(s.substr(1, at == std::string::npos ? at : at - 1));
  return at == std::string::npos ? c : c.opacity(std::stod(s.substr(at + 1)));
}

std::vector<Color> coloursOf(const Json& v) {
  std::vector<Color> out;
  for (const Json& c : v)
    out.push_back(colourOf(c));
  return out;
}

std::optional<double> optionalNumber(const Json& v) {
  return v.is_null() ? std::nullopt : std::optional(number(v));
}

View componentOf(const Json& a) {
  const std::string type = a.at("type");
  if (type == "ProgressRing") {
    ProgressRing ring{number(a.at("progress")), a.value("lineWidth", 10.0)};
    if (a.contains("colours")) ring.gradientColours = coloursOf(a["colours"]);
    return ring.body();
  }
  if (type == "LoadingBar") {
    return LoadingBar{coloursOf(a.at("colours")), colourOf(a.at("track")), number(a.at("progress"))}
        .body();
  }
  if (type == "NutrientProgressBar") {
    return NutrientProgressBar{coloursOf(a.at("colours")), a.at("name"), number(a.at("current")),
                               number(a.at("total")), a.at("unit")}
        .body();
  }
  if (type == "Button") return Button{a.at("icon"), a.at("link")}.body();
  if (type == "PieChart" || type == "DonutChart") {
    std::vector<ChartCellModel> cells;
    for (const Json& cell : a.at("cells"))
      cells.push_back({UUID::random(), colourOf(cell.at(0)), number(cell.at(1)), ""});
    auto model = std::make_shared<ChartDataModel>(cells);
    return type == "PieChart" ? PieChart{.dataModel = model}.body()
                              : DonutChart{.dataModel = model}.body();
  }
  if (type == "BackgroundDeepLink") {
    return BackgroundDeepLink{optionalNumber(a.value("width", Json())),
                              optionalNumber(a.value("height", Json())), a.at("name")}
        .body();
  }
  throw std::runtime_error("unknown component " + type);
}

struct Drawn {
  DisplayList list;
  Json json;
};

Drawn draw(const Json& c) {
  const Settings settings(c);
  std::ostringstream log;
  ScopedExtensionLog capture(log);
  const ColorScheme scheme =
      c.value("scheme", "light") == "dark" ? ColorScheme::dark : ColorScheme::light;
  Drawn d;
  if (c.contains("component")) {
    d.list = layoutAt(componentOf(c["component"]), Size{c.at("size")[0], c.at("size")[1]});
    d.json["list"] = displayJson(d.list, WidgetFamily::systemSmall, scheme);
  } else {
    const std::string kind = c.at("kind");
    const WidgetFamily family = *familyFromName(c.at("family").get<std::string>());
    d.list = layoutWidget(KMWidgetEntryView{entryOf(c), family, kind}.body(), family);
    d.json["list"] = displayJson(d.list, family, scheme, kind);
  }
  d.json["log"] = Json::array();
  std::istringstream lines(log.str());
  for (std::string line; std::getline(lines, line);)
    d.json["log"].push_back(line);
  return d;
}

RenderOptions imageOptions(const Json& c) {
  const Json& image = c.at("image");
  RenderOptions options;
  options.scale = image.value("scale", 3.0);
  options.colorScheme =
      c.value("scheme", "light") == "dark" ? ColorScheme::dark : ColorScheme::light;
  const std::string mode = image.value("mode", "fullColor");
  options.renderingMode = mode == "vibrant"    ? RenderingMode::vibrant
                          : mode == "accented" ? RenderingMode::accented
                                               : RenderingMode::fullColor;
  options.cornerRadius = familyCornerRadius(*familyFromName(c.at("family").get<std::string>()));
  return options;
}

TEST(WidgetLists, EveryCaseDrawsItsReviewedList) {
  const Json cases = readJson(kHere / "cases.json");
  ASSERT_TRUE(cases.is_array() && !cases.empty());
  const char* update = std::getenv("KM_UPDATE_GOLDENS");
  const bool write = update && std::string(update) == "1";
  for (const Json& c : cases) {
    const std::string name = c.at("name");
    SCOPED_TRACE(name);
    if (c.contains("fatal")) continue;
    ASSERT_TRUE(c.contains("component") || familyFromName(c.at("family").get<std::string>()))
        << "unknown family";
    const Drawn drawn = draw(c);
    if (c.contains("image")) {
      EXPECT_GOLDEN(drawn.list, c["image"].at("name").get<std::string>(), imageOptions(c));
    }
    const fs::path file = kHere / "lists" / (name + ".json");
    if (write) {
      std::ofstream(file) << drawn.json.dump(1) << "\n";
      continue;
    }
    const Json want = readJson(file);
    ASSERT_FALSE(want.is_null()) << "no list " << file << "; KM_UPDATE_GOLDENS=1 writes it";
    // Numbers agree within a thousandth: the dump rounds to thousandths.
    std::string why;
    EXPECT_TRUE(jsonMatches(want, drawn.json, 1e-3, why, name, true)) << why;
  }
}

// The image comparison itself must notice a different widget: the over-goal ring is not the
// under-goal one.
TEST(WidgetLists, ADifferentImageDoesNotMatch) {
  if (const char* update = std::getenv("KM_UPDATE_GOLDENS"); update && std::string(update) == "1") {
    GTEST_SKIP() << "rewriting goldens";
  }
  const Json over = {{"kind", "small_energy"},
                     {"family", "systemSmall"},
                     {"record", {{"energy", {2300, 2000}}}},
                     {"image", {{"name", "small_energy.systemSmall.under.light"}, {"scale", 2}}}};
  const GoldenResult result =
      matchesGolden(draw(over).list, "small_energy.systemSmall.under.light", imageOptions(over));
  EXPECT_FALSE(result.ok) << result.message;
}

TEST(WidgetListsDeathTest, FatalCasesStopTheProcess) {
  const Json cases = readJson(kHere / "cases.json");
  for (const Json& c : cases) {
    if (!c.contains("fatal")) continue;
    SCOPED_TRACE(c.at("name").get<std::string>());
    // "fatal" is true or the pattern the message must match.
    const std::string pattern = c["fatal"].is_string() ? c["fatal"] : "Fatal error";
    EXPECT_DEATH(draw(c), pattern);
  }
}

}  // namespace
}  // namespace km
