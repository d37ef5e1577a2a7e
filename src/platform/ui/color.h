#pragma once

// Color: a fixed, named or system colour, and RGBA components.

#include <string>
#include <utility>

namespace km {

// Components of an sRGB colour, each in [0, 1]; alpha is straight (not premultiplied).
struct RGBA {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  friend bool operator==(const RGBA&, const RGBA&) = default;
};

// A colour as views hold it: either fixed sRGB components, or the name of a colour set of the
// asset catalogue that resolves at render time against the appearance (light or dark). An
// opacity multiplies the resolved alpha. A small value type.
class Color {
 public:
  Color() = default;
  static Color sRGB(double red, double green, double blue, double alpha = 1) {
    return Color(RGBA{red, green, blue, alpha});
  }
  static Color named(std::string assetName) {
    Color c;
    c.name_ = std::move(assetName);
    return c;
  }
  static Color white() { return sRGB(1, 1, 1); }
  static Color black() { return sRGB(0, 0, 0); }
  static Color clear() { return sRGB(0, 0, 0, 0); }
  // The system's adaptive text colours: primary is black in light appearance and white in dark;
  // secondary is the same at 60% opacity. They are named colours with reserved names (asset
  // names never start with a dot) and resolve like asset colours.
  static Color primary() { return named(".primary"); }
  static Color secondary() { return named(".secondary"); }
  // The system's thin separator lines (translucent grey, lighter in dark appearance) and its
  // plain background (white in light appearance, black in dark), resolved the same way.
  static Color separator() { return named(".separator"); }
  static Color systemBackground() { return named(".systemBackground"); }

  bool isNamed() const { return !name_.empty(); }
  // The asset name; empty for a fixed colour.
  const std::string& name() const { return name_; }
  // The fixed components (before opacity); meaningless for a named colour.
  const RGBA& components() const { return rgba_; }
  double opacityFactor() const { return opacity_; }

  // The same colour with its alpha multiplied by `factor`.
  Color opacity(double factor) const {
    Color c = *this;
    c.opacity_ *= factor;
    return c;
  }

  friend bool operator==(const Color&, const Color&) = default;

 private:
  explicit Color(RGBA rgba) : rgba_(rgba) {}

  RGBA rgba_{};
  std::string name_;
  double opacity_ = 1;
};

}  // namespace km
