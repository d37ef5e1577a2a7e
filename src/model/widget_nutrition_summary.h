#pragma once

// WidgetNutritionSummary: the day's record the widgets show, and its JSON form.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "platform/foundation/date.h"

namespace km {

// The day's nutrition as the main app computes it: the one record the widgets show. A plain
// value; the widgets never derive anything from it here. Energies are in the unit that
// `isKilojoules` names and are never converted.
struct WidgetNutritionSummary {
  std::int32_t currentDayInt = 0;
  Date currentDate;
  bool isLoggedIn = false;
  double energyCurrent = 0;
  double energyTotal = 0;
  double fatCurrent = 0;
  double fatTotal = 0;
  double proteinCurrent = 0;
  double proteinTotal = 0;
  double carbsCurrent = 0;
  double carbsTotal = 0;
  std::vector<double> energyDays;
  bool isKilojoules = false;

  friend bool operator==(const WidgetNutritionSummary&, const WidgetNutritionSummary&) = default;
};

// The longest record the extension decodes, in bytes. A week of history is a few hundred bytes;
// the bound keeps a runaway record from costing a widget refresh seconds and gigabytes.
inline constexpr std::size_t kMaxSummaryBytes = 1024 * 1024;

// The decoding error of a record of `bytes` bytes, more than kMaxSummaryBytes.
Error oversizedRecordError(std::size_t bytes);

// Decodes the record's JSON form: an object with all thirteen keys, spelled as the fields.
// `currentDayInt` must be an integral number that fits 32 bits (1.0 is accepted); the other
// numbers must be finite; `currentDate` is a number of seconds since 2001-01-01 UTC; booleans
// are JSON booleans only. Unknown keys are ignored. A text longer than kMaxSummaryBytes is an error
// without being parsed. The error is one line describing the first
// problem found, fields taken in declaration order. Pure function; thread-safe.
Result<WidgetNutritionSummary> decodeSummary(std::string_view json);

// The JSON form, keys in declaration order, compact (no spaces).
std::string encodeSummary(const WidgetNutritionSummary& summary);

}  // namespace km
