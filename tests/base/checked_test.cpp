#include "base/checked.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "base/case_table.h"
#include "base/fatal_error.h"
#include "base/message_text.h"

namespace km {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using km::testing::Json;

double number(const Json& value) {
  if (value.is_number()) return value.get<double>();
  const std::string name = value;
  return name == "nan" ? kNaN : name == "inf" ? kInf : -kInf;
}

Json optional(auto value) {
  return value ? Json(*value) : Json();
}

TEST(CheckedTest, ConversionsTruncateTowardZeroAndRejectWhatDoesNotFit) {
  const Json cases = km::testing::loadCases("base/cases.json");
  km::testing::checkRows(cases, "tryInt32",
                         [](const Json& in) { return optional(tryInt32(number(in))); });
  km::testing::checkRows(cases, "tryInt64",
                         [](const Json& in) { return optional(tryInt64(number(in))); });
  km::testing::checkRows(cases, "echoedInput", [](const Json& in) {
    std::string text;
    for (int i = 0; i < in[1].get<int>(); ++i)
      text += in[0].get<std::string>();
    return echoedInput(text);
  });
  km::testing::checkRows(cases, "shortestNumber",
                         [](const Json& in) { return shortestNumber(number(in)); });
}

using CheckedDeathTest = ::testing::Test;

TEST(CheckedDeathTest, FatalConversionsSayWhy) {
  EXPECT_DEATH(checkedInt32(kNaN),
               "Fatal error: Double value cannot be converted to Int32 "
               "because it is either infinite or NaN");
  EXPECT_DEATH(checkedInt32(3e9), "Fatal error: .*outside the representable range \\(3e\\+09\\)");
  EXPECT_DEATH(checkedInt64(-9e302), "outside the representable range \\(-9e\\+302\\)");
  EXPECT_DEATH(checkedInt64(-kInf), "Fatal error: .*Int64 because it is either infinite or NaN");
  EXPECT_DEATH(checkedInt32(std::int64_t{1} << 31), "Fatal error: Not enough bits");
}

TEST(CheckedDeathTest, OverflowingArithmeticIsFatal) {
  constexpr auto min32 = std::numeric_limits<std::int32_t>::min();
  constexpr auto max64 = std::numeric_limits<std::int64_t>::max();
  EXPECT_DEATH(checkedSub(min32, 1), "Fatal error: Arithmetic overflow in integer subtraction");
  EXPECT_DEATH(checkedAdd(max64, std::int64_t{1}), "Fatal error: Arithmetic overflow");
  EXPECT_DEATH(checkedMul(std::int32_t{86400}, std::int32_t{24856}), "multiplication");
  EXPECT_DEATH(checkedDiv(min32, -1), "Fatal error: Division results in an overflow");
  EXPECT_DEATH(checkedDiv(1, 0), "Fatal error: Division by zero");
  EXPECT_DEATH(fatalError("custom reason"), "^Fatal error: custom reason\n$");
}

TEST(CheckedTest, ArithmeticInRangeIsPlain) {
  EXPECT_EQ(checkedSub(std::int32_t{5}, std::int32_t{7}), -2);
  EXPECT_EQ(checkedMul(std::int32_t{86400}, std::int32_t{24855}), 2147472000);
  EXPECT_EQ(checkedDiv(-7, 2), -3);  // truncating, not flooring
}

}  // namespace
}  // namespace km
