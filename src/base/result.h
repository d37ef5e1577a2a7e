#pragma once

// Error, Result<T> and Status: a value or a one-line error, for expected failures.

#include <string>
#include <utility>
#include <variant>

namespace km {

// An error with a one-line, human-readable message (what failed and where).
struct Error {
  std::string message;
};

// A value or an Error: the return type of operations whose failure is an expected outcome
// (a file that does not parse, a store that cannot be opened). Programming errors are fatal
// instead. A plain value type: copyable, movable, no shared state.
template <typename T>
class Result {
 public:
  Result(T value) : state_(std::move(value)) {}      // NOLINT(google-explicit-constructor)
  Result(Error error) : state_(std::move(error)) {}  // NOLINT(google-explicit-constructor)

  bool ok() const { return std::holds_alternative<T>(state_); }
  explicit operator bool() const { return ok(); }

  // Precondition: ok().
  const T& value() const& { return std::get<T>(state_); }
  T& value() & { return std::get<T>(state_); }
  T&& value() && { return std::get<T>(std::move(state_)); }
  const T& operator*() const& { return value(); }
  T& operator*() & { return value(); }
  const T* operator->() const { return &value(); }
  T* operator->() { return &value(); }

  // Precondition: !ok().
  const Error& error() const { return std::get<Error>(state_); }

 private:
  std::variant<T, Error> state_;
};

// For operations that return nothing on success.
struct Ok {};
using Status = Result<Ok>;

}  // namespace km
