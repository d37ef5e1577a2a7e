// Dates: the current moment, and ISO 8601 text both ways.

#include "platform/foundation/date.h"

#include <chrono>
#include <cmath>
#include <cstdio>

#include "platform/foundation/calendar.h"
#include "platform/foundation/process_settings.h"

namespace km {
namespace {

// Days from 1970-01-01 to a proleptic Gregorian date (H. Hinnant's algorithm).
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const auto yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

bool isLeap(int y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int daysInMonth(int y, int m) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && isLeap(y) ? 29 : kDays[m - 1];
}

// A cursor over the text with fixed-width digit reads.
struct Reader {
  std::string_view s;
  std::size_t i = 0;

  bool digits(int width, int& out) {
    if (i + static_cast<std::size_t>(width) > s.size()) return false;
    out = 0;
    for (int k = 0; k < width; ++k) {
      const char c = s[i + static_cast<std::size_t>(k)];
      if (c < '0' || c > '9') return false;
      out = out * 10 + (c - '0');
    }
    i += static_cast<std::size_t>(width);
    return true;
  }
  bool literal(char c) {
    if (i < s.size() && s[i] == c) {
      ++i;
      return true;
    }
    return false;
  }
  bool atEnd() const { return i == s.size(); }
  char peek() const { return i < s.size() ? s[i] : '\0'; }
};

}  // namespace

Date now() {
  if (auto fixed = fixedNow()) return *fixed;
  const auto since1970 = std::chrono::system_clock::now().time_since_epoch();
  return Date::fromUnix(std::chrono::duration<double>(since1970).count());
}

std::string formatISO8601(Date date, std::string_view timeZoneId) {
  const std::string zone = timeZoneId.empty() ? currentTimeZoneId() : std::string(timeZoneId);
  const LocalFields f = localFields(date, zone);
  char buffer[64];
  int n = std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d", f.year, f.month,
                        f.day, f.hour, f.minute, f.second);
  std::string out(buffer, static_cast<std::size_t>(n));
  const int millis = static_cast<int>(std::floor(f.fraction * 1000));
  if (millis > 0) {
    n = std::snprintf(buffer, sizeof buffer, ".%03d", millis);
    out.append(buffer, static_cast<std::size_t>(n));
  }
  if (f.offsetSeconds == 0) return out + "Z";
  const int abs = std::abs(f.offsetSeconds);
  n = std::snprintf(buffer, sizeof buffer, "%c%02d:%02d", f.offsetSeconds < 0 ? '-' : '+',
                    abs / 3600, abs / 60 % 60);
  out.append(buffer, static_cast<std::size_t>(n));
  if (abs % 60 != 0) {  // historical zones with second offsets
    n = std::snprintf(buffer, sizeof buffer, ":%02d", abs % 60);
    out.append(buffer, static_cast<std::size_t>(n));
  }
  return out;
}

std::optional<Date> parseISO8601(std::string_view text) {
  Reader r{text};
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!r.digits(4, year) || !r.literal('-') || !r.digits(2, month) || !r.literal('-') ||
      !r.digits(2, day)) {
    return std::nullopt;
  }
  if (!r.literal('T') && !r.literal(' ')) return std::nullopt;
  if (!r.digits(2, hour) || !r.literal(':') || !r.digits(2, minute)) return std::nullopt;
  double fraction = 0;
  if (r.literal(':')) {
    if (!r.digits(2, second)) return std::nullopt;
    if (r.literal('.') || r.literal(',')) {
      double scale = 0.1;
      const std::size_t start = r.i;
      while (r.peek() >= '0' && r.peek() <= '9') {
        fraction += (r.peek() - '0') * scale;
        scale /= 10;
        ++r.i;
      }
      if (r.i == start) return std::nullopt;
    }
  }
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 ||
      minute > 59 || second > 59) {
    return std::nullopt;
  }
  // Only moments whose UTC date has four digits: an offset can push "9999-12-31T23:59-23:59"
  // into year 10000, which no ISO-8601 text of this form can say back.
  const auto writable = [](Date date) -> std::optional<Date> {
    static const double earliest = static_cast<double>(daysFromCivil(0, 1, 1) * 86400);
    static const double end = static_cast<double>(daysFromCivil(10000, 1, 1) * 86400);
    const double t = date.timeIntervalSince1970();
    if (!(t >= earliest && t < end)) return std::nullopt;
    return date;
  };
  if (r.atEnd()) {
    return writable(
        dateFromLocal(year, month, day, hour, minute, second + fraction, currentTimeZoneId()));
  }
  int offset = 0;
  if (!r.literal('Z')) {
    const char sign = r.peek();
    if (sign != '+' && sign != '-') return std::nullopt;
    ++r.i;
    int oh = 0, om = 0;
    if (!r.digits(2, oh)) return std::nullopt;
    r.literal(':');
    if (!r.digits(2, om) || oh > 23 || om > 59) return std::nullopt;
    offset = (oh * 3600 + om * 60) * (sign == '-' ? -1 : 1);
  }
  if (!r.atEnd()) return std::nullopt;
  const std::int64_t days =
      daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day));
  const double seconds =
      static_cast<double>(days * 86400 + hour * 3600 + minute * 60 + second - offset) + fraction;
  return writable(Date::fromUnix(seconds));
}

}  // namespace km
