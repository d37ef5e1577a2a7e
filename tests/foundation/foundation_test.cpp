#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <fstream>
#include <sstream>
#include <thread>

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

using km::testing::TempDir;

TEST(DateTest, ISO8601ParsesOffsetsAndLocalTimes) {
  ScopedTimeZone zone("Europe/Berlin");
  // Expected values computed independently (Python's datetime), seconds since 2001-01-01 UTC.
  struct Case {
    const char* text;
    std::optional<double> want;
  } cases[] = {
      {"2001-01-01T00:00:00Z", 0.0},
      {"2026-03-01T23:30:00+01:00", 794097000.0},
      {"2026-03-01T23:30:00+0100", 794097000.0},
      {"2026-03-01T22:30:00Z", 794097000.0},
      {"2026-03-01T23:30:00", 794097000.0},  // local to Europe/Berlin (CET)
      {"2026-03-01T23:30", 794097000.0},
      {"1999-12-31T23:59:59.250-05:30", -31602600.75},
      // Past a century year that is not a leap year, at and after its first hundred years.
      {"2100-03-01T00:00:00Z", 3129235200.0},
      {"2101-03-01T00:00:00Z", 3160771200.0},
      {"2026-02-29T00:00:00Z", std::nullopt},  // not a leap year
      {"2026-03-01", std::nullopt},
      {"2026-03-01T24:00:00Z", std::nullopt},
      {"2026-03-01T23:30:00+24:00", std::nullopt},
      {"2026-03-01T23:30:00+01:00x", std::nullopt},
      {"yesterday", std::nullopt},
  };
  for (const auto& c : cases) {
    auto got = parseISO8601(c.text);
    ASSERT_EQ(got.has_value(), c.want.has_value()) << c.text;
    if (got) {
      EXPECT_DOUBLE_EQ(got->timeIntervalSinceReferenceDate, *c.want) << c.text;
    }
  }
}

