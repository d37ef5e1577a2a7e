// Decoding and encoding the summary record's JSON, with errors that name the field.

#include "model/widget_nutrition_summary.h"

#include <array>
#include <cmath>
#include <limits>
#include <optional>

#include "base/enum_names.h"
#include "base/message_text.h"
#include "platform/foundation/json_reader.h"

namespace km {
namespace {

std::string quote(std::string_view key) {
  // Built by iterator ranges: GCC 12 at -O3 warns falsely (-Wrestrict) on the usual
  // concatenations of short literals here.
  std::string out(1, '"');
  out.insert(out.end(), key.begin(), key.end());
  out.push_back('"');
  return out;
}

Error typeMismatch(std::string_view path, std::string_view expected, std::string_view found) {
  return Error{"type mismatch at " + quote(path) + ": expected " + std::string(expected) +
               ", found " + std::string(found)};
}

// The fields in declaration order; errors are reported for the first of them that is wrong.
enum Field : int {
  kCurrentDayInt,
  kCurrentDate,
  kIsLoggedIn,
  kEnergyCurrent,
  kEnergyTotal,
  kFatCurrent,
  kFatTotal,
  kProteinCurrent,
  kProteinTotal,
  kCarbsCurrent,
  kCarbsTotal,
  kEnergyDays,
  kIsKilojoules,
  kFieldCount,
};

constexpr auto kFieldNames = enumNames<Field>({
    {kCurrentDayInt, "currentDayInt"},
    {kCurrentDate, "currentDate"},
    {kIsLoggedIn, "isLoggedIn"},
    {kEnergyCurrent, "energyCurrent"},
    {kEnergyTotal, "energyTotal"},
    {kFatCurrent, "fatCurrent"},
    {kFatTotal, "fatTotal"},
    {kProteinCurrent, "proteinCurrent"},
    {kProteinTotal, "proteinTotal"},
    {kCarbsCurrent, "carbsCurrent"},
    {kCarbsTotal, "carbsTotal"},
    {kEnergyDays, "energyDays"},
    {kIsKilojoules, "isKilojoules"},
});
static_assert(kFieldNames.size() == kFieldCount && kFieldNames.namesAreUnique());

std::string_view fieldName(int f) {
  return *kFieldNames.name(static_cast<Field>(f));
}

// One JSON value as the SAX parser reports it.
struct Value {
  enum class Kind { null, boolean, integer, unsignedInteger, floating, string, array, object };
  Kind kind;
  bool boolean = false;
  std::int64_t integer = 0;
  std::uint64_t unsignedInteger = 0;
  double floating = 0;

  bool isNumber() const {
    return kind == Kind::integer || kind == Kind::unsignedInteger || kind == Kind::floating;
  }
  double number() const {
    switch (kind) {
      case Kind::integer:
        return static_cast<double>(integer);
      case Kind::unsignedInteger:
        return static_cast<double>(unsignedInteger);
      default:
        return floating;
    }
  }
  std::string_view description() const;
};

// How an error message names a value of each kind; the three kinds of number read alike.
constexpr auto kValueDescriptions = enumNames<Value::Kind>({
    {Value::Kind::null, "null"},
    {Value::Kind::boolean, "a boolean"},
    {Value::Kind::integer, "a number"},
    {Value::Kind::unsignedInteger, "a number"},
    {Value::Kind::floating, "a number"},
    {Value::Kind::string, "a string"},
    {Value::Kind::array, "an array"},
    {Value::Kind::object, "an object"},
});

std::string_view Value::description() const {
  return kValueDescriptions.name(kind).value_or("a number");
}

// Decodes straight from the parser's events into the record, without building a document: the
// record is read on every widget refresh, seven times per timeline.
class SummaryHandler final : public JsonHandler {
 public:
  bool null() override { return scalar({Value::Kind::null}); }
  bool boolean(bool v) override { return scalar({Value::Kind::boolean, v}); }
  bool integer(std::int64_t v) override { return scalar({Value::Kind::integer, false, v}); }
  bool unsignedInteger(std::uint64_t v) override {
    return scalar({Value::Kind::unsignedInteger, false, 0, v});
  }
  bool floating(double v) override { return scalar({Value::Kind::floating, false, 0, 0, v}); }
  bool string(std::string_view /*v*/) override { return scalar({Value::Kind::string}); }

