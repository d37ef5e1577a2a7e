// Parsing strings tables, in UTF-8 or UTF-16.

#include "platform/foundation/strings_table.h"

#include <cstdint>
#include <fstream>
#include <optional>
#include <sstream>

namespace km {
namespace {

void appendUtf8(std::string& out, char32_t cp) {
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = 0xFFFD;
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// UTF-16 (after its byte-order mark) to UTF-8; unpaired surrogates become U+FFFD.
std::string utf16ToUtf8(std::string_view bytes, bool bigEndian) {
  std::string out;
  out.reserve(bytes.size());
  auto unit = [&](std::size_t i) -> char16_t {
    const auto a = static_cast<std::uint8_t>(bytes[i]);
    const auto b = static_cast<std::uint8_t>(bytes[i + 1]);
    return static_cast<char16_t>(bigEndian ? (a << 8 | b) : (b << 8 | a));
  };
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    char32_t u = unit(i);
    if (u >= 0xD800 && u <= 0xDBFF && i + 3 < bytes.size()) {
      const char32_t low = unit(i + 2);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        u = 0x10000 + ((u - 0xD800) << 10) + (low - 0xDC00);
        i += 2;
      }
    }
    appendUtf8(out, u);
  }
  return out;
}

bool isWordChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '.' || c == '$' || c == ':' || c == '/' || c == '-';
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

class Parser {
 public:
  Parser(std::string_view text, std::string_view name) : s_(text), name_(name) {}

  Result<StringsTable> run() {
    StringsTable table;
    while (true) {
      if (auto e = skipSpace()) return *e;
      if (i_ >= s_.size()) return table;
      std::string key;
      if (auto e = token(key, "a key")) return *e;
      if (auto e = skipSpace()) return *e;
      std::string value;
      if (peek() == ';') {
        // `"key";` is the old form of a key whose text is itself.
        value = key;
      } else {
        if (peek() != '=') return fail("expected '=' after the key");
        ++i_;
        if (auto e = skipSpace()) return *e;
        if (auto e = token(value, "a value")) return *e;
        if (auto e = skipSpace()) return *e;
        if (peek() != ';') return fail("expected ';' after the value");
      }
      ++i_;
      table[std::move(key)] = std::move(value);
    }
  }

 private:
  char peek() const { return i_ < s_.size() ? s_[i_] : '\0'; }

  Error fail(std::string_view what) const {
    return Error{std::string(name_) + ":" + std::to_string(line_) + ": " + std::string(what)};
  }

  void advance() {
    if (s_[i_] == '\n') ++line_;
    ++i_;
  }

  // Skips white space and comments; an error for an unterminated block comment.
  std::optional<Error> skipSpace() {
    while (i_ < s_.size()) {
      const char c = s_[i_];
      if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
        advance();
      } else if (c == '/' && i_ + 1 < s_.size() && s_[i_ + 1] == '/') {
        while (i_ < s_.size() && s_[i_] != '\n')
          ++i_;
      } else if (c == '/' && i_ + 1 < s_.size() && s_[i_ + 1] == '*') {
        const int startLine = line_;
        i_ += 2;
        while (i_ + 1 < s_.size() && !(s_[i_] == '*' && s_[i_ + 1] == '/'))
          advance();
        if (i_ + 1 >= s_.size()) {
          line_ = startLine;
          return fail("unterminated comment");
        }
        i_ += 2;
      } else {
        break;
      }
    }
    return std::nullopt;
  }

  std::optional<Error> token(std::string& out, std::string_view what) {
    if (peek() == '"') return quoted(out);
    const std::size_t start = i_;
    while (i_ < s_.size() && isWordChar(s_[i_]))
      ++i_;
    if (i_ == start) {
      return i_ >= s_.size() ? fail("unexpected end of file, expected " + std::string(what))
                             : fail("expected " + std::string(what));
    }
    out.assign(s_.substr(start, i_ - start));
    return std::nullopt;
  }

