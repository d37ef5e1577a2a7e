#include "model/widget_nutrition_summary.h"

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>

namespace km {
namespace {

using json = nlohmann::json;

std::string quote(std::string_view key) {
  return "\"" + std::string(key) + "\"";
}

std::string describe(const json& value) {
  if (value.is_number()) return "a number";
  if (value.is_null()) return "null";
  if (value.is_boolean()) return "a boolean";
  if (value.is_string()) return "a string";
  if (value.is_array()) return "an array";
  if (value.is_object()) return "an object";
  return "an unsupported value";
}

Error typeMismatch(std::string_view path, std::string_view expected, const json& found) {
  return Error{"type mismatch at " + quote(path) + ": expected " + std::string(expected) +
               ", found " + describe(found)};
}

// The walk over the decoded document. Each reader stops at the first problem, so the error
// names the first field (in declaration order) that is wrong.
class Reader {
 public:
  explicit Reader(const json& object) : object_(object) {}

  std::optional<Error> error;

  const json* field(const char* key) {
    if (error) return nullptr;
    auto it = object_.find(key);
    if (it == object_.end()) {
      error = Error{"key not found: no value for " + quote(key)};
      return nullptr;
    }
    return &*it;
  }

  double number(const json& value, const std::string& path) {
    if (!value.is_number()) {
      error = typeMismatch(path, "a number", value);
      return 0;
    }
    const double d = value.get<double>();
    if (!std::isfinite(d)) {
      error = Error{"data corrupted at " + quote(path) + ": the number is not finite"};
      return 0;
    }
    return d;
  }

  double number(const char* key) {
    const json* value = field(key);
    return value ? number(*value, key) : 0;
  }

  bool boolean(const char* key) {
    const json* value = field(key);
    if (!value) return false;
    if (!value->is_boolean()) {
      error = typeMismatch(key, "a boolean", *value);
      return false;
    }
    return value->get<bool>();
  }

  std::int32_t int32(const char* key) {
    const json* value = field(key);
    if (!value) return 0;
    if (!value->is_number()) {
      error = typeMismatch(key, "an integer", *value);
      return 0;
    }
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
    constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
    if (value->is_number_unsigned()) {
      const auto u = value->get<std::uint64_t>();
      if (u <= static_cast<std::uint64_t>(kMax)) return static_cast<std::int32_t>(u);
    } else if (value->is_number_integer()) {
      const auto i = value->get<std::int64_t>();
      if (i >= kMin && i <= kMax) return static_cast<std::int32_t>(i);
    } else {
      // A number written with a fraction or exponent is accepted when it is exactly an
      // integer in range: "1.0" is 1, "1.5" is not a 32-bit integer.
      const double d = value->get<double>();
      if (std::isfinite(d) && d == std::trunc(d) && d >= kMin && d <= kMax) {
        return static_cast<std::int32_t>(d);
      }
    }
    error = Error{"data corrupted at " + quote(key) + ": the number " + value->dump() +
                  " does not fit in a 32-bit integer"};
    return 0;
  }

  std::vector<double> numbers(const char* key) {
    const json* value = field(key);
    if (!value) return {};
    if (!value->is_array()) {
      error = typeMismatch(key, "an array", *value);
      return {};
    }
    std::vector<double> out;
    out.reserve(value->size());
    for (std::size_t i = 0; i < value->size() && !error; ++i) {
      out.push_back(number((*value)[i], std::string(key) + "[" + std::to_string(i) + "]"));
    }
    return out;
  }

 private:
  const json& object_;
};

}  // namespace

Result<WidgetNutritionSummary> decodeSummary(std::string_view text) {
  json document = json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (document.is_discarded()) {
    // Parse again with exceptions only to learn where and why; the fast path stays throw-free.
    try {
      json ignored = json::parse(text);
      (void)ignored;
    } catch (const json::exception& e) {
      // Syntax errors, and numbers too large for a double ("1e999"), which the parser
      // reports as out of range.
      std::string what = e.what();
      // Drop the library's "[json.exception.parse_error.101] " tag; keep position and reason.
      if (auto close = what.find("] "); close != std::string::npos) what.erase(0, close + 2);
      return Error{"data corrupted: the data is not valid JSON (" + what + ")"};
    }
    return Error{"data corrupted: the data is not valid JSON"};
  }
  if (!document.is_object()) return typeMismatch("", "an object", document);

  Reader r(document);
  WidgetNutritionSummary s;
  s.currentDayInt = r.int32("currentDayInt");
  s.currentDate.timeIntervalSinceReferenceDate = r.number("currentDate");
  s.isLoggedIn = r.boolean("isLoggedIn");
  s.energyCurrent = r.number("energyCurrent");
  s.energyTotal = r.number("energyTotal");
  s.fatCurrent = r.number("fatCurrent");
  s.fatTotal = r.number("fatTotal");
  s.proteinCurrent = r.number("proteinCurrent");
  s.proteinTotal = r.number("proteinTotal");
  s.carbsCurrent = r.number("carbsCurrent");
  s.carbsTotal = r.number("carbsTotal");
  s.energyDays = r.numbers("energyDays");
  s.isKilojoules = r.boolean("isKilojoules");
  if (r.error) return *r.error;
  return s;
}

std::string encodeSummary(const WidgetNutritionSummary& s) {
  nlohmann::ordered_json j;
  j["currentDayInt"] = s.currentDayInt;
  j["currentDate"] = s.currentDate.timeIntervalSinceReferenceDate;
  j["isLoggedIn"] = s.isLoggedIn;
  j["energyCurrent"] = s.energyCurrent;
  j["energyTotal"] = s.energyTotal;
  j["fatCurrent"] = s.fatCurrent;
  j["fatTotal"] = s.fatTotal;
  j["proteinCurrent"] = s.proteinCurrent;
  j["proteinTotal"] = s.proteinTotal;
  j["carbsCurrent"] = s.carbsCurrent;
  j["carbsTotal"] = s.carbsTotal;
  j["energyDays"] = s.energyDays;
  j["isKilojoules"] = s.isKilojoules;
  return j.dump();
}

}  // namespace km
