// The process's settings and their scoped overrides.

#include "platform/foundation/process_settings.h"

#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>

#include "base/fatal_error.h"

namespace km {
namespace {

struct Settings {
  std::optional<Date> now;
  std::optional<std::string> timeZone;
  std::optional<std::string> locale;
  std::optional<std::string> languageOverride;
  std::optional<std::string> storePath;
  std::optional<std::string> mainBundlePath;
  std::optional<std::vector<std::string>> preferredLanguages;
};

std::mutex gMutex;
Settings gSettings;

std::optional<std::string>& slot(Settings& s, StringSetting which) {
  switch (which) {
    case StringSetting::timeZone:
      return s.timeZone;
    case StringSetting::locale:
      return s.locale;
    case StringSetting::languageOverride:
      return s.languageOverride;
    case StringSetting::storePath:
      return s.storePath;
    case StringSetting::mainBundlePath:
      return s.mainBundlePath;
  }
  fatalError("unknown process setting");
}

// The host's zone as ICU detects it (TZ, then /etc/localtime), read once: the host does not
// change zone under a running widget process, and detection touches the file system.
const std::string& hostTimeZoneId() {
  static const std::string id = [] {
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
    std::string out;
    if (zone && *zone != icu::TimeZone::getUnknown()) {
      icu::UnicodeString uid;
      zone->getID(uid);
      uid.toUTF8String(out);
    }
    return out.empty() ? std::string("UTC") : out;
  }();
  return id;
}

// "de_CH.UTF-8@euro" -> "de-CH"; "C" and "POSIX" name no language.
std::optional<std::string> languageFromPosix(std::string value) {
  if (auto cut = value.find_first_of(".@"); cut != std::string::npos) value.resize(cut);
  if (value.empty() || value == "C" || value == "POSIX") return std::nullopt;
  for (char& c : value) {
    if (c == '_') c = '-';
  }
  return value;
}

std::vector<std::string> environmentLanguages() {
  std::vector<std::string> out;
  // LANGUAGE is a colon-separated priority list and wins, as for gettext.
  if (const char* list = std::getenv("LANGUAGE"); list && *list) {
    std::string all(list);
    std::size_t start = 0;
    while (start <= all.size()) {
      std::size_t end = all.find(':', start);
      if (end == std::string::npos) end = all.size();
      if (auto lang = languageFromPosix(all.substr(start, end - start))) out.push_back(*lang);
      start = end + 1;
    }
    if (!out.empty()) return out;
  }
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const char* value = std::getenv(name); value && *value) {
      if (auto lang = languageFromPosix(value)) out.push_back(*lang);
      break;
    }
  }
  return out;
}

}  // namespace

std::optional<Date> fixedNow() {
  std::lock_guard lock(gMutex);
  return gSettings.now;
}

std::string currentTimeZoneId() {
  {
    std::lock_guard lock(gMutex);
    if (gSettings.timeZone) return *gSettings.timeZone;
  }
  return hostTimeZoneId();
}

std::string currentLocaleId() {
  {
    std::lock_guard lock(gMutex);
    if (gSettings.locale) return *gSettings.locale;
  }
  // ICU's default locale is derived from the environment (LC_ALL, LC_MESSAGES, LANG).
  return icu::Locale::getDefault().getName();
}

std::vector<std::string> preferredLanguages() {
  {
    std::lock_guard lock(gMutex);
    if (gSettings.preferredLanguages) return *gSettings.preferredLanguages;
  }
  return environmentLanguages();
}

std::optional<std::string> languageOverride() {
  std::lock_guard lock(gMutex);
  return gSettings.languageOverride;
}

std::optional<std::string> storePathOverride() {
  std::lock_guard lock(gMutex);
  return gSettings.storePath;
}

std::optional<std::string> mainBundlePathOverride() {
  std::lock_guard lock(gMutex);
  return gSettings.mainBundlePath;
}

bool isKnownTimeZone(const std::string& zoneId) {
  if (zoneId.empty()) return false;
  std::unique_ptr<icu::TimeZone> zone(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zoneId)));
  return zone && *zone != icu::TimeZone::getUnknown();
}

ScopedNow::ScopedNow(std::optional<Date> date) {
  std::lock_guard lock(gMutex);
  previous_ = gSettings.now;
  gSettings.now = date;
}

ScopedNow::~ScopedNow() {
  std::lock_guard lock(gMutex);
  gSettings.now = previous_;
}

ScopedStringSetting::ScopedStringSetting(StringSetting which, std::optional<std::string> value)
    : which_(which) {
  std::lock_guard lock(gMutex);
  previous_ = slot(gSettings, which);
  slot(gSettings, which) = std::move(value);
}

ScopedStringSetting::~ScopedStringSetting() {
  std::lock_guard lock(gMutex);
  slot(gSettings, which_) = std::move(previous_);
}

namespace {
std::string checkedZone(std::string zoneId) {
  if (!isKnownTimeZone(zoneId)) fatalError("unknown time zone \"" + zoneId + "\"");
  return zoneId;
}
}  // namespace

ScopedTimeZone::ScopedTimeZone(std::string zoneId)
    : ScopedStringSetting(StringSetting::timeZone, checkedZone(std::move(zoneId))) {}

ScopedPreferredLanguages::ScopedPreferredLanguages(
    std::optional<std::vector<std::string>> languages) {
  std::lock_guard lock(gMutex);
  previous_ = gSettings.preferredLanguages;
  gSettings.preferredLanguages = std::move(languages);
}

ScopedPreferredLanguages::~ScopedPreferredLanguages() {
  std::lock_guard lock(gMutex);
  gSettings.preferredLanguages = std::move(previous_);
}

std::optional<std::string> executableDirectory() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  return self.parent_path().string();
}

}  // namespace km
