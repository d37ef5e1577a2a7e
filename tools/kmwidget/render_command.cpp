// `kmwidget render`: draws the widgets from the shared store (or a record file) as images, a
// contact sheet and an HTML page, or dumps their display lists as JSON.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
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
#include "kmwidget/contact_sheet.h"
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
#include "platform/ui/renderer.h"
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
  DisplayList list;  // for JSON; drawn widgets are laid out just before drawing and not kept
  RenderOptions options;
  std::string file;  // file name inside the output folder; empty when not written
  // What the gallery page shows of a drawn widget.
  Size size;
  std::optional<std::string> widgetURL;
  std::vector<std::string> links;
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

// Lays the widgets out on this thread (the layouter's texts are per thread) just ahead of the
// drawing, and draws them on up to `threads` threads, this one included: at most a few display
// lists exist at once, however many widgets there are. `draw` is told which thread runs it (0 to
// threads - 1, for buffers of its own). Returns the first failure in widget order (the other
// widgets are still drawn: their files are good).
Status layOutAndDraw(const std::vector<std::size_t>& order,
                     const std::function<DisplayList(std::size_t)>& layOut,
                     const std::function<Status(std::size_t, const DisplayList&, unsigned)>& draw,
                     unsigned threads) {
  constexpr std::size_t kAhead = 2;  // display lists waiting to be drawn
  std::vector<Status> results(order.size(), Status{Ok{}});
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<std::pair<std::size_t, DisplayList>> ready;  // (position in order, list)
  std::size_t laidOut = 0;
  // Draws the first waiting list; the lock is held on entry and on return.
  auto drawOne = [&](std::unique_lock<std::mutex>& lock, unsigned worker) {
    auto [position, list] = std::move(ready.front());
    ready.pop_front();
    changed.notify_all();
    lock.unlock();
    results[position] = draw(order[position], list, worker);
    lock.lock();
  };
  {
    std::vector<std::jthread> helpers;
    for (unsigned t = 1; t < threads; ++t) {
      helpers.emplace_back([&, t] {
        std::unique_lock lock(mutex);
        while (true) {
          changed.wait(lock, [&] { return !ready.empty() || laidOut == order.size(); });
          if (ready.empty()) return;
          drawOne(lock, t);
        }
      });
    }
    std::unique_lock lock(mutex);
    while (laidOut < order.size() || !ready.empty()) {
      if (laidOut < order.size() && ready.size() < kAhead) {
        const std::size_t position = laidOut;
        lock.unlock();
        DisplayList list = layOut(order[position]);
        lock.lock();
        ready.emplace_back(position, std::move(list));
        ++laidOut;
        changed.notify_all();
      } else {
        drawOne(lock, 0);
      }
    }
    changed.notify_all();
  }  // joins the helpers
  for (const Status& r : results) {
    if (!r) return r;
  }
  return Ok{};
}

std::string cellName(const Rendered& r) {
  return r.job.kind + " · " + std::string(familyName(r.job.family));
}

