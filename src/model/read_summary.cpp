// Reading the record from the shared store, with the fixed fallback records.

#include "model/read_summary.h"

#include "model/extension_log.h"
#include "model/shared_store.h"
#include "platform/foundation/user_defaults.h"

namespace km {
namespace {

WidgetNutritionSummary fixedSummary(Date date, double energyCurrent, double energyTotal,
                                    double fatCurrent, double fatTotal, double proteinCurrent,
                                    double proteinTotal, double carbsCurrent, double carbsTotal) {
  WidgetNutritionSummary s;
  s.currentDayInt = 1;
  s.currentDate = date;
  s.isLoggedIn = true;
  s.energyCurrent = energyCurrent;
  s.energyTotal = energyTotal;
  s.fatCurrent = fatCurrent;
  s.fatTotal = fatTotal;
  s.proteinCurrent = proteinCurrent;
  s.proteinTotal = proteinTotal;
  s.carbsCurrent = carbsCurrent;
  s.carbsTotal = carbsTotal;
  s.energyDays.assign(7, 0.0);
  s.isKilojoules = false;
  return s;
}

}  // namespace

WidgetNutritionSummary storeFallbackSummary(Date date) {
  return fixedSummary(date, 1300, 2000, 80, 100, 99, 72, 140, 100);
}

WidgetNutritionSummary decodeFallbackSummary(Date date) {
  return fixedSummary(date, 825, 2100, 115, 100, 65, 90, 200, 250);
}

WidgetNutritionSummary placeholderSummary(Date date) {
  return fixedSummary(date, 0, 2000, 0, 50, 0, 50, 0, 50);
}

SummaryRead readSummaryWithSource() {
  BoundedData blob;
  {
    Result<UserDefaults> store = UserDefaults::open(kAppGroupSuiteName, UserDefaults::Access::read);
    if (store.ok()) blob = store->data(kNutritionSummaryKey, kMaxSummaryBytes);
  }
  if (blob.oversizedBytes) {
    // Refused by its size alone: the blob was never read into memory.
    writeExtensionLog(oversizedRecordError(*blob.oversizedBytes).message);
    return {decodeFallbackSummary(now()), SummarySource::decodeFallback};
  }
  if (!blob.data) return {storeFallbackSummary(now()), SummarySource::storeFallback};
  const Data& bytes = *blob.data;
  Result<WidgetNutritionSummary> decoded =
      decodeSummary(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  if (!decoded.ok()) {
    writeExtensionLog(decoded.error().message);
    return {decodeFallbackSummary(now()), SummarySource::decodeFallback};
  }
  return {std::move(decoded).value(), SummarySource::stored};
}

WidgetNutritionSummary readSummary() {
  return readSummaryWithSource().summary;
}

}  // namespace km
