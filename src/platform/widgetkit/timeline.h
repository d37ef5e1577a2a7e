#pragma once

// Timelines: entries with a reload policy, and what a provider is asked with.

#include <optional>
#include <string_view>
#include <vector>

#include "platform/foundation/date.h"
#include "platform/widgetkit/widget_family.h"

namespace km {

// When the host asks a provider for the next timeline.
struct TimelineReloadPolicy {
  enum class Kind { atEnd, after, never };
  Kind kind = Kind::atEnd;
  Date date;  // only for `after`

  static TimelineReloadPolicy atEnd() { return {Kind::atEnd, {}}; }
  static TimelineReloadPolicy after(Date date) { return {Kind::after, date}; }
  static TimelineReloadPolicy never() { return {Kind::never, {}}; }

  friend bool operator==(const TimelineReloadPolicy&, const TimelineReloadPolicy&) = default;
};

// "atEnd", "after" or "never".
std::string_view policyName(const TimelineReloadPolicy& policy);

// Entries the host shows in date order, and when to ask again. A plain value.
template <typename Entry>
struct Timeline {
  std::vector<Entry> entries;
  TimelineReloadPolicy policy;
};

// What the host tells a provider about the request. Providers may ignore it.
struct TimelineProviderContext {
  WidgetFamily family = WidgetFamily::systemSmall;
  double displayWidth = 0;
  double displayHeight = 0;
  bool isPreview = false;
};

}  // namespace km
