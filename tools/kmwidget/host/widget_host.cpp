// `kmwidget host`: the phone's widget host, live. One thread (the loop) owns the widgets'
// lifecycle: it asks the provider for placeholders, snapshots and timelines, drives the
// scheduler from the host's clock, notices store changes and hands entries to the render
// workers. The HTTP server's threads only read what the loop published, and pass everything
// that changes state to the loop as a task.

#include "kmwidget/host/widget_host.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <thread>

#include "host/km_widget.h"
#include "host/provider.h"
#include "host/widget_kind.h"
#include "kmwidget/host/arrangement.h"
#include "kmwidget/host/http_server.h"
#include "kmwidget/host/page_assets.h"
#include "kmwidget/host/render_worker.h"
#include "kmwidget/host/tap.h"
#include "model/shared_store.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/bundle.h"
#include "platform/foundation/clock.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/store_change_notice.h"
#include "platform/foundation/user_defaults.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/platform_version.h"
#include "platform/widgetkit/timeline_scheduler.h"
#include "platform/widgetkit/widget_rendering_mode.h"
#include "resources/widget_utils.h"

extern char** environ;

namespace km::host {

using cli::RenderRequest;
using cli::RenderResult;
using cli::RenderWorkerPool;
using nlohmann::json;

namespace {

constexpr std::size_t kTapsKept = 50;

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

std::string localClockText() {
  const auto t = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm tm{};
  localtime_r(&t, &tm);
  char buf[16];
  std::strftime(buf, sizeof buf, "%H:%M:%S", &tm);
  return buf;
}

std::uint64_t fnv1a(std::string_view text) {
  std::uint64_t h = 1469598103934665603ull;
  for (unsigned char c : text) {
    h ^= c;
    h *= 1099511628211ull;
  }
  return h;
}

class Host {
 public:
  Host(const HostOptions& options, std::ostream& log);
  int run();

