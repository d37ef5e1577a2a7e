// Stopping the process for a programming error.

#include "base/fatal_error.h"

#include <cstdio>
#include <cstdlib>

namespace km {

void fatalError(std::string_view reason) {
  std::fflush(stdout);
  std::fprintf(stderr, "Fatal error: %.*s\n", static_cast<int>(reason.size()), reason.data());
  std::fflush(stderr);
  std::abort();
}

}  // namespace km
