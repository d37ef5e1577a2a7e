#pragma once

// Reading SVG attribute text: whitespace, case, the compact number lists of path data and
// transforms, and the "unsupported: ..." error every refusal of the reader carries.

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace km::svg {

Error unsupported(std::string what);

inline bool isWsp(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}
inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// ASCII lower case (SVG's keywords are ASCII; locale rules must not apply).
std::string lower(std::string_view s);
std::string_view trim(std::string_view s);

// Reads SVG's number lists: numbers separated by whitespace and at most one comma, where a
// sign or a second decimal point also ends a number ("1.5.5-3" is 1.5, .5 and -3).
class Scanner {
 public:
  explicit Scanner(std::string_view text) : s_(text) {}

  bool atEnd() const { return i_ >= s_.size(); }
  char peek() const { return atEnd() ? '\0' : s_[i_]; }
  void advance() { ++i_; }
  void skipWsp() {
    while (!atEnd() && isWsp(s_[i_]))
      ++i_;
  }
  // Whitespace, at most one comma, whitespace.
  void skipCommaWsp() {
    skipWsp();
    if (peek() == ',') {
      ++i_;
      skipWsp();
    }
  }
  bool atNumber() const {
    const char c = peek();
    return isDigit(c) || c == '.' || c == '-' || c == '+';
  }

  // A finite number; nullopt (and nothing consumed) when none starts here.
  std::optional<double> number();

  // An arc flag: a single '0' or '1', which needs no separator from what follows.
  std::optional<bool> flag() {
    const char c = peek();
    if (c != '0' && c != '1') return std::nullopt;
    ++i_;
    return c == '1';
  }

  std::string_view rest() const { return s_.substr(std::min(i_, s_.size())); }

 private:
  std::string_view s_;
  size_t i_ = 0;
};

// A whole attribute value as a list of numbers; nullopt on anything else.
std::optional<std::vector<double>> numberList(std::string_view text);

}  // namespace km::svg
