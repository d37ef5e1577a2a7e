#pragma once

#include <dlfcn.h>
#include <librsvg/rsvg.h>

namespace km::test {

// Whether a test in this process has loaded librsvg, itself or through the asset catalogue's
// fallback, so that a check that icons alone never load it can tell the two apart.
inline bool librsvgLoadedByTests = false;

// Whether librsvg is in the process now.
inline bool librsvgMapped() {
  void* lib = dlopen("librsvg-2.so.2", RTLD_NOW | RTLD_NOLOAD);
  if (lib) dlclose(lib);  // drops only the reference that RTLD_NOLOAD took
  return lib != nullptr;
}

// librsvg opened at run time (the tests do not link it either), as the reference drawing.
struct ReferenceRsvg {
  decltype(&rsvg_handle_new_from_data) newFromData = nullptr;
  decltype(&rsvg_handle_set_dpi) setDpi = nullptr;
  decltype(&rsvg_handle_render_document) render = nullptr;
  decltype(&g_object_unref) unref = nullptr;

  // Null when the library or one of its functions is missing.
  static const ReferenceRsvg* get() {
    static const ReferenceRsvg r = [] {
      librsvgLoadedByTests = true;
      ReferenceRsvg out;
      if (void* lib = dlopen("librsvg-2.so.2", RTLD_NOW)) {
        out.newFromData =
            reinterpret_cast<decltype(out.newFromData)>(dlsym(lib, "rsvg_handle_new_from_data"));
        out.setDpi = reinterpret_cast<decltype(out.setDpi)>(dlsym(lib, "rsvg_handle_set_dpi"));
        out.render =
            reinterpret_cast<decltype(out.render)>(dlsym(lib, "rsvg_handle_render_document"));
        out.unref = reinterpret_cast<decltype(out.unref)>(dlsym(lib, "g_object_unref"));
      }
      return out;
    }();
    return r.newFromData && r.setDpi && r.render && r.unref ? &r : nullptr;
  }
};

}  // namespace km::test
