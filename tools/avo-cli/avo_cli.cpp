// avo-cli's playground: a destination, debugger and inspector that print every call, and events
// sent by name.

#include "avo_cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "analytics/avo.h"
#include "analytics/avo_event_runner.h"
#include "analytics/avo_event_table.h"
#include "analytics/inspector_service_client.h"

namespace km {

namespace {

using Json = nlohmann::ordered_json;

// One line per call, flushed at once so that it lands before any log line the client writes
// next on standard error.
void printLine(std::ostream& out, const Json& line) {
  out << line.dump() << std::endl;
}

Json toJson(const AvoDictionary& dictionary) {
  return AvoValue(dictionary).toJson();
}

const std::vector<std::string> kInspectorSelectors = {std::string(avo_selectors::kInitWithApiKey),
                                                      std::string(avo_selectors::kTrackSchema)};
const std::vector<std::string> kDebuggerSelectors = {std::string(avo_selectors::kSetSchemaId),
                                                     std::string(avo_selectors::kIsEnabled),
                                                     std::string(avo_selectors::kPublishEvent)};

// "widget: [Widget], destination: [Destination]".
std::string describeParams(const AvoEventEntry& entry) {
  std::string text;
  for (const AvoParamInfo& param : entry.params) {
    if (!text.empty()) text += ", ";
    text += std::string(param.key) + ": " + std::string(param.type);
  }
  return text;
}

std::string takes(const AvoEventEntry& entry) {
  if (entry.params.empty()) return std::string(entry.name) + " takes no arguments";
  return std::string(entry.name) + " takes {" + describeParams(entry) + "}";
}

struct Options {
  std::string env = "dev";
  bool strict = false;
  bool noop = false;
  std::string inspectorUrl;
  bool inspector = false;
  bool debugger = false;
  bool debuggerEnabled = false;
  bool list = false;
  std::string replay;
  std::string event;
  std::string args;
};

class Playground {
 public:
  Playground(const Options& options, std::ostream& out, std::ostream& err) : err_(err) {
    if (options.inspector) {
      // The client looks the class up by name when it is built, as it would find the vendor's.
      inspectorClass_.emplace(std::string(avo_selectors::kInspectorClass), [&out] {
        return std::make_shared<ConsoleObject>(out, "inspector", kInspectorSelectors);
      });
    }
    auto destination = std::make_shared<ConsoleDestination>(out);
    const AvoEnv env = options.env == "prod" ? AvoEnv::prod : AvoEnv::dev;
    if (options.debugger) {
      auto debugger = std::make_shared<ConsoleObject>(out, "debugger", kDebuggerSelectors,
                                                      options.debuggerEnabled);
      avo_ = std::make_unique<Avo>(env, destination, debugger, options.strict, options.noop);
    } else {
      avo_ = std::make_unique<Avo>(env, destination, options.strict, options.noop);
    }
  }

  // 0 when the event ran; 2 for an unknown event or bad arguments; 1 when it raised.
  int send(std::string_view name, const nlohmann::json& args, const std::string& where) {
    const AvoEventEntry* entry = findAvoEvent(name);
    if (!entry) {
      err_ << where << "unknown event \"" << name << "\" (avo-cli --list shows the plan's events)"
           << std::endl;
      return 2;
    }
    try {
      entry->call(*avo_, AvoJsonArgs(args));
    } catch (const AvoArgumentError& error) {
      err_ << where << entry->name << ": " << error.what() << "\n  " << takes(*entry) << std::endl;
      return 2;
    } catch (const AvoInvalidArgumentException& error) {
      err_ << where << "uncaught exception '" << AvoInvalidArgumentException::name()
           << "', reason: '" << error.what() << "'" << std::endl;
      return 1;
    }
    return 0;
  }

  int replay(std::istream& lines) {
    int status = 0;
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
      if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
      const std::string where = "line " + std::to_string(number) + ": ";
      nlohmann::json record = nlohmann::json::parse(line, nullptr, false);
      if (record.is_discarded() || !record.is_object() || !record.contains("event") ||
          !record["event"].is_string()) {
        err_ << where << "expected {\"event\": NAME, \"args\": {...}}" << std::endl;
        status = 1;
        continue;
      }
      const bool onlyKnownKeys = std::all_of(
          record.items().begin(), record.items().end(),
          [](const auto& item) { return item.key() == "event" || item.key() == "args"; });
      if (!onlyKnownKeys) {
        err_ << where << "a line holds only \"event\" and \"args\"" << std::endl;
        status = 1;
        continue;
      }
      const nlohmann::json args = record.value("args", nlohmann::json());
      if (send(record["event"].get<std::string>(), args, where) != 0) status = 1;
    }
    return status;
  }

 private:
  std::ostream& err_;
  std::optional<ScopedClassRegistration> inspectorClass_;
  std::unique_ptr<Avo> avo_;
};

void listEvents(std::ostream& out) {
  for (const AvoEventEntry& entry : avoEventTable()) {
    out << entry.name << "(" << describeParams(entry) << ")\n";
  }
}

}  // namespace

void ConsoleDestination::setEnvironment(AvoEnv env) {
  printLine(out_, Json{{"call", "setEnvironment"}, {"env", envName(env)}});
}

void ConsoleDestination::make(AvoEnv env, std::optional<std::string> apiKey) {
  printLine(out_, Json{{"call", "make"},
                       {"env", envName(env)},
                       {"apiKey", apiKey ? Json(*apiKey) : Json(nullptr)}});
}

