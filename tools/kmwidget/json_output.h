#pragma once

// The tool's JSON output of records and entries.

#include <nlohmann/json.hpp>
#include <ostream>

#include "model/nutrition_entry.h"

namespace km::cli {

using Json = nlohmann::ordered_json;

// The record in its JSON form, keys in declaration order.
Json nutritionJson(const WidgetNutritionSummary& summary);
// {"date": ISO-8601 with the process zone's offset, "nutrition": {...}}.
Json entryJson(const NutritionEntry& entry);
// Writes the document, indented, with a final newline. Invalid UTF-8 is replaced, not thrown.
void printJson(std::ostream& out, const Json& document);

}  // namespace km::cli
