#pragma once

// avo-cli: a playground for the tracking plan. It builds a tracking client whose destination,
// debugger and inspector print every call they receive as one JSON line, and sends events to it
// by name with JSON arguments, one at a time or replayed from a file of JSON lines.
//
// The console objects write to the stream they were given and hold no other state; they are used
// from one thread.

#include <iosfwd>
#include <string>
#include <vector>

#include "analytics/avo_custom_destination.h"
#include "analytics/dynamic_object.h"

namespace km {

// Prints each destination call: {"call":"logEvent","eventName":…,"eventProperties":{…}}.
class ConsoleDestination final : public AvoCustomDestination {
 public:
  explicit ConsoleDestination(std::ostream& out) : out_(out) {}

  void setEnvironment(AvoEnv env) override;
  void make(AvoEnv env, std::optional<std::string> apiKey) override;
  void logEvent(const std::string& eventName, const AvoDictionary& eventProperties) override;
  void setUserProperties(const std::string& userId, const AvoDictionary& userProperties) override;
  void identify(const std::string& userId) override;
  void unidentify() override;
  void setUserPropertiesOnce(const std::string& userId,
                             const AvoDictionary& userProperties) override;
  void flush() override;

 private:
  std::ostream& out_;
};

// A debugger or inspector object that answers the given selectors and prints each call as
// {"<role>":"<selector>","args":[…]}. "isEnabled" answers true when `enabled`, else null.
class ConsoleObject final : public DynamicObject {
 public:
  ConsoleObject(std::ostream& out, std::string role, std::vector<std::string> selectors,
                bool enabled = false)
      : out_(out), role_(std::move(role)), selectors_(std::move(selectors)), enabled_(enabled) {}

  bool respondsTo(std::string_view selector) const override;
  AvoValue perform(std::string_view selector, std::span<const AvoValue> args) override;

 private:
  std::ostream& out_;
  std::string role_;
  std::vector<std::string> selectors_;
  bool enabled_;
};

// Runs the command line (argv[0] is the program name) and returns the exit status: 0 on success,
// 1 when an event raised or a replayed line failed, 2 for usage errors (unknown event, bad
// arguments). Destination, debugger and inspector lines go to `out`, errors to `err`; the client's
// own log lines go to the system log. `in` is read for "--replay -".
int runAvoCli(int argc, const char* const* argv, std::istream& in, std::ostream& out,
              std::ostream& err);

}  // namespace km
