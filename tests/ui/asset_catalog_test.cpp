#include "platform/ui/asset_catalog.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <fstream>

#include "fixtures/json_match.h"
#include "platform/ui/render/cairo_canvas.h"
#include "ui/librsvg_reference.h"

namespace km {
namespace {

const std::filesystem::path kFixtures =
    std::filesystem::path(KM_SOURCE_DIR) / "tests/ui/fixtures/Test.xcassets";

// Writes a one-colour set with the given components text into a fresh catalogue.
std::filesystem::path catalogWithColour(const std::string& components) {
  const auto dir = std::filesystem::temp_directory_path() / "km_ui_assets.xcassets";
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir / "c.colorset");
  std::ofstream(dir / "c.colorset/Contents.json")
      << R"({"colors":[{"idiom":"universal","color":{"color-space":"srgb","components":)"
      << components << "}}]}";
  return dir;
}

// Each row of colour_components.json: a colour set's components and the colour it gives (null:
// the set is refused).
TEST(AssetCatalogTest, ColourComponentForms) {
  const nlohmann::json rows = testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) /
                                                    "tests/ui/colour_components.json");
  for (const nlohmann::json& row : rows) {
    const std::string components = row["components"].dump();
    auto catalog = AssetCatalog::load(catalogWithColour(components));
    ASSERT_TRUE(catalog.ok());
    const auto got = catalog->color("c", ColorScheme::light);
    ASSERT_EQ(got.has_value(), !row["rgba"].is_null()) << components;
    if (!got) continue;
    const double channels[] = {got->red, got->green, got->blue, got->alpha};
    for (int k = 0; k < 4; ++k)
      EXPECT_NEAR(channels[k], row["rgba"][k].get<double>(), 1e-9) << components << " " << k;
  }
  EXPECT_GE(rows.size(), 10u);  // the file was found and read
}

// Contents.json members of the wrong type (a number where Xcode writes a string, a string for a
// flag) count as absent: the file loses that member, the catalogue still loads.
TEST(AssetCatalogTest, MembersOfTheWrongTypeCountAsAbsent) {
  const auto dir = std::filesystem::temp_directory_path() / "km_ui_wrong_types.xcassets";
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir / "c.colorset");
  std::filesystem::create_directories(dir / "i.imageset");
  std::filesystem::create_directories(dir / "g" / "n.colorset");
  std::ofstream(dir / "c.colorset/Contents.json")
      << R"({"colors":[{"color":7},{"appearances":[{"appearance":1,"value":"dark"}],)"
      << R"("color":{"components":{"red":"1.0","green":"0.0","blue":"0.0"}}}]})";
  std::ofstream(dir / "i.imageset/Contents.json")
      << R"({"images":[{"filename":7},{"filename":"i.svg","scale":2}],)"
      << R"("properties":{"template-rendering-intent":1}})";
  std::ofstream(dir / "i.imageset/i.svg")
      << R"(<svg xmlns="http://www.w3.org/2000/svg" width="4" height="4"><path d="M0 0h4v4z"/></svg>)";
  std::ofstream(dir / "g/Contents.json") << R"({"properties":{"provides-namespace":"yes"}})";
  std::ofstream(dir / "g/n.colorset/Contents.json")
      << R"({"colors":[{"color":{"components":{"white":"1"}}}]})";
  const auto catalog = AssetCatalog::load(dir);
  ASSERT_TRUE(catalog.ok());
  // The appearance that is not a string makes the red entry universal.
  EXPECT_EQ(catalog->color("c", ColorScheme::dark), (RGBA{1, 0, 0, 1}));
  EXPECT_TRUE(catalog->hasImage("i"));
  EXPECT_FALSE(catalog->isTemplateImage("i"));
  EXPECT_TRUE(catalog->color("n", ColorScheme::light));  // "yes" is no namespace
}

// A set's file names are names, not paths: one reaching out of its folder is not read.
TEST(AssetCatalogTest, ImageFilesStayInTheirSet) {
  const auto dir = std::filesystem::temp_directory_path() / "km_ui_file_names.xcassets";
  std::filesystem::remove_all(dir);
  const std::string svg =
      R"(<svg xmlns="http://www.w3.org/2000/svg" width="4" height="4"><path d="M0 0h4v4z"/></svg>)";
  const std::string outside = (dir.parent_path() / "km_ui_outside.svg").string();
  const std::pair<std::string, std::string> sets[] = {{"plain", "i.svg"},
                                                      {"up", "../../km_ui_outside.svg"},
                                                      {"absolute", outside},
                                                      {"folder", "sub/i.svg"}};
  std::ofstream(outside) << svg;
  for (const auto& [name, file] : sets) {
    const auto set = dir / (name + ".imageset");
    std::filesystem::create_directories(set / "sub");
    std::ofstream(set / "i.svg") << svg;
    std::ofstream(set / "sub/i.svg") << svg;
    std::ofstream(set / "Contents.json") << R"({"images":[{"filename":")" << file << R"("}]})";
  }
  const auto catalog = AssetCatalog::load(dir);
  ASSERT_TRUE(catalog.ok());
  for (const auto& [name, file] : sets)
    EXPECT_EQ(catalog->hasImage(name), name == "plain") << name;
}

