// SVG files beyond the built-in icon reader, read and drawn by librsvg, which is loaded at run
// time on first need.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/ui/geometry.h"

typedef struct _cairo cairo_t;
typedef struct _RsvgHandle RsvgHandle;

namespace km {

// The bytes of one SVG file, opened by librsvg when first needed. librsvg draws only with
// Cairo; another back end would draw a document into pixels through it. Thread-safe: librsvg
// handles are not shareable between threads, so drawing serialises on the document's lock.
class SvgDocument {
 public:
  explicit SvgDocument(std::string bytes);
  ~SvgDocument();
  SvgDocument(const SvgDocument&) = delete;
  SvgDocument& operator=(const SvgDocument&) = delete;

  // The size librsvg reads: the intrinsic size, else the view box's; nullopt when librsvg is
  // missing or cannot read the file.
  std::optional<Size> librsvgSize() const;

  // Draws the document into `viewport` (user space); false when librsvg is missing or cannot
  // read the file.
  bool draw(cairo_t* cr, const Rect& viewport) const;

 private:
  struct HandleDeleter {
    void operator()(RsvgHandle* h) const;
  };
  // Opens the handle if not yet tried; the lock is held.
  RsvgHandle* handleLocked() const;

  std::string bytes_;
  mutable std::mutex mutex_;
  mutable std::unique_ptr<RsvgHandle, HandleDeleter> handle_;
  mutable bool failed_ = false;
};

}  // namespace km
