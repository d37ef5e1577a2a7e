#pragma once

// Number conversions and arithmetic that trap instead of wrapping.

#include <cstdint>
#include <optional>

namespace km {

// Conversions and arithmetic with the phone platform's trapping semantics: the number shown to a
// user is never a silently wrapped or saturated value. The `checked*` forms stop the process
// (fatalError) on a value that does not fit; the `try*` forms report it as nullopt.

// Truncates toward zero. nullopt when `value` is NaN, infinite or outside the target range.
std::optional<std::int64_t> tryInt64(double value);
std::optional<std::int32_t> tryInt32(double value);

// As above, but fatal when the value does not fit.
std::int64_t checkedInt64(double value);
std::int32_t checkedInt32(double value);

// Narrowing between integer widths; fatal when the value does not fit.
std::int32_t checkedInt32(std::int64_t value);

// Overflow-checked arithmetic; fatal on overflow.
std::int32_t checkedSub(std::int32_t a, std::int32_t b);
std::int64_t checkedSub(std::int64_t a, std::int64_t b);
std::int32_t checkedAdd(std::int32_t a, std::int32_t b);
std::int64_t checkedAdd(std::int64_t a, std::int64_t b);
std::int32_t checkedMul(std::int32_t a, std::int32_t b);
std::int64_t checkedMul(std::int64_t a, std::int64_t b);
// Truncating division; fatal on division by zero and on INT_MIN / -1.
std::int32_t checkedDiv(std::int32_t a, std::int32_t b);

}  // namespace km
