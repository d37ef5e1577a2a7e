#pragma once

// The live widget host: its options, running it, and asking a running host to reload.

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>

#include "platform/foundation/date.h"

namespace km::host {

// The port `kmwidget host` serves on unless told otherwise.
inline constexpr std::uint16_t kDefaultPort = 8471;

struct HostOptions {
  std::string storePath;                // the shared store's file
  std::uint16_t port = kDefaultPort;    // 0: any free port
  std::optional<Date> start;            // widget time at start (default: the real time)
  double speed = 1;                     // widget seconds per real second
  std::optional<std::string> openWith;  // command that opens a tapped URL (default xdg-open)
  std::optional<std::string> language;  // the language for this run only (else the store's)
  std::optional<int> osMajor;           // the platform version (else the saved setting)
  int workers = 2;                      // render worker processes
};

// Runs the live host until SIGINT or SIGTERM: plays the phone's widget host for the bundle and
// serves the page on 127.0.0.1. Writes what it does to `log`. Returns the exit status.
int runHost(const HostOptions& options, std::ostream& log);

// The file beside the store that tells `kmwidget reload` where the host on that store listens:
// "<store file>.host.json" with {"port", "pid"}.
std::string hostFilePath(const std::string& storePath);

// Asks the host running on `storePath` to reload the timelines of `kind` (every widget when
// empty); the number of widgets reloaded, or an error saying why the host cannot be reached.
struct ReloadAnswer {
  bool ok = false;
  int reloaded = 0;
  std::string error;
};
ReloadAnswer requestReload(const std::string& storePath, const std::string& kind);

}  // namespace km::host
