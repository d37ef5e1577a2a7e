// Loading the asset catalogue (colour sets and images) and resolving colours.

#include "platform/ui/asset_catalog.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>
#include <type_traits>

#include "platform/ui/image/raster_image.h"
#include "platform/ui/render/canvas.h"
#include "platform/ui/render/svg_document.h"
#include "platform/ui/svg_icon.h"

namespace km {
namespace {

using nlohmann::json;

std::optional<json> readJson(const std::filesystem::path& file) {
  std::ifstream in(file);
  if (!in) return std::nullopt;
  json j = json::parse(in, nullptr, /*allow_exceptions=*/false);
  if (j.is_discarded()) return std::nullopt;
  return j;
}

// Members of a Contents.json object of the expected type; a member of another type (a number
// where Xcode writes a string) counts as absent, so a malformed file only loses that member.
std::string stringMember(const json& object, const char* key, const char* fallback = "") {
  const auto it = object.find(key);
  return it != object.end() && it->is_string() ? it->get<std::string>() : fallback;
}

bool boolMember(const json& object, const char* key) {
  const auto it = object.find(key);
  return it != object.end() && it->is_boolean() && it->get<bool>();
}

// A colour component as Xcode writes it: a float ("0.502"), a hexadecimal byte ("0x80") or an
// integer on the 0–255 scale ("128"). Alpha is always a float. Out-of-range values clamp.
std::optional<double> component(const json& value, bool isAlpha) {
  double v = 0;
  if (value.is_number()) {
    v = value.get<double>();
    if (!isAlpha && value.is_number_integer() && v > 1) v /= 255.0;
  } else if (value.is_string()) {
    const std::string text = value.get<std::string>();
    if (text.empty()) return std::nullopt;
    try {
      size_t used = 0;
      if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        v = static_cast<double>(std::stoul(text.substr(2), &used, 16)) / 255.0;
        used += 2;
      } else if (!isAlpha && text.find_first_of(".eE") == std::string::npos) {
        v = static_cast<double>(std::stol(text, &used)) / 255.0;
      } else {
        v = std::stod(text, &used);
      }
      if (used != text.size()) return std::nullopt;
    } catch (const std::exception&) {
      return std::nullopt;
    }
  } else {
    return std::nullopt;
  }
  if (!std::isfinite(v)) return std::nullopt;
  return std::clamp(v, 0.0, 1.0);
}

std::optional<RGBA> parseColor(const json& color) {
  if (!color.is_object()) return std::nullopt;
  auto comps = color.find("components");
  if (comps == color.end() || !comps->is_object()) return std::nullopt;
  RGBA out;
  auto get = [&](const char* key, bool alpha, double fallback) -> std::optional<double> {
    auto it = comps->find(key);
    if (it == comps->end()) return fallback;
    return component(*it, alpha);
  };
  if (comps->contains("white")) {  // grey colour spaces
    auto w = get("white", false, 0);
    if (!w) return std::nullopt;
    out.red = out.green = out.blue = *w;
  } else {
    auto r = get("red", false, -1), g = get("green", false, -1), b = get("blue", false, -1);
    if (!r || !g || !b || *r < 0 || *g < 0 || *b < 0) return std::nullopt;
    out.red = *r;
    out.green = *g;
    out.blue = *b;
  }
  auto a = get("alpha", true, 1);
  if (!a) return std::nullopt;
  out.alpha = *a;
  return out;
}

}  // namespace

struct AssetCatalog::Data {
  struct ColorSet {
    std::optional<RGBA> any, light, dark;
  };
  struct ImageSet {
    Size size;
    bool isTemplate = false;
    // An SVG is either read by the built-in reader, or kept for librsvg, which then opens it
    // on first draw.
    std::optional<SvgIcon> icon;
    std::unique_ptr<SvgDocument> document;
    std::optional<RasterImage> bitmap;

    bool hasSvg() const { return icon || document; }
  };
  std::map<std::string, ColorSet, std::less<>> colors;
  std::map<std::string, ImageSet, std::less<>> images;

