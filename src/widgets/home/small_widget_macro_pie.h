#pragma once

// SmallWidgetMacroPie: the small macro pie widget and its arithmetic.

#include <cstdint>
#include <string>

#include "model/nutrition_entry.h"
#include "platform/foundation/date.h"
#include "platform/ui/color.h"
#include "platform/ui/view.h"

namespace km {

// The small macro pie: today's energy split between carbohydrate, fat and protein as a ring of
// three arcs on a light track, starting at twelve o'clock and running clockwise, with the three
// percentages in the ring's hole. A record of another day (by the calendar's own today test)
// shows the bare track and 0% labels. A plain value; the body is rebuilt for every entry and
// reads the process's clock, zone and language when built.
struct SmallWidgetMacroPie {
  NutritionEntry entry;
  // Whether the whole widget opens the diary; off when a larger widget embeds it and supplies
  // the link itself.
  bool withLink = false;

  // The column of the three percentages. They always add up to 100: fat and protein are rounded
  // on their own and carbohydrate takes what is left.
  struct labels {
    double carbs = 0;  // grams
    double fat = 0;
    double prot = 0;
    Date currentDate;

    View body() const;
  };

  // One percentage: a short coloured bar, the nutrient's name and its share.
  struct nutriLabel {
    Color colour;
    std::string text;
    std::int64_t percentage = 0;
    Date currentDate;

    View body() const;
  };

  View body() const;
};

// Shares of the energy of `carbs`, `fat` and `prot` grams (4, 9 and 4 kcal per gram) as whole
// percentages that add up to 100: fat and protein rounded half away from zero, carbohydrate the
// rest (which can fall below 0 in odd cases). All 0 when there is no energy.
struct MacroPieShares {
  std::int64_t carbs = 0;
  std::int64_t fat = 0;
  std::int64_t prot = 0;
  friend bool operator==(const MacroPieShares&, const MacroPieShares&) = default;
};
MacroPieShares macroPieShares(double carbs, double fat, double prot);

// Sweep in degrees of one nutrient's energy `x` of the ring: negative (the ring is mirrored when
// drawn), 0 on another day or with no energy at all.
double macroPieSweepDegrees(double x, const WidgetNutritionSummary& record, bool today);

}  // namespace km
