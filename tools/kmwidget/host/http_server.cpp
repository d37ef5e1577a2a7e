// The host's HTTP server on libmicrohttpd: requests, answers and the server-sent event stream.

#include "kmwidget/host/http_server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>

namespace km::host {

HttpResponse HttpResponse::json(int status, std::string body) {
  HttpResponse r;
  r.status = status;
  r.body = std::move(body);
  return r;
}

HttpResponse HttpResponse::error(int status, const std::string& message) {
  // A message may quote what the client sent, which need not be UTF-8.
  return json(status, nlohmann::json{{"error", message}}.dump(
                          -1, ' ', false, nlohmann::json::error_handler_t::replace));
}

namespace {

using Clock = std::chrono::steady_clock;

// What one connection has received so far, kept between MHD's calls for the same request.
struct RequestState {
  std::string body;
  bool tooLarge = false;
};

}  // namespace

// One event-stream client: the version of the document it has, and bytes not yet written.
struct EventClient {
  HttpServer::Impl* server = nullptr;
  MHD_Connection* connection = nullptr;
  std::uint64_t version = 0;
  std::string pending;
  Clock::time_point lastWrite = Clock::now();
};

struct HttpServer::Impl {
  Options options;
  Handler handler;
  MHD_Daemon* daemon = nullptr;
  std::uint16_t port = 0;

  std::mutex mutex;  // guards everything below
  std::string document;
  std::uint64_t version = 0;
  bool stopping = false;
  std::set<EventClient*> suspended;
  std::condition_variable heartbeatWake;
  std::thread heartbeat;

  // Resumes every waiting event client; with `mutex` held.
  void resumeAllLocked() {
    for (EventClient* c : suspended)
      MHD_resume_connection(c->connection);
    suspended.clear();
  }

  static MHD_Result access(void* cls, MHD_Connection* connection, const char* url,
                           const char* method, const char* /*version*/, const char* uploadData,
                           size_t* uploadSize, void** conCls);
  static ssize_t readEvents(void* cls, uint64_t pos, char* buf, size_t max);
  static void freeEventClient(void* cls);
  static void completed(void* cls, MHD_Connection* connection, void** conCls,
                        MHD_RequestTerminationCode code);
  MHD_Result send(MHD_Connection* connection, const HttpResponse& r);
  MHD_Result startEvents(MHD_Connection* connection);
};

MHD_Result HttpServer::Impl::send(MHD_Connection* connection, const HttpResponse& r) {
  MHD_Response* response = MHD_create_response_from_buffer(
      r.body.size(), const_cast<char*>(r.body.data()), MHD_RESPMEM_MUST_COPY);
  if (!response) return MHD_NO;
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, r.contentType.c_str());
  MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
  for (const auto& [name, value] : r.headers)
    MHD_add_response_header(response, name.c_str(), value.c_str());
  const MHD_Result queued =
      MHD_queue_response(connection, static_cast<unsigned>(r.status), response);
  MHD_destroy_response(response);
  return queued;
}

MHD_Result HttpServer::Impl::startEvents(MHD_Connection* connection) {
  auto* client = new EventClient{this, connection};
  MHD_Response* response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, 16 * 1024,
                                                             &readEvents, client, &freeEventClient);
  if (!response) {
    delete client;
    return MHD_NO;
  }
  MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, "text/event-stream");
  MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
  const MHD_Result queued = MHD_queue_response(connection, MHD_HTTP_OK, response);
  MHD_destroy_response(response);
  return queued;
}

ssize_t HttpServer::Impl::readEvents(void* cls, uint64_t /*pos*/, char* buf, size_t max) {
  auto* client = static_cast<EventClient*>(cls);
  Impl* self = client->server;
  std::lock_guard lock(self->mutex);
  if (self->stopping) return MHD_CONTENT_READER_END_OF_STREAM;
  if (client->pending.empty()) {
    if (client->version != self->version) {
      client->version = self->version;
      client->pending = "event: state\ndata: " + self->document + "\n\n";
    } else if (Clock::now() - client->lastWrite >=
               std::chrono::seconds(self->options.heartbeatSeconds)) {
      // A comment: keeps proxies and the browser content, and finds clients that went away.
      client->pending = ":\n\n";
    } else {
      // Nothing to say: park the connection until publish() or the heartbeat resumes it.
      self->suspended.insert(client);
      MHD_suspend_connection(client->connection);
      return 0;
    }
  }
  const size_t n = std::min(max, client->pending.size());
  std::memcpy(buf, client->pending.data(), n);
  client->pending.erase(0, n);
  client->lastWrite = Clock::now();
  return static_cast<ssize_t>(n);
}

void HttpServer::Impl::freeEventClient(void* cls) {
  auto* client = static_cast<EventClient*>(cls);
  {
    std::lock_guard lock(client->server->mutex);
    client->server->suspended.erase(client);
  }
  delete client;
}

