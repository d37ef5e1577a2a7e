// Checking and keeping absolute URLs.

#include "platform/foundation/url.h"

namespace km {
namespace {

bool isAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isHex(char c) {
  return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isUrlChar(char c) {
  if (isAlpha(c) || isDigit(c)) return true;
  switch (c) {
    case '-':
    case '.':
    case '_':
    case '~':  // unreserved
    case ':':
    case '/':
    case '?':
    case '#':
    case '[':
    case ']':
    case '@':  // gen-delims
    case '!':
    case '$':
    case '&':
    case '\'':
    case '(':
    case ')':
    case '*':
    case '+':
    case ',':
    case ';':
    case '=':  // sub-delims
      return true;
    default:
      return false;
  }
}

}  // namespace

bool isValidURL(std::string_view text) {
  // scheme = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." ), followed by ':'.
  if (text.empty() || !isAlpha(text[0])) return false;
  std::size_t i = 1;
  while (i < text.size() && (isAlpha(text[i]) || isDigit(text[i]) || text[i] == '+' ||
                             text[i] == '-' || text[i] == '.')) {
    ++i;
  }
  if (i >= text.size() || text[i] != ':') return false;
  int fragments = 0;
  for (++i; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '%') {
      if (i + 2 >= text.size() || !isHex(text[i + 1]) || !isHex(text[i + 2])) return false;
      i += 2;
    } else if (c == '#') {
      if (++fragments > 1) return false;
    } else if (!isUrlChar(c)) {
      return false;
    }
  }
  return true;
}

std::optional<URL> URL::fromString(std::string_view text) {
  if (!isValidURL(text)) return std::nullopt;
  return URL(std::string(text));
}

std::string URL::scheme() const {
  return text_.substr(0, text_.find(':'));
}

}  // namespace km
