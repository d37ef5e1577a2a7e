// The scheduler driven by scripts of host actions at fake times, each advance checked against
// what a phone's widget host would do at that moment.

#include "platform/widgetkit/timeline_scheduler.h"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <sstream>
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

// Seconds from "1h", "6h-1", "600+1h": terms added or subtracted, "h" for hours.
double seconds(const std::string& text) {
  double total = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t used = 0;
    double term = std::stod(text.substr(at), &used);
    at += used;
    if (at < text.size() && text[at] == 'h') {
      term *= kHour;
      ++at;
    }
    total += term;
  }
  return total;
}

// Each script of scheduler_scripts.txt run against a fresh scheduler, checking every advance.
TEST(TimelineSchedulerTest, Scripts) {
  std::ifstream file(std::string(KM_SOURCE_DIR) + "/tests/widgetkit/scheduler_scripts.txt");
  ASSERT_TRUE(file);
  std::optional<TimelineScheduler> scheduler;
  std::string script;
  int scripts = 0, lineNumber = 0;
  for (std::string line; std::getline(file, line);) {
    ++lineNumber;
    std::istringstream in(line);
    std::string op, word;
    if (!(in >> op) || op[0] == '#') continue;
    SCOPED_TRACE("line " + std::to_string(lineNumber) + ": " + line);
    SlotId slot = 0;
    if (op == "script") {
      scheduler.emplace();
      ++scripts;
      continue;
    }
    ASSERT_TRUE(scheduler) << "no script started";
    if (op == "add" && in >> slot) {
      scheduler->addSlot(slot);
    } else if (op == "remove" && in >> slot) {
      scheduler->removeSlot(slot);
    } else if (op == "reload" && in >> slot) {
      scheduler->reload(slot);
    } else if (op == "reloadAll") {
      scheduler->reloadAll();
    } else if (op == "redrawAll") {
      scheduler->redrawAll();
    } else if (op == "set" && in >> slot >> word && word == "at" && in >> word) {
      const double requestedAt = seconds(word);
      std::vector<ScheduledEntry> entries;
      TimelineReloadPolicy policy = TimelineReloadPolicy::atEnd();
      std::string start, count;
      in >> word;
      if (word == "hourly" && in >> start >> count) {
        const bool same = in >> word && word == "same";
        for (int i = 0; i < std::stoi(count); ++i)
          entries.push_back({at(seconds(start) + i * kHour), same ? 7u : i + 1u});
        if (same) in >> word;
      } else {
        while (in >> word && word.find(':') != std::string::npos)
          entries.push_back({at(seconds(word.substr(0, word.find(':')))),
                             std::stoull(word.substr(word.find(':') + 1))});
      }
      if (word == "never") policy = TimelineReloadPolicy::never();
      if (word == "after" && in >> word) policy = TimelineReloadPolicy::after(at(seconds(word)));
      scheduler->setTimeline(slot, entries, policy, at(requestedAt));
    } else if (op == "advance" && in >> word) {
      const TimelineScheduler::Step got = scheduler->advance(at(seconds(word)));
      std::vector<TimelineScheduler::Show> show;
      std::vector<SlotId> request;
      std::optional<Date> wake;
      std::string section;
      while (in >> word) {
        if (word == "show" || word == "request" || word == "wake") {
          section = word;
        } else if (word == "-") {
        } else if (section == "show") {
          show.push_back({std::stoull(word), std::stoi(word.substr(word.find(':') + 1))});
        } else if (section == "request") {
          request.push_back(std::stoull(word));
        } else {
          wake = at(seconds(word));
        }
      }
      EXPECT_EQ(got.show, show);
      EXPECT_EQ(got.requestTimeline, request);
      EXPECT_EQ(got.wakeAt, wake);
    } else {
      FAIL() << "cannot read the step";
    }
  }
  EXPECT_GE(scripts, 10);
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