  bool startObject() override {
    if (depth_ == 0 && skip_ == 0) {
      depth_ = 1;
      return true;
    }
    return startContainer(Value{Value::Kind::object});
  }
  bool endObject() override { return endContainer(); }
  bool startArray() override {
    if (skip_ == 0 && depth_ == 1 && !inDays_ && field_ == kEnergyDays) {
      inDays_ = true;
      present_[kEnergyDays] = true;
      errors_[kEnergyDays].reset();
      summary_.energyDays.clear();
      return true;
    }
    return startContainer(Value{Value::Kind::array});
  }
  bool endArray() override {
    if (skip_ == 0 && inDays_) {
      inDays_ = false;
      return true;
    }
    return endContainer();
  }
  bool key(std::string_view name) override {
    if (skip_ > 0) return true;
    const std::optional<Field> f = kFieldNames.value(name);
    field_ = f ? *f : -1;
    return true;
  }
  void syntaxError(const std::string& what) {
    fatal_ = Error{"data corrupted: the data is not valid JSON (" + what + ")"};
  }

  Result<WidgetNutritionSummary> result() && {
    if (fatal_) return *fatal_;
    for (int f = 0; f < kFieldCount; ++f) {
      if (!present_[f]) return Error{"key not found: no value for " + quote(fieldName(f))};
      if (errors_[f]) return *errors_[f];
    }
    return std::move(summary_);
  }

 private:
  // A value at the top level that is not an object ends decoding at once.
  bool topLevelMismatch(const Value& v) {
    fatal_ = typeMismatch("", "an object", v.description());
    return false;
  }

  bool startContainer(const Value& v) {
    if (skip_ > 0) {
      ++skip_;
      return true;
    }
    if (depth_ == 0) return topLevelMismatch(v);
    scalar(v);  // reports a container where a field wants a scalar (or a day a number)
    skip_ = 1;
    return true;
  }

  bool endContainer() {
    if (skip_ > 0) {
      --skip_;
    } else {
      depth_ = 0;  // the end of the record's object
    }
    return true;
  }

  bool scalar(const Value& v) {
    if (skip_ > 0) return true;
    if (depth_ == 0) return topLevelMismatch(v);
    if (inDays_) {
      summary_.energyDays.push_back(number(v, kEnergyDays, summary_.energyDays.size()));
      return true;
    }
    if (field_ < 0) return true;  // keys the record does not know are ignored
    const int f = field_;
    present_[f] = true;
    errors_[f].reset();
    switch (f) {
      case kCurrentDayInt:
        summary_.currentDayInt = int32(v);
        break;
      case kCurrentDate:
        summary_.currentDate.timeIntervalSinceReferenceDate = number(v, f);
        break;
      case kIsLoggedIn:
        summary_.isLoggedIn = boolean(v, f);
        break;
      case kIsKilojoules:
        summary_.isKilojoules = boolean(v, f);
        break;
      case kEnergyDays:
        fail(f, typeMismatch(fieldName(f), "an array", v.description()));
        break;
      default:
        fieldNumber(f) = number(v, f);
        break;
    }
    return true;
  }

  double& fieldNumber(int f) {
    switch (f) {
      case kEnergyCurrent:
        return summary_.energyCurrent;
      case kEnergyTotal:
        return summary_.energyTotal;
      case kFatCurrent:
        return summary_.fatCurrent;
      case kFatTotal:
        return summary_.fatTotal;
      case kProteinCurrent:
        return summary_.proteinCurrent;
      case kProteinTotal:
        return summary_.proteinTotal;
      case kCarbsCurrent:
        return summary_.carbsCurrent;
      default:
        return summary_.carbsTotal;
    }
  }

  void fail(int f, Error e) {
    if (!errors_[f]) errors_[f] = std::move(e);
  }

  // `day` is the index within energyDays for its elements; the error path is built only when
  // there is an error, as this runs for every number of every read.
  double number(const Value& v, int f, std::optional<std::size_t> day = std::nullopt) {
    auto path = [&] {
      std::string p(fieldName(f));
      if (day) {
        p += '[';
        p += std::to_string(*day);
        p += ']';
      }
      return p;
    };
    if (!v.isNumber()) {
      fail(f, typeMismatch(path(), "a number", v.description()));
      return 0;
    }
    const double d = v.number();
    if (!std::isfinite(d)) {
      fail(f, Error{"data corrupted at " + quote(path()) + ": the number is not finite"});
      return 0;
    }
    return d;
  }

  bool boolean(const Value& v, int f) {
    if (v.kind != Value::Kind::boolean) {
      fail(f, typeMismatch(fieldName(f), "a boolean", v.description()));
      return false;
    }
    return v.boolean;
  }

