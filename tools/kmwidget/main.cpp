// The entry point of `kmwidget` and, built with KMWIDGET_LIVE_HOST, of `kmwidget-host`: the same
// commands, the second with the live host in the process rather than handed over to it.

#include <malloc.h>

#include <iostream>
#include <string>
#include <vector>

#include "kmwidget/cli.h"
#ifdef KMWIDGET_LIVE_HOST
#include "kmwidget/host/widget_host.h"
#endif

// Fontconfig, Pango, GLib and librsvg keep process-wide caches that are never freed; the leak
// checker of the sanitizer builds would report them when the tool exits after drawing.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT: sanitizer hook
  return "leak:libfontconfig\nleak:libpango\nleak:libglib\nleak:libgobject\nleak:librsvg\n"
         "leak:libharfbuzz\nleak:libcairo\nleak:libpixman\nleak:libfreetype\n";
}

// Pango initialises fontconfig on a GLib worker thread and synchronises with GLib's own locks,
// which ThreadSanitizer cannot see in the uninstrumented system libraries.
extern "C" const char* __tsan_default_suppressions() {  // NOLINT: sanitizer hook
  return "race:libpangoft2\nrace:libpango-1.0\nrace:libfontconfig\nrace:libglib\n"
         "race:libgobject\nrace:libharfbuzz\nrace:libcairo\nrace:libfreetype\n";
}

int main(int argc, char** argv) {
  // Drawing runs on two threads; left to its defaults, the allocator gives the second one a heap
  // of its own, with free memory of its own at the peak of a run that must stay within a widget
  // extension's memory budget. (Its mapping threshold is left to adapt: the widget images are
  // reused, and a fixed low threshold made every PNG buffer a fresh mapping whose page faults
  // cost about 0.2 ms a widget.)
  mallopt(M_ARENA_MAX, 1);
  std::vector<std::string> args(argv + 1, argv + argc);
#ifdef KMWIDGET_LIVE_HOST
  return km::cli::runKmwidget(args, {std::cout, std::cerr, std::cin}, km::host::runHost);
#else
  return km::cli::runKmwidget(args, {std::cout, std::cerr, std::cin});
#endif
}
