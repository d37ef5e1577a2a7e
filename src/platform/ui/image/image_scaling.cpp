// Shrinking a drawn image by a whole factor onto another, as a contact sheet composes widgets.
#include "platform/ui/image/image_scaling.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace km {

namespace {

// Adds one source row of the blocks [from, to) to their sums (alpha and green, red and blue
// packed two to a word); returns `to`.
template <int kFactor>
int addBlocks(const uint32_t* in, int from, int to, uint32_t* sums) {
  for (int ox = from; ox < to; ++ox) {
    const uint32_t* px = in + static_cast<ptrdiff_t>(ox) * kFactor;
    uint32_t ag = 0, rb = 0;
    for (int k = 0; k < kFactor; ++k) {
      ag += (px[k] >> 8) & 0x00FF00FFu;
      rb += px[k] & 0x00FF00FFu;
    }
    sums[static_cast<size_t>(ox) * 2] += ag;
    sums[static_cast<size_t>(ox) * 2 + 1] += rb;
  }
  return std::max(from, to);
}

}  // namespace

int shrunkLength(int length, int factor) {
  return factor <= 1 ? length : (length + factor - 1) / factor;
}

void composeShrunk(const RasterImage& source, int factor, RasterImage& target, int x, int y) {
  // Sums are kept two channels to a word (alpha and green, red and blue), 16 bits each: a block of
  // up to 16 × 16 pixels cannot overflow them, and a pixel costs two masks and two adds.
  factor = std::clamp(factor, 1, 16);
  const int w = shrunkLength(source.width(), factor), h = shrunkLength(source.height(), factor);
  const int x0 = std::max(0, -x), x1 = std::min(w, target.width() - x);
  const int y0 = std::max(0, -y), y1 = std::min(h, target.height() - y);
  if (x0 >= x1 || y0 >= y1) return;
  const uint32_t area = static_cast<uint32_t>(factor * factor);
  std::vector<uint32_t> sums(static_cast<size_t>(w) * 2);
  for (int oy = y0; oy < y1; ++oy) {
    std::fill(sums.begin(), sums.end(), 0u);
    const int sy1 = std::min(source.height(), (oy + 1) * factor);
    // A block row by row, reading the source in order.
    for (int sy = oy * factor; sy < sy1; ++sy) {
      const uint32_t* in = source.row(sy);
      // Blocks wholly inside the source take the common factors' unrolled path.
      const int whole = std::min(x1, source.width() / factor);
      int ox = x0;
      switch (factor) {
        case 2:
          ox = addBlocks<2>(in, x0, whole, sums.data());
          break;
        case 3:
          ox = addBlocks<3>(in, x0, whole, sums.data());
          break;
        case 4:
          ox = addBlocks<4>(in, x0, whole, sums.data());
          break;
        default:
          break;
      }
      for (; ox < x1; ++ox) {
        const int sx1 = std::min(source.width(), (ox + 1) * factor);
        uint32_t ag = 0, rb = 0;
        for (int sx = ox * factor; sx < sx1; ++sx) {
          ag += (in[sx] >> 8) & 0x00FF00FFu;
          rb += in[sx] & 0x00FF00FFu;
        }
        sums[static_cast<size_t>(ox) * 2] += ag;
        sums[static_cast<size_t>(ox) * 2 + 1] += rb;
      }
    }
    uint32_t* out = target.row(y + oy) + x;
    for (int ox = x0; ox < x1; ++ox) {
      const uint32_t ag = sums[static_cast<size_t>(ox) * 2];
      const uint32_t rb = sums[static_cast<size_t>(ox) * 2 + 1];
      // The block's mean, rounded (pixels beyond the source's edge count as transparent); then
      // "source over": the target shows through by the share the source leaves uncovered.
      auto mean = [area](uint32_t sum) { return (sum + area / 2) / area; };
      const uint32_t a = mean(ag >> 16), g = mean(ag & 0xFFFF);
      const uint32_t r = mean(rb >> 16), b = mean(rb & 0xFFFF);
      const uint32_t below = out[ox];
      const uint32_t keep = 255 - a;
      auto over = [&](uint32_t top, int shift) {
        return std::min<uint32_t>(255, top + (((below >> shift) & 255) * keep + 127) / 255);
      };
      out[ox] = (over(a, 24) << 24) | (over(r, 16) << 16) | (over(g, 8) << 8) | over(b, 0);
    }
  }
}

}  // namespace km
