// kmwidget's command line: global options, the settings they apply and the subcommands.

#include "kmwidget/cli.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "base/message_text.h"
#include "model/extension_log.h"
#include "platform/foundation/date.h"
#include "platform/foundation/process_settings.h"
#include "platform/widgetkit/platform_version.h"

namespace km::cli {
namespace {

struct GlobalOptions {
  std::optional<std::string> store;
  std::optional<std::string> now;
  std::optional<std::string> timeZone;
  std::optional<std::string> locale;
  std::optional<std::string> os;
  std::optional<std::string> language;
};

void addGlobalOptions(CLI::App& app, GlobalOptions& o) {
  app.add_option("--store", o.store, "The shared store's file (default: the app group's)");
  app.add_option("--now", o.now, "The current moment, ISO-8601 (e.g. 2026-03-01T23:30:00+01:00)");
  app.add_option("--tz", o.timeZone, "The time zone, an IANA id (e.g. Europe/Berlin)");
  app.add_option("--locale", o.locale, "The locale, e.g. de_DE");
  app.add_option("--os", o.os, "The platform version: 15, 16, 17 or e.g. 16.4 (default 17)");
  app.add_option("--language", o.language,
                 "The language chosen in the app, for this run only (a bundle language folder)");
}

// The settings of one run; destroyed in reverse order, restoring the previous values.
struct Settings {
  std::optional<ScopedStorePath> store;
  std::optional<ScopedTimeZone> timeZone;
  std::optional<ScopedNow> now;
  std::optional<ScopedLocale> locale;
  std::optional<ScopedPlatformVersion> os;
  std::optional<ScopedLanguageOverride> language;
};

// Applies the options; a usage error message when one is malformed.
std::optional<std::string> apply(const GlobalOptions& o, Settings& s) {
  if (o.store) s.store.emplace(*o.store);
  if (o.timeZone) {
    if (!isKnownTimeZone(*o.timeZone))
      return "--tz: unknown time zone \"" + echoedInput(*o.timeZone) + "\"";
    s.timeZone.emplace(*o.timeZone);
  }
  // After the zone: a time without an offset is local to it.
  if (o.now) {
    auto date = parseISO8601(*o.now);
    if (!date) return "--now: not an ISO-8601 date and time: \"" + echoedInput(*o.now) + "\"";
    s.now.emplace(*date);
  }
  if (o.locale) s.locale.emplace(*o.locale);
  if (o.os) {
    auto version = parsePlatformVersion(*o.os);
    if (!version) return "--os: not a platform version: \"" + echoedInput(*o.os) + "\"";
    s.os.emplace(*version);
  }
  if (o.language) s.language.emplace(*o.language);
  return std::nullopt;
}

}  // namespace

int fail(const Io& io, const std::string& message) {
  io.err << "kmwidget: " << message << '\n';
  return kExitFailure;
}

int runKmwidget(const std::vector<std::string>& args, const Io& io, const HostRunner& runHost) {
  CLI::App app("KaloMate widgets: the shared store, the timeline and the widget catalogue",
               "kmwidget");
  app.require_subcommand(1);
  // Global options may also follow the subcommand ("kmwidget timeline --now ...").
  app.fallthrough();
  GlobalOptions options;
  addGlobalOptions(app, options);
  Action action;
  addStoreCommands(app, action);
  addTimelineCommands(app, action);
  addCatalogueCommand(app, action);
  addValidateCommand(app, action);
  addRenderCommand(app, action);
  addLayoutCommand(app, action);
  addHostCommands(app, action, args, runHost);
  addHostWorkerCommand(app, action);

  // CLI11 wants the arguments in reverse order when given as a vector.
  std::vector<std::string> reversed(args.rbegin(), args.rend());
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    io.out << app.help();
    return kExitOk;
  } catch (const CLI::CallForAllHelp&) {
    io.out << app.help("", CLI::AppFormatMode::All);
    return kExitOk;
  } catch (const CLI::ParseError& e) {
    io.err << "kmwidget: " << e.what() << '\n';
    io.err << "Run with --help for more information.\n";
    return kExitUsage;
  }
  Settings settings;
  if (auto error = apply(options, settings)) {
    io.err << "kmwidget: " << *error << '\n';
    return kExitUsage;
  }
  if (!action) return fail(io, "no command chosen");
  // Standard output carries the command's JSON document; the extension's log lines go to the
  // error stream meanwhile.
  ScopedExtensionLog log(io.err);
  return action(io);
}

}  // namespace km::cli
