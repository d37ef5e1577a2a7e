#include "analytics/avo_value.h"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

namespace km {
namespace {

struct PrintCase {
  const char* name;
  AvoValue value;
  std::string printed;
};

class PrintedFormTest : public ::testing::TestWithParam<PrintCase> {};

TEST_P(PrintedFormTest, MatchesThePlatformPrinting) {
  EXPECT_EQ(GetParam().value.description(), GetParam().printed);
}

INSTANTIATE_TEST_SUITE_P(
    Values, PrintedFormTest,
    ::testing::Values(
        PrintCase{"TopLevelStringIsBare", AvoValue("widgets"), "widgets"},
        PrintCase{"Null", AvoValue(), "nil"}, PrintCase{"NegativeInteger", AvoValue(-42), "-42"},
        PrintCase{"LargeInteger", AvoValue(std::numeric_limits<std::int64_t>::max()),
                  "9223372036854775807"},
        PrintCase{"Bool", AvoValue(true), "true"},
        PrintCase{"WholeDoubleKeepsPoint", AvoValue(2.0), "2.0"},
        PrintCase{"ShortestDouble", AvoValue(0.1), "0.1"},
        PrintCase{"EmptyList", AvoValue(AvoValue::List{}), "[]"},
        PrintCase{"ListQuotesStrings", AvoValue(AvoValue::List{"medium_history", "small_energy"}),
                  R"(["medium_history", "small_energy"])"},
        PrintCase{"MixedList", AvoValue(AvoValue::List{1, false, AvoValue(), 1.5}),
                  "[1, false, nil, 1.5]"},
        PrintCase{"EmptyDictionary", AvoValue(AvoDictionary{}), "[:]"},
        PrintCase{
            "DictionaryInInsertionOrder",
            AvoValue(AvoDictionary{{"zeta", "z"}, {"alpha", 1}, {"list", AvoValue::List{"a"}}}),
            R"(["zeta": "z", "alpha": 1, "list": ["a"]])"},
        PrintCase{"NestedDictionary",
                  AvoValue(AvoDictionary{{"content", AvoDictionary{{"market", "AU"}}}}),
                  R"(["content": ["market": "AU"]])"},
        PrintCase{"EscapesInsideCollections",
                  AvoValue(AvoValue::List{"say \"hi\"\n", "back\\slash", std::string("\x01", 1)}),
                  R"(["say \"hi\"\n", "back\\slash", "\u{1}"])"}),
    [](const auto& info) { return std::string(info.param.name); });

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

TEST(AvoValueTest, JsonKeepsKindsAndOrder) {
  const AvoValue value(AvoDictionary{{"b", 1},
                                     {"a", "text"},
                                     {"flag", false},
                                     {"ratio", 0.25},
                                     {"none", nullptr},
                                     {"list", AvoValue::List{"x", 2}}});
  EXPECT_EQ(value.toJson().dump(),
            R"({"b":1,"a":"text","flag":false,"ratio":0.25,"none":null,"list":["x",2]})");
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
