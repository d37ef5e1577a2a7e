// Caller-side costs of the tracking client: userLogout in production without a debugger, and
// handing a report to the inspector service while the service cannot be reached.

#include <benchmark/benchmark.h>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "analytics/avo.h"
#include "analytics/inspector_report.h"
#include "analytics/inspector_service_client.h"

namespace km {
namespace {

class SilentDestination : public AvoCustomDestination {
 public:
  void setEnvironment(AvoEnv) override {}
  void make(AvoEnv, std::optional<std::string>) override {}
  void logEvent(const std::string&, const AvoDictionary&) override {}
  void setUserProperties(const std::string&, const AvoDictionary&) override {}
  void identify(const std::string&) override {}
  void unidentify() override { benchmark::ClobberMemory(); }
  void setUserPropertiesOnce(const std::string&, const AvoDictionary&) override {}
  void flush() override {}
};

class AcceptingInspector : public DynamicObject {
 public:
  bool respondsTo(std::string_view) const override { return true; }
  AvoValue perform(std::string_view, std::span<const AvoValue>) override { return {}; }
};

void BM_UserLogoutProdNoDebugger(benchmark::State& state) {
  Avo avo(AvoEnv::prod, std::make_shared<SilentDestination>(), nullptr,
          std::make_shared<AcceptingInspector>(), false, false);
  for (auto _ : state)
    avo.userLogout();
}
BENCHMARK(BM_UserLogoutProdNoDebugger)->Repetitions(10)->ReportAggregatesOnly(true);

// A port on the loopback interface where nothing listens: every transfer is refused, and the
// queue (about 64 reports' worth of bytes) is kept full by the benchmark loop, so most posts are
// the drop path: the oldest report makes room for the new one.
InspectorServiceOptions unreachable() {
  return InspectorServiceOptions{.endpoint = "http://127.0.0.1:9/i", .queueBytes = 64 * 330};
}

void BM_PostReportServiceUnreachable(benchmark::State& state) {
  InspectorServiceClient client(unreachable());
  const std::string body =
      makeInvocationReport("bJaNBZcQB_",
                           "7a511eb16509e2871e4ad48c20f910992363de3bd1932a30a93cbcaa51a55e09", true,
                           {}, std::chrono::system_clock::now())
          .dump();
  for (auto _ : state)
    benchmark::DoNotOptimize(client.post(body));
  const auto stats = client.stats();
  state.counters["accepted"] = static_cast<double>(stats.accepted);
  state.counters["dropped"] = static_cast<double>(stats.dropped);
}
BENCHMARK(BM_PostReportServiceUnreachable)->Repetitions(10)->ReportAggregatesOnly(true);

// The accepted path: a queue large enough that no post in the run is dropped, so every post
// copies the body into the queue and wakes the worker.
void BM_PostReportAccepted(benchmark::State& state) {
  InspectorServiceClient client(
      InspectorServiceOptions{.endpoint = "http://127.0.0.1:9/i", .queueBytes = 64u << 20});
  const std::string body =
      makeInvocationReport("bJaNBZcQB_",
                           "7a511eb16509e2871e4ad48c20f910992363de3bd1932a30a93cbcaa51a55e09", true,
                           {}, std::chrono::system_clock::now())
          .dump();
  for (auto _ : state)
    benchmark::DoNotOptimize(client.post(body));
  state.counters["dropped"] = static_cast<double>(client.stats().dropped);
}
BENCHMARK(BM_PostReportAccepted)->Iterations(100000)->Repetitions(10)->ReportAggregatesOnly(true);

// The floor to compare against: copying the same body into a mutex-guarded bounded deque.
void BM_EnqueueOnlyBaseline(benchmark::State& state) {
  std::mutex mutex;
  std::deque<std::string> queue;
  const std::string body =
      makeInvocationReport("bJaNBZcQB_",
                           "7a511eb16509e2871e4ad48c20f910992363de3bd1932a30a93cbcaa51a55e09", true,
                           {}, std::chrono::system_clock::now())
          .dump();
  for (auto _ : state) {
    std::lock_guard lock(mutex);
    if (queue.size() >= 64) queue.pop_front();
    queue.push_back(body);
  }
}
BENCHMARK(BM_EnqueueOnlyBaseline)->Repetitions(10)->ReportAggregatesOnly(true);

// The floor for the accepted path: the same number of bodies copied into a growing deque.
void BM_EnqueueOnlyGrowingBaseline(benchmark::State& state) {
  std::mutex mutex;
  std::deque<std::string> queue;
  const std::string body =
      makeInvocationReport("bJaNBZcQB_",
                           "7a511eb16509e2871e4ad48c20f910992363de3bd1932a30a93cbcaa51a55e09", true,
                           {}, std::chrono::system_clock::now())
          .dump();
  for (auto _ : state) {
    std::lock_guard lock(mutex);
    queue.push_back(body);
  }
}
BENCHMARK(BM_EnqueueOnlyGrowingBaseline)
    ->Iterations(100000)
    ->Repetitions(10)
    ->ReportAggregatesOnly(true);

// What a development event pays in total: building the report and handing it over.
void BM_BuildAndPostReportServiceUnreachable(benchmark::State& state) {
  InspectorServiceClient client(unreachable());
  for (auto _ : state) {
    auto report = makeInvocationReport(
        "bJaNBZcQB_", "7a511eb16509e2871e4ad48c20f910992363de3bd1932a30a93cbcaa51a55e09", true, {},
        std::chrono::system_clock::now());
    benchmark::DoNotOptimize(client.post(report.dump()));
  }
}
BENCHMARK(BM_BuildAndPostReportServiceUnreachable)->Repetitions(10)->ReportAggregatesOnly(true);

}  // namespace
}  // namespace km
