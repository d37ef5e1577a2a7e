// The event template on representative plan events: what reaches the destination, the debugger,
// the inspector object, the inspector service and the log, in each environment and mode.

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "analytics/avo.h"
#include "analytics/avo_event_runner.h"
#include "analytics/fakes.h"
#include "analytics/inspector_service_client.h"
#include "analytics/loopback_http_server.h"
#include "analytics/system_log.h"

namespace km {
namespace {

using testing::DestinationCall;
using testing::FakeObject;
using testing::LoggerCall;
using testing::RecordingDestination;
using testing::RecordingLogger;
using W = avo::Widget;

constexpr std::string_view kWidgetAddHash =
    "e476bec17caf0ad386f0bd53ea22f685e89d2a4df2a75c07166185d72ecfab70";

enum class Debugger { none, disabled, enabled };

// A client with recording collaborators. The inspector service is replaced by a client with an
// unusable endpoint: it sends nothing and counts every report it is handed as dropped.
struct Harness {
  explicit Harness(AvoEnv env, bool noop = false, Debugger debugger = Debugger::none,
                   bool inspector = true, bool strict = false)
      : service(InspectorServiceOptions{.endpoint = "ftp://nowhere/i"}), serviceOverride(service) {
    if (debugger != Debugger::none) {
      std::map<std::string, AvoValue> answers{{"setSchemaId:", AvoValue()},
                                              {"publishEvent:withParams:", AvoValue()}};
      answers["isEnabled"] = debugger == Debugger::enabled ? AvoValue(true) : AvoValue();
      debuggerObject = std::make_shared<FakeObject>(answers);
    }
    if (inspector) {
      inspectorObject = std::make_shared<FakeObject>(std::map<std::string, AvoValue>{
          {"initWithApiKey:envInt:", AvoValue()},
          {"avoFunctionTrackSchemaFromEvent:eventParams:", AvoValue()}});
    }
    avo = std::make_unique<Avo>(env, destination, debuggerObject, inspectorObject, strict, noop);
    avo->avoLogger = logger;
    reportsAtStart = reports();
  }

  std::uint64_t reports() const { return service.stats().dropped; }
  std::uint64_t eventReports() const { return reports() - reportsAtStart; }
  std::vector<testing::PerformedCall> published() const {
    return debuggerObject ? debuggerObject->calls("publishEvent:withParams:")
                          : std::vector<testing::PerformedCall>{};
  }
  std::vector<testing::PerformedCall> tracked() const {
    return inspectorObject ? inspectorObject->calls("avoFunctionTrackSchemaFromEvent:eventParams:")
                           : std::vector<testing::PerformedCall>{};
  }
  std::vector<DestinationCall> eventCalls() const {
    std::vector<DestinationCall> calls;
    for (const DestinationCall& call : destination->calls) {
      if (call.operation != "make") calls.push_back(call);
    }
    return calls;
  }
  std::vector<std::string> debugMessages() const {
    std::vector<std::string> messages;
    for (const LoggerCall& call : logger->calls) {
      if (call.level == "debug") messages.push_back(call.message);
    }
    return messages;
  }

