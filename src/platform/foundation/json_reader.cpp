// A streaming JSON parser that reports events to a handler.

#include "platform/foundation/json_reader.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "base/message_text.h"

namespace km {
namespace {

constexpr int kMaxDepth = 512;

class Parser {
 public:
  Parser(std::string_view text, JsonHandler& handler)
      : begin_(text.data()), p_(text.data()), end_(text.data() + text.size()), h_(handler) {}

  std::optional<std::string> run() {
    skipSpace();
    if (!value(0)) return stopped_ ? std::nullopt : std::optional<std::string>(error_);
    skipSpace();
    if (p_ != end_) return fail("unexpected content after the JSON value");
    return std::nullopt;
  }

 private:
  // Records the error at the current position; returns false so callers can `return fail(...)`.
  bool failAt(const char* at, std::string_view what) {
    int line = 1;
    const char* lineStart = begin_;
    for (const char* c = begin_; c < at; ++c) {
      if (*c == '\n') {
        ++line;
        lineStart = c + 1;
      }
    }
    error_ = "line " + std::to_string(line) + ", column " + std::to_string(at - lineStart + 1) +
             ": " + std::string(what);
    return false;
  }
  std::optional<std::string> fail(std::string_view what) {
    failAt(p_, what);
    return error_;
  }
  bool stop() {
    stopped_ = true;
    return false;
  }

  void skipSpace() {
    while (p_ < end_ && (*p_ == ' ' || *p_ == '\t' || *p_ == '\n' || *p_ == '\r'))
      ++p_;
  }

  bool literal(std::string_view word) {
    if (static_cast<std::size_t>(end_ - p_) < word.size() ||
        std::string_view(p_, word.size()) != word) {
      return failAt(p_, "invalid literal");
    }
    p_ += word.size();
    return true;
  }

  bool value(int depth) {
    if (p_ == end_) return failAt(p_, "unexpected end of input, expected a value");
    switch (*p_) {
      case '{':
        return object(depth + 1);
      case '[':
        return array(depth + 1);
      case '"': {
        std::string_view s;
        if (!stringToken(s)) return false;
        return h_.string(s) || stop();
      }
      case 't':
        if (!literal("true")) return false;
        return h_.boolean(true) || stop();
      case 'f':
        if (!literal("false")) return false;
        return h_.boolean(false) || stop();
      case 'n':
        if (!literal("null")) return false;
        return h_.null() || stop();
      default:
        if (*p_ == '-' || (*p_ >= '0' && *p_ <= '9')) return number();
        return failAt(p_, "unexpected character, expected a value");
    }
  }

  bool object(int depth) {
    if (depth > kMaxDepth) return failAt(p_, "nesting too deep");
    ++p_;
    if (!h_.startObject()) return stop();
    skipSpace();
    if (p_ < end_ && *p_ == '}') {
      ++p_;
      return h_.endObject() || stop();
    }
    while (true) {
      skipSpace();
      if (p_ == end_ || *p_ != '"') return failAt(p_, "expected a key (a string)");
      std::string_view name;
      if (!stringToken(name)) return false;
      if (!h_.key(name)) return stop();
      skipSpace();
      if (p_ == end_ || *p_ != ':') return failAt(p_, "expected ':' after the key");
      ++p_;
      skipSpace();
      if (!value(depth)) return false;
      skipSpace();
      if (p_ < end_ && *p_ == ',') {
        ++p_;
        continue;
      }
      if (p_ < end_ && *p_ == '}') {
        ++p_;
        return h_.endObject() || stop();
      }
      return failAt(p_, "expected ',' or '}' in an object");
    }
  }

  bool array(int depth) {
    if (depth > kMaxDepth) return failAt(p_, "nesting too deep");
    ++p_;
    if (!h_.startArray()) return stop();
    skipSpace();
    if (p_ < end_ && *p_ == ']') {
      ++p_;
      return h_.endArray() || stop();
    }
    while (true) {
      skipSpace();
      if (!value(depth)) return false;
      skipSpace();
      if (p_ < end_ && *p_ == ',') {
        ++p_;
        continue;
      }
      if (p_ < end_ && *p_ == ']') {
        ++p_;
        return h_.endArray() || stop();
      }
      return failAt(p_, "expected ',' or ']' in an array");
    }
  }

  bool number() {
    const char* start = p_;
    bool negative = false;
    if (*p_ == '-') {
      negative = true;
      ++p_;
    }
    auto digits = [&] {
      const char* s = p_;
      while (p_ < end_ && *p_ >= '0' && *p_ <= '9')
        ++p_;
      return p_ - s;
    };
    if (p_ == end_ || *p_ < '0' || *p_ > '9') return failAt(p_, "invalid number");
    if (*p_ == '0') {
      ++p_;
      if (p_ < end_ && *p_ >= '0' && *p_ <= '9') return failAt(p_, "invalid number: leading zero");
    } else {
      digits();
    }
    bool integral = true;
    if (p_ < end_ && *p_ == '.') {
      ++p_;
      integral = false;
      if (digits() == 0) return failAt(p_, "invalid number: expected a digit after '.'");
    }
    if (p_ < end_ && (*p_ == 'e' || *p_ == 'E')) {
      ++p_;
      integral = false;
      if (p_ < end_ && (*p_ == '+' || *p_ == '-')) ++p_;
      if (digits() == 0) return failAt(p_, "invalid number: expected a digit in the exponent");
    }
    if (integral) {
      if (negative) {
        std::int64_t v = 0;
        auto [ptr, ec] = std::from_chars(start, p_, v);
        if (ec == std::errc() && ptr == p_) return h_.integer(v) || stop();
      } else {
        std::uint64_t v = 0;
        auto [ptr, ec] = std::from_chars(start, p_, v);
        if (ec == std::errc() && ptr == p_) return h_.unsignedInteger(v) || stop();
      }
      // Beyond 64 bits: read as a double below.
    }
    double d = 0;
    auto [ptr, ec] = std::from_chars(start, p_, d);
    if (ec == std::errc::result_out_of_range) {
      // Too small rounds to zero; too large is not a number a double can hold.
      d = std::strtod(std::string(start, p_).c_str(), nullptr);
      if (std::isinf(d))
        return failAt(start,
                      "number overflow: " + echoedInput(std::string_view(start, p_ - start)));
    } else if (ec != std::errc() || ptr != p_) {
      return failAt(start, "invalid number");
    }
    return h_.floating(d) || stop();
  }

