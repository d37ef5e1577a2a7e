// The user defaults stored in SQLite: typed values by key, safe across processes.

#include "platform/foundation/user_defaults.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>

#include "platform/foundation/process_settings.h"

namespace km {
namespace {

// The stored type tags. The numbers are part of the file format: never renumber.
enum class Tag : int { data = 1, string = 2, integer = 3, real = 4, boolean = 5 };

constexpr const char* kSelect = "SELECT type, value FROM kv WHERE key = ?1";
// The size first, and the value only when it is within the bound: length() of a blob reads its
// record header, not its overflow pages, so an oversized value is never loaded. The key is
// matched by a scan ("+key" keeps the primary key out of it) because a seek in a table without
// rowids compares whole cells, reading every page of a large value; a store holds a handful of
// keys. One statement, so the size and the value come from the same snapshot.
constexpr const char* kSelectBounded =
    "SELECT type, length(value), CASE WHEN length(value) <= ?2 THEN value END FROM kv "
    "WHERE +key = ?1";
constexpr const char* kUpsert =
    "INSERT INTO kv(key, type, value) VALUES(?1, ?2, ?3) "
    "ON CONFLICT(key) DO UPDATE SET type = excluded.type, value = excluded.value";
constexpr const char* kDelete = "DELETE FROM kv WHERE key = ?1";
// WAL mode is a property of the file, so it is set once when the store is created; readers
// then never do schema or journal work on open.
constexpr const char* kCreate =
    "PRAGMA journal_mode = WAL;"
    "CREATE TABLE IF NOT EXISTS kv(key TEXT PRIMARY KEY NOT NULL, type INTEGER NOT NULL, value)"
    " WITHOUT ROWID;";
// Writers from the app and the CLI may overlap with readers; a writer waits rather than fails.
constexpr int kWriterBusyTimeoutMs = 2000;

Error sqliteError(std::string_view what, const std::string& path, sqlite3* db) {
  return Error{std::string(what) + " " + path + ": " + (db ? sqlite3_errmsg(db) : "out of memory")};
}

// What is wrong with a path that names something other than a regular file; nullopt for one.
std::optional<std::string> notAStoreFile(mode_t mode) {
  if (S_ISREG(mode)) return std::nullopt;
  if (S_ISDIR(mode)) return "it is a directory";
  if (S_ISFIFO(mode)) return "it is a FIFO, not a database file";
  if (S_ISSOCK(mode)) return "it is a socket, not a database file";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "it is a device, not a database file";
  return "it is not a regular file";
}

// SQLite's own open, which the guard below wraps.
sqlite3_syscall_ptr gSystemOpen = nullptr;

// Every file SQLite opens goes through here. The caller checks the path before opening, but the
// path may be replaced between that check and SQLite's open: opening without blocking and
// checking the opened file closes that gap, so a FIFO swapped in never hangs a read. Directories
// pass (SQLite opens the store's folder to sync it), and so does the random device SQLite
// seeds itself from.
int openRegularFiles(const char* path, int flags, int mode) {
  using Open = int (*)(const char*, int, int);
  const int fd = reinterpret_cast<Open>(gSystemOpen)(path, flags | O_NONBLOCK, mode);
  if (fd < 0) return fd;
  struct stat st {};
  if (::fstat(fd, &st) != 0 || (!S_ISREG(st.st_mode) && !S_ISDIR(st.st_mode) &&
                                !(S_ISCHR(st.st_mode) && std::strcmp(path, "/dev/urandom") == 0))) {
    ::close(fd);
    errno = ENXIO;
    return -1;
  }
  if ((flags & O_NONBLOCK) == 0) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  return fd;
}

void guardSqliteOpens() {
  static std::once_flag once;
  std::call_once(once, [] {
    sqlite3_vfs* vfs = sqlite3_vfs_find(nullptr);
    if (!vfs || vfs->iVersion < 3 || !vfs->xGetSystemCall) return;
    gSystemOpen = vfs->xGetSystemCall(vfs, "open");
    if (gSystemOpen) {
      vfs->xSetSystemCall(vfs, "open", reinterpret_cast<sqlite3_syscall_ptr>(openRegularFiles));
    }
  });
}

// The moment by which the calling thread's reads stop waiting for locks, when a
// ScopedStoreWaitBudget is in force.
thread_local std::optional<std::chrono::steady_clock::time_point> tSharedDeadline;

// RAII for a statement prepared for one call.
struct Statement {
  sqlite3_stmt* stmt = nullptr;
  ~Statement() { sqlite3_finalize(stmt); }
};

void bindKey(sqlite3_stmt* stmt, std::string_view key) {
  sqlite3_bind_text(stmt, 1, key.data(), static_cast<int>(key.size()), SQLITE_TRANSIENT);
}

}  // namespace

std::string UserDefaults::storePath(std::string_view suiteName) {
  if (auto path = storePathOverride()) return *path;
  if (const char* path = std::getenv(kStorePathVariable); path && *path) return path;
  std::filesystem::path base;
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) {
    base = xdg;
  } else if (const char* home = std::getenv("HOME"); home && *home) {
    base = std::filesystem::path(home) / ".local" / "share";
  } else {
    base = std::filesystem::temp_directory_path();
  }
  const std::string suite(suiteName);
  return (base / "kalomate" / "app-groups" / suite / (suite + ".sqlite")).string();
}

