#pragma once

// Reading a record file, and the warnings about a record's values.

#include <istream>
#include <string>
#include <vector>

#include "base/result.h"
#include "model/widget_nutrition_summary.h"

namespace km::cli {

// Reads and decodes a record file ("-": `in`). A file longer than a record may be is refused
// by its size, before it is read. The error names the file.
Result<WidgetNutritionSummary> readRecordFile(const std::string& path, std::istream& in);

// Things worth knowing about a record that nonetheless draws: a signed-out user, a day other
// than today, a history that is not one week, negative amounts. One sentence each; none of them
// stops a widget (what stops one is found by drawing it).
std::vector<std::string> recordWarnings(const WidgetNutritionSummary& summary);

}  // namespace km::cli
