#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "analytics/avo.h"
#include "analytics/fakes.h"
#include "analytics/inspector_report.h"
#include "analytics/inspector_service_client.h"
#include "analytics/loopback_http_server.h"
#include "analytics/system_log.h"
#include "base/case_table.h"

namespace km {
namespace {

using namespace std::chrono;
using testing::LoopbackHttpServer;
using testing::ServerBehavior;

// Counts logouts; events only read the client, so several threads may send at once.
class CountingDestination : public testing::RecordingDestination {
 public:
  std::atomic<int> unidentified{0};
  void unidentify() override { unidentified.fetch_add(1); }
};

TEST(InspectorReportTest, TimestampsAndEndpoints) {
  const auto cases = km::testing::loadCases("analytics/cases.json");
  km::testing::checkRows(cases, "inspectorTimestamp", [](const km::testing::Json& in) {
    return inspectorTimestamp(system_clock::time_point{} + milliseconds(in.get<std::int64_t>()));
  });
  km::testing::checkRows(cases, "acceptableEndpoint", [](const km::testing::Json& in) {
    return isAcceptableInspectorEndpoint(in.get<std::string>());
  });
}

TEST(InspectorReportTest, StartReportKeysAndValues) {
  const auto now = sys_days{2026y / 1 / 2} + 3h + 4min + 5s + 6ms;
  const auto report = makeStartReport("init", {}, now);
  EXPECT_EQ(report.dump(),
            R"({"ac":"Fz3Rb8Nk5Gc1Vm7Tq2Yh","br":"Pd6Wj2Xs9Lr4Ck8Mb3Zae","en":"dev","ty":"init",)"
            R"("sc":"Hs7Kp2Yq9Ue3Wb5Nt1Lf","se":"2026-01-02T03:04:05.006Z","so":"Tq4LmXw7C",)"
            R"("va":true,"me":[]})");
  const auto withMessage =
      makeStartReport("init", {AvoAssertMessage::expectedMin("p1", "too small")}, now);
  EXPECT_EQ(withMessage["va"], false);
  EXPECT_EQ(withMessage["me"].dump(),
            R"([{"tag":"expectedMin","propertyId":"p1","message":"too small"}])");
}

TEST(InspectorReportTest, InvocationReportKeysAndValues) {
  const auto report = makeInvocationReport(
      "1Z3E51Um7N", "e476bec17caf0ad386f0bd53ea22f685e89d2a4df2a75c07166185d72ecfab70", true,
      {AvoAssertMessage::expectedMax("p2", "too big")}, system_clock::time_point{});
  // The caller's validity flag, not one derived from the messages.
  EXPECT_EQ(
      report.dump(),
      R"({"ac":"Fz3Rb8Nk5Gc1Vm7Tq2Yh","br":"Pd6Wj2Xs9Lr4Ck8Mb3Zae","en":"dev","ev":"1Z3E51Um7N",)"
      R"("ha":"e476bec17caf0ad386f0bd53ea22f685e89d2a4df2a75c07166185d72ecfab70",)"
      R"("sc":"Hs7Kp2Yq9Ue3Wb5Nt1Lf","se":"1970-01-01T00:00:00.000Z","so":"Tq4LmXw7C","va":true,)"
      R"("me":[{"tag":"expectedMax","propertyId":"p2","message":"too big"}],"or":"ev"})");
}

TEST(InspectorServiceTest, EndpointComesFromOptionsThenEnvironment) {
  InspectorServiceClient explicitClient(InspectorServiceOptions{.endpoint = "https://a.test/i"});
  EXPECT_EQ(explicitClient.endpoint(), "https://a.test/i");
  EXPECT_TRUE(explicitClient.enabled());

  ::setenv(kInspectorEndpointVariable, "http://127.0.0.1:9/i", 1);
  InspectorServiceClient fromEnvironment;
  EXPECT_EQ(fromEnvironment.endpoint(), "http://127.0.0.1:9/i");
  ::unsetenv(kInspectorEndpointVariable);
  InspectorServiceClient byDefault;
  EXPECT_EQ(byDefault.endpoint().rfind("https://", 0), 0u);
  EXPECT_FALSE(byDefault.enabled());  // nothing configured: nothing leaves the process

  InspectorServiceClient refused(InspectorServiceOptions{.endpoint = "http://192.0.2.7/i"});
  EXPECT_FALSE(refused.enabled());
  EXPECT_FALSE(refused.post("{}"));
  EXPECT_EQ(refused.stats().dropped, 1u);
}

TEST(InspectorServiceTest, PostsJsonWithHeaders) {
  LoopbackHttpServer server(ServerBehavior::ok);
  InspectorServiceClient client(InspectorServiceOptions{.endpoint = server.url()});
  const auto report = makeStartReport("init", {}, system_clock::now());
  ASSERT_TRUE(client.post(report.dump()));
  ASSERT_TRUE(server.waitForRequests(1, seconds(20)));
  ASSERT_TRUE(client.waitIdle(seconds(20)));
  const auto request = server.requests().at(0);
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/i");
  EXPECT_EQ(request.header("content-type"), "application/json");
  EXPECT_EQ(request.body, report.dump());
  const auto stats = client.stats();
  EXPECT_EQ(stats.accepted, 1u);
  EXPECT_EQ(stats.answered, 1u);
  EXPECT_EQ(stats.failed, 0u);
}

// Bad answers are counted and ignored: nothing crashes, the worker keeps going.
TEST(InspectorServiceTest, BadAnswersAreIgnored) {
  struct Case {
    ServerBehavior behavior;
    std::uint64_t answered;
    std::uint64_t failed;
  };
  for (const auto& c : {Case{ServerBehavior::error500, 3, 0}, Case{ServerBehavior::garbage, 0, 3},
                        Case{ServerBehavior::hugeAnswer, 0, 3}}) {
    SCOPED_TRACE(static_cast<int>(c.behavior));
    LoopbackHttpServer server(c.behavior);
    InspectorServiceClient client(
        InspectorServiceOptions{.endpoint = server.url(), .maxResponseBytes = 1024});
    for (int i = 0; i < 3; ++i) {
      client.post(R"({"n":)" + std::to_string(i) + "}");
      // One at a time, so the single-connection server sees all three.
      ASSERT_TRUE(client.waitIdle(seconds(20)));
    }
    const auto stats = client.stats();
    EXPECT_EQ(stats.answered, c.answered);
    EXPECT_EQ(stats.failed, c.failed);
    EXPECT_EQ(server.requests().size(), 3u);
  }
}

TEST(InspectorServiceTest, HangingServiceNeitherBlocksNorGrowsTheQueue) {
  LoopbackHttpServer server(ServerBehavior::hang);
  constexpr int kPosts = 200;
  constexpr std::size_t kQueueBytes = 1024;
  auto client = std::make_unique<InspectorServiceClient>(
      InspectorServiceOptions{.endpoint = server.url(),
                              .queueBytes = kQueueBytes,
                              .maxTransfers = 1,
                              .shutdownFlush = milliseconds(100)});
  const std::string body(100, 'x');
  ASSERT_TRUE(client->post(body));
  ASSERT_TRUE(server.waitForRequests(1, seconds(20)));  // the worker is now stuck on it
  ScopedSystemLogCapture log;
  for (int i = 1; i < kPosts; ++i)
    EXPECT_TRUE(client->post(body));                          // taken, at the cost of older ones
  EXPECT_FALSE(client->post(std::string(kQueueBytes, 'x')));  // larger than the whole queue
  const auto stats = client->stats();
  EXPECT_EQ(stats.accepted, static_cast<std::uint64_t>(kPosts));
  // What stays queued is bounded by bytes: 1024 bytes hold six 100-byte bodies with their
  // bookkeeping; the rest of the 199 and the oversized one are dropped.
  EXPECT_EQ(stats.dropped, static_cast<std::uint64_t>(kPosts) - 1 - 6 + 1);
  EXPECT_FALSE(client->waitIdle(milliseconds(50)));

  // Shutdown abandons the stuck transfer instead of waiting out the 60-second timeout.
  const auto before = steady_clock::now();
  client.reset();
  EXPECT_LT(steady_clock::now() - before, seconds(20));
  // Every drop was said, in one line (the shutdown ends the burst at the latest).
  const auto lines = log.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("[avo] Warning! " + std::to_string(stats.dropped) +
                               " inspector reports were dropped, oldest first",
                           0),
            0u)
      << lines[0];
}

// A burst a real app produces (a replay, a sync), here from four threads at once, is delivered
// whole over a few kept-alive connections while the callers never wait. Under ThreadSanitizer
// this also shows that the client, its reports and its log fallback share nothing unsafely.
TEST(InspectorServiceTest, BurstOfAThousandEventsFromFourThreadsDeliversEveryReport) {
  LoopbackHttpServer server(ServerBehavior::keepAlive);
  InspectorServiceClient client(InspectorServiceOptions{.endpoint = server.url()});
  ScopedInspectorServiceOverride override(client);
  ScopedSystemLogCapture log;  // the development client's debug lines
  auto destination = std::make_shared<CountingDestination>();
  Avo avo(AvoEnv::dev, destination, false, false);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&avo] {
      for (int i = 0; i < 250; ++i)
        avo.userLogout();
    });
  }
  for (auto& thread : threads)
    thread.join();
  ASSERT_TRUE(client.waitIdle(seconds(120)));
  EXPECT_EQ(destination->unidentified.load(), 1000);
  const auto stats = client.stats();
  EXPECT_EQ(server.requests().size(), 1001u);  // the start report and one per event
  EXPECT_EQ(stats.answered, 1001u);
  EXPECT_EQ(stats.dropped, 0u);
  EXPECT_LE(server.connections(), 4);
  const auto lines = log.lines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.find("Event Sent: user_logout") != std::string::npos;
                          }),
            1000);
  for (const auto& line : lines)
    EXPECT_EQ(line.find("dropped"), std::string::npos) << line;
}

