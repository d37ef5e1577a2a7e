// A drawn image in memory: its storage, reuse and pixel reads, and reading one from a PNG file.
#include "platform/ui/image/raster_image.h"

#include <cairo.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace km {

RasterImage::RasterImage(int width, int height) {
  reset(width, height);
}

RasterImage::RasterImage(RasterImage&& other) noexcept
    : width_(std::exchange(other.width_, 0)),
      height_(std::exchange(other.height_, 0)),
      pixels_(std::move(other.pixels_)) {
  other.pixels_.clear();
}

RasterImage& RasterImage::operator=(RasterImage&& other) noexcept {
  if (this != &other) {
    width_ = std::exchange(other.width_, 0);
    height_ = std::exchange(other.height_, 0);
    pixels_ = std::move(other.pixels_);
    other.pixels_.clear();
  }
  return *this;
}

void RasterImage::reset(int width, int height) {
  if (width <= 0 || height <= 0) width = height = 0;
  width_ = width;
  height_ = height;
  // assign() keeps the capacity: a smaller or equal image reuses the pages already touched.
  pixels_.assign(static_cast<size_t>(width) * static_cast<size_t>(height), 0u);
}

std::array<uint8_t, 4> RasterImage::pixel(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return {0, 0, 0, 0};
  const uint32_t px = row(y)[x];
  const uint32_t a = px >> 24;
  auto un = [a](uint32_t v) {
    return static_cast<uint8_t>(a == 0 ? 0 : std::min<uint32_t>(255, (v * 255 + a / 2) / a));
  };
  return {un((px >> 16) & 255), un((px >> 8) & 255), un(px & 255), static_cast<uint8_t>(a)};
}

std::optional<RasterImage> RasterImage::readPng(const std::filesystem::path& file) {
  // Cairo's reader (libpng underneath) is already in the process; it premultiplies as we store.
  cairo_surface_t* s = cairo_image_surface_create_from_png(file.c_str());
  if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
    cairo_surface_destroy(s);
    return std::nullopt;
  }
  RasterImage image(cairo_image_surface_get_width(s), cairo_image_surface_get_height(s));
  if (cairo_image_surface_get_format(s) == CAIRO_FORMAT_ARGB32) {
    cairo_surface_flush(s);
    const unsigned char* data = cairo_image_surface_get_data(s);
    const int stride = cairo_image_surface_get_stride(s);
    for (int y = 0; y < image.height(); ++y) {
      std::memcpy(image.row(y), data + static_cast<ptrdiff_t>(y) * stride,
                  static_cast<size_t>(image.stride()));
    }
  } else {
    // Opaque and high-depth files come in other formats: converted by copying them over.
    cairo_surface_t* target = cairo_image_surface_create_for_data(
        image.data(), CAIRO_FORMAT_ARGB32, image.width(), image.height(), image.stride());
    cairo_t* cr = cairo_create(target);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_surface(cr, s, 0, 0);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(target);
  }
  cairo_surface_destroy(s);
  if (image.empty()) return std::nullopt;
  return image;
}

}  // namespace km
