// Shadows: the item drawn in one colour into a mask, blurred, and laid under it; masks of repeated
// shapes reused within one display list.
#include "platform/ui/render/shadow.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "platform/ui/render/cairo_bridge.h"

namespace km::render {
namespace {

bool nearlyEqual(double a, double b) {
  return std::abs(a - b) <= 1e-9 * std::max(1.0, std::max(std::abs(a), std::abs(b)));
}

bool samePoint(Point a, Point b) {
  return nearlyEqual(a.x, b.x) && nearlyEqual(a.y, b.y);
}

bool samePath(const Path& a, const Path& b) {
  if (a.elements().size() != b.elements().size()) return false;
  for (size_t i = 0; i < a.elements().size(); ++i) {
    const Path::Element& x = a.elements()[i];
    const Path::Element& y = b.elements()[i];
    if (x.index() != y.index()) return false;
    if (const auto* m = std::get_if<Path::MoveTo>(&x)) {
      if (!samePoint(m->to, std::get<Path::MoveTo>(y).to)) return false;
    } else if (const auto* l = std::get_if<Path::LineTo>(&x)) {
      if (!samePoint(l->to, std::get<Path::LineTo>(y).to)) return false;
    } else if (const auto* c = std::get_if<Path::CurveTo>(&x)) {
      const auto& d = std::get<Path::CurveTo>(y);
      if (!samePoint(c->control1, d.control1) || !samePoint(c->control2, d.control2) ||
          !samePoint(c->to, d.to)) {
        return false;
      }
    } else if (const auto* r = std::get_if<Path::Arc>(&x)) {
      const auto& q = std::get<Path::Arc>(y);
      if (!samePoint(r->center, q.center) || !nearlyEqual(r->radius, q.radius) ||
          !nearlyEqual(r->startAngle, q.startAngle) || !nearlyEqual(r->sweep, q.sweep)) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

// Three box blurs approximate a Gaussian; `r` is each box's half-width in pixels. Each blur
// runs along the rows, then down the columns with one running sum per column, so that both
// passes read memory in order and the column pass vectorises. A window's mean is a multiply by
// a reciprocal and a shift, exact for every sum a window of up to 129 pixels can hold, and
// several times cheaper than dividing.
void boxBlurA8(cairo_surface_t* s, int r) {
  r = std::min(r, 64);
  if (r <= 0) return;
  cairo_surface_flush(s);
  unsigned char* data = cairo_image_surface_get_data(s);
  const int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
  const int stride = cairo_image_surface_get_stride(s);
  constexpr int kShift = 22;
  const uint32_t inverse = (uint32_t{1} << kShift) / static_cast<uint32_t>(2 * r + 1) + 1;
  std::vector<unsigned char> rows(static_cast<size_t>(w) * static_cast<size_t>(h));
  std::vector<uint32_t> sums(static_cast<size_t>(w));
  auto row = [&](int y) { return data + static_cast<ptrdiff_t>(y) * stride; };
  auto rowCopy = [&](int y) { return rows.data() + static_cast<ptrdiff_t>(y) * w; };
  for (int k = 0; k < 3; ++k) {
    for (int y = 0; y < h; ++y) {
      const unsigned char* in = row(y);
      unsigned char* out = rowCopy(y);
      uint32_t sum = 0;
      for (int i = 0; i <= r && i < w; ++i)
        sum += in[i];
      // The window enters and leaves the row in three stretches, so the middle one, where
      // both ends are inside, needs no bounds tests.
      const int enterEnd = std::min(w, r + 1);
      const int leaveStart = std::max(enterEnd, w - r - 1);
      int x = 0;
      for (; x < enterEnd; ++x) {
        out[x] = static_cast<unsigned char>((sum * inverse) >> kShift);
        if (x + r + 1 < w) sum += in[x + r + 1];
        if (x - r >= 0) sum -= in[x - r];
      }
      for (; x < leaveStart; ++x) {
        out[x] = static_cast<unsigned char>((sum * inverse) >> kShift);
        sum += in[x + r + 1];
        sum -= in[x - r];
      }
      for (; x < w; ++x) {
        out[x] = static_cast<unsigned char>((sum * inverse) >> kShift);
        if (x + r + 1 < w) sum += in[x + r + 1];
        if (x - r >= 0) sum -= in[x - r];
      }
    }
    std::fill(sums.begin(), sums.end(), 0u);
    uint32_t* sum = sums.data();
    for (int y = 0; y <= r && y < h; ++y) {
      const unsigned char* in = rowCopy(y);
      for (int x = 0; x < w; ++x)
        sum[x] += in[x];
    }
    for (int y = 0; y < h; ++y) {
      unsigned char* out = row(y);
      for (int x = 0; x < w; ++x)
        out[x] = static_cast<unsigned char>((sum[x] * inverse) >> kShift);
      if (y + r + 1 < h) {
        const unsigned char* in = rowCopy(y + r + 1);
        for (int x = 0; x < w; ++x)
          sum[x] += in[x];
      }
      if (y - r >= 0) {
        const unsigned char* in = rowCopy(y - r);
        for (int x = 0; x < w; ++x)
          sum[x] -= in[x];
      }
    }
  }
  cairo_surface_mark_dirty(s);
}

ShadowMasks::~ShadowMasks() {
  for (Entry& e : entries_)
    cairo_surface_destroy(e.mask);
}

cairo_surface_t* ShadowMasks::find(const Key& key) const {
  for (const Entry& e : entries_) {
    if (matches(e.key, key)) return e.mask;
  }
  return nullptr;
}

void ShadowMasks::add(Key key, cairo_surface_t* mask) {
  if (entries_.size() >= 16) return;  // enough for any widget's repeated shadows
  entries_.push_back({std::move(key), cairo_surface_reference(mask)});
}

bool ShadowMasks::matches(const Key& a, const Key& b) {
  return a.width == b.width && a.height == b.height && a.box == b.box && a.stroked == b.stroked &&
         a.style == b.style && nearlyEqual(a.ctm.xx, b.ctm.xx) && nearlyEqual(a.ctm.yx, b.ctm.yx) &&
         nearlyEqual(a.ctm.xy, b.ctm.xy) && nearlyEqual(a.ctm.yy, b.ctm.yy) &&
         std::abs(a.phase.x - b.phase.x) < 1e-6 && std::abs(a.phase.y - b.phase.y) < 1e-6 &&
         samePath(a.outline, b.outline);
}

void drawShadow(cairo_t* cr, const DisplayItem& item, const Shadow& sh, const RenderOptions& o,
                ShadowMasks& masks, DrawContent drawContent) {
  ColorTreatment base(o, item.accentable, item.opacity);
  const RGBA color = base(sh.color);
  if (color.alpha <= 0) return;
  // Work in device pixels; vector output gets three per point so its shadow image is smooth.
  cairo_matrix_t ctm;
  cairo_get_matrix(cr, &ctm);
  const double deviceScale = std::sqrt(std::abs(ctm.xx * ctm.yy - ctm.xy * ctm.yx));
  const double extra = !rasterTarget(cr) && deviceScale < 2 ? 3 / std::max(deviceScale, 1e-6) : 1;
  // Widget shadows blur by a few points; the cap (about 40 points at three pixels per point)
  // keeps the mask, which grows with the blur's reach, to a sane size.
  const double sigma = std::min(sh.radius / 2 * deviceScale * extra, 64.0);
  const int margin = static_cast<int>(std::ceil(sigma * 3)) + 2;
  double pad = 0;
  if (const auto* shape = std::get_if<DisplayShape>(&item.content); shape && shape->stroke) {
    pad = shape->strokeStyle.lineWidth;
  }
  const Rect& f = item.frame;
  auto [minX, minY, maxX, maxY] =
      deviceBoundsOf(cr, f.x - pad, f.y - pad, f.maxX() + pad, f.maxY() + pad);
  // Only the part that can land inside the clip matters: shadows of views far outside the
  // widget would otherwise cost huge masks.
  {
    const auto [cx0, cy0, cx1, cy1] = deviceClipExtents(cr);
    double ox = sh.x, oy = sh.y;
    cairo_user_to_device_distance(cr, &ox, &oy);
    const double reach = margin / extra;  // the blur's reach in device pixels
    minX = std::max(minX, cx0 - ox - reach);
    minY = std::max(minY, cy0 - oy - reach);
    maxX = std::min(maxX, cx1 - ox + reach);
    maxY = std::min(maxY, cy1 - oy + reach);
  }
  const double width = (maxX - minX) * extra + 2 * margin;
  const double height = (maxY - minY) * extra + 2 * margin;
  if (!(width > 0 && height > 0 && width <= 8192 && height <= 8192)) return;
  if (!std::isfinite(minX * extra) || !std::isfinite(minY * extra)) return;
  // The mask starts on a whole pixel: the content is drawn into it at its exact position, and
  // the mask then lands on the target without being resampled (which costs ten times the blur).
  const double dx0 = std::floor(minX * extra - margin), dy0 = std::floor(minY * extra - margin);
  const int w = static_cast<int>(std::ceil(width)) + 1, h = static_cast<int>(std::ceil(height)) + 1;
  const int box = static_cast<int>(std::lround(sigma * 0.8));
  std::optional<ShadowMasks::Key> key;
  if (const auto* shape = std::get_if<DisplayShape>(&item.content)) {
    const Rect& frame = item.frame;
    double px = frame.x, py = frame.y;
    cairo_user_to_device(cr, &px, &py);
    key =
        ShadowMasks::Key{shape->path.transformed(AffineTransform::translation(-frame.x, -frame.y)),
                         !shape->fill && shape->stroke,
                         shape->strokeStyle,
                         ctm,
                         {px * extra - dx0, py * extra - dy0},
                         w,
                         h,
                         box};
  }
  cairo_surface_t* mask = key ? masks.find(*key) : nullptr;
  if (mask) {
    cairo_surface_reference(mask);
  } else {
    mask = cairo_image_surface_create(CAIRO_FORMAT_A8, w, h);
    cairo_t* mc = cairo_create(mask);
    cairo_translate(mc, -dx0, -dy0);
    cairo_scale(mc, extra, extra);
    cairo_transform(mc, &ctm);
    ColorTreatment solid(o, item.accentable, 1);
    solid.setOverride({0, 0, 0, 1});
    drawContent(mc, item, o, solid);
    cairo_destroy(mc);
    boxBlurA8(mask, box);
    if (key) masks.add(std::move(*key), mask);
  }
  cairo_save(cr);
  cairo_identity_matrix(cr);
  double ox = sh.x, oy = sh.y;
  cairo_user_to_device_distance(cr, &ox, &oy);
  cairo_translate(cr, ox, oy);
  cairo_scale(cr, 1 / extra, 1 / extra);
  setSourceRGBA(cr, color);
  cairo_mask_surface(cr, mask, dx0, dy0);
  cairo_restore(cr);
  cairo_surface_destroy(mask);
}

}  // namespace km::render
