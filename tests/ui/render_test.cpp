#include <cairo.h>
#include <gtest/gtest.h>
#include <spng.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <thread>

#include "fixtures/json_match.h"
#include "gallery.h"
#include "kmwidget/view_description/view_description.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/layout.h"
#include "platform/ui/render/cairo_canvas.h"
#include "platform/ui/renderer.h"

namespace km {
namespace {

const AssetCatalog& fixtures() {
  static const AssetCatalog* catalog = [] {
    auto loaded =
        AssetCatalog::load(std::string(KM_SOURCE_DIR) + "/tests/ui/fixtures/Test.xcassets");
    if (!loaded) ADD_FAILURE() << loaded.error().message;
    return new AssetCatalog(loaded ? std::move(loaded.value()) : AssetCatalog());
  }();
  return *catalog;
}

RasterImage draw(const View& view, Size size, double scale = 1,
                 ColorScheme scheme = ColorScheme::light,
                 RenderingMode mode = RenderingMode::fullColor) {
  RenderOptions o;
  o.scale = scale;
  o.colorScheme = scheme;
  o.renderingMode = mode;
  o.assets = &fixtures();
  return renderImage(layout(view, size, LayoutOptions{&fixtures()}), o);
}

// Draws through a recording surface, as vector output does (angular gradients become mesh
// patterns there), then replays it into pixels.
RasterImage drawAsVector(const View& view, Size size) {
  RenderOptions o;
  o.scale = 1;
  o.assets = &fixtures();
  const DisplayList list = layout(view, size, LayoutOptions{&fixtures()});
  cairo_surface_t* recording = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
  cairo_t* cr = cairo_create(recording);
  drawDisplayList(cr, list, o);
  cairo_destroy(cr);
  RasterImage pixels(static_cast<int>(size.width), static_cast<int>(size.height));
  cairo_surface_t* image = createSurfaceFor(pixels);
  cr = cairo_create(image);
  cairo_set_source_surface(cr, recording, 0, 0);
  cairo_paint(cr);
  cairo_destroy(cr);
  cairo_surface_destroy(image);
  cairo_surface_destroy(recording);
  return pixels;
}

using Pixel = std::array<uint8_t, 4>;

// The point at `degrees` from three o'clock, clockwise on screen, on a circle about (50, 50).
std::pair<int, int> at(double degrees, double radius) {
  const double t = degrees * std::numbers::pi / 180;
  return {static_cast<int>(std::lround(50 + radius * std::cos(t))),
          static_cast<int>(std::lround(50 + radius * std::sin(t)))};
}

// Each row of render/probes.json: a view description drawn on a canvas (in a colour scheme and
// rendering mode, optionally over the system backdrop), and pixels that must hold a colour ("rgba",
// each channel within "tolerance") or lie between "min" and "max"; a null channel is not checked.
TEST(RenderTest, ProbedPixelsHoldTheirColours) {
  const auto rows =
      testing::readJsonFile(std::string(KM_SOURCE_DIR) + "/tests/ui/render/probes.json");
  for (const nlohmann::json& row : rows) {
    const std::string name = row["name"].get<std::string>();
    const Result<View> view = parseViewDescription(row["view"]);
    ASSERT_TRUE(view.ok()) << name << ": " << view.error().message;
    const std::string mode = row.value("mode", "fullColor");
    RenderOptions o;
    o.scale = 1;
    o.assets = &fixtures();
    o.colorScheme = row.value("scheme", "light") == "dark" ? ColorScheme::dark : ColorScheme::light;
    o.renderingMode = mode == "vibrant"    ? RenderingMode::vibrant
                      : mode == "accented" ? RenderingMode::accented
                                           : RenderingMode::fullColor;
    DisplayList list =
        layout(view.value(), {row["canvas"][0], row["canvas"][1]}, LayoutOptions{&fixtures()});
    if (row.value("backdrop", false)) list.backdrop = Paint{Color::systemBackground()};
    const RasterImage img = renderImage(list, o);
    for (const nlohmann::json& ink : row.value("ink", nlohmann::json::array())) {
      const auto& r = ink["rect"];
      int inked = 0;
      for (int y = r[1]; y < r[3]; ++y) {
        for (int x = r[0]; x < r[2]; ++x)
          inked += img.pixel(x, y)[3] > 128;
      }
      EXPECT_GE(inked, ink.value("min", 0)) << name << ": ink in " << r;
      EXPECT_LE(inked, ink.value("max", 1 << 30)) << name << ": ink in " << r;
    }
    for (const nlohmann::json& probe : row.value("probes", nlohmann::json::array())) {
      const Pixel got = img.pixel(probe["at"][0].get<int>(), probe["at"][1].get<int>());
      const int tolerance = probe.value("tolerance", 0);
      for (size_t k = 0; k < 4; ++k) {
        auto given = [&](const char* key) {
          return probe.contains(key) && !probe[key][k].is_null();
        };
        int low = 0, high = 255;
        if (given("rgba")) low = probe["rgba"][k].get<int>() - tolerance;
        if (given("rgba")) high = probe["rgba"][k].get<int>() + tolerance;
        if (given("min")) low = probe["min"][k].get<int>();
        if (given("max")) high = probe["max"][k].get<int>();
        EXPECT_TRUE(got[k] >= low && got[k] <= high)
            << name << " at " << probe["at"] << ": channel " << k << " is " << int(got[k]) << " of "
            << int(got[0]) << "," << int(got[1]) << "," << int(got[2]) << "," << int(got[3]);
      }
    }
  }
  EXPECT_GE(rows.size(), 39u);  // the file was found and read
}

TEST(RenderTest, ConicGradientColoursAtKnownAngles) {
  const Color red = Color::sRGB(1, 0, 0), blue = Color::sRGB(0, 0, 1);
  // Red to blue swept from `from` to `to` radians (a full turn when both are 0); the colour
  // at `angle` degrees from three o'clock, clockwise, is `redShare` red and the rest blue.
  constexpr double kDeg = std::numbers::pi / 180;
  struct Case {
    const char* name;
    double from, to, angle, redShare;
  } cases[] = {
      {"start", 0, 0, 5, 1 - 5.0 / 360},
      {"quarter", 0, 0, 90, 0.75},
      {"half", 0, 0, 180, 0.5},
      {"three quarters", 0, 0, 270, 0.25},
      // A sweep from 90 to 270 degrees: halfway at 180; the end colours continue outside.
      {"partial sweep middle", 90 * kDeg, 270 * kDeg, 180, 0.5},
      {"partial sweep after end", 90 * kDeg, 270 * kDeg, 300, 0},
      {"partial sweep before start", 90 * kDeg, 270 * kDeg, 60, 1},
      // Sweeps longer than a turn draw one turn, with the stops spread over that turn.
      {"two turns", 0, 720 * kDeg, 90, 0.75},
      {"91 to 1e9 radians", 91, 1e9, 91 / kDeg + 180, 0.5},
      {"three stops", 0, 0, 90, 0.5},
  };
  for (const auto& c : cases) {
    const bool threeStops = std::string(c.name) == "three stops";
    const Gradient colours = threeStops
                                 ? Gradient({{red, 0}, {Color::sRGB(0, 1, 0), 0.5}, {blue, 1}})
                                 : Gradient::evenlySpaced({red, blue});
    const AngularGradient gradient =
        c.to == 0 ? AngularGradient{colours}
                  : AngularGradient{colours, UnitPoint::center(), Angle{c.from}, Angle{c.to}};
    // Pixels get a per-pixel gradient; vector output a mesh: both must agree with the angles.
    for (bool vector : {false, true}) {
      const View view = Circle().fill(gradient);
      const RasterImage img = vector ? drawAsVector(view, {100, 100}) : draw(view, {100, 100});
      auto [x, y] = at(c.angle, 30);
      const Pixel p = img.pixel(x, y);
      EXPECT_NEAR(p[0], 255 * c.redShare, 10) << c.name << (vector ? " (mesh)" : "");
      // Three stops: a quarter turn is halfway from red to green.
      EXPECT_NEAR(p[threeStops ? 1 : 2], 255 * (1 - c.redShare), 10)
          << c.name << (vector ? " (mesh)" : "");
    }
  }
}

// Numbers a widget's arithmetic can produce (not-a-number angles, centres at infinity, widths
// of a billion points) draw something sensible instead of stopping the context or overflowing.
TEST(RenderTest, NonFiniteGradientsAndHugeSizesStillDraw) {
  const Color red = Color::sRGB(1, 0, 0), blue = Color::sRGB(0, 0, 1);
  const View nanAngles = Circle().fill(AngularGradient{
      Gradient::evenlySpaced({red, blue}), UnitPoint::center(), Angle{NAN}, Angle{INFINITY}});
  const View nanCentre =
      Circle().fill(AngularGradient{Gradient::evenlySpaced({red, blue}), UnitPoint{NAN, 0.5}});
  const View nanLinear =
      Rectangle().fill(LinearGradient{Gradient::evenlySpaced({red, blue}), UnitPoint{NAN, 0}});
  for (const View& v : {nanAngles, nanCentre, nanLinear}) {
    for (bool vector : {false, true}) {
      const RasterImage img = vector ? drawAsVector(v, {100, 100}) : draw(v, {100, 100});
      EXPECT_EQ(img.pixel(50, 50)[3], 255) << vector;  // drawn, with the default geometry
    }
  }
  const View wide =
      Text("wide").frame(1e9, 20, Alignment::leading()).frame(100, 20, Alignment::leading());
  const DisplayList list = layout(wide, {100, 20});
  ASSERT_EQ(list.items.size(), 1u);
  const RasterImage img = draw(wide, {100, 20});
  int ink = 0;
  for (int x = 0; x < 40; ++x) {
    for (int y = 0; y < 20; ++y)
      ink += img.pixel(x, y)[3] > 128;
  }
  EXPECT_GT(ink, 20);  // the word is drawn at the leading edge
}

// Drawing costs what the pixels cost, whatever the numbers: a gradient swept over a billion
// radians under a shadow, and a dash pattern far finer than a pixel round a ring a thousand
// times the widget's size, drawn to pixels and as vectors, must not grow the process by more
// than a few images' worth. Run in a child so that its peak memory is its own; the alarm only
// ends a child that would otherwise run for minutes.
TEST(RenderTest, HugeGradientSweepUnderAShadowCostsOnlyItsPixels) {
  StrokeStyle fine;
  fine.lineWidth = 4;
  fine.dash = {0.01, 0.03};
  const View view =
      ZStack({Circle()
                  .fill(AngularGradient{
                      Gradient::evenlySpaced({Color::sRGB(1, 0, 0), Color::sRGB(0, 0, 1)}),
                      UnitPoint::center(), Angle{91}, Angle{1e9}})
                  .shadow(Color::black(), 4, 2, 2)
                  .frame(100, 100),
              // A ring of radius 30 000 whose left edge crosses the picture at x = 90, clear of the
              // gradient near the top.
              Circle().stroke(Color::black(), fine).frame(60000, 60000).offset(30040, 0)});
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    alarm(60);
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    const RasterImage pixels = draw(view, {100, 100});
    const RasterImage vector = drawAsVector(view, {100, 100});
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    const long grownKiB = after.ru_maxrss - before.ru_maxrss;
    // The fine dashes show as a solid line at their quarter of ink.
    const bool drawn = pixels.pixel(50, 50)[3] == 255 && vector.pixel(50, 50)[3] == 255 &&
                       std::abs(pixels.pixel(90, 2)[3] - 64) < 16;
    if (!drawn || grownKiB >= 64 * 1024) {
      std::fprintf(stderr, "grew %ld KiB; alpha at centre %d/%d, on the ring %d\n", grownKiB,
                   pixels.pixel(50, 50)[3], vector.pixel(50, 50)[3], pixels.pixel(90, 2)[3]);
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << (WIFSIGNALED(status) ? "killed by signal " + std::to_string(WTERMSIG(status))
                              : "grew by 64 MiB or more, or drew nothing");
}

TEST(RenderTest, LinearGradientAcrossACapsule) {
  const View bar =
      Capsule()
          .fill(LinearGradient{Gradient::evenlySpaced({Color::sRGB(1, 0, 0), Color::sRGB(0, 0, 1)}),
                               UnitPoint::leading(), UnitPoint::trailing()})
          .frame(100, 20);
  const RasterImage img = draw(bar, {100, 20});
  EXPECT_EQ(img.pixel(0, 0)[3], 0);  // outside the rounded end
  const Pixel mid = img.pixel(50, 10);
  EXPECT_NEAR(mid[0], 128, 6);
  EXPECT_NEAR(mid[2], 128, 6);
  const Pixel nearEnd = img.pixel(90, 10);
  EXPECT_GT(nearEnd[2], 220);
}

// Every pixel survives encoding, whatever the size: small images are deflated in one piece,
// large ones in two halves at once whose streams are joined (odd heights split unevenly).
TEST(RenderTest, PngRoundTripsEveryPixel) {
  struct Case {
    const char* name;
    Size size;
    double scale;
    PngThreads threads = PngThreads::upToTwo;
  } cases[] = {
      {"one pixel", {1, 1}, 1},
      {"small", {40, 7}, 1},
      {"ring widget at scale 3, two halves", {158, 158}, 3},
      {"medium widget at scale 3, odd height", {338, 158.4}, 3},
      {"medium widget at scale 3, one thread", {338, 158.4}, 3, PngThreads::one},
  };
  for (const Case& c : cases) {
    // Translucent edges and a gradient, so that straight alpha and long runs are both tested.
    const RasterImage img =
        draw(ZStack({Capsule().fill(LinearGradient{
                         Gradient::evenlySpaced({Color::sRGB(1, 0, 0, 0.5), Color::sRGB(0, 0, 1)}),
                         UnitPoint::leading(), UnitPoint::trailing()}),
                     gallery::ringWidget(0.72)}),
             c.size, c.scale);
    auto png = encodePng(img, 1, c.threads);
    ASSERT_TRUE(png.ok()) << c.name << ": " << png.error().message;
    spng_ctx* ctx = spng_ctx_new(0);
    spng_set_png_buffer(ctx, png->data(), png->size());
    spng_ihdr ihdr;
    ASSERT_EQ(spng_get_ihdr(ctx, &ihdr), 0) << c.name;
    ASSERT_EQ(ihdr.width, static_cast<uint32_t>(img.width())) << c.name;
    ASSERT_EQ(ihdr.height, static_cast<uint32_t>(img.height())) << c.name;
    size_t size = 0;
    spng_decoded_image_size(ctx, SPNG_FMT_RGBA8, &size);
    std::vector<uint8_t> rgba(size);
    // The decoder checks every chunk's CRC and the stream's Adler-32.
    ASSERT_EQ(spng_decode_image(ctx, rgba.data(), size, SPNG_FMT_RGBA8, 0), 0) << c.name;
    spng_ctx_free(ctx);
    int wrong = 0;
    for (int y = 0; y < img.height(); ++y) {
      for (int x = 0; x < img.width(); ++x) {
        const Pixel want = img.pixel(x, y);
        const uint8_t* got = &rgba[(static_cast<size_t>(y) * ihdr.width + x) * 4];
        for (int k = 0; k < 4; ++k)
          wrong += std::abs(got[k] - want[static_cast<size_t>(k)]) > 1;
      }
    }
    EXPECT_EQ(wrong, 0) << c.name;
  }
}

// Layout and drawing share the text engine and the catalogue between threads: the same view
// drawn on several threads at once gives the same pixels as drawn alone.
TEST(RenderTest, ConcurrentDrawingMatchesSerial) {
  const std::vector<View> views = {gallery::ringWidget(0.3), gallery::textWidget(),
                                   gallery::buttonsWidget()};
  auto render = [&](size_t i) {
    return draw(views[i % views.size()], {338, 158}, 1, ColorScheme::dark);
  };
  std::vector<RasterImage> serial;
  for (size_t i = 0; i < views.size(); ++i)
    serial.push_back(render(i));
  std::vector<RasterImage> parallel(6);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < parallel.size(); ++i) {
    threads.emplace_back([&, i] { parallel[i] = render(i); });
  }
  for (auto& t : threads)
    t.join();
  for (size_t i = 0; i < parallel.size(); ++i) {
    const RasterImage& want = serial[i % views.size()];
    int differing = 0;
    for (int y = 0; y < want.height(); y += 3) {
      for (int x = 0; x < want.width(); x += 3)
        differing += want.pixel(x, y) != parallel[i].pixel(x, y);
    }
    EXPECT_EQ(differing, 0) << "view " << i % views.size();
  }
}

TEST(RenderTest, VectorFormatsAreWritten) {
  const DisplayList list = layout(gallery::ringWidget(0.5), {158, 158}, LayoutOptions{&fixtures()});
  RenderOptions o;
  o.assets = &fixtures();
  const auto dir = std::filesystem::temp_directory_path();
  for (const char* name : {"km_ui_test.svg", "km_ui_test.pdf", "km_ui_test.png"}) {
    const auto file = dir / name;
    ASSERT_TRUE(writeImageFile(list, o, file).ok()) << name;
    EXPECT_GT(std::filesystem::file_size(file), 1000u) << name;
    std::filesystem::remove(file);
  }
  EXPECT_FALSE(writeImageFile(list, o, dir / "km_ui_test.gif").ok());
}

}  // namespace
}  // namespace km
