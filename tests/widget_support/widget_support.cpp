#include "widget_support/widget_support.h"

#include <cairo.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "base/fatal_error.h"
#include "platform/foundation/calendar.h"
#include "platform/ui/display_list_json.h"
#include "platform/ui/layout.h"
#include "platform/widgetkit/platform_backdrop.h"
#include "resources/widget_utils.h"

// Fontconfig, Pango, GLib and librsvg keep process-wide caches that are never freed; the leak
// checker would report them at exit. Our own objects are not suppressed. Every widget test
// binary links this library, so the hook lives here once.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT: sanitizer hook
  return "leak:libfontconfig\nleak:libpango\nleak:libglib\nleak:libgobject\nleak:librsvg\n"
         "leak:libharfbuzz\nleak:libcairo\nleak:libpixman\nleak:libfreetype\n";
}

namespace km::testing {

namespace {
constexpr const char* kTestZone = "Europe/Berlin";
}  // namespace

Date testNow() {
  return dateFromLocal(2024, 3, 14, 12, 0, 0, kTestZone);
}

Date daysBeforeTestNow(int days) {
  return dateFromLocal(2024, 3, 14 - days, 12, 0, 0, kTestZone);
}

std::string bundlePath() {
  return KM_SOURCE_BUNDLE_DIR;
}

const AssetCatalog& bundleAssets() {
  static const AssetCatalog* catalog = [] {
    auto loaded = AssetCatalog::load(std::filesystem::path(bundlePath()) / "Assets.xcassets");
    if (!loaded) fatalError("cannot load the bundle's asset catalogue");
    return new AssetCatalog(std::move(*loaded));
  }();
  return *catalog;
}

WidgetTestEnvironment::WidgetTestEnvironment(std::string languageCode, int platformMajor)
    : bundle(bundlePath()),
      store((std::filesystem::temp_directory_path() / "km-widget-tests-no-store/store.sqlite")
                .string()),
      now(testNow()),
      zone(kTestZone),
      locale("en_US"),
      language(std::move(languageCode)),
      platform(PlatformVersion{platformMajor, 0}) {}

RecordBuilder::RecordBuilder() {
  summary.currentDayInt = 1;
  summary.currentDate = testNow();
  summary.isLoggedIn = true;
}

RecordBuilder& RecordBuilder::energy(double current, double total) {
  summary.energyCurrent = current;
  summary.energyTotal = total;
  return *this;
}
RecordBuilder& RecordBuilder::fat(double current, double total) {
  summary.fatCurrent = current;
  summary.fatTotal = total;
  return *this;
}
RecordBuilder& RecordBuilder::protein(double current, double total) {
  summary.proteinCurrent = current;
  summary.proteinTotal = total;
  return *this;
}
RecordBuilder& RecordBuilder::carbs(double current, double total) {
  summary.carbsCurrent = current;
  summary.carbsTotal = total;
  return *this;
}
RecordBuilder& RecordBuilder::kilojoules(bool on) {
  summary.isKilojoules = on;
  return *this;
}
RecordBuilder& RecordBuilder::loggedIn(bool on) {
  summary.isLoggedIn = on;
  return *this;
}
RecordBuilder& RecordBuilder::date(Date d) {
  summary.currentDate = d;
  return *this;
}
RecordBuilder& RecordBuilder::daysAgo(int days) {
  summary.currentDate = daysBeforeTestNow(days);
  return *this;
}
RecordBuilder& RecordBuilder::history(std::vector<double> days) {
  summary.energyDays = std::move(days);
  return *this;
}

DisplayList layoutWidget(const View& view, WidgetFamily family, PhoneModel model) {
  LayoutOptions options;
  options.assets = &bundleAssets();
  options.layoutDirection = WidgetUtils::layoutDirection();
  DisplayList list = layout(view, familySize(family, model), options);
  list.backdrop = platformBackdrop(family);
  return list;
}

DisplayList layoutAt(const View& view, Size size) {
  LayoutOptions options;
  options.assets = &bundleAssets();
  options.layoutDirection = WidgetUtils::layoutDirection();
  return layout(view, size, options);
}

Json displayJson(const DisplayList& list, WidgetFamily family, ColorScheme scheme,
                 std::string_view kind) {
  return displayListToJson(list, kind, familyName(family), scheme, &bundleAssets());
}

Json widgetJson(const View& view, WidgetFamily family, ColorScheme scheme, std::string_view kind) {
  return displayJson(layoutWidget(view, family), family, scheme, kind);
}

std::vector<std::string> texts(const Json& list) {
  std::vector<std::string> out;
  for (const Json& item : list.at("items")) {
    if (item.value("type", "") == "text") out.push_back(item.at("text"));
  }
  return out;
}

std::optional<std::string> widgetURLOf(const Json& list) {
  const Json& url = list.at("widgetURL");
  if (url.is_null()) return std::nullopt;
  return url.get<std::string>();
}

namespace {

struct SurfaceDeleter {
  void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
using SurfacePtr = std::unique_ptr<cairo_surface_t, SurfaceDeleter>;

// Straight RGBA of one pixel of an ARGB32 surface.
std::array<int, 4> straightPixel(const unsigned char* data, int stride, int x, int y) {
  const auto* p = reinterpret_cast<const uint32_t*>(data + y * stride) + x;
  const uint32_t v = *p;
  const int a = static_cast<int>((v >> 24) & 255);
  auto channel = [&](int shift) {
    const int c = static_cast<int>((v >> shift) & 255);
    return a == 0 ? 0 : std::min(255, (c * 255 + a / 2) / a);
  };
  return {channel(16), channel(8), channel(0), a};
}

}  // namespace

GoldenResult matchesGolden(const DisplayList& list, const std::string& name, RenderOptions options,
                           GoldenTolerance tolerance) {
  if (!options.assets) options.assets = &bundleAssets();
  const std::filesystem::path file =
      std::filesystem::path(KM_SOURCE_DIR) / "tests" / "golden" / (name + ".png");
  RasterImage actual = renderImage(list, options);

  const char* update = std::getenv("KM_UPDATE_GOLDENS");
  if (update && std::string(update) == "1") {
    auto bytes = encodePng(actual, 9);
    if (!bytes) return {false, "cannot encode " + name};
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes->data()),
              static_cast<std::streamsize>(bytes->size()));
    return {static_cast<bool>(out), "wrote " + file.string()};
  }

