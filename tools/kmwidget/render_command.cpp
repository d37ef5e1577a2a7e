// `kmwidget render`: draws the widgets from the shared store (or a record file) as images, a
// contact sheet and an HTML page, or dumps their display lists as JSON.

#include <cairo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "base/message_text.h"
#include "host/km_widget.h"
#include "host/km_widget_entry_view.h"
#include "host/provider.h"
#include "host/widget_kind.h"
#include "kmwidget/cli.h"
#include "kmwidget/json_output.h"
#include "kmwidget/record_checks.h"
#include "kmwidget/widget_drawing.h"
#include "kmwidget/widget_jobs.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/bundle.h"
#include "platform/foundation/date.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/display_list_json.h"
#include "platform/ui/layout.h"
#include "platform/ui/render/cairo_canvas.h"
#include "platform/ui/renderer.h"
#include "platform/ui/text_engine.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/widget_family.h"
#include "platform/widgetkit/widget_rendering_mode.h"
#include "resources/widget_utils.h"

namespace km::cli {

namespace {

struct RenderArgs {
  std::vector<std::string> kinds;
  std::vector<std::string> families;
  std::string format = "png";
  double scale = 3;
  std::string appearance = "light";
  std::optional<std::string> mode;
  std::string device{phoneModelName(kDefaultPhoneModel)};
  std::optional<std::string> record;
  std::string outDir = "widgets";
};

struct Rendered {
  WidgetJob job;
  DisplayList list;
  RenderOptions options;
  std::string file;  // file name inside the output folder; empty when not written
};

std::string htmlEscape(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

// Every link's URL of a display list, in drawing order, without repeats.
std::vector<std::string> linkUrls(const DisplayList& list) {
  std::vector<std::string> urls;
  for (const DisplayItem& item : list.items) {
    if (const auto* link = std::get_if<DisplayLink>(&item.content)) {
      if (std::find(urls.begin(), urls.end(), link->url) == urls.end()) urls.push_back(link->url);
    }
  }
  return urls;
}

// Runs every task on up to `threads` threads, each taking the next task nobody has taken, and
// returns the first failure in task order (the other tasks still run: their files are good).
Status runAll(const std::vector<std::function<Status()>>& tasks, unsigned threads) {
  std::vector<Status> results(tasks.size(), Status{Ok{}});
  std::atomic<size_t> next{0};
  auto work = [&] {
    for (size_t i = next++; i < tasks.size(); i = next++)
      results[i] = tasks[i]();
  };
  {
    std::vector<std::jthread> helpers;
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    for (unsigned t = 1; t < std::min(threads, cores); ++t)
      helpers.emplace_back(work);
    work();
  }  // joins the helpers
  for (const Status& r : results) {
    if (!r) return r;
  }
  return Ok{};
}

std::string cellName(const Rendered& r) {
  return r.job.kind + " · " + std::string(familyName(r.job.family));
}

// The contact sheet: home-screen widgets in one band, lock-screen ones in another, each with
// its name under it. The widgets are drawn again straight into the sheet (from their display
// lists, at the sheet's scale) rather than kept as images, so that memory stays at one sheet.
Status writeContactSheet(const std::vector<Rendered>& items, const std::filesystem::path& file,
                         double scale) {
  const int gap = static_cast<int>(std::lround(12 * scale));
  const int label = static_cast<int>(std::lround(16 * scale));
  const int header = static_cast<int>(std::lround(24 * scale));
  const int maxRowWidth = static_cast<int>(std::lround(760 * scale));
  struct Placed {
    std::size_t index;
    int x, y;
  };
  // Names and headings go through the widgets' own text engine: Cairo's simple text would load
  // the system's whole font configuration for two strings.
  TextEngine& text = TextEngine::shared();
  const Font nameFont = Font::system(10);
  const Font headerFont = Font::system(15, FontWeight::bold);
  std::vector<Placed> placed;
  struct Header {
    std::string text;
    int y;
  };
  std::vector<Header> headers;
  int y = gap;
  int sheetWidth = 0;
  for (int band = 0; band < 2; ++band) {
    const bool lock = band == 1;
    std::vector<std::size_t> members;
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (isAccessory(items[i].job.family) == lock) members.push_back(i);
    }
    if (members.empty()) continue;
    headers.push_back({lock ? "Lock screen" : "Home screen", y});
    y += header;
    int x = gap;
    int rowHeight = 0;
    for (std::size_t i : members) {
      // A cell is as wide as its image or its name, whichever is wider.
      const std::string name = cellName(items[i]);
      const double nameWidth = text.measure({name, nameFont}).width * scale;
      const int imageWidth = static_cast<int>(std::ceil(items[i].list.size.width * scale));
      const int w = std::max(imageWidth, static_cast<int>(std::ceil(nameWidth)));
      const int h = static_cast<int>(std::ceil(items[i].list.size.height * scale));
      if (x > gap && x + w > maxRowWidth) {
        y += rowHeight + label + gap;
        x = gap;
        rowHeight = 0;
      }
      placed.push_back({i, x, y});
      x += w + gap;
      rowHeight = std::max(rowHeight, h);
      sheetWidth = std::max(sheetWidth, x);
    }
    y += rowHeight + label + gap;
  }
  const int sheetHeight = y;
  RasterImage sheet(std::max(sheetWidth, 1), sheetHeight);
  cairo_surface_t* surface = createSurfaceFor(sheet);
  cairo_t* cr = cairo_create(surface);
  cairo_set_source_rgb(cr, 0.80, 0.82, 0.86);  // a neutral wallpaper both appearances read on
  cairo_paint(cr);
  // A text's box with its top-left corner at (x, y) in pixels.
  CairoCanvas canvas(cr);
  auto drawText = [&](const std::string& s, Font font, double x, double y) {
    cairo_save(cr);
    cairo_set_source_rgb(cr, 0.1, 0.1, 0.12);
    cairo_translate(cr, x, y);
    cairo_scale(cr, scale, scale);
    text.draw(canvas, {s, font}, {0, 0});
    cairo_restore(cr);
  };
  for (const Header& h : headers) {
    const double height = text.measure({h.text, headerFont}).height * scale;
    drawText(h.text, headerFont, gap, h.y + (header - height) / 2);
  }
  for (const Placed& p : placed) {
    const Rendered& r = items[p.index];
    // Each widget in a group of its own, so that clearing its rounded corners leaves the
    // sheet's wallpaper showing instead of punching holes in it.
    cairo_save(cr);
    cairo_translate(cr, p.x, p.y);
    cairo_scale(cr, scale, scale);
    cairo_rectangle(cr, 0, 0, r.list.size.width, r.list.size.height);
    cairo_clip(cr);
    cairo_push_group(cr);
    drawDisplayList(cr, r.list, r.options);
    cairo_pop_group_to_source(cr);
    cairo_paint(cr);
    cairo_restore(cr);
    drawText(cellName(r), nameFont, p.x, p.y + std::ceil(r.list.size.height * scale) + 2 * scale);
  }
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  // The same fast encoder as the widget files (the sheet is large; Cairo's writer is slow).
  auto bytes = encodePng(sheet);
  if (!bytes) return Error{"cannot encode " + file.string() + ": " + bytes.error().message};
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes->data()),
            static_cast<std::streamsize>(bytes->size()));
  if (!out) return Error{"cannot write " + file.string()};
  return Ok{};
}

