// Deflates rows made from the input bytes with the scanline deflater and inflates them again with
// zlib: the stream must be valid deflate and give back exactly the rows. The first bytes choose
// the row length (up to past the 32 KiB window, where the row above is out of reach), the pixel
// size and the number of rows; the rest is repeated to fill the rows.
#include <zlib.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/ui/image/scanline_deflater.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 5) return 0;
  const std::size_t rowBytes = 1 + (static_cast<std::size_t>(data[0]) << 8 | data[1]) % 40000;
  const std::size_t pixelBytes = data[2] % 2 == 0 ? 3 : 4;
  const std::size_t rows = 1 + data[3] % 8;
  const uint8_t* fill = data + 4;
  const std::size_t fillSize = size - 4;
  std::vector<uint8_t> image(rowBytes * rows);
  for (std::size_t i = 0; i < image.size(); ++i)
    image[i] = fill[i % fillSize];

  km::ScanlineDeflater deflater(rowBytes, pixelBytes);
  std::vector<uint8_t> stream;
  for (std::size_t y = 0; y < rows; ++y)
    deflater.addRow(image.data() + y * rowBytes, stream);
  deflater.finish(stream);

  std::vector<uint8_t> back(image.size() + 1);
  z_stream z{};
  if (inflateInit2(&z, -15) != Z_OK) abort();
  z.next_in = stream.data();
  z.avail_in = static_cast<uInt>(stream.size());
  z.next_out = back.data();
  z.avail_out = static_cast<uInt>(back.size());
  const int status = inflate(&z, Z_FINISH);
  const std::size_t produced = back.size() - z.avail_out;
  const bool allRead = z.avail_in == 0;
  inflateEnd(&z);
  if (status != Z_STREAM_END || !allRead || produced != image.size() ||
      std::memcmp(back.data(), image.data(), produced) != 0) {
    abort();
  }
  return 0;
}