Status writeGalleryPage(const std::vector<Rendered>& items, const std::filesystem::path& file,
                        const std::string& appearance) {
  std::ofstream out(file);
  out << "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>KaloMate "
         "widgets</title>\n"
      << "<style>body{font-family:Inter,system-ui,sans-serif;background:"
      << (appearance == "dark" ? "#111" : "#cdd1d8")
      << ";margin:24px;color:" << (appearance == "dark" ? "#eee" : "#111")
      << "}section{display:flex;flex-wrap:wrap;gap:24px;align-items:flex-start}"
         "figure{margin:0}figcaption{font-size:12px;margin-top:6px;max-width:"
         "360px}"
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
      const Size size = r.size;
      out << "<figure><img src=\"" << htmlEscape(r.file) << "\" width=\"" << size.width
          << "\" height=\"" << size.height << "\" alt=\"" << htmlEscape(r.job.kind) << "\">"
          << "<figcaption><b>" << htmlEscape(r.job.kind) << "</b> · " << familyName(r.job.family);
      if (r.widgetURL) {
        out << "<br>tap: <code>" << htmlEscape(*r.widgetURL) << "</code>";
      }
      for (const std::string& url : r.links) {
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
    rendered.push_back({job, {}, {}, {}, {}, {}, {}});

  if (args.format == "json") {
    for (Rendered& r : rendered)
      r.list = (*layouter)->layout(entry, r.job);
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
    r.size = familySize(r.job.family, *device);
  }

  // Every file is independent of the others: they are drawn on two threads. Each thread draws into
  // one image of its own, reused from widget to widget. The contact sheet is composed from those
  // same images, shrunk, and written as its rows fill, so the widgets are drawn in the sheet's
  // order.
  const unsigned threads = std::min(2u, std::max(1u, std::thread::hardware_concurrency()));
  std::vector<RasterImage> images(threads);
  std::optional<ContactSheet> sheet;
  std::vector<std::size_t> order(rendered.size());
  for (std::size_t i = 0; i < order.size(); ++i)
    order[i] = i;
  if (args.format == "png") {
    // An overview at one pixel per point at most: the widget files carry the detail. The images
    // shrink by a whole factor, so each sheet pixel is the mean of a block of image pixels.
    const int shrink = std::max(1, static_cast<int>(std::ceil(args.scale - 1e-9)));
    std::vector<SheetCell> cells;
    for (const Rendered& r : rendered) {
      const PixelSize pixels = imagePixelSize(r.size, r.options.scale);
      cells.push_back({cellName(r), isAccessory(r.job.family), pixels.width, pixels.height});
    }
    sheet.emplace(cells, shrink, args.scale / shrink);
    if (const Status opened = sheet->open(dir / "gallery.png"); !opened) {
      return fail(io, opened.error().message);
    }
    order = sheet->drawingOrder();
  }
  auto layOut = [&](std::size_t i) {
    Rendered& r = rendered[i];
    DisplayList list = (*layouter)->layout(entry, r.job);
    r.size = list.size;
    r.widgetURL = list.widgetURL;
    r.links = linkUrls(list);
    return list;
  };
  auto draw = [&](std::size_t i, const DisplayList& list, unsigned worker) -> Status {
    const Rendered& r = rendered[i];
    const std::filesystem::path file = dir / r.file;
    if (args.format != "png") return writeImageFile(list, r.options, file);
    RasterImage& image = images[worker];
    renderImage(list, r.options, image);
    sheet->add(i, image);
    // With a worker per core, each image is encoded on its own worker's thread.
    auto bytes = encodePng(image, 1, threads > 1 ? PngThreads::one : PngThreads::upToTwo);
    if (!bytes) return Error{"cannot encode " + r.file + ": " + bytes.error().message};
    return writeFileBytes(file, *bytes);
  };
  const Status done = layOutAndDraw(order, layOut, draw, threads);
  images.clear();
  if (sheet) {
    if (const Status written = sheet->finish(); !written) return fail(io, written.error().message);
  }
  if (!done) return fail(io, done.error().message);
  const Status page = writeGalleryPage(rendered, dir / "gallery.html", args.appearance);
  if (!page) return fail(io, page.error().message);
  io.err << "kmwidget: wrote " << rendered.size() << " widgets to " << args.outDir << "/ ("
         << (args.format == "png" ? "gallery.png, " : "") << "gallery.html)\n";
  return kExitOk;
}

}  // namespace

void addRenderCommand(CLI::App& app, Action& action) {
  auto args = std::make_shared<RenderArgs>();
  CLI::App* cmd =
      app.add_subcommand("render",
                         "Draws the widgets from the shared store: every widget of the "
                         "bundle in every family it "
                         "offers, as <kind>.<family>.png in ./widgets/ with gallery.png "
                         "and gallery.html");
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
