#include <gtest/gtest.h>

#include <sstream>

#include "fixtures/temp_dir.h"
#include "model/extension_log.h"
#include "model/read_summary.h"
#include "model/shared_store.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"

namespace km {
namespace {

using km::testing::TempDir;

// A valid record; tests replace one "key": value pair to make it invalid in one way.
const std::string kRecord =
    R"({"currentDayInt":42,"currentDate":794097000.5,"isLoggedIn":true,"energyCurrent":1520.5,)"
    R"("energyTotal":2200,"fatCurrent":40,"fatTotal":70,"proteinCurrent":90,"proteinTotal":120,)"
    R"("carbsCurrent":180,"carbsTotal":250,"energyDays":[1800,2100,1950,2300,1700,2000,1520.5],)"
    R"("isKilojoules":false})";

std::string replaced(const std::string& from, const std::string& to) {
  std::string s = kRecord;
  const auto at = s.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return s.replace(at, from.size(), to);
}

TEST(SummaryDecodingTest, DecodesEveryFieldOfAValidRecord) {
  auto decoded = decodeSummary(kRecord);
  ASSERT_TRUE(decoded.ok()) << decoded.error().message;
  const WidgetNutritionSummary& s = decoded.value();
  EXPECT_EQ(s.currentDayInt, 42);
  EXPECT_EQ(s.currentDate.timeIntervalSinceReferenceDate, 794097000.5);
  EXPECT_TRUE(s.isLoggedIn);
  EXPECT_EQ(s.energyCurrent, 1520.5);
  EXPECT_EQ(s.energyTotal, 2200);
  EXPECT_EQ(s.fatCurrent, 40);
  EXPECT_EQ(s.fatTotal, 70);
  EXPECT_EQ(s.proteinCurrent, 90);
  EXPECT_EQ(s.proteinTotal, 120);
  EXPECT_EQ(s.carbsCurrent, 180);
  EXPECT_EQ(s.carbsTotal, 250);
  EXPECT_EQ(s.energyDays, (std::vector<double>{1800, 2100, 1950, 2300, 1700, 2000, 1520.5}));
  EXPECT_FALSE(s.isKilojoules);
  // And back: the encoded form decodes to the same record.
  auto again = decodeSummary(encodeSummary(s));
  ASSERT_TRUE(again.ok());
  EXPECT_EQ(again.value(), s);
}

TEST(SummaryDecodingTest, AcceptsAndRejectsTheDocumentedEdges) {
  struct Case {
    std::string json;
    // Empty when the record must decode; else a fragment of the expected error.
    std::string error;
  } cases[] = {
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":1.0"), ""},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":-2147483648"), ""},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":2147483647"), ""},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":1e2"), ""},
      {replaced("[1800,2100,1950,2300,1700,2000,1520.5]", "[]"), ""},
      {replaced("[1800,2100,1950,2300,1700,2000,1520.5]", "[1,2,3,4,5,6,7,8,9]"), ""},
      {replaced("\"isKilojoules\":false", "\"isKilojoules\":false,\"extra\":\"ignored\""), ""},
      {replaced("\"energyTotal\":2200", "\"energyTotal\":-0.0"), ""},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":1.5"), "\"currentDayInt\""},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":3000000000"), "32-bit"},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":-2147483649"), "32-bit"},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":\"42\""), "\"currentDayInt\""},
      {replaced("\"currentDate\":794097000.5", "\"currentDate\":\"2026-03-01T22:30:00Z\""),
       "\"currentDate\": expected a number, found a string"},
      {replaced("\"energyCurrent\":1520.5", "\"energyCurrent\":1e999"), "number overflow"},
      {replaced("\"energyCurrent\":1520.5", "\"energyCurrent\":null"), "\"energyCurrent\""},
      {replaced("\"isLoggedIn\":true", "\"isLoggedIn\":1"),
       "\"isLoggedIn\": expected a boolean, found a number"},
      {replaced(",\"energyDays\":[1800,2100,1950,2300,1700,2000,1520.5]", ""),
       "key not found: no value for \"energyDays\""},
      {replaced("[1800,2100,1950,2300,1700,2000,1520.5]", "[1800,\"x\"]"), "\"energyDays[1]\""},
      {replaced("\"energyTotal\"", "\"EnergyTotal\""), "no value for \"energyTotal\""},
      {"[]", "expected an object, found an array"},
      {"{\"currentDayInt\":", "not valid JSON"},
      {"", "not valid JSON"},
  };
  for (const auto& c : cases) {
    auto decoded = decodeSummary(c.json);
    if (c.error.empty()) {
      EXPECT_TRUE(decoded.ok()) << c.json << "\n" << (decoded.ok() ? "" : decoded.error().message);
    } else {
      ASSERT_FALSE(decoded.ok()) << c.json;
      EXPECT_NE(decoded.error().message.find(c.error), std::string::npos)
          << decoded.error().message;
      EXPECT_EQ(decoded.error().message.find('\n'), std::string::npos);
    }
  }
}

