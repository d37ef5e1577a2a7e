#pragma once

// String operations with the phone's Unicode rules.

#include <cstddef>
#include <string>
#include <string_view>

namespace km {

// String operations with the phone's Unicode rules, through ICU. UTF-8 in and out; invalid
// UTF-8 sequences count and map as U+FFFD. Stateless and thread-safe.

// Each word's first letter in title case and the rest lower case ("hello wORLD" -> "Hello
// World"), by the rules of `localeId` (the process's locale when empty).
std::string capitalized(std::string_view text, std::string_view localeId = {});
std::string lowercased(std::string_view text, std::string_view localeId = {});
std::string uppercased(std::string_view text, std::string_view localeId = {});
// A-Z to a-z and nothing else: for identifiers and protocol tokens, where no locale's rules may
// apply (a Turkish locale would lower "I" to a dotless i).
std::string asciiLowercased(std::string_view text);

// The number of user-perceived characters (extended grapheme clusters): "e\u0301" and a flag
// emoji count as one each.
std::size_t graphemeCount(std::string_view text);

// Whether a language is written right to left ("ar", "he", "fa-IR", "ur"), from its script
// (given, or the language's usual one). A tag ICU cannot read counts as left to right.
bool isRightToLeftLanguage(std::string_view languageTag);

}  // namespace km