TEST(DateTest, ISO8601FormatsWithTheZoneOffsetAtThatMoment) {
  struct Case {
    double since2001;
    const char* zone;
    const char* want;
  } cases[] = {
      {794097000.0, "Europe/Berlin", "2026-03-01T23:30:00+01:00"},
      {794097000.0, "UTC", "2026-03-01T22:30:00Z"},
      {794097000.0, "America/St_Johns", "2026-03-01T19:00:00-03:30"},
      {796437000.0 + 3600, "Europe/Berlin", "2026-03-29T03:30:00+02:00"},  // after the change
      {-31602600.75, "Asia/Kolkata", "2000-01-01T10:59:59.250+05:30"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(formatISO8601(Date{c.since2001}, c.zone), c.want) << c.zone;
  }
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

TEST(StringsTableTest, ParsesPairsCommentsAndEscapes) {
  const std::string text =
      "/* a block\n comment */\n"
      "\"plain\" = \"Plain text\";\n"
      "// a line comment\n"
      "\"escapes\" = \"a\\nb\\tc\\\"d\\\\e\\'f\";\n"
      "\"unicode\" = \"\\U00e9\\u20AC\\UD83D\\UDE00\";\n"
      "\"octal\" = \"\\101\\060\";\n"
      "unquoted = word;\n"
      "\"ü-key\"=\"raw UTF-8 ✓\";\n"
      "\"dup\" = \"first\"; \"dup\" = \"second\";\n"
      "\"self\";\n";
  auto table = parseStringsTable(text, "t.strings");
  ASSERT_TRUE(table.ok()) << table.error().message;
  const std::pair<const char*, const char*> want[] = {
      {"plain", "Plain text"},
      {"escapes", "a\nb\tc\"d\\e'f"},
      {"unicode", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"octal", "A0"},
      {"unquoted", "word"},
      {"\xC3\xBC-key", "raw UTF-8 \xE2\x9C\x93"},
      {"dup", "second"},
      {"self", "self"},
  };
  EXPECT_EQ(table->size(), std::size(want));
  for (const auto& [key, value] : want) {
    auto it = table->find(key);
    ASSERT_NE(it, table->end()) << key;
    EXPECT_EQ(it->second, value) << key;
  }
}

TEST(StringsTableTest, DecodesByteOrderMarks) {
  // "k" = "é"; in UTF-16 both byte orders and UTF-8 with a BOM.
  auto utf16 = [](bool bigEndian) {
    // U+10FC00 is the pair of the last high and the first low surrogate.
    const std::u16string text = u"\"k\" = \"\u00e9\U0001F600\U0010FC00\";";
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (char16_t u : text) {
      const char hi = static_cast<char>(u >> 8), lo = static_cast<char>(u & 0xFF);
      bytes += bigEndian ? hi : lo;
      bytes += bigEndian ? lo : hi;
    }
    return bytes;
  };
  const std::string inputs[] = {
      utf16(false), utf16(true),
      "\xEF\xBB\xBF\"k\" = \"\xC3\xA9\xF0\x9F\x98\x80\xF4\x8F\xB0\x80\";"};
  for (const auto& bytes : inputs) {
    auto table = parseStringsTable(bytes, "bom.strings");
    ASSERT_TRUE(table.ok()) << table.error().message;
    EXPECT_EQ(table->at("k"), "\xC3\xA9\xF0\x9F\x98\x80\xF4\x8F\xB0\x80");
  }
  // A byte-order mark alone is an empty table.
  auto empty = parseStringsTable(std::string("\xFE\xFF", 2), "bom.strings");
  ASSERT_TRUE(empty.ok()) << empty.error().message;
  EXPECT_TRUE(empty->empty());
}

TEST(StringsTableTest, ErrorsNameTheFileAndLine) {
  struct Case {
    const char* text;
    const char* want;
  } cases[] = {
      {"\"a\" = \"b\";\n\"c\" = \"d\"\n\"e\" = \"f\";",
       "x.strings:3: expected ';' after the value"},
      {"\"a\" \"b\";", "x.strings:1: expected '=' after the key"},
      {"\"a\" = \"b\";\n\n\"c\" = \"unterminated;\n", "x.strings:3: unterminated string"},
      {"\"a\" = \"b\";\n/* open", "x.strings:2: unterminated comment"},
      {"\"a\" = ;", "x.strings:1: expected a value"},
      {"\"a\" = \"\\U12\";", "x.strings:1: expected four hexadecimal digits after \\U"},
      {"\"a\" = \"\\U1", "x.strings:1: expected four hexadecimal digits after \\U"},
  };
  for (const auto& c : cases) {
    auto table = parseStringsTable(c.text, "x.strings");
    ASSERT_FALSE(table.ok()) << c.text;
    EXPECT_EQ(table.error().message, c.want);
  }
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
  {
    auto store = UserDefaults::openFile(path, UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok()) << store.error().message;
    ASSERT_TRUE(store->set("data", Data{'{', '}'}).ok());
    ASSERT_TRUE(store->set("emptyData", Data{}).ok());
    ASSERT_TRUE(store->set("string", std::string("{}")).ok());
    ASSERT_TRUE(store->set("int", std::int64_t{-7}).ok());
    ASSERT_TRUE(store->set("double", 2.5).ok());
    ASSERT_TRUE(store->set("bool", true).ok());
    ASSERT_TRUE(store->set("replaced", std::string("old")).ok());
    ASSERT_TRUE(store->set("replaced", Data{1, 2}).ok());
    ASSERT_TRUE(store->set("gone", std::string("x")).ok());
    ASSERT_TRUE(store->removeObject("gone").ok());
  }
  // A second connection, read-only, as the extension opens it.
  auto store = UserDefaults::openFile(path, UserDefaults::Access::read);
  ASSERT_TRUE(store.ok()) << store.error().message;
  auto value = [&](const char* key) { return store->object(key).value(); };
  EXPECT_EQ(value("data"), StoreValue(Data{'{', '}'}));
  EXPECT_EQ(value("emptyData"), StoreValue(Data{}));
  EXPECT_EQ(value("string"), StoreValue(std::string("{}")));
  EXPECT_EQ(value("int"), StoreValue(std::int64_t{-7}));
  EXPECT_EQ(value("double"), StoreValue(2.5));
  EXPECT_EQ(value("bool"), StoreValue(true));
  EXPECT_EQ(value("replaced"), StoreValue(Data{1, 2}));
  EXPECT_EQ(value("gone"), std::nullopt);
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

TEST(BundleTest, LooksUpStringsInThePreferredLocalization) {
  auto bundle = Bundle::atPath(km::testing::fixtureBundlePath());
  ASSERT_TRUE(bundle);
  EXPECT_EQ(bundle->localizations(), (std::vector<std::string>{"broken", "de", "en", "pt-BR"}));
  struct Case {
    std::vector<std::string> languages;
    const char* key;
    const char* value;
    const char* want;
  } cases[] = {
      {{"de-DE", "en"}, "ios_widgets_1", "", "Kalorien"},  // region falls back to the language
      {{"pt_BR"}, "ios_widgets_1", "", "Calorias"},
      {{"fr", "de"}, "ios_widgets_1", "", "Kalorien"},  // first available preference
      {{"fr"}, "ios_widgets_1", "", "Calories"},        // development localisation
      {{}, "ios_widgets_1", "", "Calories"},
      {{"de"}, "only_in_english", "", "only_in_english"},  // missing key gives the key
      {{"de"}, "only_in_english", "Default", "Default"},
      {{"broken"}, "ios_widgets_1", "", "ios_widgets_1"},  // malformed table counts as absent
  };
  for (const auto& c : cases) {
    ScopedPreferredLanguages languages(c.languages);
    EXPECT_EQ(bundle->localizedString(c.key, c.value, "KMLocalizable"), c.want)
        << c.key << " in " << (c.languages.empty() ? "-" : c.languages[0]);
  }
  EXPECT_EQ(bundle->localizedString("ios_widgets_1", "", "NoSuchTable"), "ios_widgets_1");
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

TEST(CalendarTest, AddsElapsedHoursAcrossMidnightAndDaylightSaving) {
  const Calendar berlin("Europe/Berlin", "de_DE");
  struct Case {
    const char* start;
    int hours;
    const char* want;
  } cases[] = {
      {"2026-03-01T23:30:00+01:00", 1, "2026-03-02T00:30:00+01:00"},
      {"2026-03-01T23:30:00+01:00", 6, "2026-03-02T05:30:00+01:00"},
      {"2026-03-29T01:30:00+01:00", 1, "2026-03-29T03:30:00+02:00"},  // clocks go forward
      {"2026-10-25T02:30:00+02:00", 1, "2026-10-25T02:30:00+01:00"},  // clocks go back
      {"2026-03-01T23:30:00.250+01:00", 2, "2026-03-02T01:30:00.250+01:00"},
  };
  for (const auto& c : cases) {
    auto start = parseISO8601(c.start);
    ASSERT_TRUE(start);
    auto got = berlin.addingHours(*start, c.hours);
    ASSERT_TRUE(got);
    EXPECT_EQ(formatISO8601(*got, "Europe/Berlin"), c.want) << c.start << " + " << c.hours;
    EXPECT_DOUBLE_EQ(got->timeIntervalSinceReferenceDate - start->timeIntervalSinceReferenceDate,
                     3600.0 * c.hours);
  }
  EXPECT_EQ(berlin.addingHours(Date{std::nan("")}, 1), std::nullopt);
}

TEST(CalendarTest, DayComponentsAndTodayFollowTheZone) {
  const Date sundayLate = *parseISO8601("2026-03-01T23:30:00+01:00");
  const Calendar berlin("Europe/Berlin", "de_DE");
  const Calendar tokyo("Asia/Tokyo", "en_US");
  EXPECT_EQ(berlin.weekday(sundayLate), 1);  // Sunday
  EXPECT_EQ(tokyo.weekday(sundayLate), 2);   // already Monday in Tokyo
  EXPECT_EQ(berlin.dayOfMonth(sundayLate), 1);
  EXPECT_EQ(tokyo.dayOfMonth(sundayLate), 2);
  EXPECT_EQ(formatISO8601(berlin.startOfDay(sundayLate), "Europe/Berlin"),
            "2026-03-01T00:00:00+01:00");

  ScopedNow now(sundayLate);
  EXPECT_TRUE(berlin.isDateInToday(*parseISO8601("2026-03-01T00:00:00+01:00")));
  EXPECT_FALSE(berlin.isDateInToday(*parseISO8601("2026-02-28T23:59:59+01:00")));
  EXPECT_FALSE(berlin.isDateInToday(*parseISO8601("2026-03-02T00:00:00+01:00")));
}

TEST(CalendarTest, LocaleWeekConventions) {
  struct Case {
    const char* locale;
    int firstWeekday;
    std::vector<std::string> symbols;
  } cases[] = {
      {"en_US", 1, {"S", "M", "T", "W", "T", "F", "S"}},
      {"de_DE", 2, {"S", "M", "D", "M", "D", "F", "S"}},
      {"fr_FR", 2, {"D", "L", "M", "M", "J", "V", "S"}},
  };
  for (const auto& c : cases) {
    const Calendar calendar("UTC", c.locale);
    EXPECT_EQ(calendar.firstWeekday(), c.firstWeekday) << c.locale;
    EXPECT_EQ(calendar.veryShortStandaloneWeekdaySymbols(), c.symbols) << c.locale;
  }
}

TEST(TextTest, CaseMappingAndGraphemes) {
  EXPECT_EQ(capitalized("hello wORLD", "en"), "Hello World");
  EXPECT_EQ(capitalized("über grün", "de"), "Über Grün");
  EXPECT_EQ(lowercased("KCAL", "en"), "kcal");
  EXPECT_EQ(lowercased("I", "tr"), "\xC4\xB1");  // Turkish dotless i
  EXPECT_EQ(uppercased("straße", "de"), "STRASSE");
  struct Case {
    const char* text;
    std::size_t want;
  } cases[] = {
      {"", 0},
      {"kcal", 4},
      {"e\xCC\x81", 1},                         // e + combining acute
      {"\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA", 1},  // flag of Germany
      {"\xE6\x97\xA5\xE6\x9C\xAC", 2},          // two CJK characters
      {"\xD9\x83\xD9\x8A\xD9\x84\xD9\x88", 4},  // Arabic "kilo"
  };
  for (const auto& c : cases)
    EXPECT_EQ(graphemeCount(c.text), c.want) << c.text;
}

TEST(TextTest, RightToLeftLanguages) {
  struct Case {
    const char* tag;
    bool want;
  } cases[] = {
      {"ar", true},      {"he", true},
      {"fa-IR", true},   {"ur_PK", true},
      {"en", false},     {"de", false},
      {"zh-TW", false},  {"pt_BR", false},
      {"az-Arab", true},  // the script decides, not the language
      {"", false},       {"not a language tag!", false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(isRightToLeftLanguage(c.tag), c.want) << c.tag;
}

TEST(URLTest, ValidatesWhatTheAppCanOpen) {
  struct Case {
    const char* text;
    bool valid;
  } cases[] = {
      {"kalomate://diary-widget-small_energy", true},
      {"kalomate://addFood-widget-lockscreen_button", true},
      {"https://example.com/a?b=c#d", true},
      {"kalomate://diary-widget-a%20b", true},
      {"kalomate://diary-widget-a%20", true},
      {"kalomate://diary-widget-small energy", false},
      {"kalomate://diary-widget-\xC3\xA9", false},
      {"kalomate://diary-widget-100%", false},
      {"kalomate://a#b#c", false},
      {"kalomate://{x}", false},
      {"://no-scheme", false},
      {"1abc://x", false},
      {"", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(isValidURL(c.text), c.valid) << c.text;
    EXPECT_EQ(URL::fromString(c.text).has_value(), c.valid) << c.text;
  }
  EXPECT_EQ(URL::fromString("kalomate://x")->scheme(), "kalomate");
}

}  // namespace
}  // namespace km

namespace km {
namespace {

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

TEST(JsonReaderTest, ReportsEventsOfValidDocuments) {
  struct Case {
    const char* json;
    const char* events;
  } cases[] = {
      {R"({"a":[1,-2,1.5,1e2,true,null]})", "{ <a> [ u1 i-2 d1.5 d100 true null ] } "},
      {" \n\t[ ] ", "[ ] "},
      {R"("esc\"\\\/\n\u00e9\ud83d\ude00")", "'esc\"\\/\n\xC3\xA9\xF0\x9F\x98\x80' "},
      {"18446744073709551615", "u18446744073709551615 "},
      {"18446744073709551616", "d1.84467e+19 "},  // beyond 64 bits: a double
      {"-0", "i0 "},
      {"1e-400", "d0 "},  // underflow rounds to zero
      {"\"\xC3\xA9\"", "'\xC3\xA9' "},
      {"\"\xF0\x9F\x98\x80\"", "'\xF0\x9F\x98\x80' "},
      {R"(["a\n","\tb"])", "[ 'a\n' '\tb' ] "},
  };
  for (const auto& c : cases) {
    EchoHandler h;
    EXPECT_EQ(parseJson(c.json, h), std::nullopt) << c.json;
    EXPECT_EQ(h.out, c.events) << c.json;
  }
}

TEST(JsonReaderTest, RejectsInvalidDocumentsWithAPosition) {
  struct Case {
    const char* json;
    const char* error;
  } cases[] = {
      {"", "line 1, column 1: unexpected end of input, expected a value"},
      {"{\"a\":1,}", "line 1, column 8: expected a key (a string)"},
      {"[1,]", "line 1, column 4: unexpected character, expected a value"},
      {"{\"a\" 1}", "line 1, column 6: expected ':' after the key"},
      {"[1]\n x", "line 2, column 2: unexpected content after the JSON value"},
      {"01", "line 1, column 2: invalid number: leading zero"},
      {"1.", "line 1, column 3: invalid number: expected a digit after '.'"},
      {"1e999", "line 1, column 1: number overflow: 1e999"},
      {"NaN", "line 1, column 1: unexpected character, expected a value"},
      {"tru", "line 1, column 1: invalid literal"},
      {"\"a\nb\"", "line 1, column 3: control character in a string"},
      {"\"\\x\"", "line 1, column 3: invalid escape in a string"},
      {"\"\\ud83d\"", "line 1, column 8: unpaired surrogate in a \\u escape"},
      {"\"\xC3\"", "line 1, column 2: invalid UTF-8 in a string"},
      {"\"\xE2\x28\xA1\"", "line 1, column 2: invalid UTF-8 in a string"},
      {"\"\xED\xA0\x80\"", "line 1, column 2: invalid UTF-8 in a string"},  // encoded surrogate
      {"\"abc", "line 1, column 1: unterminated string"},
      {"// comment\n1", "line 1, column 1: unexpected character, expected a value"},
  };
  for (const auto& c : cases) {
    EchoHandler h;
    EXPECT_EQ(parseJson(c.json, h).value_or("(valid)"), c.error) << c.json;
  }
  EchoHandler h;
  EXPECT_EQ(parseJson(std::string(600, '[') + std::string(600, ']'), h).value_or("(valid)"),
            "line 1, column 513: nesting too deep");
}

}  // namespace
}  // namespace km
