#pragma once

// A tracking client built from a JSON description, with recording collaborators, and the whole
// account of what it did to them: a case states its setup, its steps and every expected effect
// as data, compared whole.
//
// Setup keys (all optional): "endpoint" of the inspector service, "env" ("dev"|"prod"), "noop",
// "strict", "form" ("direct", "make", "lookup", "lookupDebugger"), "inspector" (the inspector
// passed in), "registered" (what an "AvoInspector" class lookup makes, or "notObject"), "debugger";
// the three objects are given as the selectors they answer, {"isEnabled": true}. "logger": true or
// false (a recording logger that handles lines, or not), "null" (none at all), absent (the
// default). "messages": validation messages [tag, property id, text] injected into events that
// validate. "order": true keeps one journal of every collaborator's calls, in the order they came.
// Steps: "noop on", "noop off", or {"event": plan name, "args": {...}}.

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "analytics/avo.h"
#include "analytics/avo_event_table.h"
#include "analytics/fakes.h"
#include "analytics/inspector_service_client.h"
#include "analytics/system_log.h"
#include "base/case_table.h"

namespace km::testing {

using OrderedJson = nlohmann::ordered_json;

inline std::shared_ptr<FakeObject> fakeAnswering(const OrderedJson& answers) {
  if (!answers.is_object()) return nullptr;
  std::map<std::string, AvoValue> map;
  for (const auto& [selector, answer] : answers.items())
    map[selector] = answer.is_boolean() ? AvoValue(answer.get<bool>()) : AvoValue();
  return std::make_shared<FakeObject>(map);
}

// Calls as [selector, arguments...]; a timestamp within a minute of now reads "now".
inline OrderedJson callsOf(const std::shared_ptr<FakeObject>& object) {
  if (!object) return nullptr;
  const double now =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  OrderedJson calls = OrderedJson::array();
  for (const PerformedCall& call : object->performed) {
    OrderedJson row = {call.selector};
    for (const AvoValue& argument : call.arguments) {
      OrderedJson value = argument.toJson();
      if (value.is_object() && value.contains("timestamp") && value["timestamp"].is_number() &&
          std::abs(value["timestamp"].get<double>() - now) < 60) {
        value["timestamp"] = "now";
      }
      row.push_back(value);
    }
    calls.push_back(row);
  }
  return calls;
}

class Scenario {
 public:
  explicit Scenario(const OrderedJson& setup)
      : service_(InspectorServiceOptions{.endpoint = setup.value("endpoint", kNowhere)}),
        destination_(std::make_shared<RecordingDestination>()),
        inspector_(fakeAnswering(setup.value("inspector", OrderedJson()))),
        debugger_(fakeAnswering(setup.value("debugger", OrderedJson()))) {
    const OrderedJson registered = setup.value("registered", OrderedJson());
    if (registered == "notObject") {
      registration_.emplace("AvoInspector", nullptr);
    } else if (registered.is_object()) {
      registration_.emplace("AvoInspector", [this, registered]() -> std::shared_ptr<DynamicObject> {
        if (destination_->journal) journal_.push_back("AvoInspector made");
        made_ = fakeAnswering(registered);
        follow(made_, "madeInspector");
        return made_;
      });
    }
    if (setup.contains("messages")) {
      hook_.emplace([this, messages = setup["messages"]](std::string_view event) {
        askedFor_.emplace_back(event);
        std::vector<AvoAssertMessage> list;
        for (const auto& m : messages)
          list.push_back(m[0] == "expectedMin" ? AvoAssertMessage::expectedMin(m[1], m[2])
                                               : AvoAssertMessage::expectedMax(m[1], m[2]));
        return list;
      });
    }
    if (setup.value("order", false)) {
      destination_->journal = &journal_;
      follow(inspector_, "inspector");
      follow(debugger_, "debugger");
    }
    const AvoEnv env = setup.value("env", "dev") == "dev" ? AvoEnv::dev : AvoEnv::prod;
    const bool noop = setup.value("noop", false), strict = setup.value("strict", false);
    const std::string form = setup.value("form", "direct");
    if (form == "direct") {
      avo_ = std::make_unique<Avo>(env, destination_, debugger_, inspector_, strict, noop);
    } else if (form == "make") {
      avo_ = Avo::make(env, destination_, debugger_, inspector_, strict, noop);
    } else if (form == "lookup") {
      avo_ = std::make_unique<Avo>(env, destination_, strict, noop);
    } else {
      avo_ = std::make_unique<Avo>(env, destination_, debugger_, strict, noop);
    }
    if (setup.contains("logger")) {
      if (setup["logger"].is_boolean())
        logger_ = std::make_shared<RecordingLogger>(setup["logger"]);
      avo_->avoLogger = logger_;
    }
  }

