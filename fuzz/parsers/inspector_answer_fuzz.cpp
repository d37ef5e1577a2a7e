// The inspector service's HTTP answer, as raw bytes on the wire: a server on 127.0.0.1 reads each
// request and writes the input as the whole answer (status line, headers, body) before closing.
// Whatever it says (a lying Content-Length, broken chunks, an endless header, a huge body), the
// client must finish the transfer, count it as answered or failed, and stay usable for the next
// report, on the same kept-alive connection or a new one.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "analytics/inspector_service_client.h"

namespace {

class RawServer {
 public:
  RawServer() {
    listenFd_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (listenFd_ < 0 || bind(listenFd_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        listen(listenFd_, 16) != 0 ||
        getsockname(listenFd_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      std::abort();
    }
    port_ = ntohs(address.sin_port);
    std::thread([this] { serve(); }).detach();
  }

  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/i"; }

  void setAnswer(std::string answer) {
    std::lock_guard lock(mutex_);
    answer_ = std::move(answer);
  }

 private:
  void serve() {
    for (;;) {
      const int fd = accept(listenFd_, nullptr, nullptr);
      if (fd < 0) continue;
      timeval timeout{1, 0};
      setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
      // Reads the request head and as much of the body as has come; the client sends it whole.
      std::string request;
      char buffer[4096];
      while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0) break;
        request.append(buffer, static_cast<size_t>(n));
      }
      std::string answer;
      {
        std::lock_guard lock(mutex_);
        answer = answer_;
      }
      (void)send(fd, answer.data(), answer.size(), MSG_NOSIGNAL);
      shutdown(fd, SHUT_RDWR);
      close(fd);
    }
  }

  int listenFd_ = -1;
  int port_ = 0;
  std::mutex mutex_;
  std::string answer_;
};

// Obsolete line folding (a header line that starts with a space or tab) is left out: libcurl
// 7.88.1, the system's, reads freed memory while unfolding such a line after a status line with
// a stray carriage return. That fault is libcurl's own (docs/testing.md), and would otherwise
// stop every run of this target before it reaches anything else.
bool foldsHeaderLines(std::string_view answer) {
  const std::string_view head = answer.substr(0, answer.find("\r\n\r\n"));
  return head.find("\n ") != std::string_view::npos || head.find("\n\t") != std::string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view answer(reinterpret_cast<const char*>(data), size);
  if (foldsHeaderLines(answer)) return 0;
  static RawServer server;
  static km::InspectorServiceClient client([] {
    km::InspectorServiceOptions options;
    options.endpoint = server.url();
    options.connectTimeout = std::chrono::milliseconds(1000);
    options.totalTimeout = std::chrono::milliseconds(2000);
    return options;
  }());
  server.setAnswer(std::string(answer));
  const auto before = client.stats();
  if (!client.post(R"({"ac":"fuzz","me":[]})")) std::abort();
  if (!client.waitIdle(std::chrono::milliseconds(5000))) std::abort();
  const auto after = client.stats();
  if (after.answered + after.failed != before.answered + before.failed + 1) std::abort();
  return 0;
}
