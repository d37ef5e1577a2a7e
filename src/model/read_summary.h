#pragma once

// readSummary: the never-failing read of the record, and the fixed records it falls back to.

#include "model/widget_nutrition_summary.h"

namespace km {

// Where a read record came from.
enum class SummarySource {
  stored,          // decoded from the shared store
  storeFallback,   // no store, no value under the key, or a value that is not a data blob
  decodeFallback,  // a data blob that does not decode
};

struct SummaryRead {
  WidgetNutritionSummary summary;
  SummarySource source;
};

// The fixed records shown when there is nothing to show: each signed in, day 1, dated `date`,
// seven zero history days, in kilocalories, and with numbers of its own so that each state can
// be told apart on screen.
WidgetNutritionSummary storeFallbackSummary(Date date);
WidgetNutritionSummary decodeFallbackSummary(Date date);
WidgetNutritionSummary placeholderSummary(Date date);

// Reads the day's record from the shared store; never fails. Opens the store afresh, reads and
// decodes (nothing is cached between calls), and falls back to the fixed records above. A
// decoding error, or a record longer than kMaxSummaryBytes (refused before it is read), is
// written as one line to standard output. A store that another process holds locked is waited
// for at most UserDefaults::kReadLockWait (or the thread's ScopedStoreWaitBudget). Safe to call
// from several threads at once: each call has its own connection.
WidgetNutritionSummary readSummary();
// The same, telling where the record came from.
SummaryRead readSummaryWithSource();

}  // namespace km
