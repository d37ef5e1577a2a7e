// The cost of what the host asks for on every widget refresh: one store read with its decoding,
// and a whole timeline (seven reads and decodes), against a store holding a realistic record.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "host/provider.h"
#include "model/read_summary.h"
#include "model/shared_store.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"
#include "resources/widget_utils.h"

namespace km {
namespace {

// A day as the app writes it: fractional nutrients, a full week of history.
const std::string kRecord =
    R"({"currentDayInt":20513,"currentDate":794050200.123456,"isLoggedIn":true,)"
    R"("energyCurrent":1523.4567,"energyTotal":2210.5,"fatCurrent":48.25,"fatTotal":73.66,)"
    R"("proteinCurrent":91.125,"proteinTotal":138.19,"carbsCurrent":176.75,"carbsTotal":248.6,)"
    R"("energyDays":[1834.25,2104.5,1950.125,2311.75,1702.5,2009.875,1523.4567],)"
    R"("isKilojoules":false})";

// One store for the whole program, in a fresh temporary folder.
class BenchStore {
 public:
  BenchStore() {
    std::string pattern = (std::filesystem::temp_directory_path() / "km-bench-XXXXXX").string();
    dir_ = ::mkdtemp(pattern.data());
    path_ = (dir_ / "store.sqlite").string();
    auto store = UserDefaults::openFile(path_, UserDefaults::Access::readWrite);
    if (!store.ok() ||
        !store->set(kNutritionSummaryKey, Data(kRecord.begin(), kRecord.end())).ok()) {
      std::abort();
    }
  }
  ~BenchStore() {
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }
  const std::string& path() const { return path_; }

 private:
  std::filesystem::path dir_;
  std::string path_;
};

BenchStore& benchStore() {
  static BenchStore store;
  return store;
}

void BM_DecodeSummary(benchmark::State& state) {
  for (auto _ : state) {
    auto decoded = decodeSummary(kRecord);
    benchmark::DoNotOptimize(decoded);
  }
}
BENCHMARK(BM_DecodeSummary);

void BM_OpenStoreAndReadBlob(benchmark::State& state) {
  const std::string& path = benchStore().path();
  for (auto _ : state) {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::read);
    auto blob = store->data(kNutritionSummaryKey);
    benchmark::DoNotOptimize(blob);
  }
}
BENCHMARK(BM_OpenStoreAndReadBlob);

void BM_ReadSummary(benchmark::State& state) {
  ScopedStorePath path(benchStore().path());
  for (auto _ : state) {
    SummaryRead read = readSummaryWithSource();
    if (read.source != SummarySource::stored) state.SkipWithError("the record did not decode");
    benchmark::DoNotOptimize(read);
  }
}
BENCHMARK(BM_ReadSummary);

void BM_Timeline(benchmark::State& state) {
  ScopedStorePath path(benchStore().path());
  ScopedTimeZone zone("Europe/Berlin");
  const Provider provider;
  for (auto _ : state) {
    provider.getTimeline({}, [&](Timeline<NutritionEntry> timeline) {
      if (timeline.entries.size() != 7) state.SkipWithError("not seven entries");
      benchmark::DoNotOptimize(timeline);
    });
  }
}
BENCHMARK(BM_Timeline);

// The calendar work of a timeline: the current calendar and seven hour additions.
void BM_CalendarSevenHours(benchmark::State& state) {
  ScopedTimeZone zone("Europe/Berlin");
  const Date base{794097000};
  for (auto _ : state) {
    benchmark::DoNotOptimize(Calendar::current().addingHoursSeries(base, 7));
  }
}
BENCHMARK(BM_CalendarSevenHours);

// One widget text: the chosen language from the store, then the strings table lookup.
void BM_LocalizedString(benchmark::State& state) {
  ScopedStorePath path(benchStore().path());
  {
    auto store = UserDefaults::openFile(benchStore().path(), UserDefaults::Access::readWrite);
    if (!store.ok() || !store->set(kLanguageUserSelectedKey, std::string("de")).ok()) std::abort();
  }
  for (auto _ : state)
    benchmark::DoNotOptimize(localizedString("ios_widgets_1"));
}
BENCHMARK(BM_LocalizedString);

}  // namespace
}  // namespace km
