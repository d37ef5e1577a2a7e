// PNG encoding: scanlines converted from premultiplied pixels, deflated (a whole image with zlib,
// large ones in two halves on two threads joined into one stream; a band-by-band image with the
// scanline deflater) and wrapped in PNG chunks.
#include "platform/ui/image/png_encoder.h"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <iterator>
#include <ostream>
#include <system_error>
#include <thread>

#include "platform/ui/image/scanline_deflater.h"

namespace km {
namespace {

constexpr size_t kWindow = 32768;  // deflate's window: how far back a part may refer

// One scanline as PNG stores it: the filter type (0, none; widget art is mostly flat colour,
// where unfiltered rows deflate as well as filtered ones and the filter search would cost
// several times the compression), then straight RGBA bytes. Cairo keeps premultiplied
// native-endian ARGB.
void scanline(const unsigned char* data, int stride, int width, int y, uint8_t* out) {
  const auto* row = reinterpret_cast<const uint32_t*>(data + static_cast<ptrdiff_t>(y) * stride);
  *out++ = 0;
  // Every pixel as if opaque first (a plain byte shuffle the compiler vectorises), then the
  // few translucent ones, at shape edges, again with their alpha divided out.
  if constexpr (std::endian::native == std::endian::little) {
    // In memory a pixel is B, G, R, A: swapping the first and third bytes gives R, G, B, A.
    for (int x = 0; x < width; ++x) {
      const uint32_t px = row[x];
      const uint32_t rgba = (px & 0xFF00FF00u) | ((px >> 16) & 0xFFu) | ((px & 0xFFu) << 16);
      std::memcpy(out + 4 * x, &rgba, 4);
    }
  } else {
    for (int x = 0; x < width; ++x) {
      const uint32_t px = row[x];
      uint8_t* o = out + 4 * x;
      o[0] = static_cast<uint8_t>(px >> 16);
      o[1] = static_cast<uint8_t>(px >> 8);
      o[2] = static_cast<uint8_t>(px);
      o[3] = static_cast<uint8_t>(px >> 24);
    }
  }
  // Premultiplied, a transparent pixel is all zeros already, so only alphas strictly between
  // 0 and 255 need the division. Blocks of pixels without any are skipped after one test.
  constexpr int kBlock = 16;
  for (int x0 = 0; x0 < width; x0 += kBlock) {
    const int end = std::min(width, x0 + kBlock);
    uint32_t translucent = 0;
    for (int x = x0; x < end; ++x)
      translucent |= static_cast<uint32_t>((row[x] >> 24) - 1u < 254u);
    if (!translucent) continue;
    for (int x = x0; x < end; ++x) {
      const uint32_t px = row[x];
      const uint32_t a = px >> 24;
      if (a - 1u >= 254u) continue;
      uint8_t* o = out + 4 * x;
      o[0] = static_cast<uint8_t>((((px >> 16) & 255) * 255 + a / 2) / a);
      o[1] = static_cast<uint8_t>((((px >> 8) & 255) * 255 + a / 2) / a);
      o[2] = static_cast<uint8_t>(((px & 255) * 255 + a / 2) / a);
    }
  }
}

// One scanline of an opaque image: the filter type, then R, G, B (a premultiplied opaque pixel is
// its own straight colour).
void opaqueScanline(const uint32_t* row, int width, uint8_t* out) {
  *out++ = 0;
  for (int x = 0; x < width; ++x) {
    const uint32_t px = row[x];
    out[3 * x] = static_cast<uint8_t>(px >> 16);
    out[3 * x + 1] = static_cast<uint8_t>(px >> 8);
    out[3 * x + 2] = static_cast<uint8_t>(px);
  }
}

// A run of scanlines deflated on its own as raw deflate data that continues the stream of the
// runs before it: primed with the bytes just before it (what a single stream would have in
// its window) and, unless it is the last, ended by a sync flush on a byte boundary, so the
// runs simply concatenate (the way pigz compresses in parallel).
struct DeflatedRows {
  std::vector<uint8_t> bytes;
  uint32_t adler = 1;  // of the uncompressed bytes of this run alone
  size_t length = 0;
  bool ok = false;
};

DeflatedRows deflateRows(const RasterImage& image, int y0, int y1, bool last, int level) {
  DeflatedRows run;
  const unsigned char* data = image.data();
  const int stride = image.stride();
  const int width = image.width();
  std::vector<uint8_t> line(static_cast<size_t>(width) * 4 + 1);
  z_stream z{};
  if (deflateInit2(&z, level, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY) != Z_OK) return run;
  if (y0 > 0) {
    const int rows = std::min(y0, static_cast<int>((kWindow + line.size() - 1) / line.size()));
    std::vector<uint8_t> before(static_cast<size_t>(rows) * line.size());
    for (int i = 0; i < rows; ++i) {
      scanline(data, stride, width, y0 - rows + i,
               before.data() + static_cast<size_t>(i) * line.size());
    }
    const size_t take = std::min(before.size(), kWindow);
    deflateSetDictionary(&z, before.data() + before.size() - take, static_cast<uInt>(take));
  }
  // The output grows as it fills (untouched capacity would still cost resident pages).
  constexpr size_t kStep = 64 * 1024;
  run.bytes.resize(kStep);
  z.next_out = run.bytes.data();
  z.avail_out = static_cast<uInt>(run.bytes.size());
  auto room = [&run, &z] {
    const size_t used = run.bytes.size() - z.avail_out;
    run.bytes.resize(run.bytes.size() + kStep);
    z.next_out = run.bytes.data() + used;
    z.avail_out = static_cast<uInt>(run.bytes.size() - used);
  };
  bool ok = true;
  for (int y = y0; y < y1 && ok; ++y) {
    scanline(data, stride, width, y, line.data());
    // libdeflate's checksum is several times faster than zlib's.
    run.adler = libdeflate_adler32(run.adler, line.data(), line.size());
    run.length += line.size();
    z.next_in = line.data();
    z.avail_in = static_cast<uInt>(line.size());
    const int flush = y + 1 < y1 ? Z_NO_FLUSH : (last ? Z_FINISH : Z_SYNC_FLUSH);
    while (true) {
      const int status = deflate(&z, flush);
      if (status == Z_STREAM_ERROR) {
        ok = false;
        break;
      }
      if (flush == Z_FINISH ? status == Z_STREAM_END : (z.avail_in == 0 && z.avail_out > 0)) {
        break;
      }
      if (z.avail_out == 0) room();
    }
  }
  run.bytes.resize(run.bytes.size() - z.avail_out);
  deflateEnd(&z);
  run.ok = ok;
  return run;
}

void appendChunk(std::vector<uint8_t>& png, const char* type, const uint8_t* data, size_t size) {
  auto be32 = [&png](uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
      png.push_back(static_cast<uint8_t>(v >> shift));
  };
  be32(static_cast<uint32_t>(size));
  const size_t start = png.size();
  png.insert(png.end(), type, type + 4);
  if (size > 0) png.insert(png.end(), data, data + size);
  be32(libdeflate_crc32(0, png.data() + start, png.size() - start));
}

// The IHDR chunk's content: 8-bit RGBA (or RGB), deflate, per-row filters, not interlaced.
std::array<uint8_t, 13> imageHeader(int w, int h, PngPixels pixels = PngPixels::rgba) {
  return {static_cast<uint8_t>(w >> 24),
          static_cast<uint8_t>(w >> 16),
          static_cast<uint8_t>(w >> 8),
          static_cast<uint8_t>(w),
          static_cast<uint8_t>(h >> 24),
          static_cast<uint8_t>(h >> 16),
          static_cast<uint8_t>(h >> 8),
          static_cast<uint8_t>(h),
          8,                                                        // bits per sample
          static_cast<uint8_t>(pixels == PngPixels::rgba ? 6 : 2),  // RGBA or RGB
          0,                                                        // deflate
          0,                                                        // per-row filters
          0};                                                       // not interlaced
}

// The two bytes that open a zlib stream: deflate with a 32 KiB window, and the level's group.
std::array<uint8_t, 2> zlibHeader(int level) {
  const uint8_t cmf = 0x78;
  const uint8_t levelGroup = level <= 1 ? 0 : level <= 5 ? 1 : level == 6 ? 2 : 3;
  uint8_t flg = static_cast<uint8_t>(levelGroup << 6);
  flg = static_cast<uint8_t>(flg + (31 - (cmf * 256 + flg) % 31) % 31);
  return {cmf, flg};
}

std::array<uint8_t, 4> bigEndian(uint32_t v) {
  return {static_cast<uint8_t>(v >> 24), static_cast<uint8_t>(v >> 16),
          static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)};
}

constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

}  // namespace

