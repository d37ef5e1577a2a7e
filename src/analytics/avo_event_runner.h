#pragma once

// The one implementation of the event template. Every generated event function is a thin typed
// wrapper: it builds an AvoEventRunner on its client with the event's static description, adds
// the fixed properties and its arguments as property values, and calls send(), which tells the
// debugger and the inspector service, logs the event line in dev, calls the inspector object and
// the destination, and applies the validation step (raising in strict mode).
//
// A runner lives for one call on the caller's thread and borrows the client; it is not copyable.
// Also here: the JSON argument reader that the generated event table uses to call an event with
// arguments given as a JSON object.

#include <concepts>
#include <cstdint>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "analytics/avo_assert_message.h"
#include "analytics/avo_structures.h"
#include "analytics/avo_value.h"
#include "analytics/vocabulary.h"

namespace km {

class Avo;

// A property as debugger records name it.
struct AvoPropertySpec {
  std::string_view name;
  std::string_view id;
};

// The destination call that ends an event.
enum class AvoEventCall {
  logEvent,
  setUserProperties,
  logEventAndIdentify,
  logEventAndUnidentify,
  unidentify,  // sends no properties: only unidentify() on the destination
};

// Static description of one plan event (generated, constant for the program's life).
struct AvoEventSpec {
  std::string_view name;
  std::string_view id;
  std::string_view hash;
  // Debugger records, in the order they are listed: the variable properties, then the fixed ones.
  std::span<const AvoPropertySpec> eventProperties;
  std::span<const AvoPropertySpec> userProperties;
  AvoEventCall call;
  bool validates;    // carries the validation step
  bool takesUserId;  // its user id goes to the debugger as the first user-property record
};

// The exception of strict mode. It stands for the platform's "NSInvalidArgumentException", whose
// name hosts match on; what() is the reason.
class AvoInvalidArgumentException : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
  static constexpr std::string_view name() { return "NSInvalidArgumentException"; }
};

// The validation step of this plan checks nothing, so its message list is always empty. Tests
// install a hook to inject messages into the events that carry the step. Installing is not
// thread-safe: do it while no event is being sent.
using AvoValidationHook = std::function<std::vector<AvoAssertMessage>(std::string_view eventName)>;
class ScopedAvoValidationHook {
 public:
  explicit ScopedAvoValidationHook(AvoValidationHook hook);
  ~ScopedAvoValidationHook();
  ScopedAvoValidationHook(const ScopedAvoValidationHook&) = delete;
  ScopedAvoValidationHook& operator=(const ScopedAvoValidationHook&) = delete;

 private:
  AvoValidationHook previous_;
};

// Property values: enumerations by raw value, lists as lists, structures as nested dictionaries
// (their conversions are generated with them). An absent optional string is null here and left
// out of what the destination receives.
inline AvoValue toAvoValue(std::string_view value) {
  return AvoValue(value);
}
inline AvoValue toAvoValue(std::int64_t value) {
  return AvoValue(value);
}
inline AvoValue toAvoValue(bool value) {
  return AvoValue(value);
}
inline AvoValue toAvoValue(std::optional<std::string_view> value) {
  return value ? AvoValue(*value) : AvoValue();
}
template <typename E>
requires std::is_enum_v<E> AvoValue toAvoValue(E value) {
  return AvoValue(rawValue(value));
}
template <typename E>
requires std::is_enum_v<E> AvoValue toAvoValue(const std::vector<E>& values) {
  AvoValue::List list;
  list.reserve(values.size());
  for (E value : values)
    list.emplace_back(rawValue(value));
  return AvoValue(std::move(list));
}
AvoValue toAvoValue(const std::vector<std::string>& values);

class AvoEventRunner {
 public:
  AvoEventRunner(Avo& avo, const AvoEventSpec& spec) : avo_(avo), spec_(spec) {}
  AvoEventRunner(const AvoEventRunner&) = delete;
  AvoEventRunner& operator=(const AvoEventRunner&) = delete;

  void setUserId(std::string_view userId) { userId_ = userId; }

  // Properties are kept in the order added; adding a name again replaces its value in place.
  template <typename T>
  void addEventProperty(std::string_view name, const T& value) {
    eventProperties_.set(std::string(name), toAvoValue(value));
  }
  template <typename T>
  void addUserProperty(std::string_view name, const T& value) {
    userProperties_.set(std::string(name), toAvoValue(value));
  }

  // Runs the template. Throws AvoInvalidArgumentException only in strict mode with a non-empty
  // validation message list; nothing else fails.
  void send();

 private:
  std::vector<AvoAssertMessage> validationMessages() const;
  AvoValue::List eventPropertyRecords() const;
  AvoValue::List userPropertyRecords() const;
  void handleValidation(const std::vector<AvoAssertMessage>& messages);

