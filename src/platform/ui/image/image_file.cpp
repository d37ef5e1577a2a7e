// Writing a drawn widget to a file: PNG, SVG or PDF, chosen by the file's extension.
#include "platform/ui/image/image_file.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <string>
#include <system_error>

#include "platform/ui/image/png_encoder.h"
#include "platform/ui/render/painter.h"

namespace km {
namespace {

cairo_status_t appendBytes(void* closure, const unsigned char* data, unsigned int length) {
  auto* out = static_cast<std::ofstream*>(closure);
  out->write(reinterpret_cast<const char*>(data), length);
  return *out ? CAIRO_STATUS_SUCCESS : CAIRO_STATUS_WRITE_ERROR;
}

}  // namespace

Status writeFileBytes(const std::filesystem::path& file, std::span<const std::uint8_t> bytes) {
  auto failed = [&](int error) {
    return Error{"cannot write " + file.string() + ": " + std::generic_category().message(error)};
  };
  // A new file gets the permissions the umask leaves, as any stream would give it.
  const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return failed(errno);
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int error = n < 0 ? errno : EIO;
      ::close(fd);
      return failed(error);
    }
    done += static_cast<std::size_t>(n);
  }
  if (::ftruncate(fd, static_cast<off_t>(bytes.size())) != 0) {
    const int error = errno;
    ::close(fd);
    return failed(error);
  }
  if (::close(fd) != 0) return failed(errno);
  return Ok{};
}

Status writeImageFile(const DisplayList& list, const RenderOptions& o,
                      const std::filesystem::path& file) {
  std::string ext = file.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), ::tolower);
  if (ext == ".png") {
    auto png = encodePng(renderImage(list, o));
    if (!png) return png.error();
    return writeFileBytes(file, *png);
  }
  std::ofstream out(file, std::ios::binary);
  if (!out) return Error{"cannot write " + file.string()};
  if (ext == ".svg" || ext == ".pdf") {
    cairo_surface_t* s = ext == ".svg" ? cairo_svg_surface_create_for_stream(
                                             appendBytes, &out, list.size.width, list.size.height)
                                       : cairo_pdf_surface_create_for_stream(
                                             appendBytes, &out, list.size.width, list.size.height);
    // Whatever the vector format cannot express (mesh gradients in SVG) is rasterised at the
    // phone's pixel density.
    cairo_surface_set_fallback_resolution(s, 72 * o.scale, 72 * o.scale);
    cairo_t* cr = cairo_create(s);
    drawDisplayList(cr, list, o);
    cairo_destroy(cr);
    cairo_surface_finish(s);
    const cairo_status_t status = cairo_surface_status(s);
    cairo_surface_destroy(s);
    if (status != CAIRO_STATUS_SUCCESS) {
      return Error{std::string("drawing failed: ") + cairo_status_to_string(status)};
    }
  } else {
    return Error{"unknown image format: " + file.string() + " (use .png, .svg or .pdf)"};
  }
  out.close();
  if (!out) return Error{"cannot write " + file.string()};
  return Ok{};
}

}  // namespace km
