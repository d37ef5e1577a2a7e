#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <fstream>
#include <optional>
#include <sstream>
#include <thread>

#include "base/case_table.h"
#include "fixtures/temp_dir.h"
#include "platform/foundation/bundle.h"
#include "platform/foundation/calendar.h"
#include "platform/foundation/date.h"
#include "platform/foundation/json_reader.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/strings_table.h"
#include "platform/foundation/text.h"
#include "platform/foundation/url.h"
#include "platform/foundation/user_defaults.h"

namespace km {
namespace {

using km::testing::Json;
using km::testing::TempDir;

// Writes the events back as compact text, so a case can state the whole parse in one string.
class EchoHandler final : public JsonHandler {
 public:
  std::string out;
  bool null() override { return put("null"); }
  bool boolean(bool v) override { return put(v ? "true" : "false"); }
  bool integer(std::int64_t v) override { return put("i" + std::to_string(v)); }
  bool unsignedInteger(std::uint64_t v) override { return put("u" + std::to_string(v)); }
  bool floating(double v) override {
    std::ostringstream s;
    s << 'd' << v;
    return put(s.str());
  }
  bool string(std::string_view v) override { return put("'" + std::string(v) + "'"); }
  bool startObject() override { return put("{"); }
  bool key(std::string_view v) override { return put("<" + std::string(v) + ">"); }
  bool endObject() override { return put("}"); }
  bool startArray() override { return put("["); }
  bool endArray() override { return put("]"); }

 private:
  bool put(const std::string& s) {
    out += s;
    out += ' ';
    return true;
  }
};

Json moment(const Json& iso) {
  const auto date = parseISO8601(iso.get<std::string>());
  return date ? Json(date->timeIntervalSinceReferenceDate) : Json();
}

TEST(FoundationCasesTest, EveryTableOfCasesHolds) {
  const Json cases = km::testing::loadCases("foundation/cases.json");
  using km::testing::checkRows;
  checkRows(cases, "iso8601.parse", [](const Json& in) {
    ScopedTimeZone zone("Europe/Berlin");
    return moment(in);
  });
  checkRows(cases, "process.languages", [](const Json& in) {
    const char* names[] = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};
    std::vector<std::optional<std::string>> saved;
    for (int i = 0; i < 4; ++i) {
      const char* was = std::getenv(names[i]);
      saved.push_back(was ? std::optional<std::string>(was) : std::nullopt);
      const std::string value = in[i];
      value.empty() ? ::unsetenv(names[i]) : ::setenv(names[i], value.c_str(), 1);
    }
    const Json out = preferredLanguages();
    for (int i = 0; i < 4; ++i)
      saved[i] ? ::setenv(names[i], saved[i]->c_str(), 1) : ::unsetenv(names[i]);
    return out;
  });
  checkRows(cases, "iso8601.format", [](const Json& in) {
    return formatISO8601(Date{in[0].get<double>()}, in[1].get<std::string>());
  });
  checkRows(cases, "strings", [](const Json& in) {
    auto table = parseStringsTable(km::testing::text(in), "t.strings");
    return table.ok() ? Json(*table) : Json(table.error().message);
  });
  auto bundle = Bundle::atPath(km::testing::fixtureBundlePath());
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->localizations(), (std::vector<std::string>{"broken", "de", "en", "pt-BR"}));
  checkRows(cases, "bundle.lookup", [&](const Json& in) {
    ScopedPreferredLanguages languages(in[0].get<std::vector<std::string>>());
    return bundle->localizedString(in[1].get<std::string>(), in[2].get<std::string>(),
                                   in[3].get<std::string>());
  });
  const Calendar berlin("Europe/Berlin", "de_DE");
  checkRows(cases, "calendar.addHours", [&](const Json& in) {
    const Date start = *parseISO8601(in[0].get<std::string>());
    const auto end = berlin.addingHours(start, in[1].get<int>());
    return end ? Json{formatISO8601(*end, "Europe/Berlin"),
                      end->timeIntervalSinceReferenceDate - start.timeIntervalSinceReferenceDate}
               : Json();
  });
  EXPECT_EQ(berlin.addingHours(Date{std::nan("")}, 1), std::nullopt);
  checkRows(cases, "calendar.day", [](const Json& in) {
    const std::string zone = in[0];
    const Calendar calendar(zone, "en_US");
    const Date date = *parseISO8601(in[1].get<std::string>());
    return Json{calendar.weekday(date), calendar.dayOfMonth(date),
                formatISO8601(calendar.startOfDay(date), zone)};
  });
  checkRows(cases, "calendar.today", [&](const Json& in) {
    ScopedNow now(*parseISO8601("2026-03-01T23:30:00+01:00"));
    return berlin.isDateInToday(*parseISO8601(in.get<std::string>()));
  });
  checkRows(cases, "calendar.week", [](const Json& in) {
    const Calendar calendar("UTC", in.get<std::string>());
    return Json{calendar.firstWeekday(), calendar.veryShortStandaloneWeekdaySymbols()};
  });
  checkRows(cases, "text.case", [](const Json& in) {
    const std::string mapping = in[0], text = in[1], language = in[2];
    if (mapping == "capitalized") return capitalized(text, language);
    return mapping == "lowercased" ? lowercased(text, language) : uppercased(text, language);
  });
  checkRows(cases, "text.graphemes",
            [](const Json& in) { return graphemeCount(in.get<std::string>()); });
  checkRows(cases, "text.rightToLeft",
            [](const Json& in) { return isRightToLeftLanguage(in.get<std::string>()); });
  checkRows(cases, "url.valid", [](const Json& in) {
    const std::string text = in;
    const bool valid = isValidURL(text);
    return valid == URL::fromString(text).has_value() ? Json(valid) : Json("disagree");
  });
  EXPECT_EQ(URL::fromString("kalomate://x")->scheme(), "kalomate");
  checkRows(cases, "json.read", [](const Json& in) {
    EchoHandler h;
    const auto error = parseJson(km::testing::text(in), h);
    return error ? Json{{"error", *error}} : Json(h.out);
  });
  EchoHandler h;
  EXPECT_EQ(parseJson(std::string(600, '[') + std::string(600, ']'), h).value_or("(valid)"),
            "line 1, column 513: nesting too deep");
}

