#pragma once

// The process-wide settings (now, zone, locale, languages, store and bundle paths).

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/date.h"

namespace km {

// Settings of the whole process that the phone keeps for the user: the current moment, the time
// zone, the locale, the preferred languages, plus the two places our platform layer needs (the
// shared store's file and the main bundle's folder). Each can be overridden for a while (tests,
// command-line options) through the Scoped* guards below; reading and setting are thread-safe,
// but an override is process-wide, so tests that set one must not run concurrently with code that
// expects another.

// A fixed moment that `now()` returns instead of the system clock.
std::optional<Date> fixedNow();
// The IANA id of the default time zone: the override, else the host's zone (TZ, /etc/localtime).
std::string currentTimeZoneId();
// The ICU id of the current locale ("en_US", "de_DE"): the override, else from the environment.
std::string currentLocaleId();
// The user's preferred languages, most preferred first ("de-CH", "en"): the override, else
// LANGUAGE, LC_ALL, LC_MESSAGES and LANG of the environment. May be empty.
std::vector<std::string> preferredLanguages();
// The language chosen inside the app for this run only, taking precedence over the stored one.
std::optional<std::string> languageOverride();
// The shared store's file, when set explicitly (`--store`).
std::optional<std::string> storePathOverride();
// The main bundle's folder, when set explicitly.
std::optional<std::string> mainBundlePathOverride();
// The folder of the running program (where the programs and files installed with it are found);
// nullopt when the system does not say.
std::optional<std::string> executableDirectory();

// True when `zoneId` names a time zone ICU knows.
bool isKnownTimeZone(const std::string& zoneId);

// Each guard sets its setting for its lifetime and restores the previous value after.
class ScopedNow {
 public:
  explicit ScopedNow(std::optional<Date> date);
  ~ScopedNow();
  ScopedNow(const ScopedNow&) = delete;
  ScopedNow& operator=(const ScopedNow&) = delete;

 private:
  std::optional<Date> previous_;
};

// A string-valued setting guard; `Which` picks the setting.
enum class StringSetting { timeZone, locale, languageOverride, storePath, mainBundlePath };

class ScopedStringSetting {
 public:
  ScopedStringSetting(StringSetting which, std::optional<std::string> value);
  ~ScopedStringSetting();
  ScopedStringSetting(const ScopedStringSetting&) = delete;
  ScopedStringSetting& operator=(const ScopedStringSetting&) = delete;

 private:
  StringSetting which_;
  std::optional<std::string> previous_;
};

// The time zone must be a known IANA id (see isKnownTimeZone); an unknown one is fatal.
class ScopedTimeZone : public ScopedStringSetting {
 public:
  explicit ScopedTimeZone(std::string zoneId);
};
class ScopedLocale : public ScopedStringSetting {
 public:
  explicit ScopedLocale(std::string localeId)
      : ScopedStringSetting(StringSetting::locale, std::move(localeId)) {}
};
class ScopedLanguageOverride : public ScopedStringSetting {
 public:
  explicit ScopedLanguageOverride(std::optional<std::string> language)
      : ScopedStringSetting(StringSetting::languageOverride, std::move(language)) {}
};
class ScopedStorePath : public ScopedStringSetting {
 public:
  explicit ScopedStorePath(std::optional<std::string> path)
      : ScopedStringSetting(StringSetting::storePath, std::move(path)) {}
};
class ScopedMainBundlePath : public ScopedStringSetting {
 public:
  explicit ScopedMainBundlePath(std::optional<std::string> path)
      : ScopedStringSetting(StringSetting::mainBundlePath, std::move(path)) {}
};

class ScopedPreferredLanguages {
 public:
  explicit ScopedPreferredLanguages(std::optional<std::vector<std::string>> languages);
  ~ScopedPreferredLanguages();
  ScopedPreferredLanguages(const ScopedPreferredLanguages&) = delete;
  ScopedPreferredLanguages& operator=(const ScopedPreferredLanguages&) = delete;

 private:
  std::optional<std::vector<std::string>> previous_;
};

}  // namespace km