// Past the bound the oldest waiting reports go first, and each burst of drops is said once with
// its count.
TEST(InspectorServiceTest, FullQueueDropsOldestFirstAndSaysHowManyOncePerBurst) {
  LoopbackHttpServer server(ServerBehavior::keepAlive);
  InspectorServiceClient client(InspectorServiceOptions{
      .endpoint = server.url(), .queueBytes = 5 * (100 + 64), .maxTransfers = 1});
  ScopedSystemLogCapture log;
  auto body = [](int n) {
    std::string text = std::to_string(n);
    return text + std::string(100 - text.size(), ' ');
  };
  struct Burst {
    int first, last;  // posted while the first is held in flight by the server
    std::vector<int> delivered;
  };
  std::size_t seen = 0;
  for (const Burst& burst :
       {Burst{0, 20, {0, 16, 17, 18, 19, 20}}, Burst{30, 37, {30, 33, 34, 35, 36, 37}}}) {
    server.setPaused(true);
    ASSERT_TRUE(client.post(body(burst.first)));
    ASSERT_TRUE(server.waitForRequests(seen + 1, seconds(20)));
    for (int n = burst.first + 1; n <= burst.last; ++n)
      ASSERT_TRUE(client.post(body(n)));
    server.setPaused(false);
    ASSERT_TRUE(client.waitIdle(seconds(20)));
    const auto requests = server.requests();
    std::vector<int> delivered;
    for (std::size_t i = seen; i < requests.size(); ++i)
      delivered.push_back(std::stoi(requests[i].body));
    EXPECT_EQ(delivered, burst.delivered);
    seen = requests.size();
  }
  EXPECT_EQ(client.stats().dropped, 15u + 2u);
  const auto lines = log.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0],
            "[avo] Warning! 15 inspector reports were dropped, oldest first: the reports waiting "
            "to be sent outgrew their 1 KiB queue");
  EXPECT_EQ(lines[1].rfind("[avo] Warning! 2 inspector reports were dropped", 0), 0u);
}

