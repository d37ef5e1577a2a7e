// Certificate checks against a real TLS server: the openssl command-line tool serving a
// self-signed certificate for 127.0.0.1 on a loopback port.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "analytics/inspector_service_client.h"

extern char** environ;

namespace km {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;

int freeLoopbackPort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

bool accepts(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  ::close(fd);
  return ok;
}

pid_t spawn(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (auto& arg : args)
    argv.push_back(arg.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t pid = -1;
  if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

int runToEnd(std::vector<std::string> args) {
  const pid_t pid = spawn(std::move(args));
  if (pid < 0) return -1;
  int status = 0;
  ::waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class TlsServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("km_tls_" + std::to_string(::getpid()));
    fs::create_directories(dir_);
    cert_ = (dir_ / "cert.pem").string();
    const std::string key = (dir_ / "key.pem").string();
    if (runToEnd({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                  "ec_paramgen_curve:prime256v1", "-nodes", "-keyout", key, "-out", cert_, "-days",
                  "1", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1"}) != 0) {
      GTEST_SKIP() << "the openssl tool is needed to make a test certificate";
    }
    port_ = freeLoopbackPort();
    server_ = spawn({"openssl", "s_server", "-quiet", "-www", "-accept",
                     "127.0.0.1:" + std::to_string(port_), "-cert", cert_, "-key", key});
    ASSERT_GT(server_, 0);
    const auto deadline = steady_clock::now() + seconds(10);
    while (!accepts(port_)) {
      ASSERT_LT(steady_clock::now(), deadline) << "TLS server did not start";
      std::this_thread::sleep_for(milliseconds(20));
    }
  }

  void TearDown() override {
    if (server_ > 0) {
      ::kill(server_, SIGTERM);
      ::waitpid(server_, nullptr, 0);
    }
    std::error_code ignored;
    fs::remove_all(dir_, ignored);
  }

  std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/i"; }

  fs::path dir_;
  std::string cert_;
  int port_ = 0;
  pid_t server_ = -1;
};

// The server only answers GET, so a trusted transfer ends in the client's timeout after a good
// handshake; what tells the cases apart is whether the certificate was rejected.
TEST_F(TlsServerTest, OnlyTrustedCertificatesPassVerification) {
  struct Case {
    const char* name;
    bool trustTheCertificate;
    std::uint64_t rejected;
  };
  for (const auto& c : {Case{"system trust store", false, 1}, Case{"certificate as CA", true, 0}}) {
    SCOPED_TRACE(c.name);
    InspectorServiceClient client(
        InspectorServiceOptions{.endpoint = url(),
                                .totalTimeout = milliseconds(1500),
                                .caBundlePath = c.trustTheCertificate ? cert_ : std::string()});
    ASSERT_TRUE(client.post("{}"));
    ASSERT_TRUE(client.waitIdle(seconds(20)));
    const auto stats = client.stats();
    EXPECT_EQ(stats.failed, 1u);
    EXPECT_EQ(stats.certificateRejected, c.rejected);
  }
}

}  // namespace
}  // namespace km
