// The text engine over Pango and a private fontconfig: shaping, line breaking, truncation,
// measuring, and drawing a laid-out text onto a canvas.

#include "platform/ui/text_engine.h"

#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <fribidi.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "platform/ui/render/canvas.h"

namespace km {
namespace {

// Font files of the Debian packages fonts-inter, fonts-noto-core and fonts-noto-cjk.
constexpr const char* kFontFiles[] = {
    "/usr/share/fonts/opentype/inter/Inter-Regular.otf",
    "/usr/share/fonts/opentype/inter/Inter-Medium.otf",
    "/usr/share/fonts/opentype/inter/Inter-SemiBold.otf",
    "/usr/share/fonts/opentype/inter/Inter-Bold.otf",
    "/usr/share/fonts/truetype/noto/NotoSansArabic-Regular.ttf",
    "/usr/share/fonts/truetype/noto/NotoSansArabic-Bold.ttf",
    "/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc",
    "/usr/share/fonts/opentype/noto/NotoSansCJK-Bold.ttc",
};

constexpr const char* kFamilies = "Inter, Noto Sans Arabic, Noto Sans CJK JP";

PangoWeight pangoWeight(FontWeight w) {
  switch (w) {
    case FontWeight::regular:
      return PANGO_WEIGHT_NORMAL;
    case FontWeight::medium:
      return PANGO_WEIGHT_MEDIUM;
    case FontWeight::semibold:
      return PANGO_WEIGHT_SEMIBOLD;
    case FontWeight::bold:
      return PANGO_WEIGHT_BOLD;
  }
  return PANGO_WEIGHT_NORMAL;
}

// Pango units are ints; widths beyond a million points mean "no limit" in practice.
constexpr double kMaxPoints = 1e6;

int toPango(double points) {
  return static_cast<int>(std::ceil(std::clamp(points, 0.0, kMaxPoints) * PANGO_SCALE));
}

}  // namespace

struct TextEngine::Impl {
  std::mutex mutex;
  PangoFontMap* fontMap = nullptr;
  PangoContext* measureContext = nullptr;
  PangoContext* drawContext = nullptr;
  PangoLayout* measureLayout = nullptr;
  cairo_font_options_t* options = nullptr;
  bool fontsFound = false;
  // Measurements by spec. Widgets repeat the same few texts at the same sizes (and stacks ask
  // each child several times), so this saves most of the Pango work of a layout.
  struct Measured {
    Size size;
    int lines = 0;
  };
  std::unordered_map<std::string, Measured> cache;
  // Height of one line of the primary font per point of size, measured once.
  double latinLinePerPoint = 0;
  // The primary font's line gap per point of size; negative until measured.
  double latinLeadingPerPoint = -1;

  double latinLeading(double size) {
    if (latinLeadingPerPoint < 0) {
      PangoFontDescription* desc = pango_font_description_from_string("Inter");
      pango_font_description_set_absolute_size(desc, 100.0 * PANGO_SCALE);
      PangoFontMetrics* metrics =
          pango_context_get_metrics(measureContext, desc, pango_language_from_string("en"));
      pango_font_description_free(desc);
      const int gap = pango_font_metrics_get_height(metrics) -
                      pango_font_metrics_get_ascent(metrics) -
                      pango_font_metrics_get_descent(metrics);
      pango_font_metrics_unref(metrics);
      latinLeadingPerPoint = std::max(0, gap) / static_cast<double>(PANGO_SCALE) / 100.0;
    }
    return latinLeadingPerPoint * size;
  }

  // The primary font's line height at `size` points, in Pango units. Line height is linear in
  // the size and the same for every weight of the family.
  int latinLineHeight(double size) {
    if (latinLinePerPoint == 0) {
      PangoLayout* probe = pango_layout_new(measureContext);
      PangoFontDescription* desc = pango_font_description_from_string("Inter");
      pango_font_description_set_absolute_size(desc, 100.0 * PANGO_SCALE);
      pango_layout_set_font_description(probe, desc);
      pango_font_description_free(desc);
      pango_layout_set_text(probe, "Hg", 2);
      PangoRectangle logical;
      pango_layout_get_extents(probe, nullptr, &logical);
      g_object_unref(probe);
      latinLinePerPoint = static_cast<double>(logical.height) / PANGO_SCALE / 100.0;
    }
    return static_cast<int>(std::lround(latinLinePerPoint * size * PANGO_SCALE));
  }

