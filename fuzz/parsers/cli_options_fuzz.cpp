// The global --now and --os options, through the tool's own command line. The input is split at
// its first newline into the two values; the tool must answer with the placeholder entry or a
// usage error, never crash. A moment that parses must survive being written in UTC and read
// again (to the millisecond the written form keeps).
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "kmwidget/cli.h"
#include "platform/foundation/date.h"
#include "platform/widgetkit/platform_version.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const size_t cut = text.find('\n');
  const std::string now(text.substr(0, cut));
  const std::string os(cut == std::string_view::npos ? "17" : text.substr(cut + 1));

  if (const auto date = km::parseISO8601(now)) {
    const auto again = km::parseISO8601(km::formatISO8601(*date, "UTC"));
    if (!again || !(std::fabs(again->timeIntervalSinceReferenceDate -
                              date->timeIntervalSinceReferenceDate) < 0.0011)) {
      std::abort();
    }
  }
  if (const auto version = km::parsePlatformVersion(os)) {
    if (version->major < 0 || version->minor < 0) std::abort();
  }

  std::ostringstream out;
  std::ostringstream err;
  std::istringstream in;
  const km::cli::Io io{out, err, in};
  const int status = km::cli::runKmwidget({"--now", now, "--os", os, "placeholder"}, io);
  if (status != km::cli::kExitOk && status != km::cli::kExitUsage) std::abort();
  return 0;
}
