// Watching the shared store's folder with inotify, settled by a timer.

#include "platform/foundation/store_change_notice.h"

#include <sqlite3.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace km {

namespace {

// What inotify is asked about the watched folder: files written, created, deleted or renamed
// in it, and the folder itself going away.
constexpr std::uint32_t kWatchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                     IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF |
                                     IN_MOVE_SELF | IN_ONLYDIR;

// A writer's commit becomes visible to readers when it updates the shared-memory index, which
// inotify does not see (it is a mapped file), shortly after the write of the log that it does
// see. So a check that finds nothing new is repeated a few times, at growing intervals; the same
// covers a store that was locked at the first look.
constexpr int kRetries = 5;
constexpr long kFirstRetryMs = 20;

// How often the store is looked at when the kernel gives no inotify instance.
constexpr long kFallbackPeriodMs = 1000;

struct FileIdentity {
  bool exists = false;
  dev_t device = 0;
  ino_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Only a regular file counts as the store: a folder, a pipe or a device at its path is treated
// as no store at all (opening a pipe would block).
FileIdentity identityOf(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return {};
  return {true, st.st_dev, st.st_ino};
}

void armTimer(int timer, long firstMs, long periodMs) {
  itimerspec spec{};
  spec.it_value.tv_sec = firstMs / 1000;
  spec.it_value.tv_nsec = (firstMs % 1000) * 1'000'000;
  spec.it_interval.tv_sec = periodMs / 1000;
  spec.it_interval.tv_nsec = (periodMs % 1000) * 1'000'000;
  ::timerfd_settime(timer, 0, &spec, nullptr);
}

}  // namespace

struct StoreChangeNotice::State {
  std::string path;
  std::filesystem::path folder;
  std::string name;  // the store file's name in its folder

  int epoll = -1;
  int inotify = -1;
  int timer = -1;
  int watch = -1;
  bool watchingFolder = false;  // false while only an ancestor exists

  FileIdentity identity;
  sqlite3* db = nullptr;
  std::optional<std::int64_t> dataVersion;
  int retriesLeft = 0;

  ~State() {
    closeDatabase();
    for (int fd : {epoll, inotify, timer}) {
      if (fd >= 0) ::close(fd);
    }
  }

  void closeDatabase() {
    if (db) sqlite3_close(db);
    db = nullptr;
    dataVersion.reset();
  }

  // A read-only connection of our own, kept open: `data_version` only tells about commits made
  // by other connections since this one last asked.
  void openDatabase() {
    closeDatabase();
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr) !=
        SQLITE_OK) {
      closeDatabase();
      return;
    }
    // A writer holding the lock is waited for only briefly; the retry looks again later.
    sqlite3_busy_timeout(db, 20);
    dataVersion = readDataVersion();
  }

  std::optional<std::int64_t> readDataVersion() {
    if (!db) return std::nullopt;
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA data_version", -1, &statement, nullptr) != SQLITE_OK)
      return std::nullopt;
    std::optional<std::int64_t> version;
    if (sqlite3_step(statement) == SQLITE_ROW) version = sqlite3_column_int64(statement, 0);
    sqlite3_finalize(statement);
    return version;
  }

  // Watches the store's folder, or while it does not exist the nearest ancestor that does, so
  // that the folder's creation is seen.
  void watchFolder() {
    if (inotify < 0) return;
    std::filesystem::path dir = folder;
    int added = -1;
    for (;;) {
      added = ::inotify_add_watch(inotify, dir.c_str(), kWatchMask);
      if (added >= 0 || !dir.has_relative_path()) break;
      dir = dir.parent_path();
    }
    // Events of the watch given up (its removal among them) are ignored by their descriptor.
    if (watch >= 0 && watch != added) ::inotify_rm_watch(inotify, watch);
    const bool wasPolling = polling();
    watch = added;
    watchingFolder = watch >= 0 && dir == folder;
    // No folder could be watched (the user's inotify watches used up): look once a second
    // until one can.
    if (polling() != wasPolling)
      armTimer(timer, polling() ? kFallbackPeriodMs : 0, polling() ? kFallbackPeriodMs : 0);
  }

  // Whether the store is looked at on a timer rather than on inotify's word.
  bool polling() const { return inotify < 0 || watch < 0; }

  // Whether the content changed since the last check.
  bool check() {
    const FileIdentity now = identityOf(path);
    if (now != identity) {
      identity = now;
      if (now.exists) {
        openDatabase();
      } else {
        closeDatabase();
      }
      return true;
    }
    if (!now.exists) return false;
    if (!db) {
      // It could not be opened before (locked, not yet a database); a first good look counts.
      openDatabase();
      return dataVersion.has_value();
    }
    const auto version = readDataVersion();
    if (!version) return false;  // locked or unreadable this time: looked at again by a retry
    if (dataVersion && *version == *dataVersion) return false;
    dataVersion = version;
    return true;
  }

  // Reads the pending inotify events; true when one concerns the store.
  bool readEvents() {
    bool relevant = false;
    bool rewatch = false;
    alignas(inotify_event) char buffer[4096];
    for (;;) {
      const ssize_t n = ::read(inotify, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      for (ssize_t at = 0; at < n;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        if (event->mask & IN_Q_OVERFLOW) {
          relevant = true;  // events were lost: look
          continue;
        }
        if (event->wd != watch) continue;
        if (event->mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF)) {
          rewatch = true;
          relevant = true;
          continue;
        }
        if (!watchingFolder) {
          // Something appeared in an ancestor: perhaps the store's folder, so look again.
          rewatch = true;
          relevant = true;
          continue;
        }
        const std::string_view file = event->len ? std::string_view(event->name) : "";
        // The database and its write-ahead log or rollback journal; not the shared-memory
        // index, which readers write too.
        if (file == name || file == name + "-wal" || file == name + "-journal") relevant = true;
      }
    }
    if (rewatch) watchFolder();
    return relevant;
  }
};

