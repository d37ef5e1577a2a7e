#pragma once

// MediumWidgetEnergyMacroPie: the energy ring beside the macro pie.

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// The medium energy and macro pie widget: the small energy widget and the small macro pie side
// by side for the same entry. It adds no figures of its own; each half shows the entry by its
// own rules, and neither half sets the whole-widget tap URL. A plain value; the body reads the
// process's clock, zone, language and platform version when built.
struct MediumWidgetEnergyMacroPie {
  NutritionEntry entry;

  View body() const;
};

}  // namespace km
