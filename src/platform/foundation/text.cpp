#include "platform/foundation/text.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>

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
  icu::UnicodeString s = fromUtf8(text);
  // A null break iterator means ICU's word iterator for the locale.
  s.toTitle(nullptr, localeFor(localeId));
  return toUtf8(s);
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

}  // namespace km
