#include "analytics/inspector_service_client.h"

#include <arpa/inet.h>
#include <curl/curl.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <nlohmann/json.hpp>

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

InspectorServiceClient::InspectorServiceClient(InspectorServiceOptions options)
    : options_(std::move(options)), endpoint_(resolveEndpoint(options_.endpoint)) {
  initCurlOnce();
  enabled_ = isAcceptableInspectorEndpoint(endpoint_) && options_.queueCapacity > 0;
  if (enabled_) worker_ = std::thread([this] { run(); });
}

InspectorServiceClient::~InspectorServiceClient() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
    flushDeadline_ = std::chrono::steady_clock::now() + options_.shutdownFlush;
  }
  wake_.notify_all();
  if (worker_.joinable()) {
    // A transfer still running when the flush time is up is aborted through its progress
    // callback, so shutdown never waits for the service's own timeouts.
    std::unique_lock lock(mutex_);
    if (!idle_.wait_until(lock, flushDeadline_, [this] { return queue_.empty() && !busy_; })) {
      abort_.store(true);
    }
    lock.unlock();
    worker_.join();
  }
}

bool InspectorServiceClient::post(std::string body) {
  std::lock_guard lock(mutex_);
  if (!enabled_ || stopping_ || queue_.size() >= options_.queueCapacity) {
    ++stats_.dropped;
    return false;
  }
  queue_.push_back(std::move(body));
  ++stats_.accepted;
  // Waking the worker costs a system call; it is only needed when the worker sleeps on an empty
  // queue, otherwise it finds the report when it comes back for the next one.
  if (workerWaiting_) wake_.notify_one();
  return true;
}

InspectorServiceClient::Stats InspectorServiceClient::stats() const {
  std::lock_guard lock(mutex_);
  return stats_;
}

bool InspectorServiceClient::waitIdle(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return idle_.wait_for(lock, timeout, [this] { return queue_.empty() && !busy_; });
}

void InspectorServiceClient::run() {
  CURL* curl = curl_easy_init();
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
  for (;;) {
    std::string body;
    {
      std::unique_lock lock(mutex_);
      workerWaiting_ = true;
      wake_.wait(lock, [this] { return stopping_ || !queue_.empty(); });
      workerWaiting_ = false;
      if (queue_.empty() || abort_.load()) {
        stats_.abandoned += queue_.size();
        queue_.clear();
        break;
      }
      body = std::move(queue_.front());
      queue_.pop_front();
      busy_ = true;
    }
    const Outcome outcome = curl != nullptr ? send(curl, headers, body) : Outcome::failed;
    {
      std::lock_guard lock(mutex_);
      busy_ = false;
      ++(outcome == Outcome::answered ? stats_.answered : stats_.failed);
      if (outcome == Outcome::certificateRejected) ++stats_.certificateRejected;
      if (queue_.empty()) idle_.notify_all();
    }
  }
  idle_.notify_all();
  curl_slist_free_all(headers);
  if (curl != nullptr) curl_easy_cleanup(curl);
}

InspectorServiceClient::Outcome InspectorServiceClient::send(void* handle, void* headerList,
                                                             const std::string& body) {
  CURL* curl = handle;
  auto* headers = static_cast<curl_slist*>(headerList);
  Transfer transfer;
  transfer.maxAnswer = options_.maxResponseBytes;
  transfer.abort = &abort_;
  curl_easy_setopt(curl, CURLOPT_URL, endpoint_.c_str());
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);  // timeouts without signals: we are a thread
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!options_.caBundlePath.empty()) {
    curl_easy_setopt(curl, CURLOPT_CAINFO, options_.caBundlePath.c_str());
  }
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_POST, 1L);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.data());
  curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS,
                   static_cast<long>(options_.connectTimeout.count()));
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(options_.totalTimeout.count()));
  curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE,
                   static_cast<curl_off_t>(options_.maxResponseBytes));
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collectAnswer);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
  curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, checkAbort);
  curl_easy_setopt(curl, CURLOPT_XFERINFODATA, &transfer);

  const CURLcode code = curl_easy_perform(curl);
  if (code == CURLE_PEER_FAILED_VERIFICATION || code == CURLE_SSL_CACERT_BADFILE) {
    return Outcome::certificateRejected;
  }
  if (code != CURLE_OK) return Outcome::failed;
  // The answer carries nothing the client acts on; it is parsed only so that a malformed one is
  // known to be harmless, and then dropped.
  if (!transfer.answer.empty()) {
    const auto parsed = nlohmann::json::parse(transfer.answer, nullptr, /*allow_exceptions=*/false);
    (void)parsed.is_discarded();
  }
  return Outcome::answered;
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
