#include "analytics/avo.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <regex>

#include "analytics/fakes.h"
#include "analytics/inspector_service_client.h"
#include "analytics/loopback_http_server.h"
#include "analytics/scenario.h"
#include "analytics/system_log.h"

namespace km {
namespace {

using testing::RecordingDestination;

const std::string kSchemaId = "Hs7Kp2Yq9Ue3Wb5Nt1Lf";

// Each way of constructing a client, in each environment and mode, and logging out through the
// debugger gate and the logger: what the log, the destination, the inspector, the debugger and
// the inspector service saw, in order.
TEST(AvoScenarioTest, ConstructionAndLogoutHaveTheirWholeTranscript) {
  testing::runScenarios("analytics/scenarios.json");
}

// The start report, then one per event with the event's plan id and hash.
TEST(AvoReportTest, DevClientPostsStartAndEventReportsToTheService) {
  testing::LoopbackHttpServer server(testing::ServerBehavior::ok);
  InspectorServiceClient client(InspectorServiceOptions{.endpoint = server.url()});
  ScopedInspectorServiceOverride override(client);
  ScopedSystemLogCapture log;
  Avo avo(AvoEnv::dev, std::make_shared<RecordingDestination>(), nullptr, nullptr, false, false);
  avo.userLogout();
  avo.widgetAdd({avo::Widget::smallEnergy});
  ASSERT_TRUE(server.waitForRequests(3, std::chrono::seconds(20)));
  // Reports travel on several connections at once and may arrive in any order.
  std::map<std::string, nlohmann::json> reports;
  for (const auto& request : server.requests()) {
    const auto report = nlohmann::json::parse(request.body);
    reports[report.value("ev", "start")] = report;
  }
  ASSERT_EQ(reports.size(), 3u);
  EXPECT_EQ(reports["start"]["ty"], "init");
  EXPECT_EQ(reports["start"]["en"], "dev");
  EXPECT_EQ(reports["start"]["sc"], kSchemaId);
  EXPECT_EQ(reports["bJaNBZcQB_"]["or"], "ev");
  EXPECT_EQ(reports["bJaNBZcQB_"]["ha"].get<std::string>().size(), 64u);
  EXPECT_EQ(reports["1Z3E51Um7N"]["ha"],
            "e476bec17caf0ad386f0bd53ea22f685e89d2a4df2a75c07166185d72ecfab70");
  for (const auto& [event, report] : reports) {
    EXPECT_EQ(report["va"], true) << event;
    EXPECT_EQ(report["me"], nlohmann::json::array()) << event;
  }
}

TEST(AvoDeathTest, MissingDestinationIsAProgrammingError) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_DEATH(Avo(AvoEnv::dev, nullptr, false, false), "Fatal error: Avo needs a destination");
}

TEST(SystemLogTest, LineCarriesTimeProgramAndProcess) {
  const std::string line = systemLogLine("[avo] hello");
  EXPECT_TRUE(std::regex_match(
      line, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} analytics_test\[)" +
                       std::to_string(::getpid()) + R"(:[0-9a-f]+\] \[avo\] hello)")))
      << line;
}

}  // namespace
}  // namespace km
