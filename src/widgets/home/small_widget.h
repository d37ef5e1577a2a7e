#pragma once

// SmallWidget: the small calorie widget and its nested views.

#include <cstdint>
#include <memory>
#include <string>

#include "components/chart_data_model.h"
#include "model/nutrition_entry.h"
#include "platform/foundation/date.h"
#include "platform/ui/color.h"
#include "platform/ui/view.h"

namespace km {

// The small calorie widget: the energy unit, today's eaten energy over the goal with a thin
// bar, and a donut of today's macronutrient energy beside three percentages. A record of another
// day (by the day-number test) shows 0 over the goal, an empty bar, a neutral ring and 0%, so a
// stale day never shows its intake. The whole widget carries no link of its own. A plain value;
// the body reads the process's clock, zone and language when built.
struct SmallWidget {
  NutritionEntry entry;

  struct SmallWidgetPieGraph {
    NutritionEntry entry;
    View body() const;
  };

  // Unit, eaten energy over the goal, and the progress bar.
  struct CalorieView {
    double currentEnergy = 0;
    double totalEnergy = 0;
    bool isKilojoules = false;
    Date dateCheck;

    // Eaten energy truncated towards zero, or "0" on another day. Fatal for a non-finite value.
    std::string eatenText() const;
    // "/" and the goal truncated towards zero, whatever the day.
    std::string goalText() const;
    // Eaten over goal clamped to [0, 1] (NaN passes through), or 0 on another day.
    double progress() const;
    View body() const;
  };

  // The donut beside its labels.
  struct MacroDetailsView {
    NutritionEntry entry;

    // A fresh model for every drawing: carbohydrate, fat and protein energy when something is
    // logged today, else two equal neutral cells (a plain ring, never an all-zero model).
    std::shared_ptr<ChartDataModel> makeModel() const;
    View body() const;
  };

  // Three percentages of the macronutrient energy, each rounded on its own (they need not add
  // up to 100).
  struct ChartDescriptionLabels {
    double carbs = 0;  // grams
    double prot = 0;
    double fat = 0;

    // The share of energy `x` of this view's total (1 standing in for a total of 0), in whole
    // percent rounded half away from zero.
    std::int64_t percentage(double x) const;

    // One labelled percentage with a coloured dot.
    struct TextLine {
      Color colour;
      std::string description;
      std::int64_t percentage = 0;
      double circleSize = 0;
      View body() const;
    };

    View body() const;
  };

  View body() const;
};

}  // namespace km
