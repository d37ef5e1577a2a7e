// Layout and rendering costs of one widget-like view: layout alone, drawing (solid and
// angular-gradient rings, text) and PNG encoding separately, and the whole way to PNG bytes.
#include <benchmark/benchmark.h>
#include <cairo.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "gallery.h"
#include "platform/ui/image/image_scaling.h"
#include "platform/ui/layout.h"
#include "platform/ui/render/cairo_canvas.h"
#include "platform/ui/renderer.h"
#include "platform/ui/text_engine.h"

namespace km {
namespace {

const AssetCatalog& catalog() {
  static const AssetCatalog* c = [] {
    auto loaded = AssetCatalog::load(std::filesystem::path(KM_SOURCE_DIR) /
                                     "tests/ui/fixtures/Test.xcassets");
    return new AssetCatalog(loaded ? std::move(loaded.value()) : AssetCatalog());
  }();
  return *c;
}

RenderOptions options() {
  RenderOptions o;
  o.scale = 3;
  o.assets = &catalog();
  o.cornerRadius = 22;
  return o;
}

// The ring widget without its text, with a solid or an angular-gradient arc.
View ring(bool gradient) {
  StrokeStyle style;
  style.lineWidth = 10;
  style.lineCap = LineCap::round;
  const Paint paint = gradient ? Paint{AngularGradient{Gradient::evenlySpaced(
                                     {Color::sRGB(0.58, 0.92, 0.72), Color::sRGB(0.01, 0.69, 0)})}}
                               : Paint{Color::sRGB(0.01, 0.69, 0)};
  return ZStack({Circle().stroke(Color::named("widget-background-light"), 10),
                 Circle().trim(0, 0.72).stroke(paint, style).rotationEffect(Angle::degrees(-90))})
      .padding(20)
      .containerBackground(Color::named("widget-background-primary"));
}

void peakMemory(benchmark::State& state) {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  state.counters["peakRSS_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
}

void BM_LayoutRingWidget(benchmark::State& state) {
  const View view = gallery::ringWidget(0.72);
  const LayoutOptions lo{&catalog()};
  for (auto _ : state)
    benchmark::DoNotOptimize(layout(view, {158, 158}, lo));
  peakMemory(state);
}
BENCHMARK(BM_LayoutRingWidget);

void BM_LayoutTextWidget(benchmark::State& state) {
  const View view = gallery::textWidget();
  const LayoutOptions lo{&catalog()};
  for (auto _ : state)
    benchmark::DoNotOptimize(layout(view, {338, 158}, lo));
  peakMemory(state);
}
BENCHMARK(BM_LayoutTextWidget);

// The same with no remembered text measurements: what the first layout of a widget costs.
void BM_LayoutTextWidgetCold(benchmark::State& state) {
  const View view = gallery::textWidget();
  const LayoutOptions lo{&catalog()};
  for (auto _ : state) {
    TextEngine::shared().clearCache();
    benchmark::DoNotOptimize(layout(view, {338, 158}, lo));
  }
}
BENCHMARK(BM_LayoutTextWidgetCold);

void BM_LayoutRingWidgetCold(benchmark::State& state) {
  const View view = gallery::ringWidget(0.72);
  const LayoutOptions lo{&catalog()};
  for (auto _ : state) {
    TextEngine::shared().clearCache();
    benchmark::DoNotOptimize(layout(view, {158, 158}, lo));
  }
}
BENCHMARK(BM_LayoutRingWidgetCold);

void drawBench(benchmark::State& state, const DisplayList& list) {
  const RenderOptions o = options();
  for (auto _ : state)
    benchmark::DoNotOptimize(renderImage(list, o));
  peakMemory(state);
}

void BM_DrawSolidRing(benchmark::State& state) {
  drawBench(state, layout(ring(false), {158, 158}, LayoutOptions{&catalog()}));
}
BENCHMARK(BM_DrawSolidRing)->Unit(benchmark::kMillisecond);

void BM_DrawGradientRing(benchmark::State& state) {
  drawBench(state, layout(ring(true), {158, 158}, LayoutOptions{&catalog()}));
}
BENCHMARK(BM_DrawGradientRing)->Unit(benchmark::kMillisecond);

void BM_DrawRingWidget(benchmark::State& state) {
  drawBench(state, layout(gallery::ringWidget(0.72), {158, 158}, LayoutOptions{&catalog()}));
}
BENCHMARK(BM_DrawRingWidget)->Unit(benchmark::kMillisecond);

void BM_DrawTextWidget(benchmark::State& state) {
  drawBench(state, layout(gallery::textWidget(), {338, 158}, LayoutOptions{&catalog()}));
}
BENCHMARK(BM_DrawTextWidget)->Unit(benchmark::kMillisecond);

void BM_EncodePng(benchmark::State& state) {
  const RasterImage image = renderImage(
      layout(gallery::ringWidget(0.72), {158, 158}, LayoutOptions{&catalog()}), options());
  const int level = static_cast<int>(state.range(0));
  size_t bytes = 0;
  for (auto _ : state) {
    auto png = encodePng(image, level);
    bytes = png->size();
    benchmark::DoNotOptimize(png);
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodePng)->Arg(1)->Arg(6)->Unit(benchmark::kMillisecond);

// Shrinking a widget's image by 3 into a contact sheet, as a render at scale 3 composes it.
void BM_ComposeShrunk(benchmark::State& state) {
  const RasterImage image =
      renderImage(layout(gallery::textWidget(), {338, 158}, LayoutOptions{&catalog()}), options());
  RasterImage sheet(image.width() / 3 + 8, image.height() / 3 + 8);
  for (auto _ : state) {
    composeShrunk(image, 3, sheet, 4, 4);
    benchmark::DoNotOptimize(sheet.row(0));
  }
  state.SetItemsProcessed(state.iterations() * image.width() * image.height());
}
BENCHMARK(BM_ComposeShrunk)->Unit(benchmark::kMicrosecond);

// A contact sheet's worth of rows: widgets drawn at scale 3 and shrunk by 3 onto the sheet's
// wallpaper, 712 pixels wide and about as tall as a render of 99 widgets makes it. Written as the
// contact sheet writes it (RGB through the row writer: arg 0) and, for comparison, by encodePng
// (zlib at level 1, RGBA, on one thread: arg 1).
void BM_SheetPng(benchmark::State& state) {
  const LayoutOptions lo{&catalog()};
  const RasterImage ring =
      renderImage(layout(gallery::ringWidget(0.72), {158, 158}, lo), options());
  const RasterImage text = renderImage(layout(gallery::textWidget(), {338, 158}, lo), options());
  RasterImage sheet(712, 6000);
  for (int y = 0; y < sheet.height(); ++y)
    std::fill(sheet.row(y), sheet.row(y) + sheet.width(), 0xFFCCD1DBu);
  for (int y = 12; y + 200 < sheet.height(); y += 200) {
    composeShrunk(ring, 3, sheet, 12, y);
    composeShrunk(text, 3, sheet, 182, y);
    composeShrunk(ring, 3, sheet, 532, y);
  }
  std::size_t bytes = 0;
  for (auto _ : state) {
    if (state.range(0) == 0) {
      std::ostringstream out;
      PngRowWriter writer(out, sheet.width(), sheet.height(), PngPixels::opaqueRgb);
      if (!writer.writeRows(sheet, 0, sheet.height()).ok() || !writer.finish().ok()) {
        state.SkipWithError("the row writer failed");
        return;
      }
      bytes = out.str().size();
    } else {
      auto png = encodePng(sheet, 1, PngThreads::one);
      bytes = png->size();
      benchmark::DoNotOptimize(png);
    }
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_SheetPng)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

cairo_status_t countBytes(void* closure, const unsigned char*, unsigned int length) {
  *static_cast<size_t*>(closure) += length;
  return CAIRO_STATUS_SUCCESS;
}

// Cairo's own PNG writer, for comparison.
void BM_EncodePngCairo(benchmark::State& state) {
  RasterImage image = renderImage(
      layout(gallery::ringWidget(0.72), {158, 158}, LayoutOptions{&catalog()}), options());
  cairo_surface_t* surface = createSurfaceFor(image);
  size_t bytes = 0;
  for (auto _ : state) {
    bytes = 0;
    cairo_surface_write_to_png_stream(surface, countBytes, &bytes);
  }
  cairo_surface_destroy(surface);
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_EncodePngCairo)->Unit(benchmark::kMillisecond);

// The whole way: layout, draw at scale 3, encode.
void BM_RingWidgetToPng(benchmark::State& state) {
  const View view = gallery::ringWidget(0.72);
  const LayoutOptions lo{&catalog()};
  const RenderOptions o = options();
  for (auto _ : state) {
    auto png = encodePng(renderImage(layout(view, {158, 158}, lo), o));
    benchmark::DoNotOptimize(png);
  }
  peakMemory(state);
}
BENCHMARK(BM_RingWidgetToPng)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace km
