#pragma once

// Recording test doubles for the tracking client's collaborators.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "analytics/avo_custom_destination.h"
#include "analytics/avo_logger.h"
#include "analytics/dynamic_object.h"

namespace km::testing {

struct DestinationCall {
  std::string operation;
  std::vector<std::string> arguments;
};

// The doubles may also write their calls to one journal they share, which shows the order of
// effects across them.
using Journal = std::vector<std::string>;

class RecordingDestination : public AvoCustomDestination {
 public:
  std::vector<DestinationCall> calls;
  Journal* journal = nullptr;

  void setEnvironment(AvoEnv env) override {
    record({"setEnvironment", {std::string(envName(env))}});
  }
  void make(AvoEnv env, std::optional<std::string> apiKey) override {
    record({"make", {std::string(envName(env)), apiKey.value_or("<none>")}});
  }
  void logEvent(const std::string& eventName, const AvoDictionary& properties) override {
    record({"logEvent", {eventName, describe(properties)}});
  }
  void setUserProperties(const std::string& userId, const AvoDictionary& properties) override {
    record({"setUserProperties", {userId, describe(properties)}});
  }
  void identify(const std::string& userId) override { record({"identify", {userId}}); }
  void unidentify() override { record({"unidentify", {}}); }
  void setUserPropertiesOnce(const std::string& userId, const AvoDictionary& properties) override {
    record({"setUserPropertiesOnce", {userId, describe(properties)}});
  }
  void flush() override { record({"flush", {}}); }

  void record(DestinationCall call) {
    if (journal) {
      std::string entry = "destination " + call.operation;
      for (const std::string& argument : call.arguments)
        entry += " " + argument;
      journal->push_back(entry);
    }
    calls.push_back(std::move(call));
  }
};

struct LoggerCall {
  std::string level;
  bool isDev;
  std::string message;
};

class RecordingLogger : public AvoLogger {
 public:
  explicit RecordingLogger(bool handles) : handles_(handles) {}
  std::vector<LoggerCall> calls;

  bool logDebug(bool isDev, const std::string& message) override {
    calls.push_back({"debug", isDev, message});
    return handles_;
  }
  bool logWarn(bool isDev, const std::string& message) override {
    calls.push_back({"warn", isDev, message});
    return handles_;
  }
  bool logError(bool isDev, const std::string& message) override {
    calls.push_back({"error", isDev, message});
    return handles_;
  }

 private:
  bool handles_;
};

struct PerformedCall {
  std::string selector;
  std::vector<AvoValue> arguments;
};

// Answers the selectors it was given; performing one records the call and returns its answer.
class FakeObject : public DynamicObject {
 public:
  explicit FakeObject(std::map<std::string, AvoValue> answers) : answers_(std::move(answers)) {}

  std::vector<PerformedCall> performed;
  std::string name;
  Journal* journal = nullptr;

  bool respondsTo(std::string_view selector) const override {
    return answers_.count(std::string(selector)) != 0;
  }
  AvoValue perform(std::string_view selector, std::span<const AvoValue> args) override {
    performed.push_back({std::string(selector), {args.begin(), args.end()}});
    if (journal) journal->push_back(name + " " + std::string(selector));
    auto it = answers_.find(std::string(selector));
    return it == answers_.end() ? AvoValue() : it->second;
  }

 private:
  std::map<std::string, AvoValue> answers_;
};

}  // namespace km::testing