Result<UserDefaults> UserDefaults::open(std::string_view suiteName, Access access) {
  return openFile(storePath(suiteName), access);
}

// One SQLite connection with its prepared lookup; closed when the last holder lets go.
struct UserDefaults::Connection {
  sqlite3* db = nullptr;
  sqlite3_stmt* select = nullptr;         // prepared once per connection
  sqlite3_stmt* selectBounded = nullptr;  // prepared on first use
  dev_t device = 0;
  ino_t inode = 0;
  // A reading connection's lock wait ends here; set before each use.
  std::chrono::steady_clock::time_point deadline;

  Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    sqlite3_finalize(select);
    sqlite3_finalize(selectBounded);
    sqlite3_close(db);
  }

  // Starts the lock wait of one read: the shared budget's end when one is in force.
  void startRead() {
    deadline = tSharedDeadline.value_or(std::chrono::steady_clock::now() + kReadLockWait);
  }

  // SQLite's busy handler of reading connections: polls the lock in short sleeps until the
  // deadline. SQLite's own timeout sleeps in growing steps and would overshoot a bound this
  // short.
  static int waitForLock(void* self, int attempts) {
    const auto deadline = static_cast<Connection*>(self)->deadline;
    const auto now = std::chrono::steady_clock::now();
    if (now >= deadline) return 0;
    const std::chrono::steady_clock::duration step =
        std::chrono::milliseconds(attempts < 4 ? 1 : 5);
    std::this_thread::sleep_for(std::min(step, deadline - now));
    return 1;
  }
};

namespace {

// The calling thread's read-only connections by path. Connections use no SQLite mutexes, so
// each stays on the thread that opened it. A handful of stores at most; the bound only guards
// against a program that walks through many files.
constexpr std::size_t kMaxCachedConnections = 8;

std::unordered_map<std::string, std::shared_ptr<UserDefaults::Connection>>& threadConnections() {
  thread_local std::unordered_map<std::string, std::shared_ptr<UserDefaults::Connection>> cache;
  return cache;
}

}  // namespace

