#pragma once

// MediumWidget: the medium history widget and its nested views.

#include <string>
#include <vector>

#include "model/nutrition_entry.h"
#include "platform/foundation/date.h"
#include "platform/ui/view.h"

namespace km {

// The medium history widget: this week's energy per day as seven bars under the daily goal.
// Views are plain values rebuilt for every timeline entry; building reads the process's current
// date, calendar and language, so build them on the thread that lays them out. Thread-safe as
// long as the process settings are not changed meanwhile.

// The largest energy of the week: the first seven days only, never below 0 (an empty week or a
// week of negative corrections gives 0).
double weekMaximum(const std::vector<double>& calories);

// Whether the data dated `validationDate` still belongs to the week shown at `now`, by
// day-of-month and weekday numbers of the current calendar. The week it accepts ends on Sunday
// whatever the locale's first weekday, and across a month boundary the day-of-month test never
// rejects: the app relies on exactly this behaviour, so it is kept as it is.
bool isHistoryDataValid(Date validationDate, Date now);

// The dashed goal line: a horizontal segment across its rectangle at `yPos` below the
// rectangle's top (which may lie outside the rectangle).
struct Line {
  double yPos = 0;

  Shape body() const;
};

// One day of the week: the bar and, under it, the day's letter (marked for today).
struct HistoryBar {
  // Height of the band under the bar that holds the weekday letter.
  static constexpr double kLabelBand = 27;
  // The lowest a bar is drawn, so that an empty or stale day still shows.
  static constexpr double kMinimumHeight = 2;

  std::string dayLetter;
  double energyAmount = 0;
  double maxAmount = 0;
  double targetAmount = 0;
  bool isActiveDay = false;
  Date validationDate;

  // The bar's height for a bar area of `height` (label band included), at least 2.
  double barHeight(double height) const;
  View body() const;
};

// The goal text, the dashed goal line and the row of seven bars.
struct HistoryBarGraph {
  std::vector<double> calories;
  double targetAmount = 0;
  double barSpacing = 6;
  bool isKilojoules = false;
  Date validationDate;
  // Today's weekday in the current calendar, 1 = Sunday ... 7 = Saturday.
  int weekday = 1;

  // "Goal: 2000kcal" in the app's language. Fatal when the goal is not a finite number within
  // the 64-bit integer range.
  std::string goalText() const;
  // The seven bars, first weekday of the current locale first. Fatal when `calories` holds
  // fewer than seven values (the app always writes seven).
  std::vector<HistoryBar> bars() const;
  // Where the goal line lies in a graph area of `height`: at the top when the goal is above
  // every day, else at the goal's share of the tallest day.
  double targetLineY(double height) const;
  View body() const;
};

// The systemMedium history widget, tappable as a whole into the diary.
struct MediumWidget {
  NutritionEntry entry;
  // Kept for its creator; the bars use HistoryBarGraph's own spacing.
  double historySpacing = 0;

  HistoryBarGraph graph() const;
  View body() const;
};

}  // namespace km