Result<std::vector<uint8_t>> encodePng(const RasterImage& image, int compressionLevel,
                                       PngThreads threads) {
  const int w = image.width(), h = image.height();
  if (w <= 0 || h <= 0) return Error{"cannot encode an empty image"};
  if (w > (1 << 24) / 4 || h > (1 << 24)) return Error{"image too large to encode"};
  const int level = std::clamp(compressionLevel, 0, 9);
  // Deflating is most of the time of turning a widget into a file: a large image is compressed
  // in two halves at once. Each half converts its rows one at a time, so no straight-alpha copy
  // of the whole image is ever made.
  const bool split = threads == PngThreads::upToTwo && static_cast<int64_t>(w) * h >= 200'000 &&
                     std::thread::hardware_concurrency() >= 2;
  std::vector<DeflatedRows> runs;
  if (split) {
    // Without a second thread (the system refusing one) the image is deflated in one piece.
    std::thread first;
    const int middle = h / 2;
    runs.resize(2);
    try {
      first = std::thread([&] { runs[0] = deflateRows(image, 0, middle, false, level); });
    } catch (const std::system_error&) {
      runs.resize(1);
    }
    if (first.joinable()) {
      runs[1] = deflateRows(image, middle, h, true, level);
      first.join();
    } else {
      runs[0] = deflateRows(image, 0, h, true, level);
    }
  } else {
    runs.push_back(deflateRows(image, 0, h, true, level));
  }
  uLong adler = 1;
  size_t compressed = 0;
  for (const DeflatedRows& run : runs) {
    if (!run.ok) return Error{"PNG encoding failed: deflate reported an error"};
    adler = adler32_combine(adler, run.adler, static_cast<z_off_t>(run.length));
    compressed += run.bytes.size();
  }
  // The zlib stream around the deflate data: a header naming the window and the level group,
  // then the runs, then the checksum of everything uncompressed.
  std::vector<uint8_t> stream;
  stream.reserve(compressed + 6);
  const auto head = zlibHeader(level);
  stream.insert(stream.end(), head.begin(), head.end());
  for (const DeflatedRows& run : runs)
    stream.insert(stream.end(), run.bytes.begin(), run.bytes.end());
  const auto tail = bigEndian(static_cast<uint32_t>(adler));
  stream.insert(stream.end(), tail.begin(), tail.end());

  std::vector<uint8_t> png(std::begin(kSignature), std::end(kSignature));
  png.reserve(stream.size() + 64);
  const auto header = imageHeader(w, h);
  appendChunk(png, "IHDR", header.data(), header.size());
  appendChunk(png, "IDAT", stream.data(), stream.size());
  appendChunk(png, "IEND", nullptr, 0);
  return png;
}

