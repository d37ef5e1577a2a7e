// `kmwidget timeline | placeholder | snapshot`: what the host gets from the provider.

#include <CLI/CLI.hpp>

#include "host/provider.h"
#include "kmwidget/cli.h"
#include "kmwidget/json_output.h"

namespace km::cli {
namespace {

Json oneEntry(const NutritionEntry& entry) {
  Json j;
  j["entries"] = Json::array({entryJson(entry)});
  return j;
}

}  // namespace

void addTimelineCommands(CLI::App& app, Action& action) {
  app.add_subcommand("timeline", "The provider's timeline from the shared store")
      ->callback([&action] {
        action = [](const Io& io) {
          Json j;
          Provider{}.getTimeline({}, [&](Timeline<NutritionEntry> timeline) {
            j["policy"] = std::string(policyName(timeline.policy));
            j["entries"] = Json::array();
            for (const auto& entry : timeline.entries)
              j["entries"].push_back(entryJson(entry));
          });
          printJson(io.out, j);
          return kExitOk;
        };
      });
  app.add_subcommand("placeholder", "The provider's placeholder entry")->callback([&action] {
    action = [](const Io& io) {
      printJson(io.out, oneEntry(Provider{}.placeholder({})));
      return kExitOk;
    };
  });
  app.add_subcommand("snapshot", "The provider's snapshot entry from the shared store")
      ->callback([&action] {
        action = [](const Io& io) {
          Provider{}.getSnapshot({},
                                 [&](NutritionEntry entry) { printJson(io.out, oneEntry(entry)); });
          return kExitOk;
        };
      });
}

}  // namespace km::cli
