// The render workers against the tool's own render command, and against workers that die, hang
// or never start.

#include "kmwidget/host/render_worker.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "fixtures/kmwidget_run.h"
#include "fixtures/temp_dir.h"
#include "platform/widgetkit/family_size.h"
#include "platform/widgetkit/widget_family.h"
#include "platform/widgetkit/widget_rendering_mode.h"

namespace km::cli {
namespace {

using km::testing::TempDir;
using std::chrono::milliseconds;

const Date kNow = Date{802'000'000};  // 2026-06-01, when the record below was written

std::string record(double energy) {
  return R"({"currentDayInt":1,"currentDate":802000000,"isLoggedIn":true,"energyCurrent":)" +
         std::to_string(energy) +
         R"(,"energyTotal":2000,"fatCurrent":20,"fatTotal":50,"proteinCurrent":30,)"
         R"("proteinTotal":60,"carbsCurrent":100,"carbsTotal":250,)"
         R"("energyDays":[1200,1500,0,900,2100,1800,640],"isKilojoules":false})";
}
const std::string kFatalRecord =
    R"({"currentDayInt":1,"currentDate":802000000,"isLoggedIn":true,"energyCurrent":1e30,)"
    R"("energyTotal":2000,"fatCurrent":1,"fatTotal":50,"proteinCurrent":1,"proteinTotal":50,)"
    R"("carbsCurrent":1,"carbsTotal":50,"energyDays":[0,0,0,0,0,0,0],"isKilojoules":false})";

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

bool processGone(pid_t pid) {
  return ::kill(pid, 0) != 0 && errno == ESRCH;
}

// Every test's workers and in-process renders read the same empty store.
class RenderWorkerTest : public ::testing::Test {
 protected:
  void SetUp() override { ::setenv("KMWIDGET_STORE", dir_.file("store.sqlite").c_str(), 1); }
  void TearDown() override { ::unsetenv("KMWIDGET_STORE"); }

  RenderRequest request(std::string kind, WidgetFamily family, std::string json) const {
    RenderRequest r;
    r.kind = std::move(kind);
    r.family = family;
    r.entryDate = r.now = kNow;
    r.recordJson = std::move(json);
    r.timeZone = "Europe/Berlin";
    return r;
  }
  static RenderWorkerPool::Options workers(int count = 2) {
    RenderWorkerPool::Options options;
    options.command = {KMWIDGET_EXE, "host-worker"};
    options.workers = count;
    return options;
  }

  TempDir dir_;
};

TEST_F(RenderWorkerTest, TilesAreTheRenderCommandsImages) {
  // Kind, family, appearance, rendering mode, language, platform, device and scale.
  struct Case {
    const char *kind, *family, *appearance, *mode, *language;
    int os;
    const char* device;
    double scale;
  } cases[] = {
      {"small_energy", "systemSmall", "light", nullptr, "en", 17, "393x852", 3},
      {"medium_history", "systemMedium", "dark", nullptr, "de", 16, "430x932", 2},
      {"medium_buttons", "systemMedium", "light", "accented", "ar", 17, "393x852", 1},
      {"small_energy", "accessoryCircular", "light", nullptr, nullptr, 17, "393x852", 3},
  };
  const std::string recordFile = dir_.file("record.json");
  std::ofstream(recordFile) << record(1234.5);
  RenderWorkerPool pool(workers());
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.kind) + " " + c.family);
    RenderRequest r = request(c.kind, familyFromName(c.family).value(), record(1234.5));
    r.appearance = std::string(c.appearance) == "dark" ? ColorScheme::dark : ColorScheme::light;
    if (c.mode) r.renderingMode = renderingModeFromName(c.mode);
    if (c.language) r.language = c.language;
    r.os = PlatformVersion{c.os, 0};
    r.device = phoneModelFromName(c.device).value();
    r.scale = c.scale;
    const RenderResult tile = pool.render(r);
    ASSERT_TRUE(tile.ok) << tile.error;

    std::vector<std::string> args = {"--now", "2026-06-01T00:00:00+02:00", "--tz", "Europe/Berlin",
                                     "--os",  std::to_string(c.os)};
    if (c.language) args.insert(args.end(), {"--language", c.language});
    const std::string out = dir_.file("out");
    args.insert(args.end(), {"render", "--record", recordFile, "--kind", c.kind, "--family",
                             c.family, "--device", c.device, "--appearance", c.appearance,
                             "--scale", std::to_string(c.scale), "-o", out});
    if (c.mode) args.insert(args.end(), {"--mode", c.mode});
    const auto run = km::testing::kmwidget(args);
    ASSERT_EQ(run.code, 0) << run.err;
    const std::string file = std::string(c.kind) + "." + c.family;
    EXPECT_EQ(tile.png, readFile(std::filesystem::path(out) / (file + ".png")));

