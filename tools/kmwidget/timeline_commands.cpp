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
          Provider{}.getTimeline({}, [&](const Timeline<NutritionEntry>& timeline) {
            // Printed an entry at a time, so that only one entry's document exists at once
            // besides the seven records themselves.
            Json head;
            head["policy"] = std::string(policyName(timeline.policy));
            std::string text = head.dump(2);
            text.resize(text.size() - 2);  // reopen the object: drop "\n}"
            io.out << text << ",\n  \"entries\": [";
            const char* separator = "\n";
            for (const auto& entry : timeline.entries) {
              const std::string e = entryJson(entry).dump(2);
              std::string indented = "    ";
              for (char c : e) {
                indented += c;
                if (c == '\n') indented += "    ";
              }
              io.out << separator << indented;
              separator = ",\n";
            }
            io.out << "\n  ]\n}\n";
          });
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
