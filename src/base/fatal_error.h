#pragma once

// fatalError: the one way a programming error stops the process.

#include <string_view>

namespace km {

// Stops the process for a programming error: prints "Fatal error: <reason>" on standard error
// and aborts. Used only where a documented rule says a condition cannot be recovered from;
// expected failures return values instead.
[[noreturn]] void fatalError(std::string_view reason);

}  // namespace km
