#pragma once

// PlatformVersion: the phone platform version the widgets run on.

#include <optional>
#include <string_view>

namespace km {

// The phone platform's major version the widgets run on, a setting of the process like the
// phone's own. It gates lock-screen families (16+) and container backgrounds/margins (17+).
// Default 17. Reading and setting are thread-safe; tests and the CLI change it through
// ScopedPlatformVersion.
struct PlatformVersion {
  int major = 17;
  int minor = 0;

  bool atLeast(int wantMajor, int wantMinor = 0) const {
    return major > wantMajor || (major == wantMajor && minor >= wantMinor);
  }
};

PlatformVersion currentPlatformVersion();
void setPlatformVersion(PlatformVersion version);

// Parses "16", "16.4" or "17.0"; nullopt for anything else.
std::optional<PlatformVersion> parsePlatformVersion(std::string_view text);

// Sets the version for its lifetime and restores the previous one after.
class ScopedPlatformVersion {
 public:
  explicit ScopedPlatformVersion(PlatformVersion version);
  ~ScopedPlatformVersion();
  ScopedPlatformVersion(const ScopedPlatformVersion&) = delete;
  ScopedPlatformVersion& operator=(const ScopedPlatformVersion&) = delete;

 private:
  PlatformVersion previous_;
};

}  // namespace km