TEST(ProcessSettingsTest, FixedNowAndZoneAreScopedAndRestored) {
  const std::string zoneBefore = currentTimeZoneId();
  {
    ScopedNow fixed(Date{1000});
    ScopedTimeZone zone("Asia/Tokyo");
    EXPECT_EQ(now().timeIntervalSinceReferenceDate, 1000);
    EXPECT_EQ(currentTimeZoneId(), "Asia/Tokyo");
  }
  EXPECT_EQ(currentTimeZoneId(), zoneBefore);
  EXPECT_NE(now().timeIntervalSinceReferenceDate, 1000);
  EXPECT_FALSE(isKnownTimeZone("Mars/Olympus_Mons"));
  EXPECT_DEATH(ScopedTimeZone("Mars/Olympus_Mons"), "Fatal error: unknown time zone");
}

TEST(StringsTableTest, EveryTableOfTheMainBundleParses) {
  auto bundle = Bundle::atPath(KM_SOURCE_BUNDLE_DIR);
  if (!bundle) GTEST_SKIP() << "no bundle folder in this checkout";
  const std::vector<std::string> languages = bundle->localizations();
  EXPECT_FALSE(languages.empty());
  for (const std::string& language : languages) {
    const std::string path =
        std::string(KM_SOURCE_BUNDLE_DIR) + "/" + language + ".lproj/KMLocalizable.strings";
    auto table = loadStringsTable(path);
    ASSERT_TRUE(table.ok()) << table.error().message;
    EXPECT_TRUE(table->count("ios_widgets_1")) << path;
  }
}

TEST(StringsTableTest, CorruptedTablesParseOrFailWithAPosition) {
  // Every one-byte deletion or replacement of a table gives a table or a "name:line: ..." error,
  // never a crash or a read past the end (the sanitizers watch).
  const std::string text = "/* c */\n\"a\" = \"x\\n\\U00e9\";\n// d\nb = \"\\\"q\";\n";
  ASSERT_TRUE(parseStringsTable(text, "t.strings").ok());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string deleted = text;
    deleted.erase(i, 1);
    std::vector<std::string> variants = {deleted};
    for (char c : std::string("\"\\/*;= \nU\xFF")) {
      std::string replaced = text;
      replaced[i] = c;
      variants.push_back(replaced);
    }
    for (const auto& v : variants) {
      auto table = parseStringsTable(v, "t.strings");
      if (!table.ok()) {
        EXPECT_EQ(table.error().message.rfind("t.strings:", 0), 0u) << v;
      }
    }
  }
}

