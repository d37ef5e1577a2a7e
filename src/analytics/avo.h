#pragma once

// The tracking client of the app's tracking plan.
//
// An Avo checks events and sends them to the host's destination, mirrors them to an optional
// debugger object, and reports their shape to an inspector object and to the inspector service.
// It is built once by the host and lives as long as the host keeps it (not copyable, not movable:
// event code holds on to it). It does no locking of its own: events only read the client, so
// they may run on several threads at once as long as nobody writes ENV_, NOOP_ or avoLogger
// meanwhile; the destination, logger, debugger and inspector are then called concurrently and
// must guard themselves. Reports to the inspector service never block: they are queued for a
// background worker.

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analytics/avo_assert_message.h"
#include "analytics/avo_custom_destination.h"
#include "analytics/avo_env.h"
#include "analytics/avo_logger.h"
#include "analytics/avo_value.h"
#include "analytics/dynamic_object.h"
#include "analytics/vocabulary.h"

namespace km {

class AvoEventRunner;

// The three messages of construction, whole. The logger gets them as they are; the system-log
// fallback puts "[avo] Warning! " or "[avo] Error! " in front.
inline constexpr std::string_view kAvoNoopNotice =
    "\n    ****************************************************\n"
    "    [avo] Avo is now initialized in noop mode. This means:\n"
    "    [avo] - No events will be sent\n"
    "    [avo] - No network requests are made\n"
    "    ****************************************************";
inline constexpr std::string_view kAvoProdNoopRefusal =
    "\n    ****************************************************\n"
    "    [avo] WARNING!!! [avo]\n"
    "    [avo] Avo cannot be initialized in noop mode in production:\n"
    "    [avo] - Overwriting configuration with noop=false.\n"
    "    [avo] - Please reach out if you want to be able to run Avo in production mode with "
    "noop=true\n"
    "    ****************************************************";
// Said once by a development client whose process has no usable inspector endpoint, so that
// reports that go nowhere do not look like reports that were sent.
inline constexpr std::string_view kAvoInspectorReportsOff =
    "Inspector reports are off: no inspector endpoint is configured (set KM_AVO_INSPECTOR_URL "
    "to an https:// URL).";

inline constexpr std::string_view kAvoInspectorVersionError =
    "Included Robrog version does not support the latest features used in Avo functions. "
    "Please update your Robrog to the latest version.";

// Selector and class names of the debugger and inspector objects.
namespace avo_selectors {
inline constexpr std::string_view kInspectorClass = "AvoInspector";
inline constexpr std::string_view kInitWithApiKey = "initWithApiKey:envInt:";
inline constexpr std::string_view kTrackSchema = "avoFunctionTrackSchemaFromEvent:eventParams:";
inline constexpr std::string_view kSetSchemaId = "setSchemaId:";
inline constexpr std::string_view kIsEnabled = "isEnabled";
inline constexpr std::string_view kPublishEvent = "publishEvent:withParams:";
}  // namespace avo_selectors

class Avo {
 public:
  // The plan's vocabulary (generated with it), reachable as Avo::Widget, Avo::Market, ... as
  // well as km::avo::...
#include "analytics/avo_vocabulary.inc"

  // The designated form: the host passes its debugger and inspector objects (either may be null).
  // A null destination is a programming error (fatal).
  Avo(AvoEnv env, std::shared_ptr<AvoCustomDestination> prodRudderstackDestination,
      std::shared_ptr<DynamicObject> debugger, std::shared_ptr<DynamicObject> inspector,
      bool strict, bool noop);
  // No debugger; the inspector is made from the class registered as "AvoInspector", if any.
  Avo(AvoEnv env, std::shared_ptr<AvoCustomDestination> prodRudderstackDestination, bool strict,
      bool noop);
  // As the form above, then the debugger is attached (unless noop).
  Avo(AvoEnv env, std::shared_ptr<AvoCustomDestination> prodRudderstackDestination,
      std::shared_ptr<DynamicObject> debugger, bool strict, bool noop);
  // Allocates, then runs the designated form.
  static std::unique_ptr<Avo> make(AvoEnv env,
                                   std::shared_ptr<AvoCustomDestination> prodRudderstackDestination,
                                   std::shared_ptr<DynamicObject> debugger,
                                   std::shared_ptr<DynamicObject> inspector, bool strict,
                                   bool noop);

