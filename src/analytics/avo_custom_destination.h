#pragma once

// The host app's analytics destination: the one place events and user properties are sent to.
// The host implements it and hands it to the client, which keeps it (shared ownership) for its
// whole life. It is called on whichever thread calls the client.

#include <optional>
#include <string>

#include "analytics/avo_env.h"
#include "analytics/avo_value.h"

namespace km {

class AvoCustomDestination {
 public:
  virtual ~AvoCustomDestination() = default;

  // Chooses the environment before make(); the client itself passes it to make() instead.
  virtual void setEnvironment(AvoEnv env) = 0;
  // Prepares the destination; called once when the client is built (not in noop mode).
  virtual void make(AvoEnv env, std::optional<std::string> apiKey) = 0;
  virtual void logEvent(const std::string& eventName, const AvoDictionary& eventProperties) = 0;
  virtual void setUserProperties(const std::string& userId,
                                 const AvoDictionary& userProperties) = 0;
  virtual void identify(const std::string& userId) = 0;
  virtual void unidentify() = 0;
  // Records user properties only where none are set yet.
  virtual void setUserPropertiesOnce(const std::string& userId,
                                     const AvoDictionary& userProperties) = 0;
  // Sends whatever the destination has buffered.
  virtual void flush() = 0;
};

}  // namespace km
