#pragma once

// StoreChangeNotice: tells when another process may have changed the shared store.

#include <chrono>
#include <memory>
#include <string>

namespace km {

// Tells when the content of the shared store may have been changed by another process: the
// phone's "user defaults did change" notice. It does not poll the record. It watches the
// store's folder with inotify (the database file and its -wal and -journal files being written,
// created, deleted or renamed) and then asks SQLite whether anything was committed since it last
// looked (`PRAGMA data_version` on a connection of its own, plus the file's identity), so that
// reads, including this process's own, never count as a change.
//
// A missing, deleted, replaced or locked store never throws nor stops the notice: a store that
// appears, disappears or is replaced by another file counts as a change (readers fall back or
// read the new file), and the watch follows the folder if it is created or re-created later.
//
// Not thread-safe: one thread owns it (typically the host's main loop, polling fd()).
class StoreChangeNotice {
 public:
  explicit StoreChangeNotice(std::string storePath);
  ~StoreChangeNotice();
  StoreChangeNotice(const StoreChangeNotice&) = delete;
  StoreChangeNotice& operator=(const StoreChangeNotice&) = delete;

  const std::string& storePath() const;

  // A descriptor that becomes readable (poll/epoll POLLIN) when something may have changed;
  // call consume() then. Valid for the notice's lifetime. Without inotify (none to be had, or
  // no watch left) it becomes readable once a second instead, so a change is still seen.
  int fd() const;

  // Reads what made fd() readable and checks the store. True when the store's content changed
  // since the last check (a commit by another connection, or the file appeared, disappeared or
  // was replaced); false for our own reads and other noise. Never blocks for long (a locked
  // store is looked at again shortly after, by itself).
  bool consume();

  // Convenience for a dedicated thread or a test: waits up to `timeout` for a change; true when
  // one happened.
  bool waitForChange(std::chrono::milliseconds timeout);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace km
