#include "base/checked.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "base/fatal_error.h"

namespace km {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Int32Case {
  double in;
  std::optional<std::int32_t> out;
};

TEST(CheckedTest, Int32TruncatesTowardZeroAndRejectsWhatDoesNotFit) {
  const Int32Case cases[] = {
      {0.0, 0},
      {1.9, 1},
      {-1.9, -1},
      {-0.5, 0},
      {2147483647.0, 2147483647},
      {2147483647.9, 2147483647},
      {2147483648.0, std::nullopt},
      {-2147483648.0, -2147483648},
      {-2147483648.9, -2147483648},
      {-2147483649.0, std::nullopt},
      {3e9, std::nullopt},
      {kInf, std::nullopt},
      {-kInf, std::nullopt},
      {kNaN, std::nullopt},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tryInt32(c.in), c.out) << c.in;
  }
}

TEST(CheckedTest, Int64BoundsAreExact) {
  EXPECT_EQ(tryInt64(9223372036854774784.0), 9223372036854774784LL);  // largest double < 2^63
  EXPECT_EQ(tryInt64(9223372036854775808.0), std::nullopt);           // 2^63
  EXPECT_EQ(tryInt64(-9223372036854775808.0), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(tryInt64(-1e19), std::nullopt);
  EXPECT_EQ(tryInt64(1300.75), 1300);
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
