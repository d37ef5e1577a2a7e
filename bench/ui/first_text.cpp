// Prints how long the first text takes in a fresh process: font configuration, the first
// measurement and the first drawing. Run it a few times; each run is one cold start.
#include <cairo.h>

#include <chrono>
#include <cstdio>

#include "platform/ui/render/cairo_canvas.h"
#include "platform/ui/text_engine.h"

int main() {
  using Clock = std::chrono::steady_clock;
  const auto t0 = Clock::now();
  km::TextEngine& engine = km::TextEngine::shared();
  const auto t1 = Clock::now();
  const km::Size size = engine.measure({"500 Kcal", km::Font::system(18, km::FontWeight::bold)});
  const auto t2 = Clock::now();
  cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 474, 474);
  cairo_t* cr = cairo_create(s);
  cairo_scale(cr, 3, 3);
  km::CairoCanvas canvas(cr);
  engine.draw(canvas, {"500 Kcal", km::Font::system(18, km::FontWeight::bold)}, {10, 10});
  cairo_destroy(cr);
  cairo_surface_destroy(s);
  const auto t3 = Clock::now();
  auto ms = [](auto d) { return std::chrono::duration<double, std::milli>(d).count(); };
  std::printf(
      "font set-up %.2f ms, first measure %.2f ms, first draw %.2f ms, total %.2f ms"
      " (text %.1fx%.1f pt, fonts %s)\n",
      ms(t1 - t0), ms(t2 - t1), ms(t3 - t2), ms(t3 - t0), size.width, size.height,
      engine.fontsAvailable() ? "found" : "MISSING");
  return 0;
}