TEST(SummaryDecodingTest, MessagesQuoteLittleAndPrintNumbersShortest) {
  const std::string huge = "1" + std::string(1'000'000, '0');
  const std::string day = "data corrupted at \"currentDayInt\": the number ";
  // White space after the object pads a record to a given size.
  const auto padded = [](std::size_t size) {
    return kRecord + std::string(size - kRecord.size(), ' ');
  };
  struct Case {
    std::string json;
    std::string message;  // empty: decodes
  } cases[] = {
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":1e20"),
       day + "1e+20 does not fit in a 32-bit integer"},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":1e308"),
       day + "1e+308 does not fit in a 32-bit integer"},
      {replaced("\"currentDayInt\":42", "\"currentDayInt\":-2.5"),
       day + "-2.5 does not fit in a 32-bit integer"},
      {replaced("\"energyCurrent\":1520.5", "\"energyCurrent\":" + huge),
       "data corrupted: the data is not valid JSON (line 1, column 81: number overflow: 1" +
           std::string(58, '0') + "…)"},
      {padded(kMaxSummaryBytes), ""},
      {padded(kMaxSummaryBytes + 1),
       "data corrupted: the record is 1048577 bytes long, more than the 1048576 bytes a record "
       "may have"},
  };
  for (const auto& c : cases) {
    auto decoded = decodeSummary(c.json);
    if (c.message.empty()) {
      EXPECT_TRUE(decoded.ok()) << c.json.size();
    } else {
      ASSERT_FALSE(decoded.ok()) << c.message;
      EXPECT_EQ(decoded.error().message, c.message);
    }
  }
}

TEST(SummaryDecodingTest, EveryOneByteCorruptionDecodesOrFailsCleanly) {
  // Deleting or replacing any one byte must give a record or a one-line error, never a crash
  // or a read past the end (the sanitizers watch).
  const std::string replacements = "\"{}[],:0-.eE\\ \x01\xC3";
  std::size_t errors = 0;
  for (std::size_t i = 0; i < kRecord.size(); ++i) {
    std::string deleted = kRecord;
    deleted.erase(i, 1);
    std::vector<std::string> variants = {deleted};
    for (char c : replacements) {
      std::string replaced = kRecord;
      replaced[i] = c;
      variants.push_back(replaced);
    }
    for (const std::string& json : variants) {
      auto decoded = decodeSummary(json);
      if (!decoded.ok()) {
        ++errors;
        EXPECT_EQ(decoded.error().message.find('\n'), std::string::npos) << json;
        EXPECT_FALSE(decoded.error().message.empty()) << json;
      }
    }
  }
  // Most corruptions break the document; a handful (digits inside numbers) still decode.
  EXPECT_GT(errors, kRecord.size() * 10);
}

TEST(SummaryDecodingTest, ReportsTheFirstBadFieldInDeclarationOrder) {
  // energyDays is missing and currentDayInt is a string: the earlier field is named.
  std::string json = replaced("\"currentDayInt\":42", "\"currentDayInt\":\"42\"");
  const std::string days = ",\"energyDays\":[1800,2100,1950,2300,1700,2000,1520.5]";
  json.erase(json.find(days), days.size());
  auto decoded = decodeSummary(json);
  ASSERT_FALSE(decoded.ok());
  EXPECT_NE(decoded.error().message.find("currentDayInt"), std::string::npos)
      << decoded.error().message;
}

// The shared store of one test, in a temporary folder, with the process pointed at it.
class ReadSummaryTest : public ::testing::Test {
 public:
  ReadSummaryTest() : path_(dir_.file("store.sqlite")), storePath_(path_), now_(Date{800000000}) {}

  void store(const StoreValue& value) {
    auto store = UserDefaults::openFile(path_, UserDefaults::Access::readWrite);
    ASSERT_TRUE(store.ok());
    ASSERT_TRUE(store->set(kNutritionSummaryKey, value).ok());
  }
  void storeBytes(const std::string& json) { store(Data(json.begin(), json.end())); }

  TempDir dir_;
  std::string path_;
  ScopedStorePath storePath_;
  ScopedNow now_;
};

