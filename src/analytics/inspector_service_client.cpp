// Sending inspector reports over HTTPS with libcurl, from a bounded queue on a thread of its own.

#include "analytics/inspector_service_client.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "analytics/system_log.h"

namespace km {
namespace {

std::atomic<InspectorServiceClient*> sharedOverride{nullptr};

void initCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

bool isLoopbackHost(std::string host) {
  if (host == "localhost") return true;
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  in_addr v4{};
  if (inet_pton(AF_INET, host.c_str(), &v4) == 1) {
    return (ntohl(v4.s_addr) >> 24) == 127;  // 127.0.0.0/8
  }
  in6_addr v6{};
  if (inet_pton(AF_INET6, host.c_str(), &v6) == 1) {
    static const in6_addr loopback = IN6ADDR_LOOPBACK_INIT;
    return std::equal(std::begin(v6.s6_addr), std::end(v6.s6_addr), std::begin(loopback.s6_addr));
  }
  return false;
}

std::string resolveEndpoint(const std::string& configured) {
  if (!configured.empty()) return configured;
  if (const char* fromEnvironment = std::getenv(kInspectorEndpointVariable)) {
    if (*fromEnvironment != '\0') return fromEnvironment;
  }
  return kDefaultInspectorEndpoint;
}

// State one transfer's callbacks see.
struct Transfer {
  std::string answer;
  std::size_t maxAnswer = 0;
  const std::atomic<bool>* abort = nullptr;
};

size_t collectAnswer(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  const size_t bytes = size * count;
  // Returning less than was given makes libcurl fail the transfer: a service that answers with
  // more than we are willing to hold is cut off rather than buffered.
  if (transfer->answer.size() + bytes > transfer->maxAnswer) return 0;
  transfer->answer.append(data, bytes);
  return bytes;
}

int checkAbort(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  return static_cast<Transfer*>(user)->abort->load(std::memory_order_relaxed) ? 1 : 0;
}

}  // namespace

bool isAcceptableInspectorEndpoint(const std::string& url) {
  CURLU* parsed = curl_url();
  if (parsed == nullptr) return false;
  bool acceptable = false;
  char* scheme = nullptr;
  char* host = nullptr;
  if (curl_url_set(parsed, CURLUPART_URL, url.c_str(), 0) == CURLUE_OK &&
      curl_url_get(parsed, CURLUPART_SCHEME, &scheme, 0) == CURLUE_OK &&
      curl_url_get(parsed, CURLUPART_HOST, &host, 0) == CURLUE_OK) {
    const std::string schemeText = scheme;
    const std::string hostText = host;
    // Names under ".invalid" never resolve; refusing them up front means an unconfigured client
    // starts no worker and makes no lookups.
    const bool invalidHost =
        hostText == "invalid" ||
        (hostText.size() > 8 && hostText.compare(hostText.size() - 8, 8, ".invalid") == 0);
    acceptable = !invalidHost &&
                 (schemeText == "https" || (schemeText == "http" && isLoopbackHost(hostText)));
  }
  curl_free(scheme);
  curl_free(host);
  curl_url_cleanup(parsed);
  return acceptable;
}

// The libcurl side of the worker: one multi handle, whose connection cache keeps connections
// alive between reports, and one easy handle per transfer slot, reused from report to report.
struct InspectorServiceClient::Worker {
  struct Slot {
    CURL* easy = nullptr;
    std::string body;
    Transfer transfer;
    bool busy = false;
  };

  CURLM* multi = nullptr;
  curl_slist* headers = nullptr;
  std::vector<Slot> slots;

