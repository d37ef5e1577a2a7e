#pragma once

// The readers of a view description's values (numbers, lengths, colours, fonts, alignments,
// stroke styles, paths): each checks one JSON value and names its path in the error.

#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "base/enum_names.h"
#include "base/message_text.h"
#include "platform/ui/view.h"

namespace km::view_description {

using nlohmann::json;

// Thrown inside the parser only and turned into an Error at the entry points: the path and the
// message travel together from wherever the bad value is found.
struct DescriptionError {
  std::string message;
};

[[noreturn]] void fail(const std::string& path, const std::string& message);
[[noreturn]] void wrongType(const std::string& path, const json& j, const std::string& expected);

// Paths of an object's member and an array's element: "$.VStack" and "$.children[2]".
std::string key(const std::string& path, const std::string& name);
std::string index(const std::string& path, size_t i);

// Rejects keys the caller does not know, so that a misspelt option is reported instead of
// silently ignored.
void onlyKeys(const json& object, const std::string& path,
              std::initializer_list<std::string_view> allowed);

double number(const json& j, const std::string& path);
// A length: a finite number of points, at least zero.
double length(const json& j, const std::string& path);
// A maximum may also be "infinity" (fill the proposal).
double maxLength(const json& j, const std::string& path);
double finite(const json& j, const std::string& path);
bool boolean(const json& j, const std::string& path);
const std::string& string(const json& j, const std::string& path);
int lineCount(const json& j, const std::string& path);

// One of the names of `names`; the error lists them all.
// Fails on `s`, a value that is none of the names in `list`.
[[noreturn]] inline void notOneOf(const std::string& path, const std::string& s,
                                  const std::string& list) {
  fail(path, "unknown value \"" + echoedInput(s) + "\" (expected one of: " + list + ")");
}
template <typename T>
T oneOf(const json& j, const std::string& path, const std::map<std::string, T>& names) {
  const std::string& s = string(j, path);
  if (auto it = names.find(s); it != names.end()) return it->second;
  std::string list;
  for (const auto& [name, value] : names)
    list += (list.empty() ? "" : ", ") + name;
  notOneOf(path, s, list);
}
template <typename E, std::size_t N>
E oneOf(const json& j, const std::string& path, const EnumNames<E, N>& names) {
  const std::string& s = string(j, path);
  if (const std::optional<E> value = names.value(s)) return *value;
  std::string list;
  for (const EnumName<E>& row : names)
    list += (list.empty() ? "" : ", ") + std::string(row.name);
  notOneOf(path, s, list);
}

Alignment alignment(const json& j, const std::string& path);
UnitPoint unitPoint(const json& j, const std::string& path);
Point point(const json& j, const std::string& path);
Color color(const json& j, const std::string& path);
FontWeight fontWeight(const json& j, const std::string& path);
Font font(const json& j, const std::string& path);
TextAlignment textAlignment(const json& j, const std::string& path);
TruncationMode truncationMode(const json& j, const std::string& path);
RoundedCornerStyle cornerStyle(const json& j, const std::string& path);
StrokeStyle strokeStyle(const json& j, const std::string& path);
Path pathOf(const json& j, const std::string& path);

}  // namespace km::view_description
