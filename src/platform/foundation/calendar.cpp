// The Gregorian calendar through ICU: start of day, hours added, weekdays and their symbols.

#include "platform/foundation/calendar.h"

#include <unicode/dtfmtsym.h>
#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <unordered_map>

#include "base/fatal_error.h"
#include "platform/foundation/process_settings.h"

namespace km {
namespace {

constexpr double kMsPerSecond = 1000.0;

double toUDate(Date date) {
  return date.timeIntervalSince1970() * kMsPerSecond;
}

std::unique_ptr<icu::TimeZone> makeZone(const std::string& zoneId) {
  std::unique_ptr<icu::TimeZone> zone(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zoneId)));
  if (!zone || *zone == icu::TimeZone::getUnknown()) {
    fatalError("unknown time zone \"" + zoneId + "\"");
  }
  return zone;
}

}  // namespace

Calendar Calendar::current() {
  return Calendar(currentTimeZoneId(), currentLocaleId());
}

namespace {

// Building an ICU calendar loads zone and locale data (several microseconds); the immutable
// prototypes are kept per (zone, locale) and cloned for each computation. Only a few
// combinations occur in a process; the bound guards against unbounded growth.
std::shared_ptr<const icu::Calendar> prototypeFor(const std::string& zoneId,
                                                  const std::string& localeId) {
  static std::mutex mutex;
  static std::unordered_map<std::string, std::shared_ptr<const icu::Calendar>> prototypes;
  constexpr std::size_t kMaxPrototypes = 64;
  std::string key = zoneId;
  key += '\n';
  key += localeId;
  {
    std::lock_guard lock(mutex);
    if (auto it = prototypes.find(key); it != prototypes.end()) return it->second;
  }
  UErrorCode status = U_ZERO_ERROR;
  // The calendar adopts the zone; always Gregorian, whatever calendar the locale prefers, and
  // proleptic (no Julian dates before 1582), as ISO-8601 dates are.
  auto calendar = std::make_shared<icu::GregorianCalendar>(makeZone(zoneId).release(),
                                                           icu::Locale(localeId.c_str()), status);
  if (U_FAILURE(status)) fatalError("cannot create a calendar for locale \"" + localeId + "\"");
  calendar->setGregorianChange(U_DATE_MIN, status);
  std::lock_guard lock(mutex);
  if (prototypes.size() >= kMaxPrototypes) prototypes.clear();
  prototypes.emplace(std::move(key), calendar);
  return calendar;
}

}  // namespace

Calendar::Calendar(const std::string& timeZoneId, const std::string& localeId)
    : zone_(timeZoneId), locale_(localeId), prototype_(prototypeFor(timeZoneId, localeId)) {}

std::unique_ptr<icu::Calendar> Calendar::make(Date date) const {
  std::unique_ptr<icu::Calendar> calendar(prototype_->clone());
  UErrorCode status = U_ZERO_ERROR;
  calendar->setTime(toUDate(date), status);
  return calendar;
}

namespace {

std::optional<Date> addHours(icu::Calendar& calendar, Date date, std::int64_t hours) {
  if (!std::isfinite(date.timeIntervalSinceReferenceDate)) return std::nullopt;
  if (hours < std::numeric_limits<int32_t>::min() || hours > std::numeric_limits<int32_t>::max()) {
    return std::nullopt;
  }
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(toUDate(date), status);
  const double before = calendar.getTime(status);
  calendar.add(UCAL_HOUR_OF_DAY, static_cast<int32_t>(hours), status);
  const double after = calendar.getTime(status);
  if (U_FAILURE(status)) return std::nullopt;
  // Apply the calendar's change as a difference so that the date's sub-millisecond part,
  // which ICU's millisecond clock drops, survives.
  return date.addingTimeInterval((after - before) / kMsPerSecond);
}

}  // namespace

std::optional<Date> Calendar::addingHours(Date date, std::int64_t hours) const {
  std::unique_ptr<icu::Calendar> calendar(prototype_->clone());
  return addHours(*calendar, date, hours);
}

std::vector<std::optional<Date>> Calendar::addingHoursSeries(Date date, int count) const {
  // Cloning the prototype copies its zone's rules and is the larger part of one addition.
  std::unique_ptr<icu::Calendar> calendar(prototype_->clone());
  std::vector<std::optional<Date>> out;
  out.reserve(static_cast<std::size_t>(std::max(count, 0)));
  for (int h = 0; h < count; ++h)
    out.push_back(addHours(*calendar, date, h));
  return out;
}

