// Fontconfig, Pango, GLib and librsvg keep process-wide caches that are never freed; the leak
// checker would report them at exit. Pango also initialises fontconfig on a GLib worker thread
// and synchronises with GLib's futex-based locks, which ThreadSanitizer cannot see in the
// uninstrumented system libraries. Our own objects are not suppressed.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT: sanitizer hook
  return "leak:libfontconfig\nleak:libpango\nleak:libglib\nleak:libgobject\nleak:librsvg\n"
         "leak:libharfbuzz\nleak:libcairo\nleak:libpixman\nleak:libfreetype\n";
}

extern "C" const char* __tsan_default_suppressions() {  // NOLINT: sanitizer hook
  return "race:libpangoft2\nrace:libpango-1.0\nrace:libfontconfig\nrace:libglib\n"
         "race:libgobject\nrace:libharfbuzz\nrace:libcairo\nrace:libfreetype\n";
}