  if (!std::filesystem::exists(file)) {
    return {false, "no golden image " + file.string() +
                       "; run the test with KM_UPDATE_GOLDENS=1 to write it"};
  }
  SurfacePtr expected(cairo_image_surface_create_from_png(file.c_str()));
  if (cairo_surface_status(expected.get()) != CAIRO_STATUS_SUCCESS) {
    return {false, "cannot read " + file.string()};
  }
  // The golden file may be RGB24 when it has no transparency; draw it into ARGB32 to compare.
  const int w = cairo_image_surface_get_width(expected.get());
  const int h = cairo_image_surface_get_height(expected.get());
  if (w != actual.width() || h != actual.height()) {
    std::ostringstream msg;
    msg << name << ": size " << actual.width() << "x" << actual.height() << ", golden " << w << "x"
        << h;
    return {false, msg.str()};
  }
  SurfacePtr golden(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h));
  {
    cairo_t* cr = cairo_create(golden.get());
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_surface(cr, expected.get(), 0, 0);
    cairo_paint(cr);
    cairo_destroy(cr);
  }
  cairo_surface_flush(golden.get());
  cairo_surface_flush(actual.surface());
  const unsigned char* g = cairo_image_surface_get_data(golden.get());
  const unsigned char* a = cairo_image_surface_get_data(actual.surface());
  const int gs = cairo_image_surface_get_stride(golden.get());
  const int as = cairo_image_surface_get_stride(actual.surface());
  long different = 0;
  int worst = 0;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const auto pg = straightPixel(g, gs, x, y);
      const auto pa = straightPixel(a, as, x, y);
      int diff = 0;
      for (int c = 0; c < 4; ++c)
        diff = std::max(diff, std::abs(pg[c] - pa[c]));
      worst = std::max(worst, diff);
      if (diff > tolerance.channelTolerance) ++different;
    }
  }
  const double fraction = static_cast<double>(different) / (static_cast<double>(w) * h);
  std::ostringstream msg;
  msg << name << ": " << different << " of " << w * h << " pixels differ by more than "
      << tolerance.channelTolerance << " (worst " << worst << "); allowed fraction "
      << tolerance.maxDifferentFraction;
  return {fraction <= tolerance.maxDifferentFraction, msg.str()};
}

}  // namespace km::testing
