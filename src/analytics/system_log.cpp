// The system log the tracking client writes to when no logger is given, and its test capture.

#include "analytics/system_log.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>

#include "base/fatal_error.h"

extern char* program_invocation_short_name;  // glibc: the program's base name

namespace km {
namespace {

std::mutex& logMutex() {
  static std::mutex mutex;
  return mutex;
}

// Guarded by logMutex().
std::optional<std::vector<std::string>>& capture() {
  static std::optional<std::vector<std::string>> lines;
  return lines;
}

}  // namespace

std::string systemLogLine(std::string_view message) {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const auto days = floor<std::chrono::days>(now);
  const year_month_day date{days};
  const hh_mm_ss time{floor<milliseconds>(now - days)};
  char stamp[96];
  std::snprintf(
      stamp, sizeof stamp, "%04d-%02u-%02u %02ld:%02ld:%02ld.%03ld ", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<long>(time.hours().count()), static_cast<long>(time.minutes().count()),
      static_cast<long>(time.seconds().count()), static_cast<long>(time.subseconds().count()));
  char process[64];
  std::snprintf(process, sizeof process, "[%d:%x] ", static_cast<int>(getpid()),
                static_cast<unsigned>(gettid()));
  std::string line = stamp;
  line += program_invocation_short_name;
  line += process;
  line += message;
  return line;
}

void systemLog(std::string_view message) {
  std::lock_guard lock(logMutex());
  if (capture()) {
    capture()->emplace_back(message);
    return;
  }
  std::string line = systemLogLine(message);
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

ScopedSystemLogCapture::ScopedSystemLogCapture() {
  std::lock_guard lock(logMutex());
  if (capture()) fatalError("system log capture is already active");
  capture().emplace();
}

ScopedSystemLogCapture::~ScopedSystemLogCapture() {
  std::lock_guard lock(logMutex());
  capture().reset();
}

std::vector<std::string> ScopedSystemLogCapture::lines() const {
  std::lock_guard lock(logMutex());
  return *capture();
}

}  // namespace km