void ConsoleDestination::logEvent(const std::string& eventName,
                                  const AvoDictionary& eventProperties) {
  printLine(out_, Json{{"call", "logEvent"},
                       {"eventName", eventName},
                       {"eventProperties", toJson(eventProperties)}});
}

void ConsoleDestination::setUserProperties(const std::string& userId,
                                           const AvoDictionary& userProperties) {
  printLine(out_, Json{{"call", "setUserProperties"},
                       {"userId", userId},
                       {"userProperties", toJson(userProperties)}});
}

void ConsoleDestination::identify(const std::string& userId) {
  printLine(out_, Json{{"call", "identify"}, {"userId", userId}});
}

void ConsoleDestination::unidentify() {
  printLine(out_, Json{{"call", "unidentify"}});
}

void ConsoleDestination::setUserPropertiesOnce(const std::string& userId,
                                               const AvoDictionary& userProperties) {
  printLine(out_, Json{{"call", "setUserPropertiesOnce"},
                       {"userId", userId},
                       {"userProperties", toJson(userProperties)}});
}

void ConsoleDestination::flush() {
  printLine(out_, Json{{"call", "flush"}});
}

bool ConsoleObject::respondsTo(std::string_view selector) const {
  return std::find(selectors_.begin(), selectors_.end(), selector) != selectors_.end();
}

AvoValue ConsoleObject::perform(std::string_view selector, std::span<const AvoValue> args) {
  Json list = Json::array();
  for (const AvoValue& arg : args)
    list.push_back(arg.toJson());
  printLine(out_, Json{{role_, selector}, {"args", std::move(list)}});
  if (selector == avo_selectors::kIsEnabled) return enabled_ ? AvoValue(true) : AvoValue();
  return AvoValue();
}

int runAvoCli(int argc, const char* const* argv, std::istream& in, std::ostream& out,
              std::ostream& err) {
  Options options;
  CLI::App app{
      "Sends events of the tracking plan to a client whose destination, debugger and "
      "inspector print every call as a JSON line.",
      "avo-cli"};
  app.footer(
      "Arguments are keyed by the properties' wire names, the user id as \"userId\", and\n"
      "enumerations given by their raw values:\n"
      "  avo-cli widget_add '{\"widget\":[\"small_energy\"]}'\n"
      "  avo-cli --env prod language_set '{\"userId\":\"u1\",\"app_language_code\":\"PT-PT\"}'\n"
      "  avo-cli --replay events.jsonl   (lines of {\"event\":NAME,\"args\":{...}})");
  app.add_option("--env", options.env, "Environment of the client")
      ->check(CLI::IsMember({"dev", "prod"}))
      ->capture_default_str();
  app.add_flag("--strict", options.strict, "Raise on validation messages");
  app.add_flag("--noop", options.noop, "Noop mode (refused in prod)");
  app.add_option("--inspector-url", options.inspectorUrl,
                 "Inspector service endpoint (https, or http on loopback)");
  app.add_flag("--inspector", options.inspector,
               "Register an \"AvoInspector\" class that prints its calls");
  CLI::Option* debugger =
      app.add_flag("--debugger", options.debugger, "Attach a debugger that prints its calls");
  app.add_flag("--debugger-enabled", options.debuggerEnabled,
               "The debugger answers isEnabled (opens the debugger gate in prod)")
      ->needs(debugger);
  CLI::Option* list = app.add_flag("--list", options.list, "List the plan's events");
  CLI::Option* replay = app.add_option(
      "--replay", options.replay, "Send the events of a file of JSON lines (- for standard input)");
  CLI::Option* event = app.add_option("event", options.event, "Event name, as widget_add");
  app.add_option("args", options.args,
                 "Arguments as a JSON object, as {\"widget\":[\"small_energy\"]}")
      ->needs(event);
  list->excludes(replay)->excludes(event);
  replay->excludes(event);
  try {
    app.parse(argc, argv);
    if (!options.list && options.replay.empty() && options.event.empty()) {
      throw CLI::RequiredError("EVENT, --replay or --list");
    }
  } catch (const CLI::ParseError& error) {
    return app.exit(error, out, err);
  }

  if (options.list) {
    listEvents(out);
    return 0;
  }

  // An unknown event is reported before the client is built, so that nothing is printed for it.
  if (!options.event.empty() && !findAvoEvent(options.event)) {
    err << "unknown event \"" << options.event << "\" (avo-cli --list shows the plan's events)"
        << std::endl;
    return 2;
  }
  nlohmann::json args;
  if (!options.args.empty()) {
    args = nlohmann::json::parse(options.args, nullptr, false);
    if (args.is_discarded()) {
      err << "arguments are not valid JSON: " << options.args << std::endl;
      return 2;
    }
  }

  std::unique_ptr<InspectorServiceClient> service;
  std::optional<ScopedInspectorServiceOverride> serviceOverride;
  if (!options.inspectorUrl.empty()) {
    if (!isAcceptableInspectorEndpoint(options.inspectorUrl)) {
      err << "--inspector-url must be https:// (http:// only for loopback hosts)" << std::endl;
      return 2;
    }
    InspectorServiceOptions serviceOptions;
    serviceOptions.endpoint = options.inspectorUrl;
    service = std::make_unique<InspectorServiceClient>(serviceOptions);
    serviceOverride.emplace(*service);
  }

  Playground playground(options, out, err);
  if (!options.event.empty()) return playground.send(options.event, args, "");
  if (options.replay == "-") return playground.replay(in);
  std::ifstream file(options.replay);
  if (!file) {
    err << "cannot read " << options.replay << std::endl;
    return 2;
  }
  return playground.replay(file);
}

}  // namespace km
