// Colours as the rendering mode shows them: full colour, the lock screen's monochrome, or tinted.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/ui/color.h"
#include "platform/ui/render/render_options.h"

namespace km::render {

// Resolves a view's colours for the options' appearance and applies the rendering mode and the
// item's opacity. `setOverride` draws everything in one colour (used to draw shadow masks).
class ColorTreatment {
 public:
  ColorTreatment(const RenderOptions& o, bool accentable, double opacity)
      : options_(o), accentable_(accentable), opacity_(opacity) {}

  RGBA operator()(const Color& c) const {
    return apply(resolveColor(c, options_.colorScheme, options_.assets));
  }
  RGBA apply(RGBA c) const;

  void setOverride(RGBA c) { override_ = c; }
  bool overridden() const { return override_.has_value(); }
  bool monochrome() const {
    return override_ || options_.renderingMode != RenderingMode::fullColor;
  }
  double opacity() const { return opacity_; }

  static double luminance(const RGBA& c) {
    return 0.2126 * c.red + 0.7152 * c.green + 0.0722 * c.blue;
  }

 private:
  const RenderOptions& options_;
  bool accentable_;
  double opacity_;
  std::optional<RGBA> override_;
};

// Turns every pixel of premultiplied 32-bit pixels (alpha in the top byte) into the treatment's
// colour, keeping alpha weighted by brightness: full-colour images in the monochrome modes.
void treatPixels(uint32_t* pixels, int width, int height, int strideBytes, const ColorTreatment& t);

}  // namespace km::render
