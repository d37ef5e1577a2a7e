// The loopback HTTP client: one request, read to the server's close, within a deadline.

#include "kmwidget/host/loopback_client.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>

#include "platform/foundation/text.h"

namespace km::host {
namespace {

using Clock = std::chrono::steady_clock;

class Socket {
 public:
  explicit Socket(int fd) : fd_(fd) {}
  ~Socket() {
    if (fd_ >= 0) close(fd_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int fd() const { return fd_; }

 private:
  int fd_;
};

// Waits for `events` on `fd` until `deadline`: true when ready, false when the time ran out.
bool waitFor(int fd, short events, Clock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return false;
    pollfd p{fd, events, 0};
    const int n = poll(&p, 1, static_cast<int>(left));
    if (n > 0) return true;
    if (n < 0 && errno != EINTR) return false;
  }
}

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
    s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
    s.remove_suffix(1);
  return s;
}

std::string lastError(std::string_view what) {
  return std::string(what) + ": " + std::strerror(errno);
}

}  // namespace

Result<std::string> exchangeOnLoopback(std::uint16_t port, std::string_view request,
                                       std::chrono::milliseconds timeout,
                                       std::size_t maxAnswerBytes) {
  const Clock::time_point deadline = Clock::now() + timeout;
  const std::string where = "127.0.0.1:" + std::to_string(port);
  const Socket sock(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (sock.fd() < 0) return Error{lastError("cannot open a socket")};
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(sock.fd(), reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0) {
    if (errno != EINPROGRESS) return Error{lastError("cannot connect to " + where)};
    if (!waitFor(sock.fd(), POLLOUT, deadline))
      return Error{"cannot connect to " + where + ": timed out"};
    int failure = 0;
    socklen_t len = sizeof failure;
    getsockopt(sock.fd(), SOL_SOCKET, SO_ERROR, &failure, &len);
    if (failure != 0) {
      errno = failure;
      return Error{lastError("cannot connect to " + where)};
    }
  }
  for (std::size_t sent = 0; sent < request.size();) {
    const ssize_t n = send(sock.fd(), request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
    if (n > 0) {
      sent += static_cast<std::size_t>(n);
    } else if (n < 0 && errno != EAGAIN && errno != EINTR) {
      return Error{lastError("cannot send to " + where)};
    } else if (!waitFor(sock.fd(), POLLOUT, deadline)) {
      return Error{"no answer from " + where + " within " + std::to_string(timeout.count()) +
                   " ms"};
    }
  }
  std::string answer;
  char buffer[16 * 1024];
  for (;;) {
    const ssize_t n = recv(sock.fd(), buffer, sizeof buffer, 0);
    if (n == 0) return answer;
    if (n > 0) {
      answer.append(buffer, static_cast<std::size_t>(n));
      if (answer.size() > maxAnswerBytes)
        return Error{"the answer from " + where + " is larger than " +
                     std::to_string(maxAnswerBytes) + " bytes"};
    } else if (errno == ECONNRESET) {
      return Error{"the connection to " + where + " was reset"};
    } else if (errno != EAGAIN && errno != EINTR) {
      return Error{lastError("cannot read from " + where)};
    } else if (!waitFor(sock.fd(), POLLIN, deadline)) {
      return Error{"no answer from " + where + " within " + std::to_string(timeout.count()) +
                   " ms"};
    }
  }
}

Result<HttpAnswer> parseHttpAnswer(std::string_view raw) {
  // "HTTP/1.1 200 OK": a version, a three-digit status and a reason.
  if (raw.size() < 12 || raw.substr(0, 7) != "HTTP/1." || raw[8] != ' ')
    return Error{"not an HTTP answer"};
  HttpAnswer answer;
  const char* digits = raw.data() + 9;
  if (std::from_chars(digits, digits + 3, answer.status).ptr != digits + 3 || answer.status < 100 ||
      answer.status > 599 || (raw[12] != ' ' && raw[12] != '\r'))
    return Error{"not an HTTP status line"};
  const std::size_t headerEnd = raw.find("\r\n\r\n");
  if (headerEnd == std::string_view::npos) return Error{"the HTTP header does not end"};
  std::string_view body = raw.substr(headerEnd + 4);
  std::string_view header = raw.substr(0, headerEnd + 2);
  for (std::size_t at = header.find("\r\n") + 2; at < header.size();) {
    const std::size_t end = header.find("\r\n", at);
    const std::string_view line = header.substr(at, end - at);
    at = end + 2;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return Error{"a header line without a colon"};
    const std::string name = asciiLowercased(line.substr(0, colon));
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (name == "transfer-encoding" && asciiLowercased(value) != "identity")
      return Error{"a " + std::string(value) + " body is not read"};
    if (name == "content-length") {
      std::size_t length = 0;
      if (value.empty() || std::from_chars(value.data(), value.data() + value.size(), length).ptr !=
                               value.data() + value.size())
        return Error{"Content-Length \"" + std::string(value) + "\" is not a number"};
      if (body.size() < length) return Error{"the answer ends inside its body"};
      body = body.substr(0, length);
    }
  }
  answer.body = std::string(body);
  return answer;
}

Result<HttpAnswer> postJsonOnLoopback(std::uint16_t port, std::string_view path,
                                      std::string_view json, std::chrono::milliseconds timeout) {
  std::string request =
      "POST " + std::string(path) + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
      "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(json.size()) +
      "\r\nConnection: close\r\n\r\n";
  request += json;
  Result<std::string> raw = exchangeOnLoopback(port, request, timeout);
  if (!raw) return raw.error();
  return parseHttpAnswer(*raw);
}

}  // namespace km::host