Result<UserDefaults> UserDefaults::openFile(const std::string& path, Access access) {
  // Reading connections are kept per thread and reused while the path still names the same
  // file: opening SQLite afresh for every read rebuilt the WAL index from the -wal file each time
  // and cost hundreds of microseconds, against a few for a query on an open connection.
  guardSqliteOpens();
  struct stat st {};
  const bool exists = ::stat(path.c_str(), &st) == 0;
  if (!exists && (access == Access::read || errno != ENOENT)) {
    return Error{"cannot open store " + path + ": " + std::strerror(errno)};
  }
  if (exists) {
    if (auto what = notAStoreFile(st.st_mode))
      return Error{"cannot open store " + path + ": " + *what};
  }
  if (access == Access::read) {
    auto& cache = threadConnections();
    if (auto it = cache.find(path); it != cache.end()) {
      if (it->second->device == st.st_dev && it->second->inode == st.st_ino) {
        return UserDefaults(it->second, path);
      }
      cache.erase(it);  // the file was replaced: the old connection reads the old file
    }
  }

  // Readers open read-only, so that closing never checkpoints or deletes the WAL files.
  int flags = SQLITE_OPEN_NOMUTEX;
  if (access == Access::read) {
    flags |= SQLITE_OPEN_READONLY;
  } else {
    flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    std::error_code ec;
    const auto parent = std::filesystem::path(path).parent_path();
    if (!parent.empty()) std::filesystem::create_directories(parent, ec);
    if (ec) {
      return Error{"cannot create the store's folder " + parent.string() + ": " + ec.message()};
    }
  }
  auto connection = std::make_shared<Connection>();
  if (sqlite3_open_v2(path.c_str(), &connection->db, flags, nullptr) != SQLITE_OK) {
    // Replaced by something that is not a file since the check above?
    if (::stat(path.c_str(), &st) == 0) {
      if (auto what = notAStoreFile(st.st_mode)) {
        return Error{"cannot open store " + path + ": " + *what};
      }
    }
    return sqliteError("cannot open store", path, connection->db);
  }
  sqlite3* db = connection->db;
  if (access == Access::read) {
    connection->startRead();
    sqlite3_busy_handler(db, &Connection::waitForLock, connection.get());
  } else {
    sqlite3_busy_timeout(db, kWriterBusyTimeoutMs);
  }
  if (access == Access::readWrite) {
    // Keep the -wal and -shm files when the writer closes, so that read-only connections find
    // them and need not create them.
    int persist = 1;
    sqlite3_file_control(db, "main", SQLITE_FCNTL_PERSIST_WAL, &persist);
    if (sqlite3_exec(db, kCreate, nullptr, nullptr, nullptr) != SQLITE_OK) {
      return sqliteError("cannot set up store", path, db);
    }
  }
  // Preparing reads the schema: a corrupt file or a database that is not a store fails here,
  // at open, rather than on the first read.
  if (sqlite3_prepare_v3(db, kSelect, -1, SQLITE_PREPARE_PERSISTENT, &connection->select,
                         nullptr) != SQLITE_OK) {
    return sqliteError("cannot open store", path, db);
  }
  if (access == Access::read) {
    connection->device = st.st_dev;
    connection->inode = st.st_ino;
    auto& cache = threadConnections();
    if (cache.size() >= kMaxCachedConnections) cache.clear();
    cache[path] = connection;
  }
  return UserDefaults(std::move(connection), path);
}

UserDefaults::UserDefaults(std::shared_ptr<Connection> connection, std::string path)
    : connection_(std::move(connection)), path_(std::move(path)) {}

UserDefaults::~UserDefaults() = default;

Result<std::optional<StoreValue>> UserDefaults::object(std::string_view key) {
  sqlite3_stmt* stmt = connection_->select;
  sqlite3* db = connection_->db;
  connection_->startRead();
  sqlite3_reset(stmt);
  bindKey(stmt, key);
  const int rc = sqlite3_step(stmt);
  if (rc == SQLITE_DONE) return std::optional<StoreValue>();
  if (rc != SQLITE_ROW) {
    Error error = sqliteError("cannot read store", path_, db);
    sqlite3_reset(stmt);
    return error;
  }
  std::optional<StoreValue> value;
  switch (static_cast<Tag>(sqlite3_column_int(stmt, 0))) {
    case Tag::data: {
      const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt, 1));
      const int size = sqlite3_column_bytes(stmt, 1);
      value = Data(bytes, bytes + size);
      break;
    }
    case Tag::string: {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 1));
      const int size = sqlite3_column_bytes(stmt, 1);
      value = std::string(text ? text : "", static_cast<std::size_t>(size));
      break;
    }
    case Tag::integer:
      value = static_cast<std::int64_t>(sqlite3_column_int64(stmt, 1));
      break;
    case Tag::real:
      value = sqlite3_column_double(stmt, 1);
      break;
    case Tag::boolean:
      value = sqlite3_column_int(stmt, 1) != 0;
      break;
    default:
      // A type this version does not know reads as absent rather than as something else.
      break;
  }
  sqlite3_reset(stmt);
  return value;
}