Status writeGalleryPage(const std::vector<Rendered>& items, const std::filesystem::path& file,
                        const std::string& appearance) {
  std::ofstream out(file);
  out << "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>KaloMate widgets</title>\n"
      << "<style>body{font-family:Inter,system-ui,sans-serif;background:"
      << (appearance == "dark" ? "#111" : "#cdd1d8")
      << ";margin:24px;color:" << (appearance == "dark" ? "#eee" : "#111")
      << "}section{display:flex;flex-wrap:wrap;gap:24px;align-items:flex-start}"
         "figure{margin:0}figcaption{font-size:12px;margin-top:6px;max-width:360px}"
         "code{font-size:11px}</style></head><body>\n"
      << "<p><a href=\"gallery.png\">Contact sheet</a></p>\n";
  for (int band = 0; band < 2; ++band) {
    const bool lock = band == 1;
    bool any = false;
    for (const Rendered& r : items)
      any = any || isAccessory(r.job.family) == lock;
    if (!any) continue;
    out << "<h2>" << (lock ? "Lock screen" : "Home screen") << "</h2>\n<section>\n";
    for (const Rendered& r : items) {
      if (isAccessory(r.job.family) != lock) continue;
      const Size size = r.list.size;
      out << "<figure><img src=\"" << htmlEscape(r.file) << "\" width=\"" << size.width
          << "\" height=\"" << size.height << "\" alt=\"" << htmlEscape(r.job.kind) << "\">"
          << "<figcaption><b>" << htmlEscape(r.job.kind) << "</b> · " << familyName(r.job.family);
      if (r.list.widgetURL) {
        out << "<br>tap: <code>" << htmlEscape(*r.list.widgetURL) << "</code>";
      }
      for (const std::string& url : linkUrls(r.list)) {
        out << "<br>link: <code>" << htmlEscape(url) << "</code>";
      }
      out << "</figcaption></figure>\n";
    }
    out << "</section>\n";
  }
  out << "</body></html>\n";
  if (!out) return Error{"cannot write " + file.string()};
  return Ok{};
}