  Worker(const InspectorServiceOptions& options, const std::string& endpoint,
         const std::atomic<bool>* abort)
      : multi(curl_multi_init()),
        headers(curl_slist_append(nullptr, "Content-Type: application/json")),
        slots(std::max<std::size_t>(1, options.maxTransfers)) {
    const auto connections = static_cast<long>(slots.size());
    curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, connections);
    curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, connections);
    for (Slot& slot : slots) {
      slot.transfer.maxAnswer = options.maxResponseBytes;
      slot.transfer.abort = abort;
      CURL* curl = slot.easy = curl_easy_init();
      if (curl == nullptr) continue;
      curl_easy_setopt(curl, CURLOPT_PRIVATE, &slot);
      curl_easy_setopt(curl, CURLOPT_URL, endpoint.c_str());
      curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
      curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);  // timeouts without signals: we are a thread
      curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
      curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
      if (!options.caBundlePath.empty()) {
        curl_easy_setopt(curl, CURLOPT_CAINFO, options.caBundlePath.c_str());
      }
      curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
      curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
      curl_easy_setopt(curl, CURLOPT_POST, 1L);
      curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS,
                       static_cast<long>(options.connectTimeout.count()));
      curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(options.totalTimeout.count()));
      curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE,
                       static_cast<curl_off_t>(options.maxResponseBytes));
      curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collectAnswer);
      curl_easy_setopt(curl, CURLOPT_WRITEDATA, &slot.transfer);
      curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
      curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, checkAbort);
      curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &slot.transfer);
    }
  }

  ~Worker() {
    for (Slot& slot : slots) {
      if (slot.busy) curl_multi_remove_handle(multi, slot.easy);
      if (slot.easy != nullptr) curl_easy_cleanup(slot.easy);
    }
    curl_multi_cleanup(multi);
    curl_slist_free_all(headers);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Starts sending `body` on `slot`; false when the slot has no handle.
  bool start(Slot& slot, std::string body) {
    if (slot.easy == nullptr || multi == nullptr) return false;
    slot.body = std::move(body);
    slot.transfer.answer.clear();
    curl_easy_setopt(slot.easy, CURLOPT_POSTFIELDS, slot.body.data());
    curl_easy_setopt(slot.easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(slot.body.size()));
    slot.busy = curl_multi_add_handle(multi, slot.easy) == CURLM_OK;
    return slot.busy;
  }
};

namespace {

// What a queued report costs besides its bytes (the string and the queue's bookkeeping), so that
// even empty bodies cannot queue without bound.
constexpr std::size_t kReportOverhead = 64;

std::string megabytes(std::size_t bytes) {
  const double mib = static_cast<double>(bytes) / (1024.0 * 1024.0);
  char text[32];
  std::snprintf(text, sizeof text, mib >= 1 ? "%.0f MiB" : "%.0f KiB",
                mib >= 1 ? mib : static_cast<double>(bytes) / 1024.0);
  return text;
}

}  // namespace

InspectorServiceClient::InspectorServiceClient(InspectorServiceOptions options)
    : options_(std::move(options)), endpoint_(resolveEndpoint(options_.endpoint)) {
  initCurlOnce();
  enabled_ = isAcceptableInspectorEndpoint(endpoint_) && options_.queueBytes > 0;
  if (enabled_) {
    worker_ = std::make_unique<Worker>(options_, endpoint_, &abort_);
    thread_ = std::thread([this] { run(); });
  }
}

InspectorServiceClient::~InspectorServiceClient() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    flushDeadline_ = std::chrono::steady_clock::now() + options_.shutdownFlush;
  }
  wake_.notify_all();
  if (thread_.joinable()) {
    // Transfers still running when the flush time is up are abandoned, so shutdown never waits
    // for the service's own timeouts.
    std::unique_lock lock(mutex_);
    if (!idle_.wait_until(lock, flushDeadline_,
                          [this] { return queue_.empty() && inFlight_ == 0; })) {
      abort_.store(true);
      curl_multi_wakeup(worker_->multi);
    }
    lock.unlock();
    thread_.join();
  }
}

std::string InspectorServiceClient::popFront() {
  std::string body = std::move(queue_.front());
  queue_.pop_front();
  queuedBytes_ -= body.size() + kReportOverhead;
  return body;
}

bool InspectorServiceClient::post(std::string body) {
  std::lock_guard lock(mutex_);
  const std::size_t cost = body.size() + kReportOverhead;
  if (!enabled_ || stopping_) {
    ++stats_.dropped;
    return false;
  }
  if (cost > options_.queueBytes) {
    ++stats_.dropped;
    ++unreportedDrops_;
    if (workerSleeping_) wake_.notify_one();  // to say so
    return false;
  }
  if (queuedBytes_ + cost > options_.queueBytes) {
    // The newest reports are the ones a reader of the inspector looks at, so the oldest go.
    while (queuedBytes_ + cost > options_.queueBytes) {
      (void)popFront();
      ++stats_.dropped;
      ++unreportedDrops_;
    }
  }
  queuedBytes_ += cost;
  queue_.push_back(std::move(body));
  ++stats_.accepted;
  // Waking the worker costs a system call; it is only needed when the worker sleeps, or waits on
  // the network with a transfer slot free. Otherwise it finds the report when a transfer ends.
  if (workerSleeping_) {
    wake_.notify_one();
  } else if (workerPolling_ && !wakeupSent_ && inFlight_ < worker_->slots.size()) {
    wakeupSent_ = true;
    curl_multi_wakeup(worker_->multi);
  }
  return true;
}

InspectorServiceClient::Stats InspectorServiceClient::stats() const {
  std::lock_guard lock(mutex_);
  return stats_;
}

