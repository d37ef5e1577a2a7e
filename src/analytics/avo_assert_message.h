#pragma once

// A validation message of an event: a property fell below its minimum or above its maximum.
// Plain value.

#include <string>

#include "analytics/avo_value.h"

namespace km {

struct AvoAssertMessage {
  enum class Tag { expectedMin, expectedMax };

  Tag tag;
  std::string propertyId;
  std::string message;

  static AvoAssertMessage expectedMin(std::string propertyId, std::string message) {
    return {Tag::expectedMin, std::move(propertyId), std::move(message)};
  }
  static AvoAssertMessage expectedMax(std::string propertyId, std::string message) {
    return {Tag::expectedMax, std::move(propertyId), std::move(message)};
  }

  // The form debugger and inspector payloads carry: "tag", "propertyId", "message".
  AvoDictionary toDictionary() const {
    return AvoDictionary{{"tag", tag == Tag::expectedMin ? "expectedMin" : "expectedMax"},
                         {"propertyId", propertyId},
                         {"message", message}};
  }

  friend bool operator==(const AvoAssertMessage&, const AvoAssertMessage&) = default;
};

}  // namespace km