  InspectorServiceClient service;
  ScopedInspectorServiceOverride serviceOverride;
  std::shared_ptr<RecordingDestination> destination = std::make_shared<RecordingDestination>();
  std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>(true);
  std::shared_ptr<FakeObject> debuggerObject;
  std::shared_ptr<FakeObject> inspectorObject;
  std::unique_ptr<Avo> avo;
  std::uint64_t reportsAtStart = 0;
};

std::string json(const AvoValue& value) {
  return value.toJson().dump();
}

// ---- Who is told, by environment and mode ----

struct GateCase {
  const char* label;
  AvoEnv env;
  bool noopAtConstruction;
  bool noopLater;  // the host switches noop on after construction
  Debugger debugger;
  int reports;
  int published;
  int tracked;
  int logEvents;
  int debugLines;
};

void PrintTo(const GateCase& c, std::ostream* os) {
  *os << c.label;
}

class EventGateTest : public ::testing::TestWithParam<GateCase> {};

TEST_P(EventGateTest, WidgetAddReachesWhatTheModeAllows) {
  const GateCase& c = GetParam();
  Harness h(c.env, c.noopAtConstruction, c.debugger);
  if (c.noopLater) h.avo->NOOP_ = true;

  h.avo->widgetAdd({W::smallEnergy});

  EXPECT_EQ(h.eventReports(), static_cast<std::uint64_t>(c.reports));
  EXPECT_EQ(h.published().size(), static_cast<std::size_t>(c.published));
  EXPECT_EQ(h.tracked().size(), static_cast<std::size_t>(c.tracked));
  EXPECT_EQ(h.destination->count("logEvent"), c.logEvents);
  EXPECT_EQ(h.debugMessages().size(), static_cast<std::size_t>(c.debugLines));
}

INSTANTIATE_TEST_SUITE_P(
    Modes, EventGateTest,
    ::testing::Values(
        // label, env, noop at construction, noop later, debugger; then how many reports,
        // publishes, inspector calls, destination events and debug lines.
        GateCase{"dev_debugger", AvoEnv::dev, false, false, Debugger::disabled, 1, 1, 1, 1, 1},
        GateCase{"dev_no_debugger", AvoEnv::dev, false, false, Debugger::none, 1, 0, 1, 1, 1},
        // Noop from construction drops debugger and inspector: only the log line is left.
        GateCase{"dev_noop", AvoEnv::dev, true, false, Debugger::enabled, 0, 0, 0, 0, 1},
        // Noop switched on later: the debugger still sees the event, nothing is sent.
        GateCase{"dev_noop_later", AvoEnv::dev, false, true, Debugger::disabled, 0, 1, 0, 0, 1},
        GateCase{"prod_no_debugger", AvoEnv::prod, false, false, Debugger::none, 0, 0, 1, 1, 0},
        GateCase{"prod_disabled_debugger", AvoEnv::prod, false, false, Debugger::disabled, 0, 0, 1,
                 1, 0},
        GateCase{"prod_enabled_debugger", AvoEnv::prod, false, false, Debugger::enabled, 1, 1, 1, 1,
                 0},
        // Production refuses noop, so the event goes out as usual.
        GateCase{"prod_noop_refused", AvoEnv::prod, true, false, Debugger::none, 0, 0, 1, 1, 0},
        GateCase{"prod_noop_later", AvoEnv::prod, false, true, Debugger::enabled, 0, 1, 0, 0, 0}),
    [](const auto& info) { return std::string(info.param.label); });

// ---- What is sent ----

TEST(EventTemplateTest, WidgetAddSendsFixedPropertiesThenTheWidgetList) {
  struct Case {
    std::vector<W> widgets;
    std::string printedList;
  };
  const Case cases[] = {
      {{}, "[]"},
      {{W::smallEnergy, W::smallEnergy}, R"(["small_energy", "small_energy"])"},
      {{W::lockscreenCaloriesInline, W::mediumPieMacros},
       R"(["lockscreen_calories_inline", "medium_pie_macros"])"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.printedList);
    Harness h(AvoEnv::dev, false, Debugger::disabled);
    h.avo->widgetAdd(c.widgets);

    const std::string props =
        R"(["feature_category": "widgets", "feature": "widgets", "feature_item": "widgets", )"
        R"("action": "confirm", "feature_type": "free", "widget": )" +
        c.printedList + "]";
    EXPECT_EQ(h.eventCalls(), (std::vector<DestinationCall>{{"logEvent", {"widget_add", props}}}));
    EXPECT_EQ(h.debugMessages(), std::vector<std::string>{"Event Sent: widget_add Event Props: " +
                                                          props + " User Props: [:]"});

    // The debugger lists the variable property first, then the fixed ones, with their ids.
    const auto published = h.published();
    ASSERT_EQ(published.size(), 1u);
    const auto& publish = published[0].arguments;
    EXPECT_EQ(*publish[0].asString(), "widget_add");
    const AvoDictionary& params = *publish[1].asDictionary();
    EXPECT_EQ(json(*params.find("id")), R"("1Z3E51Um7N")");
    EXPECT_EQ(json(*params.find("messages")), "[]");
    EXPECT_EQ(json(*params.find("userProps")), "[]");
    const AvoValue::List& records = *params.find("eventProps")->asList();
    ASSERT_EQ(records.size(), 6u);
    EXPECT_EQ(
        json(records[0]),
        nlohmann::ordered_json({{"id", "VbTYpkc129"}, {"name", "widget"}, {"value", c.printedList}})
            .dump());
    const char* fixedNames[] = {"feature_category", "feature", "feature_item", "action",
                                "feature_type"};
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(*records[i + 1].asDictionary()->find("name")->asString(), fixedNames[i]);
    }

    // The inspector gets a copy with the event's id and hash; the destination does not.
    const auto trackedCalls = h.tracked();
    ASSERT_EQ(trackedCalls.size(), 1u);
    const AvoDictionary& tracked = *trackedCalls[0].arguments[1].asDictionary();
    EXPECT_EQ(*tracked.find("avoFunctionEventId")->asString(), "1Z3E51Um7N");
    EXPECT_EQ(*tracked.find("avoFunctionEventHash")->asString(), kWidgetAddHash);
    EXPECT_EQ(tracked.size(), 8u);
  }
}

TEST(EventTemplateTest, WidgetTapSendsBothListsInOrder) {
  Harness h(AvoEnv::prod);
  h.avo->widgetTap({W::mediumButtons}, {avo::Destination::barcodeScanner, avo::Destination::diary});
  const auto calls = h.eventCalls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].arguments[0], "widget_tap");
  const std::string& props = calls[0].arguments[1];
  EXPECT_NE(
      props.find(R"("widget": ["medium_buttons"], "destination": ["barcode_scanner", "diary"]])"),
      std::string::npos)
      << props;
  EXPECT_EQ(props.find(R"("feature_category": "widgets")"), 1u) << props;
}

