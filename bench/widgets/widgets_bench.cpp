// One real widget's costs: building its view and laying it out, drawing it at scale 3, and
// encoding the PNG, each on its own, for the small energy widget, the two lock-screen energy
// widgets and the three medium widgets (the buttons are the slowest to draw: four shadowed
// tiles and their icons).
#include <benchmark/benchmark.h>

#include <filesystem>
#include <iterator>

#include "host/km_widget_entry_view.h"
#include "platform/foundation/process_settings.h"
#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"
#include "platform/widgetkit/family_size.h"
#include "resources/widget_utils.h"

namespace km {
namespace {

const AssetCatalog& catalog() {
  static const AssetCatalog* c = [] {
    auto loaded =
        AssetCatalog::load(std::filesystem::path(KM_SOURCE_BUNDLE_DIR) / "Assets.xcassets");
    return new AssetCatalog(loaded ? std::move(*loaded) : AssetCatalog());
  }();
  return *c;
}

struct Setup {
  const char* kind;
  WidgetFamily family;
};
constexpr Setup kSetups[] = {{"small_energy", WidgetFamily::systemSmall},
                             {"small_energy", WidgetFamily::accessoryCircular},
                             {"small_energy", WidgetFamily::accessoryInline},
                             {"medium_buttons", WidgetFamily::systemMedium},
                             {"medium_pie_macros", WidgetFamily::systemMedium},
                             {"medium_history", WidgetFamily::systemMedium}};
constexpr int kLastSetup = static_cast<int>(std::size(kSetups)) - 1;

// A day's record dated now, over the goal so that the ring draws its second lap, with macros
// and a week of history for the medium widgets.
NutritionEntry entryNow() {
  NutritionEntry e;
  e.date = now();
  e.nutrition.currentDayInt = 1;
  e.nutrition.currentDate = e.date;
  e.nutrition.isLoggedIn = true;
  e.nutrition.energyCurrent = 2300;
  e.nutrition.energyTotal = 2000;
  e.nutrition.carbsCurrent = 250;
  e.nutrition.carbsTotal = 260;
  e.nutrition.fatCurrent = 70;
  e.nutrition.fatTotal = 65;
  e.nutrition.proteinCurrent = 90;
  e.nutrition.proteinTotal = 120;
  e.nutrition.energyDays = {1800, 2300, 1500, 2100, 1950, 2400, 1700};
  return e;
}

struct Fixture {
  Fixture()
      : bundle(KM_SOURCE_BUNDLE_DIR),
        store(std::filesystem::temp_directory_path() / "km-bench-no-store.sqlite") {}
  ScopedMainBundlePath bundle;
  ScopedStorePath store;
};

DisplayList layoutOf(const Setup& s) {
  const ScopedRedraw redraw;  // as a host redraws: the language and its texts read once
  LayoutOptions options;
  options.assets = &catalog();
  return layout(KMWidgetEntryView{entryNow(), s.family, s.kind}.body(), familySize(s.family),
                options);
}

RenderOptions renderOptions(WidgetFamily family) {
  RenderOptions o;
  o.scale = 3;
  o.assets = &catalog();
  o.renderingMode = isAccessory(family) ? RenderingMode::vibrant : RenderingMode::fullColor;
  o.cornerRadius = familyCornerRadius(family);
  return o;
}

// Building the widget's view from the entry (texts looked up, numbers computed) and laying
// it out into a display list.
void BM_WidgetLayout(benchmark::State& state) {
  Fixture f;
  const Setup& s = kSetups[state.range(0)];
  const NutritionEntry entry = entryNow();
  LayoutOptions options;
  options.assets = &catalog();
  for (auto _ : state) {
    // Each iteration is one redraw, as a host makes it: the language and its texts read once.
    const ScopedRedraw redraw;
    DisplayList list =
        layout(KMWidgetEntryView{entry, s.family, s.kind}.body(), familySize(s.family), options);
    benchmark::DoNotOptimize(list);
  }
  state.SetLabel(std::string(s.kind) + "." + std::string(familyName(s.family)));
}
BENCHMARK(BM_WidgetLayout)->DenseRange(0, kLastSetup)->Unit(benchmark::kMicrosecond);

void BM_WidgetDraw(benchmark::State& state) {
  Fixture f;
  const Setup& s = kSetups[state.range(0)];
  const DisplayList list = layoutOf(s);
  const RenderOptions options = renderOptions(s.family);
  for (auto _ : state) {
    RasterImage image = renderImage(list, options);
    benchmark::DoNotOptimize(image.data());
  }
  state.SetLabel(std::string(s.kind) + "." + std::string(familyName(s.family)) + " @3x");
}
BENCHMARK(BM_WidgetDraw)->DenseRange(0, kLastSetup)->Unit(benchmark::kMicrosecond);

void BM_WidgetEncodePng(benchmark::State& state) {
  Fixture f;
  const Setup& s = kSetups[state.range(0)];
  const RasterImage image = renderImage(layoutOf(s), renderOptions(s.family));
  std::size_t bytes = 0;
  for (auto _ : state) {
    auto png = encodePng(image);
    bytes = png ? png->size() : 0;
    benchmark::DoNotOptimize(bytes);
  }
  state.counters["pngBytes"] = static_cast<double>(bytes);
  state.SetLabel(std::string(s.kind) + "." + std::string(familyName(s.family)) + " @3x");
}
BENCHMARK(BM_WidgetEncodePng)->DenseRange(0, kLastSetup)->Unit(benchmark::kMicrosecond);

// The whole way from entry to PNG bytes.
void BM_WidgetToPng(benchmark::State& state) {
  Fixture f;
  const Setup& s = kSetups[state.range(0)];
  const RenderOptions options = renderOptions(s.family);
  for (auto _ : state) {
    auto png = encodePng(renderImage(layoutOf(s), options));
    benchmark::DoNotOptimize(png);
  }
  state.SetLabel(std::string(s.kind) + "." + std::string(familyName(s.family)) + " @3x");
}
BENCHMARK(BM_WidgetToPng)->DenseRange(0, kLastSetup)->Unit(benchmark::kMicrosecond);

// The same for the nine widgets of the default gallery, one after the other: the in-process
// figure that each further widget of a `kmwidget render` is compared with. CPU time is the
// process's, so that the second thread of a large image's PNG encoding counts.
void BM_GalleryWidgetsToPng(benchmark::State& state) {
  Fixture f;
  constexpr Setup kGallery[] = {{"small_energy", WidgetFamily::systemSmall},
                                {"small_energy", WidgetFamily::accessoryInline},
                                {"small_energy", WidgetFamily::accessoryCircular},
                                {"medium_history", WidgetFamily::systemMedium},
                                {"medium_pie_macros", WidgetFamily::systemMedium},
                                {"medium_pie_macros", WidgetFamily::accessoryRectangular},
                                {"medium_buttons", WidgetFamily::systemMedium},
                                {"medium_buttons", WidgetFamily::accessoryCircular},
                                {"lockscreen_button", WidgetFamily::accessoryCircular}};
  for (auto _ : state) {
    for (const Setup& s : kGallery) {
      auto png = encodePng(renderImage(layoutOf(s), renderOptions(s.family)));
      benchmark::DoNotOptimize(png);
    }
  }
  state.counters["widgets"] = static_cast<double>(std::size(kGallery));
}
BENCHMARK(BM_GalleryWidgetsToPng)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace km
