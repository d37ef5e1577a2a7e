#pragma once

// The system log: one line per message on standard error, stamped with the wall-clock time in
// UTC (the analytics library has no access to the process's time-zone setting), the program
// name, the process id and the kernel thread id in hex, the way the phone platform's log prints
// on Linux:
//   2026-11-23 01:18:07.123 program[4242:10a3] message
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
