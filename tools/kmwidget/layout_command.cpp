// `kmwidget layout FILE`: lays out a view tree described in JSON in a canvas of the given size,
// as a hosting view places its root, and prints the display list or draws it.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>

#include "kmwidget/cli.h"
#include "kmwidget/view_description/view_description.h"
#include "platform/foundation/bundle.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/display_list_json.h"
#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"

namespace km::cli {
namespace {

struct LayoutOptionsCli {
  std::string file;
  double width = 0;
  double height = 0;
  std::string format;
  double scale = 3;
  std::string appearance = "light";
  std::string output;
};

std::optional<std::string> readInput(const Io& io, const std::string& file) {
  std::ostringstream buffer;
  if (file == "-") {
    buffer << io.in.rdbuf();
    return buffer.str();
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) return std::nullopt;
  buffer << in.rdbuf();
  return buffer.str();
}

// The format asked for, else the output file's extension, else the JSON dump.
std::string chosenFormat(const LayoutOptionsCli& o) {
  if (!o.format.empty()) return o.format;
  const std::string ext = std::filesystem::path(o.output).extension().string();
  if (ext == ".png" || ext == ".svg" || ext == ".pdf") return ext.substr(1);
  return "json";
}

int run(const Io& io, const LayoutOptionsCli& o) {
  const std::string format = chosenFormat(o);
  if (format != "json" && o.output.empty()) return fail(io, format + " output needs -o PATH");
  const std::optional<std::string> text = readInput(io, o.file);
  if (!text) return fail(io, o.file + ": cannot be read");
  const Result<View> view = parseViewDescription(std::string_view(*text));
  if (!view.ok())
    return fail(io, (o.file == "-" ? "<stdin>" : o.file) + ": " + view.error().message);

  // Asset colours and images come from the main bundle's catalogue when there is one; without
  // it they draw as missing, which the dump and the image both show.
  std::optional<AssetCatalog> catalog;
  if (auto folder = Bundle::main().pathForResource("Assets", "xcassets")) {
    auto loaded = AssetCatalog::load(*folder);
    if (loaded.ok()) catalog.emplace(std::move(loaded).value());
  }
  const AssetCatalog* assets = catalog ? &*catalog : nullptr;
  const ColorScheme scheme = o.appearance == "dark" ? ColorScheme::dark : ColorScheme::light;
  const DisplayList list = layout(view.value(), Size{o.width, o.height}, LayoutOptions{assets});

  if (format == "json") {
    const std::string dump = displayListToJson(list, "layout", "custom", scheme, assets)
                                 .dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
    if (o.output.empty()) {
      io.out << dump << '\n';
      return kExitOk;
    }
    std::ofstream out(o.output, std::ios::binary);
    out << dump << '\n';
    if (!out) return fail(io, o.output + ": cannot be written");
    return kExitOk;
  }
  // An image past the renderer's largest side would come out clamped, not as asked (and take
  // a gigabyte to draw): refused with the numbers instead.
  if (format == "png" && std::max(o.width, o.height) * o.scale > kLargestImageSide) {
    std::ostringstream why;
    why << "--width " << o.width << " and --height " << o.height << " at --scale " << o.scale
        << " exceed " << kLargestImageSide << " pixels a side";
    return fail(io, why.str());
  }
  RenderOptions render;
  render.scale = o.scale;
  render.colorScheme = scheme;
  render.assets = assets;
  // The file's extension picks the writer, so the format decides the extension.
  std::filesystem::path target = o.output;
  if (target.extension() != "." + format) {
    return fail(io, "-o " + o.output + ": the file name must end in ." + format);
  }
  const Status written = writeImageFile(list, render, target);
  if (!written.ok()) return fail(io, written.error().message);
  return kExitOk;
}

}  // namespace

void addLayoutCommand(CLI::App& app, Action& action) {
  auto o = std::make_shared<LayoutOptionsCli>();
  CLI::App* cmd = app.add_subcommand(
      "layout", "Lay out a view tree described in JSON (a file, or - for standard input)");
  cmd->add_option("FILE", o->file, "The view description, or -")->required();
  cmd->add_option("--width", o->width, "The canvas width in points")
      ->required()
      ->check(CLI::Range(0.0, 100000.0));
  cmd->add_option("--height", o->height, "The canvas height in points")
      ->required()
      ->check(CLI::Range(0.0, 100000.0));
  cmd->add_option("--format", o->format, "json (default), png, svg or pdf")
      ->check(CLI::IsMember({"json", "png", "svg", "pdf"}));
  cmd->add_option("--scale", o->scale, "Pixels per point for PNG output (default 3)")
      ->check(CLI::Range(0.1, 16.0));
  cmd->add_option("--appearance", o->appearance, "light (default) or dark")
      ->check(CLI::IsMember({"light", "dark"}));
  cmd->add_option("-o,--output", o->output, "The output file (JSON goes to standard output)");
  cmd->callback([o, &action] { action = [o](const Io& io) { return run(io, *o); }; });
}

}  // namespace km::cli
