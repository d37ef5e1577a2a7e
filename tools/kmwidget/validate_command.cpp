// `kmwidget validate FILE`: whether the extension can draw a record. Every widget is laid out by
// the same code `render` runs, each in a child process, so a widget that would stop the
// extension is found by stopping a child rather than predicted by rules kept apart from it.

#include <CLI/CLI.hpp>
#include <memory>

#include "kmwidget/cli.h"
#include "kmwidget/isolated_checks.h"
#include "kmwidget/json_output.h"
#include "kmwidget/record_checks.h"
#include "kmwidget/widget_jobs.h"
#include "platform/foundation/date.h"
#include "platform/widgetkit/widget_family.h"

namespace km::cli {
namespace {

struct ValidateArgs {
  std::string file;
  bool allKinds = false;
  std::string device{phoneModelName(kDefaultPhoneModel)};
};

int runValidate(const ValidateArgs& args, const Io& io) {
  const auto device = phoneModelFromName(args.device);
  if (!device) {
    io.err << "kmwidget: --device: expected 393x852 or 430x932\n";
    return kExitUsage;
  }
  auto decoded = readRecordFile(args.file, io.in);
  if (!decoded) return fail(io, decoded.error().message);
  // Drawn as `render --record` draws it: at now.
  const NutritionEntry entry{now(), std::move(decoded).value()};
  const std::vector<WidgetJob> jobs = args.allKinds ? allKindJobs() : bundleJobs();

  const std::vector<Stop> stops =
      runIsolated(jobs.size(), [&](std::size_t first, const MarkCheck& mark) {
        auto layouter = WidgetLayouter::make(*device);
        if (!layouter) return;  // render fails the same way, without stopping
        for (std::size_t i = first; i < jobs.size(); ++i) {
          mark(i);
          (*layouter)->layout(entry, jobs[i]);
        }
      });

  Json j;
  j["valid"] = stops.empty();
  j["stops"] = Json::array();
  for (const Stop& stop : stops) {
    Json s;
    s["kind"] = jobs[stop.index].kind;
    s["family"] = std::string(familyName(jobs[stop.index].family));
    s["reason"] = stop.reason;
    j["stops"].push_back(std::move(s));
    io.err << "kmwidget: " << jobs[stop.index].kind << " · " << familyName(jobs[stop.index].family)
           << " stops the extension: " << stop.reason << '\n';
  }
  const std::vector<std::string> warnings = recordWarnings(entry.nutrition);
  j["warnings"] = warnings;
  for (const auto& w : warnings)
    io.err << "kmwidget: warning: " << w << '\n';
  j["nutrition"] = nutritionJson(entry.nutrition);
  printJson(io.out, j);
  return kExitOk;
}

}  // namespace

void addValidateCommand(CLI::App& app, Action& action) {
  auto args = std::make_shared<ValidateArgs>();
  CLI::App* validate = app.add_subcommand(
      "validate",
      "Whether the widgets can draw a record (JSON file, or - for standard input): every widget "
      "of the bundle, in every family it offers, is laid out as render does");
  validate->add_option("FILE", args->file, "The record's JSON, or -")->required();
  validate->add_flag("--all-kinds", args->allKinds,
                     "All nine kinds, in every family the entry view draws them in");
  validate->add_option("--device", args->device, "The phone: 393x852 (default) or 430x932");
  validate->callback(
      [args, &action] { action = [args](const Io& io) { return runValidate(*args, io); }; });
}

}  // namespace km::cli
