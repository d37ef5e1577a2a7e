#include "analytics/avo.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <set>
#include <thread>

#include "analytics/fakes.h"
#include "analytics/inspector_service_client.h"
#include "analytics/loopback_http_server.h"
#include "analytics/system_log.h"

namespace km {
namespace {

using testing::FakeObject;
using testing::RecordingDestination;
using testing::RecordingLogger;

// The messages of construction as the system log shows them, written out independently.
const std::string kStars = "****************************************************";
const std::string kNoopLine = "[avo] Warning! \n    " + kStars +
                              "\n    [avo] Avo is now initialized in noop mode. This means:\n"
                              "    [avo] - No events will be sent\n"
                              "    [avo] - No network requests are made\n    " +
                              kStars;
const std::string kRefusalLine =
    "[avo] Warning! \n    " + kStars +
    "\n    [avo] WARNING!!! [avo]\n"
    "    [avo] Avo cannot be initialized in noop mode in production:\n"
    "    [avo] - Overwriting configuration with noop=false.\n"
    "    [avo] - Please reach out if you want to be able to run Avo in production mode with "
    "noop=true\n    " +
    kStars;
const std::string kVersionLine =
    "[avo] Error! Included Robrog version does not support the latest features used in Avo "
    "functions. Please update your Robrog to the latest version.";

const std::string kInspectorKey = "Qm4rTz8LwPa2Xc6Vn0Jd";
const std::string kSchemaId = "Hs7Kp2Yq9Ue3Wb5Nt1Lf";

std::shared_ptr<FakeObject> respondingInspector() {
  return std::make_shared<FakeObject>(std::map<std::string, AvoValue>{
      {"initWithApiKey:envInt:", AvoValue()},
      {"avoFunctionTrackSchemaFromEvent:eventParams:", AvoValue()}});
}
std::shared_ptr<FakeObject> muteObject() {
  return std::make_shared<FakeObject>(std::map<std::string, AvoValue>{});
}
std::shared_ptr<FakeObject> schemaDebugger() {
  return std::make_shared<FakeObject>(std::map<std::string, AvoValue>{
      {"setSchemaId:", AvoValue()}, {"publishEvent:withParams:", AvoValue()}});
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

enum class Form { direct, lookup, lookupDebugger, make };
enum class Registered { none, responding, mute, notObject };
// Which inspector ends up stored and whether it got initWithApiKey:envInt:.
enum class Stored { unset, passed, registered, mutedClass };

struct ConstructionCase {
  const char* name;
  Form form;
  AvoEnv env;
  bool noop;
  bool passInspector;  // designated forms: a responding inspector object, else none
  Registered registered;
  std::vector<std::string> lines;
  int makeCalls;
  int startReports;
  bool noopAfter;
  Stored inspector;
  bool debuggerAttached;
};

class ConstructionTest : public ::testing::TestWithParam<ConstructionCase> {};

TEST_P(ConstructionTest, FollowsTheOrderOfEffects) {
  const ConstructionCase& c = GetParam();
  ReportCounter reports;
  auto destination = std::make_shared<RecordingDestination>();
  auto passedInspector = c.passInspector ? respondingInspector() : nullptr;
  auto debugger = schemaDebugger();
  std::shared_ptr<FakeObject> made;
  std::optional<ScopedClassRegistration> registration;
  switch (c.registered) {
    case Registered::none:
      break;
    case Registered::responding:
    case Registered::mute:
      registration.emplace("AvoInspector", [&made, &c]() -> std::shared_ptr<DynamicObject> {
        made = c.registered == Registered::responding ? respondingInspector() : muteObject();
        return made;
      });
      break;
    case Registered::notObject:
      registration.emplace("AvoInspector", nullptr);
      break;
  }

  std::unique_ptr<Avo> avo;
  {
    ScopedSystemLogCapture log;
    switch (c.form) {
      case Form::direct:
        avo = std::make_unique<Avo>(c.env, destination, debugger, passedInspector, false, c.noop);
        break;
      case Form::make:
        avo = Avo::make(c.env, destination, debugger, passedInspector, false, c.noop);
        break;
      case Form::lookup:
        avo = std::make_unique<Avo>(c.env, destination, false, c.noop);
        break;
      case Form::lookupDebugger:
        avo = std::make_unique<Avo>(c.env, destination, debugger, false, c.noop);
        break;
    }
    EXPECT_EQ(log.lines(), c.lines);
  }

  EXPECT_EQ(destination->count("make"), c.makeCalls);
  if (c.makeCalls == 1) {
    EXPECT_EQ(destination->calls.front(),
              (testing::DestinationCall{"make", {std::string(envName(c.env)), "<none>"}}));
  }
  EXPECT_EQ(destination->calls.size(), static_cast<std::size_t>(c.makeCalls));
  EXPECT_EQ(reports.attempts(), static_cast<std::uint64_t>(c.startReports));
  EXPECT_EQ(avo->NOOP_, c.noopAfter);
  EXPECT_EQ(avo->ENV_, c.env);

  const AvoValue expectedEnvInt(c.env == AvoEnv::dev ? 1 : 0);
  switch (c.inspector) {
    case Stored::unset:
      EXPECT_EQ(avo->inspector(), nullptr);
      if (passedInspector) {
        EXPECT_TRUE(passedInspector->performed.empty());
      }
      break;
    case Stored::passed:
    case Stored::registered: {
      auto expected = c.inspector == Stored::passed ? passedInspector : made;
      ASSERT_NE(expected, nullptr);
      EXPECT_EQ(avo->inspector(), expected);
      const auto init = expected->calls("initWithApiKey:envInt:");
      ASSERT_EQ(init.size(), 1u);
      EXPECT_EQ(init[0].arguments, (std::vector<AvoValue>{kInspectorKey, expectedEnvInt}));
      break;
    }
    case Stored::mutedClass:
      ASSERT_NE(made, nullptr);
      EXPECT_EQ(avo->inspector(), made);
      EXPECT_TRUE(made->performed.empty());
      break;
  }

  if (c.debuggerAttached) {
    EXPECT_EQ(avo->debugger(), debugger);
    const auto schema = debugger->calls("setSchemaId:");
    ASSERT_EQ(schema.size(), 1u);
    EXPECT_EQ(schema[0].arguments, (std::vector<AvoValue>{kSchemaId}));
  } else {
    EXPECT_EQ(avo->debugger(), nullptr);
    EXPECT_TRUE(debugger->performed.empty());
  }
}

std::vector<ConstructionCase> constructionCases() {
  using enum Form;
  using enum Registered;
  using enum Stored;
  using enum AvoEnv;
  const std::vector<std::string> kNone, kNoop{kNoopLine}, kRefusal{kRefusalLine},
      kVersion{kVersionLine}, kVersion2{kVersionLine, kVersionLine},
      kRefusalVersion{kRefusalLine, kVersionLine};
  // Columns: name, form, env, noop, passed inspector, registered class, log lines, make calls,
  // start reports, noop after, inspector stored, debugger attached.
  return {
      {"DevWithObjects", direct, dev, false, true, none, kNone, 1, 1, false, passed, true},
      {"ProdWithObjects", direct, prod, false, true, none, kNone, 1, 0, false, passed, true},
      {"DevNoopDropsObjects", direct, dev, true, true, none, kNoop, 0, 0, true, unset, false},
      {"ProdNoopIsRefused", direct, prod, true, true, none, kRefusal, 1, 0, false, passed, true},
      {"DevWithoutInspector", direct, dev, false, false, none, kVersion, 1, 1, false, unset, true},
      {"Allocating", make, prod, false, true, none, kNone, 1, 0, false, passed, true},
      {"LookupWithoutClass", lookup, dev, false, false, none, kVersion, 1, 1, false, unset, false},
      {"LookupRespondingClass", lookup, prod, false, false, responding, kVersion, 1, 0, false,
       registered, false},
      {"LookupMuteClass", lookup, dev, false, false, mute, kVersion2, 1, 1, false, mutedClass,
       false},
      {"LookupClassIsNoObject", lookup, dev, false, false, notObject, kVersion, 1, 1, false, unset,
       false},
      {"LookupDevNoopMakesInspector", lookup, dev, true, false, responding, kNoop, 0, 0, true,
       registered, false},
      {"LookupProdNoop", lookup, prod, true, false, none, kRefusalVersion, 1, 0, false, unset,
       false},
      {"LookupThenDebugger", lookupDebugger, dev, false, false, none, kVersion, 1, 1, false, unset,
       true},
      {"LookupThenDebuggerNoop", lookupDebugger, dev, true, false, none, kNoop, 0, 0, true, unset,
       false},
  };
}

INSTANTIATE_TEST_SUITE_P(Forms, ConstructionTest, ::testing::ValuesIn(constructionCases()),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- userLogout and the debugger gate ----

enum class DebuggerKind { none, mute, enabledNull, enabledFalse, enabledTrue };

std::shared_ptr<FakeObject> debuggerOf(DebuggerKind kind) {
  std::map<std::string, AvoValue> answers{{"publishEvent:withParams:", AvoValue()}};
  switch (kind) {
    case DebuggerKind::none:
      return nullptr;
    case DebuggerKind::mute:
      break;
    case DebuggerKind::enabledNull:
      answers["isEnabled"] = AvoValue();
      break;
    case DebuggerKind::enabledFalse:
      answers["isEnabled"] = AvoValue(false);
      break;
    case DebuggerKind::enabledTrue:
      answers["isEnabled"] = AvoValue(true);
      break;
  }
  return std::make_shared<FakeObject>(answers);
}

struct LogoutCase {
  const char* name;
  AvoEnv env;
  bool noop;
  DebuggerKind debugger;
  bool gatePasses;
  int publishes;
};

class UserLogoutTest : public ::testing::TestWithParam<LogoutCase> {};

TEST_P(UserLogoutTest, GatesDebuggerAndInspectorAndUnidentifies) {
  const LogoutCase& c = GetParam();
  ReportCounter reports;
  auto destination = std::make_shared<RecordingDestination>();
  auto debugger = debuggerOf(c.debugger);
  Avo avo(c.env, destination, debugger, respondingInspector(), false, c.noop);
  const auto reportsBefore = reports.attempts();
  destination->calls.clear();

  ScopedSystemLogCapture log;
  avo.userLogout();

  const bool dev = c.env == AvoEnv::dev;
  EXPECT_EQ(reports.attempts() - reportsBefore, c.gatePasses && !c.noop ? 1u : 0u);
  EXPECT_EQ(destination->count("unidentify"), c.noop ? 0 : 1);
  EXPECT_EQ(destination->calls.size(), c.noop ? 0u : 1u);
  const std::vector<std::string> expectedLines =
      dev ? std::vector<
                std::string>{"[avo] Event Sent: user_logout Event Props: [:] User Props: [:]"}
          : std::vector<std::string>{};
  EXPECT_EQ(log.lines(), expectedLines);
  if (debugger) {
    const auto published = debugger->calls("publishEvent:withParams:");
    ASSERT_EQ(published.size(), static_cast<std::size_t>(c.publishes));
    if (c.publishes == 1) {
      ASSERT_EQ(published[0].arguments.size(), 2u);
      EXPECT_EQ(published[0].arguments[0], AvoValue("user_logout"));
      const AvoDictionary* params = published[0].arguments[1].asDictionary();
      ASSERT_NE(params, nullptr);
      std::vector<std::string> keys;
      for (const auto& entry : *params)
        keys.push_back(entry.first);
      EXPECT_EQ(keys, (std::vector<std::string>{"timestamp", "id", "messages", "eventProps",
                                                "userProps"}));
      EXPECT_EQ(*params->find("id"), AvoValue("bJaNBZcQB_"));
      EXPECT_EQ(*params->find("messages"), AvoValue(AvoValue::List{}));
      EXPECT_EQ(*params->find("eventProps"), AvoValue(AvoValue::List{}));
      const double now =
          std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
              .count();
      ASSERT_NE(params->find("timestamp")->asDouble(), nullptr);
      EXPECT_NEAR(*params->find("timestamp")->asDouble(), now, 60.0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Gate, UserLogoutTest,
    ::testing::Values(
        LogoutCase{"ProdNoDebugger", AvoEnv::prod, false, DebuggerKind::none, false, 0},
        LogoutCase{"ProdDebuggerWithoutIsEnabled", AvoEnv::prod, false, DebuggerKind::mute, false,
                   0},
        LogoutCase{"ProdDebuggerAnswersNull", AvoEnv::prod, false, DebuggerKind::enabledNull, false,
                   0},
        // Any non-null answer counts as enabled, even a boxed false.
        LogoutCase{"ProdDebuggerAnswersFalse", AvoEnv::prod, false, DebuggerKind::enabledFalse,
                   true, 1},
        LogoutCase{"ProdDebuggerEnabled", AvoEnv::prod, false, DebuggerKind::enabledTrue, true, 1},
        LogoutCase{"DevNoDebugger", AvoEnv::dev, false, DebuggerKind::none, true, 0},
        LogoutCase{"DevDebugger", AvoEnv::dev, false, DebuggerKind::mute, true, 1},
        // In dev noop the debugger was dropped at construction: only the line remains.
        LogoutCase{"DevNoop", AvoEnv::dev, true, DebuggerKind::enabledTrue, true, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(AvoLoggerTest, HandledMessagesNeverReachTheSystemLog) {
  ReportCounter reports;
  for (bool handles : {true, false}) {
    SCOPED_TRACE(handles);
    auto destination = std::make_shared<RecordingDestination>();
    Avo avo(AvoEnv::dev, destination, nullptr, respondingInspector(), false, false);
    auto logger = std::make_shared<RecordingLogger>(handles);
    avo.avoLogger = logger;
    ScopedSystemLogCapture log;
    avo.userLogout();
    const std::string line = "Event Sent: user_logout Event Props: [:] User Props: [:]";
    EXPECT_EQ(logger->calls, (std::vector<testing::LoggerCall>{{"debug", true, line}}));
    EXPECT_EQ(log.lines(),
              handles ? std::vector<std::string>{} : std::vector<std::string>{"[avo] " + line});
  }
}

TEST(AvoLoggerTest, NullLoggerFallsBackToTheSystemLog) {
  ReportCounter reports;
  Avo avo(AvoEnv::dev, std::make_shared<RecordingDestination>(), nullptr, respondingInspector(),
          false, false);
  avo.avoLogger = nullptr;
  ScopedSystemLogCapture log;
  avo.userLogout();
  EXPECT_EQ(log.lines().size(), 1u);
}

TEST(AvoLoggerTest, NoopSwitchedOnLaterStopsDestinationCalls) {
  ReportCounter reports;
  auto destination = std::make_shared<RecordingDestination>();
  Avo avo(AvoEnv::prod, destination, nullptr, respondingInspector(), false, false);
  avo.NOOP_ = true;
  avo.userLogout();
  EXPECT_EQ(destination->count("unidentify"), 0);
  avo.NOOP_ = false;
  avo.userLogout();
  EXPECT_EQ(destination->count("unidentify"), 1);
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
