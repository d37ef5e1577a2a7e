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

// The invocation report carries the event's plan id and hash.
TEST(EventTemplateTest, InvocationReportNamesTheEvent) {
  testing::LoopbackHttpServer server(testing::ServerBehavior::ok);
  InspectorServiceClient service(InspectorServiceOptions{.endpoint = server.url()});
  ScopedInspectorServiceOverride serviceOverride(service);
  auto destination = std::make_shared<RecordingDestination>();
  Avo avo(AvoEnv::dev, destination, nullptr, nullptr, false, false);
  avo.avoLogger = std::make_shared<RecordingLogger>(true);
  avo.widgetAdd({avo::Widget::smallEnergy});
  ASSERT_TRUE(server.waitForRequests(2, std::chrono::seconds(10)));
  // The start report and this one travel on separate connections and may arrive in any order.
  auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  if (nlohmann::json::parse(requests[1].body).contains("ty")) std::swap(requests[0], requests[1]);
  const auto report = nlohmann::json::parse(requests[1].body);
  EXPECT_EQ(report.at("ev"), "1Z3E51Um7N");
  EXPECT_EQ(report.at("ha"), kWidgetAddHash);
  EXPECT_EQ(report.at("va"), true);
  EXPECT_EQ(report.at("me"), nlohmann::json::array());
}

}  // namespace
}  // namespace km