int runRender(const RenderArgs& args, const Io& io) {
  // Options first, so a mistake is reported before anything is read or written.
  if (args.format != "png" && args.format != "svg" && args.format != "pdf" &&
      args.format != "json") {
    io.err << "kmwidget: --format: expected png, svg, pdf or json, got \""
           << echoedInput(args.format) << "\"\n";
    return kExitUsage;
  }
  if (!(args.scale > 0) || args.scale > 10) {
    io.err << "kmwidget: --scale: expected a number above 0 and at most 10\n";
    return kExitUsage;
  }
  ColorScheme scheme;
  if (args.appearance == "light") {
    scheme = ColorScheme::light;
  } else if (args.appearance == "dark") {
    scheme = ColorScheme::dark;
  } else {
    io.err << "kmwidget: --appearance: expected light or dark\n";
    return kExitUsage;
  }
  std::optional<RenderingMode> mode;
  if (args.mode) {
    mode = renderingModeFromName(*args.mode);
    if (!mode) {
      io.err << "kmwidget: --mode: expected fullColor, accented or vibrant\n";
      return kExitUsage;
    }
  }
  const auto device = phoneModelFromName(args.device);
  if (!device) {
    io.err << "kmwidget: --device: expected 393x852 or 430x932\n";
    return kExitUsage;
  }
  std::vector<WidgetFamily> families;
  for (const std::string& name : args.families) {
    const auto family = familyFromName(name);
    if (!family) {
      io.err << "kmwidget: --family: unknown family \"" << echoedInput(name) << "\"\n";
      return kExitUsage;
    }
    families.push_back(*family);
  }
  std::vector<std::string> kinds = args.kinds;
  for (const std::string& kind : kinds) {
    if (!widgetKindFromRawValue(kind)) {
      io.err << "kmwidget: --kind: unknown kind \"" << echoedInput(kind) << "\"\n";
      return kExitUsage;
    }
  }
  // The families each kind offers on this platform version, or those asked for.
  std::vector<WidgetJob> jobs;
  if (kinds.empty() && families.empty()) {
    jobs = bundleJobs();
  } else {
    if (kinds.empty()) {
      for (const char* kind : KMWidgetBundle::kKinds)
        kinds.emplace_back(kind);
    }
    for (const std::string& kind : kinds) {
      const std::vector<WidgetFamily> offered = supportedFamilies(kind);
      const std::vector<WidgetFamily>& chosen = families.empty() ? offered : families;
      for (WidgetFamily f : chosen)
        jobs.push_back({kind, f});
    }
  }
  if (jobs.empty()) return fail(io, "nothing to render");

  // The entry: the provider's snapshot, or the record file drawn at now.
  NutritionEntry entry;
  if (args.record) {
    auto decoded = readRecordFile(*args.record, io.in);
    if (!decoded) return fail(io, decoded.error().message);
    entry = NutritionEntry{now(), std::move(decoded).value()};
  } else {
    Provider{}.getSnapshot({}, [&entry](NutritionEntry e) { entry = std::move(e); });
  }

  auto layouter = WidgetLayouter::make(*device);
  if (!layouter) return fail(io, layouter.error().message);
  const AssetCatalog* assets = &(*layouter)->assets();
  std::vector<Rendered> rendered;
  rendered.reserve(jobs.size());
  for (const WidgetJob& job : jobs)
    rendered.push_back({job, (*layouter)->layout(entry, job), {}});

  if (args.format == "json") {
    auto dump = [&](const Rendered& r) {
      return displayListToJson(r.list, r.job.kind, familyName(r.job.family), scheme, assets);
    };
    if (rendered.size() == 1) {
      io.out << dump(rendered.front()).dump(2) << '\n';
      return kExitOk;
    }
    std::error_code ec;
    std::filesystem::create_directories(args.outDir, ec);
    for (Rendered& r : rendered) {
      r.file = r.job.kind + "." + std::string(familyName(r.job.family)) + ".json";
      std::ofstream out(std::filesystem::path(args.outDir) / r.file);
      out << dump(r).dump(2) << '\n';
      if (!out)
        return fail(io, "cannot write " + (std::filesystem::path(args.outDir) / r.file).string());
    }
    io.err << "kmwidget: wrote " << rendered.size() << " display lists to " << args.outDir << "\n";
    return kExitOk;
  }

  std::error_code ec;
  std::filesystem::create_directories(args.outDir, ec);
  if (ec) return fail(io, "cannot create " + args.outDir + ": " + ec.message());
  const std::filesystem::path dir(args.outDir);
  for (Rendered& r : rendered) {
    r.options = widgetRenderOptions(r.job.family, *device, scheme, mode, args.scale, *assets);
    r.file = r.job.kind + "." + std::string(familyName(r.job.family)) + "." + args.format;
  }

  // Every file is independent of the others: they are drawn on two threads. The contact sheet,
  // the longest, goes first so that the widgets share out evenly behind it.
  std::vector<std::function<Status()>> tasks;
  if (args.format == "png") {
    // An overview at one pixel per point at most: the widget files carry the detail, and the
    // sheet at the widgets' scale would double the time and memory of the whole run.
    tasks.emplace_back([&rendered, &dir, &args] {
      return writeContactSheet(rendered, dir / "gallery.png", std::min(args.scale, 1.0));
    });
  }
  for (const Rendered& r : rendered) {
    tasks.emplace_back([&r, &dir, &args]() -> Status {
      const std::filesystem::path file = dir / r.file;
      if (args.format != "png") return writeImageFile(r.list, r.options, file);
      auto bytes = encodePng(renderImage(r.list, r.options));
      if (!bytes) return Error{"cannot encode " + r.file + ": " + bytes.error().message};
      std::ofstream out(file, std::ios::binary);
      out.write(reinterpret_cast<const char*>(bytes->data()),
                static_cast<std::streamsize>(bytes->size()));
      if (!out) return Error{"cannot write " + file.string()};
      return Ok{};
    });
  }
  if (const Status done = runAll(tasks, 2); !done) return fail(io, done.error().message);
  const Status page = writeGalleryPage(rendered, dir / "gallery.html", args.appearance);
  if (!page) return fail(io, page.error().message);
  io.err << "kmwidget: wrote " << rendered.size() << " widgets to " << args.outDir << "/ ("
         << (args.format == "png" ? "gallery.png, " : "") << "gallery.html)\n";
  return kExitOk;
}

}  // namespace