  static int hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  bool hex4(std::uint32_t& out) {
    if (end_ - p_ < 4) return failAt(p_, "invalid \\u escape");
    out = 0;
    for (int i = 0; i < 4; ++i) {
      const int v = hex(p_[i]);
      if (v < 0) return failAt(p_, "invalid \\u escape");
      out = out << 4 | static_cast<std::uint32_t>(v);
    }
    p_ += 4;
    return true;
  }

  void appendUtf8(std::uint32_t cp) {
    if (cp < 0x80) {
      buffer_ += static_cast<char>(cp);
    } else if (cp < 0x800) {
      buffer_ += static_cast<char>(0xC0 | (cp >> 6));
      buffer_ += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      buffer_ += static_cast<char>(0xE0 | (cp >> 12));
      buffer_ += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      buffer_ += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
      buffer_ += static_cast<char>(0xF0 | (cp >> 18));
      buffer_ += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
      buffer_ += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
      buffer_ += static_cast<char>(0x80 | (cp & 0x3F));
    }
  }

  // Length of the valid UTF-8 sequence at p_ (first byte >= 0x80), or 0.
  std::size_t utf8Sequence() const {
    const auto* s = reinterpret_cast<const unsigned char*>(p_);
    const std::size_t left = static_cast<std::size_t>(end_ - p_);
    auto cont = [&](std::size_t i) { return i < left && (s[i] & 0xC0) == 0x80; };
    if (s[0] >= 0xC2 && s[0] <= 0xDF) return cont(1) ? 2 : 0;
    if (s[0] >= 0xE0 && s[0] <= 0xEF) {
      if (!cont(1) || !cont(2)) return 0;
      if (s[0] == 0xE0 && s[1] < 0xA0) return 0;   // overlong
      if (s[0] == 0xED && s[1] >= 0xA0) return 0;  // surrogates
      return 3;
    }
    if (s[0] >= 0xF0 && s[0] <= 0xF4) {
      if (!cont(1) || !cont(2) || !cont(3)) return 0;
      if (s[0] == 0xF0 && s[1] < 0x90) return 0;   // overlong
      if (s[0] == 0xF4 && s[1] >= 0x90) return 0;  // beyond U+10FFFF
      return 4;
    }
    return 0;
  }

  // Reads a string token; `out` points into the input when it has no escapes.
  bool stringToken(std::string_view& out) {
    ++p_;  // opening quote
    const char* start = p_;
    bool escaped = false;
    buffer_.clear();
    while (true) {
      if (p_ == end_) return failAt(start - 1, "unterminated string");
      const char c = *p_;
      if (c == '"') break;
      if (static_cast<unsigned char>(c) < 0x20) return failAt(p_, "control character in a string");
      if (static_cast<unsigned char>(c) >= 0x80) {
        const std::size_t n = utf8Sequence();
        if (n == 0) return failAt(p_, "invalid UTF-8 in a string");
        if (escaped) buffer_.append(p_, n);
        p_ += n;
        continue;
      }
      if (c != '\\') {
        if (escaped) buffer_ += c;
        ++p_;
        continue;
      }
      if (!escaped) {
        escaped = true;
        buffer_.assign(start, p_);
      }
      ++p_;
      if (p_ == end_) return failAt(start - 1, "unterminated string");
      const char e = *p_++;
      switch (e) {
        case '"':
          buffer_ += '"';
          break;
        case '\\':
          buffer_ += '\\';
          break;
        case '/':
          buffer_ += '/';
          break;
        case 'b':
          buffer_ += '\b';
          break;
        case 'f':
          buffer_ += '\f';
          break;
        case 'n':
          buffer_ += '\n';
          break;
        case 'r':
          buffer_ += '\r';
          break;
        case 't':
          buffer_ += '\t';
          break;
        case 'u': {
          std::uint32_t cp = 0;
          if (!hex4(cp)) return false;
          if (cp >= 0xD800 && cp <= 0xDBFF) {
            std::uint32_t low = 0;
            if (end_ - p_ < 2 || p_[0] != '\\' || p_[1] != 'u') {
              return failAt(p_, "unpaired surrogate in a \\u escape");
            }
            p_ += 2;
            if (!hex4(low)) return false;
            if (low < 0xDC00 || low > 0xDFFF) {
              return failAt(p_, "unpaired surrogate in a \\u escape");
            }
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
          } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
            return failAt(p_, "unpaired surrogate in a \\u escape");
          }
          appendUtf8(cp);
          break;
        }
        default:
          return failAt(p_ - 1, "invalid escape in a string");
      }
    }
    out = escaped ? std::string_view(buffer_)
                  : std::string_view(start, static_cast<std::size_t>(p_ - start));
    ++p_;  // closing quote
    return true;
  }

  const char* begin_;
  const char* p_;
  const char* end_;
  JsonHandler& h_;
  std::string buffer_;
  std::string error_;
  bool stopped_ = false;
};

}  // namespace

std::optional<std::string> parseJson(std::string_view text, JsonHandler& handler) {
  return Parser(text, handler).run();
}

}  // namespace km