// The user-property events end in setUserProperties and show the user id to the debugger first,
// then each property with its plan id.
TEST(EventTemplateTest, UserPropertyEvents) {
  const std::string userId = R"({"id":"avo-enriched-type-user-id","name":"User Id","value":"u1"})";
  const std::string language = R"({"id":"5eMizuVa3e","name":"app_language_code","value":)";
  const std::string region = R"({"id":"WlsaZKTzY9","name":"app_region_code","value":)";
  struct Case {
    const char* label;
    std::function<void(Avo&)> send;
    std::string userProps;
    std::vector<std::string> records;
  };
  const Case cases[] = {
      {"languageSet",
       [](Avo& avo) { avo.languageSet("u1", avo::AppLanguageCode::ptminusPT); },
       R"(["app_language_code": "PT-PT"])",
       {userId, language + R"("PT-PT"})"}},
      {"regionSet",
       [](Avo& avo) { avo.regionSet("u1", avo::AppRegionCode::az); },
       R"(["app_region_code": "AZ"])",
       {userId, region + R"("AZ"})"}},
      {"userPropertiesSet",
       [](Avo& avo) {
         avo.userPropertiesSet("u1", avo::AppLanguageCode::zhminusTW, avo::AppRegionCode::do_);
       },
       R"(["app_language_code": "ZH-TW", "app_region_code": "DO"])",
       {userId, language + R"("ZH-TW"})", region + R"("DO"})"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    Harness h(AvoEnv::dev, false, Debugger::disabled);
    c.send(*h.avo);
    EXPECT_EQ(h.eventCalls(),
              (std::vector<DestinationCall>{{"setUserProperties", {"u1", c.userProps}}}));
    ASSERT_EQ(h.debugMessages().size(), 1u);
    EXPECT_NE(h.debugMessages()[0].find(" Event Props: [:] User Props: " + c.userProps),
              std::string::npos);
    const auto published = h.published();
    ASSERT_EQ(published.size(), 1u);
    std::vector<std::string> records;
    for (const AvoValue& record :
         *published[0].arguments[1].asDictionary()->find("userProps")->asList()) {
      records.push_back(json(record));
    }
    EXPECT_EQ(records, c.records);
  }
}

TEST(EventTemplateTest, IdentifyAndUnidentifyFollowTheEvent) {
  struct Case {
    const char* label;
    std::function<void(Avo&)> send;
    std::vector<std::string> operations;
  };
  const Case cases[] = {
      {"profileCreated",
       [](Avo& avo) {
         avo.profileCreated("u9", "member", "email", {"lose_weight", "eat_better"});
       },
       {"logEvent", "identify"}},
      {"accountDelete", [](Avo& avo) { avo.accountDelete(); }, {"logEvent", "unidentify"}},
      {"userLogout", [](Avo& avo) { avo.userLogout(); }, {"unidentify"}},
  };
  for (AvoEnv env : {AvoEnv::dev, AvoEnv::prod}) {
    for (bool noop : {false, true}) {
      for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.label) + " " + std::string(envName(env)) +
                     (noop ? " noop" : ""));
        Harness h(env, noop);
        c.send(*h.avo);
        std::vector<std::string> operations;
        for (const DestinationCall& call : h.eventCalls())
          operations.push_back(call.operation);
        // Noop is refused in prod, so there the calls happen anyway.
        const bool silent = noop && env == AvoEnv::dev;
        EXPECT_EQ(operations, silent ? std::vector<std::string>{} : c.operations);
      }
    }
  }
  Harness h(AvoEnv::prod);
  h.avo->profileCreated("u9", "member", "email", {"lose_weight"});
  EXPECT_EQ(h.eventCalls()[0].arguments[1],
            R"(["feature_category": "account_creation", "feature": "registration", )"
            R"("feature_item": "member_registration", "action": "create", "feature_type": )"
            R"("free", "account_type": "member", "registration_method": "email", )"
            R"("goal_types": ["lose_weight"]])");
  EXPECT_EQ(h.eventCalls()[1], (DestinationCall{"identify", {"u9"}}));
}

