#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <regex>

#include "analytics/inspector_report.h"
#include "analytics/inspector_service_client.h"
#include "analytics/loopback_http_server.h"

namespace km {
namespace {

using namespace std::chrono;
using testing::LoopbackHttpServer;
using testing::ServerBehavior;

std::vector<std::string> keysOf(const nlohmann::ordered_json& object) {
  std::vector<std::string> keys;
  for (const auto& item : object.items())
    keys.push_back(item.key());
  return keys;
}

TEST(InspectorReportTest, TimestampIsUtcWithMilliseconds) {
  struct Case {
    system_clock::time_point time;
    const char* text;
  };
  const auto day = sys_days{2026y / 11 / 23};
  for (const auto& c : {
           Case{day + 1h + 18min + 7s + 42ms, "2026-11-23T01:18:07.042Z"},
           Case{system_clock::time_point{}, "1970-01-01T00:00:00.000Z"},
           Case{system_clock::time_point{} - 1ms, "1969-12-31T23:59:59.999Z"},
           Case{sys_days{2024y / 2 / 29} + 23h + 59min + 59s + 999ms, "2024-02-29T23:59:59.999Z"},
       }) {
    EXPECT_EQ(inspectorTimestamp(c.time), c.text);
  }
}

TEST(InspectorReportTest, StartReportKeysAndValues) {
  const auto now = sys_days{2026y / 1 / 2} + 3h + 4min + 5s + 6ms;
  const auto report = makeStartReport("init", {}, now);
  EXPECT_EQ(keysOf(report),
            (std::vector<std::string>{"ac", "br", "en", "ty", "sc", "se", "so", "va", "me"}));
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
  EXPECT_EQ(keysOf(report), (std::vector<std::string>{"ac", "br", "en", "ev", "ha", "sc", "se",
                                                      "so", "va", "me", "or"}));
  EXPECT_EQ(report["ev"], "1Z3E51Um7N");
  EXPECT_EQ(report["va"], true);  // the caller's flag, not derived from the messages
  EXPECT_EQ(report["me"][0]["tag"], "expectedMax");
  EXPECT_EQ(report["or"], "ev");
  EXPECT_EQ(report["en"], "dev");
}

TEST(InspectorEndpointTest, HttpsOrLoopbackHttpOnly) {
  struct Case {
    const char* url;
    bool acceptable;
  };
  for (const auto& c :
       {Case{"https://inspector.example.org/i", true}, Case{"http://127.0.0.1:8080/i", true},
        Case{"http://127.8.9.1/i", true}, Case{"http://localhost:1/i", true},
        Case{"http://[::1]:9/i", true}, Case{"http://192.0.2.7/i", false},
        Case{"http://127.example.org/i", false}, Case{"http://localhost.example.org/i", false},
        Case{"ftp://127.0.0.1/i", false}, Case{"not a url", false}, Case{"", false}}) {
    EXPECT_EQ(isAcceptableInspectorEndpoint(c.url), c.acceptable) << c.url;
  }
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
  const auto body = nlohmann::ordered_json::parse(request.body);
  EXPECT_EQ(keysOf(body),
            (std::vector<std::string>{"ac", "br", "en", "ty", "sc", "se", "so", "va", "me"}));
  EXPECT_TRUE(std::regex_match(body["se"].get<std::string>(),
                               std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z)")));
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
  constexpr std::size_t kCapacity = 4;
  constexpr int kPosts = 200;
  auto client = std::make_unique<InspectorServiceClient>(InspectorServiceOptions{
      .endpoint = server.url(), .queueCapacity = kCapacity, .shutdownFlush = milliseconds(100)});
  ASSERT_TRUE(client->post("{}"));
  ASSERT_TRUE(server.waitForRequests(1, seconds(20)));  // the worker is now stuck on it
  int accepted = 1;
  for (int i = 1; i < kPosts; ++i)
    accepted += client->post("{}") ? 1 : 0;
  const auto stats = client->stats();
  EXPECT_EQ(accepted, static_cast<int>(kCapacity) + 1);
  EXPECT_EQ(stats.accepted, kCapacity + 1);
  EXPECT_EQ(stats.dropped, static_cast<std::uint64_t>(kPosts) - kCapacity - 1);
  EXPECT_FALSE(client->waitIdle(milliseconds(50)));

  // Shutdown aborts the stuck transfer instead of waiting out the 60-second timeout.
  const auto before = steady_clock::now();
  client.reset();
  EXPECT_LT(steady_clock::now() - before, seconds(20));
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
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 5u);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(requests[i].body, R"({"i":)" + std::to_string(i) + "}");
}

TEST(InspectorServiceTest, ConcurrentPostersAreSafe) {
  LoopbackHttpServer server(ServerBehavior::ok);
  InspectorServiceClient client(
      InspectorServiceOptions{.endpoint = server.url(), .queueCapacity = 8});
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
  EXPECT_EQ(stats.accepted + stats.dropped, 200u);
  EXPECT_EQ(stats.answered + stats.failed, stats.accepted);
}

}  // namespace
}  // namespace km
