// The tracking client's life: construction per environment, the inspector and debugger it reports
// to, and the user-logout event.

#include "analytics/avo.h"

#include <chrono>
#include <utility>

#include "analytics/avo_plan_identity.h"
#include "analytics/inspector_report.h"
#include "analytics/inspector_service_client.h"
#include "analytics/system_log.h"
#include "base/fatal_error.h"

namespace km {
namespace {

AvoLogger& loggerOrEmpty(const std::shared_ptr<AvoLogger>& logger) {
  static EmptyAvoLogger empty;
  return logger ? *logger : empty;
}

}  // namespace

Avo::Avo(AvoEnv env, std::shared_ptr<AvoCustomDestination> prodRudderstackDestination,
         std::shared_ptr<DynamicObject> debugger, std::shared_ptr<DynamicObject> inspector,
         bool strict, bool noop) {
  if (!prodRudderstackDestination) fatalError("Avo needs a destination");
  STRICT_ = strict;
  ENV_ = env;
  NOOP_ = noop;
  prodRudderstack = std::move(prodRudderstackDestination);

  if (noop) {
    if (env == AvoEnv::dev) {
      logWarnWithFallback(true, std::string(kAvoNoopNotice));
    } else {
      // Production data must never be silently discarded, whatever the host asked for.
      logWarnWithFallback(false, std::string(kAvoProdNoopRefusal));
      NOOP_ = false;
    }
  }
  if (NOOP_) return;  // the destination is not made and both objects are dropped

  prodRudderstack->make(ENV_, std::nullopt);
  if (isDev()) {
    if (!InspectorServiceClient::shared().enabled()) {
      logWarnWithFallback(true, std::string(kAvoInspectorReportsOff));
    }
    reportStart("init", {});
  }

  INSPECTOR_ = std::move(inspector);
  initInspector();
  attachDebugger(std::move(debugger));
}

Avo::Avo(AvoEnv env, std::shared_ptr<AvoCustomDestination> prodRudderstackDestination, bool strict,
         bool noop)
    : Avo(env, std::move(prodRudderstackDestination), nullptr, nullptr, strict, noop) {
  // The inspector is looked up by class name so that hosts which link one get it without
  // passing it; this runs even in noop mode.
  auto factory = ClassRegistry::shared().lookup(avo_selectors::kInspectorClass);
  if (!factory || !*factory) return;
  auto instance = (*factory)();
  if (!instance) return;
  INSPECTOR_ = std::move(instance);
  initInspector();
}

Avo::Avo(AvoEnv env, std::shared_ptr<AvoCustomDestination> prodRudderstackDestination,
         std::shared_ptr<DynamicObject> debugger, bool strict, bool noop)
    : Avo(env, std::move(prodRudderstackDestination), strict, noop) {
  if (!NOOP_) attachDebugger(std::move(debugger));
}

std::unique_ptr<Avo> Avo::make(AvoEnv env,
                               std::shared_ptr<AvoCustomDestination> prodRudderstackDestination,
                               std::shared_ptr<DynamicObject> debugger,
                               std::shared_ptr<DynamicObject> inspector, bool strict, bool noop) {
  return std::make_unique<Avo>(env, std::move(prodRudderstackDestination), std::move(debugger),
                               std::move(inspector), strict, noop);
}

Avo::~Avo() = default;

void Avo::initInspector() {
  if (INSPECTOR_ && INSPECTOR_->respondsTo(avo_selectors::kInitWithApiKey)) {
    const AvoValue args[] = {AvoValue(kAvoPlanIdentity.inspectorKey), AvoValue(envInt(ENV_))};
    INSPECTOR_->perform(avo_selectors::kInitWithApiKey, args);
  } else {
    logInspectorVersionError();
  }
}

void Avo::attachDebugger(std::shared_ptr<DynamicObject> debugger) {
  DEBUGGER_ = std::move(debugger);
  if (DEBUGGER_ && DEBUGGER_->respondsTo(avo_selectors::kSetSchemaId)) {
    const AvoValue args[] = {AvoValue(kAvoPlanIdentity.schemaId)};
    DEBUGGER_->perform(avo_selectors::kSetSchemaId, args);
  }
}

bool Avo::debuggerGate() const {
  if (isDev()) return true;
  return DEBUGGER_ && DEBUGGER_->respondsTo(avo_selectors::kIsEnabled) &&
         !DEBUGGER_->perform(avo_selectors::kIsEnabled, {}).isNull();
}

void Avo::reportStart(std::string_view name, const std::vector<AvoAssertMessage>& messages) {
  InspectorServiceClient::shared().post(
      makeStartReport(name, messages, std::chrono::system_clock::now()).dump());
}

void Avo::reportInvocation(std::string_view eventId, std::string_view eventHash, bool valid,
                           const std::vector<AvoAssertMessage>& messages) {
  InspectorServiceClient::shared().post(
      makeInvocationReport(eventId, eventHash, valid, messages, std::chrono::system_clock::now())
          .dump());
}

void Avo::publishToDebugger(std::string_view eventName, std::string_view eventId,
                            const std::vector<AvoAssertMessage>& messages,
                            const AvoValue::List& eventPropertyRecords,
                            const AvoValue::List& userPropertyRecords) {
  if (!DEBUGGER_ || !DEBUGGER_->respondsTo(avo_selectors::kPublishEvent)) return;
  AvoValue::List messageList;
  messageList.reserve(messages.size());
  for (const auto& message : messages)
    messageList.emplace_back(message.toDictionary());
  const double timestamp =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  AvoDictionary params{{"timestamp", timestamp},
                       {"id", eventId},
                       {"messages", std::move(messageList)},
                       {"eventProps", eventPropertyRecords},
                       {"userProps", userPropertyRecords}};
  const AvoValue args[] = {AvoValue(eventName), AvoValue(std::move(params))};
  DEBUGGER_->perform(avo_selectors::kPublishEvent, args);
}

AvoValue Avo::propertyRecord(std::string id, std::string name, std::string value) {
  return AvoDictionary{
      {"id", std::move(id)}, {"name", std::move(name)}, {"value", std::move(value)}};
}

void Avo::trackSchemaWithInspector(std::string_view eventName, std::string_view eventId,
                                   std::string_view eventHash,
                                   const AvoDictionary& eventProperties) {
  if (!INSPECTOR_) return;
  if (!INSPECTOR_->respondsTo(avo_selectors::kTrackSchema)) {
    logInspectorVersionError();
    return;
  }
  AvoDictionary params = eventProperties;
  params.set("avoFunctionEventId", eventId);
  params.set("avoFunctionEventHash", eventHash);
  const AvoValue args[] = {AvoValue(eventName), AvoValue(std::move(params))};
  INSPECTOR_->perform(avo_selectors::kTrackSchema, args);
}

void Avo::logDebugWithFallback(bool isDev, const std::string& message) {
  if (!loggerOrEmpty(avoLogger).logDebug(isDev, message)) systemLog("[avo] " + message);
}

void Avo::logWarnWithFallback(bool isDev, const std::string& message) {
  if (!loggerOrEmpty(avoLogger).logWarn(isDev, message)) systemLog("[avo] Warning! " + message);
}

void Avo::logErrorWithFallback(bool isDev, const std::string& message) {
  if (!loggerOrEmpty(avoLogger).logError(isDev, message)) systemLog("[avo] Error! " + message);
}

void Avo::logInspectorVersionError() {
  logErrorWithFallback(isDev(), std::string(kAvoInspectorVersionError));
}

std::string Avo::debugLine(std::string_view eventName, const AvoDictionary& eventProperties,
                           const AvoDictionary& userProperties) {
  std::string line = "Event Sent: ";
  line += eventName;
  line += " Event Props: ";
  line += describe(eventProperties);
  line += " User Props: ";
  line += describe(userProperties);
  return line;
}

}  // namespace km
