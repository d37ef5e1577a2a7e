// The widgets' lifecycle on the loop: which slots exist, their placeholders, snapshots and
// timelines from the provider, what the scheduler says is due, and drawing entries as tiles on
// the render workers.

#include <algorithm>
#include <condition_variable>
#include <sstream>
#include <thread>

#include "host/provider.h"
#include "host/widget_kind.h"
#include "kmwidget/host/live_host.h"
#include "model/shared_store.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"
#include "platform/widgetkit/widget_rendering_mode.h"

namespace km::host {
namespace {

std::uint64_t fnv1a(std::string_view text) {
  std::uint64_t h = 1469598103934665603ull;
  for (unsigned char c : text) {
    h ^= c;
    h *= 1099511628211ull;
  }
  return h;
}

}  // namespace

using cli::RenderRequest;
using cli::RenderResult;
using nlohmann::json;

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

}  // namespace km::host
