// `kmwidget catalogue`: the widget gallery as the host sees it for the chosen platform version.

#include <CLI/CLI.hpp>

#include "host/km_widget.h"
#include "kmwidget/cli.h"
#include "kmwidget/json_output.h"

namespace km::cli {

void addCatalogueCommand(CLI::App& app, Action& action) {
  app.add_subcommand("catalogue", "The bundle's widgets with their gallery texts and families")
      ->callback([&action] {
        action = [](const Io& io) {
          Json widgets = Json::array();
          for (const KMWidget& widget : KMWidgetBundle{}.body()) {
            const WidgetConfiguration c = widget.configuration();
            Json j;
            j["kind"] = c.kind;
            j["displayName"] = c.displayName;
            j["description"] = c.description;
            j["families"] = Json::array();
            for (WidgetFamily f : c.supportedFamilies) {
              j["families"].push_back(std::string(familyName(f)));
            }
            j["contentMarginsDisabled"] = c.contentMarginsDisabled;
            widgets.push_back(std::move(j));
          }
          printJson(io.out, widgets);
          return kExitOk;
        };
      });
}

}  // namespace km::cli
