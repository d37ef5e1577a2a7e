#pragma once

// The system log: one line per message on standard error, stamped with the local wall-clock
// time (UTC here, as the process has no zone of its own), the program name and process id,
// as the phone platform's log prints on Linux:
//   2026-11-23 01:18:07.123 program[4242:7f3a] message
// Thread-safe: lines from different threads never interleave.

#include <string>
#include <string_view>
#include <vector>

namespace km {

void systemLog(std::string_view message);

// While alive, system-log messages are collected here (without the stamp) instead of printed.
// For tests; one capture at a time.
class ScopedSystemLogCapture {
 public:
  ScopedSystemLogCapture();
  ~ScopedSystemLogCapture();
  ScopedSystemLogCapture(const ScopedSystemLogCapture&) = delete;
  ScopedSystemLogCapture& operator=(const ScopedSystemLogCapture&) = delete;

  std::vector<std::string> lines() const;
};

// The stamped line systemLog writes for a message (without the final newline); exposed so the
// format can be checked.
std::string systemLogLine(std::string_view message);

}  // namespace km
