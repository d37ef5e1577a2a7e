// avo-cli's JSON event arguments, as replayed lines of {"event": NAME, "args": {...}}: any text
// gives a printed call or a message and an exit status, never a crash or an escaped exception.
// The first byte picks the client's switches, so strict mode and the debugger gate are reached.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "analytics/system_log.h"
#include "avo_cli.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::vector<const char*> argv = {"avo-cli", "--replay", "-"};
  if (data[0] & 1) argv.insert(argv.end(), {"--env", "prod"});
  if (data[0] & 2) argv.push_back("--strict");
  if (data[0] & 4) argv.insert(argv.end(), {"--debugger", "--debugger-enabled"});
  if (data[0] & 8) argv.push_back("--inspector");
  std::istringstream in(std::string(reinterpret_cast<const char*>(data) + 1, size - 1));
  std::ostringstream out;
  std::ostringstream err;
  const km::ScopedSystemLogCapture quiet;
  const int status = km::runAvoCli(static_cast<int>(argv.size()), argv.data(), in, out, err);
  if (status != 0 && status != 1) std::abort();
  return 0;
}
