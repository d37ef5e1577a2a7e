// The JSON reports the inspector service receives: the session start and each event's check.

#include "analytics/inspector_report.h"

#include <cstdio>

namespace km {
namespace {

nlohmann::ordered_json messagesJson(const std::vector<AvoAssertMessage>& messages) {
  auto list = nlohmann::ordered_json::array();
  for (const auto& message : messages)
    list.push_back(AvoValue(message.toDictionary()).toJson());
  return list;
}

}  // namespace

std::string inspectorTimestamp(std::chrono::system_clock::time_point time) {
  using namespace std::chrono;
  const auto days = floor<std::chrono::days>(time);
  const year_month_day date{days};
  const hh_mm_ss clock{floor<milliseconds>(time - days)};
  char text[40];
  std::snprintf(
      text, sizeof text, "%04d-%02u-%02uT%02ld:%02ld:%02ld.%03ldZ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<long>(clock.hours().count()), static_cast<long>(clock.minutes().count()),
      static_cast<long>(clock.seconds().count()), static_cast<long>(clock.subseconds().count()));
  return text;
}

// The service only ever receives reports from development builds' point of view: the
// environment code is "dev" in both reports.
nlohmann::ordered_json makeStartReport(std::string_view name,
                                       const std::vector<AvoAssertMessage>& messages,
                                       std::chrono::system_clock::time_point now,
                                       const AvoPlanIdentity& plan) {
  nlohmann::ordered_json report;
  report["ac"] = plan.accountId;
  report["br"] = plan.branchId;
  report["en"] = "dev";
  report["ty"] = name;
  report["sc"] = plan.schemaId;
  report["se"] = inspectorTimestamp(now);
  report["so"] = plan.sourceId;
  report["va"] = messages.empty();
  report["me"] = messagesJson(messages);
  return report;
}

nlohmann::ordered_json makeInvocationReport(std::string_view eventId, std::string_view eventHash,
                                            bool valid,
                                            const std::vector<AvoAssertMessage>& messages,
                                            std::chrono::system_clock::time_point now,
                                            const AvoPlanIdentity& plan) {
  nlohmann::ordered_json report;
  report["ac"] = plan.accountId;
  report["br"] = plan.branchId;
  report["en"] = "dev";
  report["ev"] = eventId;
  report["ha"] = eventHash;
  report["sc"] = plan.schemaId;
  report["se"] = inspectorTimestamp(now);
  report["so"] = plan.sourceId;
  report["va"] = valid;
  report["me"] = messagesJson(messages);
  report["or"] = "ev";
  return report;
}

}  // namespace km
