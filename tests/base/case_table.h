#pragma once

// Cases kept as data: a JSON file (comments allowed) of named tables, each a list of
// [input, expected] rows, checked by one function per table. A failing row names its table and
// input.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <type_traits>

namespace km::testing {

using Json = nlohmann::json;

// tests/<path> of the source tree; as nlohmann::ordered_json where the order of keys matters.
template <typename J = Json>
J loadCases(const std::string& path) {
  std::ifstream file(std::string(KM_SOURCE_DIR) + "/tests/" + path);
  EXPECT_TRUE(file.is_open()) << path;
  if (!file.is_open()) return J::object();
  return J::parse(file, nullptr, true, /*ignore_comments=*/true);
}

// A text of a row: a JSON string as it stands, or {"latin1": "..."} where every code point
// stands for one byte, which is how the files spell bytes that are not UTF-8.
inline std::string text(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  std::string bytes;
  const std::string utf8 = value.at("latin1").get<std::string>();
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    if (c < 0x80) {
      bytes += static_cast<char>(c);
    } else {
      bytes += static_cast<char>((c & 0x03) << 6 | (static_cast<unsigned char>(utf8[++i]) & 0x3F));
    }
  }
  return bytes;
}

// Every row of `table` in `cases`: `check(input)` must give the expected value.
template <typename J = Json>
void checkRows(const J& cases, const std::string& table,
               const std::type_identity_t<std::function<J(const J&)>>& check) {
  const J& rows = cases.at(table);
  EXPECT_FALSE(rows.empty()) << table;
  for (const J& row : rows) {
    SCOPED_TRACE(table + ": " + row.at(0).dump(-1, ' ', false, J::error_handler_t::replace));
    EXPECT_EQ(check(row.at(0)), row.at(1));
  }
}

}  // namespace km::testing
