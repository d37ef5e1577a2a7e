#pragma once

// Fire-and-forget HTTP client for inspector reports.
//
// post() copies the body into a bounded queue and returns at once; one background worker thread
// sends the queued bodies one after another (POST, "Content-Type: application/json") with connect
// and total timeouts, TLS verification on, and a cap on how much of an answer is read. Answers are
// parsed and ignored; failures are only counted. When the queue is full a new report is dropped
// and counted, so a slow or dead service costs memory of at most `queueCapacity` bodies and never
// blocks the caller. Destruction gives the queue a short flush, then aborts the transfer in
// flight and drops the rest.
//
// The endpoint must be https://; plain http:// is accepted only for loopback hosts (tests). An
// endpoint that breaks this rule disables the client (every report is dropped).
//
// Thread-safe: post(), stats() and waitIdle() may be called from any thread.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace km {

// Environment variable naming the inspector endpoint when no endpoint is given explicitly.
inline constexpr const char* kInspectorEndpointVariable = "KM_AVO_INSPECTOR_URL";
// The endpoint used when nothing is configured. Its ".invalid" host is reserved never to resolve,
// and the client treats it as disabled: an unconfigured client drops every report without
// touching the network. Deployments set the real endpoint.
inline constexpr const char* kDefaultInspectorEndpoint = "https://inspector.invalid/i";

struct InspectorServiceOptions {
  // Empty: the environment variable, else the default endpoint.
  std::string endpoint;
  std::size_t queueCapacity = 64;
  std::chrono::milliseconds connectTimeout{10'000};
  std::chrono::milliseconds totalTimeout{60'000};
  std::size_t maxResponseBytes = 64 * 1024;
  std::chrono::milliseconds shutdownFlush{500};
  // PEM file of the certificate authorities to trust; empty: the system's trust store.
  std::string caBundlePath;
};

class InspectorServiceClient {
 public:
  struct Stats {
    std::uint64_t accepted = 0;  // queued by post()
    std::uint64_t dropped = 0;   // refused by post(): queue full or client disabled
    std::uint64_t answered = 0;  // transfers that got an HTTP answer (any status)
    std::uint64_t failed = 0;    // transfers that failed (timeout, refused, TLS, too large)
    std::uint64_t certificateRejected = 0;  // of those, failed because the peer was not trusted
    std::uint64_t abandoned = 0;            // queued reports discarded at shutdown
  };

  explicit InspectorServiceClient(InspectorServiceOptions options = {});
  ~InspectorServiceClient();
  InspectorServiceClient(const InspectorServiceClient&) = delete;
  InspectorServiceClient& operator=(const InspectorServiceClient&) = delete;

  // Queues one JSON body; false when it was dropped.
  bool post(std::string body);

  Stats stats() const;
  const std::string& endpoint() const { return endpoint_; }
  bool enabled() const { return enabled_; }

  // Waits until the queue is empty and no transfer runs; false on timeout.
  bool waitIdle(std::chrono::milliseconds timeout);

  // The process-wide client the tracking client reports through (created on first use from the
  // environment variable), or the one a ScopedInspectorServiceOverride installed.
  static InspectorServiceClient& shared();

 private:
  void run();
  enum class Outcome { answered, failed, certificateRejected };
  // One POST; answered when the service sent an HTTP answer (any status).
  Outcome send(void* curl, void* headers, const std::string& body);

  InspectorServiceOptions options_;
  std::string endpoint_;
  bool enabled_ = false;

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<std::string> queue_;
  bool busy_ = false;
  bool workerWaiting_ = false;
  bool stopping_ = false;
  std::chrono::steady_clock::time_point flushDeadline_{};
  Stats stats_;
  // Set when the flush time is up; the transfer in flight gives up at its next progress tick.
  std::atomic<bool> abort_{false};
  std::thread worker_;
};

// True for https URLs, and for http URLs whose host is a loopback address; never for hosts
// under ".invalid".
bool isAcceptableInspectorEndpoint(const std::string& url);

// Makes InspectorServiceClient::shared() return `client` while alive. For tests and benchmarks.
class ScopedInspectorServiceOverride {
 public:
  explicit ScopedInspectorServiceOverride(InspectorServiceClient& client);
  ~ScopedInspectorServiceOverride();
  ScopedInspectorServiceOverride(const ScopedInspectorServiceOverride&) = delete;
  ScopedInspectorServiceOverride& operator=(const ScopedInspectorServiceOverride&) = delete;

 private:
  InspectorServiceClient* previous_;
};

}  // namespace km