  // With "order" set, every collaborator writes to the journal as it is called.
  void follow(const std::shared_ptr<FakeObject>& object, const char* name) {
    if (!object || destination_->journal == nullptr) return;
    object->name = name;
    object->journal = &journal_;
  }

  void run(const OrderedJson& step) {
    if (step.is_string()) {
      avo_->NOOP_ = step == "noop on";
      return;
    }
    const AvoEventEntry* entry = findAvoEvent(step["event"].get<std::string>());
    ASSERT_NE(entry, nullptr) << step;
    try {
      entry->call(*avo_,
                  AvoJsonArgs(nlohmann::json::parse(step.value("args", OrderedJson()).dump())));
    } catch (const AvoInvalidArgumentException& error) {
      raised_.push_back(error.what());
    }
  }

  // Everything said and done so far; empty parts are left out.
  OrderedJson transcript(const std::vector<std::string>& logLines) const {
    OrderedJson t;
    auto put = [&t](const char* key, const OrderedJson& value) {
      if (!value.is_null() && !value.empty()) t[key] = value;
    };
    put("log", logLines);
    OrderedJson calls = OrderedJson::array();
    for (const DestinationCall& call : destination_->calls) {
      OrderedJson row = {call.operation};
      for (const std::string& argument : call.arguments)
        row.push_back(argument);
      calls.push_back(row);
    }
    put("destination", calls);
    if (logger_) {
      OrderedJson lines = OrderedJson::array();
      for (const LoggerCall& call : logger_->calls)
        lines.push_back({call.level, call.isDev, call.message});
      put("logger", lines);
    }
    put("inspector", callsOf(inspector_));
    put("madeInspector", callsOf(made_));
    put("debugger", callsOf(debugger_));
    auto which = [this](const std::shared_ptr<DynamicObject>& held) -> OrderedJson {
      if (!held) return "none";
      if (held == inspector_ || held == debugger_) return "passed";
      return held == made_ ? "made" : "other";
    };
    t["holds"] = {{"inspector", which(avo_->inspector())}, {"debugger", which(avo_->debugger())}};
    t["reports"] = service_.stats().accepted + service_.stats().dropped;
    t["noop"] = avo_->NOOP_;
    put("order", journal_);
    put("raised", raised_);
    put("askedFor", askedFor_);
    return t;
  }

 private:
  // By default reports go to a loopback port where nothing listens: every one is counted, none
  // arrives.
  static constexpr const char* kNowhere = "http://127.0.0.1:9/i";
  InspectorServiceClient service_;
  ScopedInspectorServiceOverride override_{service_};
  std::optional<ScopedClassRegistration> registration_;
  std::optional<ScopedAvoValidationHook> hook_;
  std::shared_ptr<RecordingDestination> destination_;
  std::shared_ptr<FakeObject> inspector_, debugger_, made_;
  std::shared_ptr<RecordingLogger> logger_;
  std::unique_ptr<Avo> avo_;
  std::vector<std::string> raised_, askedFor_;
  Journal journal_;
};

// Runs every case of the file: {"name", "setup", "steps", "want"}. With KM_PRINT_TRANSCRIPTS in
// the environment it also prints each transcript, for reviewing a deliberate change.
inline void runScenarios(const std::string& path) {
  for (const OrderedJson& c : loadCases<OrderedJson>(path)) {
    SCOPED_TRACE(c["name"].get<std::string>());
    std::vector<std::string> lines;
    OrderedJson got;
    {
      ScopedSystemLogCapture log;
      Scenario scenario(c["setup"]);
      for (const OrderedJson& step : c.value("steps", OrderedJson::array()))
        scenario.run(step);
      got = scenario.transcript(log.lines());
    }
    if (std::getenv("KM_PRINT_TRANSCRIPTS")) std::cout << c["name"] << ": " << got.dump() << "\n";
    EXPECT_EQ(got, c["want"]);
  }
}

}  // namespace km::testing
