#pragma once

// Renders widget tiles in separate worker processes, so that a widget that stops the process
// (a fatal error on a record it cannot draw) never takes the host down.

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/date.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/rendering_mode.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/platform_version.h"
#include "platform/widgetkit/widget_family.h"

namespace km::cli {

// One tile to draw: the entry, and the settings `kmwidget render` would be run with. A tile
// drawn from a request is pixel-identical to
//   kmwidget --now <now> --tz <timeZone> --os <os> --language <language>
//            render --record <recordJson in a file> --kind <kind> --family <family>
//                   --device <device> --appearance <appearance> [--mode <renderingMode>]
//                   --scale <scale>
// (that command draws the record as an entry dated now, so pass entryDate == now for that).
struct RenderRequest {
  std::string kind;  // a widget kind string
  WidgetFamily family = WidgetFamily::systemSmall;
  Date entryDate;          // the entry's date
  Date now;                // the moment the view is drawn at (its "today")
  std::string recordJson;  // the entry's WidgetNutritionSummary, as encodeSummary() writes it
  ColorScheme appearance = ColorScheme::light;
  // nullopt: as `kmwidget render` chooses (vibrant on the lock screen, else full colour).
  std::optional<RenderingMode> renderingMode;
  // The language chosen in the app; nullopt: the worker reads it from its store.
  std::optional<std::string> language;
  PlatformVersion os;
  PhoneModel device = kDefaultPhoneModel;
  std::string timeZone;  // an IANA id; empty: the worker's default
  double scale = 3;
};

struct RenderResult {
  bool ok = false;
  std::string png;              // the tile's PNG bytes (when ok)
  std::string displayListJson;  // as `kmwidget render --format json` writes it (links, widgetURL)
  // When the widget stopped the worker with a fatal error: the reason after "Fatal error: ".
  std::string fatalReason;
  // Why it failed, for a log or the page: the fatal reason, "timed out after …", "worker
  // exited …", or a bad request (unknown kind, a record that does not decode).
  std::string error;
};

// A small pool of persistent worker processes. Each worker is the tool itself re-executed
// with the hidden `host-worker` subcommand and speaks over a socket pair on its descriptor 3;
// being persistent, it keeps the asset catalogue and the font caches warm between tiles.
// A worker that dies (fatal widget, crash) is reaped and restarted for the next tile; a render
// that takes longer than the time-out kills its worker.
//
// Workers run in their own process group (a Ctrl-C at the terminal reaches the host, which stops
// them) with default signal dispositions and mask. They are this object's children: the host
// must not reap children it did not start itself (no waitpid(-1), no SIGCHLD set to ignore).
class RenderWorkerPool {
 public:
  struct Options {
    // The worker's command line; its first element is the program run. The default re-executes
    // this program. Global options (such as --store) go before "host-worker".
    std::vector<std::string> command{"/proc/self/exe", "host-worker"};
    int workers = 2;
    std::chrono::milliseconds timeout{5000};
  };

  // Starts the workers at once (their start-up overlaps the host's).
  explicit RenderWorkerPool(Options options);
  RenderWorkerPool() : RenderWorkerPool(Options{}) {}

  // Stops and reaps every worker within a second: closes their sockets (a worker exits when
  // its socket closes), then kills those still there. No render may be running.
  ~RenderWorkerPool();
  RenderWorkerPool(const RenderWorkerPool&) = delete;
  RenderWorkerPool& operator=(const RenderWorkerPool&) = delete;

  // Draws one tile. Thread-safe: up to `workers` renders run at once, others wait for a free
  // worker. Blocks the calling thread only, for at most about the time-out plus the wait.
  RenderResult render(const RenderRequest& request);

  // The process ids of the running workers (for the page and for tests).
  std::vector<pid_t> workerPids() const;

  struct Worker;

 private:
  Options options_;
  mutable std::mutex mutex_;
  std::condition_variable idle_;
  std::vector<std::unique_ptr<Worker>> workers_;
};

// The worker's side: reads requests from descriptor `fd` and answers them until the socket
// closes. Returns the exit code. Runs in a process of its own (`kmwidget host-worker`).
int runRenderWorker(int fd);

}  // namespace km::cli
