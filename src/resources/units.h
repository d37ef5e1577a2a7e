#pragma once

// The energy unit's texts for a record's unit choice.

#include <string>

namespace km {

// Localisation keys of the energy unit for a record's unit choice (thread-safe, stateless).
// Energies are shown in the unit the app wrote them in; these only name it.
const char* energyUnitLongKey(bool isKilojoules);   // "EnergyMeasurementKilojoules" / "...Calories"
const char* energyUnitShortKey(bool isKilojoules);  // "KilojouleShort" / "CaloriesShort"
// The energy gauges use their own short calorie label.
const char* energyGaugeUnitKey(bool isKilojoules);  // "KilojouleShort" / "CaloriesShort_2"

// The localised texts of the keys above.
std::string energyUnitLong(bool isKilojoules);
std::string energyUnitShort(bool isKilojoules);
std::string energyGaugeUnit(bool isKilojoules);
// The gauge unit as the energy gauges show it: the kilojoule symbol as written, the calorie one
// capitalised ("Kcal"), on purpose only the latter.
std::string energyGaugeUnitLabel(bool isKilojoules);

}  // namespace km
