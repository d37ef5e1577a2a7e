// The drawing interface texts and images are drawn through, so that they do not depend on the
// graphics library that draws the rest of a widget.
#pragma once

#include "platform/ui/geometry.h"

typedef struct _PangoContext PangoContext;
typedef struct _PangoLayout PangoLayout;

namespace km {

class RasterImage;
class SvgDocument;
struct SvgIcon;

// What the text engine and the asset catalogue need from the surface they draw on. Coordinates
// are in the canvas's current user space; colours of texts come from the canvas's current
// colour (images bring their own). A back end implements it once for its surfaces.
class Canvas {
 public:
  virtual ~Canvas() = default;

  // Texts are laid out by Pango. Before a layout is made for drawing, the canvas fits the
  // layout's context to itself (its resolution and font options); then it shows the layout
  // with the layout's top-left corner at `topLeft`.
  virtual void prepareTextContext(PangoContext* context) = 0;
  virtual void showText(PangoLayout* layout, Point topLeft) = 0;

  // Images stretched into `rect`: a vector icon, a bitmap (smoothly resampled), or an SVG
  // document beyond the icon reader (false when it cannot be drawn).
  virtual void drawIcon(const SvgIcon& icon, const Rect& rect) = 0;
  virtual void drawBitmap(const RasterImage& bitmap, const Rect& rect) = 0;
  virtual bool drawSvgDocument(const SvgDocument& document, const Rect& rect) = 0;
};

}  // namespace km
