// `validate` against real renders: generated records, each validated and rendered by the real
// tool with the same options; a record has stops exactly when its render aborts. Seeded, so a
// failure repeats. KM_VALIDATE_RECORDS sets how many records (500 by default; 5000 for a long
// run), KM_VALIDATE_SEED the seed, and KMWIDGET another build of the tool.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "fixtures/temp_dir.h"

namespace km {
namespace {

using km::testing::TempDir;
using nlohmann::json;

struct Process {
  int status;
  std::string out;
  std::string err;
  bool aborted() const { return WIFSIGNALED(status); }
};

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Runs the kmwidget tool with `args`, its output captured in files of `dir`.
Process kmwidget(const std::vector<std::string>& args, const TempDir& dir) {
  const std::string out = dir.file("stdout"), err = dir.file("stderr");
  const char* tool = std::getenv("KMWIDGET");
  std::vector<char*> argv{const_cast<char*>(tool && *tool ? tool : KMWIDGET_PATH)};
  for (const std::string& a : args)
    argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int o = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int e = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(o, STDOUT_FILENO);
    ::dup2(e, STDERR_FILENO);
    ::alarm(120);  // a hang fails the run rather than the whole suite
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return {status, slurp(out), slurp(err)};
}

// Numbers that matter to the widgets' arithmetic: zeros, signs, the 32- and 64-bit edges,
// the tiniest and the largest doubles.
const double kEdges[] = {0,
                         -0.0,
                         1,
                         -4,
                         9,
                         0.5,
                         1e-300,
                         -1e-300,
                         1e300,
                         -1e300,
                         1e308,
                         2147483647,
                         2147483648.0,
                         3e9,
                         -3e9,
                         9007199254740992.0,
                         9.2e18,
                         9223372036854775808.0,
                         1e19,
                         -1e19,
                         5e-324};

class RecordGenerator {
 public:
  explicit RecordGenerator(std::uint64_t seed) : random_(seed) {}

  json next(double now) {
    json r = json::object();
    r["currentDayInt"] = std::uniform_int_distribution<std::int32_t>()(random_);
    // Mostly around now; sometimes beyond the same-day test's 32-bit days.
    r["currentDate"] = chance(0.9) ? now + uniform(-3 * 86400, 86400)
                                   : pick<double>({4e9, -4e9, 1e12, -1e12, 1e300});
    r["isLoggedIn"] = chance(0.9);
    for (const char* key : {"energyCurrent", "energyTotal", "fatCurrent", "fatTotal",
                            "proteinCurrent", "proteinTotal", "carbsCurrent", "carbsTotal"}) {
      r[key] = amount();
    }
    if (chance(0.1)) {
      // Macro energies that sum to almost nothing: 9·4 − 4·9 + tiny protein.
      r["carbsCurrent"] = 9;
      r["fatCurrent"] = -4;
      r["proteinCurrent"] = pick<double>({1e-300, 0, -1e-300, 5e-324});
    }
    json days = json::array();
    const int count = chance(0.7) ? 7 : std::uniform_int_distribution<int>(0, 9)(random_);
    for (int i = 0; i < count; ++i)
      days.push_back(amount());
    r["energyDays"] = days;
    r["isKilojoules"] = chance(0.5);
    return r;
  }

  std::vector<std::string> options() {
    return {"--os",
            pick<std::string>({"15", "16", "17"}),
            "--tz",
            pick<std::string>({"UTC", "Europe/Berlin", "Asia/Tokyo", "America/Los_Angeles"}),
            "--language",
            pick<std::string>({"en", "de", "ar", "fi"})};
  }

  bool chance(double p) { return std::bernoulli_distribution(p)(random_); }

 private:
  double uniform(double lo, double hi) { return std::uniform_real_distribution<>(lo, hi)(random_); }
  template <typename T>
  T pick(std::initializer_list<T> values) {
    auto it = values.begin();
    std::advance(it, std::uniform_int_distribution<std::size_t>(0, values.size() - 1)(random_));
    return *it;
  }
  double amount() {
    if (chance(0.85)) return std::floor(uniform(0, 3000) * 10) / 10;
    return kEdges[std::uniform_int_distribution<std::size_t>(0, std::size(kEdges) - 1)(random_)];
  }

