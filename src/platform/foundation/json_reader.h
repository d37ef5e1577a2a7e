#pragma once

// parseJson: a streaming JSON reader with a handler of events.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace km {

// Receives the events of a JSON text in document order. Returning false stops the parse.
// Strings and keys are unescaped UTF-8, valid only during the call.
class JsonHandler {
 public:
  virtual ~JsonHandler() = default;
  virtual bool null() = 0;
  virtual bool boolean(bool value) = 0;
  // Integers without fraction or exponent: negative ones as `integer`, others as
  // `unsignedInteger`; integers beyond 64 bits and all other numbers as `floating`.
  virtual bool integer(std::int64_t value) = 0;
  virtual bool unsignedInteger(std::uint64_t value) = 0;
  virtual bool floating(double value) = 0;
  virtual bool string(std::string_view value) = 0;
  virtual bool startObject() = 0;
  virtual bool key(std::string_view name) = 0;
  virtual bool endObject() = 0;
  virtual bool startArray() = 0;
  virtual bool endArray() = 0;
};

// A strict (RFC 8259) streaming JSON parser: one value with optional white space around it,
// UTF-8 validated, no comments, no trailing commas, no NaN or Infinity, numbers too large for a
// double rejected, nesting limited to 512 levels. Returns the syntax error as
// "line L, column C: what" (the position counted in bytes), or nullopt when the text is valid
// or the handler stopped the parse. Stateless and thread-safe; allocates only for strings with
// escapes.
std::optional<std::string> parseJson(std::string_view text, JsonHandler& handler);

}  // namespace km