std::optional<std::string> UserDefaults::string(std::string_view key) {
  auto result = object(key);
  if (!result.ok() || !result.value()) return std::nullopt;
  const StoreValue& v = *result.value();
  if (const auto* s = std::get_if<std::string>(&v)) return *s;
  if (const auto* i = std::get_if<std::int64_t>(&v)) return std::to_string(*i);
  return std::nullopt;
}

std::optional<Data> UserDefaults::data(std::string_view key) {
  auto result = object(key);
  if (!result.ok() || !result.value()) return std::nullopt;
  if (auto* d = std::get_if<Data>(&*result.value())) return std::move(*d);
  return std::nullopt;
}

BoundedData UserDefaults::data(std::string_view key, std::size_t maxBytes) {
  sqlite3* db = connection_->db;
  sqlite3_stmt*& stmt = connection_->selectBounded;
  if (!stmt && sqlite3_prepare_v3(db, kSelectBounded, -1, SQLITE_PREPARE_PERSISTENT, &stmt,
                                  nullptr) != SQLITE_OK) {
    return {};
  }
  connection_->startRead();
  sqlite3_reset(stmt);
  bindKey(stmt, key);
  sqlite3_bind_int64(
      stmt, 2,
      static_cast<sqlite3_int64>(std::min<std::size_t>(maxBytes, std::numeric_limits<int>::max())));
  BoundedData result;
  if (sqlite3_step(stmt) == SQLITE_ROW &&
      static_cast<Tag>(sqlite3_column_int(stmt, 0)) == Tag::data) {
    const auto size = static_cast<std::size_t>(sqlite3_column_int64(stmt, 1));
    if (size > maxBytes) {
      result.oversizedBytes = size;
    } else {
      const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt, 2));
      result.data = bytes ? Data(bytes, bytes + size) : Data();
    }
  }
  sqlite3_reset(stmt);
  return result;
}

ScopedStoreWaitBudget::ScopedStoreWaitBudget(std::chrono::milliseconds budget)
    : previous_(tSharedDeadline) {
  tSharedDeadline = std::chrono::steady_clock::now() + budget;
}

ScopedStoreWaitBudget::~ScopedStoreWaitBudget() {
  tSharedDeadline = previous_;
}

Status UserDefaults::set(std::string_view key, const StoreValue& value) {
  sqlite3* db = connection_->db;
  Statement s;
  if (sqlite3_prepare_v2(db, kUpsert, -1, &s.stmt, nullptr) != SQLITE_OK) {
    return sqliteError("cannot write store", path_, db);
  }
  bindKey(s.stmt, key);
  std::visit(
      [&](const auto& v) {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, Data>) {
          sqlite3_bind_int(s.stmt, 2, static_cast<int>(Tag::data));
          // An empty blob must stay a blob, not become NULL.
          sqlite3_bind_blob(s.stmt, 3, v.empty() ? "" : static_cast<const void*>(v.data()),
                            static_cast<int>(v.size()), SQLITE_TRANSIENT);
        } else if constexpr (std::is_same_v<T, std::string>) {
          sqlite3_bind_int(s.stmt, 2, static_cast<int>(Tag::string));
          sqlite3_bind_text(s.stmt, 3, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
          sqlite3_bind_int(s.stmt, 2, static_cast<int>(Tag::integer));
          sqlite3_bind_int64(s.stmt, 3, v);
        } else if constexpr (std::is_same_v<T, double>) {
          sqlite3_bind_int(s.stmt, 2, static_cast<int>(Tag::real));
          sqlite3_bind_double(s.stmt, 3, v);
        } else {
          sqlite3_bind_int(s.stmt, 2, static_cast<int>(Tag::boolean));
          sqlite3_bind_int(s.stmt, 3, v ? 1 : 0);
        }
      },
      value);
  if (sqlite3_step(s.stmt) != SQLITE_DONE) return sqliteError("cannot write store", path_, db);
  return Ok{};
}

Status UserDefaults::removeObject(std::string_view key) {
  sqlite3* db = connection_->db;
  Statement s;
  if (sqlite3_prepare_v2(db, kDelete, -1, &s.stmt, nullptr) != SQLITE_OK) {
    return sqliteError("cannot write store", path_, db);
  }
  bindKey(s.stmt, key);
  if (sqlite3_step(s.stmt) != SQLITE_DONE) return sqliteError("cannot write store", path_, db);
  return Ok{};
}

}  // namespace km
