// Scheduling timelines: the entry shown, the next reload and when to wake.

#include "platform/widgetkit/timeline_scheduler.h"

#include <algorithm>

namespace km {

namespace {

// The entry shown at `now`: the latest one whose date has come, else the first.
int shownIndexAt(const std::vector<ScheduledEntry>& entries, Date now) {
  const auto firstLater =
      std::upper_bound(entries.begin(), entries.end(), now,
                       [](Date t, const ScheduledEntry& e) { return t < e.date; });
  if (firstLater == entries.begin()) return 0;
  return static_cast<int>(firstLater - entries.begin()) - 1;
}

void earliest(std::optional<Date>& wake, Date candidate) {
  if (!wake || candidate < *wake) wake = candidate;
}

}  // namespace

void TimelineScheduler::addSlot(SlotId slot) {
  slots_.try_emplace(slot);
}

void TimelineScheduler::removeSlot(SlotId slot) {
  slots_.erase(slot);
}

bool TimelineScheduler::hasSlot(SlotId slot) const {
  return slots_.contains(slot);
}

void TimelineScheduler::setTimeline(SlotId slot, std::vector<ScheduledEntry> entries,
                                    TimelineReloadPolicy policy, Date requestedAt) {
  const auto it = slots_.find(slot);
  if (it == slots_.end()) return;
  Slot& s = it->second;
  std::stable_sort(
      entries.begin(), entries.end(),
      [](const ScheduledEntry& a, const ScheduledEntry& b) { return a.date < b.date; });
  s.entries = std::move(entries);
  s.policy = policy;
  s.requestedAt = requestedAt;
  s.awaitingTimeline = false;
  if (s.reloadWhileAwaiting) {
    s.reloadWhileAwaiting = false;
    s.wantTimeline = true;
  }
}

void TimelineScheduler::reload(SlotId slot) {
  const auto it = slots_.find(slot);
  if (it == slots_.end()) return;
  Slot& s = it->second;
  if (s.awaitingTimeline) {
    s.reloadWhileAwaiting = true;
  } else {
    s.wantTimeline = true;
  }
}

void TimelineScheduler::reloadAll() {
  for (auto& [id, slot] : slots_)
    reload(id);
}

void TimelineScheduler::redrawAll() {
  for (auto& [id, slot] : slots_)
    slot.drawnKey.reset();
}

std::optional<Date> TimelineScheduler::automaticReloadDate(const Slot& s) const {
  if (!s.requestedAt || s.awaitingTimeline || s.wantTimeline) return std::nullopt;
  Date due;
  switch (s.policy.kind) {
    case TimelineReloadPolicy::Kind::never:
      return std::nullopt;
    case TimelineReloadPolicy::Kind::atEnd:
      due = s.entries.empty() ? *s.requestedAt : s.entries.back().date;
      break;
    case TimelineReloadPolicy::Kind::after:
      due = s.policy.date;
      break;
  }
  return std::max(due, s.requestedAt->addingTimeInterval(minimumReloadInterval_));
}

TimelineScheduler::Step TimelineScheduler::advance(Date now) {
  Step step;
  for (auto& [id, s] : slots_) {
    const std::optional<Date> reloadAt = automaticReloadDate(s);
    if (s.wantTimeline || (reloadAt && *reloadAt <= now)) {
      s.wantTimeline = false;
      s.awaitingTimeline = true;
      step.requestTimeline.push_back(id);
    } else if (reloadAt) {
      earliest(step.wakeAt, *reloadAt);
    }

    if (s.entries.empty()) {
      s.shownIndex.reset();
      s.drawnKey.reset();
      continue;
    }
    const int index = shownIndexAt(s.entries, now);
    s.shownIndex = index;
    const std::uint64_t key = s.entries[static_cast<std::size_t>(index)].contentKey;
    if (s.drawnKey != key) {
      s.drawnKey = key;
      step.show.push_back({id, index});
    }
    if (static_cast<std::size_t>(index) + 1 < s.entries.size()) {
      // The next switch; before the first entry's date that is the second entry, as the first
      // is already shown.
      const Date next = s.entries[static_cast<std::size_t>(index) + 1].date;
      earliest(step.wakeAt, next);
    }
  }
  return step;
}

std::optional<TimelineScheduler::SlotInfo> TimelineScheduler::info(SlotId slot) const {
  const auto it = slots_.find(slot);
  if (it == slots_.end()) return std::nullopt;
  const Slot& s = it->second;
  return SlotInfo{s.entries,
                  s.policy,
                  s.requestedAt,
                  s.shownIndex,
                  automaticReloadDate(s),
                  s.awaitingTimeline || s.wantTimeline};
}

std::vector<SlotId> TimelineScheduler::slots() const {
  std::vector<SlotId> ids;
  ids.reserve(slots_.size());
  for (const auto& [id, slot] : slots_)
    ids.push_back(id);
  return ids;
}

}  // namespace km