// The stream is raw deflate framed by hand as zlib (header, then the Adler-32 of the scanlines):
// deflated by repeats of the pixel before and of the row above, which is what a sheet of flat
// art is made of and several times faster to find than zlib's general search.
struct PngRowWriter::Impl {
  static constexpr size_t kChunk = 64 * 1024;

  std::ostream& out;
  int width, height;
  PngPixels pixels;
  int written = 0;
  uint32_t adler = 1;
  ScanlineDeflater deflater;
  std::vector<uint8_t> line, stream, chunk;

  Impl(std::ostream& o, int w, int h, PngPixels p, size_t lineBytes, size_t pixelBytes)
      : out(o), width(w), height(h), pixels(p), deflater(lineBytes, pixelBytes), line(lineBytes) {}

  // Writes the stream so far as IDAT chunks of 64 KiB (a PNG may split its data over many); with
  // `all`, the last part too.
  void writeChunks(bool all) {
    size_t done = 0;
    while (stream.size() - done >= kChunk || (all && done < stream.size())) {
      const size_t n = std::min(kChunk, stream.size() - done);
      chunk.clear();
      appendChunk(chunk, "IDAT", stream.data() + done, n);
      out.write(reinterpret_cast<const char*>(chunk.data()),
                static_cast<std::streamsize>(chunk.size()));
      done += n;
    }
    stream.erase(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(done));
  }
};

PngRowWriter::PngRowWriter(std::ostream& out, int width, int height, PngPixels pixels) {
  if (width <= 0 || height <= 0 || width > (1 << 24) / 4 || height > (1 << 24)) return;
  const size_t pixelBytes = pixels == PngPixels::rgba ? 4 : 3;
  impl_ = std::make_unique<Impl>(out, width, height, pixels,
                                 static_cast<size_t>(width) * pixelBytes + 1, pixelBytes);
  const auto zlibHead = zlibHeader(1);
  impl_->stream.assign(zlibHead.begin(), zlibHead.end());
  std::vector<uint8_t> head(std::begin(kSignature), std::end(kSignature));
  const auto header = imageHeader(width, height, pixels);
  appendChunk(head, "IHDR", header.data(), header.size());
  out.write(reinterpret_cast<const char*>(head.data()), static_cast<std::streamsize>(head.size()));
}

PngRowWriter::~PngRowWriter() = default;

Status PngRowWriter::writeRows(const RasterImage& band, int first, int count) {
  if (!impl_) return Error{"cannot encode an image of that size"};
  Impl& m = *impl_;
  if (band.width() != m.width || first < 0 || count < 0 || first + count > band.height() ||
      m.written + count > m.height) {
    return Error{"PNG rows do not fit the image"};
  }
  for (int y = first; y < first + count; ++y) {
    if (m.pixels == PngPixels::rgba) {
      scanline(band.data(), band.stride(), m.width, y, m.line.data());
    } else {
      opaqueScanline(band.row(y), m.width, m.line.data());
    }
    m.adler = libdeflate_adler32(m.adler, m.line.data(), m.line.size());
    m.deflater.addRow(m.line.data(), m.stream);
  }
  m.written += count;
  m.writeChunks(false);
  return Ok{};
}

Status PngRowWriter::finish() {
  if (!impl_) return Error{"cannot encode an image of that size"};
  Impl& m = *impl_;
  if (m.written != m.height) return Error{"PNG image ended before its last row"};
  m.deflater.finish(m.stream);
  const auto check = bigEndian(m.adler);
  m.stream.insert(m.stream.end(), check.begin(), check.end());
  m.writeChunks(true);
  std::vector<uint8_t> end;
  appendChunk(end, "IEND", nullptr, 0);
  m.out.write(reinterpret_cast<const char*>(end.data()), static_cast<std::streamsize>(end.size()));
  if (!m.out) return Error{"cannot write the PNG file"};
  return Ok{};
}

}  // namespace km
