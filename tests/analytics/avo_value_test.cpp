#include "analytics/avo_value.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/case_table.h"

namespace km {
namespace {

using Json = nlohmann::ordered_json;

// Integers, doubles, strings, lists and dictionaries as their JSON counterparts.
AvoValue fromJson(const Json& json) {
  if (json.is_boolean()) return AvoValue(json.get<bool>());
  if (json.is_number_integer()) return AvoValue(json.get<std::int64_t>());
  if (json.is_number_float()) return AvoValue(json.get<double>());
  if (json.is_string()) return AvoValue(json.get<std::string>());
  if (json.is_array()) {
    AvoValue::List list;
    for (const Json& item : json)
      list.push_back(fromJson(item));
    return AvoValue(list);
  }
  if (!json.is_object()) return AvoValue();
  AvoDictionary dictionary;
  for (const auto& [key, item] : json.items())
    dictionary.set(key, fromJson(item));
  return AvoValue(dictionary);
}

// The printed form the platform gives each value, and back to JSON with kinds and order kept.
TEST(AvoValueTest, PrintsAsThePlatformAndConvertsToJsonWhole) {
  const Json cases = km::testing::loadCases<Json>("analytics/cases.json");
  km::testing::checkRows(cases, "printed", [](const Json& in) {
    const AvoValue value = fromJson(in);
    EXPECT_EQ(value.toJson(), in);
    return value.description();
  });
}

TEST(AvoDictionaryTest, LaterInsertionReplacesInPlace) {
  AvoDictionary properties;
  properties.set("feature_category", "widgets");
  properties.set("widget", AvoValue::List{});
  properties.set("action", "confirm");
  properties.set("widget", AvoValue::List{"small_energy", "small_energy"});
  EXPECT_EQ(describe(properties),
            R"(["feature_category": "widgets", "widget": ["small_energy", "small_energy"], )"
            R"("action": "confirm"])");
  EXPECT_EQ(properties.size(), 3u);
  properties.erase("feature_category");
  EXPECT_EQ(describe(properties),
            R"(["widget": ["small_energy", "small_energy"], "action": "confirm"])");
  EXPECT_EQ(properties.find("missing"), nullptr);
}

TEST(AvoValueTest, EqualityDistinguishesKinds) {
  EXPECT_NE(AvoValue(1), AvoValue(1.0));
  EXPECT_NE(AvoValue(1), AvoValue(true));
  EXPECT_NE(AvoValue("1"), AvoValue(1));
  EXPECT_NE(AvoValue(AvoDictionary{{"a", 1}, {"b", 2}}),
            AvoValue(AvoDictionary{{"b", 2}, {"a", 1}}));
  EXPECT_EQ(AvoValue(AvoValue::List{"a", 1}), AvoValue(AvoValue::List{"a", 1}));
}

}  // namespace
}  // namespace km
