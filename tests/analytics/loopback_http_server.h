#pragma once

// A tiny HTTP/1.1 server on 127.0.0.1 with an ephemeral port, for testing the inspector client
// against real sockets. Each connection is served on its own thread, and the server behaves as
// told: a normal JSON answer (closing the connection, or keeping it alive for the next request),
// a 500, bytes that are not HTTP, an answer far larger than any client should buffer, or no
// answer at all (holding the connection until the server stops). While paused it records
// requests but holds their answers back.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace km::testing {

enum class ServerBehavior { ok, keepAlive, error500, garbage, hugeAnswer, hang };

struct ReceivedRequest {
  std::string method;
  std::string path;
  std::vector<std::pair<std::string, std::string>> headers;  // names in lower case
  std::string body;

  std::string header(const std::string& lowerName) const;
};

class LoopbackHttpServer {
 public:
  explicit LoopbackHttpServer(ServerBehavior behavior);
  ~LoopbackHttpServer();
  LoopbackHttpServer(const LoopbackHttpServer&) = delete;
  LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

  // "http://127.0.0.1:<port>/i"
  std::string url() const;
  std::vector<ReceivedRequest> requests() const;
  int connections() const { return connections_.load(); }
  bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout);
  void setPaused(bool paused) { paused_.store(paused); }

 private:
  void serve();
  void serveConnection(int fd);
  // Reads one request and answers it; false when the connection is to be closed.
  bool handle(int fd, std::string& pending);
  bool stopping() const { return stop_.load(); }

  ServerBehavior behavior_;
  int listenFd_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<bool> paused_{false};
  std::atomic<int> connections_{0};
  mutable std::mutex mutex_;
  std::condition_variable received_;
  std::vector<ReceivedRequest> requests_;
  std::thread thread_;
  std::vector<std::thread> connectionThreads_;  // touched only by `thread_`
};

}  // namespace km::testing