TEST(InspectorServiceTest, UnreachableServiceFailsQuietly) {
  // Bind a port, then free it: nothing listens there.
  std::string url;
  {
    LoopbackHttpServer closed(ServerBehavior::ok);
    url = closed.url();
  }
  InspectorServiceClient client(InspectorServiceOptions{.endpoint = url});
  for (int i = 0; i < 3; ++i)
    client.post("{}");
  ASSERT_TRUE(client.waitIdle(seconds(20)));
  EXPECT_EQ(client.stats().failed, 3u);
}

TEST(InspectorServiceTest, ShutdownFlushesQueuedReports) {
  LoopbackHttpServer server(ServerBehavior::ok);
  {
    InspectorServiceClient client(
        InspectorServiceOptions{.endpoint = server.url(), .shutdownFlush = seconds(20)});
    for (int i = 0; i < 5; ++i)
      client.post(R"({"i":)" + std::to_string(i) + "}");
  }
  // Several transfers run at once, so the reports may arrive in any order.
  std::multiset<std::string> bodies;
  for (const auto& request : server.requests())
    bodies.insert(request.body);
  std::multiset<std::string> sent;
  for (int i = 0; i < 5; ++i)
    sent.insert(R"({"i":)" + std::to_string(i) + "}");
  EXPECT_EQ(bodies, sent);
}

TEST(InspectorServiceTest, ConcurrentPostersAreSafe) {
  LoopbackHttpServer server(ServerBehavior::ok);
  InspectorServiceClient client(
      InspectorServiceOptions{.endpoint = server.url(), .queueBytes = 8 * (2 + 64)});
  std::vector<std::thread> posters;
  for (int t = 0; t < 4; ++t) {
    posters.emplace_back([&client] {
      for (int i = 0; i < 50; ++i)
        client.post("{}");
    });
  }
  for (auto& poster : posters)
    poster.join();
  ASSERT_TRUE(client.waitIdle(seconds(30)));
  const auto stats = client.stats();
  EXPECT_EQ(stats.accepted, 200u);  // each taken, some at the cost of older ones
  EXPECT_EQ(stats.answered + stats.failed + stats.dropped, 200u);
}

}  // namespace
}  // namespace km