TEST_F(ReadSummaryTest, FallsBackByCause) {
  struct Case {
    const char* what;
    std::function<void(ReadSummaryTest&)> prepare;
    SummarySource source;
    double energyCurrent, energyTotal, fatCurrent, fatTotal, proteinCurrent, proteinTotal,
        carbsCurrent, carbsTotal;
    bool logs;
  } cases[] = {
      {"no store file", [](ReadSummaryTest&) {}, SummarySource::storeFallback, 1300, 2000, 80, 100,
       99, 72, 140, 100, false},
      {"no value under the key",
       [](ReadSummaryTest& t) {
         auto s = UserDefaults::openFile(t.path_, UserDefaults::Access::readWrite);
         ASSERT_TRUE(s.ok());
       },
       SummarySource::storeFallback, 1300, 2000, 80, 100, 99, 72, 140, 100, false},
      {"the record stored as a string", [](ReadSummaryTest& t) { t.store(kRecord); },
       SummarySource::storeFallback, 1300, 2000, 80, 100, 99, 72, 140, 100, false},
      {"a record without energyDays",
       [](ReadSummaryTest& t) {
         t.storeBytes(replaced(",\"energyDays\":[1800,2100,1950,2300,1700,2000,1520.5]", ""));
       },
       SummarySource::decodeFallback, 825, 2100, 115, 100, 65, 90, 200, 250, true},
      {"a date as ISO-8601 text",
       [](ReadSummaryTest& t) {
         t.storeBytes(replaced("794097000.5", "\"2026-03-01T22:30:00Z\""));
       },
       SummarySource::decodeFallback, 825, 2100, 115, 100, 65, 90, 200, 250, true},
  };
  for (const auto& c : cases) {
    km::testing::removeStore(path_);
    c.prepare(*this);
    std::ostringstream log;
    SummaryRead read;
    {
      ScopedExtensionLog capture(log);
      read = readSummaryWithSource();
    }
    const WidgetNutritionSummary& s = read.summary;
    SCOPED_TRACE(c.what);
    EXPECT_EQ(read.source, c.source);
    EXPECT_EQ(s.energyCurrent, c.energyCurrent);
    EXPECT_EQ(s.energyTotal, c.energyTotal);
    EXPECT_EQ(s.fatCurrent, c.fatCurrent);
    EXPECT_EQ(s.fatTotal, c.fatTotal);
    EXPECT_EQ(s.proteinCurrent, c.proteinCurrent);
    EXPECT_EQ(s.proteinTotal, c.proteinTotal);
    EXPECT_EQ(s.carbsCurrent, c.carbsCurrent);
    EXPECT_EQ(s.carbsTotal, c.carbsTotal);
    EXPECT_EQ(s.currentDayInt, 1);
    EXPECT_EQ(s.currentDate, Date{800000000});
    EXPECT_TRUE(s.isLoggedIn);
    EXPECT_EQ(s.energyDays, std::vector<double>(7, 0.0));
    EXPECT_FALSE(s.isKilojoules);
    // Exactly one line for a decoding failure, nothing otherwise.
    const std::string text = log.str();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), c.logs ? 1 : 0) << text;
  }
}

TEST_F(ReadSummaryTest, DecodingErrorGoesToStandardOutputByDefault) {
  storeBytes("{not json");
  ::testing::internal::CaptureStdout();
  const WidgetNutritionSummary s = readSummary();
  const std::string out = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(s.energyCurrent, 825);
  EXPECT_NE(out.find("not valid JSON"), std::string::npos) << out;
  EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 1);
}

TEST_F(ReadSummaryTest, ReturnsStoredRecordsUnchanged) {
  // Signed out, and stamped a day before now: neither is the reader's business.
  std::string json = replaced("794097000.5", "799913600");
  json.replace(json.find("\"isLoggedIn\":true"), 17, "\"isLoggedIn\":false");
  storeBytes(json);
  const SummaryRead read = readSummaryWithSource();
  EXPECT_EQ(read.source, SummarySource::stored);
  EXPECT_FALSE(read.summary.isLoggedIn);
  EXPECT_EQ(read.summary.currentDate, Date{799913600});
  EXPECT_EQ(read.summary.currentDayInt, 42);
  EXPECT_EQ(read.summary.energyCurrent, 1520.5);
}

TEST(FixedRecordsTest, PlaceholderShowsEmptyGaugesWithGoals) {
  const WidgetNutritionSummary p = placeholderSummary(Date{5});
  EXPECT_EQ(p.currentDate, Date{5});
  EXPECT_EQ(p.energyCurrent, 0);
  EXPECT_EQ(p.energyTotal, 2000);
  EXPECT_EQ(p.fatTotal, 50);
  EXPECT_EQ(p.proteinTotal, 50);
  EXPECT_EQ(p.carbsTotal, 50);
  EXPECT_EQ(p.fatCurrent + p.proteinCurrent + p.carbsCurrent, 0);
  EXPECT_TRUE(p.isLoggedIn);
  EXPECT_FALSE(p.isKilojoules);
}

}  // namespace
}  // namespace km