  void configure(PangoLayout* layout, const TextSpec& spec) {
    PangoFontDescription* desc = pango_font_description_from_string(kFamilies);
    pango_font_description_set_weight(desc, pangoWeight(spec.font.weight));
    // Sizes outside what a screen can show are clamped (and a NaN size shows at the default).
    const double size =
        std::isfinite(spec.font.size) ? std::clamp(spec.font.size, 0.1, 4096.0) : 17.0;
    pango_font_description_set_absolute_size(desc, size * PANGO_SCALE);
    pango_layout_set_font_description(layout, desc);
    pango_font_description_free(desc);
    pango_layout_set_text(layout, spec.text.data(), static_cast<int>(spec.text.size()));
    // Every line is as tall as a line of the primary (Latin) font. The fallback fonts for
    // Arabic and CJK declare much taller lines (a 14 pt Arabic line would be ~30 pt against
    // ~17 pt), which would push widgets laid out for one line of text out of their frames; the
    // phone likewise keeps the system font's line height for fallback scripts.
    PangoAttrList* attrs = pango_attr_list_new();
    pango_attr_list_insert(attrs, pango_attr_line_height_new_absolute(latinLineHeight(size)));
    pango_layout_set_attributes(layout, attrs);
    pango_attr_list_unref(attrs);
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    pango_layout_set_alignment(layout, pangoAlignment(spec));
    if (std::isfinite(spec.wrapWidth) && spec.wrapWidth < kMaxPoints) {
      pango_layout_set_width(layout, std::max(0, toPango(spec.wrapWidth)));
    } else {
      pango_layout_set_width(layout, -1);
    }
    if (spec.maxLines > 0 && std::isfinite(spec.wrapWidth) && spec.wrapWidth < kMaxPoints) {
      pango_layout_set_ellipsize(layout, pangoEllipsize(spec.truncation));
      pango_layout_set_height(layout, -spec.maxLines);
    } else {
      pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_NONE);
      pango_layout_set_height(layout, -1);
    }
  }

  static PangoEllipsizeMode pangoEllipsize(TruncationMode mode) {
    switch (mode) {
      case TruncationMode::head:
        return PANGO_ELLIPSIZE_START;
      case TruncationMode::middle:
        return PANGO_ELLIPSIZE_MIDDLE;
      case TruncationMode::tail:
        return PANGO_ELLIPSIZE_END;
    }
    return PANGO_ELLIPSIZE_END;
  }

  // Leading and trailing follow the layout direction, not the text: an English line in a
  // right-to-left widget still lines up on the right. Pango reads its alignment as mirrored for
  // a paragraph whose first strong character is right-to-left, so that case is undone here.
  static PangoAlignment pangoAlignment(const TextSpec& spec) {
    if (spec.alignment == TextAlignment::center) return PANGO_ALIGN_CENTER;
    bool right = (spec.alignment == TextAlignment::trailing) !=
                 (spec.direction == LayoutDirection::rightToLeft);
    if (startsRightToLeft(spec.text)) right = !right;
    return right ? PANGO_ALIGN_RIGHT : PANGO_ALIGN_LEFT;
  }

  // Whether the first character with a strong direction is right-to-left (how Pango picks a
  // paragraph's direction).
  static bool startsRightToLeft(std::string_view text) {
    const char* p = text.data();
    const char* end = p + text.size();
    while (p < end) {
      const gunichar c = g_utf8_get_char_validated(p, end - p);
      if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2)) return false;
      const FriBidiCharType type = fribidi_get_bidi_type(c);
      if (type == FRIBIDI_TYPE_LTR) return false;
      if (type == FRIBIDI_TYPE_RTL || type == FRIBIDI_TYPE_AL) return true;
      p = g_utf8_next_char(p);
    }
    return false;
  }

  PangoContext* makeContext() {
    PangoContext* ctx = pango_font_map_create_context(fontMap);
    pango_cairo_context_set_font_options(ctx, options);
    pango_context_set_round_glyph_positions(ctx, FALSE);
    return ctx;
  }

  Measured measureLocked(const TextSpec& spec) {
    // The key is the text followed by the raw bytes of the parameters (formatting numbers as
    // text would cost more than many of the lookups it serves).
    struct Params {
      double size;
      int weight;
      int wrap;
      int maxLines;
      int alignment;
    } params{spec.font.size, static_cast<int>(spec.font.weight),
             std::isfinite(spec.wrapWidth) ? toPango(spec.wrapWidth) : -1, spec.maxLines,
             (static_cast<int>(spec.truncation) * 3 + static_cast<int>(spec.alignment)) * 2 +
                 static_cast<int>(spec.direction)};
    std::string key;
    key.reserve(spec.text.size() + sizeof params);
    key.append(spec.text);
    key.append(reinterpret_cast<const char*>(&params), sizeof params);
    if (auto it = cache.find(key); it != cache.end()) return it->second;
    configure(measureLayout, spec);
    PangoRectangle logical;
    pango_layout_get_extents(measureLayout, nullptr, &logical);
    Measured m{{static_cast<double>(logical.width) / PANGO_SCALE,
                static_cast<double>(logical.height) / PANGO_SCALE},
               pango_layout_get_line_count(measureLayout)};
    if (spec.text.empty()) m.size.width = 0;
    if (cache.size() > 8192) cache.clear();
    cache.emplace(std::move(key), m);
    return m;
  }
};