TEST(EventTemplateTest, NewFoodSaveSendsOnlyTheNutrientsThatHaveAState) {
  Harness h(AvoEnv::prod);
  avo::group::FoodNutrients nutrients;
  nutrients.energy = avo::Energy::correct;
  nutrients.fatTrans = avo::FatTrans::missingValue;
  nutrients.salt = avo::Salt::warningButCorrect;
  h.avo->newFoodSave(nutrients);
  h.avo->newFoodSave({});
  const auto calls = h.eventCalls();
  ASSERT_EQ(calls.size(), 2u);
  const std::string prefix =
      R"(["feature_category": "diary", "feature": "food_logging", "feature_item": "new_food", )"
      R"("action": "save", "feature_type": "free", "food_nutrients": )";
  EXPECT_EQ(calls[0].arguments[1], prefix +
                                       R"(["energy": "correct", "fat_trans": "missing_value", )"
                                       R"("salt": "warning_but_correct"]])");
  EXPECT_EQ(calls[1].arguments[1], prefix + "[:]]");
}

// ---- The smart-assistant submit: nested input, optional arguments, validation ----

avo::SmartAssistantInputContent input() {
  return {avo::Market::au, avo::Language::ptminusPT, "2.1", "two eggs and toast"};
}

void submit(Avo& avo, std::optional<std::string_view> flowId = std::nullopt) {
  avo.smartAssistantMealSubmit("breakfast", 1, 2, input(), "complete", flowId, std::nullopt);
}

