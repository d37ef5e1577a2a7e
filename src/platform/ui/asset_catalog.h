#pragma once

// AssetCatalog: the named colours and images, and resolving a colour for an appearance.

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "platform/ui/color.h"
#include "platform/ui/geometry.h"

namespace km {

class Canvas;

enum class ColorScheme { light, dark };

// What a colour that cannot be resolved (an unknown asset name) draws as: opaque magenta, loud
// on purpose so that a missing asset shows in every image and in the JSON dump.
inline constexpr RGBA kMissingColor{1, 0, 1, 1};

// An asset catalogue in Xcode's `.xcassets` folder format: colour sets (`*.colorset`) with
// light and dark appearances, and image sets (`*.imageset`) holding SVG or PNG files,
// optionally marked for template rendering. Groups may nest; a group whose Contents.json says
// "provides-namespace" prefixes its members' names with "group/".
//
// SVG icons are read at load by the built-in reader (platform/ui/svg_icon.h) and drawn as
// vector paths. An SVG beyond that reader's subset is drawn by librsvg, which is loaded only
// when such a file is first needed; without librsvg such an image cannot be drawn.
//
// Loaded once, then read-only: lookups and drawing are safe from any thread (each thread with
// its own canvas); only SVGs drawn through librsvg serialise, each on its own lock (librsvg
// handles are not shareable between threads).
class AssetCatalog {
 public:
  AssetCatalog();
  ~AssetCatalog();
  AssetCatalog(AssetCatalog&&) noexcept;
  AssetCatalog& operator=(AssetCatalog&&) noexcept;

  // Reads the catalogue folder. Fails when the folder does not exist; an unreadable or
  // malformed set inside it is skipped (it then resolves as missing).
  static Result<AssetCatalog> load(const std::filesystem::path& folder);

  // The colour set's components for the appearance: the dark variant in dark appearance when
  // there is one, otherwise the universal ("any") variant, otherwise the light one.
  std::optional<RGBA> color(std::string_view name, ColorScheme scheme) const;
  std::vector<std::string> colorNames() const;

  bool hasImage(std::string_view name) const;
  // The image's own size in points (an SVG's intrinsic size; a PNG's pixels over its scale).
  std::optional<Size> imageSize(std::string_view name) const;
  // Whether the set asks for template rendering ("template-rendering-intent": "template").
  bool isTemplateImage(std::string_view name) const;
  std::vector<std::string> imageNames() const;
  // Draws the image stretched into `rect` (the canvas's user space); false when the image is
  // missing or cannot be drawn.
  bool drawImage(Canvas& canvas, std::string_view name, const Rect& rect) const;

 private:
  struct Data;
  std::unique_ptr<Data> data_;
};

// A view colour's components for an appearance: fixed colours as they are; ".primary" and
// ".secondary" as the system's text colours; asset names through `catalog`, or kMissingColor
// when there is no catalogue or no such set. The colour's opacity multiplies the alpha.
RGBA resolveColor(const Color& color, ColorScheme scheme, const AssetCatalog* catalog);

// "#RRGGBBAA", rounding each component to the nearest of 256 levels.
std::string hexString(const RGBA& rgba);

}  // namespace km
