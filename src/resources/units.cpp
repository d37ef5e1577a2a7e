// The energy unit's localisation keys and texts.

#include "resources/units.h"

#include "platform/foundation/text.h"
#include "resources/widget_utils.h"

namespace km {

const char* energyUnitLongKey(bool isKilojoules) {
  return isKilojoules ? "EnergyMeasurementKilojoules" : "EnergyMeasurementCalories";
}

const char* energyUnitShortKey(bool isKilojoules) {
  return isKilojoules ? "KilojouleShort" : "CaloriesShort";
}

const char* energyGaugeUnitKey(bool isKilojoules) {
  return isKilojoules ? "KilojouleShort" : "CaloriesShort_2";
}

std::string energyUnitLong(bool isKilojoules) {
  return localizedString(energyUnitLongKey(isKilojoules));
}

std::string energyUnitShort(bool isKilojoules) {
  return localizedString(energyUnitShortKey(isKilojoules));
}

std::string energyGaugeUnit(bool isKilojoules) {
  return localizedString(energyGaugeUnitKey(isKilojoules));
}

std::string energyGaugeUnitLabel(bool isKilojoules) {
  const std::string unit = energyGaugeUnit(isKilojoules);
  return isKilojoules ? unit : capitalized(unit);
}

}  // namespace km
