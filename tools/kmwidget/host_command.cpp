// `kmwidget host` (the live widget host and its page) and `kmwidget reload` (the app's reload
// call, sent to the host running on the same store).

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/widget_kind.h"
#include "kmwidget/cli.h"
#include "kmwidget/host/widget_host.h"
#include "kmwidget/json_output.h"
#include "model/shared_store.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"
#include "platform/widgetkit/platform_version.h"

namespace km::cli {

namespace {

struct HostArgs {
  int port = host::kDefaultPort;
  double speed = 1;
  std::optional<std::string> openWith;
  int workers = 2;
  std::string kind;  // reload
};

// The options that the host shares with every command, listed in its help too.
constexpr const char* kHostFooter =
    "Also: --now TIME (widget time at start, ISO-8601), --tz ZONE, --store PATH (the shared "
    "store; the arrangement is saved beside it as <store>.arrangement.json), --os 15|16|17 "
    "(overrides the page's saved platform version), --language CODE (for this run only; the page's "
    "language "
    "setting writes the store as the app does).\n"
    "Open http://127.0.0.1:PORT/ in a browser. SIGINT or SIGTERM stop the host and its workers.";

// Replaces this process with `kmwidget-host` from the folder of the running program, given the
// same arguments; returns only when that program cannot be run.
int handOverToHostProgram(const std::vector<std::string>& args, const Io& io) {
  const std::optional<std::string> folder = executableDirectory();
  if (!folder) return fail(io, "cannot find the folder of the running program");
  const std::string program = (std::filesystem::path(*folder) / "kmwidget-host").string();
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& arg : args)
    argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  io.out.flush();
  io.err.flush();
  ::execv(program.c_str(), argv.data());
  return fail(io, "cannot run the live host " + program + ": " + std::strerror(errno));
}

// `osGiven`: --os was on the command line, so its version (even the default one) wins over the
// page's saved choice.
int runHostCommand(const HostArgs& args, bool osGiven, const std::vector<std::string>& commandLine,
                   const HostRunner& runHost, const Io& io) {
  if (args.port < 0 || args.port > 65535) {
    io.err << "kmwidget: --port: expected 0 to 65535\n";
    return kExitUsage;
  }
  if (!std::isfinite(args.speed) || args.speed <= 0 || args.speed > 1e6) {
    io.err << "kmwidget: --speed: expected a number above 0 and at most 1000000\n";
    return kExitUsage;
  }
  if (args.workers < 1 || args.workers > 8) {
    io.err << "kmwidget: --workers: expected 1 to 8\n";
    return kExitUsage;
  }
  host::HostOptions options;
  options.storePath = UserDefaults::storePath(kAppGroupSuiteName);
  options.port = static_cast<std::uint16_t>(args.port);
  options.start = fixedNow();
  options.speed = args.speed;
  options.openWith = args.openWith;
  options.language = languageOverride();
  options.workers = args.workers;
  if (osGiven) options.osMajor = currentPlatformVersion().major;
  if (!runHost) return handOverToHostProgram(commandLine, io);
  return runHost(options, io.err);
}

}  // namespace

void addHostCommands(CLI::App& app, Action& action, const std::vector<std::string>& commandLine,
                     const HostRunner& runHost) {
  auto args = std::make_shared<HostArgs>();
  CLI::App* hostCmd = app.add_subcommand(
      "host",
      "Runs the widgets live as the phone's widget host does and shows them on a page served "
      "on 127.0.0.1: placeholders, snapshots, timelines shown at their dates, reloads when the "
      "store changes, taps opening the app's links");
  hostCmd->add_option("--port", args->port,
                      "The port on 127.0.0.1 (default " + std::to_string(host::kDefaultPort) +
                          "; 0: any free port, written to <store>.host.json)");
  hostCmd->add_option("--speed", args->speed,
                      "Widget seconds per real second (default 1; 60: an hour a minute)");
  hostCmd->add_option("--open-with", args->openWith,
                      "The command that opens a tapped URL, given as its last argument "
                      "(default xdg-open)");
  hostCmd->add_option("--workers", args->workers, "Render worker processes (default 2)");
  hostCmd->footer(kHostFooter);
  hostCmd->callback([&app, &action, args, &commandLine, &runHost] {
    action = [&app, args, &commandLine, &runHost](const Io& io) {
      const bool osGiven = app.get_option("--os")->count() > 0;
      return runHostCommand(*args, osGiven, commandLine, runHost, io);
    };
  });

  CLI::App* reload = app.add_subcommand(
      "reload",
      "Asks the host running on the shared store to reload the widgets' timelines, as the "
      "app's reload call does");
  reload->add_option("--kind", args->kind, "Only the widgets of this kind (default: all)");
  reload->callback([&action, args] {
    action = [args](const Io& io) {
      if (!args->kind.empty() && !widgetKindFromRawValue(args->kind)) {
        io.err << "kmwidget: --kind: unknown kind \"" << args->kind << "\"\n";
        return kExitUsage;
      }
      const auto answer =
          host::requestReload(UserDefaults::storePath(kAppGroupSuiteName), args->kind);
      if (!answer.ok) return fail(io, answer.error);
      printJson(io.out, nlohmann::json{{"reloaded", answer.reloaded}});
      return kExitOk;
    };
  });
}

}  // namespace km::cli
