#pragma once

// HttpServer: the live host's loopback HTTP server with a server-sent event stream.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/result.h"

namespace km::host {

struct HttpRequest {
  std::string method;  // "GET", "POST", ...
  std::string path;    // without the query
  std::map<std::string, std::string> query;
  std::string body;
};

struct HttpResponse {
  int status = 200;
  std::string contentType = "application/json";
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;

  static HttpResponse json(int status, std::string body);
  // {"error": message} with a 4xx/5xx status.
  static HttpResponse error(int status, const std::string& message);
};

// A small HTTP/1.1 server on the loopback, over libmicrohttpd: a fixed pool of threads polls
// every connection, so a slow or hostile client costs a connection slot, never a thread. Routes
// are one handler function, called on the pool's threads (it must be thread-safe).
//
// One path serves a server-sent event stream: each client gets the latest published document
// whenever it changes (intermediate ones are skipped, so a slow client never queues memory), and
// a comment line now and then so dead clients are noticed. A waiting client's connection is
// suspended, not polled.
class HttpServer {
 public:
  struct Options {
    std::string address = "127.0.0.1";  // "127.0.0.1" or "::1": the loopback only
    std::uint16_t port = 0;             // 0: any free port (see port())
    unsigned threads = 4;
    unsigned maxConnections = 64;
    unsigned idleTimeoutSeconds = 15;
    std::size_t maxBodyBytes = 64 * 1024;
    std::size_t maxHeaderBytes = 32 * 1024;
    std::string eventsPath = "/events";
    unsigned heartbeatSeconds = 10;
  };
  using Handler = std::function<HttpResponse(const HttpRequest&)>;

  // Binds and starts serving; an error when the address cannot be bound (say, the port is taken)
  // or is not a loopback address.
  static Result<std::unique_ptr<HttpServer>> start(Options options, Handler handler);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  std::uint16_t port() const;
  // Makes `document` the event stream's current "state" event and wakes every waiting client.
  void publish(std::string document);
  // Ends every event stream and stops serving; waits for the pool's threads. Idempotent.
  void stop();

  struct Impl;

 private:
  explicit HttpServer(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace km::host