Date Calendar::startOfDay(Date date) const {
  auto calendar = make(date);
  UErrorCode status = U_ZERO_ERROR;
  calendar->set(UCAL_HOUR_OF_DAY, 0);
  calendar->set(UCAL_MINUTE, 0);
  calendar->set(UCAL_SECOND, 0);
  calendar->set(UCAL_MILLISECOND, 0);
  return Date::fromUnix(calendar->getTime(status) / kMsPerSecond);
}

bool Calendar::isDate(Date a, Date inSameDayAs) const {
  auto ca = make(a);
  auto cb = make(inSameDayAs);
  UErrorCode status = U_ZERO_ERROR;
  return ca->get(UCAL_EXTENDED_YEAR, status) == cb->get(UCAL_EXTENDED_YEAR, status) &&
         ca->get(UCAL_DAY_OF_YEAR, status) == cb->get(UCAL_DAY_OF_YEAR, status);
}

bool Calendar::isDateInToday(Date date) const {
  return isDate(date, now());
}

int Calendar::weekday(Date date) const {
  UErrorCode status = U_ZERO_ERROR;
  return make(date)->get(UCAL_DAY_OF_WEEK, status);
}

int Calendar::dayOfMonth(Date date) const {
  UErrorCode status = U_ZERO_ERROR;
  return make(date)->get(UCAL_DAY_OF_MONTH, status);
}

int Calendar::firstWeekday() const {
  UErrorCode status = U_ZERO_ERROR;
  return static_cast<int>(prototype_->getFirstDayOfWeek(status));
}

std::vector<std::string> Calendar::veryShortStandaloneWeekdaySymbols() const {
  // Loading a locale's date symbols reads ICU's resource data (tens of microseconds) and the
  // history widget asks on every layout; the names never change for a locale.
  static std::mutex mutex;
  static std::unordered_map<std::string, std::vector<std::string>> known;
  {
    std::lock_guard lock(mutex);
    if (auto it = known.find(locale_); it != known.end()) return it->second;
  }
  UErrorCode status = U_ZERO_ERROR;
  icu::DateFormatSymbols symbols(icu::Locale(locale_.c_str()), status);
  std::vector<std::string> out;
  if (U_FAILURE(status)) return std::vector<std::string>(7);
  int32_t count = 0;
  const icu::UnicodeString* names = symbols.getWeekdays(count, icu::DateFormatSymbols::STANDALONE,
                                                        icu::DateFormatSymbols::NARROW);
  // ICU's array is indexed by UCAL_SUNDAY (1) ... UCAL_SATURDAY (7); slot 0 is unused.
  for (int32_t i = UCAL_SUNDAY; i <= UCAL_SATURDAY; ++i) {
    std::string name;
    if (i < count) names[i].toUTF8String(name);
    out.push_back(std::move(name));
  }
  std::lock_guard lock(mutex);
  if (known.size() >= 64) known.clear();
  known.emplace(locale_, out);
  return out;
}

int secondsFromGMT(const std::string& timeZoneId, Date date) {
  auto zone = makeZone(timeZoneId);
  int32_t raw = 0;
  int32_t dst = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone->getOffset(toUDate(date), false, raw, dst, status);
  return (raw + dst) / 1000;
}

LocalFields localFields(Date date, const std::string& timeZoneId) {
  const double t = date.timeIntervalSince1970();
  const double whole = std::floor(t);
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(makeZone(timeZoneId).release(), icu::Locale::getRoot(), status);
  calendar.setGregorianChange(U_DATE_MIN, status);
  calendar.setTime(whole * kMsPerSecond, status);
  LocalFields f{};
  f.year = calendar.get(UCAL_EXTENDED_YEAR, status);
  f.month = calendar.get(UCAL_MONTH, status) + 1;
  f.day = calendar.get(UCAL_DAY_OF_MONTH, status);
  f.hour = calendar.get(UCAL_HOUR_OF_DAY, status);
  f.minute = calendar.get(UCAL_MINUTE, status);
  f.second = calendar.get(UCAL_SECOND, status);
  f.fraction = t - whole;
  f.offsetSeconds =
      (calendar.get(UCAL_ZONE_OFFSET, status) + calendar.get(UCAL_DST_OFFSET, status)) / 1000;
  return f;
}

Date dateFromLocal(int year, int month, int day, int hour, int minute, double second,
                   const std::string& timeZoneId) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(makeZone(timeZoneId).release(), icu::Locale::getRoot(), status);
  calendar.setGregorianChange(U_DATE_MIN, status);
  calendar.clear();
  calendar.set(year, month - 1, day, hour, minute, 0);
  const double ms = calendar.getTime(status);
  return Date::fromUnix(ms / kMsPerSecond + second);
}

}  // namespace km
