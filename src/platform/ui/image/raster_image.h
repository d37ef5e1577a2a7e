// A drawn image in memory: premultiplied 32-bit pixels that any back end can draw into.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

namespace km {

// Pixels as 32-bit words, alpha in the top byte, then red, green and blue, each colour
// premultiplied by alpha (the layout Cairo and pixman call ARGB32), rows one after the other
// without padding. Owns its memory; `reset` reuses it, so one image can serve many drawings of
// different sizes without mapping fresh pages for each.
class RasterImage {
 public:
  RasterImage() = default;
  // A transparent image; sides below 1 give an empty image.
  RasterImage(int width, int height);
  RasterImage(RasterImage&& other) noexcept;
  RasterImage& operator=(RasterImage&& other) noexcept;
  RasterImage(const RasterImage&) = delete;
  RasterImage& operator=(const RasterImage&) = delete;

  // Reads a PNG file; nullopt when it cannot be read.
  static std::optional<RasterImage> readPng(const std::filesystem::path& file);

  // Makes the image `width` × `height` and transparent, keeping the memory it already has.
  void reset(int width, int height);

  int width() const { return width_; }
  int height() const { return height_; }
  bool empty() const { return width_ <= 0 || height_ <= 0; }
  // Bytes from one row to the next.
  int stride() const { return width_ * 4; }
  unsigned char* data() { return reinterpret_cast<unsigned char*>(pixels_.data()); }
  const unsigned char* data() const {
    return reinterpret_cast<const unsigned char*>(pixels_.data());
  }
  const uint32_t* row(int y) const { return pixels_.data() + static_cast<size_t>(y) * width_; }
  uint32_t* row(int y) { return pixels_.data() + static_cast<size_t>(y) * width_; }

  // Straight (not premultiplied) components of one pixel, each 0–255, as RGBA; transparent
  // outside the image.
  std::array<uint8_t, 4> pixel(int x, int y) const;

 private:
  int width_ = 0, height_ = 0;
  std::vector<uint32_t> pixels_;
};

}  // namespace km
