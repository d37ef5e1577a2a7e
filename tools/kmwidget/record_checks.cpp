#include "kmwidget/record_checks.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "base/checked.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/process_settings.h"

namespace km::cli {
namespace {

std::string number(double v) {
  std::string s = std::to_string(v);
  // "1300.000000" -> "1300"
  if (s.find('.') != std::string::npos) {
    s.erase(s.find_last_not_of('0') + 1);
    if (s.back() == '.') s.pop_back();
  }
  return s;
}

}  // namespace

std::vector<std::string> displayWarnings(const WidgetNutritionSummary& s) {
  std::vector<std::string> out;
  const std::pair<const char*, double> values[] = {
      {"energyCurrent", s.energyCurrent},   {"energyTotal", s.energyTotal},
      {"fatCurrent", s.fatCurrent},         {"fatTotal", s.fatTotal},
      {"proteinCurrent", s.proteinCurrent}, {"proteinTotal", s.proteinTotal},
      {"carbsCurrent", s.carbsCurrent},     {"carbsTotal", s.carbsTotal}};
  for (const auto& [name, value] : values) {
    if (!tryInt32(value)) {
      out.push_back(std::string(name) + " = " + number(value) +
                    " does not fit a 32-bit integer and stops the extension when shown");
    }
  }
  for (std::size_t i = 0; i < s.energyDays.size(); ++i) {
    if (!tryInt32(s.energyDays[i])) {
      out.push_back("energyDays[" + std::to_string(i) + "] = " + number(s.energyDays[i]) +
                    " does not fit a 32-bit integer and stops the extension when shown");
    }
  }
  if (s.energyDays.size() < 7) {
    out.push_back("energyDays has " + std::to_string(s.energyDays.size()) +
                  " values; the history chart needs seven and stops the extension with fewer");
  }
  // The same-day test counts local days since 1970 and their seconds in 32 bits.
  const double t = s.currentDate.timeIntervalSince1970();
  const double local = t + secondsFromGMT(currentTimeZoneId(), s.currentDate);
  const auto days = tryInt32(local / 86400);
  const bool inRange = days && std::abs(static_cast<std::int64_t>(*days) * 86400) <=
                                   std::numeric_limits<std::int32_t>::max();
  if (!tryInt64(t / 86400) || !inRange) {
    out.push_back("currentDate = " + number(s.currentDate.timeIntervalSinceReferenceDate) +
                  " is outside the same-day test's range (1901-12-14 to 2038-01-19) and stops "
                  "the extension when shown");
  }
  return out;
}

}  // namespace km::cli
