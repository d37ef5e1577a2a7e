// Writing the extension's log lines, and redirecting them for a while.

#include "model/extension_log.h"

#include <cstdio>
#include <mutex>
#include <string>

namespace km {
namespace {

std::mutex gMutex;
std::ostream* gSink = nullptr;  // null: standard output

}  // namespace

void writeExtensionLog(std::string_view line) {
  std::lock_guard lock(gMutex);
  if (gSink) {
    *gSink << line << '\n';
    gSink->flush();
    return;
  }
  const std::string text = std::string(line) + "\n";
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

ScopedExtensionLog::ScopedExtensionLog(std::ostream& stream) {
  std::lock_guard lock(gMutex);
  previous_ = gSink;
  gSink = &stream;
}

ScopedExtensionLog::~ScopedExtensionLog() {
  std::lock_guard lock(gMutex);
  gSink = previous_;
}

}  // namespace km
