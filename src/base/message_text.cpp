// Quoting user input and writing numbers in error and warning messages.

#include "base/message_text.h"

#include <charconv>

namespace km {

std::string echoedInput(std::string_view text) {
  std::size_t characters = 0;
  std::size_t cut = text.size();
  for (std::size_t i = 0; i < text.size(); ++i) {
    // A character starts at every byte that is not a UTF-8 continuation byte.
    if ((static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;
    if (characters == kMaxEchoedCharacters - 1) cut = i;
    if (++characters > kMaxEchoedCharacters) return std::string(text.substr(0, cut)) + "…";
  }
  return std::string(text);
}

std::string shortestNumber(double value) {
  char buffer[32];  // the longest shortest form of a double is 24 characters
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

}  // namespace km
