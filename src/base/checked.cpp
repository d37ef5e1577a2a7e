// Checked conversions of doubles to integers and trapping 32-bit arithmetic.

#include "base/checked.h"

#include <cmath>
#include <limits>
#include <string>

#include "base/fatal_error.h"
#include "base/message_text.h"

namespace km {
namespace {

// A double converts to an integer type T when its truncation lies in [min, max]. The bounds are
// compared as doubles: -2^63 and 2^63 are exact, so `< 2^63` excludes exactly the values that
// would not fit (INT64_MAX itself rounds up to 2^63 as a double).
template <typename T>
std::optional<T> truncateToInt(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  const double truncated = std::trunc(value);
  constexpr double lo = static_cast<double>(std::numeric_limits<T>::min());
  constexpr double hiExclusive = -lo;  // 2^(bits-1), exactly representable
  if (truncated < lo || truncated >= hiExclusive) return std::nullopt;
  return static_cast<T>(truncated);
}

std::string describe(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
  return shortestNumber(value);  // "-9e+302", not "-9.0000000000000003e+302"
}

}  // namespace

std::optional<std::int64_t> tryInt64(double value) {
  return truncateToInt<std::int64_t>(value);
}
std::optional<std::int32_t> tryInt32(double value) {
  return truncateToInt<std::int32_t>(value);
}

std::int64_t checkedInt64(double value) {
  if (auto v = tryInt64(value)) return *v;
  if (!std::isfinite(value)) {
    fatalError("Double value cannot be converted to Int64 because it is either infinite or NaN (" +
               describe(value) + ")");
  }
  fatalError(
      "Double value cannot be converted to Int64 because the result would be outside the "
      "representable range (" +
      describe(value) + ")");
}

std::int32_t checkedInt32(double value) {
  if (auto v = tryInt32(value)) return *v;
  if (!std::isfinite(value)) {
    fatalError("Double value cannot be converted to Int32 because it is either infinite or NaN (" +
               describe(value) + ")");
  }
  fatalError(
      "Double value cannot be converted to Int32 because the result would be outside the "
      "representable range (" +
      describe(value) + ")");
}

std::int32_t checkedInt32(std::int64_t value) {
  if (value < std::numeric_limits<std::int32_t>::min() ||
      value > std::numeric_limits<std::int32_t>::max()) {
    fatalError("Not enough bits to represent the passed value (" + std::to_string(value) + ")");
  }
  return static_cast<std::int32_t>(value);
}

namespace {

// The builtins report overflow and leave the wrapped result; the wrapped value is never returned.
template <typename T, typename Op>
T trapOnOverflow(T a, T b, Op op, const char* name) {
  T result{};
  if (op(a, b, &result)) fatalError(std::string("Arithmetic overflow in integer ") + name);
  return result;
}

constexpr auto kSub = [](auto a, auto b, auto* r) { return __builtin_sub_overflow(a, b, r); };
constexpr auto kAdd = [](auto a, auto b, auto* r) { return __builtin_add_overflow(a, b, r); };
constexpr auto kMul = [](auto a, auto b, auto* r) { return __builtin_mul_overflow(a, b, r); };

}  // namespace

std::int32_t checkedSub(std::int32_t a, std::int32_t b) {
  return trapOnOverflow(a, b, kSub, "subtraction");
}
std::int64_t checkedSub(std::int64_t a, std::int64_t b) {
  return trapOnOverflow(a, b, kSub, "subtraction");
}
std::int32_t checkedAdd(std::int32_t a, std::int32_t b) {
  return trapOnOverflow(a, b, kAdd, "addition");
}
std::int64_t checkedAdd(std::int64_t a, std::int64_t b) {
  return trapOnOverflow(a, b, kAdd, "addition");
}
std::int32_t checkedMul(std::int32_t a, std::int32_t b) {
  return trapOnOverflow(a, b, kMul, "multiplication");
}
std::int64_t checkedMul(std::int64_t a, std::int64_t b) {
  return trapOnOverflow(a, b, kMul, "multiplication");
}

std::int32_t checkedDiv(std::int32_t a, std::int32_t b) {
  if (b == 0) fatalError("Division by zero");
  if (a == std::numeric_limits<std::int32_t>::min() && b == -1) {
    fatalError("Division results in an overflow");
  }
  return a / b;
}

}  // namespace km
