#pragma once

// A one-request HTTP client for the loopback: how `kmwidget reload` reaches its host.
//
// The only server kmwidget ever calls is its own host on 127.0.0.1, so this is a plain socket
// rather than libcurl: linking libcurl loads its TLS, Kerberos, LDAP and SSH libraries into
// every `kmwidget render` (about 3 MiB of a render's resident memory, and part of its start-up)
// for one request that never leaves the machine.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/result.h"

namespace km::host {

// Sends `request` exactly as given to 127.0.0.1:`port` and returns every byte the server sends
// until it closes the connection (so the request should say "Connection: close"). The whole
// exchange is bounded by `timeout`; an error when the port refuses, the time runs out, or the
// answer grows past `maxAnswerBytes`.
Result<std::string> exchangeOnLoopback(std::uint16_t port, std::string_view request,
                                       std::chrono::milliseconds timeout,
                                       std::size_t maxAnswerBytes = 1 << 20);

struct HttpAnswer {
  int status = 0;
  std::string body;
};

// The status and body of a whole HTTP/1.x answer: the body is what follows the header, cut to
// its Content-Length when one is given. An error for anything else, including a chunked body
// (the host answers its API with fixed-length bodies) or a body shorter than its length.
Result<HttpAnswer> parseHttpAnswer(std::string_view raw);

// POSTs a JSON body to `path` on 127.0.0.1:`port` and parses the answer.
Result<HttpAnswer> postJsonOnLoopback(std::uint16_t port, std::string_view path,
                                      std::string_view json, std::chrono::milliseconds timeout);

}  // namespace km::host
