#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "base/result.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/display_list.h"
#include "platform/ui/rendering_mode.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace km {

struct RenderOptions {
  double scale = 3;  // device pixels per point for PNG output
  ColorScheme colorScheme = ColorScheme::light;
  RenderingMode renderingMode = RenderingMode::fullColor;
  // The tint of the accented mode (accentable parts take it; the rest a pale tinted white).
  RGBA accentColor{0.42, 0.70, 1.0, 1};
  // Clips the widget to a rounded rectangle with continuous corners (home-screen widgets);
  // 0 draws the full rectangle. In pixel output the corners of the widget's rectangle are
  // cleared to transparent after drawing.
  double cornerRadius = 0;
  // Named colours and images; without one they draw as missing (see kMissingColor).
  const AssetCatalog* assets = nullptr;
};

// An ARGB32 image (Cairo's premultiplied format) of a drawn widget; owns its surface.
class RasterImage {
 public:
  RasterImage() = default;
  explicit RasterImage(cairo_surface_t* surface);
  ~RasterImage();
  RasterImage(RasterImage&& other) noexcept;
  RasterImage& operator=(RasterImage&& other) noexcept;
  RasterImage(const RasterImage&) = delete;
  RasterImage& operator=(const RasterImage&) = delete;

  int width() const;
  int height() const;
  // Straight (not premultiplied) components of one pixel, each 0–255, as RGBA.
  std::array<uint8_t, 4> pixel(int x, int y) const;
  cairo_surface_t* surface() const { return surface_; }

 private:
  cairo_surface_t* surface_ = nullptr;
};

// Draws `list` with the cairo context's current user space in points (the caller scales).
// Named colours resolve against the options' appearance and catalogue, so the same list draws
// light and dark. Stateless; safe to call from several threads on different contexts.
void drawDisplayList(cairo_t* cr, const DisplayList& list, const RenderOptions& options);

// Draws into a new image of size × scale pixels (rounded up).
RasterImage renderImage(const DisplayList& list, const RenderOptions& options);

// PNG bytes of an image (8-bit RGBA, straight alpha, rows unfiltered). Level 1 compresses fast
// and still well for flat widget art.
Result<std::vector<uint8_t>> encodePng(const RasterImage& image, int compressionLevel = 1);

// Renders and writes a PNG, SVG or PDF file (chosen by the extension; vector formats are in
// points and ignore the scale).
Status writeImageFile(const DisplayList& list, const RenderOptions& options,
                      const std::filesystem::path& file);

}  // namespace km
