#include "kmwidget/json_output.h"

#include "platform/foundation/date.h"

namespace km::cli {

Json nutritionJson(const WidgetNutritionSummary& summary) {
  return Json::parse(encodeSummary(summary));
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