TEST(UserDefaultsTest, KeepsEachValuesType) {
  TempDir dir;
  const std::string path = dir.file("group/store.sqlite");
  const std::pair<const char*, StoreValue> values[] = {
      {"data", Data{'{', '}'}},  {"emptyData", Data{}}, {"string", std::string("{}")},
      {"int", std::int64_t{-7}}, {"double", 2.5},       {"bool", true},
      {"replaced", Data{1, 2}}};
  {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok()) << store.error().message;
    ASSERT_TRUE(store->set("replaced", std::string("old")).ok());
    for (const auto& [key, value] : values)
      ASSERT_TRUE(store->set(key, value).ok());
    ASSERT_TRUE(store->set("gone", std::string("x")).ok());
    ASSERT_TRUE(store->removeObject("gone").ok());
  }
  // A second connection, read-only, as the extension opens it.
  auto store = UserDefaults::openFile(path, UserDefaults::Access::read);
  ASSERT_TRUE(store.ok()) << store.error().message;
  for (const auto& [key, value] : values)
    EXPECT_EQ(store->object(key).value(), value) << key;
  EXPECT_EQ(store->object("gone").value(), std::nullopt);
  // The typed getters do not convert between data and strings.
  EXPECT_EQ(store->data("string"), std::nullopt);
  EXPECT_EQ(store->string("data"), std::nullopt);
  EXPECT_EQ(store->string("string"), "{}");
  EXPECT_EQ(store->string("int"), "-7");
  EXPECT_EQ(store->data("missing"), std::nullopt);
}

TEST(UserDefaultsTest, StoresThatCannotBeOpenedAreErrorsNotCrashes) {
  TempDir dir;
  const std::string corrupt = dir.file("corrupt.sqlite");
  std::ofstream(corrupt) << "this is not a database, just some text long enough to look like one";
  const std::string foreign = dir.file("foreign.sqlite");
  {
    // A valid SQLite file that is some other program's database.
    auto store = UserDefaults::openFile(foreign, UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok());
  }
  km::testing::removeStore(foreign);
  std::ofstream(foreign).close();  // empty file: SQLite sees an empty database with no table

  for (const std::string& path :
       {dir.file("missing.sqlite"), corrupt, foreign, dir.path().string()}) {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::read);
    EXPECT_FALSE(store.ok()) << path;
    if (!store.ok()) {
      EXPECT_NE(store.error().message.find(path), std::string::npos);
    }
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("missing.sqlite")));
}

TEST(UserDefaultsTest, ReadsSeeEveryCommitAndReplacedFiles) {
  TempDir dir;
  const std::string path = dir.file("store.sqlite");
  auto write = [&](const std::string& value) {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok());
    ASSERT_TRUE(store->set("k", value).ok());
  };
  auto read = [&]() -> std::optional<std::string> {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::read);
    if (!store.ok()) return "error";
    return store->string("k");
  };
  write("one");
  EXPECT_EQ(read(), "one");
  write("two");  // committed by another connection while the reading one is kept
  EXPECT_EQ(read(), "two");
  // A new file at the same path: the kept connection must not go on reading the old one.
  km::testing::removeStore(path);
  EXPECT_EQ(read(), "error");
  write("three");
  EXPECT_EQ(read(), "three");
  km::testing::removeStore(path);
  std::ofstream(path) << std::string(8192, 'x');  // now garbage
  EXPECT_EQ(read(), "error");
}

TEST(UserDefaultsTest, ConcurrentReadersAndAWriter) {
  TempDir dir;
  const std::string path = dir.file("store.sqlite");
  {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok());
    ASSERT_TRUE(store->set("n", std::int64_t{0}).ok());
  }
  std::atomic<bool> done{false};
  std::atomic<int> badReads{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      std::int64_t last = 0;
      while (!done) {
        auto store = UserDefaults::openFile(path, UserDefaults::Access::read);
        auto value = store.ok() ? store->object("n") : Result<std::optional<StoreValue>>(Error{});
        // Values only grow; a read never fails or goes back.
        if (!value.ok() || !value.value()) {
          ++badReads;
          continue;
        }
        const auto n = std::get<std::int64_t>(*value.value());
        if (n < last) ++badReads;
        last = n;
      }
    });
  }
  {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok());
    for (std::int64_t n = 1; n <= 200; ++n)
      ASSERT_TRUE(store->set("n", n).ok());
  }
  done = true;
  for (auto& t : readers)
    t.join();
  EXPECT_EQ(badReads, 0);
}

