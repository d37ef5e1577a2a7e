#pragma once

// kmwidget's command line: the in-process entry point and each subcommand's registration.

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace km::host {
struct HostOptions;
}

namespace km::cli {

// Exit codes of the tool.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// Where a command writes: its JSON document to `out`, messages to `err`.
struct Io {
  std::ostream& out;
  std::ostream& err;
  std::istream& in;
};

// What a subcommand does once the global options are in force; returns the exit code.
using Action = std::function<int(const Io&)>;

// Each group of subcommands adds itself to the app and, when chosen, sets `action`. Adding a
// command (say `render`) is one more of these, called from runKmwidget.
void addStoreCommands(CLI::App& app, Action& action);
void addTimelineCommands(CLI::App& app, Action& action);
void addCatalogueCommand(CLI::App& app, Action& action);
void addValidateCommand(CLI::App& app, Action& action);
void addRenderCommand(CLI::App& app, Action& action);
void addLayoutCommand(CLI::App& app, Action& action);
// Runs the live host with the options `kmwidget host` parsed, writing what it does to `log`;
// returns the exit code.
using HostRunner = std::function<int(const host::HostOptions& options, std::ostream& log)>;
// `host` runs the host through `runHost`; without one (the program `kmwidget`, which leaves the
// host's HTTP server and its TLS libraries out so that drawing never loads them) it hands the
// whole command line `args` over to `kmwidget-host` beside the running program.
void addHostCommands(CLI::App& app, Action& action, const std::vector<std::string>& args,
                     const HostRunner& runHost);
// The live host's render worker (hidden; started by the host itself).
void addHostWorkerCommand(CLI::App& app, Action& action);

// Runs the tool on `args` (without the program name). The global options are process settings
// for the duration of the call and are restored afterwards, so two runs must not overlap.
int runKmwidget(const std::vector<std::string>& args, const Io& io, const HostRunner& runHost = {});

// Prints "kmwidget: <message>" on the error stream and returns kExitFailure.
int fail(const Io& io, const std::string& message);

}  // namespace km::cli