TEST(AssetCatalogTest, AppearancesNamespacesAndBrokenSets) {
  auto catalog = AssetCatalog::load(kFixtures);
  ASSERT_TRUE(catalog.ok()) << catalog.error().message;
  const auto light = catalog->color("widget-background-primary", ColorScheme::light);
  const auto dark = catalog->color("widget-background-primary", ColorScheme::dark);
  ASSERT_TRUE(light && dark);
  EXPECT_EQ(*light, (RGBA{1, 1, 1, 1}));
  EXPECT_NEAR(dark->red, 0x1C / 255.0, 1e-9);
  // A set with only a universal variant serves both appearances; the group provides a namespace.
  EXPECT_EQ(catalog->color("Brand/accent", ColorScheme::dark),
            catalog->color("Brand/accent", ColorScheme::light));
  EXPECT_FALSE(catalog->color("accent", ColorScheme::light));
  EXPECT_FALSE(catalog->color("broken", ColorScheme::light));
  EXPECT_EQ(hexString(resolveColor(Color::named("Brand/accent"), ColorScheme::light, &*catalog)),
            "#03B00080");
  EXPECT_EQ(hexString(resolveColor(Color::named("nope"), ColorScheme::dark, &*catalog)),
            "#FF00FFFF");
  EXPECT_EQ(hexString(resolveColor(Color::named("widget-text-primary").opacity(0.5),
                                   ColorScheme::dark, &*catalog)),
            "#FFFFFF80");
  EXPECT_FALSE(AssetCatalog::load(kFixtures / "missing").ok());
}

TEST(AssetCatalogTest, ImageSets) {
  auto catalog = AssetCatalog::load(kFixtures);
  ASSERT_TRUE(catalog.ok());
  EXPECT_EQ(catalog->imageNames(), (std::vector<std::string>{"ic_badge", "ic_broken", "ic_flame",
                                                             "ic_gradient", "ic_mm"}));
  EXPECT_EQ(catalog->imageSize("ic_flame"), (Size{24, 24}));
  EXPECT_EQ(catalog->imageSize("ic_badge"), (Size{32, 16}));
  // Absolute units count 72 points to the inch.
  EXPECT_EQ(catalog->imageSize("ic_mm"), (Size{72, 36}));
  // A gradient is beyond the built-in reader; the root still gives the size.
  EXPECT_EQ(catalog->imageSize("ic_gradient"), (Size{20, 10}));
  // A file whose root declares a size but whose body does not parse has that size, and cannot
  // be drawn (the renderer then shows the missing-image box).
  EXPECT_EQ(catalog->imageSize("ic_broken"), (Size{10, 20}));
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 10, 10);
  cairo_t* cr = cairo_create(surface);
  CairoCanvas canvas(cr);
  EXPECT_FALSE(catalog->drawImage(canvas, "ic_broken", {0, 0, 10, 10}));
  EXPECT_TRUE(catalog->drawImage(canvas, "ic_flame", {0, 0, 10, 10}));
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  EXPECT_TRUE(catalog->isTemplateImage("ic_flame"));
  EXPECT_FALSE(catalog->isTemplateImage("ic_badge"));
  EXPECT_FALSE(catalog->imageSize("nope"));
  CairoCanvas nowhere(nullptr);
  EXPECT_FALSE(catalog->drawImage(nowhere, "nope", {0, 0, 10, 10}));
}

// Reads one pixel of an ARGB32 surface as (red, green, blue, alpha) bytes.
std::array<int, 4> pixel(cairo_surface_t* s, int x, int y) {
  cairo_surface_flush(s);
  const unsigned char* p =
      cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) + x * 4;
  const uint32_t v = *reinterpret_cast<const uint32_t*>(p);
  return {int(v >> 16 & 0xFF), int(v >> 8 & 0xFF), int(v & 0xFF), int(v >> 24)};
}

TEST(AssetCatalogTest, ImagesBeyondTheBuiltInReaderDrawThroughLibrsvg) {
  test::librsvgLoadedByTests = true;
  auto catalog = AssetCatalog::load(kFixtures);
  ASSERT_TRUE(catalog.ok());
  struct Case {
    const char* name;
    int width, height;
    std::array<int, 4> left, right;  // pixels near the left and right edges, on the middle row
  } cases[] = {
      // A red-to-blue gradient: only librsvg draws this one.
      {"ic_gradient", 40, 20, {0xF5, 0, 0x0A, 255}, {0x0A, 0, 0xF5, 255}},
      // Vector icons of the reader, for comparison.
      {"ic_badge", 32, 16, {255, 0, 0, 255}, {0, 0, 255, 255}},
      {"ic_mm", 20, 10, {0, 255, 0, 255}, {0, 255, 0, 255}},
  };
  for (const auto& c : cases) {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, c.width, c.height);
    cairo_t* cr = cairo_create(surface);
    CairoCanvas canvas(cr);
    EXPECT_TRUE(catalog->drawImage(canvas, c.name, {0, 0, double(c.width), double(c.height)}))
        << c.name;
    const auto left = pixel(surface, 1, c.height / 2),
               right = pixel(surface, c.width - 2, c.height / 2);
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(left[i], c.left[i], 12) << c.name << " left, channel " << i;
      EXPECT_NEAR(right[i], c.right[i], 12) << c.name << " right, channel " << i;
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
}

}  // namespace
}  // namespace km