bool InspectorServiceClient::waitIdle(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return idle_.wait_for(lock, timeout, [this] { return queue_.empty() && inFlight_ == 0; });
}

std::string InspectorServiceClient::dropWarning() {
  if (unreportedDrops_ == 0) return {};
  const std::uint64_t count = std::exchange(unreportedDrops_, 0);
  return "[avo] Warning! " + std::to_string(count) + " inspector report" +
         (count == 1 ? " was" : "s were") +
         " dropped, oldest first: the reports waiting to be sent outgrew their " +
         megabytes(options_.queueBytes) + " queue";
}

void InspectorServiceClient::run() {
  Worker& worker = *worker_;
  const auto classify = [](CURLcode code, const Transfer& transfer) {
    if (code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE) {
      return Outcome::certificateRejected;
    }
    if (code != CURLE_OK) return Outcome::failed;
    // The answer carries nothing the client acts on; it is parsed only so that a malformed one
    // is known to be harmless, and then dropped.
    if (!transfer.answer.empty()) {
      const auto parsed =
          nlohmann::json::parse(transfer.answer, nullptr, /*allow_exceptions=*/false);
      (void)parsed.is_discarded();
    }
    return Outcome::answered;
  };
  // When the drop count last changed, as the worker saw it: the posting side takes no clock
  // readings, so that a drop costs no more than an enqueue.
  std::uint64_t dropsSeen = 0;
  auto dropsChanged = std::chrono::steady_clock::now();
  for (;;) {
    std::string warning;
    {
      std::unique_lock lock(mutex_);
      const auto now = std::chrono::steady_clock::now();
      if (unreportedDrops_ != dropsSeen) {
        dropsSeen = unreportedDrops_;
        dropsChanged = now;
      }
      if (abort_.load()) break;
      for (auto& slot : worker.slots) {
        if (queue_.empty()) break;
        if (slot.busy) continue;
        if (worker.start(slot, popFront())) {
          ++inFlight_;
        } else {
          ++stats_.failed;
        }
      }
      // A burst is over when the queue has drained or no report was dropped for a while.
      if (unreportedDrops_ > 0 && (queue_.empty() || now - dropsChanged >= options_.burstGap)) {
        warning = dropWarning();
        dropsSeen = 0;
      } else if (inFlight_ == 0 && queue_.empty()) {
        // Idle is announced only after any warning is out, so a caller that waited for idle
        // sees it.
        idle_.notify_all();
        if (stopping_) break;
        workerSleeping_ = true;
        wake_.wait(lock, [this] { return stopping_ || !queue_.empty() || unreportedDrops_ > 0; });
        workerSleeping_ = false;
        continue;
      } else {
        workerPolling_ = true;
        wakeupSent_ = false;
      }
    }
    if (!warning.empty()) {
      systemLog(warning);
      continue;
    }

    int running = 0;
    curl_multi_perform(worker.multi, &running);
    bool finished = false;
    int pending = 0;
    while (CURLMsg* message = curl_multi_info_read(worker.multi, &pending)) {
      if (message->msg != CURLMSG_DONE) continue;
      Worker::Slot* slot = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &slot);
      const Outcome outcome = classify(message->data.result, slot->transfer);
      curl_multi_remove_handle(worker.multi, slot->easy);
      slot->busy = false;
      slot->body.clear();
      finished = true;
      std::lock_guard lock(mutex_);
      --inFlight_;
      ++(outcome == Outcome::answered ? stats_.answered : stats_.failed);
      if (outcome == Outcome::certificateRejected) ++stats_.certificateRejected;
    }
    // A finished transfer frees a slot: fill it before waiting on the network again.
    if (!finished) curl_multi_poll(worker.multi, nullptr, 0, 100, nullptr);
    std::lock_guard lock(mutex_);
    workerPolling_ = false;
  }
  std::string warning;
  {
    std::lock_guard lock(mutex_);
    stats_.abandoned += queue_.size() + inFlight_;
    queue_.clear();
    queuedBytes_ = 0;
    inFlight_ = 0;
    workerPolling_ = false;
    // Shutdown ends a burst too: its drops are said before the client goes.
    warning = dropWarning();
    idle_.notify_all();
  }
  if (!warning.empty()) systemLog(warning);
}

InspectorServiceClient& InspectorServiceClient::shared() {
  if (auto* client = sharedOverride.load()) return *client;
  static InspectorServiceClient client;
  return client;
}

ScopedInspectorServiceOverride::ScopedInspectorServiceOverride(InspectorServiceClient& client)
    : previous_(sharedOverride.exchange(&client)) {}

ScopedInspectorServiceOverride::~ScopedInspectorServiceOverride() {
  sharedOverride.store(previous_);
}

}  // namespace km
