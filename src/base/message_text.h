#pragma once

// Helpers for the texts of error and warning messages.

#include <string>
#include <string_view>

namespace km {

// Helpers for the texts of error and warning messages. Pure functions; thread-safe.

// The most characters of someone else's input that a message repeats.
inline constexpr std::size_t kMaxEchoedCharacters = 60;

// `text` as a message repeats it: whole when it has at most kMaxEchoedCharacters characters
// (UTF-8 code points), else its first kMaxEchoedCharacters - 1 followed by "…". A message about
// a megabyte of digits stays one readable line, and the cut never splits a character.
std::string echoedInput(std::string_view text);

// The shortest decimal text that reads back as exactly `value` ("0.1", "1e+308", "-4"), never
// the hundreds of digits of a fixed-point rendering. "nan", "inf" and "-inf" for the others.
std::string shortestNumber(double value);

}  // namespace km
