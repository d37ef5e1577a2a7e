#pragma once

// Where the tracking client's messages go first. A logger that returns true has handled the
// message; on false the client writes it to the system log itself, with its own prefix.
// Implementations are called on whichever thread calls the client.

#include <string>

namespace km {

class AvoLogger {
 public:
  virtual ~AvoLogger() = default;

  // Event lines and validation messages.
  virtual bool logDebug(bool isDev, const std::string& message) = 0;
  // Notices about the client's configuration (noop mode).
  virtual bool logWarn(bool isDev, const std::string& message) = 0;
  // Problems with the integration (an outdated inspector).
  virtual bool logError(bool isDev, const std::string& message) = 0;
};

// Handles nothing, so every message reaches the system log.
class EmptyAvoLogger final : public AvoLogger {
 public:
  bool logDebug(bool, const std::string&) override { return false; }
  bool logWarn(bool, const std::string&) override { return false; }
  bool logError(bool, const std::string&) override { return false; }
};

}  // namespace km