  void readColorSet(const std::filesystem::path& dir, const std::string& name) {
    auto contents = readJson(dir / "Contents.json");
    if (!contents || !contents->contains("colors") || !(*contents)["colors"].is_array()) return;
    ColorSet set;
    for (const json& entry : (*contents)["colors"]) {
      if (!entry.is_object()) continue;
      const auto color = entry.find("color");
      auto rgba = color != entry.end() ? parseColor(*color) : std::nullopt;
      if (!rgba) continue;
      std::string appearance;
      if (auto it = entry.find("appearances"); it != entry.end() && it->is_array()) {
        for (const json& a : *it) {
          if (a.is_object() && stringMember(a, "appearance") == "luminosity") {
            appearance = stringMember(a, "value");
          }
        }
      }
      if (appearance == "dark") {
        set.dark = rgba;
      } else if (appearance == "light") {
        set.light = rgba;
      } else if (appearance.empty()) {
        set.any = rgba;
      }
    }
    if (set.any || set.light || set.dark) colors[name] = set;
  }

  void readImageSet(const std::filesystem::path& dir, const std::string& name) {
    auto contents = readJson(dir / "Contents.json");
    if (!contents) return;
    ImageSet set;
    if (auto props = contents->find("properties"); props != contents->end() && props->is_object()) {
      set.isTemplate = stringMember(*props, "template-rendering-intent") == "template";
    }
    if (!contents->contains("images") || !(*contents)["images"].is_array()) return;
    // Prefer a vector file; otherwise the largest-scale bitmap.
    double bestScale = 0;
    for (const json& entry : (*contents)["images"]) {
      if (!entry.is_object() || !entry.contains("filename")) continue;
      const std::filesystem::path file = stringMember(entry, "filename");
      // A set's files sit beside its Contents.json: a name with a folder in it ("../x.svg", an
      // absolute path) would read a file from outside the catalogue.
      if (file.empty() || file != file.filename() || file == "." || file == "..") continue;
      const std::filesystem::path path = dir / file;
      std::string ext = path.extension().string();
      std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
      if (ext == ".svg" && !set.hasSvg()) {
        std::ifstream in(path, std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (bytes.empty()) continue;
        // Icons are read at load: a few tens of microseconds each, and the catalogue is then
        // immutable, so drawing them needs no lock.
        if (auto icon = parseSvgIcon(bytes)) {
          set.size = icon->size;
          set.icon = std::move(*icon);
          continue;
        }
        // Beyond the reader: librsvg draws it. The root element usually still declares the
        // size; only when it does not is librsvg needed at once.
        if (auto declared = svgDeclaredSize(bytes)) {
          set.size = *declared;
          set.document = std::make_unique<SvgDocument>(std::move(bytes));
          continue;
        }
        auto document = std::make_unique<SvgDocument>(std::move(bytes));
        const std::optional<Size> size = document->librsvgSize();
        if (!size) continue;
        set.size = *size;
        set.document = std::move(document);
      } else if (ext == ".png" && !set.hasSvg()) {
        const std::string scaleText = stringMember(entry, "scale", "1x");
        const double scale = std::max(1.0, std::atof(scaleText.c_str()));
        if (scale <= bestScale) continue;
        std::optional<RasterImage> bitmap = RasterImage::readPng(path);
        if (!bitmap) continue;
        bestScale = scale;
        set.size = {bitmap->width() / scale, bitmap->height() / scale};
        set.bitmap = std::move(bitmap);
      }
    }
    if (set.hasSvg() || set.bitmap) images[name] = std::move(set);
  }

  void scan(const std::filesystem::path& dir, const std::string& prefix) {
    std::error_code ec;
    std::vector<std::filesystem::path> entries;
    for (const auto& e : std::filesystem::directory_iterator(dir, ec)) {
      if (e.is_directory(ec)) entries.push_back(e.path());
    }
    std::sort(entries.begin(), entries.end());
    for (const auto& path : entries) {
      const std::string ext = path.extension().string();
      const std::string stem = path.stem().string();
      if (ext == ".colorset") {
        readColorSet(path, prefix + stem);
      } else if (ext == ".imageset") {
        readImageSet(path, prefix + stem);
      } else if (ext.empty()) {
        std::string inner = prefix;
        if (auto contents = readJson(path / "Contents.json")) {
          auto props = contents->find("properties");
          if (props != contents->end() && props->is_object() &&
              boolMember(*props, "provides-namespace")) {
            inner += path.filename().string() + "/";
          }
        }
        scan(path, inner);
      }
    }
  }
};

AssetCatalog::AssetCatalog() : data_(std::make_unique<Data>()) {}
AssetCatalog::~AssetCatalog() = default;
AssetCatalog::AssetCatalog(AssetCatalog&&) noexcept = default;
AssetCatalog& AssetCatalog::operator=(AssetCatalog&&) noexcept = default;

Result<AssetCatalog> AssetCatalog::load(const std::filesystem::path& folder) {
  std::error_code ec;
  if (!std::filesystem::is_directory(folder, ec)) {
    return Error{"asset catalogue not found: " + folder.string()};
  }
  AssetCatalog catalog;
  catalog.data_->scan(folder, "");
  return catalog;
}

std::optional<RGBA> AssetCatalog::color(std::string_view name, ColorScheme scheme) const {
  auto it = data_->colors.find(name);
  if (it == data_->colors.end()) return std::nullopt;
  const auto& set = it->second;
  if (scheme == ColorScheme::dark && set.dark) return set.dark;
  if (set.any) return set.any;
  if (set.light) return set.light;
  return set.dark;
}

std::vector<std::string> AssetCatalog::colorNames() const {
  std::vector<std::string> out;
  for (const auto& [name, set] : data_->colors)
    out.push_back(name);
  return out;
}

bool AssetCatalog::hasImage(std::string_view name) const {
  return data_->images.find(name) != data_->images.end();
}

std::optional<Size> AssetCatalog::imageSize(std::string_view name) const {
  auto it = data_->images.find(name);
  if (it == data_->images.end()) return std::nullopt;
  return it->second.size;
}

bool AssetCatalog::isTemplateImage(std::string_view name) const {
  auto it = data_->images.find(name);
  return it != data_->images.end() && it->second.isTemplate;
}

std::vector<std::string> AssetCatalog::imageNames() const {
  std::vector<std::string> out;
  for (const auto& [name, set] : data_->images)
    out.push_back(name);
  return out;
}

bool AssetCatalog::drawImage(Canvas& canvas, std::string_view name, const Rect& rect) const {
  auto it = data_->images.find(name);
  if (it == data_->images.end() || rect.width <= 0 || rect.height <= 0) return false;
  const auto& set = it->second;
  if (set.icon) {
    canvas.drawIcon(*set.icon, rect);
    return true;
  }
  // A set may also hold a bitmap listed before its SVG: the fallback when librsvg cannot draw.
  if (set.document && canvas.drawSvgDocument(*set.document, rect)) return true;
  if (!set.bitmap) return false;
  canvas.drawBitmap(*set.bitmap, rect);
  return true;
}

RGBA resolveColor(const Color& color, ColorScheme scheme, const AssetCatalog* catalog) {
  RGBA out;
  if (!color.isNamed()) {
    out = color.components();
  } else if (color.name() == ".primary" || color.name() == ".secondary") {
    const double v = scheme == ColorScheme::dark ? 1 : 0;
    out = {v, v, v, color.name() == ".primary" ? 1.0 : 0.6};
  } else if (color.name() == ".separator") {
    out = scheme == ColorScheme::dark ? RGBA{84 / 255.0, 84 / 255.0, 88 / 255.0, 0.6}
                                      : RGBA{60 / 255.0, 60 / 255.0, 67 / 255.0, 0.29};
  } else if (color.name() == ".systemBackground") {
    const double v = scheme == ColorScheme::dark ? 0 : 1;
    out = {v, v, v, 1};
  } else if (auto found = catalog ? catalog->color(color.name(), scheme) : std::nullopt) {
    out = *found;
  } else {
    out = kMissingColor;
  }
  out.alpha *= color.opacityFactor();
  return out;
}

std::string hexString(const RGBA& c) {
  auto byte = [](double v) {
    return static_cast<int>(std::lround(std::clamp(std::isnan(v) ? 0.0 : v, 0.0, 1.0) * 255));
  };
  char buf[10];
  std::snprintf(buf, sizeof buf, "#%02X%02X%02X%02X", byte(c.red), byte(c.green), byte(c.blue),
                byte(c.alpha));
  return buf;
}

}  // namespace km
