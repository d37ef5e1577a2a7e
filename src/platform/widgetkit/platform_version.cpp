// The process's platform version and its parsing.

#include "platform/widgetkit/platform_version.h"

#include <atomic>
#include <charconv>

namespace km {
namespace {

// Packed as major * 1000 + minor so one atomic holds the whole version.
std::atomic<int> gVersion{17 * 1000};

}  // namespace

PlatformVersion currentPlatformVersion() {
  const int packed = gVersion.load(std::memory_order_relaxed);
  return {packed / 1000, packed % 1000};
}

void setPlatformVersion(PlatformVersion version) {
  gVersion.store(version.major * 1000 + version.minor, std::memory_order_relaxed);
}

std::optional<PlatformVersion> parsePlatformVersion(std::string_view text) {
  PlatformVersion v{0, 0};
  const char* p = text.data();
  const char* end = text.data() + text.size();
  auto [afterMajor, ec] = std::from_chars(p, end, v.major);
  if (ec != std::errc{} || afterMajor == p || v.major < 1 || v.major > 999) return std::nullopt;
  if (afterMajor == end) return v;
  if (*afterMajor != '.') return std::nullopt;
  auto [afterMinor, ec2] = std::from_chars(afterMajor + 1, end, v.minor);
  if (ec2 != std::errc{} || afterMinor != end || v.minor < 0 || v.minor > 999) return std::nullopt;
  return v;
}

ScopedPlatformVersion::ScopedPlatformVersion(PlatformVersion version)
    : previous_(currentPlatformVersion()) {
  setPlatformVersion(version);
}

ScopedPlatformVersion::~ScopedPlatformVersion() {
  setPlatformVersion(previous_);
}

}  // namespace km
