#pragma once

// Calendar: the Gregorian calendar of a time zone and a locale.

#include <unicode/uversion.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/date.h"

U_NAMESPACE_BEGIN
class Calendar;
U_NAMESPACE_END

namespace km {

// The Gregorian calendar of a time zone and a locale, through ICU. `Calendar::current()` takes
// the process's zone and locale at the moment of the call (like the phone's current calendar,
// it does not follow later changes). A value type; copies share an immutable ICU prototype, so
// a Calendar may be used from several threads at once.
class Calendar {
 public:
  static Calendar current();
  // Fatal when `timeZoneId` is not a known zone.
  Calendar(const std::string& timeZoneId, const std::string& localeId);

  const std::string& timeZoneId() const { return zone_; }
  const std::string& localeId() const { return locale_; }

  // `date` plus `hours` by adding to the hour component (elapsed hours, so a daylight-saving
  // change does not shift the result). nullopt when the calendar cannot represent the result.
  std::optional<Date> addingHours(Date date, std::int64_t hours) const;
  // `date` plus 0, 1, ... count-1 hours, each as addingHours would give it, with one calendar
  // for the whole series.
  std::vector<std::optional<Date>> addingHoursSeries(Date date, int count) const;
  // Midnight at the start of the local day holding `date`.
  Date startOfDay(Date date) const;
  bool isDate(Date a, Date inSameDayAs) const;
  // Whether `date` falls in the local day of `now()`.
  bool isDateInToday(Date date) const;
  // 1 = Sunday ... 7 = Saturday, the platform's numbering.
  int weekday(Date date) const;
  int dayOfMonth(Date date) const;
  // The locale's first day of the week, 1 = Sunday ... 7 = Saturday.
  int firstWeekday() const;
  // Stand-alone narrow weekday names ("S", "M", ...), Sunday first, seven entries.
  std::vector<std::string> veryShortStandaloneWeekdaySymbols() const;

 private:
  std::unique_ptr<icu::Calendar> make(Date date) const;

  std::string zone_;
  std::string locale_;
  std::shared_ptr<const icu::Calendar> prototype_;
};

// The zone's offset from UTC at `date`, in whole seconds (daylight saving included).
int secondsFromGMT(const std::string& timeZoneId, Date date);

// Calendar date and time fields of `date` in a zone, for formatting.
struct LocalFields {
  int year, month, day, hour, minute, second;
  double fraction;  // the sub-second part, in [0, 1)
  int offsetSeconds;
};
LocalFields localFields(Date date, const std::string& timeZoneId);

// The moment of a local wall-clock time in a zone (the earlier one when a time repeats).
Date dateFromLocal(int year, int month, int day, int hour, int minute, double second,
                   const std::string& timeZoneId);

}  // namespace km
