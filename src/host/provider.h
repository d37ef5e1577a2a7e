#pragma once

// Provider: the one timeline provider every widget shares.

#include <functional>

#include "model/nutrition_entry.h"
#include "platform/widgetkit/timeline.h"

namespace km {

// The one timeline provider every widget kind shares. It has no state: each request reads the
// shared store afresh, and requests may come from any thread at once.
class Provider {
 public:
  using Entry = NutritionEntry;

  // Entries in a timeline, one hour apart from the request time.
  static constexpr int kTimelineEntries = 7;

  // An entry at now with the placeholder record (empty gauges with goals); no store read.
  NutritionEntry placeholder(const TimelineProviderContext& context) const;
  // Calls `completion` once, synchronously, with an entry at now holding readSummary().
  void getSnapshot(const TimelineProviderContext& context,
                   const std::function<void(NutritionEntry)>& completion) const;
  // Calls `completion` once, synchronously, with seven entries at now + 0...6 calendar hours,
  // each with its own fresh readSummary(), and the policy atEnd. The seven reads share one
  // bound on waiting for a locked store. Fatal if the calendar cannot
  // add the hours.
  void getTimeline(const TimelineProviderContext& context,
                   const std::function<void(Timeline<NutritionEntry>)>& completion) const;
};

}  // namespace km
