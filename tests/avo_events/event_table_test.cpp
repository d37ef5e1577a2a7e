// Every event of the tracking plan, called by name with generated JSON arguments through the
// playground's replay, must reach the destination with the plan's properties; the expected calls
// are derived from the plan file itself, not from the generated code.

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "analytics/avo_event_table.h"
#include "analytics/loopback_http_server.h"
#include "analytics/system_log.h"
#include "avo_cli.h"
#include "base/case_table.h"

namespace km {
namespace {

using Json = nlohmann::ordered_json;

Json loadPlan() {
  std::ifstream file(std::string(KM_SOURCE_DIR) + "/tools/avo-codegen/plan.json");
  return Json::parse(file);
}

// A value for an argument of the given plan type. Enumerations take their last case (and lists
// their first and last), so the ends of every vocabulary table are exercised.
Json sampleArgument(const AvoParamInfo& param) {
  const std::string_view type = param.type;
  if (param.key == "userId") return "user-42";
  if (type == "String") return "text of " + std::string(param.key);
  if (type == "String?") return "optional " + std::string(param.key);
  if (type == "Int") return 7;
  if (type == "Bool") return true;
  if (type == "[String]") return Json::array({"first", "second"});
  if (type == "SmartAssistantInputContent") {
    return Json{{"market", "PR"}, {"language", "ZH-TW"}, {"version", "3"}, {"user_input", "soup"}};
  }
  if (type == "FoodNutrients") return Json{{"protein", "no_data"}, {"salt", "incorrect"}};
  EXPECT_NE(param.allowedValues, nullptr) << param.key << ": " << type;
  if (!param.allowedValues) return nullptr;
  const std::vector<std::string_view> allowed = param.allowedValues();
  if (type.front() == '[') return Json::array({allowed.front(), allowed.back()});
  return allowed.back();
}

// What the destination should print for the event, from its plan entry and the arguments.
std::vector<Json> expectedCalls(const Json& event, const Json& args) {
  Json eventProperties = Json::object();
  for (const Json& fixed : event["fixedProperties"])
    eventProperties[fixed["name"]] = fixed["value"];
  for (const Json& property : event["properties"]) {
    eventProperties[property["name"]] = args.at(property["name"].get<std::string>());
  }
  Json userProperties = Json::object();
  for (const Json& property : event["userProperties"]) {
    userProperties[property["name"]] = args.at(property["name"].get<std::string>());
  }
  const std::string call = event["call"];
  const Json logEvent = {
      {"call", "logEvent"}, {"eventName", event["name"]}, {"eventProperties", eventProperties}};
  if (call == "logEvent") return {logEvent};
  if (call == "setUserProperties") {
    return {Json{{"call", "setUserProperties"},
                 {"userId", args["userId"]},
                 {"userProperties", userProperties}}};
  }
  if (call == "logEvent+identify") {
    return {logEvent, Json{{"call", "identify"}, {"userId", args["userId"]}}};
  }
  if (call == "logEvent+unidentify") return {logEvent, Json{{"call", "unidentify"}}};
  EXPECT_EQ(call, "unidentify") << event["name"];
  return {Json{{"call", "unidentify"}}};
}

TEST(EventTableTest, TableFollowsThePlan) {
  const Json plan = loadPlan();
  const auto table = avoEventTable();
  ASSERT_EQ(table.size(), plan["events"].size());
  ASSERT_EQ(table.size(), 171u);
  for (std::size_t i = 0; i < table.size(); ++i) {
    EXPECT_EQ(table[i].name, plan["events"][i]["name"].get<std::string>());
    EXPECT_EQ(findAvoEvent(table[i].function), &table[i]);
    EXPECT_EQ(findAvoEvent(table[i].name), &table[i]);
  }
  EXPECT_EQ(findAvoEvent("widgetadd"), nullptr);
}

TEST(EventTableTest, EveryEventRunsEndToEndThroughThePlayground) {
  const Json plan = loadPlan();
  std::string replay;
  std::vector<Json> expected;
  for (std::size_t i = 0; i < avoEventTable().size(); ++i) {
    const AvoEventEntry& entry = avoEventTable()[i];
    Json args = Json::object();
    for (const AvoParamInfo& param : entry.params)
      args[std::string(param.key)] = sampleArgument(param);
    replay += Json{{"event", entry.name}, {"args", args}}.dump() + "\n";
    for (Json& call : expectedCalls(plan["events"][i], args))
      expected.push_back(std::move(call));
  }

  ScopedSystemLogCapture log;
  std::istringstream in(replay);
  std::ostringstream out, err;
  const char* argv[] = {"avo-cli", "--env", "dev", "--inspector", "--debugger", "--replay", "-"};
  ASSERT_EQ(runAvoCli(7, argv, in, out, err), 0) << err.str();
  EXPECT_EQ(err.str(), "");

  std::vector<Json> calls;
  std::vector<std::string> published, tracked;
  std::istringstream lines(out.str());
  for (std::string line; std::getline(lines, line);) {
    Json json = Json::parse(line);
    if (json.contains("call")) calls.push_back(json);
    if (json.value("debugger", "") == "publishEvent:withParams:") {
      published.push_back(json["args"][0]);
    }
    if (json.value("inspector", "") == "avoFunctionTrackSchemaFromEvent:eventParams:") {
      tracked.push_back(json["args"][0]);
    }
  }
  ASSERT_FALSE(calls.empty());
  EXPECT_EQ(calls.front(), (Json{{"call", "make"}, {"env", "dev"}, {"apiKey", nullptr}}));
  calls.erase(calls.begin());
  ASSERT_EQ(calls.size(), expected.size());
  for (std::size_t i = 0; i < calls.size(); ++i) {
    EXPECT_EQ(calls[i], expected[i]) << "call " << i;
  }
  // Every event is shown to the debugger; all but the unidentify-only logout to the inspector.
  EXPECT_EQ(published.size(), 171u);
  EXPECT_EQ(tracked.size(), 170u);
  int eventLines = 0;
  for (const std::string& line : log.lines())
    eventLines += line.find("Event Sent: ") != std::string::npos;
  EXPECT_EQ(eventLines, 171);
}

// Bad input is refused with the event's parameters, and nothing is sent for it; in strict mode a
// validation message stops the event with the platform's exception.
TEST(EventTableTest, PlaygroundRefusesBadArgumentsAndInvalidEvents) {
  ScopedAvoValidationHook hook([](std::string_view) {
    return std::vector<AvoAssertMessage>{AvoAssertMessage::expectedMax("p", "too many")};
  });
  const km::testing::Json cases = km::testing::loadCases("avo_events/cases.json");
  km::testing::checkRows(cases, "refused", [](const km::testing::Json& in) {
    std::vector<std::string> args = in;
    std::vector<const char*> argv = {"avo-cli", "--env", "prod"};
    for (const std::string& arg : args)
      argv.push_back(arg.c_str());
    std::istringstream input;
    std::ostringstream out, err;
    ScopedSystemLogCapture log;
    const int status = runAvoCli(static_cast<int>(argv.size()), argv.data(), input, out, err);
    EXPECT_EQ(out.str().find("logEvent"), std::string::npos) << out.str();
    return km::testing::Json{status, err.str()};
  });
}

TEST(EventTableTest, PlaygroundReportsToTheGivenInspectorUrl) {
  testing::LoopbackHttpServer server(testing::ServerBehavior::ok);
  const std::string url = server.url();
  const char* argv[] = {"avo-cli", "--inspector-url", url.c_str(), "page_view_diary"};
  std::istringstream in;
  std::ostringstream out, err;
  ScopedSystemLogCapture log;
  ASSERT_EQ(runAvoCli(4, argv, in, out, err), 0) << err.str();
  // The start report of a dev client, then the event's invocation report.
  ASSERT_TRUE(server.waitForRequests(2, std::chrono::seconds(10)));
  // Reports travel on several connections at once and may arrive in either order.
  std::set<std::string> reports;
  for (const auto& request : server.requests())
    reports.insert(nlohmann::json::parse(request.body).value("ev", "start"));
  const Json pageView = loadPlan()["events"][73];
  EXPECT_EQ(pageView["name"], "page_view_diary");
  EXPECT_EQ(reports, (std::set<std::string>{"start", pageView["id"].get<std::string>()}));
}

}  // namespace
}  // namespace km
