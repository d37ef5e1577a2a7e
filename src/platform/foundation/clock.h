#pragma once

// Clock: widget time for a live host, at a chosen start and speed.

#include <chrono>
#include <functional>
#include <optional>

#include "platform/foundation/date.h"

namespace km {

// Widget time for a live host: starts at a chosen moment (or the real time) and runs `speed`
// widget seconds per real second, so that a person can watch a day go by. Real time is read
// from the monotonic clock, so a change of the system's wall clock does not make widget time
// jump. Immutable after construction, hence safe to share between threads.
class Clock {
 public:
  using RealTime = std::chrono::steady_clock::time_point;
  // Where real time comes from; tests pass a fake.
  using RealTimeSource = std::function<RealTime()>;

  // `start`: widget time at construction (nullopt: now(), the process's moment). `speed` must be
  // finite and above 0; anything else is a programming error and fatal (check options first).
  explicit Clock(std::optional<Date> start = std::nullopt, double speed = 1,
                 RealTimeSource realNow = &std::chrono::steady_clock::now);

  // Widget time at this real moment.
  Date now() const;
  // Widget time at a given real moment.
  Date at(RealTime real) const;
  // The real moment at which widget time reaches `widgetTime` (in the past for a date that has
  // come). Saturates at the time point's limits for dates too far away to represent.
  RealTime realTimeAt(Date widgetTime) const;

  double speed() const { return speed_; }

 private:
  Date start_;
  double speed_;
  RealTimeSource realNow_;
  RealTime origin_;
};

}  // namespace km
