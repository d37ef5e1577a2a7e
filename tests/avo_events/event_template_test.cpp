// The event template on representative plan events: what reaches the destination, the debugger,
// the inspector object, the inspector service and the log, in each environment and mode.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "analytics/avo.h"
#include "analytics/fakes.h"
#include "analytics/inspector_service_client.h"
#include "analytics/loopback_http_server.h"
#include "analytics/scenario.h"

namespace km {
namespace {

using testing::RecordingDestination;
using testing::RecordingLogger;

constexpr std::string_view kWidgetAddHash =
    "e476bec17caf0ad386f0bd53ea22f685e89d2a4df2a75c07166185d72ecfab70";

// Gates by environment and mode, the properties each kind of event sends, validation in strict
// and lenient mode, and the log fallbacks, each as one whole transcript.
TEST(EventTemplateTest, EveryScenarioHasItsWholeTranscript) {
  testing::runScenarios("avo_events/scenarios.json");
}

}  // namespace
}  // namespace km
