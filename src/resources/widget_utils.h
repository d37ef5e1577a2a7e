#pragma once

// WidgetUtils: localisation, the same-day test and colours from hexadecimal text.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/bundle.h"
#include "platform/foundation/date.h"
#include "platform/ui/color.h"
#include "platform/ui/geometry.h"

namespace km {

// The name of the localisation table every widget text comes from.
inline constexpr const char* kLocalizationTable = "KMLocalizable";

// The resource operations the widgets share. Stateless: every call reads the settings and the
// store afresh, so a language chosen in the app shows at the next redraw. Thread-safe.
struct WidgetUtils {
  // The text of `key` in the language chosen in the app (this run's language override, else
  // the shared store's "languageUserSelected"), else the main bundle's preferred localisation.
  // Never fails: a missing table or key gives the key itself.
  static std::string localizedString(std::string_view key);

  // The bundle of the language folder "<language>.lproj" of the main bundle; the main bundle
  // itself when there is no language or no such folder.
  static Bundle languageBundle(const std::optional<std::string>& language);

  // The direction the widgets lay out in: that of the language their texts are drawn in (the
  // one chosen in the app when the bundle has it, else the bundle's preferred localisation), so
  // that Arabic texts come with a mirrored layout.
  static LayoutDirection layoutDirection();

  // A colour from hexadecimal text "RGB", "RRGGBB" or "AARRGGBB", with any non-alphanumeric
  // characters around it ignored ("#DE7300" is "DE7300"). Text of any other length gives an
  // almost invisible colour (1/255 red, 1/255 alpha) rather than failing.
  static Color colorFromHex(std::string_view text);

  // The start of the day holding `date`, by whole days of seconds since 1970 in the process's
  // time zone, computed in 32-bit integers. A date that is already a whole UTC day is its own
  // start. Fatal for a date whose day count or seconds do not fit 32 bits (after 2038-01-19).
  static Date dayStart(Date date);
  // The day number of today: the day start of now, in whole days since 1970 (32 bits).
  static std::int32_t todayNumber();
  // Whether `date` falls in today by day numbers. This may differ from the calendar's own today
  // test near midnight, which is deliberate: the widgets that hide a stale day use this one.
  static bool isToday(Date date);
  // The 32-bit day number of a date's day start.
  static std::int32_t dayNumber(Date dayStartDate);
};

// One redraw of the widgets on this thread. The chosen language, the bundle and its tables do
// not change within a redraw, so while a scope is open each text is looked up once and then
// remembered; outside any scope every lookup reads the store and the bundle afresh. A host opens
// one around building and laying out the widgets it draws; a change made in the app then shows
// at the next redraw. Scopes nest (the outermost one remembers); not shared between threads.
class ScopedRedraw {
 public:
  ScopedRedraw();
  ~ScopedRedraw();
  ScopedRedraw(const ScopedRedraw&) = delete;
  ScopedRedraw& operator=(const ScopedRedraw&) = delete;

 private:
  bool outermost_;
};

// Shorthand for WidgetUtils::localizedString, used by every widget text.
inline std::string localizedString(std::string_view key) {
  return WidgetUtils::localizedString(key);
}

}  // namespace km
