#include "platform/ui/display_list_json.h"

#include <gtest/gtest.h>

#include "fixtures/json_match.h"
#include "gallery.h"
#include "platform/ui/layout.h"

namespace km {
namespace {

using nlohmann::json;

TEST(DisplayListJsonTest, DumpsItemsWithResolvedColours) {
  auto catalog =
      AssetCatalog::load(std::filesystem::path(KM_SOURCE_DIR) / "tests/ui/fixtures/Test.xcassets");
  ASSERT_TRUE(catalog.ok());
  StrokeStyle dashed;
  dashed.lineWidth = 3;
  dashed.lineCap = LineCap::round;
  dashed.dash = {2, 1};
  const View view =
      VStack(HorizontalAlignment::center, 0,
             {
                 Text("Hi")
                     .font(20, FontWeight::bold)
                     .foregroundColor(Color::named("widget-text-primary")),
                 Circle()
                     .trim(0, 0.5)
                     .stroke(AngularGradient{Gradient::evenlySpaced(
                                 {Color::sRGB(1, 0, 0), Color::named("Brand/accent")})},
                             dashed)
                     .frame(40, 40),
                 Link("kalomate://x", Image("ic_flame").foregroundColor(Color::sRGB(0, 0, 1))),
             })
          .widgetURL("kalomate://diary-widget-small_energy");
  const DisplayList list = layout(view, {158, 158}, LayoutOptions{&*catalog});
  const json light =
      displayListToJson(list, "small_energy", "systemSmall", ColorScheme::light, &*catalog);
  const json dark =
      displayListToJson(list, "small_energy", "systemSmall", ColorScheme::dark, &*catalog);
  // Both appearances against the reviewed dump, and the nulls the matcher would let through.
  const json want = testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) /
                                          "tests/ui/dumps/display_list_json.json");
  std::string why;
  EXPECT_TRUE(testing::jsonMatches(want["columnLight"], light, 1e-3, why)) << why << light.dump();
  EXPECT_TRUE(testing::jsonMatches(want["columnDark"], dark, 1e-3, why)) << why;
  EXPECT_TRUE(light["containerBackground"].is_null());
}

TEST(DisplayListJsonTest, EffectsAndContainerBackground) {
  const DisplayList list = layout(Rectangle()
                                      .fill(Color::black())
                                      .opacity(0.5)
                                      .rotationEffect(Angle::degrees(90))
                                      .shadow(Color::black().opacity(0.3), 2, 0, 1)
                                      .shadow(Color::black(), 4, 0, 2)
                                      .widgetAccentable()
                                      .containerBackground(Color::white()),
                                  {10, 10});
  const json j = displayListToJson(list, "k", "f", ColorScheme::light, nullptr);
  std::string why;
  EXPECT_TRUE(testing::jsonMatches(
      testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) /
                            "tests/ui/dumps/display_list_json.json")["effects"],
      j, 1e-3, why))
      << why << j.dump();
  EXPECT_TRUE(j["widgetURL"].is_null());
}

}  // namespace
}  // namespace km
