#pragma once

// Fire-and-forget HTTP client for inspector reports.
//
// post() copies the body into a queue and returns at once; one background worker sends the
// queued bodies (POST, "Content-Type: application/json") through libcurl's multi interface,
// several transfers at once over kept-alive connections, with connect and total timeouts, TLS
// verification on, and a cap on how much of an answer is read. Answers are parsed and ignored;
// failures are only counted. A burst of reports (a replay, a sync) is therefore delivered whole
// as long as it fits the queue, which is bounded by the bytes waiting to be sent rather than by
// their number. Past the bound the oldest waiting reports are dropped first, and the system log
// says how many, once per burst ("[avo] Warning! ..."), so a slow or dead service costs bounded
// memory, never blocks the caller, and never loses reports silently. Destruction gives the queue
// a short flush, then aborts the transfers in flight and drops the rest.
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
#include <memory>
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
  // Bytes of report bodies waiting to be sent (each counts a few dozen bytes more for its
  // bookkeeping); a burst of thousands of reports fits.
  std::size_t queueBytes = 4 * 1024 * 1024;
  // Transfers in flight at once, each on a connection kept alive for the next report.
  std::size_t maxTransfers = 4;
  // Drops closer together than this are one burst and get one warning.
  std::chrono::milliseconds burstGap{1'000};
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
    std::uint64_t dropped = 0;   // refused (client disabled) or pushed out of a full queue
    std::uint64_t answered = 0;  // transfers that got an HTTP answer (any status)
    std::uint64_t failed = 0;    // transfers that failed (timeout, refused, TLS, too large)
    std::uint64_t certificateRejected = 0;  // of those, failed because the peer was not trusted
    std::uint64_t abandoned = 0;  // reports queued or in flight when shutdown gave up on them
  };

  explicit InspectorServiceClient(InspectorServiceOptions options = {});
  ~InspectorServiceClient();
  InspectorServiceClient(const InspectorServiceClient&) = delete;
  InspectorServiceClient& operator=(const InspectorServiceClient&) = delete;

  // Queues one JSON body, dropping the oldest waiting ones when the queue's bytes would exceed
  // the bound; false when this body itself was dropped (client disabled or shutting down, or a
  // body larger than the whole queue).
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
  enum class Outcome { answered, failed, certificateRejected };
  struct Worker;
  void run();
  // Called with the lock held: the body at the front of the queue leaves it.
  std::string popFront();
  // Called with the lock held: the warning line for the reports dropped since the last one.
  std::string dropWarning();

  InspectorServiceOptions options_;
  std::string endpoint_;
  bool enabled_ = false;

  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::condition_variable idle_;
  std::deque<std::string> queue_;
  std::size_t queuedBytes_ = 0;
  std::size_t inFlight_ = 0;
  bool workerSleeping_ = false;  // on `wake_`, with nothing queued or in flight
  bool workerPolling_ = false;   // in curl's poll, waiting for the network
  bool wakeupSent_ = false;      // a wake-up of the poll is already on its way
  bool stopping_ = false;
  std::chrono::steady_clock::time_point flushDeadline_{};
  std::uint64_t unreportedDrops_ = 0;
  Stats stats_;
  std::unique_ptr<Worker> worker_;  // curl handles; touched only by the worker thread
  // Set when the flush time is up; the transfers in flight are abandoned.
  std::atomic<bool> abort_{false};
  std::thread thread_;
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
