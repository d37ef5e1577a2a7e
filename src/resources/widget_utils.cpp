// Localised texts in the chosen language, the same-day test and hexadecimal colours.

#include "resources/widget_utils.h"

#include <memory>
#include <string>

#include "base/checked.h"
#include "model/shared_store.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/text.h"
#include "platform/foundation/user_defaults.h"

namespace km {
namespace {

constexpr std::int32_t kSecondsPerDay = 86400;

std::optional<std::string> chosenLanguage() {
  if (auto language = languageOverride()) return language;
  Result<UserDefaults> store = UserDefaults::open(kAppGroupSuiteName, UserDefaults::Access::read);
  if (!store.ok()) return std::nullopt;
  return store->string(kLanguageUserSelectedKey);
}

bool isAlphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// What the current redraw on this thread has read, when one is open: the language's table,
// once resolved (the store, the bundle and the table file are then not checked again).
struct RedrawTexts {
  bool resolved = false;
  std::shared_ptr<const StringsTable> table;
};
thread_local std::unique_ptr<RedrawTexts> tRedraw;

}  // namespace

ScopedRedraw::ScopedRedraw() : outermost_(!tRedraw) {
  if (outermost_) tRedraw = std::make_unique<RedrawTexts>();
}

ScopedRedraw::~ScopedRedraw() {
  if (outermost_) tRedraw.reset();
}

std::string WidgetUtils::localizedString(std::string_view key) {
  if (!tRedraw) {
    return languageBundle(chosenLanguage()).localizedString(key, "", kLocalizationTable);
  }
  if (!tRedraw->resolved) {
    tRedraw->table = languageBundle(chosenLanguage()).stringsTable(kLocalizationTable);
    tRedraw->resolved = true;
  }
  if (tRedraw->table) {
    if (auto it = tRedraw->table->find(std::string(key)); it != tRedraw->table->end()) {
      return it->second;
    }
  }
  return std::string(key);
}

Bundle WidgetUtils::languageBundle(const std::optional<std::string>& language) {
  Bundle mainBundle = Bundle::main();
  if (!language) return mainBundle;
  if (auto path = mainBundle.pathForResource(*language, "lproj")) {
    if (auto bundle = Bundle::atPath(*path)) return *bundle;
  }
  return mainBundle;
}

LayoutDirection WidgetUtils::layoutDirection() {
  const Bundle mainBundle = Bundle::main();
  std::optional<std::string> language = chosenLanguage();
  if (!language || !mainBundle.pathForResource(*language, "lproj")) {
    language = mainBundle.preferredLocalization();
  }
  return isRightToLeftLanguage(*language) ? LayoutDirection::rightToLeft
                                          : LayoutDirection::leftToRight;
}

Color WidgetUtils::colorFromHex(std::string_view text) {
  // Only the ASCII letters and digits count as alphanumeric here; anything else at the ends
  // (a '#', spaces, quotes) is trimmed.
  std::size_t begin = 0;
  std::size_t end = text.size();
  while (begin < end && !isAlphanumeric(text[begin]))
    ++begin;
  while (end > begin && !isAlphanumeric(text[end - 1]))
    --end;
  const std::string_view hex = text.substr(begin, end - begin);

  // A scan that stops at the first non-hexadecimal character; the length below is the trimmed
  // text's, not the scanned part's.
  std::uint64_t v = 0;
  for (char c : hex) {
    const int d = hexDigit(c);
    if (d < 0) break;
    v = (v << 4) | static_cast<std::uint64_t>(d);
  }
  std::uint64_t a = 255, r = 1, g = 1, b = 0;
  switch (hex.size()) {
    case 3:
      r = (v >> 8) * 17;
      g = ((v >> 4) & 15) * 17;
      b = (v & 15) * 17;
      break;
    case 6:
      r = (v >> 16) & 255;
      g = (v >> 8) & 255;
      b = v & 255;
      break;
    case 8:
      a = v >> 24;
      r = (v >> 16) & 255;
      g = (v >> 8) & 255;
      b = v & 255;
      break;
    default:
      a = 1;
      break;
  }
  return Color::sRGB(static_cast<double>(r) / 255, static_cast<double>(g) / 255,
                     static_cast<double>(b) / 255, static_cast<double>(a) / 255);
}

Date WidgetUtils::dayStart(Date date) {
  const double t = date.timeIntervalSince1970();
  const double quotient = t / kSecondsPerDay;
  // A whole UTC day is taken as the day start as it is, without the zone's offset.
  if (static_cast<double>(checkedInt64(quotient)) == quotient) return date;
  const int offset = secondsFromGMT(currentTimeZoneId(), date);
  const std::int32_t days = checkedInt32((t + offset) / kSecondsPerDay);
  return Date::fromUnix(checkedMul(days, kSecondsPerDay));
}

std::int32_t WidgetUtils::dayNumber(Date dayStartDate) {
  return checkedDiv(checkedInt32(dayStartDate.timeIntervalSince1970()), kSecondsPerDay);
}

std::int32_t WidgetUtils::todayNumber() {
  return dayNumber(dayStart(dayStart(now())));
}

bool WidgetUtils::isToday(Date date) {
  return dayNumber(dayStart(date)) == todayNumber();
}

}  // namespace km