TEST(EventTemplateTest, SmartAssistantMealSubmitNestsTheInputAndLeavesOutAbsentOptionals) {
  Harness h(AvoEnv::dev);
  submit(*h.avo, "flow-1");
  const auto calls = h.eventCalls();
  ASSERT_EQ(calls.size(), 1u);
  EXPECT_EQ(calls[0].arguments[1],
            R"(["feature_category": "smart_assistant", "feature": "smart_assistant_food_logging", )"
            R"("feature_item": "smart_assistant_food_logging", "action": "confirm", )"
            R"("feature_type": "premium", "meal_type": "breakfast", "count_voice_input": 1, )"
            R"("count_keyboard_input": 2, "smart_assistant_input_content": ["market": "AU", )"
            R"("language": "PT-PT", "version": "2.1", "user_input": "two eggs and toast"], )"
            R"("state": "complete", "flow_id": "flow-1"])");
  // The debug line and the inspector still see the absent one, as null.
  EXPECT_NE(h.debugMessages()[0].find(R"("flow_id": "flow-1", "a_b_test_stream": nil])"),
            std::string::npos);
  const auto trackedCalls = h.tracked();
  ASSERT_EQ(trackedCalls.size(), 1u);
  const AvoDictionary& tracked = *trackedCalls[0].arguments[1].asDictionary();
  EXPECT_TRUE(tracked.find("a_b_test_stream")->isNull());
  EXPECT_EQ(*tracked.find("avoFunctionEventId")->asString(), "VWIBJo8n4");
}

struct ValidationCase {
  const char* label;
  AvoEnv env;
  bool strict;
  bool injectMessages;
  bool throws;
  int logEvents;
  std::vector<LoggerCall> messageLines;  // logger calls other than the event line
};

void PrintTo(const ValidationCase& c, std::ostream* os) {
  *os << c.label;
}

class ValidationTest : public ::testing::TestWithParam<ValidationCase> {};

TEST_P(ValidationTest, SmartAssistantMealSubmit) {
  const ValidationCase& c = GetParam();
  std::optional<ScopedAvoValidationHook> hook;
  std::vector<std::string> askedFor;
  if (c.injectMessages) {
    hook.emplace([&askedFor](std::string_view eventName) {
      askedFor.emplace_back(eventName);
      return std::vector<AvoAssertMessage>{
          AvoAssertMessage::expectedMin("SBETAhgOvw", "count_voice_input is below 2"),
          AvoAssertMessage::expectedMax("BkxHLIFyAI", "count_keyboard_input is above 1")};
    });
  }
  Harness h(c.env, false, Debugger::enabled, true, c.strict);

  if (c.throws) {
    try {
      submit(*h.avo);
      FAIL() << "expected the strict-mode exception";
    } catch (const AvoInvalidArgumentException& error) {
      EXPECT_STREQ(error.what(),
                   "Error sending event 'smart_assistant_meal_submit': count_voice_input is "
                   "below 2");
      EXPECT_EQ(AvoInvalidArgumentException::name(), "NSInvalidArgumentException");
    }
  } else {
    submit(*h.avo);
  }
  EXPECT_EQ(h.destination->count("logEvent"), c.logEvents);
  // The debugger hears of the messages before anything can raise.
  const auto published = h.published();
  ASSERT_EQ(published.size(), 1u);
  const AvoValue& messages = *published[0].arguments[1].asDictionary()->find("messages");
  EXPECT_EQ(messages.asList()->size(), c.injectMessages ? 2u : 0u);
  if (c.injectMessages) {
    EXPECT_EQ(
        json(messages.asList()->at(0)),
        R"({"tag":"expectedMin","propertyId":"SBETAhgOvw","message":"count_voice_input is below 2"})");
    EXPECT_EQ(askedFor, std::vector<std::string>{"smart_assistant_meal_submit"});
  }
  std::vector<LoggerCall> messageLines;
  for (const LoggerCall& call : h.logger->calls) {
    if (call.level == "debug" && call.message.rfind("Event Sent: ", 0) != 0) {
      messageLines.push_back(call);
    }
  }
  EXPECT_EQ(messageLines, c.messageLines);
}

const std::vector<LoggerCall> kDevLines = {{"debug", true, "count_voice_input is below 2"},
                                           {"debug", true, "count_keyboard_input is above 1"}};
