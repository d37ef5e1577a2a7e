#pragma once

// The live host's state and its one loop thread: the widgets' slots and timelines, the drawn
// tiles the page fetches, the taps, and the tasks the HTTP threads hand to the loop. Private to
// the host: its members are defined by concern in widget_host.cpp (the loop),
// host_timelines.cpp (slots, timelines and drawing), host_state.cpp (the page's state) and
// host_api.cpp (the HTTP side).

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "kmwidget/host/arrangement.h"
#include "kmwidget/host/http_server.h"
#include "kmwidget/host/render_worker.h"
#include "kmwidget/host/widget_host.h"
#include "model/nutrition_entry.h"
#include "platform/foundation/clock.h"
#include "platform/foundation/store_change_notice.h"
#include "platform/ui/asset_catalog.h"
#include "platform/ui/rendering_mode.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/platform_version.h"
#include "platform/widgetkit/timeline_scheduler.h"

namespace km::host {

// A drawn tile as the page fetches it.
struct Tile {
  std::string png;
  std::string displayListJson;
  std::string error;  // the fatal reason when the widget could not be drawn
  std::uint64_t version = 0;
};

struct Tap {
  std::string time;        // real local time
  std::string widgetTime;  // the host's clock
  PlacedWidget widget;
  std::optional<std::string> url;
};

class Host {
 public:
  Host(const HostOptions& options, std::ostream& log);
  int run();

 private:
  using RenderRequest = cli::RenderRequest;
  using RenderWorkerPool = cli::RenderWorkerPool;
  using json = nlohmann::json;

  // Everything the drawing of a slot's entry depends on besides the record and the day.
  struct DrawSettings {
    ColorScheme appearance = ColorScheme::light;
    std::optional<RenderingMode> lockMode;
    PlatformVersion os;
    PhoneModel device = kDefaultPhoneModel;
    std::optional<std::string> language;
  };
  struct Slot {
    std::string phase = "placeholder";  // placeholder, snapshot, timeline
    std::vector<NutritionEntry> entries;
    int requests = 0;
    bool failed = false;
  };
  struct Job {
    std::uint64_t id;
    std::string kind;
    WidgetFamily family;
    NutritionEntry entry;
  };

  // Loop side.
  void startSlots(const std::vector<PlacedWidget>& added);
  void syncSlots();
  void requestTimeline(SlotId id);
  void renderJobs(const std::vector<Job>& jobs);
  RenderRequest requestFor(const std::string& kind, WidgetFamily family,
                           const NutritionEntry& entry) const;
  std::uint64_t contentKey(const PlacedWidget& w, const NutritionEntry& entry) const;
  std::optional<Date> advance();
  void onStoreChanged();
  void reloadAll();
  void redrawAll();
  void publish();
  json stateJson() const;
  DrawSettings drawSettings() const;
  std::optional<std::string> storeLanguage() const;
  bool offered(const PlacedWidget& w) const;
  void saveArrangement();
  void openUrl(const std::string& url);
  void reapOpeners();

  // API, on the loop.
  HttpResponse handleApi(const HttpRequest& request);
  json catalogue();
  HttpResponse addWidget(const json& body);
  HttpResponse changeSettings(const json& body);
  HttpResponse tap(const json& body);
  int reloadKind(const std::string& kind);

  // HTTP side.
  HttpResponse route(const HttpRequest& request);
  HttpResponse runOnLoop(std::function<HttpResponse()> task);
  std::shared_ptr<const Tile> tile(std::uint64_t id);

  HostOptions options_;
  std::ostream& log_;
  Clock clock_;
  std::unique_ptr<StoreChangeNotice> notice_;
  TimelineScheduler scheduler_;
  std::unique_ptr<RenderWorkerPool> pool_;
  Arrangement arrangement_;
  std::string browserAppearance_ = "light";
  std::map<SlotId, Slot> slots_;
  std::deque<Tap> taps_;
  std::vector<pid_t> openers_;
  int wakeFd_ = -1;
  int signalFd_ = -1;

  // Shared with the HTTP threads.
  mutable std::mutex tilesMutex_;
  std::map<std::uint64_t, std::shared_ptr<const Tile>> tiles_;
  std::map<std::string, std::shared_ptr<const Tile>> previews_;
  std::uint64_t nextVersion_ = 1;

  std::mutex tasksMutex_;
  std::deque<std::packaged_task<HttpResponse()>> tasks_;
  bool closing_ = false;

  std::unique_ptr<HttpServer> server_;
};

}  // namespace km::host
