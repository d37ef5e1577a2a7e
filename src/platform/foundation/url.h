#pragma once

// URL: an absolute URL the platform accepts.

#include <optional>
#include <string>
#include <string_view>

namespace km {

// An absolute URL the platform accepts: a scheme ("kalomate"), then "://" or ":", then the rest
// made only of characters a URL may hold unescaped (RFC 3986's unreserved and reserved sets) and
// well-formed %XX escapes, with at most one '#'. Spaces, non-ASCII text, quotes, braces and
// stray '%' make a string that cannot be parsed. A small value type.
class URL {
 public:
  // nullopt when `text` cannot be parsed.
  static std::optional<URL> fromString(std::string_view text);

  const std::string& absoluteString() const { return text_; }
  std::string scheme() const;

  friend bool operator==(const URL&, const URL&) = default;

 private:
  explicit URL(std::string text) : text_(std::move(text)) {}
  std::string text_;
};

bool isValidURL(std::string_view text);

}  // namespace km
