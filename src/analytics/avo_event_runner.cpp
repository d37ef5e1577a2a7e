// Running one event: validating its properties, sending it to the destination, the debugger and the
// inspector, and the value conversions of the plan's structures.

#include "analytics/avo_event_runner.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "analytics/avo.h"

namespace km {

namespace {

// The user id travels to the debugger as a record of its own, ahead of the user properties.
constexpr std::string_view kUserIdRecordId = "avo-enriched-type-user-id";
constexpr std::string_view kUserIdRecordName = "User Id";

AvoValidationHook& validationHook() {
  static AvoValidationHook hook;
  return hook;
}

// The destination takes plain values: an absent optional argument is left out, not sent as null.
AvoDictionary withoutNulls(const AvoDictionary& properties) {
  AvoDictionary plain;
  for (const auto& [key, value] : properties) {
    if (!value.isNull()) plain.set(key, value);
  }
  return plain;
}

bool hasNull(const AvoDictionary& properties) {
  return std::any_of(properties.begin(), properties.end(),
                     [](const AvoDictionary::Entry& entry) { return entry.second.isNull(); });
}

}  // namespace

ScopedAvoValidationHook::ScopedAvoValidationHook(AvoValidationHook hook)
    : previous_(std::exchange(validationHook(), std::move(hook))) {}

ScopedAvoValidationHook::~ScopedAvoValidationHook() {
  validationHook() = std::move(previous_);
}

AvoValue toAvoValue(const std::vector<std::string>& values) {
  AvoValue::List list;
  list.reserve(values.size());
  for (const std::string& value : values)
    list.emplace_back(value);
  return AvoValue(std::move(list));
}

// ---- The template ----

void AvoEventRunner::send() {
  Avo& avo = avo_;
  const bool sendsProperties = spec_.call != AvoEventCall::unidentify;
  const std::vector<AvoAssertMessage> messages = validationMessages();

  if (avo.debuggerGate()) {
    if (!avo.NOOP_) {
      avo.reportInvocation(spec_.id, spec_.hash, messages.empty(), messages);
    }
    // Asked again on purpose: in dev the gate is open without a debugger, but only an attached
    // debugger can be published to (publishToDebugger skips a missing one).
    if (avo.debuggerGate()) {
      avo.publishToDebugger(spec_.name, spec_.id, messages, eventPropertyRecords(),
                            userPropertyRecords());
    }
  }

  if (spec_.validates) handleValidation(messages);

  if (avo.isDev()) {
    avo.logDebugWithFallback(true, Avo::debugLine(spec_.name, eventProperties_, userProperties_));
  }

  if (avo.NOOP_) return;
  if (sendsProperties) {
    avo.trackSchemaWithInspector(spec_.name, spec_.id, spec_.hash, eventProperties_);
  }
  AvoCustomDestination& destination = *avo.prodRudderstack;
  const std::string name(spec_.name);
  // Most events have no optional argument, so the common path hands over the dictionary as is.
  auto plain = [](const AvoDictionary& properties) {
    return hasNull(properties) ? withoutNulls(properties) : properties;
  };
  switch (spec_.call) {
    case AvoEventCall::logEvent:
      destination.logEvent(name, plain(eventProperties_));
      break;
    case AvoEventCall::setUserProperties:
      destination.setUserProperties(std::string(userId_), plain(userProperties_));
      break;
    case AvoEventCall::logEventAndIdentify:
      destination.logEvent(name, plain(eventProperties_));
      destination.identify(std::string(userId_));
      break;
    case AvoEventCall::logEventAndUnidentify:
      destination.logEvent(name, plain(eventProperties_));
      destination.unidentify();
      break;
    case AvoEventCall::unidentify:
      destination.unidentify();
      break;
  }
}

std::vector<AvoAssertMessage> AvoEventRunner::validationMessages() const {
  const AvoValidationHook& hook = validationHook();
  if (!spec_.validates || !hook) return {};
  return hook(spec_.name);
}

void AvoEventRunner::handleValidation(const std::vector<AvoAssertMessage>& messages) {
  if (avo_.strict() && !messages.empty()) {
    throw AvoInvalidArgumentException("Error sending event '" + std::string(spec_.name) +
                                      "': " + messages.front().message);
  }
  for (const AvoAssertMessage& message : messages) {
    avo_.logDebugWithFallback(avo_.isDev(), message.message);
  }
}

AvoValue::List AvoEventRunner::eventPropertyRecords() const {
  AvoValue::List records;
  records.reserve(spec_.eventProperties.size());
  for (const AvoPropertySpec& property : spec_.eventProperties) {
    const AvoValue* value = eventProperties_.find(property.name);
    records.push_back(Avo::propertyRecord(std::string(property.id), std::string(property.name),
                                          value ? value->description() : "nil"));
  }
  return records;
}

AvoValue::List AvoEventRunner::userPropertyRecords() const {
  AvoValue::List records;
  if (spec_.takesUserId) {
    records.push_back(Avo::propertyRecord(std::string(kUserIdRecordId),
                                          std::string(kUserIdRecordName), std::string(userId_)));
  }
  for (const AvoPropertySpec& property : spec_.userProperties) {
    const AvoValue* value = userProperties_.find(property.name);
    records.push_back(Avo::propertyRecord(std::string(property.id), std::string(property.name),
                                          value ? value->description() : "nil"));
  }
  return records;
}

// ---- JSON arguments ----

AvoJsonArgs::AvoJsonArgs(const nlohmann::json& args) : args_(args) {
  if (!args.is_object() && !args.is_null()) {
    throw AvoArgumentError("arguments must be a JSON object keyed by property name");
  }
}

AvoJsonArgs::AvoJsonArgs(const nlohmann::json& object, std::string path)
    : args_(object), path_(std::move(path)) {}

AvoJsonArgs AvoJsonArgs::nested(std::string_view key) const {
  const nlohmann::json& value = require(key);
  if (!value.is_object()) throw AvoArgumentError(quoted(key) + " must be an object");
  return AvoJsonArgs(value, path_ + std::string(key) + ".");
}

std::string AvoJsonArgs::quoted(std::string_view key) const {
  return "argument \"" + path_ + std::string(key) + "\"";
}

std::string AvoJsonArgs::quotedArgument(std::string_view key) const {
  if (path_.empty()) return quoted(key);
  return "argument \"" + path_.substr(0, path_.size() - 1) + "\"";
}

const nlohmann::json* AvoJsonArgs::find(std::string_view key) const {
  read_.push_back(key);
  if (!args_.is_object()) return nullptr;
  auto it = args_.find(key);
  if (it == args_.end() || it->is_null()) return nullptr;
  return &*it;
}

const nlohmann::json& AvoJsonArgs::require(std::string_view key) const {
  const nlohmann::json* value = find(key);
  if (!value) throw AvoArgumentError(quoted(key) + " is missing");
  return *value;
}

std::string_view AvoJsonArgs::string(std::string_view key) const {
  const nlohmann::json& value = require(key);
  if (!value.is_string()) throw AvoArgumentError(quoted(key) + " must be a string");
  return value.get_ref<const std::string&>();
}

std::optional<std::string_view> AvoJsonArgs::optionalString(std::string_view key) const {
  const nlohmann::json* value = find(key);
  if (!value) return std::nullopt;
  if (!value->is_string()) throw AvoArgumentError(quoted(key) + " must be a string or null");
  return std::string_view(value->get_ref<const std::string&>());
}

std::int64_t AvoJsonArgs::integer(std::string_view key) const {
  const nlohmann::json& value = require(key);
  if (value.is_number_integer()) {
    // Unsigned JSON numbers above the signed range are not valid Int values.
    if (value.is_number_unsigned() &&
        value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
      throw AvoArgumentError(quoted(key) + " is out of range");
    }
    return value.get<std::int64_t>();
  }
  throw AvoArgumentError(quoted(key) + " must be an integer");
}

bool AvoJsonArgs::boolean(std::string_view key) const {
  const nlohmann::json& value = require(key);
  if (!value.is_boolean()) throw AvoArgumentError(quoted(key) + " must be true or false");
  return value.get<bool>();
}

std::vector<std::string_view> AvoJsonArgs::stringList(std::string_view key) const {
  const nlohmann::json& value = require(key);
  if (!value.is_array()) throw AvoArgumentError(quoted(key) + " must be an array");
  std::vector<std::string_view> items;
  for (const nlohmann::json& item : value) {
    if (!item.is_string()) throw AvoArgumentError(quoted(key) + " must hold only strings");
    items.push_back(item.get_ref<const std::string&>());
  }
  return items;
}

void AvoJsonArgs::rejectUnknown() const {
  if (!args_.is_object()) return;
  for (const auto& item : args_.items()) {
    if (std::find(read_.begin(), read_.end(), item.key()) == read_.end()) {
      throw AvoArgumentError("unknown argument \"" + path_ + item.key() + "\"");
    }
  }
}

}  // namespace km
