#pragma once

// The extension's own log on standard output.

#include <ostream>
#include <string_view>

namespace km {

// The extension's own log: one line per call, on standard output, as the extension writes it
// (a record's decoding error, for instance). Tools whose standard output carries a machine-read
// document redirect it for a while with ScopedExtensionLog. Thread-safe; lines never interleave.
void writeExtensionLog(std::string_view line);

class ScopedExtensionLog {
 public:
  // Lines go to `stream` (which must outlive the guard) instead of standard output.
  explicit ScopedExtensionLog(std::ostream& stream);
  ~ScopedExtensionLog();
  ScopedExtensionLog(const ScopedExtensionLog&) = delete;
  ScopedExtensionLog& operator=(const ScopedExtensionLog&) = delete;

 private:
  std::ostream* previous_;
};

}  // namespace km
