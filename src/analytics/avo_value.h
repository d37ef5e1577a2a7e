#pragma once

// The value type of event and user properties: null, string, integer, bool, double, list or an
// insertion-ordered dictionary. Values are plain copyable data with no shared state; a value may
// be read from several threads at once but not written while it is read.

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace km {

class AvoValue;

// A dictionary from string keys to values that keeps the order of first insertion. Setting an
// existing key replaces its value in place, so the key keeps its position: the printed form and
// the JSON body list properties in the order the event put them in.
class AvoDictionary {
 public:
  using Entry = std::pair<std::string, AvoValue>;

  AvoDictionary();
  AvoDictionary(std::initializer_list<Entry> entries);
  AvoDictionary(const AvoDictionary&);
  AvoDictionary(AvoDictionary&&) noexcept;
  AvoDictionary& operator=(const AvoDictionary&);
  AvoDictionary& operator=(AvoDictionary&&) noexcept;
  ~AvoDictionary();

  void set(std::string key, AvoValue value);
  // nullptr when the key is absent.
  const AvoValue* find(std::string_view key) const;
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  // Removes the key if present; later keys keep their relative order.
  void erase(std::string_view key);

  std::size_t size() const;
  bool empty() const;
  std::vector<Entry>::const_iterator begin() const;
  std::vector<Entry>::const_iterator end() const;

  friend bool operator==(const AvoDictionary& a, const AvoDictionary& b);

 private:
  std::vector<Entry> entries_;
};

class AvoValue {
 public:
  using List = std::vector<AvoValue>;
  enum class Kind { null, string, integer, boolean, real, list, dictionary };

  AvoValue() = default;
  AvoValue(std::nullptr_t) {}                                      // NOLINT
  AvoValue(std::string value) : data_(std::move(value)) {}         // NOLINT
  AvoValue(std::string_view value) : data_(std::string(value)) {}  // NOLINT
  AvoValue(const char* value) : data_(std::string(value)) {}       // NOLINT
  AvoValue(bool value) : data_(value) {}                           // NOLINT
  AvoValue(double value) : data_(value) {}                         // NOLINT
  AvoValue(List value) : data_(std::move(value)) {}                // NOLINT
  AvoValue(AvoDictionary value) : data_(std::move(value)) {}       // NOLINT
  template <std::integral T>
  requires(!std::same_as<T, bool>) AvoValue(T value)
      : data_(static_cast<std::int64_t>(value)) {}  // NOLINT

  Kind kind() const { return static_cast<Kind>(data_.index()); }
  bool isNull() const { return kind() == Kind::null; }

  // Typed access: nullptr when the value holds another kind.
  const std::string* asString() const { return std::get_if<std::string>(&data_); }
  const std::int64_t* asInteger() const { return std::get_if<std::int64_t>(&data_); }
  const bool* asBool() const { return std::get_if<bool>(&data_); }
  const double* asDouble() const { return std::get_if<double>(&data_); }
  const List* asList() const { return std::get_if<List>(&data_); }
  const AvoDictionary* asDictionary() const { return std::get_if<AvoDictionary>(&data_); }

  // The printed form, as the phone's string interpolation shows a value: a top-level string as it
  // is; inside lists and dictionaries strings are quoted and escaped; lists as ["a", "b"], empty
  // dictionaries as [:], dictionaries as ["key": value, ...] in insertion order; null as nil.
  std::string description() const;

  // The JSON form of the value (dictionaries keep their order).
  nlohmann::ordered_json toJson() const;

  friend bool operator==(const AvoValue& a, const AvoValue& b) { return a.data_ == b.data_; }

 private:
  std::variant<std::monostate, std::string, std::int64_t, bool, double, List, AvoDictionary> data_;
};

// Defined once AvoValue is complete: clang instantiates the entries' pair type for them.
inline std::size_t AvoDictionary::size() const {
  return entries_.size();
}
inline bool AvoDictionary::empty() const {
  return entries_.empty();
}

// The printed form of a dictionary (same rules as AvoValue::description for a dictionary value).
std::string describe(const AvoDictionary& dictionary);

}  // namespace km
