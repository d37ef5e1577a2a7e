#include "platform/ui/view_description.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "fixtures/json_match.h"
#include "platform/ui/display_list_json.h"
#include "platform/ui/layout.h"

namespace km {
namespace {

using nlohmann::json;

const std::filesystem::path kScenarios =
    std::filesystem::path(KM_SOURCE_DIR) / "tests" / "view_description" / "scenarios";

// Every scenario file (but the error table) holds cases of a view, a canvas and the items the
// display list must have, back to front; the expectations are worked by hand from the phone's
// documented layout rules. Numbers match to the dump's thousandths, or to a case's own
// "tolerance": text heights are whole lines of 1.2109375 em (Inter's ascender plus descender),
// which Pango measures in 1/1024-point units.
TEST(ViewDescriptionTest, ScenariosLayOutWithTheExpectedFrames) {
  int cases = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kScenarios)) {
    if (entry.path().filename() == "errors.json") continue;
    for (const json& c : testing::readJsonFile(entry.path())) {
      const std::string name =
          entry.path().filename().string() + ": " + c["name"].get<std::string>();
      ++cases;
      const Result<View> view = parseViewDescription(c["view"]);
      ASSERT_TRUE(view.ok()) << name << ": " << view.error().message;
      const Size canvas{c["canvas"][0].get<double>(), c["canvas"][1].get<double>()};
      const json dump = displayListToJson(layout(view.value(), canvas), "layout", "custom",
                                          ColorScheme::light, nullptr);
      const json& want = c["items"];
      const double tolerance = c.value("tolerance", 2e-3);
      ASSERT_EQ(dump["items"].size(), want.size()) << name << "\n" << dump.dump();
      for (size_t i = 0; i < want.size(); ++i) {
        std::string why;
        EXPECT_TRUE(testing::jsonMatches(want[i], dump["items"][i], tolerance, why,
                                         "item " + std::to_string(i)))
            << name << ": " << why;
      }
    }
  }
  // The files are found and read: a missing folder must not pass as zero cases.
  EXPECT_GE(cases, 50);
}

TEST(ViewDescriptionTest, BadDescriptionsNameTheOffendingPath) {
  for (const json& c : testing::readJsonFile(kScenarios / "errors.json")) {
    const std::string name = c["name"].get<std::string>();
    const Result<View> view = parseViewDescription(c["view"]);
    ASSERT_FALSE(view.ok()) << name;
    const std::string want = c["error"].get<std::string>();
    EXPECT_EQ(view.error().message.substr(0, want.size()), want)
        << name << ": " << view.error().message;
  }
}

TEST(ViewDescriptionTest, BadJsonTextIsAnErrorNotACrash) {
  const std::string deep = std::string(100000, '[') + std::string(100000, ']');
  std::string deepViews;
  for (int i = 0; i < kMaxViewDescriptionDepth; ++i)
    deepViews += "{\"ZStack\":[";
  deepViews += "{\"Text\":\"x\"}";
  for (int i = 0; i < kMaxViewDescriptionDepth; ++i)
    deepViews += "]}";
  const struct {
    std::string text;
    std::string error;
  } cases[] = {
      {"", "$: not valid JSON"},
      {"{\"Text\": \"a\"", "$: not valid JSON"},
      {"{\"Text\": \"a\"} extra", "$: not valid JSON"},
      {"{\"Text\": \"\xff\"}", "$: not valid JSON"},
      {deep, "$: nested too deeply"},
      {deepViews, "$: nested too deeply"},
      {"{\"Color\": \"red\", \"modifiers\": [{\"opacity\": 1e999}]}", "$: not valid JSON"},
  };
  for (const auto& c : cases) {
    const Result<View> view = parseViewDescription(std::string_view(c.text));
    ASSERT_FALSE(view.ok()) << c.text.substr(0, 40);
    EXPECT_EQ(view.error().message.substr(0, c.error.size()), c.error) << view.error().message;
  }
  // Just inside the limit still parses.
  std::string shallow;
  for (int i = 0; i < 20; ++i)
    shallow += "{\"ZStack\":[";
  shallow += "{\"Text\":\"x\"}";
  for (int i = 0; i < 20; ++i)
    shallow += "]}";
  EXPECT_TRUE(parseViewDescription(std::string_view(shallow)).ok());
}

}  // namespace
}  // namespace km
