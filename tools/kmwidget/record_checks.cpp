// Reading record files and the warnings a record earns.

#include "kmwidget/record_checks.h"

#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

#include "base/message_text.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/process_settings.h"

namespace km::cli {

Result<WidgetNutritionSummary> readRecordFile(const std::string& path, std::istream& in) {
  std::string bytes;
  if (path == "-") {
    // One byte more than a record may have is enough to know that it is too long.
    bytes.resize(kMaxSummaryBytes + 1);
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    if (bytes.size() > kMaxSummaryBytes) {
      return Error{"standard input: " + oversizedRecordError(bytes.size()).message};
    }
  } else {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
      return Error{path + ": cannot be read: " + std::strerror(errno)};
    }
    if (S_ISDIR(st.st_mode)) return Error{path + ": cannot be read: it is a directory"};
    if (S_ISREG(st.st_mode) && static_cast<std::size_t>(st.st_size) > kMaxSummaryBytes) {
      return Error{path + ": " +
                   oversizedRecordError(static_cast<std::size_t>(st.st_size)).message};
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) return Error{path + ": cannot be read"};
    bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  auto decoded = decodeSummary(bytes);
  if (!decoded)
    return Error{(path == "-" ? "standard input" : path) + ": " + decoded.error().message};
  return decoded;
}

namespace {

// The local day of `date` in the process's time zone, counted from 1970; nullopt where the
// count is not a finite number.
std::optional<double> localDay(Date date) {
  const double t = date.timeIntervalSince1970();
  if (!std::isfinite(t)) return std::nullopt;
  return std::floor((t + secondsFromGMT(currentTimeZoneId(), date)) / 86400);
}

}  // namespace

std::vector<std::string> recordWarnings(const WidgetNutritionSummary& s) {
  std::vector<std::string> out;
  if (!s.isLoggedIn) {
    out.push_back("isLoggedIn is false: every widget shows the signed-out view");
    return out;  // nothing else of the record is shown
  }
  const auto day = localDay(s.currentDate);
  if (day && *day != localDay(now())) {
    out.push_back("currentDate " + shortestNumber(s.currentDate.timeIntervalSinceReferenceDate) +
                  " is not today: widgets that check the day show no intake");
  }
  if (s.energyDays.size() != 7) {
    out.push_back("energyDays has " + std::to_string(s.energyDays.size()) +
                  " values, not the seven days of a week");
  }
  const std::pair<const char*, double> amounts[] = {
      {"energyCurrent", s.energyCurrent},   {"energyTotal", s.energyTotal},
      {"fatCurrent", s.fatCurrent},         {"fatTotal", s.fatTotal},
      {"proteinCurrent", s.proteinCurrent}, {"proteinTotal", s.proteinTotal},
      {"carbsCurrent", s.carbsCurrent},     {"carbsTotal", s.carbsTotal}};
  for (const auto& [name, value] : amounts) {
    if (value < 0) out.push_back(std::string(name) + " is negative: " + shortestNumber(value));
  }
  return out;
}

}  // namespace km::cli
