// SVG files beyond the built-in icon reader, read and drawn by librsvg, which is loaded at run
// time on first need.
#include "platform/ui/render/svg_document.h"

#include <cairo.h>
#include <dlfcn.h>
#include <librsvg/rsvg.h>

#include <cstdio>
#include <type_traits>

namespace km {
namespace {

// librsvg draws the SVG files that the built-in reader refuses. It is loaded on first need
// rather than linked: linked, its relocations alone cost the process about 2 MB and start-up
// time, and drawing pulls in several megabytes of its code and of libxml2, while every icon of
// the bundle is within the reader's subset. The functions are looked up by name; the header
// still gives their types.
struct Rsvg {
  decltype(&rsvg_handle_new_from_data) newFromData;
  decltype(&rsvg_handle_set_dpi) setDpi;
  decltype(&rsvg_handle_get_intrinsic_size_in_pixels) intrinsicSizeInPixels;
  decltype(&rsvg_handle_get_intrinsic_dimensions) intrinsicDimensions;
  decltype(&rsvg_handle_render_document) renderDocument;
  decltype(&g_object_unref) unref;
  decltype(&g_error_free) freeError;
};

// The library's functions, or null when it cannot be loaded (said once on standard error).
// Loaded at most once per process and never unloaded: handles outlive any one catalogue.
const Rsvg* rsvg() {
  static const std::optional<Rsvg> loaded = []() -> std::optional<Rsvg> {
    constexpr const char* kLibrary = "librsvg-2.so.2";
    void* lib = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL);
    Rsvg r{};
    const char* missing = nullptr;
    auto find = [&](auto& fn, const char* name) {
      fn = reinterpret_cast<std::remove_reference_t<decltype(fn)>>(dlsym(lib, name));
      if (!fn && !missing) missing = name;
    };
    if (lib) {
      find(r.newFromData, "rsvg_handle_new_from_data");
      find(r.setDpi, "rsvg_handle_set_dpi");
      find(r.intrinsicSizeInPixels, "rsvg_handle_get_intrinsic_size_in_pixels");
      find(r.intrinsicDimensions, "rsvg_handle_get_intrinsic_dimensions");
      find(r.renderDocument, "rsvg_handle_render_document");
      // GLib's, reached through librsvg's own dependencies.
      find(r.unref, "g_object_unref");
      find(r.freeError, "g_error_free");
    }
    if (lib && !missing) return r;
    std::fprintf(stderr,
                 "warning: SVG images beyond the built-in reader need %s, which %s; they are "
                 "drawn as missing\n",
                 kLibrary,
                 lib ? (std::string("lacks ") + missing).c_str()
                     : (std::string("could not be loaded: ") + dlerror()).c_str());
    if (lib) dlclose(lib);
    return std::nullopt;
  }();
  return loaded ? &*loaded : nullptr;
}

// Null when librsvg is missing or cannot read the bytes.
RsvgHandle* openSvg(const std::string& bytes) {
  const Rsvg* r = rsvg();
  if (!r) return nullptr;
  GError* error = nullptr;
  RsvgHandle* h =
      r->newFromData(reinterpret_cast<const guint8*>(bytes.data()), bytes.size(), &error);
  if (error) r->freeError(error);
  if (h) r->setDpi(h, 72);  // so that "pt" lengths, like px, count one per point
  return h;
}

// The size of an SVG as librsvg reads it: its intrinsic size, or else its view box, or else
// nothing.
Size rsvgSize(RsvgHandle* h) {
  const Rsvg* r = rsvg();
  gdouble w = 0, hgt = 0;
  if (!r->intrinsicSizeInPixels(h, &w, &hgt)) {
    gboolean hasW = FALSE, hasH = FALSE, hasViewBox = FALSE;
    RsvgLength lw, lh;
    RsvgRectangle viewBox;
    r->intrinsicDimensions(h, &hasW, &lw, &hasH, &lh, &hasViewBox, &viewBox);
    if (hasViewBox) {
      w = viewBox.width;
      hgt = viewBox.height;
    }
  }
  return Size{w, hgt};
}

}  // namespace

void SvgDocument::HandleDeleter::operator()(RsvgHandle* h) const {
  if (h) rsvg()->unref(h);  // a handle exists only when the library is loaded
}

SvgDocument::SvgDocument(std::string bytes) : bytes_(std::move(bytes)) {}
SvgDocument::~SvgDocument() = default;

RsvgHandle* SvgDocument::handleLocked() const {
  if (!handle_ && !failed_) {
    handle_.reset(openSvg(bytes_));
    failed_ = !handle_;
  }
  return handle_.get();
}

std::optional<Size> SvgDocument::librsvgSize() const {
  std::lock_guard lock(mutex_);
  RsvgHandle* h = handleLocked();
  if (!h) return std::nullopt;
  return rsvgSize(h);
}

bool SvgDocument::draw(cairo_t* cr, const Rect& viewport) const {
  std::lock_guard lock(mutex_);
  RsvgHandle* h = handleLocked();
  if (!h) return false;
  RsvgRectangle rect{viewport.x, viewport.y, viewport.width, viewport.height};
  GError* error = nullptr;
  const bool ok = rsvg()->renderDocument(h, cr, &rect, &error);
  if (error) rsvg()->freeError(error);
  return ok;
}

}  // namespace km