void addRenderCommand(CLI::App& app, Action& action) {
  auto args = std::make_shared<RenderArgs>();
  CLI::App* cmd = app.add_subcommand(
      "render",
      "Draws the widgets from the shared store: every widget of the bundle in every family it "
      "offers, as <kind>.<family>.png in ./widgets/ with gallery.png and gallery.html");
  cmd->add_option("--kind", args->kinds, "A widget kind (repeatable; default: the bundle's)");
  cmd->add_option("--family", args->families,
                  "A family (repeatable; default: those the kind offers)");
  cmd->add_option("--format", args->format, "png (default), svg, pdf or json");
  cmd->add_option("--scale", args->scale, "Pixels per point for PNG (default 3)");
  cmd->add_option("--appearance", args->appearance, "light (default) or dark");
  cmd->add_option("--mode", args->mode,
                  "fullColor, accented or vibrant (default: vibrant on the lock screen, "
                  "fullColor on the home screen)");
  cmd->add_option("--device", args->device, "The phone: 393x852 (default) or 430x932");
  cmd->add_option("--record", args->record, "Draw this record file (JSON) instead of the store's");
  cmd->add_option("-o,--output", args->outDir, "Output folder (default ./widgets)");
  cmd->callback(
      [&action, args] { action = [args](const Io& io) { return runRender(*args, io); }; });
}

}  // namespace km::cli
