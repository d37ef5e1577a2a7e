// The notice against a real store file changed the ways an app, a user or a crash change it.

#include "platform/foundation/store_change_notice.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>

#include "fixtures/temp_dir.h"
#include "platform/foundation/user_defaults.h"

namespace km {
namespace {

using km::testing::TempDir;
using std::chrono::milliseconds;

void write(const std::string& path, const std::string& value) {
  auto store = UserDefaults::openFile(path, UserDefaults::Access::readWrite);
  ASSERT_TRUE(store) << store.error().message;
  ASSERT_TRUE(store->set("KMWidgetNutritionSummary", Data(value.begin(), value.end())));
}

void read(const std::string& path) {
  auto store = UserDefaults::openFile(path, UserDefaults::Access::read);
  ASSERT_TRUE(store);
  EXPECT_TRUE(store->data("KMWidgetNutritionSummary"));
}

// A writer in the middle of a long transaction, holding the write lock; it commits when
// released.
class ExclusiveLock {
 public:
  explicit ExclusiveLock(const std::string& path) {
    sqlite3_open(path.c_str(), &db_);
    char* error = nullptr;
    sqlite3_exec(
        db_, "BEGIN IMMEDIATE; CREATE TABLE IF NOT EXISTS probe(x); INSERT INTO probe VALUES(1);",
        nullptr, nullptr, &error);
    EXPECT_EQ(error, nullptr) << error;
    sqlite3_free(error);
  }
  void release() {
    if (!db_) return;
    sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db_);
    db_ = nullptr;
  }
  ~ExclusiveLock() { release(); }

 private:
  sqlite3* db_ = nullptr;
};

struct Step {
  std::string what;
  std::function<void(const std::string& store)> action;
  bool noticed;  // whether the notice must report a change (within a second) or stay quiet
};

TEST(StoreChangeNoticeTest, NoticesChangesAndNothingElse) {
  TempDir dir;
  const std::string folder = dir.file("group");
  const std::string store = folder + "/store.sqlite";
  std::unique_ptr<ExclusiveLock> lock;
  const Step steps[] = {
      {"the folder and the store appear", [](const std::string& s) { write(s, "a"); }, true},
      {"our own reads",
       [](const std::string& s) {
         read(s);
         read(s);
       },
       false},
      {"another connection writes", [](const std::string& s) { write(s, "b"); }, true},
      // SQLite leaves a page alone when the bytes written are those already there.
      {"the same value written again", [](const std::string& s) { write(s, "b"); }, false},
      {"a file beside the store", [&](const std::string&) { write(folder + "/other.sqlite", "x"); },
       false},
      {"the store is deleted", [](const std::string& s) { km::testing::removeStore(s); }, true},
      {"and written afresh", [](const std::string& s) { write(s, "c"); }, true},
      {"replaced by another file",
       [&](const std::string& s) {
         write(folder + "/next.sqlite", "d");
         std::filesystem::rename(folder + "/next.sqlite", s);
       },
       true},
      {"written after the replacement", [](const std::string& s) { write(s, "e"); }, true},
      {"locked by a writer",
       [&](const std::string& s) { lock = std::make_unique<ExclusiveLock>(s); }, false},
      {"the lock released with its write", [&](const std::string&) { lock.reset(); }, true},
      {"written after the lock", [](const std::string& s) { write(s, "f"); }, true},
      {"the whole folder removed", [&](const std::string&) { std::filesystem::remove_all(folder); },
       true},
      {"a pipe where the store was",
       [&](const std::string& s) {
         std::filesystem::create_directories(folder);
         ASSERT_EQ(::mkfifo(s.c_str(), 0600), 0);
       },
       false},
      {"a store again",
       [](const std::string& s) {
         std::filesystem::remove(s);
         write(s, "g");
       },
       true},
  };
  StoreChangeNotice notice(store);
  ASSERT_GE(notice.fd(), 0);
  for (const Step& step : steps) {
    SCOPED_TRACE(step.what);
    step.action(store);
    EXPECT_EQ(notice.waitForChange(milliseconds(step.noticed ? 1000 : 300)), step.noticed);
    // One change is reported once.
    if (step.noticed) {
      EXPECT_FALSE(notice.waitForChange(milliseconds(150)));
    }
  }
}

}  // namespace
}  // namespace km
