// Case mapping, grapheme counting and script direction through ICU.

#include "platform/foundation/text.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_map>

#include "platform/foundation/process_settings.h"

namespace km {
namespace {

icu::Locale localeFor(std::string_view localeId) {
  if (localeId.empty()) return icu::Locale(currentLocaleId().c_str());
  return icu::Locale(std::string(localeId).c_str());
}

std::string toUtf8(const icu::UnicodeString& s) {
  std::string out;
  s.toUTF8String(out);
  return out;
}

icu::UnicodeString fromUtf8(std::string_view text) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

}  // namespace

std::string capitalized(std::string_view text, std::string_view localeId) {
  // Title-casing makes a word break iterator for the locale each time, which costs tens of
  // microseconds, while widgets capitalise the same few labels on every redraw: each thread
  // remembers its recent answers.
  const std::string locale = localeId.empty() ? currentLocaleId() : std::string(localeId);
  std::string key;
  key.reserve(locale.size() + 1 + text.size());
  key.append(locale).push_back('\0');
  key.append(text);
  thread_local std::unordered_map<std::string, std::string> recent;
  if (auto it = recent.find(key); it != recent.end()) return it->second;
  icu::UnicodeString s = fromUtf8(text);
  // A null break iterator means ICU's word iterator for the locale.
  s.toTitle(nullptr, icu::Locale(locale.c_str()));
  std::string result = toUtf8(s);
  if (recent.size() >= 256) recent.clear();
  recent.emplace(std::move(key), result);
  return result;
}

std::string lowercased(std::string_view text, std::string_view localeId) {
  icu::UnicodeString s = fromUtf8(text);
  s.toLower(localeFor(localeId));
  return toUtf8(s);
}

std::string uppercased(std::string_view text, std::string_view localeId) {
  icu::UnicodeString s = fromUtf8(text);
  s.toUpper(localeFor(localeId));
  return toUtf8(s);
}

std::size_t graphemeCount(std::string_view text) {
  if (text.empty()) return 0;
  icu::UnicodeString s = fromUtf8(text);
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::BreakIterator> it(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  if (U_FAILURE(status) || !it) return static_cast<std::size_t>(s.countChar32());
  it->setText(s);
  std::size_t count = 0;
  it->first();
  while (it->next() != icu::BreakIterator::DONE)
    ++count;
  return count;
}

bool isRightToLeftLanguage(std::string_view languageTag) {
  UErrorCode status = U_ZERO_ERROR;
  // Bundle folders name languages with "_" ("pt_BR") as often as with "-".
  std::string tag(languageTag);
  std::replace(tag.begin(), tag.end(), '_', '-');
  const icu::Locale locale = icu::Locale::forLanguageTag(tag, status);
  return U_SUCCESS(status) && !locale.isBogus() && locale.isRightToLeft();
}

std::string asciiLowercased(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

}  // namespace km