TEST(UserDefaultsTest, StorePathFollowsOverrideThenEnvironment) {
  {
    ScopedStorePath path("/tmp/explicit.sqlite");
    EXPECT_EQ(UserDefaults::storePath("group.x"), "/tmp/explicit.sqlite");
  }
  ::setenv(UserDefaults::kStorePathVariable, "/tmp/from-env.sqlite", 1);
  EXPECT_EQ(UserDefaults::storePath("group.x"), "/tmp/from-env.sqlite");
  ::unsetenv(UserDefaults::kStorePathVariable);
  ::setenv("XDG_DATA_HOME", "/data", 1);
  EXPECT_EQ(UserDefaults::storePath("group.x"), "/data/kalomate/app-groups/group.x/group.x.sqlite");
}

TEST(BundleTest, SeesEditedTablesAndNewLanguageFolders) {
  TempDir dir;
  std::filesystem::create_directories(dir.path() / "en.lproj");
  const std::string table = dir.file("en.lproj/T.strings");
  auto bundle = Bundle::atPath(dir.path().string());
  ASSERT_TRUE(bundle);
  ScopedPreferredLanguages languages(std::vector<std::string>{"fr"});
  std::ofstream(table) << "\"k\" = \"first\";";
  EXPECT_EQ(bundle->localizedString("k", "", "T"), "first");
  std::ofstream(table) << "\"k\" = \"second, longer\";";
  EXPECT_EQ(bundle->localizedString("k", "", "T"), "second, longer");
  std::ofstream(table) << "\"k\" = broken";
  EXPECT_EQ(bundle->localizedString("k", "", "T"), "k");
  // A folder for the preferred language, added while the program runs, is used at once.
  std::filesystem::create_directories(dir.path() / "fr.lproj");
  std::ofstream(dir.file("fr.lproj/T.strings")) << "\"k\" = \"français\";";
  EXPECT_EQ(bundle->localizedString("k", "", "T"), "français");
}

TEST(BundleTest, LookupsFromSeveralThreadsAgree) {
  auto bundle = Bundle::atPath(km::testing::fixtureBundlePath());
  ASSERT_TRUE(bundle);
  ScopedPreferredLanguages languages(std::vector<std::string>{"de"});
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        if (bundle->localizedString("ios_widgets_1", "", "KMLocalizable") != "Kalorien") ++wrong;
        if (bundle->localizations().size() != 4) ++wrong;
      }
    });
  }
  for (auto& t : threads)
    t.join();
  EXPECT_EQ(wrong, 0);
}

TEST(BundleTest, FindsResourcesAndOpensLanguageFolders) {
  auto bundle = Bundle::atPath(km::testing::fixtureBundlePath());
  ASSERT_TRUE(bundle);
  auto de = bundle->pathForResource("de", "lproj");
  ASSERT_TRUE(de);
  EXPECT_EQ(*de, km::testing::fixtureBundlePath() + "/de.lproj");
  EXPECT_EQ(bundle->pathForResource("fr", "lproj"), std::nullopt);
  EXPECT_EQ(bundle->pathForResource("../bundle", "lproj"), std::nullopt);
  // A language folder as a bundle of its own: its tables sit at its root.
  auto deBundle = Bundle::atPath(*de);
  ASSERT_TRUE(deBundle);
  ScopedPreferredLanguages languages(std::vector<std::string>{"en"});
  EXPECT_EQ(deBundle->localizedString("ios_widgets_2", "", "KMLocalizable"), "Heute übrig");
  EXPECT_FALSE(Bundle::atPath(km::testing::fixtureBundlePath() + "/nope"));
  ScopedMainBundlePath mainPath(km::testing::fixtureBundlePath());
  EXPECT_EQ(Bundle::main().bundlePath(), km::testing::fixtureBundlePath());
}

}  // namespace
}  // namespace km
