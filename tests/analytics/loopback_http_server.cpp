#include "analytics/loopback_http_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace km::testing {
namespace {

constexpr int kPollMs = 20;

// Waits for the socket to be readable while checking the stop flag; false when stopping.
bool waitReadable(int fd, const std::atomic<bool>& stop) {
  while (!stop.load()) {
    pollfd p{fd, POLLIN, 0};
    const int ready = ::poll(&p, 1, kPollMs);
    if (ready > 0) return true;
  }
  return false;
}

void sendAll(int fd, const std::string& data) {
  std::size_t sent = 0;
  while (sent < data.size()) {
    const ssize_t n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return;  // the client went away; nothing to do
    sent += static_cast<std::size_t>(n);
  }
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

}  // namespace

std::string ReceivedRequest::header(const std::string& lowerName) const {
  for (const auto& [name, value] : headers) {
    if (name == lowerName) return value;
  }
  return {};
}

LoopbackHttpServer::LoopbackHttpServer(ServerBehavior behavior) : behavior_(behavior) {
  listenFd_ = ::socket(AF_INET, SOCK_STREAM, 0);
  if (listenFd_ < 0) throw std::runtime_error("socket");
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listenFd_, 16) != 0) {
    throw std::runtime_error("bind/listen");
  }
  socklen_t length = sizeof address;
  ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { serve(); });
}

LoopbackHttpServer::~LoopbackHttpServer() {
  stop_.store(true);
  thread_.join();
  ::close(listenFd_);
}

std::string LoopbackHttpServer::url() const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/i";
}

std::vector<ReceivedRequest> LoopbackHttpServer::requests() const {
  std::lock_guard lock(mutex_);
  return requests_;
}

bool LoopbackHttpServer::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  return received_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

void LoopbackHttpServer::serve() {
  while (waitReadable(listenFd_, stop_)) {
    const int fd = ::accept(listenFd_, nullptr, nullptr);
    if (fd < 0) continue;
    connections_.fetch_add(1);
    connectionThreads_.emplace_back([this, fd] { serveConnection(fd); });
  }
  for (auto& thread : connectionThreads_)
    thread.join();
}

void LoopbackHttpServer::serveConnection(int fd) {
  std::string pending;
  while (handle(fd, pending)) {
  }
  ::close(fd);
}

bool LoopbackHttpServer::handle(int fd, std::string& data) {
  std::size_t headerEnd = std::string::npos;
  std::size_t contentLength = 0;
  char buffer[4096];
  // Read the head, then as much body as Content-Length says.
  while (true) {
    if (headerEnd == std::string::npos) {
      headerEnd = data.find("\r\n\r\n");
      if (headerEnd != std::string::npos) {
        const std::string head = lower(data.substr(0, headerEnd));
        const auto at = head.find("content-length:");
        if (at != std::string::npos)
          contentLength = std::strtoul(head.c_str() + at + 15, nullptr, 10);
      }
    }
    if (headerEnd != std::string::npos && data.size() >= headerEnd + 4 + contentLength) break;
    if (!waitReadable(fd, stop_)) return false;
    const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0) return false;
    data.append(buffer, static_cast<std::size_t>(n));
  }

  // The request line, then "Name: value" lines.
  ReceivedRequest request;
  std::istringstream head(data.substr(0, headerEnd));
  std::string version, line;
  head >> request.method >> request.path >> version;
  while (std::getline(head, line)) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string value = line.substr(colon + 1);
    value.erase(0, value.find_first_not_of(' '));
    if (!value.empty() && value.back() == '\r') value.pop_back();
    request.headers.emplace_back(lower(line.substr(0, colon)), value);
  }
  request.body = data.substr(headerEnd + 4, contentLength);
  data.erase(0, headerEnd + 4 + contentLength);
  {
    std::lock_guard lock(mutex_);
    requests_.push_back(std::move(request));
  }
  received_.notify_all();
  while (paused_.load() && !stopping())
    std::this_thread::sleep_for(std::chrono::milliseconds(2));

  switch (behavior_) {
    case ServerBehavior::keepAlive: {
      const std::string body = R"({"ok":true})";
      sendAll(fd, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                      std::to_string(body.size()) + "\r\n\r\n" + body);
      return true;
    }
    case ServerBehavior::ok: {
      const std::string body = R"({"ok":true,"ignored":[1,2,3]})";
      sendAll(fd, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
                      std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
      break;
    }
    case ServerBehavior::error500:
      sendAll(fd,
              "HTTP/1.1 500 Internal Server Error\r\nContent-Length: 5\r\nConnection: "
              "close\r\n\r\noops!");
      break;
    case ServerBehavior::garbage: {
      static constexpr char kGarbage[] = "\x00\xff\x13 this is not HTTP {{{\r\n\r\n";
      sendAll(fd, std::string(kGarbage, sizeof kGarbage - 1));
    } break;
    case ServerBehavior::hugeAnswer: {
      sendAll(fd, "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\n\r\n");
      const std::string chunk(64 * 1024, '[');
      for (int i = 0; i < 256 && !stopping(); ++i)
        sendAll(fd, chunk);  // up to 16 MiB
      break;
    }
    case ServerBehavior::hang:
      // Keep the connection open and say nothing until the test is over.
      while (waitReadable(fd, stop_)) {
        if (::recv(fd, buffer, sizeof buffer, 0) <= 0) return false;
      }
      break;
  }
  return false;
}

}  // namespace km::testing
