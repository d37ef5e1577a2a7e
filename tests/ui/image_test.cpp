// Composing shrunk images and writing PNG files band by band (what the contact sheet rests on).
#include <gtest/gtest.h>
#include <spng.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/ui/image/image_file.h"
#include "platform/ui/image/image_scaling.h"
#include "platform/ui/image/png_encoder.h"
#include "platform/ui/image/raster_image.h"
#include "platform/ui/image/scanline_deflater.h"

namespace km {
namespace {

uint32_t argb(uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
  return a << 24 | r << 16 | g << 8 | b;
}

RasterImage filled(int w, int h, uint32_t px) {
  RasterImage image(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      image.row(y)[x] = px;
  return image;
}

TEST(ImageScalingTest, ShrinksByBlockMeansAndCompositesOver) {
  const uint32_t red = argb(255, 255, 0, 0), clear = 0, grey = argb(255, 100, 100, 100);
  const uint32_t rose = argb(255, 240, 120, 60);  // every channel its own
  struct Case {
    const char* what;
    std::vector<uint32_t> source;  // 4 × 2
    int factor;
    uint32_t under;              // the target's colour
    int x, y;                    // where the source goes
    std::vector<uint32_t> want;  // the 3 × 2 target afterwards
  } cases[] = {
      {"factor 1 copies opaque pixels",
       {red, red, red, red, red, red, red, red},
       1,
       grey,
       1,
       1,
       {grey, grey, grey, grey, red, red}},
      {"a half-covered block is half the colour over the target",
       {red, clear, red, red, red, clear, red, red},
       2,
       grey,
       0,
       0,
       {argb(255, 178, 50, 50), red, grey, grey, grey, grey}},
      {"a partial block counts the missing pixels as transparent",
       {rose, rose, rose, rose, rose, rose, rose, rose},
       3,
       clear,
       1,
       0,
       {clear, argb(170, 160, 80, 40), argb(57, 53, 27, 13), clear, clear, clear}},
      {"pixels off the target are dropped",
       {red, red, red, red, red, red, red, red},
       1,
       grey,
       -3,
       -1,
       {red, grey, grey, grey, grey, grey}},
  };
  for (const Case& c : cases) {
    RasterImage source(4, 2);
    for (int i = 0; i < 8; ++i)
      source.row(i / 4)[i % 4] = c.source[static_cast<size_t>(i)];
    RasterImage target = filled(3, 2, c.under);
    composeShrunk(source, c.factor, target, c.x, c.y);
    for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(target.row(i / 3)[i % 3], c.want[static_cast<size_t>(i)])
          << c.what << ", pixel " << i;
    }
  }
  EXPECT_EQ(shrunkLength(474, 3), 158);
  EXPECT_EQ(shrunkLength(475, 3), 159);
}

// Decodes PNG bytes to straight RGBA.
std::vector<uint8_t> decode(const std::string& png, uint32_t* width, uint32_t* height) {
  spng_ctx* ctx = spng_ctx_new(0);
  spng_set_png_buffer(ctx, png.data(), png.size());
  spng_ihdr ihdr{};
  std::vector<uint8_t> rgba;
  size_t size = 0;
  if (spng_get_ihdr(ctx, &ihdr) == 0 && spng_decoded_image_size(ctx, SPNG_FMT_RGBA8, &size) == 0) {
    rgba.resize(size);
    // The decoder checks every chunk's CRC and the stream's Adler-32.
    if (spng_decode_image(ctx, rgba.data(), size, SPNG_FMT_RGBA8, 0) != 0) rgba.clear();
  }
  spng_ctx_free(ctx);
  *width = ihdr.width;
  *height = ihdr.height;
  return rgba;
}

TEST(PngRowWriterTest, BandsMakeTheSameImageAsTheWholeEncoder) {
  // An opaque colour per pixel, or none for noise (translucent in RGBA).
  using Colour = std::function<uint32_t(int x, int y)>;
  const Colour stripes = [](int x, int) { return 0x102030u * static_cast<uint32_t>(x / 5 % 7); };
  struct Case {
    std::string what;
    int width, height;
    Colour colour;
    size_t atMost;  // bytes the RGB file may take; 0 for no bound
  };
  std::vector<Case> cases = {
      {"noise: literals over several blocks", 300, 120, nullptr, 0},
      {"stripes: every row repeats the one above", 300, 120, stripes, 1200},
      {"runs longer than one repeat, changing down the image", 300, 120,
       [](int x, int y) {
         return x < y * 2 ? 0xC04020u + static_cast<uint32_t>(y / 10) : 0x2040E0u;
       },
       1200},
      {"rows too long to refer to the row above", 11000, 3, stripes, 0},
  };
  // Rows that repeat the one above at distances at the first and the last of each distance code
  // (3w + 1 and 4w + 1 bytes a row: powers of two reach every code's first distance, the
  // (4^k - 1) / 3 the last of every other code).
  for (const int w : {1,   2,   4,   5,   8,    16,   21,   32,   64,   85,
                      128, 256, 341, 512, 1024, 1365, 2048, 4096, 5461, 8192}) {
    cases.push_back({"stripes " + std::to_string(w) + " wide", w, 2, stripes, 0});
  }
  for (const auto& c : cases) {
    for (const PngPixels pixels : {PngPixels::rgba, PngPixels::opaqueRgb}) {
      SCOPED_TRACE(c.what + (pixels == PngPixels::rgba ? ", RGBA" : ", RGB"));
      RasterImage whole(c.width, c.height);
      uint32_t seed = 7;
      for (int y = 0; y < whole.height(); ++y) {
        for (int x = 0; x < whole.width(); ++x) {
          if (c.colour) {
            whole.row(y)[x] = 0xFF000000u | c.colour(x, y);
            continue;
          }
          seed = seed * 1664525u + 1013904223u;
          const uint32_t a = pixels == PngPixels::rgba ? (seed >> 24) | 1 : 255;
          whole.row(y)[x] = argb(a, (seed >> 16 & 255) * a / 255, (seed >> 8 & 255) * a / 255, 0);
        }
      }
      std::ostringstream out;
      PngRowWriter writer(out, whole.width(), whole.height(), pixels);
      // Bands of uneven heights, as the rows of a contact sheet are.
      RasterImage band;
      for (int y0 = 0, h = 7; y0 < whole.height(); y0 += h, h += 13) {
        const int rows = std::min(h, whole.height() - y0);
        band.reset(whole.width(), rows + 2);
        for (int y = 0; y < rows; ++y)
          std::copy(whole.row(y0 + y), whole.row(y0 + y) + whole.width(), band.row(y + 1));
        ASSERT_TRUE(writer.writeRows(band, 1, rows).ok());
      }
      ASSERT_TRUE(writer.finish().ok());
      const std::string file = out.str();
      ASSERT_GT(file.size(), 25u);
      EXPECT_EQ(file[25], pixels == PngPixels::rgba ? 6 : 2);
      EXPECT_TRUE(file.ends_with(std::string("IEND\xAE\x42\x60\x82", 8)));
      if (c.atMost > 0 && pixels == PngPixels::opaqueRgb) {
        EXPECT_LE(file.size(), c.atMost);
      }
      uint32_t w = 0, h = 0;
      const std::vector<uint8_t> streamed = decode(file, &w, &h);
      auto encoded = encodePng(whole);
      ASSERT_TRUE(encoded.ok());
      uint32_t w2 = 0, h2 = 0;
      const std::vector<uint8_t> reference =
          decode(std::string(encoded->begin(), encoded->end()), &w2, &h2);
      EXPECT_EQ(w, static_cast<uint32_t>(c.width));
      EXPECT_EQ(h, static_cast<uint32_t>(c.height));
      ASSERT_FALSE(streamed.empty());
      EXPECT_TRUE(streamed == reference);
    }
  }
}

TEST(HuffmanCodeLengthsTest, CompleteCodesWithinTheLimit) {
  // Counts whose unlimited Huffman code would be a chain as deep as there are symbols.
  std::vector<uint32_t> fibonacci;
  for (uint32_t a = 1, b = 1; fibonacci.size() < 25; std::tie(a, b) = std::pair(b, a + b))
    fibonacci.push_back(a);
  const struct {
    const char* what;
    std::vector<uint32_t> counts;
    int limit;
    std::vector<uint8_t> want;  // empty: any lengths that pass the checks below
  } cases[] = {
      {"Huffman's own code", {1, 1, 2, 4, 0}, 15, {3, 3, 2, 1, 0}},
      {"a lone symbol gets a partner", {0, 0, 5}, 15, {1, 0, 1}},
      {"no symbol used", {0, 0, 0}, 15, {1, 1, 0}},
      {"deep codes cut to 15 bits", fibonacci, 15, {}},
      {"deep codes cut to 7 bits", {fibonacci.begin(), fibonacci.begin() + 19}, 7, {}},
  };
  for (const auto& c : cases) {
    std::vector<uint8_t> lengths(c.counts.size(), 99);
    huffmanCodeLengths(c.counts, c.limit, lengths);
    EXPECT_TRUE(c.want.empty() || lengths == c.want) << c.what;
    uint64_t space = 0;  // in units of 2^-15: a complete code fills exactly 2^15
    for (size_t i = 0; i < lengths.size(); ++i) {
      EXPECT_LE(lengths[i], c.limit) << c.what << ", symbol " << i;
      EXPECT_TRUE(c.counts[i] == 0 || lengths[i] > 0) << c.what << ", symbol " << i;
      if (lengths[i] > 0) space += uint64_t{1} << (15 - lengths[i]);
      for (size_t j = 0; j < lengths.size(); ++j) {
        if (c.counts[j] > c.counts[i] && c.counts[i] > 0) {
          EXPECT_LE(lengths[j], lengths[i]) << c.what << ", symbols " << j << " and " << i;
        }
      }
    }
    EXPECT_EQ(space, uint64_t{1} << 15) << c.what;
  }
}

TEST(PngRowWriterTest, RefusesRowsThatDoNotFit) {
  std::ostringstream out;
  PngRowWriter writer(out, 4, 3);
  const RasterImage narrow(3, 3), right(4, 3);
  EXPECT_FALSE(writer.writeRows(narrow, 0, 1).ok());
  EXPECT_FALSE(writer.writeRows(right, 2, 2).ok());  // past the band's end
  EXPECT_TRUE(writer.writeRows(right, 0, 0).ok());   // no rows is no error
  ASSERT_TRUE(writer.writeRows(right, 0, 2).ok());
  EXPECT_FALSE(writer.finish().ok());  // a row short
}

TEST(WriteFileBytesTest, ReplacesTheWholeFile) {
  const auto dir = std::filesystem::temp_directory_path() / "km_write_bytes_test";
  std::filesystem::create_directories(dir);
  const auto file = dir / "image.png";
  auto read = [&] {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  const std::vector<uint8_t> longer(100, 'a'), shorter(10, 'b');
  ASSERT_TRUE(writeFileBytes(file, longer).ok());
  EXPECT_EQ(read(), std::string(100, 'a'));
  ASSERT_TRUE(writeFileBytes(file, shorter).ok());
  EXPECT_EQ(read(), std::string(10, 'b'));  // nothing of the longer file is left
  const Status refused = writeFileBytes(dir / "missing" / "image.png", shorter);
  ASSERT_FALSE(refused.ok());
  EXPECT_NE(refused.error().message.find("missing/image.png: No such file"), std::string::npos)
      << refused.error().message;
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace km
