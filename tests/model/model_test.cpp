#include <gtest/gtest.h>

#include <sstream>

#include "base/case_table.h"
#include "fixtures/temp_dir.h"
#include "model/extension_log.h"
#include "model/read_summary.h"
#include "model/shared_store.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"

namespace km {
namespace {

using km::testing::Json;
using km::testing::TempDir;

// A valid record; the cases replace parts of its text to make it invalid in one way.
const std::string kRecord =
    R"({"currentDayInt":42,"currentDate":794097000.5,"isLoggedIn":true,"energyCurrent":1520.5,)"
    R"("energyTotal":2200,"fatCurrent":40,"fatTotal":70,"proteinCurrent":90,"proteinTotal":120,)"
    R"("carbsCurrent":180,"carbsTotal":250,"energyDays":[1800,2100,1950,2300,1700,2000,1520.5],)"
    R"("isKilojoules":false})";

std::string replaced(const std::string& from, const std::string& to) {
  std::string s = kRecord;
  const auto at = s.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return at == std::string::npos ? s : s.replace(at, from.size(), to);
}

// "ok", or the error, which must be one line.
std::string outcome(const std::string& json) {
  auto decoded = decodeSummary(json);
  if (decoded.ok()) return "ok";
  EXPECT_EQ(decoded.error().message.find('\n'), std::string::npos) << decoded.error().message;
  return decoded.error().message;
}

TEST(SummaryDecodingTest, DecodesEveryFieldOfAValidRecordAndEncodesItBack) {
  const WidgetNutritionSummary want{42,   Date{794097000.5},
                                    true, 1520.5,
                                    2200, 40,
                                    70,   90,
                                    120,  180,
                                    250,  {1800, 2100, 1950, 2300, 1700, 2000, 1520.5},
                                    false};
  auto decoded = decodeSummary(kRecord);
  ASSERT_TRUE(decoded.ok()) << decoded.error().message;
  EXPECT_EQ(decoded.value(), want);
  EXPECT_EQ(decodeSummary(encodeSummary(want)).value(), want);
}

TEST(SummaryDecodingTest, AcceptsAndRejectsTheDocumentedEdges) {
  km::testing::checkRows(km::testing::loadCases("model/cases.json"), "decode", [](const Json& in) {
    if (in.is_string()) return outcome(in.get<std::string>());
    std::string json = kRecord;
    for (std::size_t i = 0; i + 1 < in.size(); i += 2) {
      const std::string from = in[i], to = in[i + 1];
      const auto at = json.find(from);
      EXPECT_NE(at, std::string::npos) << from;
      if (at != std::string::npos) json.replace(at, from.size(), to);
    }
    return outcome(json);
  });
  // A number too long to quote is cut; a record at the size bound decodes, one byte more is
  // refused unread. White space after the object pads a record to a size.
  const std::string huge = "1" + std::string(1'000'000, '0');
  EXPECT_EQ(outcome(replaced("1520.5,", huge + ",")),
            "data corrupted: the data is not valid JSON (line 1, column 81: number overflow: 1" +
                std::string(58, '0') + "…)");
  EXPECT_EQ(outcome(kRecord + std::string(kMaxSummaryBytes - kRecord.size(), ' ')), "ok");
  EXPECT_EQ(outcome(kRecord + std::string(kMaxSummaryBytes + 1 - kRecord.size(), ' ')),
            "data corrupted: the record is 1048577 bytes long, more than the 1048576 bytes a "
            "record may have");
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
  // Day 1 at the current moment, signed in, an empty week in calories; the store fallback and
  // the decoding fallback differ in their figures.
  const std::vector<double> week(7, 0.0);
  const Date now{800000000};
  const WidgetNutritionSummary storeFallback{1,  now, true, 1300, 2000, 80,   100,
                                             99, 72,  140,  100,  week, false};
  const WidgetNutritionSummary decodeFallback{1,  now, true, 825, 2100, 115,  100,
                                              65, 90,  200,  250, week, false};
  struct Case {
    const char* what;
    std::function<void(ReadSummaryTest&)> prepare;
    SummarySource source;
    const WidgetNutritionSummary& want;
  } cases[] = {
      {"no store file", [](ReadSummaryTest&) {}, SummarySource::storeFallback, storeFallback},
      {"no value under the key",
       [](ReadSummaryTest& t) {
         ASSERT_TRUE(UserDefaults::openFile(t.path_, UserDefaults::Access::readWrite).ok());
       },
       SummarySource::storeFallback, storeFallback},
      {"the record stored as a string", [](ReadSummaryTest& t) { t.store(kRecord); },
       SummarySource::storeFallback, storeFallback},
      {"a record without energyDays",
       [](ReadSummaryTest& t) {
         t.storeBytes(replaced(",\"energyDays\":[1800,2100,1950,2300,1700,2000,1520.5]", ""));
       },
       SummarySource::decodeFallback, decodeFallback},
      {"a date as ISO-8601 text",
       [](ReadSummaryTest& t) {
         t.storeBytes(replaced("794097000.5", "\"2026-03-01T22:30:00Z\""));
       },
       SummarySource::decodeFallback, decodeFallback},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    km::testing::removeStore(path_);
    c.prepare(*this);
    std::ostringstream log;
    SummaryRead read;
    {
      ScopedExtensionLog capture(log);
      read = readSummaryWithSource();
    }
    EXPECT_EQ(read.source, c.source);
    EXPECT_EQ(read.summary, c.want);
    // Exactly one line for a decoding failure, nothing otherwise.
    const std::string text = log.str();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
              c.source == SummarySource::decodeFallback ? 1 : 0)
        << text;
  }
  EXPECT_EQ(placeholderSummary(Date{5}),
            (WidgetNutritionSummary{1, Date{5}, true, 0, 2000, 0, 50, 0, 50, 0, 50, week, false}));
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
  const std::string json =
      replaced("794097000.5,\"isLoggedIn\":true", "799913600,\"isLoggedIn\":false");
  storeBytes(json);
  const SummaryRead read = readSummaryWithSource();
  EXPECT_EQ(read.source, SummarySource::stored);
  EXPECT_EQ(read.summary, decodeSummary(json).value());
  EXPECT_FALSE(read.summary.isLoggedIn);
}

}  // namespace
}  // namespace km
