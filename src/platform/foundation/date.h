#pragma once

// Date: a point in time as seconds since the reference date.

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace km {

// A point in time as the phone's Foundation keeps it: seconds since the reference date
// 2001-01-01 00:00:00 UTC, as a double. A plain value type.
struct Date {
  // Seconds between 1970-01-01 and 2001-01-01, both UTC.
  static constexpr double kReferenceDateSince1970 = 978307200.0;

  double timeIntervalSinceReferenceDate = 0;

  static constexpr Date fromUnix(double secondsSince1970) {
    return Date{secondsSince1970 - kReferenceDateSince1970};
  }
  constexpr double timeIntervalSince1970() const {
    return timeIntervalSinceReferenceDate + kReferenceDateSince1970;
  }
  constexpr Date addingTimeInterval(double seconds) const {
    return Date{timeIntervalSinceReferenceDate + seconds};
  }

  friend constexpr auto operator<=>(const Date&, const Date&) = default;
};

// The current moment: the process's fixed "now" when one is set (tests, `--now`), else the
// system clock. The only way code of ours learns the time.
Date now();

// ISO-8601 with the offset of `timeZoneId` (the process's time zone when empty) at that moment:
// "2026-03-29T01:30:00+01:00", or with "Z" for a zero offset. Milliseconds are written only
// when the date has a fractional second.
std::string formatISO8601(Date date, std::string_view timeZoneId = {});

// Parses "YYYY-MM-DDTHH:MM[:SS[.fff]]" followed by "Z", "±HH:MM" or "±HHMM"; without an offset
// the time is local to the process's time zone. nullopt for anything else, and for a moment
// outside the years 0000 to 9999 in UTC (which formatISO8601 could not write back).
std::optional<Date> parseISO8601(std::string_view text);

}  // namespace km