StoreChangeNotice::StoreChangeNotice(std::string storePath) : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.path = std::move(storePath);
  const std::filesystem::path file = std::filesystem::absolute(s.path);
  s.folder = file.parent_path();
  s.name = file.filename().string();
  s.epoll = ::epoll_create1(EPOLL_CLOEXEC);
  s.inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  s.timer = ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  for (int fd : {s.inotify, s.timer}) {
    if (fd < 0 || s.epoll < 0) continue;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    ::epoll_ctl(s.epoll, EPOLL_CTL_ADD, fd, &event);
  }
  s.watchFolder();
  if (s.polling()) armTimer(s.timer, kFallbackPeriodMs, kFallbackPeriodMs);
  // The state at start is the baseline: nothing has changed yet.
  s.identity = identityOf(s.path);
  if (s.identity.exists) s.openDatabase();
  // Opening our connection may have created the log file: our own doing, not a change.
  if (s.inotify >= 0) s.readEvents();
}

StoreChangeNotice::~StoreChangeNotice() = default;

const std::string& StoreChangeNotice::storePath() const {
  return state_->path;
}

int StoreChangeNotice::fd() const {
  return state_->epoll;
}

bool StoreChangeNotice::consume() {
  State& s = *state_;
  bool relevant = false;
  bool retry = false;
  if (s.inotify >= 0 && s.readEvents()) {
    relevant = true;
    s.retriesLeft = kRetries;  // a new burst of writes: look again a few times after it
  }
  std::uint64_t expirations = 0;
  if (s.timer >= 0 && ::read(s.timer, &expirations, sizeof expirations) > 0) retry = true;
  if (!relevant && !retry) return false;
  if (s.polling() && s.inotify >= 0) s.watchFolder();  // perhaps a watch can be had now
  const bool changed = s.check();
  if (s.polling()) return changed;  // the periodic timer keeps running
  if (changed || s.retriesLeft == 0) {
    s.retriesLeft = 0;
    armTimer(s.timer, 0, 0);  // disarmed
  } else {
    const int done = kRetries - s.retriesLeft;
    armTimer(s.timer, kFirstRetryMs << done, 0);
    --s.retriesLeft;
  }
  return changed;
}

bool StoreChangeNotice::waitForChange(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    epoll_event event{};
    const int n = ::epoll_wait(state_->epoll, &event, 1, static_cast<int>(left.count()));
    if (n < 0 && errno != EINTR) return false;
    if (n > 0 && consume()) return true;
  }
}

}  // namespace km
