#include "analytics/avo.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <thread>

#include "analytics/fakes.h"
#include "analytics/inspector_service_client.h"
#include "analytics/loopback_http_server.h"
#include "analytics/scenario.h"
#include "analytics/system_log.h"

namespace km {
namespace {

using testing::FakeObject;
using testing::RecordingDestination;

const std::string kVersionLine =
    "[avo] Error! Included Robrog version does not support the latest features used in Avo "
    "functions. Please update your Robrog to the latest version.";
const std::string kSchemaId = "Hs7Kp2Yq9Ue3Wb5Nt1Lf";

std::shared_ptr<FakeObject> respondingInspector() {
  return std::make_shared<FakeObject>(std::map<std::string, AvoValue>{
      {"initWithApiKey:envInt:", AvoValue()},
      {"avoFunctionTrackSchemaFromEvent:eventParams:", AvoValue()}});
}

// A client whose endpoint refuses connections (nothing listens on the discard port) still takes
// every report the tracking client tries to send, so it counts the reports attempted.
struct ReportCounter {
  InspectorServiceClient client{InspectorServiceOptions{.endpoint = "http://127.0.0.1:9/i"}};
  ScopedInspectorServiceOverride override{client};
  std::uint64_t attempts() const {
    const auto stats = client.stats();
    return stats.accepted + stats.dropped;
  }
};

// Each way of constructing a client, in each environment and mode, and logging out through the
// debugger gate and the logger: what the log, the destination, the inspector, the debugger and
// the inspector service saw, in order.
TEST(AvoScenarioTest, ConstructionAndLogoutHaveTheirWholeTranscript) {
  testing::runScenarios("analytics/scenarios.json");
}

TEST(AvoReportTest, DevClientPostsStartAndLogoutReportsToTheService) {
  testing::LoopbackHttpServer server(testing::ServerBehavior::ok);
  InspectorServiceClient client(InspectorServiceOptions{.endpoint = server.url()});
  ScopedInspectorServiceOverride override(client);
  Avo avo(AvoEnv::dev, std::make_shared<RecordingDestination>(), nullptr, respondingInspector(),
          false, false);
  avo.userLogout();
  ASSERT_TRUE(server.waitForRequests(2, std::chrono::seconds(20)));
  // Reports travel on several connections at once, so they may arrive in either order.
  auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2u);
  if (requests[0].body.find(R"("ty":"init")") == std::string::npos) {
    std::swap(requests[0], requests[1]);
  }
  const auto start = nlohmann::ordered_json::parse(requests[0].body);
  EXPECT_EQ(start.value("ty", ""), "init");
  EXPECT_EQ(start["en"], "dev");
  EXPECT_EQ(start["sc"], kSchemaId);
  const auto logout = nlohmann::ordered_json::parse(requests[1].body);
  EXPECT_EQ(logout["ev"], "bJaNBZcQB_");
  EXPECT_EQ(logout["or"], "ev");
  EXPECT_EQ(logout["va"], true);
  EXPECT_EQ(logout["ha"].get<std::string>().size(), 64u);
}

// A development client says once when its reports go nowhere; production clients and clients
// with an endpoint say nothing of the kind.
TEST(AvoReportTest, DevClientWithoutEndpointSaysOnceThatReportsAreOff) {
  const std::string offLine = "[avo] Warning! " + std::string(kAvoInspectorReportsOff);
  struct Case {
    AvoEnv env;
    std::string endpoint;
    int offLines;
  };
  for (const auto& c :
       {Case{AvoEnv::dev, kDefaultInspectorEndpoint, 1}, Case{AvoEnv::dev, "http://192.0.2.7/i", 1},
        Case{AvoEnv::prod, kDefaultInspectorEndpoint, 0},
        Case{AvoEnv::dev, "http://127.0.0.1:9/i", 0}}) {
    InspectorServiceClient client(InspectorServiceOptions{.endpoint = c.endpoint});
    ScopedInspectorServiceOverride override(client);
    ScopedSystemLogCapture log;
    Avo avo(c.env, std::make_shared<RecordingDestination>(), nullptr, respondingInspector(), false,
            false);
    avo.userLogout();
    avo.userLogout();
    const auto lines = log.lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), offLine), c.offLines) << c.endpoint;
  }
}

// One journal for every collaborator shows the order of effects across them.
struct Journal {
  std::vector<std::string> entries;
};

class JournalObject : public DynamicObject {
 public:
  JournalObject(Journal& journal, std::string name, std::set<std::string> selectors)
      : journal_(journal), name_(std::move(name)), selectors_(std::move(selectors)) {}
  bool respondsTo(std::string_view selector) const override {
    return selectors_.count(std::string(selector)) != 0;
  }
  AvoValue perform(std::string_view selector, std::span<const AvoValue>) override {
    journal_.entries.push_back(name_ + " " + std::string(selector));
    return {};
  }

 private:
  Journal& journal_;
  std::string name_;
  std::set<std::string> selectors_;
};

class JournalDestination : public RecordingDestination {
 public:
  explicit JournalDestination(Journal& journal) : journal_(journal) {}
  void make(AvoEnv env, std::optional<std::string>) override {
    journal_.entries.push_back("destination make " + std::string(envName(env)));
  }

 private:
  Journal& journal_;
};

TEST(ConstructionOrderTest, DestinationThenInspectorThenDebugger) {
  ReportCounter reports;
  Journal journal;
  ScopedClassRegistration registration("AvoInspector", [&journal] {
    journal.entries.push_back("AvoInspector made");
    return std::make_shared<JournalObject>(journal, "inspector",
                                           std::set<std::string>{"initWithApiKey:envInt:"});
  });
  ScopedSystemLogCapture log;
  Avo avo(
      AvoEnv::dev, std::make_shared<JournalDestination>(journal),
      std::make_shared<JournalObject>(journal, "debugger", std::set<std::string>{"setSchemaId:"}),
      false, false);
  EXPECT_EQ(journal.entries, (std::vector<std::string>{
                                 "destination make dev", "AvoInspector made",
                                 "inspector initWithApiKey:envInt:", "debugger setSchemaId:"}));
  // The missing inspector of the designated step is reported before the lookup happens.
  EXPECT_EQ(log.lines(), std::vector<std::string>{kVersionLine});
  EXPECT_EQ(reports.attempts(), 1u);
}

// Events only read the client, so several threads may log out at once; run under
// ThreadSanitizer this shows the client, its reports and its log fallback share nothing unsafely.
class CountingDestination : public RecordingDestination {
 public:
  std::atomic<int> unidentified{0};
  void unidentify() override { unidentified.fetch_add(1); }
};

TEST(AvoConcurrencyTest, ParallelUserLogoutIsSafe) {
  testing::LoopbackHttpServer server(testing::ServerBehavior::ok);
  InspectorServiceClient client(InspectorServiceOptions{.endpoint = server.url()});
  ScopedInspectorServiceOverride override(client);
  auto destination = std::make_shared<CountingDestination>();
  Avo avo(AvoEnv::dev, destination, nullptr, respondingInspector(), false, false);
  ScopedSystemLogCapture log;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&avo] {
      for (int i = 0; i < 25; ++i)
        avo.userLogout();
    });
  }
  for (auto& thread : threads)
    thread.join();
  EXPECT_EQ(destination->unidentified.load(), 100);
  EXPECT_EQ(log.lines().size(), 100u);
  const auto stats = client.stats();
  EXPECT_EQ(stats.accepted, 101u);  // the start report and one per logout
  EXPECT_EQ(stats.dropped, 0u);
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
