#pragma once

// The JSON reports the client posts to the inspector service: a start report when a development
// client is built, and an invocation report per tracked event. Keys are two-letter codes in a
// fixed order, which the service relies on, so the reports are ordered JSON objects.
// Pure functions; thread-safe.

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "analytics/avo_assert_message.h"
#include "analytics/avo_plan_identity.h"

namespace km {

// "yyyy-MM-dd'T'HH:mm:ss.SSS" in UTC followed by "Z", e.g. "2026-11-23T01:18:07.042Z".
std::string inspectorTimestamp(std::chrono::system_clock::time_point time);

// ac, br, en, ty, sc, se, so, va, me.
nlohmann::ordered_json makeStartReport(std::string_view name,
                                       const std::vector<AvoAssertMessage>& messages,
                                       std::chrono::system_clock::time_point now,
                                       const AvoPlanIdentity& plan = kAvoPlanIdentity);

// ac, br, en, ev, ha, sc, se, so, va, me, or.
nlohmann::ordered_json makeInvocationReport(std::string_view eventId, std::string_view eventHash,
                                            bool valid,
                                            const std::vector<AvoAssertMessage>& messages,
                                            std::chrono::system_clock::time_point now,
                                            const AvoPlanIdentity& plan = kAvoPlanIdentity);

}  // namespace km
