// The live host's own pieces, each alone: how long after a store write the change notice fires,
// how long a render worker takes for a tile, and what one scheduler wake-up costs.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "kmwidget/host/render_worker.h"
#include "model/shared_store.h"
#include "platform/foundation/store_change_notice.h"
#include "platform/foundation/user_defaults.h"
#include "platform/widgetkit/timeline_scheduler.h"

namespace km {
namespace {

using Clock = std::chrono::steady_clock;

// A day as the app writes it; `eaten` varies so that each write changes the stored bytes.
std::string record(int eaten) {
  return R"({"currentDayInt":20513,"currentDate":794050200.123456,"isLoggedIn":true,)"
         R"("energyCurrent":)" +
         std::to_string(eaten) +
         R"(,"energyTotal":2210.5,"fatCurrent":48.25,"fatTotal":73.66,)"
         R"("proteinCurrent":91.125,"proteinTotal":138.19,"carbsCurrent":176.75,)"
         R"("carbsTotal":248.6,"energyDays":[1834.25,2104.5,1950.125,2311.75,1702.5,2009.875,)"
         R"(1523.4567],"isKilojoules":false})";
}

std::filesystem::path freshFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "km-bench-XXXXXX").string();
  return ::mkdtemp(pattern.data());
}

// From the moment a write by another connection has committed to the moment the notice
// reports it (manual time: the write itself is the app's cost, not the host's).
void BM_StoreWriteToNotice(benchmark::State& state) {
  const std::filesystem::path dir = freshFolder();
  const std::string path = (dir / "store.sqlite").string();
  auto writer = UserDefaults::openFile(path, UserDefaults::Access::readWrite);
  if (!writer) std::abort();
  StoreChangeNotice notice(path);
  int eaten = 1000;
  for (auto _ : state) {
    const std::string json = record(++eaten);
    if (!writer->set(kNutritionSummaryKey, Data(json.begin(), json.end()))) std::abort();
    const auto committed = Clock::now();
    if (!notice.waitForChange(std::chrono::seconds(2))) {
      state.SkipWithError("no notice within 2 s");
      break;
    }
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - committed).count());
  }
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_StoreWriteToNotice)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200);

// One tile through a warm worker: request, layout, drawing, PNG encoding and the answer, at
// the phone's scale 3. The worker is this build's kmwidget.
void BM_WorkerRender(benchmark::State& state) {
  static const struct {
    const char* kind;
    WidgetFamily family;
  } kTiles[] = {{"small_energy", WidgetFamily::systemSmall},
                {"medium_history", WidgetFamily::systemMedium},
                {"medium_pie_macros", WidgetFamily::systemMedium},
                {"medium_buttons", WidgetFamily::systemMedium},
                {"lockscreen_button", WidgetFamily::accessoryCircular}};
  const auto& tile = kTiles[state.range(0)];
  cli::RenderWorkerPool::Options options;
  options.command = {KMWIDGET_EXE, "host-worker"};
  options.workers = 1;
  cli::RenderWorkerPool pool(options);
  cli::RenderRequest request;
  request.kind = tile.kind;
  request.family = tile.family;
  request.entryDate = request.now = Date{794050200};
  request.recordJson = record(1523);
  request.language = "en";
  request.timeZone = "Europe/Berlin";
  if (!pool.render(request).ok) std::abort();  // warm: fonts and images loaded
  for (auto _ : state) {
    const cli::RenderResult result = pool.render(request);
    if (!result.ok) state.SkipWithError(result.error.c_str());
    benchmark::DoNotOptimize(result.png.data());
  }
  state.SetLabel(std::string(tile.kind) + " " + std::string(familyName(tile.family)));
}
BENCHMARK(BM_WorkerRender)->DenseRange(0, 4)->UseRealTime()->Unit(benchmark::kMillisecond);

// One wake-up of the scheduler with the default screens' nine slots (five home-screen widgets,
// four lock-screen families), each with a seven-entry timeline: what the host's loop does at an
// entry's date.
void BM_SchedulerAdvance(benchmark::State& state) {
  TimelineScheduler scheduler;
  const Date start{794050200};
  for (SlotId slot = 1; slot <= 9; ++slot) {
    scheduler.addSlot(slot);
    std::vector<ScheduledEntry> entries;
    for (int h = 0; h < 7; ++h)
      entries.push_back({start.addingTimeInterval(h * 3600.0), slot * 100 + (h < 3 ? 0 : 1)});
    scheduler.advance(start);
    scheduler.setTimeline(slot, entries, TimelineReloadPolicy::atEnd(), start);
  }
  double t = 0;
  for (auto _ : state) {
    t = t >= 5 * 3600 ? 0 : t + 3600;  // every entry date of the timeline in turn
    benchmark::DoNotOptimize(scheduler.advance(start.addingTimeInterval(t)));
  }
}
BENCHMARK(BM_SchedulerAdvance);

}  // namespace
}  // namespace km
