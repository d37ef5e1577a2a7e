// Shadows: the item drawn in one colour into a mask, blurred, and laid under it; masks of repeated
// shapes reused within one display list.
#pragma once

#include <cairo.h>

#include <vector>

#include "platform/ui/display_list.h"
#include "platform/ui/path.h"
#include "platform/ui/render/color_treatment.h"
#include "platform/ui/render/render_options.h"

namespace km::render {

// Blurred shadow masks already made while drawing one display list. Rows of identical views
// (the buttons of a grid) cast identical shadows: a shape that matches an earlier one in
// outline, transform and sub-pixel position reuses its mask, moved by whole pixels.
class ShadowMasks {
 public:
  struct Key {
    Path outline;  // the shape's path, relative to its frame's origin
    bool stroked = false;
    StrokeStyle style;
    cairo_matrix_t ctm{};  // the linear part is compared; the offset is in `phase`
    Point phase;           // the frame origin's position in the mask, in mask pixels
    int width = 0, height = 0, box = 0;
  };

  ShadowMasks() = default;
  ShadowMasks(const ShadowMasks&) = delete;
  ShadowMasks& operator=(const ShadowMasks&) = delete;
  ~ShadowMasks();

  // A mask made earlier for an equal key, or null; the masks keep their reference.
  cairo_surface_t* find(const Key& key) const;
  // Keeps a reference to `mask` for later shapes with an equal key.
  void add(Key key, cairo_surface_t* mask);

 private:
  struct Entry {
    Key key;
    cairo_surface_t* mask;
  };
  static bool matches(const Key& a, const Key& b);
  std::vector<Entry> entries_;
};

// Draws an item's content with a colour treatment; how the shadow gets its silhouette.
using DrawContent = void (*)(cairo_t* cr, const DisplayItem& item, const RenderOptions& o,
                             const ColorTreatment& t);

// Draws one of the item's shadows under the current matrix, its silhouette drawn by
// `drawContent` in solid black, blurred by the shadow's radius in device pixels.
void drawShadow(cairo_t* cr, const DisplayItem& item, const Shadow& sh, const RenderOptions& o,
                ShadowMasks& masks, DrawContent drawContent);

// Three box blurs of half-width `r` pixels over an A8 surface: close to a Gaussian.
void boxBlurA8(cairo_surface_t* s, int r);

}  // namespace km::render