 private:
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

Host::Host(const HostOptions& options, std::ostream& log)
    : options_(options), log_(log), clock_(options.start, options.speed) {}

// The drawing settings in force: the page's choices, the platform version and the language.
Host::DrawSettings Host::drawSettings() const {
  const HostSettings& s = arrangement_.settings();
  DrawSettings d;
  const std::string appearance = s.appearance == "system" ? browserAppearance_ : s.appearance;
  d.appearance = appearance == "dark" ? ColorScheme::dark : ColorScheme::light;
  d.lockMode = renderingModeFromName(s.lockMode);
  d.os = PlatformVersion{s.osMajor, 0};
  d.device = phoneModelFromName(s.device).value_or(kDefaultPhoneModel);
  d.language = options_.language ? options_.language : storeLanguage();
  return d;
}

std::optional<std::string> Host::storeLanguage() const {
  auto store = UserDefaults::openFile(options_.storePath, UserDefaults::Access::read);
  if (!store) return std::nullopt;
  return store->string(kLanguageUserSelectedKey);
}

bool Host::offered(const PlacedWidget& w) const {
  const ScopedPlatformVersion version(PlatformVersion{arrangement_.settings().osMajor, 0});
  const auto families = supportedFamilies(w.kind);
  return std::find(families.begin(), families.end(), w.family) != families.end();
}

RenderRequest Host::requestFor(const std::string& kind, WidgetFamily family,
                               const NutritionEntry& entry) const {
  const DrawSettings d = drawSettings();
  RenderRequest r;
  r.kind = kind;
  r.family = family;
  r.entryDate = entry.date;
  // An entry is drawn when its date comes, so its date is the view's today.
  r.now = entry.date;
  r.recordJson = encodeSummary(entry.nutrition);
  r.appearance = d.appearance;
  if (isAccessory(family)) r.renderingMode = d.lockMode;
  r.language = d.language;
  r.os = d.os;
  r.device = d.device;
  r.timeZone = currentTimeZoneId();
  r.scale = 3;
  return r;
}

std::uint64_t Host::contentKey(const PlacedWidget& w, const NutritionEntry& entry) const {
  const RenderRequest r = requestFor(w.kind, w.family, entry);
  // The local day of the entry stands for its date: views compare the record's day with today.
  const std::string day = formatISO8601(entry.date).substr(0, 10);
  std::ostringstream key;
  key << r.kind << '|' << familyName(r.family) << '|' << r.recordJson << '|' << day << '|'
      << static_cast<int>(r.appearance) << '|'
      << (r.renderingMode ? static_cast<int>(*r.renderingMode) : -1) << '|' << r.os.major << '|'
      << phoneModelName(r.device) << '|' << r.language.value_or("");
  return fnv1a(key.str());
}

// New slots show a placeholder at once, then the snapshot, then their timeline; all the new
// slots go through each step together, so that the page fills as fast as the workers draw.
void Host::startSlots(const std::vector<PlacedWidget>& added) {
  if (added.empty()) return;
  const ScopedNow now(clock_.now());
  const ScopedPlatformVersion version(drawSettings().os);
  const Provider provider;
  auto context = [this](const PlacedWidget& w) {
    const Size size = familySize(w.family, drawSettings().device);
    return TimelineProviderContext{w.family, size.width, size.height, false};
  };
  std::vector<Job> placeholders, snapshots;
  for (const PlacedWidget& w : added) {
    slots_[w.id] = Slot{};
    placeholders.push_back({w.id, w.kind, w.family, provider.placeholder(context(w))});
  }
  renderJobs(placeholders);
  publish();
  for (const PlacedWidget& w : added) {
    provider.getSnapshot(context(w), [&](NutritionEntry e) {
      snapshots.push_back({w.id, w.kind, w.family, std::move(e)});
    });
    slots_[w.id].phase = "snapshot";
  }
  renderJobs(snapshots);
  publish();
  for (const PlacedWidget& w : added)
    scheduler_.addSlot(w.id);
}

// Brings the scheduler's slots in line with the arrangement and the platform version.
void Host::syncSlots() {
  std::vector<SlotId> wanted;
  std::vector<PlacedWidget> added;
  for (const PlacedWidget& w : arrangement_.widgets()) {
    if (!offered(w)) continue;
    wanted.push_back(w.id);
    if (!scheduler_.hasSlot(w.id)) added.push_back(w);
  }
  for (SlotId id : scheduler_.slots()) {
    if (std::find(wanted.begin(), wanted.end(), id) == wanted.end()) {
      scheduler_.removeSlot(id);
      slots_.erase(id);
      std::lock_guard lock(tilesMutex_);
      tiles_.erase(id);
    }
  }
  startSlots(added);
}

void Host::requestTimeline(SlotId id) {
  const PlacedWidget* w = arrangement_.find(id);
  if (!w) return;
  Slot& slot = slots_[id];
  const Date requestedAt = clock_.now();
  const ScopedNow now(requestedAt);
  const ScopedPlatformVersion version(drawSettings().os);
  const Size size = familySize(w->family, drawSettings().device);
  Provider{}.getTimeline(
      {w->family, size.width, size.height, false}, [&](Timeline<NutritionEntry> timeline) {
        std::vector<ScheduledEntry> scheduled;
        for (const NutritionEntry& e : timeline.entries)
          scheduled.push_back({e.date, contentKey(*w, e)});
        // The scheduler keeps them in date order; so do we.
        std::stable_sort(
            timeline.entries.begin(), timeline.entries.end(),
            [](const NutritionEntry& a, const NutritionEntry& b) { return a.date < b.date; });
        slot.entries = std::move(timeline.entries);
        scheduler_.setTimeline(id, std::move(scheduled), timeline.policy, requestedAt);
      });
  ++slot.requests;
  slot.phase = "timeline";
}

// Draws the jobs on the workers; each tile is published as soon as it is drawn (the caller
// publishes after the last), so one slow widget does not hold the others back.
void Host::renderJobs(const std::vector<Job>& jobs) {
  if (jobs.empty()) return;
  const std::size_t n = jobs.size();
  std::vector<RenderRequest> requests;
  for (const Job& job : jobs)
    requests.push_back(requestFor(job.kind, job.family, job.entry));
  std::vector<RenderResult> results(n);
  std::mutex doneMutex;
  std::condition_variable doneChanged;
  std::vector<std::size_t> done;  // indices drawn and not yet stored
  // As many at once as there are workers; the pool queues the rest.
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < n; ++i) {
    threads.emplace_back([&, i] {
      RenderResult result = pool_->render(requests[i]);
      std::lock_guard lock(doneMutex);
      results[i] = std::move(result);
      done.push_back(i);
      doneChanged.notify_one();
    });
  }
  for (std::size_t stored = 0; stored < n;) {
    std::vector<std::size_t> ready;
    {
      std::unique_lock lock(doneMutex);
      doneChanged.wait(lock, [&] { return !done.empty(); });
      ready.swap(done);
    }
    {
      std::lock_guard lock(tilesMutex_);
      for (std::size_t i : ready) {
        RenderResult& result = results[i];
        auto t = std::make_shared<Tile>();
        t->version = nextVersion_++;
        if (result.ok) {
          t->png = std::move(result.png);
          t->displayListJson = std::move(result.displayListJson);
        } else {
          t->error = result.fatalReason.empty() ? result.error : result.fatalReason;
          log_ << "kmwidget host: " << jobs[i].kind << " " << familyName(jobs[i].family)
               << " could not be drawn: " << t->error << std::endl;
        }
        if (auto it = slots_.find(jobs[i].id); it != slots_.end()) it->second.failed = !result.ok;
        tiles_[jobs[i].id] = std::move(t);
      }
    }
    stored += ready.size();
    if (stored < n) publish();
  }
  for (std::thread& t : threads)
    t.join();
}

// Does what the scheduler says is due now; returns when to look again.
std::optional<Date> Host::advance() {
  for (int round = 0;; ++round) {
    const TimelineScheduler::Step step = scheduler_.advance(clock_.now());
    for (SlotId id : step.requestTimeline)
      requestTimeline(id);
    std::vector<Job> jobs;
    for (const TimelineScheduler::Show& show : step.show) {
      const PlacedWidget* w = arrangement_.find(show.slot);
      auto it = slots_.find(show.slot);
      if (!w || it == slots_.end() || show.index < 0 ||
          show.index >= static_cast<int>(it->second.entries.size()))
        continue;
      jobs.push_back({w->id, w->kind, w->family, it->second.entries[show.index]});
    }
    renderJobs(jobs);
    if (!jobs.empty() || !step.requestTimeline.empty()) publish();
    // New timelines are shown by the next step; nothing else can be due at the same moment.
    if (step.requestTimeline.empty() || round > 2) return step.wakeAt;
  }
}

void Host::reloadAll() {
  scheduler_.reloadAll();
  // A widget that failed is tried again with its new timeline, even if the record is the same.
  for (auto& [id, slot] : slots_) {
    if (slot.failed) scheduler_.redrawAll();
  }
}

void Host::redrawAll() {
  scheduler_.redrawAll();
}

void Host::onStoreChanged() {
  log_ << "kmwidget host: the shared store changed; reloading every timeline" << std::endl;
  reloadAll();
}

int Host::reloadKind(const std::string& kind) {
  int n = 0;
  bool failed = false;
  for (const PlacedWidget& w : arrangement_.widgets()) {
    if (!kind.empty() && w.kind != kind) continue;
    if (!scheduler_.hasSlot(w.id)) continue;
    scheduler_.reload(w.id);
    failed = failed || slots_[w.id].failed;
    ++n;
  }
  if (failed) scheduler_.redrawAll();
  return n;
}

void Host::saveArrangement() {
  if (Status s = arrangement_.save(arrangementPath(options_.storePath)); !s)
    log_ << "kmwidget host: " << s.error().message << std::endl;
}

json Host::stateJson() const {
  const DrawSettings d = drawSettings();
  const Date now = clock_.now();
  const HostSettings& s = arrangement_.settings();
  json widgets = json::array();
  std::map<std::uint64_t, std::shared_ptr<const Tile>> tiles;
  {
    std::lock_guard lock(tilesMutex_);
    tiles = tiles_;
  }
  const ScopedPlatformVersion version(d.os);
  for (const PlacedWidget& w : arrangement_.widgets()) {
    if (!offered(w)) continue;
    const Size size = familySize(w.family, d.device);
    json item = {{"id", w.id},
                 {"kind", w.kind},
                 {"family", familyName(w.family)},
                 {"lock", isAccessory(w.family)},
                 {"name", KMWidget{w.kind}.configuration().displayName},
                 {"width", size.width},
                 {"height", size.height},
                 {"tile", nullptr},
                 {"error", nullptr}};
    if (auto it = tiles.find(w.id); it != tiles.end()) {
      item["tile"] =
          "/tile/" + std::to_string(w.id) + ".png?v=" + std::to_string(it->second->version);
      if (!it->second->error.empty()) item["error"] = it->second->error;
    }
    json timeline = {{"entries", json::array()},
                     {"shown", nullptr},
                     {"nextReload", nullptr},
                     {"policy", nullptr},
                     {"requests", 0}};
    if (auto it = slots_.find(w.id); it != slots_.end()) {
      item["phase"] = it->second.phase;
      timeline["requests"] = it->second.requests;
    }
    if (auto info = scheduler_.info(w.id)) {
      for (const ScheduledEntry& e : info->entries)
        timeline["entries"].push_back({{"date", formatISO8601(e.date)}});
      if (info->shownIndex) timeline["shown"] = *info->shownIndex;
      if (info->nextReload) timeline["nextReload"] = formatISO8601(*info->nextReload);
      if (info->requestedAt) timeline["policy"] = policyName(info->policy);
    }
    item["timeline"] = timeline;
    widgets.push_back(item);
  }
  json taps = json::array();
  for (const Tap& t : taps_) {
    taps.push_back({{"time", t.time},
                    {"widgetTime", t.widgetTime},
                    {"id", t.widget.id},
                    {"kind", t.widget.kind},
                    {"family", familyName(t.widget.family)},
                    {"url", t.url ? json(*t.url) : json(nullptr)}});
  }
  const Size screen = screenSize(d.device);
  json sizes = json::object();
  for (WidgetFamily f : kAllWidgetFamilies) {
    const Size fs = familySize(f, d.device);
    sizes[std::string(familyName(f))] = {{"width", fs.width}, {"height", fs.height}};
  }
  // The zone's offset now, so the page can show the host's wall-clock time.
  const std::string iso = formatISO8601(now);
  int offset = 0;
  if (iso.size() >= 6 && iso.back() != 'Z') {
    const std::string tail = iso.substr(iso.size() - 6);
    offset = (tail[0] == '-' ? -1 : 1) *
             (std::stoi(tail.substr(1, 2)) * 3600 + std::stoi(tail.substr(4, 2)) * 60);
  }
  return {{"clock",
           {{"now", iso},
            {"unixSeconds", now.timeIntervalSince1970()},
            {"speed", clock_.speed()},
            {"utcOffsetSeconds", offset},
            {"timeZone", currentTimeZoneId()}}},
          {"settings",
           {{"appearance", s.appearance},
            {"effectiveAppearance", d.appearance == ColorScheme::dark ? "dark" : "light"},
            {"lockMode", s.lockMode},
            {"os", s.osMajor},
            {"device", s.device},
            {"language", d.language.value_or("en")}}},
          {"languages", Bundle::main().localizations()},
          {"screen", {{"width", screen.width}, {"height", screen.height}}},
          {"sizes", sizes},
          {"widgets", widgets},
          {"taps", taps}};
}

void Host::publish() {
  if (server_) server_->publish(stateJson().dump());
}

void Host::openUrl(const std::string& url) {
  const std::string command = options_.openWith.value_or("xdg-open");
  // The command may carry its own arguments; the URL goes in as one argument of its own.
  const std::string script = command + " \"$1\"";
  std::vector<std::string> args = {"/bin/sh", "-c", script, "sh", url};
  std::vector<char*> argv;
  for (std::string& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv.data(), environ) == 0) {
    openers_.push_back(pid);
  } else {
    log_ << "kmwidget host: cannot run " << command << std::endl;
  }
}

void Host::reapOpeners() {
  std::erase_if(openers_, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
}

json Host::catalogue() {
  const DrawSettings d = drawSettings();
  const ScopedNow now(clock_.now());
  const ScopedPlatformVersion version(d.os);
  const ScopedLanguageOverride language(d.language);
  json widgets = json::array();
  std::vector<Job> jobs;
  std::vector<std::string> keys;
  for (const KMWidget& widget : KMWidgetBundle{}.body()) {
    const WidgetConfiguration c = widget.configuration();
    json families = json::array();
    for (WidgetFamily f : c.supportedFamilies) {
      const Size size = familySize(f, d.device);
      const std::string key = c.kind + "." + std::string(familyName(f));
      families.push_back(
          {{"family", familyName(f)},
           {"lock", isAccessory(f)},
           {"width", size.width},
           {"height", size.height},
           {"preview", "/preview/" + key + ".png?v=" + std::to_string(nextVersion_)}});
      // The gallery previews each family from a snapshot, as the phone's sheet does.
      Provider{}.getSnapshot({f, size.width, size.height, true}, [&](NutritionEntry e) {
        jobs.push_back({0, c.kind, f, std::move(e)});
        keys.push_back(key);
      });
    }
    widgets.push_back({{"kind", c.kind},
                       {"displayName", c.displayName},
                       {"description", c.description},
                       {"families", families}});
  }
  std::vector<RenderResult> results(jobs.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    threads.emplace_back([&, i] {
      results[i] = pool_->render(requestFor(jobs[i].kind, jobs[i].family, jobs[i].entry));
    });
  }
  for (std::thread& t : threads)
    t.join();
  std::lock_guard lock(tilesMutex_);
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    auto t = std::make_shared<Tile>();
    t->png = std::move(results[i].png);
    t->error = results[i].ok ? "" : results[i].error;
    previews_[keys[i]] = std::move(t);
  }
  return {{"widgets", widgets}, {"os", d.os.major}};
}

HttpResponse Host::addWidget(const json& body) {
  const std::string kind = body.value("kind", "");
  const auto family = familyFromName(body.value("family", ""));
  if (!widgetKindFromRawValue(kind))
    return HttpResponse::error(400, "unknown kind \"" + kind + "\"");
  if (!family) return HttpResponse::error(400, "unknown family");
  PlacedWidget w{0, kind, *family};
  if (!offered(w)) {
    return HttpResponse::error(400, kind + " does not offer " + std::string(familyName(*family)) +
                                        " on platform " +
                                        std::to_string(arrangement_.settings().osMajor));
  }
  const std::uint64_t id = arrangement_.add(kind, *family);
  saveArrangement();
  syncSlots();
  return HttpResponse::json(200, json{{"id", id}}.dump());
}

HttpResponse Host::changeSettings(const json& body) {
  HostSettings s = arrangement_.settings();
  const HostSettings before = s;
  const std::string browserBefore = browserAppearance_;
  auto pick = [&body](const char* key, std::string& field,
                      std::initializer_list<const char*> allowed) -> std::optional<std::string> {
    if (!body.contains(key)) return std::nullopt;
    const json& v = body[key];
    for (const char* a : allowed) {
      if (v.is_string() && v.get<std::string>() == a) {
        field = a;
        return std::nullopt;
      }
    }
    return std::string(key) + ": not one of the allowed values";
  };
  std::optional<std::string> error;
  if (!error) error = pick("appearance", s.appearance, {"system", "light", "dark"});
  if (!error) error = pick("browserAppearance", browserAppearance_, {"light", "dark"});
  if (!error) error = pick("lockMode", s.lockMode, {"vibrant", "accented", "fullColor"});
  if (!error) error = pick("device", s.device, {"393x852", "430x932"});
  if (!error && body.contains("os")) {
    const json& v = body["os"];
    if (!v.is_number_integer() || v.get<int>() < 15 || v.get<int>() > 17) {
      error = "os: expected 15, 16 or 17";
    } else {
      s.osMajor = v.get<int>();
    }
  }
  std::optional<std::string> language;
  if (!error && body.contains("language")) {
    const auto languages = Bundle::main().localizations();
    const json& v = body["language"];
    if (!v.is_string() ||
        std::find(languages.begin(), languages.end(), v.get<std::string>()) == languages.end()) {
      error = "language: not a language of the bundle";
    } else {
      language = v.get<std::string>();
    }
  }
  if (error) {
    browserAppearance_ = browserBefore;
    return HttpResponse::error(400, *error);
  }
  if (language) {
    // As the app does: the choice goes into the shared store, and the store's change reloads.
    auto store = UserDefaults::openFile(options_.storePath, UserDefaults::Access::readWrite);
    if (!store) return HttpResponse::error(500, store.error().message);
    if (Status st = store->set(kLanguageUserSelectedKey, *language); !st)
      return HttpResponse::error(500, st.error().message);
  }
  arrangement_.setSettings(s);
  if (!(s == before)) saveArrangement();
  if (s.osMajor != before.osMajor) syncSlots();
  if (!(s == before) || browserAppearance_ != browserBefore) {
    // New settings draw differently: every timeline is asked again, with new keys.
    reloadAll();
    redrawAll();
  }
  return HttpResponse::json(200, json{{"ok", true}}.dump());
}

HttpResponse Host::tap(const json& body) {
  if (!body.value("id", json()).is_number_unsigned() || !body.value("x", json()).is_number() ||
      !body.value("y", json()).is_number())
    return HttpResponse::error(400, "expected {\"id\", \"x\", \"y\"}");
  const PlacedWidget* w = arrangement_.find(body["id"].get<std::uint64_t>());
  if (!w) return HttpResponse::error(404, "no such widget");
  const auto t = tile(w->id);
  std::optional<std::string> url;
  if (t && t->error.empty()) url = urlAtPoint(t->displayListJson, body["x"], body["y"]);
  if (url) openUrl(*url);
  taps_.push_back({localClockText(), formatISO8601(clock_.now()), *w, url});
  while (taps_.size() > kTapsKept)
    taps_.pop_front();
  return HttpResponse::json(200, json{{"url", url ? json(*url) : json(nullptr)}}.dump());
}

// The JSON API; runs on the loop.
HttpResponse Host::handleApi(const HttpRequest& request) {
  json body = json::object();
  if (!request.body.empty()) {
    body = json::parse(request.body, nullptr, /*allow_exceptions=*/false);
    if (body.is_discarded() || !body.is_object())
      return HttpResponse::error(400, "the body is not a JSON object");
  }
  const std::string& p = request.path;
  if (p == "/api/state") return HttpResponse::json(200, stateJson().dump());
  if (p == "/api/catalogue") return HttpResponse::json(200, catalogue().dump());
  if (request.method != "POST") return HttpResponse::error(405, p + " takes POST");
  if (p == "/api/widgets") return addWidget(body);
  if (p == "/api/remove" || p == "/api/move") {
    if (!body.value("id", json()).is_number_unsigned())
      return HttpResponse::error(400, "expected a widget \"id\"");
    const std::uint64_t id = body["id"];
    bool done = false;
    if (p == "/api/remove") {
      done = arrangement_.remove(id);
    } else {
      if (!body.value("index", json()).is_number_unsigned())
        return HttpResponse::error(400, "expected an \"index\"");
      done = arrangement_.move(id, body["index"].get<std::size_t>());
    }
    if (!done) return HttpResponse::error(404, "no such widget");
    saveArrangement();
    syncSlots();
    return HttpResponse::json(200, json{{"ok", true}}.dump());
  }
  if (p == "/api/settings") return changeSettings(body);
  if (p == "/api/tap") return tap(body);
  if (p == "/api/reload") {
    const json kind = body.value("kind", json(""));
    if (!kind.is_string()) return HttpResponse::error(400, "kind: expected a string");
    if (!kind.get<std::string>().empty() && !widgetKindFromRawValue(kind.get<std::string>()))
      return HttpResponse::error(400, "unknown kind \"" + kind.get<std::string>() + "\"");
    return HttpResponse::json(200, json{{"reloaded", reloadKind(kind)}}.dump());
  }
  return HttpResponse::error(404, "no such API: " + p);
}

std::shared_ptr<const Tile> Host::tile(std::uint64_t id) {
  std::lock_guard lock(tilesMutex_);
  auto it = tiles_.find(id);
  return it == tiles_.end() ? nullptr : it->second;
}

HttpResponse Host::runOnLoop(std::function<HttpResponse()> task) {
  std::packaged_task<HttpResponse()> packaged(std::move(task));
  std::future<HttpResponse> answer = packaged.get_future();
  {
    std::lock_guard lock(tasksMutex_);
    if (closing_) return HttpResponse::error(503, "the host is stopping");
    tasks_.push_back(std::move(packaged));
  }
  const std::uint64_t one = 1;
  (void)!write(wakeFd_, &one, sizeof one);
  if (answer.wait_for(std::chrono::seconds(20)) != std::future_status::ready)
    return HttpResponse::error(503, "the host is busy");
  try {
    return answer.get();
  } catch (const std::future_error&) {
    return HttpResponse::error(503, "the host is stopping");
  }
}

HttpResponse Host::route(const HttpRequest& request) {
  const std::string& p = request.path;
  if (request.method == "GET") {
    if (p == "/" || p == "/index.html") return pageAsset("index.html");
    if (p == "/app.js") return pageAsset("app.js");
    if (p == "/style.css") return pageAsset("style.css");
    auto image = [](const std::shared_ptr<const Tile>& t) {
      if (!t) return HttpResponse::error(404, "no such tile");
      if (!t->error.empty()) return HttpResponse::error(404, "not drawn: " + t->error);
      HttpResponse r;
      r.contentType = "image/png";
      r.body = t->png;
      return r;
    };
    const std::string tilePrefix = "/tile/";
    if (p.starts_with(tilePrefix) && p.ends_with(".png")) {
      const std::string number = p.substr(tilePrefix.size(), p.size() - tilePrefix.size() - 4);
      if (number.empty() || number.size() > 18 ||
          !std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return HttpResponse::error(400, "a tile is named by its widget's number");
      return image(tile(std::stoull(number)));
    }
    const std::string previewPrefix = "/preview/";
    if (p.starts_with(previewPrefix) && p.ends_with(".png")) {
      const std::string key = p.substr(previewPrefix.size(), p.size() - previewPrefix.size() - 4);
      std::shared_ptr<const Tile> t;
      {
        std::lock_guard lock(tilesMutex_);
        if (auto it = previews_.find(key); it != previews_.end()) t = it->second;
      }
      return image(t);
    }
  }
  if (p.starts_with("/api/")) {
    if (request.method != "GET" && request.method != "POST")
      return HttpResponse::error(405, "GET or POST only");
    return runOnLoop([this, request] { return handleApi(request); });
  }
  return HttpResponse::error(404, "not found: " + p);
}

int Host::run() {
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  signalFd_ = signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK);

  auto saved = Arrangement::load(arrangementPath(options_.storePath));
  if (saved) {
    arrangement_ = std::move(*saved);
  } else {
    const ScopedPlatformVersion version(PlatformVersion{options_.osMajor.value_or(17), 0});
    arrangement_ = Arrangement::fresh();
    HostSettings s;
    s.osMajor = options_.osMajor.value_or(17);
    arrangement_.setSettings(s);
  }
  if (options_.osMajor) {
    HostSettings s = arrangement_.settings();
    s.osMajor = *options_.osMajor;
    arrangement_.setSettings(s);
  }
  saveArrangement();

  RenderWorkerPool::Options poolOptions;
  poolOptions.command = {"/proc/self/exe", "--store", options_.storePath, "host-worker"};
  poolOptions.workers = options_.workers;
  pool_ = std::make_unique<RenderWorkerPool>(poolOptions);
  notice_ = std::make_unique<StoreChangeNotice>(options_.storePath);

  HttpServer::Options serverOptions;
  serverOptions.port = options_.port;
  auto server = HttpServer::start(serverOptions, [this](const HttpRequest& r) { return route(r); });
  if (!server) {
    log_ << "kmwidget host: " << server.error().message << std::endl;
    return 1;
  }
  server_ = std::move(*server);
  const std::string hostFile = hostFilePath(options_.storePath);
  {
    std::ofstream out(hostFile, std::ios::trunc);
    out << json{{"port", server_->port()}, {"pid", getpid()}}.dump() << "\n";
  }
  log_ << "kmwidget host: serving http://127.0.0.1:" << server_->port() << "/ (store "
       << options_.storePath << ", " << arrangement_.widgets().size() << " widgets"
       << "); Ctrl-C stops it" << std::endl;
  if (clock_.speed() != 1)
    log_ << "kmwidget host: the clock runs at " << clock_.speed() << "x" << std::endl;

  syncSlots();
  publish();
  for (bool running = true; running;) {
    const std::optional<Date> wakeAt = advance();
    int timeoutMs = -1;
    if (wakeAt) {
      const auto wait = clock_.realTimeAt(*wakeAt) - std::chrono::steady_clock::now();
      const auto ms = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
      timeoutMs = static_cast<int>(std::clamp<long long>(ms, 0, 3'600'000));
    }
    // A tapped URL's opener is reaped soon after it ends.
    if (!openers_.empty()) timeoutMs = timeoutMs < 0 ? 500 : std::min(timeoutMs, 500);
    pollfd fds[3] = {{signalFd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}, {notice_->fd(), POLLIN, 0}};
    const int ready = poll(fds, notice_->fd() >= 0 ? 3 : 2, timeoutMs);
    reapOpeners();
    if (ready <= 0) continue;
    if (fds[0].revents & POLLIN) {
      signalfd_siginfo info{};
      (void)!read(signalFd_, &info, sizeof info);
      log_ << "kmwidget host: " << strsignal(static_cast<int>(info.ssi_signo)) << "; stopping"
           << std::endl;
      running = false;
      continue;
    }
    if (fds[2].revents & POLLIN && notice_->consume()) onStoreChanged();
    if (fds[1].revents & POLLIN) {
      std::uint64_t count = 0;
      (void)!read(wakeFd_, &count, sizeof count);
      for (;;) {
        std::packaged_task<HttpResponse()> task;
        {
          std::lock_guard lock(tasksMutex_);
          if (tasks_.empty()) break;
          task = std::move(tasks_.front());
          tasks_.pop_front();
        }
        task();
        // Whatever the page asked may have changed what it shows.
        advance();
        publish();
      }
    }
  }

  {
    // Requests still waiting for the loop are answered "stopping" (their tasks are dropped).
    std::lock_guard lock(tasksMutex_);
    closing_ = true;
    tasks_.clear();
  }
  server_->stop();
  pool_.reset();
  for (pid_t pid : openers_)
    waitpid(pid, nullptr, 0);
  // The file is ours only while it names this process.
  std::ifstream in(hostFile);
  const json current = json::parse(in, nullptr, false);
  if (current.is_object() && current.value("pid", 0) == getpid()) std::filesystem::remove(hostFile);
  close(signalFd_);
  close(wakeFd_);
  log_ << "kmwidget host: stopped" << std::endl;
  return 0;
}

}  // namespace

std::string hostFilePath(const std::string& storePath) {
  return storePath + ".host.json";
}

int runHost(const HostOptions& options, std::ostream& log) {
  // Before any thread starts: the stop signals are taken from a descriptor by the loop, never
  // delivered to a thread at random.
  sigset_t stopSignals, previous;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, &previous);
  int status = 0;
  {
    Host host(options, log);
    status = host.run();
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return status;
}

}  // namespace km::host
