#pragma once

#include <string>
#include <vector>

#include "model/widget_nutrition_summary.h"

namespace km::cli {

// Problems of a record that decodes but that a widget cannot show: numbers that do not fit the
// 32-bit integers the widgets compute with, a date outside the same-day test's 32-bit range,
// and a history shorter than the seven days the history chart draws. One sentence each.
std::vector<std::string> displayWarnings(const WidgetNutritionSummary& summary);

}  // namespace km::cli
