// Fontconfig, Pango, GLib and librsvg keep process-wide caches that are never freed; the leak
// checker would report them at exit. Our own objects are not suppressed.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT: sanitizer hook
  return "leak:libfontconfig\nleak:libpango\nleak:libglib\nleak:libgobject\nleak:librsvg\n"
         "leak:libharfbuzz\nleak:libcairo\nleak:libpixman\nleak:libfreetype\n";
}
