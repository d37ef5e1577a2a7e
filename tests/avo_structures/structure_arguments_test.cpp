// Structure arguments read from JSON: errors name the field inside the structure (a value outside
// an enumeration names the structure), optional fields may be absent or null, and the value sent
// leaves absent optional fields out.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "analytics/avo_event_runner.h"

namespace km {
namespace {

using avo::SmartAssistantInputContent;
using avo::group::FoodNutrients;

template <typename T>
std::string errorReading(const char* json) {
  const nlohmann::json args = nlohmann::json::parse(json);
  try {
    AvoJsonArgs(args).get<T>("s");
  } catch (const AvoArgumentError& error) {
    return error.what();
  }
  return "(read)";
}

TEST(StructureArgumentsTest, ErrorsNameTheFieldInsideTheStructure) {
  struct Case {
    std::string error;
    std::string expected;
  };
  const Case cases[] = {
      {errorReading<FoodNutrients>(R"({"s": {"fat": "correct"}})"), R"(unknown argument "s.fat")"},
      {errorReading<FoodNutrients>(R"({"s": {"energy": 3}})"),
       R"(argument "s.energy" must be a string or null)"},
      {errorReading<FoodNutrients>(R"({"s": {"salt": "salty"}})"),
       R"(argument "s": "salty" is not one of warning_but_correct, )"},
      {errorReading<FoodNutrients>(R"({"s": ["energy"]})"), R"(argument "s" must be an object)"},
      {errorReading<FoodNutrients>(R"({})"), R"(argument "s" is missing)"},
      {errorReading<SmartAssistantInputContent>(
           R"({"s": {"market": "AU", "language": "EN", "version": "1"}})"),
       R"(argument "s.user_input" is missing)"},
      {errorReading<SmartAssistantInputContent>(
           R"({"s": {"market": "AU", "language": "EN", "version": 1, "user_input": "x"}})"),
       R"(argument "s.version" must be a string)"},
      {errorReading<SmartAssistantInputContent>(
           R"({"s": {"market": "AZ", "language": "EN", "version": "1", "user_input": "x"}})"),
       R"(argument "s": "AZ" is not one of AF, )"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.error.substr(0, c.expected.size()), c.expected);
  }
}

TEST(StructureArgumentsTest, ReadValuesTravelAsDictionariesWithoutAbsentFields) {
  const nlohmann::json args = nlohmann::json::parse(
      R"({"n": {"energy": "correct", "salt": null, "fat_trans": "no_data"},
          "c": {"market": "PR", "language": "ZH-TW", "version": "3", "user_input": "soup"}})");
  const AvoJsonArgs reader(args);
  const auto nutrients = reader.get<FoodNutrients>("n");
  const auto content = reader.get<SmartAssistantInputContent>("c");
  reader.rejectUnknown();

  FoodNutrients expected;
  expected.energy = avo::Energy::correct;
  expected.fatTrans = avo::FatTrans::noData;
  EXPECT_EQ(nutrients, expected);
  EXPECT_EQ(content,
            (SmartAssistantInputContent{avo::Market::pr, avo::Language::zhminusTW, "3", "soup"}));
  EXPECT_EQ(toAvoValue(nutrients).toJson().dump(), R"({"energy":"correct","fat_trans":"no_data"})");
  EXPECT_EQ(toAvoValue(content).toJson().dump(),
            R"({"market":"PR","language":"ZH-TW","version":"3","user_input":"soup"})");
}

}  // namespace
}  // namespace km