const std::vector<LoggerCall> kProdLines = {{"debug", false, "count_voice_input is below 2"},
                                            {"debug", false, "count_keyboard_input is above 1"}};

INSTANTIATE_TEST_SUITE_P(
    Modes, ValidationTest,
    ::testing::Values(
        ValidationCase{"dev_strict_messages", AvoEnv::dev, true, true, true, 0, {}},
        ValidationCase{"prod_strict_messages", AvoEnv::prod, true, true, true, 0, {}},
        ValidationCase{"dev_lenient_messages", AvoEnv::dev, false, true, false, 1, kDevLines},
        ValidationCase{"prod_lenient_messages", AvoEnv::prod, false, true, false, 1, kProdLines},
        // With this plan's empty message lists strict mode changes nothing.
        ValidationCase{"dev_strict_no_messages", AvoEnv::dev, true, false, false, 1, {}},
        ValidationCase{"prod_strict_no_messages", AvoEnv::prod, true, false, false, 1, {}}),
    [](const auto& info) { return std::string(info.param.label); });

TEST(EventTemplateTest, EventsWithoutTheValidationStepIgnoreInjectedMessages) {
  ScopedAvoValidationHook hook([](std::string_view) {
    return std::vector<AvoAssertMessage>{AvoAssertMessage::expectedMin("x", "never")};
  });
  Harness h(AvoEnv::dev, false, Debugger::disabled, true, /*strict=*/true);
  h.avo->widgetAdd({});
  h.avo->smartAssistantMealResultsTryAgain("lunch", std::nullopt);
  EXPECT_EQ(h.destination->count("logEvent"), 2);
  for (const auto& publish : h.published()) {
    EXPECT_TRUE(publish.arguments[1].asDictionary()->find("messages")->asList()->empty());
  }
}

TEST(EventTemplateTest, InspectorWithoutTheTrackSelectorLogsTheVersionErrorOnEveryEvent) {
  auto oldInspector = std::make_shared<FakeObject>(
      std::map<std::string, AvoValue>{{"initWithApiKey:envInt:", AvoValue()}});
  auto destination = std::make_shared<RecordingDestination>();
  Avo avo(AvoEnv::prod, destination, nullptr, oldInspector, false, false);
  auto logger = std::make_shared<RecordingLogger>(true);
  avo.avoLogger = logger;
  avo.widgetAdd({});
  avo.pageViewDiary();
  EXPECT_EQ(destination->count("logEvent"), 2);
  EXPECT_EQ(logger->calls,
            (std::vector<LoggerCall>{{"error", false, std::string(kAvoInspectorVersionError)},
                                     {"error", false, std::string(kAvoInspectorVersionError)}}));
}

TEST(EventTemplateTest, WithoutALoggerLinesGoToTheSystemLog) {
  Harness h(AvoEnv::dev);
  ScopedSystemLogCapture capture;  // after construction, which says that reports are off
  h.avo->avoLogger = std::make_shared<EmptyAvoLogger>();
  h.avo->pageViewDiary();
  EXPECT_EQ(capture.lines(),
            std::vector<std::string>{
                R"([avo] Event Sent: page_view_diary Event Props: ["feature_category": "diary", )"
                R"("feature": "diary", "feature_item": "diary", "action": "view", )"
                R"("feature_type": "free"] User Props: [:])"});
}

// The invocation report carries the event's plan id and hash.
TEST(EventTemplateTest, InvocationReportNamesTheEvent) {
  testing::LoopbackHttpServer server(testing::ServerBehavior::ok);
  InspectorServiceClient service(InspectorServiceOptions{.endpoint = server.url()});
  ScopedInspectorServiceOverride serviceOverride(service);
  auto destination = std::make_shared<RecordingDestination>();
  Avo avo(AvoEnv::dev, destination, nullptr, nullptr, false, false);
  avo.avoLogger = std::make_shared<RecordingLogger>(true);
  avo.widgetAdd({W::smallEnergy});
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
