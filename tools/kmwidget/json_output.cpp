// The record and entries as JSON, and printing a document.

#include "kmwidget/json_output.h"

#include "platform/foundation/date.h"

namespace km::cli {

Json nutritionJson(const WidgetNutritionSummary& s) {
  // Built from the fields, not by parsing the encoded text: one copy of the history, not three.
  Json j;
  j["currentDayInt"] = s.currentDayInt;
  j["currentDate"] = s.currentDate.timeIntervalSinceReferenceDate;
  j["isLoggedIn"] = s.isLoggedIn;
  j["energyCurrent"] = s.energyCurrent;
  j["energyTotal"] = s.energyTotal;
  j["fatCurrent"] = s.fatCurrent;
  j["fatTotal"] = s.fatTotal;
  j["proteinCurrent"] = s.proteinCurrent;
  j["proteinTotal"] = s.proteinTotal;
  j["carbsCurrent"] = s.carbsCurrent;
  j["carbsTotal"] = s.carbsTotal;
  j["energyDays"] = s.energyDays;
  j["isKilojoules"] = s.isKilojoules;
  return j;
}

Json entryJson(const NutritionEntry& entry) {
  Json j;
  j["date"] = formatISO8601(entry.date);
  j["nutrition"] = nutritionJson(entry.nutrition);
  return j;
}

void printJson(std::ostream& out, const Json& document) {
  out << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace km::cli
