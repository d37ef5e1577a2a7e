// Running checks in child processes, so a fatal error is reported instead of ending the tool.

#include "kmwidget/isolated_checks.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <thread>

namespace km::cli {
namespace {

constexpr std::string_view kFatalPrefix = "Fatal error: ";
// Far beyond what laying out every widget takes, even in a sanitizer build on a busy machine.
constexpr std::chrono::seconds kCheckTimeLimit{60};

// Everything written to `fd` since its start.
std::string readAll(int fd) {
  std::string text;
  char buffer[4096];
  ::lseek(fd, 0, SEEK_SET);
  for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(n));
  return text;
}

// Why a child ended: the reason of its last fatal error line, else the signal or exit status.
std::string stopReason(const std::string& errors, int status) {
  if (const auto at = errors.rfind(kFatalPrefix); at != std::string::npos) {
    const auto start = at + kFatalPrefix.size();
    const auto end = errors.find('\n', start);
    return errors.substr(start, end == std::string::npos ? std::string::npos : end - start);
  }
  if (WIFSIGNALED(status)) return std::string("stopped by ") + ::strsignal(WTERMSIG(status));
  return "exited with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

std::vector<Stop> runIsolated(
    std::size_t count, const std::function<void(std::size_t first, const MarkCheck& mark)>& run) {
  std::vector<Stop> stops;
  // The check a child is at, shared with the children; -1 once a child has run to the end.
  void* shared = ::mmap(nullptr, sizeof(std::atomic<long>), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED)
    return {{0, std::string("cannot share memory: ") + std::strerror(errno)}};
  auto* current = new (shared) std::atomic<long>(0);
  for (std::size_t first = 0; first < count;) {
    // The child's standard error, kept to read the reason of a stop.
    const int errors = ::memfd_create("kmwidget-check", MFD_CLOEXEC);
    if (errors < 0) {
      stops.push_back({first, std::string("cannot capture a check: ") + std::strerror(errno)});
      break;
    }
    current->store(static_cast<long>(first));
    // Output still buffered here would otherwise be written again by a child that flushes.
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
      // Both streams to the capture: what a widget logs must not reach the caller's output.
      ::dup2(errors, STDOUT_FILENO);
      ::dup2(errors, STDERR_FILENO);
      // An expected stop is not worth a core file.
      const rlimit noCore{0, 0};
      ::setrlimit(RLIMIT_CORE, &noCore);
      run(first, [current](std::size_t i) { current->store(static_cast<long>(i)); });
      current->store(-1);
      ::_exit(0);  // no exit handlers: they belong to the parent
    }
    if (pid < 0) {
      stops.push_back({first, std::string("cannot start a check: ") + std::strerror(errno)});
      ::close(errors);
      break;
    }
    // A check that hangs is stopped: validate must answer, whatever a widget does.
    int status = 0;
    const auto deadline = std::chrono::steady_clock::now() + kCheckTimeLimit;
    bool timedOut = false;
    while (::waitpid(pid, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
        timedOut = true;
        break;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    const long at = current->load();
    if (at < 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
      ::close(errors);
      break;
    }
    const auto index = static_cast<std::size_t>(at < 0 ? count - 1 : at);
    stops.push_back(
        {index, timedOut ? "did not finish within " + std::to_string(kCheckTimeLimit.count()) + " s"
                         : stopReason(readAll(errors), status)});
    ::close(errors);
    first = index + 1;
  }
  current->~atomic();
  ::munmap(shared, sizeof(std::atomic<long>));
  return stops;
}

}  // namespace km::cli
