#pragma once

// UserDefaults: the app group's key-value store, in one SQLite file.

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/result.h"

namespace km {

// Raw bytes, as a data blob of the store holds them.
using Data = std::vector<std::uint8_t>;

// One stored value with its type kept: a data blob and a string with the same bytes are
// different values, as they are in the phone's user defaults.
using StoreValue = std::variant<Data, std::string, std::int64_t, double, bool>;

// A data blob read with a bound on its size: the blob itself only when it is within the bound,
// else just its size, so that an oversized value is never brought into memory.
struct BoundedData {
  std::optional<Data> data;
  std::optional<std::size_t> oversizedBytes;
};

// The key-value store of an app group (a "suite"), shared between the app and its extensions,
// kept in one SQLite file in the group's container folder. The file is in WAL mode, so one
// writer and many readers in different processes never see a torn value.
//
// Nothing is cached: every read asks the database, so a value the app has just committed is seen
// at once. What is kept is the reading connection: opening for reading reuses an open read-only
// connection of the calling thread to the same file (checked to still be the same file), so a
// read costs a query rather than a database open. A UserDefaults is movable, not copyable, and
// must be used on the thread that opened it.
//
// Only regular files are stores: a directory, FIFO, socket or device at the path is an error
// that says so, found without ever blocking in an open. A reader waits at most
// kReadLockWait for another process's lock (a writer's, or one holding the file exclusively)
// and then fails, so that a widget shows its fallback instead of stalling; writers wait longer.
class UserDefaults {
 public:
  enum class Access {
    // Opens an existing store only: a missing or unreadable file is an error. No schema work.
    read,
    // Creates the file, its folders and its table as needed.
    readWrite,
  };

  // The longest a read waits for a lock held by another connection.
  static constexpr std::chrono::milliseconds kReadLockWait{50};

  // The environment variable that names the store's file, overriding the default location.
  static constexpr const char* kStorePathVariable = "KMWIDGET_STORE";

  // The file of a suite: the process's store override (`--store`), else $KMWIDGET_STORE, else
  // $XDG_DATA_HOME (or ~/.local/share)/kalomate/app-groups/<suite>/<suite>.sqlite.
  static std::string storePath(std::string_view suiteName);

  // An error (never a crash) when the store cannot be opened: a missing, unreadable or corrupt
  // file, or a file that is not a store.
  static Result<UserDefaults> open(std::string_view suiteName, Access access);
  static Result<UserDefaults> openFile(const std::string& path, Access access);

  UserDefaults(UserDefaults&&) noexcept = default;
  UserDefaults& operator=(UserDefaults&&) noexcept = default;
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;
  ~UserDefaults();

  const std::string& path() const { return path_; }

  // The value under `key`; nullopt when absent. An error when the database fails.
  Result<std::optional<StoreValue>> object(std::string_view key);
  // A string value, or a number's decimal text (the platform's rule); nullopt otherwise.
  std::optional<std::string> string(std::string_view key);
  // A data blob; nullopt when absent or of another type.
  std::optional<Data> data(std::string_view key);
  // A data blob of at most `maxBytes`; a longer one is reported by its size without being read.
  // Both empty when the value is absent, of another type, or the database fails.
  BoundedData data(std::string_view key, std::size_t maxBytes);

  Status set(std::string_view key, const StoreValue& value);
  Status removeObject(std::string_view key);

  // An open database connection; opaque outside the implementation.
  struct Connection;

 private:
  UserDefaults(std::shared_ptr<Connection> connection, std::string path);

  std::shared_ptr<Connection> connection_;
  std::string path_;
};

// While one lives, the store reads of its thread share one wait for locks of `budget` in
// total instead of kReadLockWait each: the seven reads of a timeline cost no more than one when
// another process holds the store. Guards nest; the innermost applies.
class ScopedStoreWaitBudget {
 public:
  explicit ScopedStoreWaitBudget(std::chrono::milliseconds budget = UserDefaults::kReadLockWait);
  ~ScopedStoreWaitBudget();
  ScopedStoreWaitBudget(const ScopedStoreWaitBudget&) = delete;
  ScopedStoreWaitBudget& operator=(const ScopedStoreWaitBudget&) = delete;

 private:
  std::optional<std::chrono::steady_clock::time_point> previous_;
};

}  // namespace km