TextEngine& TextEngine::shared() {
  static TextEngine* engine = new TextEngine();  // never destroyed: fonts live for the process
  return *engine;
}

TextEngine::TextEngine() : impl_(new Impl) {
  // A configuration of our own: the font folders (so that fontconfig reads its prebuilt caches
  // instead of scanning the large CJK collections) with every font rejected except ours. Without
  // system configuration files there are no aliases or substitutions to make output vary.
  std::string xml = "<?xml version=\"1.0\"?><fontconfig>";
  std::vector<std::string> dirs;
  int found = 0;
  for (const char* file : kFontFiles) {
    if (!std::filesystem::exists(file)) continue;
    ++found;
    const std::string dir = std::filesystem::path(file).parent_path().string();
    if (std::find(dirs.begin(), dirs.end(), dir) == dirs.end()) dirs.push_back(dir);
  }
  for (const auto& dir : dirs)
    xml += "<dir>" + dir + "</dir>";
  xml += "<cachedir>/var/cache/fontconfig</cachedir><cachedir prefix=\"xdg\">fontconfig</cachedir>";
  xml += "<selectfont><rejectfont><glob>*</glob></rejectfont><acceptfont>";
  for (const char* file : kFontFiles)
    xml += std::string("<glob>") + file + "</glob>";
  xml += "</acceptfont></selectfont></fontconfig>";
  FcConfig* config = FcConfigCreate();
  FcConfigParseAndLoadFromMemory(config, reinterpret_cast<const FcChar8*>(xml.c_str()), FcTrue);
  FcConfigBuildFonts(config);
  impl_->fontsFound = found == static_cast<int>(std::size(kFontFiles));
  impl_->fontMap = pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT);
  pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(impl_->fontMap), config);
  FcConfigDestroy(config);  // the font map holds its own reference
  impl_->options = cairo_font_options_create();
  cairo_font_options_set_hint_style(impl_->options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(impl_->options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(impl_->options, CAIRO_ANTIALIAS_GRAY);
  impl_->measureContext = impl_->makeContext();
  impl_->drawContext = impl_->makeContext();
  impl_->measureLayout = pango_layout_new(impl_->measureContext);
}

TextEngine::~TextEngine() = default;

bool TextEngine::fontsAvailable() const {
  return impl_->fontsFound;
}

void TextEngine::clearCache() {
  std::lock_guard lock(impl_->mutex);
  impl_->cache.clear();
}

Size TextEngine::measure(const TextSpec& spec) {
  std::lock_guard lock(impl_->mutex);
  return impl_->measureLocked(spec).size;
}

double TextEngine::lineLeading(Font font) {
  std::lock_guard lock(impl_->mutex);
  return impl_->latinLeading(std::isfinite(font.size) ? std::clamp(font.size, 0.1, 4096.0) : 17.0);
}

TextFit TextEngine::fit(std::string_view text, Font font, std::optional<int> lineLimit,
                        double minimumScaleFactor, ProposedSize proposal,
                        TruncationMode truncation) {
  std::lock_guard lock(impl_->mutex);
  if (!(font.size > 0 && font.size <= 4096))
    font.size = std::isfinite(font.size) && font.size > 0 ? 4096 : 17;
  const double width = proposal.width.value_or(kInfinity);
  const bool wraps = std::isfinite(width);
  int maxLines = lineLimit.value_or(0);
  if (wraps && width <= 0) {
    // Offered no width (a stack asking for its minimum), a text takes none and one line of
    // height. Breaking it after every character instead would cost a long Pango layout and
    // tell the stack nothing more.
    TextFit none;
    none.font = font;
    none.size = {0, impl_->measureLocked({"X", font, kInfinity, 0}).size.height};
    none.wrapWidth = 0;
    none.maxLines = 1;
    return none;
  }
  {
    // The common case: the text's natural lines fit the offer as they are.
    const auto natural = impl_->measureLocked({text, font, kInfinity, 0});
    const bool fitsWidth = !wraps || natural.size.width <= width;
    const bool fitsHeight = !proposal.height || natural.size.height <= *proposal.height + 1e-6;
    const bool fitsLines = maxLines == 0 || natural.lines <= maxLines;
    if (fitsWidth && fitsHeight && fitsLines) {
      TextFit result;
      result.font = font;
      result.size = natural.size;
      result.wrapWidth = width;
      result.maxLines = wraps ? maxLines : 0;
      return result;
    }
  }
  if (wraps && proposal.height && std::isfinite(*proposal.height)) {
    // No more lines than the proposed height holds (at least one).
    const Size oneLine = impl_->measureLocked({"X", font, kInfinity, 0}).size;
    const int byHeight =
        std::max(1, static_cast<int>(std::floor(*proposal.height / oneLine.height + 1e-9)));
    maxLines = maxLines > 0 ? std::min(maxLines, byHeight) : byHeight;
  }
  // A text whose unwrapped lines fit the width breaks the same way wrapped, so the one
  // unwrapped measurement (shared by every proposal) answers most questions without Pango.
  auto measureAt = [&](Font f, int lines) {
    const auto natural = impl_->measureLocked({text, f, kInfinity, 0});
    if (natural.size.width <= width && (lines == 0 || natural.lines <= lines)) return natural;
    return impl_->measureLocked({text, f, width, lines, truncation});
  };
  auto fitsAt = [&](Font f) {
    if (!wraps) return true;
    const auto m = measureAt(f, 0);
    if (m.size.width > width + 1e-6) return false;
    return maxLines == 0 || m.lines <= maxLines;
  };
  Font chosen = font;
  const double minFactor = std::clamp(minimumScaleFactor, 0.01, 1.0);
  if (!fitsAt(font) && minFactor < 1) {
    Font smallest = font;
    smallest.size = font.size * minFactor;
    if (fitsAt(smallest)) {
      // Largest size that fits, in steps of an eighth of a point: finer is invisible, and every
      // distinct size costs Pango and Cairo a cached font of its own.
      long lo = static_cast<long>(std::floor(smallest.size * 8));
      long hi = static_cast<long>(std::floor(font.size * 8));
      if (lo > hi) lo = hi;
      // Unhinted, one line's width grows in proportion to the size, so the size that fills the
      // width is known from the first measurement. Two measurements confirm it (the step found
      // fits, the next one up does not); only if they disagree does the search below run.
      const double naturalWidth = impl_->measureLocked({text, font, kInfinity, 0}).size.width;
      if (maxLines == 1 && naturalWidth > 0) {
        const long guess =
            std::clamp(static_cast<long>(std::floor(font.size * width / naturalWidth * 8)), lo, hi);
        auto at = [&font](long eighths) {
          Font f = font;
          f.size = static_cast<double>(eighths) / 8;
          return f;
        };
        if (fitsAt(at(guess))) {
          lo = guess;
          if (guess < hi && !fitsAt(at(guess + 1))) hi = guess;
        } else {
          hi = guess - 1;
        }
      }
      while (lo < hi) {
        const long mid = (lo + hi + 1) / 2;
        Font candidate = font;
        candidate.size = static_cast<double>(mid) / 8;
        if (fitsAt(candidate)) {
          lo = mid;
        } else {
          hi = mid - 1;
        }
      }
      chosen.size = std::max(smallest.size, static_cast<double>(lo) / 8);
    } else {
      chosen = smallest;
    }
  }
  TextFit result;
  result.font = chosen;
  result.maxLines = wraps ? maxLines : 0;
  result.wrapWidth = width;
  Size size = measureAt(chosen, result.maxLines).size;
  size.width = std::min(size.width, width);
  result.size = size;
  return result;
}

void TextEngine::draw(Canvas& canvas, const TextSpec& spec, Point origin) {
  std::lock_guard lock(impl_->mutex);
  canvas.prepareTextContext(impl_->drawContext);
  PangoLayout* layout = pango_layout_new(impl_->drawContext);
  impl_->configure(layout, spec);
  // Right-to-left paragraphs sit at the right of the wrap width; the frame starts where the
  // text's own box does.
  PangoRectangle logical;
  pango_layout_get_extents(layout, nullptr, &logical);
  canvas.showText(layout, {origin.x - static_cast<double>(logical.x) / PANGO_SCALE, origin.y});
  g_object_unref(layout);
}

}  // namespace km
