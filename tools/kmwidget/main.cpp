#include <iostream>
#include <string>
#include <vector>

#include "kmwidget/cli.h"

// Fontconfig, Pango, GLib and librsvg keep process-wide caches that are never freed; the leak
// checker of the sanitizer builds would report them when the tool exits after drawing.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT: sanitizer hook
  return "leak:libfontconfig\nleak:libpango\nleak:libglib\nleak:libgobject\nleak:librsvg\n"
         "leak:libharfbuzz\nleak:libcairo\nleak:libpixman\nleak:libfreetype\n";
}

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  return km::cli::runKmwidget(args, {std::cout, std::cerr, std::cin});
}
