#pragma once

// A fixed table pairing the values of an enumeration with their names, for the enumerations
// whose names travel as text (files, JSON, the command line). One table replaces the pair of a
// switch and its reverse lookup, so the two directions cannot drift apart. The tables are a
// handful of rows, so lookups scan them; everything is constexpr, so a table can be checked
// at compile time (`namesAreUnique`, `covers`).

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace km {

template <typename E>
struct EnumName {
  E value;
  std::string_view name;
};

template <typename E, std::size_t N>
class EnumNames {
 public:
  constexpr explicit EnumNames(const EnumName<E> (&rows)[N]) {
    for (std::size_t i = 0; i < N; ++i)
      rows_[i] = rows[i];
  }

  // The name of the first row holding `value`; nullopt when no row does (a value cast from an
  // out-of-range integer), so each caller keeps its own fallback.
  constexpr std::optional<std::string_view> name(E value) const {
    for (const EnumName<E>& row : rows_) {
      if (row.value == value) return row.name;
    }
    return std::nullopt;
  }

  // Exact, case-sensitive match of a name; nullopt for any other string.
  constexpr std::optional<E> value(std::string_view name) const {
    for (const EnumName<E>& row : rows_) {
      if (row.name == name) return row.value;
    }
    return std::nullopt;
  }

  constexpr bool namesAreUnique() const {
    for (std::size_t i = 0; i < N; ++i) {
      for (std::size_t j = i + 1; j < N; ++j) {
        if (rows_[i].name == rows_[j].name) return false;
      }
    }
    return true;
  }

  // Whether every one of `values` has a row.
  template <std::size_t M>
  constexpr bool covers(const std::array<E, M>& values) const {
    for (E v : values) {
      if (!name(v)) return false;
    }
    return true;
  }

  constexpr auto begin() const { return rows_.begin(); }
  constexpr auto end() const { return rows_.end(); }
  static constexpr std::size_t size() { return N; }

 private:
  std::array<EnumName<E>, N> rows_{};
};

// `enumNames<Weekday>({{Weekday::monday, "monday"}, ...})`: the enumeration is named, the row
// count is deduced.
template <typename E, std::size_t N>
constexpr EnumNames<E, N> enumNames(const EnumName<E> (&rows)[N]) {
  return EnumNames<E, N>(rows);
}

}  // namespace km
