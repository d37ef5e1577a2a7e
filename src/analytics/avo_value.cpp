// The tracking client's dynamic values and ordered dictionaries, and their debug printing.

#include "analytics/avo_value.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace km {

AvoDictionary::AvoDictionary() = default;
AvoDictionary::AvoDictionary(std::initializer_list<Entry> entries) {
  for (const auto& entry : entries)
    set(entry.first, entry.second);
}
AvoDictionary::AvoDictionary(const AvoDictionary&) = default;
AvoDictionary::AvoDictionary(AvoDictionary&&) noexcept = default;
AvoDictionary& AvoDictionary::operator=(const AvoDictionary&) = default;
AvoDictionary& AvoDictionary::operator=(AvoDictionary&&) noexcept = default;
AvoDictionary::~AvoDictionary() = default;

void AvoDictionary::set(std::string key, AvoValue value) {
  for (auto& entry : entries_) {
    if (entry.first == key) {
      entry.second = std::move(value);
      return;
    }
  }
  entries_.emplace_back(std::move(key), std::move(value));
}

const AvoValue* AvoDictionary::find(std::string_view key) const {
  for (const auto& entry : entries_) {
    if (entry.first == key) return &entry.second;
  }
  return nullptr;
}

void AvoDictionary::erase(std::string_view key) {
  for (auto it = entries_.begin(); it != entries_.end(); ++it) {
    if (it->first == key) {
      entries_.erase(it);
      return;
    }
  }
}

std::vector<AvoDictionary::Entry>::const_iterator AvoDictionary::begin() const {
  return entries_.begin();
}
std::vector<AvoDictionary::Entry>::const_iterator AvoDictionary::end() const {
  return entries_.end();
}

bool operator==(const AvoDictionary& a, const AvoDictionary& b) {
  return a.entries_ == b.entries_;
}

namespace {

// Quotes a string the way the phone's debug printing does: backslash escapes for quote, backslash
// and the common control characters, \u{..} for other control characters.
void appendQuoted(std::string& out, std::string_view text) {
  out += '"';
  for (char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '\0':
        out += "\\0";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
          char buffer[12];
          std::snprintf(buffer, sizeof buffer, "\\u{%X}", static_cast<unsigned>(c));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

// Shortest text that reads back as the same double, with ".0" on whole numbers ("2.0", not "2").
void appendDouble(std::string& out, double value) {
  if (std::isnan(value)) {
    out += "nan";
    return;
  }
  if (std::isinf(value)) {
    out += value < 0 ? "-inf" : "inf";
    return;
  }
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  std::string_view text(buffer, static_cast<std::size_t>(result.ptr - buffer));
  out += text;
  if (text.find_first_of(".e") == std::string_view::npos) out += ".0";
}

void appendDescription(std::string& out, const AvoValue& value, bool nested);

void appendDictionary(std::string& out, const AvoDictionary& dictionary) {
  if (dictionary.empty()) {
    out += "[:]";
    return;
  }
  out += '[';
  bool first = true;
  for (const auto& [key, item] : dictionary) {
    if (!first) out += ", ";
    first = false;
    appendQuoted(out, key);
    out += ": ";
    appendDescription(out, item, true);
  }
  out += ']';
}

void appendDescription(std::string& out, const AvoValue& value, bool nested) {
  switch (value.kind()) {
    case AvoValue::Kind::null:
      out += "nil";
      break;
    case AvoValue::Kind::string:
      if (nested) {
        appendQuoted(out, *value.asString());
      } else {
        out += *value.asString();
      }
      break;
    case AvoValue::Kind::integer:
      out += std::to_string(*value.asInteger());
      break;
    case AvoValue::Kind::boolean:
      out += *value.asBool() ? "true" : "false";
      break;
    case AvoValue::Kind::real:
      appendDouble(out, *value.asDouble());
      break;
    case AvoValue::Kind::list: {
      out += '[';
      bool first = true;
      for (const auto& item : *value.asList()) {
        if (!first) out += ", ";
        first = false;
        appendDescription(out, item, true);
      }
      out += ']';
      break;
    }
    case AvoValue::Kind::dictionary:
      appendDictionary(out, *value.asDictionary());
      break;
  }
}

}  // namespace

std::string AvoValue::description() const {
  std::string out;
  appendDescription(out, *this, false);
  return out;
}

std::string describe(const AvoDictionary& dictionary) {
  std::string out;
  appendDictionary(out, dictionary);
  return out;
}

nlohmann::ordered_json AvoValue::toJson() const {
  switch (kind()) {
    case Kind::null:
      return nullptr;
    case Kind::string:
      return *asString();
    case Kind::integer:
      return *asInteger();
    case Kind::boolean:
      return *asBool();
    case Kind::real:
      return *asDouble();
    case Kind::list: {
      auto array = nlohmann::ordered_json::array();
      for (const auto& item : *asList())
        array.push_back(item.toJson());
      return array;
    }
    case Kind::dictionary: {
      auto object = nlohmann::ordered_json::object();
      for (const auto& [key, item] : *asDictionary())
        object[key] = item.toJson();
      return object;
    }
  }
  return nullptr;
}

}  // namespace km
