// How a display list is drawn: scale, appearance, rendering mode, corners and asset catalogue.
#pragma once

#include "platform/ui/asset_catalog.h"
#include "platform/ui/color.h"
#include "platform/ui/rendering_mode.h"

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

}  // namespace km