  std::int32_t int32(const Value& v) {
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min();
    constexpr auto kMax = std::numeric_limits<std::int32_t>::max();
    if (!v.isNumber()) {
      fail(kCurrentDayInt, typeMismatch(fieldName(kCurrentDayInt), "an integer", v.description()));
      return 0;
    }
    std::string text;
    switch (v.kind) {
      case Value::Kind::unsignedInteger:
        if (v.unsignedInteger <= static_cast<std::uint64_t>(kMax)) {
          return static_cast<std::int32_t>(v.unsignedInteger);
        }
        text = std::to_string(v.unsignedInteger);
        break;
      case Value::Kind::integer:
        if (v.integer >= kMin && v.integer <= kMax) return static_cast<std::int32_t>(v.integer);
        text = std::to_string(v.integer);
        break;
      default:
        // A number written with a fraction or exponent is accepted when it is exactly an
        // integer in range: "1.0" is 1, "1.5" is not a 32-bit integer.
        if (std::isfinite(v.floating) && v.floating == std::trunc(v.floating) &&
            v.floating >= kMin && v.floating <= kMax) {
          return static_cast<std::int32_t>(v.floating);
        }
        text = shortestNumber(v.floating);  // 1e+300, not three hundred digits
        break;
    }
    fail(kCurrentDayInt, Error{"data corrupted at " + quote(fieldName(kCurrentDayInt)) +
                               ": the number " + text + " does not fit in a 32-bit integer"});
    return 0;
  }

  WidgetNutritionSummary summary_;
  std::array<bool, kFieldCount> present_{};
  std::array<std::optional<Error>, kFieldCount> errors_{};
  std::optional<Error> fatal_;
  int depth_ = 0;        // 1 inside the record's object
  int field_ = -1;       // the field of the current key, -1 for unknown keys
  bool inDays_ = false;  // inside the energyDays array
  int skip_ = 0;         // nesting depth of a container being skipped
};

}  // namespace

Error oversizedRecordError(std::size_t bytes) {
  return Error{"data corrupted: the record is " + std::to_string(bytes) +
               " bytes long, more than the " + std::to_string(kMaxSummaryBytes) +
               " bytes a record may have"};
}

Result<WidgetNutritionSummary> decodeSummary(std::string_view text) {
  // Checked before parsing: a huge record costs nothing to refuse.
  if (text.size() > kMaxSummaryBytes) return oversizedRecordError(text.size());
  SummaryHandler handler;
  if (auto error = parseJson(text, handler)) handler.syntaxError(*error);
  return std::move(handler).result();
}

namespace {

// A double as JSON: the shortest text that reads back as the same number, with ".0" on whole
// numbers so that the type shows. JSON has no infinity or NaN: those become null.
void appendNumber(std::string& out, double v) {
  if (!std::isfinite(v)) {
    out += "null";
    return;
  }
  const std::string text = shortestNumber(v);
  out += text;
  if (text.find_first_of(".e") == std::string::npos) out += ".0";
}

void appendBool(std::string& out, bool v) {
  out += v ? "true" : "false";
}

}  // namespace

std::string encodeSummary(const WidgetNutritionSummary& s) {
  // Written straight into one string: a document tree of the history would cost several times
  // the record itself.
  std::string out;
  out.reserve(256 + s.energyDays.size() * 8);
  const std::pair<int, double> numbers[] = {
      {kEnergyCurrent, s.energyCurrent},   {kEnergyTotal, s.energyTotal},
      {kFatCurrent, s.fatCurrent},         {kFatTotal, s.fatTotal},
      {kProteinCurrent, s.proteinCurrent}, {kProteinTotal, s.proteinTotal},
      {kCarbsCurrent, s.carbsCurrent},     {kCarbsTotal, s.carbsTotal}};
  auto key = [&](int f) {
    out += out.empty() ? "{" : ",";
    out += quote(fieldName(f));
    out += ':';
  };
  key(kCurrentDayInt);
  out += std::to_string(s.currentDayInt);
  key(kCurrentDate);
  appendNumber(out, s.currentDate.timeIntervalSinceReferenceDate);
  key(kIsLoggedIn);
  appendBool(out, s.isLoggedIn);
  for (const auto& [f, v] : numbers) {
    key(f);
    appendNumber(out, v);
  }
  key(kEnergyDays);
  out += '[';
  for (std::size_t i = 0; i < s.energyDays.size(); ++i) {
    if (i > 0) out += ',';
    appendNumber(out, s.energyDays[i]);
  }
  out += ']';
  key(kIsKilojoules);
  appendBool(out, s.isKilojoules);
  out += '}';
  return out;
}

}  // namespace km
