#include "base/message_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace km {
namespace {

TEST(MessageTextTest, EchoedInputKeepsSixtyCharactersAtMost) {
  std::string accents;
  for (int i = 0; i < 61; ++i)
    accents += "é";
  struct Case {
    std::string in, out;
  } cases[] = {
      {"", ""},
      {std::string(60, 'a'), std::string(60, 'a')},
      {std::string(61, 'a'), std::string(59, 'a') + "…"},
      {std::string(1'000'000, '9'), std::string(59, '9') + "…"},
      // Counted in characters, and never cut inside one.
      {accents.substr(0, 120), accents.substr(0, 120)},
      {accents, accents.substr(0, 118) + "…"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(echoedInput(c.in), c.out) << c.in.size();
}

TEST(MessageTextTest, NumbersAreShortestAndReadBack) {
  struct Case {
    double in;
    const char* out;
  } cases[] = {
      {1e308, "1e+308"},
      {0.1, "0.1"},
      {-4, "-4"},
      {1e-300, "1e-300"},
      {2147483648.0, "2147483648"},
      {std::numeric_limits<double>::denorm_min(), "5e-324"},
      {std::numeric_limits<double>::infinity(), "inf"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(shortestNumber(c.in), c.out);
}

}  // namespace
}  // namespace km