  std::mt19937_64 random_;
};

std::size_t envNumber(const char* name, std::size_t fallback) {
  const char* v = std::getenv(name);
  return v && *v ? std::strtoull(v, nullptr, 10) : fallback;
}

struct Case {
  json record;
  std::vector<std::string> options;
  bool allKinds;
};

// Rows: validate found stops or not; columns: the render aborted or not.
struct Confusion {
  std::atomic<std::size_t> stopAbort{0}, stopDrew{0}, validAbort{0}, validDrew{0};
};

void check(const Case& c, std::size_t i, const TempDir& dir, Confusion& confusion) {
  const std::string file = dir.file("record.json");
  std::ofstream(file) << c.record.dump();
  std::vector<std::string> validate = c.options;
  validate.insert(validate.end(), {"validate", file});
  if (c.allKinds) validate.push_back("--all-kinds");
  const Process v = kmwidget(validate, dir);
  ASSERT_TRUE(WIFEXITED(v.status) && WEXITSTATUS(v.status) == 0) << c.record.dump() << v.err;
  const json verdict = json::parse(v.out);

  std::vector<std::string> render = c.options;
  render.insert(render.end(),
                {"render", "--record", file, "--format", "json", "-o", dir.file("out")});
  if (c.allKinds) {
    for (const char* kind : {"small_energy_macros", "medium_history", "small_energy",
                             "small_bar_macros", "small_pie_macros", "medium_bar_macros",
                             "medium_pie_macros", "medium_buttons", "lockscreen_button"}) {
      render.insert(render.end(), {"--kind", kind});
    }
    for (const char* family : {"systemSmall", "systemMedium", "accessoryCircular",
                               "accessoryRectangular", "accessoryInline"}) {
      render.insert(render.end(), {"--family", family});
    }
  }
  const Process r = kmwidget(render, dir);
  const bool stops = !verdict["stops"].empty();
  EXPECT_EQ(stops, r.aborted()) << "record " << i << ": " << c.record.dump() << "\n"
                                << verdict["stops"].dump() << "\n"
                                << r.err;
  EXPECT_EQ(verdict["valid"], !stops);
  if (!stops) {
    r.aborted() ? ++confusion.validAbort : ++confusion.validDrew;
    return;
  }
  r.aborted() ? ++confusion.stopAbort : ++confusion.stopDrew;
  if (i % 4 != 0) return;
  // The first stop, drawn alone, stops the tool for the reason validate gave.
  const json& first = verdict["stops"][0];
  std::vector<std::string> one = c.options;
  one.insert(one.end(), {"render", "--record", file, "--format", "json", "--kind", first["kind"],
                         "--family", first["family"]});
  const Process alone = kmwidget(one, dir);
  EXPECT_TRUE(alone.aborted()) << c.record.dump() << first.dump();
  EXPECT_NE(alone.err.find("Fatal error: " + first["reason"].get<std::string>()), std::string::npos)
      << alone.err << first.dump();
}

TEST(ValidatePropertyTest, StopsAreExactlyTheRecordsWhoseRenderAborts) {
  const std::size_t records = envNumber("KM_VALIDATE_RECORDS", 500);
  const std::size_t seed = envNumber("KM_VALIDATE_SEED", 20261123);
  RecordGenerator generator(seed);
  std::vector<Case> cases;
  for (std::size_t i = 0; i < records; ++i) {
    Case c{generator.next(817128000), generator.options(), i % 2 == 1};
    // About now, so that most records are today's.
    c.options.insert(c.options.end(), {"--now", "2026-11-23T12:00:00"});
    cases.push_back(std::move(c));
  }
  // Two workers: the checks are processes, and the machine has two cores.
  Confusion confusion;
  std::atomic<std::size_t> next{0};
  auto work = [&] {
    TempDir dir;
    for (std::size_t i = next++; i < cases.size(); i = next++)
      check(cases[i], i, dir, confusion);
  };
  {
    std::jthread helper(work);
    work();
  }
  std::printf(
      "validate vs render over %zu records (seed %zu):\n"
      "  stops, render aborted: %zu\n  stops, render drew:    %zu\n"
      "  valid, render aborted: %zu\n  valid, render drew:    %zu\n",
      records, seed, confusion.stopAbort.load(), confusion.stopDrew.load(),
      confusion.validAbort.load(), confusion.validDrew.load());
  EXPECT_EQ(confusion.stopDrew + confusion.validAbort, 0u);
  // The generator must reach both outcomes, or the comparison proves little.
  EXPECT_GT(confusion.stopAbort, records / 20);
  EXPECT_GT(confusion.validDrew, records / 4);
}

}  // namespace
}  // namespace km