  Avo& avo_;
  const AvoEventSpec& spec_;
  std::string_view userId_;
  AvoDictionary eventProperties_;
  AvoDictionary userProperties_;
};

// ---- Calling events with JSON arguments ----

// A missing, unknown or mistyped argument.
class AvoArgumentError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

// An argument of an event as the JSON form names it: its wire key and its plan type
// ("String", "Int", "Bool", "String?", an enumeration name, "[Widget]", a structure name).
struct AvoParamInfo {
  std::string_view key;
  std::string_view type;
  // For enumerations and lists of them: the raw values allowed, in case order; else null.
  std::vector<std::string_view> (*allowedValues)() = nullptr;
};

template <typename E>
std::vector<std::string_view> avoRawValues() {
  std::vector<std::string_view> values;
  for (E value : avo::allCases<E>())
    values.push_back(rawValue(value));
  return values;
}

// An optional enumeration, as optional structure fields hold.
template <typename T>
inline constexpr bool kAvoOptionalEnum = false;
template <typename E>
inline constexpr bool kAvoOptionalEnum<std::optional<E>> = std::is_enum_v<E>;

class AvoJsonArgs;
// A structure of the plan: its generated readAvoStructure() reads it from JSON arguments.
template <typename T>
concept AvoStructure = requires(const AvoJsonArgs& fields) {
  readAvoStructure(fields, std::type_identity<T>{});
};

// Reads typed arguments from a JSON object (null counts as an empty object). Enumerations are
// given by raw value, lists as arrays, structures as objects keyed like their wire form. The
// object must outlive the reader and the strings read from it.
class AvoJsonArgs {
 public:
  // Throws AvoArgumentError when `args` is neither an object nor null.
  explicit AvoJsonArgs(const nlohmann::json& args);

  // A missing or null argument is an error unless T is optional. A structure is read by its
  // generated readAvoStructure(), from the fields of a nested reader.
  template <typename T>
  T get(std::string_view key) const;

  // Throws AvoArgumentError naming the first key that no get() asked for.
  void rejectUnknown() const;

 private:
  // The fields of the object under `key`; errors name them as "key.field".
  AvoJsonArgs(const nlohmann::json& object, std::string path);
  AvoJsonArgs nested(std::string_view key) const;

  // "argument \"<path><key>\"", the way every error names an argument.
  std::string quoted(std::string_view key) const;
  // A value outside an enumeration names the argument as the caller gave it: for a field, the
  // structure it is in.
  std::string quotedArgument(std::string_view key) const;
  // The value under `key`, nullptr when absent (or null). Marks the key as read.
  const nlohmann::json* find(std::string_view key) const;
  const nlohmann::json& require(std::string_view key) const;
  std::string_view string(std::string_view key) const;
  std::optional<std::string_view> optionalString(std::string_view key) const;
  std::int64_t integer(std::string_view key) const;
  bool boolean(std::string_view key) const;
  std::vector<std::string_view> stringList(std::string_view key) const;

  template <typename E>
  E enumValue(std::string_view key, std::string_view raw) const {
    if (std::optional<E> value = avo::fromRawValue<E>(raw)) return *value;
    std::string allowed;
    for (E option : avo::allCases<E>()) {
      allowed += allowed.empty() ? "" : ", ";
      allowed += rawValue(option);
    }
    throw AvoArgumentError(quotedArgument(key) + ": \"" + std::string(raw) + "\" is not one of " +
                           allowed);
  }

  const nlohmann::json& args_;
  std::string path_;  // "" at the top, "key." for the fields of a structure argument
  mutable std::vector<std::string_view> read_;
};

template <typename T>
T AvoJsonArgs::get(std::string_view key) const {
  if constexpr (std::is_same_v<T, std::string_view>) {
    return string(key);
  } else if constexpr (std::is_same_v<T, std::optional<std::string_view>>) {
    return optionalString(key);
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    return integer(key);
  } else if constexpr (std::is_same_v<T, bool>) {
    return boolean(key);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return std::string(string(key));
  } else if constexpr (std::is_enum_v<T>) {
    return enumValue<T>(key, string(key));
  } else if constexpr (kAvoOptionalEnum<T>) {
    std::optional<std::string_view> raw = optionalString(key);
    if (!raw) return std::nullopt;
    return enumValue<typename T::value_type>(key, *raw);
  } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
    std::vector<std::string> values;
    for (std::string_view raw : stringList(key))
      values.emplace_back(raw);
    return values;
  } else if constexpr (AvoStructure<T>) {
    return readAvoStructure(nested(key), std::type_identity<T>{});
  } else {
    using E = typename T::value_type;
    static_assert(std::is_same_v<T, std::vector<E>> && std::is_enum_v<E>);
    T values;
    for (std::string_view raw : stringList(key))
      values.push_back(enumValue<E>(key, raw));
    return values;
  }
}

}  // namespace km
