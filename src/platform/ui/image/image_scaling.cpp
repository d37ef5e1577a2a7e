// Shrinking a drawn image by a whole factor onto another, as a contact sheet composes widgets.
#include "platform/ui/image/image_scaling.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace km {

namespace {

// Adds a row of channel bytes to 16-bit sums, one per byte: a plain loop the compiler widens and
// vectorises (a block of up to 16 rows of 255 cannot overflow a sum).
void addRow(const uint8_t* in, std::size_t count, uint16_t* sums) {
  for (std::size_t i = 0; i < count; ++i)
    sums[i] = static_cast<uint16_t>(sums[i] + in[i]);
}

// Writes one row of blocks over `out`: each block's columns summed (`columns` holds channel bytes
// already summed over the block's rows), averaged and laid over the target. `kFactor` is the
// factor when known at compile time, so that the averages divide by a constant; 0 takes
// `factor` at run time.
template <int kFactor>
void composeBlockRow(const uint16_t* columns, int count, int factor, uint32_t* out) {
  const int f = kFactor > 0 ? kFactor : factor;
  const uint32_t area = static_cast<uint32_t>(f * f);
  auto mean = [&](uint32_t s) { return (s + area / 2) / area; };
  for (int ox = 0; ox < count; ++ox) {
    const uint16_t* px = columns + static_cast<std::ptrdiff_t>(ox) * f * 4;
    uint32_t sums[4] = {};  // by byte in memory
    for (int k = 0; k < f; ++k) {
      sums[0] += px[4 * k];
      sums[1] += px[4 * k + 1];
      sums[2] += px[4 * k + 2];
      sums[3] += px[4 * k + 3];
    }
    // The block's mean, rounded (pixels beyond the source's edge count as transparent). A native
    // 32-bit ARGB pixel is B, G, R, A in memory on a little-endian machine, A, R, G, B on a
    // big-endian one.
    constexpr bool kLittle = std::endian::native == std::endian::little;
    const uint32_t b = mean(sums[kLittle ? 0 : 3]), g = mean(sums[kLittle ? 1 : 2]),
                   r = mean(sums[kLittle ? 2 : 1]), a = mean(sums[kLittle ? 3 : 0]);
    if (a == 255) {  // most of a widget: covers the target whatever is below
      out[ox] = (a << 24) | (r << 16) | (g << 8) | b;
      continue;
    }
    // "Source over": the target shows through by the share the source leaves uncovered.
    const uint32_t below = out[ox];
    const uint32_t keep = 255 - a;
    auto over = [&](uint32_t top, int shift) {
      return std::min<uint32_t>(255, top + (((below >> shift) & 255) * keep + 127) / 255);
    };
    out[ox] = (over(a, 24) << 24) | (over(r, 16) << 16) | (over(g, 8) << 8) | over(b, 0);
  }
}

}  // namespace

int shrunkLength(int length, int factor) {
  return factor <= 1 ? length : (length + factor - 1) / factor;
}

void composeShrunk(const RasterImage& source, int factor, RasterImage& target, int x, int y) {
  factor = std::clamp(factor, 1, 16);
  const int w = shrunkLength(source.width(), factor), h = shrunkLength(source.height(), factor);
  const int x0 = std::max(0, -x), x1 = std::min(w, target.width() - x);
  const int y0 = std::max(0, -y), y1 = std::min(h, target.height() - y);
  if (x0 >= x1 || y0 >= y1) return;
  // A block row at a time: its source rows summed per channel byte into `columns` (the blocks
  // [x0, x1) only, padded with zeros where the last block runs past the source's edge), then each
  // block's columns summed and averaged.
  const int firstColumn = x0 * factor;
  const int lastColumn = std::min(source.width(), x1 * factor);
  const std::size_t bytes = static_cast<std::size_t>(lastColumn - firstColumn) * 4;
  std::vector<uint16_t> columns(static_cast<std::size_t>(x1 - x0) * factor * 4);
  for (int oy = y0; oy < y1; ++oy) {
    std::fill(columns.begin(), columns.end(), uint16_t{0});
    const int sy1 = std::min(source.height(), (oy + 1) * factor);
    for (int sy = oy * factor; sy < sy1; ++sy) {
      addRow(reinterpret_cast<const uint8_t*>(source.row(sy) + firstColumn), bytes, columns.data());
    }
    uint32_t* out = target.row(y + oy) + x + x0;
    switch (factor) {
      case 2:
        composeBlockRow<2>(columns.data(), x1 - x0, factor, out);
        break;
      case 3:
        composeBlockRow<3>(columns.data(), x1 - x0, factor, out);
        break;
      default:
        composeBlockRow<0>(columns.data(), x1 - x0, factor, out);
        break;
    }
  }
}

}  // namespace km
