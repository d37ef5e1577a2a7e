// Turning a drawn image into PNG bytes, fast enough to do for every widget.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <vector>

#include "base/result.h"
#include "platform/ui/image/raster_image.h"

namespace km {

// Whether encodePng may deflate a large image in two halves at once: worth it alone, pure overhead
// (a thread, a second start of deflate) for a caller already encoding on every core.
enum class PngThreads { upToTwo, one };

// PNG bytes of an image (8-bit RGBA, straight alpha, rows unfiltered). Level 1 compresses fast
// and still well for flat widget art.
Result<std::vector<uint8_t>> encodePng(const RasterImage& image, int compressionLevel = 1,
                                       PngThreads threads = PngThreads::upToTwo);

// What a PNG stores of each pixel.
enum class PngPixels {
  rgba,  // 8-bit RGBA, straight alpha
  // 8-bit RGB for images known to be opaque: a quarter fewer bytes to deflate. A translucent pixel
  // would show as if over black.
  opaqueRgb,
};

// A PNG written to a stream a band of rows at a time, so that a tall image (a contact sheet of many
// widgets) never has to be in memory whole. Rows unfiltered as in encodePng, deflated on the
// calling thread by repeats of the pixel before and of the row above only: several times faster
// than encodePng's zlib, for a file about a quarter larger on flat art.
class PngRowWriter {
 public:
  // Writes the file's signature and header at once.
  // An image wider than 4 million pixels or taller than 16 million is refused at the first rows.
  PngRowWriter(std::ostream& out, int width, int height, PngPixels pixels = PngPixels::rgba);
  ~PngRowWriter();
  PngRowWriter(const PngRowWriter&) = delete;
  PngRowWriter& operator=(const PngRowWriter&) = delete;

  // Appends rows [first, first + count) of `band`, which must be as wide as the image; the image's
  // rows arrive in order, band after band.
  Status writeRows(const RasterImage& band, int first, int count);
  // Ends the file; an error when rows are missing or the stream failed.
  Status finish();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace km
