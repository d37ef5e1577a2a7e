// Number reading for SVG attribute text (see svg_scanner.h).

#include "platform/ui/svg/svg_scanner.h"

#include <charconv>
#include <cmath>

namespace km::svg {

Error unsupported(std::string what) {
  return Error{"unsupported: " + std::move(what)};
}

std::string lower(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && isWsp(s.front()))
    s.remove_prefix(1);
  while (!s.empty() && isWsp(s.back()))
    s.remove_suffix(1);
  return s;
}

std::optional<double> Scanner::number() {
  const size_t begin = i_;
  size_t j = i_;
  if (j < s_.size() && (s_[j] == '+' || s_[j] == '-')) ++j;
  size_t digits = 0;
  while (j < s_.size() && isDigit(s_[j])) {
    ++j;
    ++digits;
  }
  if (j < s_.size() && s_[j] == '.') {
    ++j;
    while (j < s_.size() && isDigit(s_[j])) {
      ++j;
      ++digits;
    }
  }
  if (digits == 0) return std::nullopt;
  // An exponent only when digits follow, so that "1em" leaves "em" for the unit.
  if (j < s_.size() && (s_[j] == 'e' || s_[j] == 'E')) {
    size_t k = j + 1;
    if (k < s_.size() && (s_[k] == '+' || s_[k] == '-')) ++k;
    if (k < s_.size() && isDigit(s_[k])) {
      while (k < s_.size() && isDigit(s_[k]))
        ++k;
      j = k;
    }
  }
  // from_chars takes no leading '+', and wants at least one digit before a '.' in neither
  // case, so only the plus needs stripping.
  size_t from = begin;
  if (s_[from] == '+') ++from;
  double v = 0;
  auto [end, ec] = std::from_chars(s_.data() + from, s_.data() + j, v);
  if (ec != std::errc() || end != s_.data() + j || !std::isfinite(v)) return std::nullopt;
  i_ = j;
  return v;
}

std::optional<std::vector<double>> numberList(std::string_view text) {
  Scanner sc(text);
  std::vector<double> out;
  sc.skipWsp();
  while (!sc.atEnd()) {
    auto v = sc.number();
    if (!v) return std::nullopt;
    out.push_back(*v);
    sc.skipCommaWsp();
  }
  return out;
}

}  // namespace km::svg
