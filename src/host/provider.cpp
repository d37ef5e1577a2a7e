// The provider's placeholder, snapshot and timeline, read from the shared store.

#include "host/provider.h"

#include "base/fatal_error.h"
#include "model/read_summary.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/user_defaults.h"

namespace km {

NutritionEntry Provider::placeholder(const TimelineProviderContext& /*context*/) const {
  const Date date = now();
  return {date, placeholderSummary(date)};
}

void Provider::getSnapshot(const TimelineProviderContext& /*context*/,
                           const std::function<void(NutritionEntry)>& completion) const {
  // The gallery preview shows the user's real data too, so the preview flag is not consulted.
  completion(NutritionEntry{now(), readSummary()});
}

void Provider::getTimeline(const TimelineProviderContext& /*context*/,
                           const std::function<void(Timeline<NutritionEntry>)>& completion) const {
  const Date base = now();
  const std::vector<std::optional<Date>> dates =
      Calendar::current().addingHoursSeries(base, kTimelineEntries);
  Timeline<NutritionEntry> timeline;
  timeline.entries.reserve(kTimelineEntries);
  // The seven reads share one wait: a store held locked by another process delays the
  // timeline by one read's bound, not seven.
  const ScopedStoreWaitBudget wait;
  for (const std::optional<Date>& date : dates) {
    if (!date) fatalError("the calendar cannot add hours to the timeline's start");
    // Each entry reads the store again; a new day's record arrives only when the app writes it
    // and asks for a reload, or at the next timeline after the last entry.
    timeline.entries.push_back(NutritionEntry{*date, readSummary()});
  }
  timeline.policy = TimelineReloadPolicy::atEnd();
  completion(std::move(timeline));
}

}  // namespace km
