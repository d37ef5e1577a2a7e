// The scheduler driven by scripts of host actions at fake times, each advance checked against
// what a phone's widget host would do at that moment.

#include "platform/widgetkit/timeline_scheduler.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace km {
namespace {

constexpr double kHour = 3600;
const Date kT0 = Date{800'000'000};  // any moment; times below are offsets from it

Date at(double seconds) {
  return kT0.addingTimeInterval(seconds);
}

// `count` entries one hour apart from `start`; keys 1, 2, 3… unless `sameKey`.
std::vector<ScheduledEntry> hourly(double start, int count, bool sameKey = false) {
  std::vector<ScheduledEntry> entries;
  for (int i = 0; i < count; ++i)
    entries.push_back({at(start + i * kHour), sameKey ? 7u : static_cast<std::uint64_t>(i + 1)});
  return entries;
}

struct Op {
  enum Kind { add, remove, set, reload, reloadAll, redrawAll, advance } kind;
  SlotId slot = 1;
  double time = 0;  // set: requested at; advance: now
  std::vector<ScheduledEntry> entries = {};
  TimelineReloadPolicy policy = TimelineReloadPolicy::atEnd();
  // Expected of an advance:
  std::vector<TimelineScheduler::Show> show = {};
  std::vector<SlotId> request = {};
  std::optional<double> wake = std::nullopt;
};

Op add(SlotId s) {
  return {Op::add, s};
}
Op remove(SlotId s) {
  return {Op::remove, s};
}
Op set(SlotId s, double requestedAt, std::vector<ScheduledEntry> entries,
       TimelineReloadPolicy policy = TimelineReloadPolicy::atEnd()) {
  return {Op::set, s, requestedAt, std::move(entries), policy};
}
Op reload(SlotId s) {
  return {Op::reload, s};
}
Op reloadAll() {
  return {Op::reloadAll};
}
Op redrawAll() {
  return {Op::redrawAll};
}
Op advance(double now, std::vector<TimelineScheduler::Show> show, std::vector<SlotId> request,
           std::optional<double> wake) {
  return {Op::advance, 0, now, {}, {}, std::move(show), std::move(request), wake};
}

struct Script {
  std::string name;
  std::vector<Op> ops;
};

const Script kScripts[] = {
    {"a new slot asks at once, shows each entry at its date and asks again at the end",
     {add(1), advance(0, {}, {1}, std::nullopt), set(1, 0, hourly(0, 7)),
      advance(0, {{1, 0}}, {}, 1 * kHour), advance(kHour - 0.001, {}, {}, 1 * kHour),
      advance(kHour, {{1, 1}}, {}, 2 * kHour), advance(2.5 * kHour, {{1, 2}}, {}, 3 * kHour),
      advance(6 * kHour - 1, {{1, 5}}, {}, 6 * kHour), advance(6 * kHour, {{1, 6}}, {1}, {}),
      // the next timeline starts with the same content as the last entry shown
      set(1, 6 * kHour, {{at(6 * kHour), 7}, {at(7 * kHour), 9}}),
      advance(6 * kHour, {}, {}, 7 * kHour)}},
    {"before the first entry's date the first entry is shown",
     {add(1), advance(0, {}, {1}, {}), set(1, 0, hourly(600, 3)),
      advance(0, {{1, 0}}, {}, 600 + kHour), advance(600, {}, {}, 600 + kHour)}},
    {"entries come sorted by date whatever order they arrive in",
     {add(1), advance(0, {}, {1}, {}), set(1, 0, {{at(2 * kHour), 3}, {at(0), 1}, {at(kHour), 2}}),
      advance(0, {{1, 0}}, {}, kHour), advance(2 * kHour, {{1, 2}}, {1}, {})}},
    {"an entry with the content already shown is not drawn again",
     {add(1), advance(0, {}, {1}, {}), set(1, 0, hourly(0, 3, true)),
      advance(0, {{1, 0}}, {}, kHour), advance(kHour, {}, {}, 2 * kHour), redrawAll(),
      advance(kHour + 1, {{1, 1}}, {}, 2 * kHour)}},
    {"after(d) asks at d, not at the end",
     {add(1), advance(0, {}, {1}, {}),
      set(1, 0, hourly(0, 3), TimelineReloadPolicy::after(at(1.5 * kHour))),
      advance(0, {{1, 0}}, {}, kHour), advance(kHour, {{1, 1}}, {}, 1.5 * kHour),
      advance(1.5 * kHour, {}, {1}, 2 * kHour)}},
    {"never asks by itself, only when reloaded",
     {add(1), advance(0, {}, {1}, {}), set(1, 0, hourly(0, 2), TimelineReloadPolicy::never()),
      advance(0, {{1, 0}}, {}, kHour), advance(kHour, {{1, 1}}, {}, {}),
      advance(100 * kHour, {}, {}, {}), reload(1), advance(100 * kHour, {}, {1}, {})}},
    {"an empty or ended timeline is asked again no sooner than the minimum interval",
     {add(1), advance(0, {}, {1}, {}), set(1, 0, {}), advance(0, {}, {}, 60),
      advance(60, {}, {1}, {}), set(1, 60, hourly(-kHour, 1)), advance(60, {{1, 0}}, {}, 120),
      advance(119, {}, {}, 120), advance(120, {}, {1}, {})}},
    {"a reload while a timeline is awaited is asked once that timeline arrives",
     {add(1), advance(0, {}, {1}, {}), reload(1), advance(1, {}, {}, {}), set(1, 0, hourly(0, 7)),
      advance(1, {{1, 0}}, {1}, kHour), set(1, 1, hourly(1, 7)), advance(1, {}, {}, 1 + kHour)}},
    {"reloadAll asks every slot; unchanged records draw nothing",
     {add(1), add(2), advance(0, {}, {1, 2}, {}), set(1, 0, hourly(0, 7)),
      set(2, 0, hourly(0, 7, true)), advance(0, {{1, 0}, {2, 0}}, {}, kHour), reloadAll(),
      advance(10, {}, {1, 2}, kHour), set(1, 10, hourly(10, 7)),
      set(2, 10, {{at(10), 8}, {at(10 + kHour), 8}}), advance(10, {{2, 0}}, {}, 10 + kHour)}},
    {"a removed slot is forgotten and its late timeline ignored",
     {add(1), add(2), advance(0, {}, {1, 2}, {}), remove(2), set(2, 0, hourly(0, 2)),
      set(1, 0, hourly(0, 2)), advance(0, {{1, 0}}, {}, kHour), add(2),
      advance(1, {}, {2}, kHour)}},
    {"adding a slot twice keeps its timeline",
     {add(1), advance(0, {}, {1}, {}), set(1, 0, hourly(0, 2)), advance(0, {{1, 0}}, {}, kHour),
      add(1), advance(1, {}, {}, kHour)}},
};

TEST(TimelineSchedulerTest, Scripts) {
  for (const Script& script : kScripts) {
    SCOPED_TRACE(script.name);
    TimelineScheduler scheduler;
    int step = 0;
    for (const Op& op : script.ops) {
      switch (op.kind) {
        case Op::add:
          scheduler.addSlot(op.slot);
          break;
        case Op::remove:
          scheduler.removeSlot(op.slot);
          break;
        case Op::set:
          scheduler.setTimeline(op.slot, op.entries, op.policy, at(op.time));
          break;
        case Op::reload:
          scheduler.reload(op.slot);
          break;
        case Op::reloadAll:
          scheduler.reloadAll();
          break;
        case Op::redrawAll:
          scheduler.redrawAll();
          break;
        case Op::advance: {
          SCOPED_TRACE("advance #" + std::to_string(++step) + " at +" + std::to_string(op.time));
          const TimelineScheduler::Step got = scheduler.advance(at(op.time));
          EXPECT_EQ(got.show, op.show);
          EXPECT_EQ(got.requestTimeline, op.request);
          EXPECT_EQ(got.wakeAt, op.wake ? std::optional(at(*op.wake)) : std::nullopt);
          break;
        }
      }
    }
  }
}

// What the page reads: the shown entry and the next reload as of the last advance.
TEST(TimelineSchedulerTest, InfoFollowsTheSchedule) {
  TimelineScheduler scheduler;
  EXPECT_FALSE(scheduler.info(1));
  scheduler.addSlot(1);
  scheduler.advance(at(0));
  EXPECT_TRUE(scheduler.info(1)->awaitingTimeline);
  EXPECT_FALSE(scheduler.info(1)->nextReload);
  scheduler.setTimeline(1, hourly(0, 7), TimelineReloadPolicy::atEnd(), at(0));
  scheduler.advance(at(2.5 * kHour));
  const auto info = scheduler.info(1);
  ASSERT_TRUE(info);
  EXPECT_FALSE(info->awaitingTimeline);
  EXPECT_EQ(info->shownIndex, 2);
  EXPECT_EQ(info->nextReload, at(6 * kHour));
  EXPECT_EQ(info->requestedAt, at(0));
  EXPECT_EQ(info->entries.size(), 7u);
  EXPECT_EQ(scheduler.slots(), std::vector<SlotId>{1});
}

}  // namespace
}  // namespace km
