// URL validation and deep-link building. The validator and the URL type must agree, a URL keeps
// its text exactly, and a deep link is built for any name whose link the validator accepts (the
// fatal path is only for names it refuses, so those are not built here). The input is split at
// its first newline into a destination and a widget name.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/foundation/url.h"
#include "resources/deep_links.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto url = km::URL::fromString(text);
  if (url.has_value() != km::isValidURL(text)) std::abort();
  if (url && (url->absoluteString() != text ||
              text.substr(0, url->scheme().size() + 1) != url->scheme() + ":")) {
    std::abort();
  }

  const size_t cut = text.find('\n');
  const std::string_view destination = text.substr(0, cut);
  const std::string_view name = cut == std::string_view::npos ? text : text.substr(cut + 1);
  const std::string diary = "kalomate://diary-widget-" + std::string(name);
  if (km::isValidURL(diary) && km::diaryLink(name).absoluteString() != diary) std::abort();
  const std::string action =
      "kalomate://" + std::string(destination) + "-widget-" + std::string(name);
  if (km::isValidURL(action)) {
    const km::URL link = km::actionLink(destination, name);
    if (link.absoluteString() != action || link.scheme() != "kalomate") std::abort();
  }
  return 0;
}
