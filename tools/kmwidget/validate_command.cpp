// `kmwidget validate FILE`: decodes a record as the extension does and warns about values that
// decode but would stop the extension once a widget shows them.

#include <CLI/CLI.hpp>
#include <cmath>
#include <fstream>
#include <memory>
#include <sstream>

#include "base/checked.h"
#include "kmwidget/cli.h"
#include "kmwidget/json_output.h"
#include "kmwidget/record_checks.h"
#include "model/widget_nutrition_summary.h"

namespace km::cli {

void addValidateCommand(CLI::App& app, Action& action) {
  auto file = std::make_shared<std::string>();
  CLI::App* validate =
      app.add_subcommand("validate", "Check a summary record (JSON file, or - for standard input)");
  validate->add_option("FILE", *file, "The record's JSON, or -")->required();
  validate->callback([file, &action] {
    action = [file](const Io& io) {
      std::string bytes;
      if (*file == "-") {
        std::ostringstream buffer;
        buffer << io.in.rdbuf();
        bytes = buffer.str();
      } else {
        std::ifstream in(*file, std::ios::binary);
        if (!in) return fail(io, *file + ": cannot be read");
        std::ostringstream buffer;
        buffer << in.rdbuf();
        bytes = buffer.str();
      }
      auto decoded = decodeSummary(bytes);
      if (!decoded.ok()) return fail(io, decoded.error().message);
      const std::vector<std::string> warnings = displayWarnings(decoded.value());
      Json j;
      j["valid"] = true;
      j["warnings"] = warnings;
      j["nutrition"] = nutritionJson(decoded.value());
      for (const auto& w : warnings)
        io.err << "kmwidget: warning: " << w << '\n';
      printJson(io.out, j);
      return kExitOk;
    };
  });
}

}  // namespace km::cli