MHD_Result HttpServer::Impl::access(void* cls, MHD_Connection* connection, const char* url,
                                    const char* method, const char* /*version*/,
                                    const char* uploadData, size_t* uploadSize, void** conCls) {
  Impl* self = static_cast<Impl*>(cls);
  // First call: headers only. Keep a state for the body that may follow.
  if (*conCls == nullptr) {
    *conCls = new RequestState;
    return MHD_YES;
  }
  auto* state = static_cast<RequestState*>(*conCls);
  if (*uploadSize != 0) {
    if (state->body.size() + *uploadSize > self->options.maxBodyBytes) {
      state->tooLarge = true;  // read and drop the rest; answer once it has all come
    } else {
      state->body.append(uploadData, *uploadSize);
    }
    *uploadSize = 0;
    return MHD_YES;
  }
  if (state->tooLarge) {
    return self->send(
        connection,
        HttpResponse::error(413, "the request body is larger than " +
                                     std::to_string(self->options.maxBodyBytes) + " bytes"));
  }
  HttpRequest request;
  request.method = method;
  request.path = url;
  request.body = std::move(state->body);
  MHD_get_connection_values(
      connection, MHD_GET_ARGUMENT_KIND,
      [](void* q, MHD_ValueKind, const char* key, const char* value) -> MHD_Result {
        (*static_cast<std::map<std::string, std::string>*>(q))[key] = value ? value : "";
        return MHD_YES;
      },
      &request.query);
  if (request.path == self->options.eventsPath) {
    if (request.method != "GET")
      return self->send(connection, HttpResponse::error(405, "GET only"));
    return self->startEvents(connection);
  }
  HttpResponse response;
  try {
    response = self->handler(request);
  } catch (const std::exception& e) {
    response = HttpResponse::error(500, e.what());
  }
  return self->send(connection, response);
}

void HttpServer::Impl::completed(void* /*cls*/, MHD_Connection* /*connection*/, void** conCls,
                                 MHD_RequestTerminationCode /*code*/) {
  delete static_cast<RequestState*>(*conCls);
  *conCls = nullptr;
}

HttpServer::HttpServer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

HttpServer::~HttpServer() {
  stop();
}

Result<std::unique_ptr<HttpServer>> HttpServer::start(Options options, Handler handler) {
  auto impl = std::make_unique<Impl>();
  sockaddr_storage address{};
  unsigned flags =
      MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
  if (options.address == "127.0.0.1") {
    auto* in = reinterpret_cast<sockaddr_in*>(&address);
    in->sin_family = AF_INET;
    in->sin_port = htons(options.port);
    in->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  } else if (options.address == "::1") {
    auto* in6 = reinterpret_cast<sockaddr_in6*>(&address);
    in6->sin6_family = AF_INET6;
    in6->sin6_port = htons(options.port);
    in6->sin6_addr = in6addr_loopback;
    flags |= MHD_USE_IPv6;
  } else {
    return Error{"the host serves the loopback only (127.0.0.1 or ::1), not " + options.address};
  }
  impl->options = std::move(options);
  impl->handler = std::move(handler);
  Impl* self = impl.get();
  impl->daemon = MHD_start_daemon(
      flags, self->options.port, nullptr, nullptr, &Impl::access, self, MHD_OPTION_SOCK_ADDR,
      reinterpret_cast<sockaddr*>(&address), MHD_OPTION_THREAD_POOL_SIZE,
      static_cast<unsigned>(self->options.threads), MHD_OPTION_CONNECTION_LIMIT,
      static_cast<unsigned>(self->options.maxConnections), MHD_OPTION_CONNECTION_TIMEOUT,
      static_cast<unsigned>(self->options.idleTimeoutSeconds), MHD_OPTION_CONNECTION_MEMORY_LIMIT,
      static_cast<size_t>(self->options.maxHeaderBytes), MHD_OPTION_NOTIFY_COMPLETED,
      &Impl::completed, self, MHD_OPTION_END);
  if (!impl->daemon) {
    return Error{"cannot serve on " + self->options.address + " port " +
                 std::to_string(self->options.port) + " (is it in use?)"};
  }
  const MHD_DaemonInfo* info = MHD_get_daemon_info(impl->daemon, MHD_DAEMON_INFO_BIND_PORT);
  impl->port = info ? info->port : self->options.port;
  impl->heartbeat = std::thread([self] {
    std::unique_lock lock(self->mutex);
    while (!self->stopping) {
      self->heartbeatWake.wait_for(lock, std::chrono::seconds(self->options.heartbeatSeconds));
      if (!self->stopping) self->resumeAllLocked();
    }
  });
  return std::unique_ptr<HttpServer>(new HttpServer(std::move(impl)));
}

std::uint16_t HttpServer::port() const {
  return impl_->port;
}

void HttpServer::publish(std::string document) {
  std::lock_guard lock(impl_->mutex);
  impl_->document = std::move(document);
  ++impl_->version;
  impl_->resumeAllLocked();
}

void HttpServer::stop() {
  if (!impl_ || !impl_->daemon) return;
  {
    std::lock_guard lock(impl_->mutex);
    impl_->stopping = true;
    impl_->resumeAllLocked();
  }
  impl_->heartbeatWake.notify_all();
  if (impl_->heartbeat.joinable()) impl_->heartbeat.join();
  // The resumed streams end on their next read; a stream parked again meanwhile cannot be,
  // since stopping is set. MHD closes what is left.
  MHD_stop_daemon(impl_->daemon);
  impl_->daemon = nullptr;
}

}  // namespace km::host
