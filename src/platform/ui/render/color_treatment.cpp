// Colours as the rendering mode shows them, for single colours and for the pixels of images.
#include "platform/ui/render/color_treatment.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace km::render {

RGBA ColorTreatment::apply(RGBA c) const {
  c.alpha *= opacity_;
  if (override_) return {override_->red, override_->green, override_->blue, c.alpha};
  switch (options_.renderingMode) {
    case RenderingMode::fullColor:
      return c;
    case RenderingMode::vibrant: {
      // Monochrome: brightness becomes opacity of white, with a floor so that dark designs
      // stay legible over the dark backdrop.
      return {1, 1, 1, c.alpha * (0.3 + 0.7 * luminance(c))};
    }
    case RenderingMode::accented: {
      const RGBA& a = options_.accentColor;
      const double alpha = c.alpha * (0.35 + 0.65 * luminance(c));
      if (accentable_) return {a.red, a.green, a.blue, alpha};
      // Everything else in white faintly tinted by the accent.
      return {0.85 + 0.15 * a.red, 0.85 + 0.15 * a.green, 0.85 + 0.15 * a.blue, alpha};
    }
  }
  return c;
}

void treatPixels(uint32_t* pixels, int width, int height, int strideBytes,
                 const ColorTreatment& t) {
  for (int y = 0; y < height; ++y) {
    auto* row = reinterpret_cast<uint32_t*>(reinterpret_cast<unsigned char*>(pixels) +
                                            static_cast<ptrdiff_t>(y) * strideBytes);
    for (int x = 0; x < width; ++x) {
      const uint32_t px = row[x];
      const double a = (px >> 24) / 255.0;
      if (a == 0) continue;
      RGBA c{((px >> 16) & 255) / 255.0 / a, ((px >> 8) & 255) / 255.0 / a, (px & 255) / 255.0 / a,
             a};
      // The treatment already applied the item's opacity when the pixels were painted.
      RGBA out = t.apply(c);
      out.alpha /= std::max(1e-9, t.opacity());
      auto b = [&](double v) {
        return static_cast<uint32_t>(std::lround(std::clamp(v * out.alpha, 0.0, 1.0) * 255));
      };
      row[x] = (static_cast<uint32_t>(std::lround(std::clamp(out.alpha, 0.0, 1.0) * 255)) << 24) |
               (b(out.red) << 16) | (b(out.green) << 8) | b(out.blue);
    }
  }
}

}  // namespace km::render