    args.insert(args.end(), {"--format", "json"});
    const auto json = km::testing::kmwidget(args);
    ASSERT_EQ(json.code, 0) << json.err;
    EXPECT_EQ(nlohmann::json::parse(tile.displayListJson), nlohmann::json::parse(json.out));
  }
}

TEST_F(RenderWorkerTest, AFatalWidgetCostsItsWorkerOnly) {
  RenderWorkerPool pool(workers(1));
  const RenderResult good =
      pool.render(request("small_energy", WidgetFamily::accessoryInline, record(500)));
  ASSERT_TRUE(good.ok) << good.error;
  const std::vector<pid_t> before = pool.workerPids();
  ASSERT_EQ(before.size(), 1u);

  const RenderResult fatal =
      pool.render(request("small_energy", WidgetFamily::accessoryInline, kFatalRecord));
  EXPECT_FALSE(fatal.ok);
  EXPECT_TRUE(fatal.png.empty());
  EXPECT_EQ(fatal.fatalReason,
            "Double value cannot be converted to Int64 because the result would be outside the "
            "representable range (1e+30)");
  EXPECT_EQ(fatal.error, fatal.fatalReason);
  EXPECT_TRUE(processGone(before[0]));  // reaped, not a zombie

  // A bad request is answered without losing the worker; the next tile draws as before.
  const RenderResult unknown =
      pool.render(request("no_such_kind", WidgetFamily::systemSmall, record(500)));
  EXPECT_FALSE(unknown.ok);
  EXPECT_EQ(unknown.error, "unknown kind \"no_such_kind\"");
  EXPECT_TRUE(unknown.fatalReason.empty());
  const RenderResult badRecord =
      pool.render(request("small_energy", WidgetFamily::systemSmall, "{\"currentDayInt\":"));
  EXPECT_FALSE(badRecord.ok);
  EXPECT_NE(badRecord.error.find("the record does not decode"), std::string::npos);
  const std::vector<pid_t> restarted = pool.workerPids();
  const RenderResult again =
      pool.render(request("small_energy", WidgetFamily::accessoryInline, record(500)));
  ASSERT_TRUE(again.ok) << again.error;
  EXPECT_EQ(again.png, good.png);
  EXPECT_EQ(pool.workerPids(), restarted);
  EXPECT_NE(restarted, before);
}

TEST_F(RenderWorkerTest, WorkersThatHangOrDieAreReaped) {
  struct Case {
    std::vector<std::string> command;
    std::string error;
  } cases[] = {
      {{"/bin/sleep", "30"}, "timed out after 300 ms"},
      {{"/bin/false"}, "render worker exited with status 1"},
      {{"/bin/sh", "-c", "kill -9 $$"}, "render worker killed by signal 9 (Killed)"},
      {{"/nonexistent/worker"}, "cannot start a render worker"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.command[0]);
    std::vector<pid_t> pids;
    {
      RenderWorkerPool pool({c.command, 1, milliseconds(300)});
      pids = pool.workerPids();
      for (int attempt = 0; attempt < 2; ++attempt) {
        const RenderResult r =
            pool.render(request("small_energy", WidgetFamily::systemSmall, "{}"));
        EXPECT_FALSE(r.ok);
        EXPECT_EQ(r.error.substr(0, c.error.size()), c.error);
        const auto now = pool.workerPids();
        pids.insert(pids.end(), now.begin(), now.end());
      }
    }
    for (pid_t pid : pids)
      EXPECT_TRUE(processGone(pid)) << pid;
  }
}

TEST_F(RenderWorkerTest, DestroyingThePoolStopsEveryWorker) {
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{KMWIDGET_EXE, "host-worker"},
        std::vector<std::string>{"/bin/sleep", "30"}}) {
    SCOPED_TRACE(command[0]);
    std::vector<pid_t> pids;
    const auto start = std::chrono::steady_clock::now();
    {
      RenderWorkerPool pool({command, 3, milliseconds(5000)});
      pids = pool.workerPids();
      EXPECT_EQ(pids.size(), 3u);
    }
    // Bounded so that a pool that waits for a worker that ignores its socket cannot pass.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    for (pid_t pid : pids)
      EXPECT_TRUE(processGone(pid)) << pid;
  }
}

TEST_F(RenderWorkerTest, RendersFromManyThreadsShareTheWorkers) {
  RenderWorkerPool pool(workers(2));
  const RenderResult reference =
      pool.render(request("medium_pie_macros", WidgetFamily::systemMedium, record(800)));
  ASSERT_TRUE(reference.ok) << reference.error;
  std::vector<RenderResult> results(6);
  {
    std::vector<std::jthread> threads;
    for (RenderResult& result : results)
      threads.emplace_back([&] {
        result = pool.render(request("medium_pie_macros", WidgetFamily::systemMedium, record(800)));
      });
  }
  for (const RenderResult& r : results)
    EXPECT_EQ(r.png, reference.png) << r.error;
  EXPECT_EQ(pool.workerPids().size(), 2u);
}

}  // namespace
}  // namespace km::cli
