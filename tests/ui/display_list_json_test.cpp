#include "platform/ui/display_list_json.h"

#include <gtest/gtest.h>

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
  EXPECT_EQ(light["kind"], "small_energy");
  EXPECT_EQ(light["family"], "systemSmall");
  EXPECT_EQ(light["size"], (json{{"width", 158}, {"height", 158}}));
  EXPECT_EQ(light["widgetURL"], "kalomate://diary-widget-small_energy");
  EXPECT_TRUE(light["containerBackground"].is_null());
  const json& items = light["items"];
  ASSERT_EQ(items.size(), 4u);

  const json& text = items[0];
  EXPECT_EQ(text["type"], "text");
  EXPECT_EQ(text["text"], "Hi");
  EXPECT_EQ(text["font"], (json{{"size", 20}, {"weight", "bold"}}));
  EXPECT_EQ(text["color"], "#1F222BFF");
  EXPECT_EQ(text["colorName"], "widget-text-primary");
  EXPECT_EQ(dark["items"][0]["color"], "#FFFFFFFF");
  ASSERT_EQ(text["frame"].size(), 4u);
  // The column is centred: the text's frame is centred horizontally in the widget.
  EXPECT_NEAR(text["frame"][0].get<double>() * 2 + text["frame"][2].get<double>(), 158, 0.01);

  const json& ring = items[1];
  EXPECT_EQ(ring["type"], "shape");
  EXPECT_EQ(ring["kind"], "circle");
  EXPECT_EQ(ring["trim"], (json{0, 0.5}));
  EXPECT_EQ(ring["lineWidth"], 3);
  EXPECT_EQ(ring["lineCap"], "round");
  EXPECT_EQ(ring["dash"], (json{2, 1}));
  EXPECT_EQ(ring["stroke"]["type"], "angularGradient");
  EXPECT_EQ(ring["stroke"]["stops"][1]["color"], "#03B00080");
  EXPECT_EQ(ring["stroke"]["stops"][1]["colorName"], "Brand/accent");
  EXPECT_EQ(ring["stroke"]["stops"][1]["location"], 1);
  EXPECT_EQ(ring["frame"][2], 40);

  const json& image = items[2];
  EXPECT_EQ(image["type"], "image");
  EXPECT_EQ(image["name"], "ic_flame");
  EXPECT_EQ(image["tint"], "#0000FFFF");  // the asset asks for template rendering
  EXPECT_EQ(image["frame"][2], 24);
  const json& link = items[3];
  EXPECT_EQ(link["type"], "link");
  EXPECT_EQ(link["url"], "kalomate://x");
  EXPECT_EQ(link["frame"], image["frame"]);
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
  EXPECT_EQ(j["containerBackground"], "#FFFFFFFF");
  EXPECT_TRUE(j["widgetURL"].is_null());
  const json& item = j["items"][0];
  EXPECT_EQ(item["opacity"], 0.5);
  EXPECT_EQ(item["transform"], (json{0, 1, -1, 0, 10, 0}));
  // Outermost first: drawn bottom-most.
  ASSERT_EQ(item["shadows"].size(), 2u);
  EXPECT_EQ(item["shadows"][0]["color"], "#000000FF");
  EXPECT_EQ(item["shadows"][0]["radius"], 4);
  EXPECT_EQ(item["shadows"][1]["color"], "#0000004D");
  EXPECT_EQ(item["shadows"][1]["y"], 1);
  EXPECT_EQ(item["accentable"], true);
  EXPECT_EQ(item["fill"], "#000000FF");
}

}  // namespace
}  // namespace km