  std::optional<Error> quoted(std::string& out) {
    const int startLine = line_;
    ++i_;  // opening quote
    while (true) {
      if (i_ >= s_.size()) {
        line_ = startLine;
        return fail("unterminated string");
      }
      const char c = s_[i_];
      if (c == '"') {
        ++i_;
        return std::nullopt;
      }
      if (c != '\\') {
        out += c;
        advance();
        continue;
      }
      ++i_;
      if (i_ >= s_.size()) continue;  // reported as unterminated above
      const char e = s_[i_++];
      switch (e) {
        case 'n':
          out += '\n';
          break;
        case 't':
          out += '\t';
          break;
        case 'r':
          out += '\r';
          break;
        case 'a':
          out += '\a';
          break;
        case 'b':
          out += '\b';
          break;
        case 'f':
          out += '\f';
          break;
        case 'v':
          out += '\v';
          break;
        case '"':
          out += '"';
          break;
        case '\'':
          out += '\'';
          break;
        case '\\':
          out += '\\';
          break;
        case '\n':
          out += '\n';
          ++line_;
          break;
        case 'U':
        case 'u': {
          char32_t cp = 0;
          if (!hex4(cp)) return fail("expected four hexadecimal digits after \\U");
          // A high surrogate followed by an escaped low surrogate makes one character.
          if (cp >= 0xD800 && cp <= 0xDBFF && i_ + 1 < s_.size() && s_[i_] == '\\' &&
              (s_[i_ + 1] == 'U' || s_[i_ + 1] == 'u')) {
            const std::size_t save = i_;
            i_ += 2;
            char32_t low = 0;
            if (hex4(low) && low >= 0xDC00 && low <= 0xDFFF) {
              cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
            } else {
              i_ = save;
            }
          }
          appendUtf8(out, cp);
          break;
        }
        default:
          if (e >= '0' && e <= '7') {
            int v = e - '0';
            for (int k = 0; k < 2 && peek() >= '0' && peek() <= '7'; ++k)
              v = v * 8 + (s_[i_++] - '0');
            appendUtf8(out, static_cast<char32_t>(v));
          } else {
            // An unknown escape stands for the character itself.
            out += e;
          }
      }
    }
  }

  bool hex4(char32_t& out) {
    if (i_ + 4 > s_.size()) return false;
    out = 0;
    for (int k = 0; k < 4; ++k) {
      const int v = hexValue(s_[i_ + static_cast<std::size_t>(k)]);
      if (v < 0) return false;
      out = out * 16 + static_cast<char32_t>(v);
    }
    i_ += 4;
    return true;
  }

  std::string_view s_;
  std::string_view name_;
  std::size_t i_ = 0;
  int line_ = 1;
};

}  // namespace

Result<StringsTable> parseStringsTable(std::string_view bytes, std::string_view name) {
  std::string converted;
  std::string_view text = bytes;
  if (bytes.size() >= 2 && static_cast<std::uint8_t>(bytes[0]) == 0xFF &&
      static_cast<std::uint8_t>(bytes[1]) == 0xFE) {
    converted = utf16ToUtf8(bytes.substr(2), /*bigEndian=*/false);
    text = converted;
  } else if (bytes.size() >= 2 && static_cast<std::uint8_t>(bytes[0]) == 0xFE &&
             static_cast<std::uint8_t>(bytes[1]) == 0xFF) {
    converted = utf16ToUtf8(bytes.substr(2), /*bigEndian=*/true);
    text = converted;
  } else if (bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF") {
    text = bytes.substr(3);
  }
  return Parser(text, name).run();
}

Result<StringsTable> loadStringsTable(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return Error{path + ": cannot be read"};
  std::ostringstream buffer;
  buffer << in.rdbuf();
  return parseStringsTable(buffer.str(), path);
}

}  // namespace km