  Avo(const Avo&) = delete;
  Avo& operator=(const Avo&) = delete;
  ~Avo();

  // The event functions of the tracking plan, generated from it. Each tells debugger and
  // inspector service (behind the debugger gate), prints the event line in dev and calls the
  // destination unless noop; user_logout, for instance, only calls unidentify() on it.
#include "analytics/avo_events.inc"

 private:
  // Written only during construction.
  bool STRICT_ = false;

 public:
  // Readable and writable by the host at any time (from the client's thread).
  AvoEnv ENV_ = AvoEnv::prod;
  // Noop: nothing is sent anywhere; only log lines remain. Never on after construction in prod,
  // but the host may switch it later.
  bool NOOP_ = false;

 private:
  std::shared_ptr<DynamicObject> DEBUGGER_;
  std::shared_ptr<DynamicObject> INSPECTOR_;

 public:
  // Gets every message first; a null logger behaves as EmptyAvoLogger.
  std::shared_ptr<AvoLogger> avoLogger = std::make_shared<EmptyAvoLogger>();

  bool strict() const {
    return STRICT_;
  }
  const std::shared_ptr<DynamicObject>& debugger() const {
    return DEBUGGER_;
  }
  const std::shared_ptr<DynamicObject>& inspector() const {
    return INSPECTOR_;
  }

 private:
  std::shared_ptr<AvoCustomDestination> prodRudderstack;

  // ---- Internals shared with the event functions (AvoEventRunner is the event template). ----
  friend class AvoEventRunner;

  bool isDev() const {
    return ENV_ == AvoEnv::dev;
  }

  // Whether debugger and inspector service are told about an event: always in dev; in prod only
  // when a debugger is attached, responds to "isEnabled" and answers it with a non-null value.
  bool debuggerGate() const;

  // Queue a report to the inspector service (never blocks).
  void reportStart(std::string_view name, const std::vector<AvoAssertMessage>& messages);
  void reportInvocation(std::string_view eventId, std::string_view eventHash, bool valid,
                        const std::vector<AvoAssertMessage>& messages);

  // "publishEvent:withParams:" on the debugger with the parameter dictionary ("timestamp", "id",
  // "messages", "eventProps", "userProps"); skipped without a debugger or when it does not respond.
  // Property records are dictionaries made by propertyRecord().
  void publishToDebugger(std::string_view eventName, std::string_view eventId,
                         const std::vector<AvoAssertMessage>& messages,
                         const AvoValue::List& eventPropertyRecords,
                         const AvoValue::List& userPropertyRecords);
  static AvoValue propertyRecord(std::string id, std::string name, std::string value);

  // "avoFunctionTrackSchemaFromEvent:eventParams:" on the inspector with a copy of the event
  // properties plus "avoFunctionEventId" and "avoFunctionEventHash". Skipped without an
  // inspector; an inspector that does not respond gets the version error logged instead.
  void trackSchemaWithInspector(std::string_view eventName, std::string_view eventId,
                                std::string_view eventHash, const AvoDictionary& eventProperties);

  // The logger first; when it returns false, the system log with "[avo] ", "[avo] Warning! " or
  // "[avo] Error! " in front.
  void logDebugWithFallback(bool isDev, const std::string& message);
  void logWarnWithFallback(bool isDev, const std::string& message);
  void logErrorWithFallback(bool isDev, const std::string& message);
  void logInspectorVersionError();

  // "Event Sent: <name> Event Props: <printed> User Props: <printed>".
  static std::string debugLine(std::string_view eventName, const AvoDictionary& eventProperties,
                               const AvoDictionary& userProperties);

  // Hands the inspector key and environment number to a freshly stored inspector.
  void initInspector();
  void attachDebugger(std::shared_ptr<DynamicObject> debugger);
};

}  // namespace km
