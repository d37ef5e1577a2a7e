// `kmwidget host`: the phone's widget host, live. One thread (the loop) owns the widgets'
// lifecycle: it asks the provider for placeholders, snapshots and timelines, drives the
// scheduler from the host's clock, notices store changes and hands entries to the render
// workers. The HTTP server's threads only read what the loop published, and pass everything
// that changes state to the loop as a task. This file holds the loop itself and its start and
// stop.

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "kmwidget/host/live_host.h"
#include "platform/foundation/process_settings.h"
#include "platform/widgetkit/platform_version.h"

namespace km::host {

using cli::RenderWorkerPool;
using nlohmann::json;

namespace {

// The program the render workers run: `kmwidget` from this program's folder, which draws without
// loading the HTTP server; this program itself where that is missing.
std::string workerProgram() {
  if (const std::optional<std::string> folder = executableDirectory()) {
    const std::filesystem::path tool = std::filesystem::path(*folder) / "kmwidget";
    if (::access(tool.c_str(), X_OK) == 0) return tool.string();
  }
  return "/proc/self/exe";
}

}  // namespace

Host::Host(const HostOptions& options, std::ostream& log)
    : options_(options), log_(log), clock_(options.start, options.speed) {}

int Host::run() {
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  signalFd_ = signalfd(-1, &stopSignals, SFD_CLOEXEC | SFD_NONBLOCK);

  auto saved = Arrangement::load(arrangementPath(options_.storePath));
  if (saved) {
    arrangement_ = std::move(*saved);
  } else {
    const ScopedPlatformVersion version(PlatformVersion{options_.osMajor.value_or(17), 0});
    arrangement_ = Arrangement::fresh();
    HostSettings s;
    s.osMajor = options_.osMajor.value_or(17);
    arrangement_.setSettings(s);
  }
  if (options_.osMajor) {
    HostSettings s = arrangement_.settings();
    s.osMajor = *options_.osMajor;
    arrangement_.setSettings(s);
  }
  saveArrangement();

  RenderWorkerPool::Options poolOptions;
  poolOptions.command = {workerProgram(), "--store", options_.storePath, "host-worker"};
  poolOptions.workers = options_.workers;
  pool_ = std::make_unique<RenderWorkerPool>(poolOptions);
  notice_ = std::make_unique<StoreChangeNotice>(options_.storePath);

  HttpServer::Options serverOptions;
  serverOptions.port = options_.port;
  auto server = HttpServer::start(serverOptions, [this](const HttpRequest& r) { return route(r); });
  if (!server) {
    log_ << "kmwidget host: " << server.error().message << std::endl;
    return 1;
  }
  server_ = std::move(*server);
  const std::string hostFile = hostFilePath(options_.storePath);
  {
    std::ofstream out(hostFile, std::ios::trunc);
    out << json{{"port", server_->port()}, {"pid", getpid()}}.dump() << "\n";
  }
  log_ << "kmwidget host: serving http://127.0.0.1:" << server_->port() << "/ (store "
       << options_.storePath << ", " << arrangement_.widgets().size() << " widgets"
       << "); Ctrl-C stops it" << std::endl;
  if (clock_.speed() != 1)
    log_ << "kmwidget host: the clock runs at " << clock_.speed() << "x" << std::endl;

  syncSlots();
  publish();
  for (bool running = true; running;) {
    const std::optional<Date> wakeAt = advance();
    int timeoutMs = -1;
    if (wakeAt) {
      const auto wait = clock_.realTimeAt(*wakeAt) - std::chrono::steady_clock::now();
      const auto ms = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
      timeoutMs = static_cast<int>(std::clamp<long long>(ms, 0, 3'600'000));
    }
    // A tapped URL's opener is reaped soon after it ends.
    if (!openers_.empty()) timeoutMs = timeoutMs < 0 ? 500 : std::min(timeoutMs, 500);
    pollfd fds[3] = {{signalFd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}, {notice_->fd(), POLLIN, 0}};
    const int ready = poll(fds, notice_->fd() >= 0 ? 3 : 2, timeoutMs);
    reapOpeners();
    if (ready <= 0) continue;
    if (fds[0].revents & POLLIN) {
      signalfd_siginfo info{};
      (void)!read(signalFd_, &info, sizeof info);
      log_ << "kmwidget host: " << strsignal(static_cast<int>(info.ssi_signo)) << "; stopping"
           << std::endl;
      running = false;
      continue;
    }
    if (fds[2].revents & POLLIN && notice_->consume()) onStoreChanged();
    if (fds[1].revents & POLLIN) {
      std::uint64_t count = 0;
      (void)!read(wakeFd_, &count, sizeof count);
      for (;;) {
        std::packaged_task<HttpResponse()> task;
        {
          std::lock_guard lock(tasksMutex_);
          if (tasks_.empty()) break;
          task = std::move(tasks_.front());
          tasks_.pop_front();
        }
        task();
        // Whatever the page asked may have changed what it shows.
        advance();
        publish();
      }
    }
  }

  {
    // Requests still waiting for the loop are answered "stopping" (their tasks are dropped).
    std::lock_guard lock(tasksMutex_);
    closing_ = true;
    tasks_.clear();
  }
  server_->stop();
  pool_.reset();
  for (pid_t pid : openers_)
    waitpid(pid, nullptr, 0);
  // The file is ours only while it names this process.
  std::ifstream in(hostFile);
  const json current = json::parse(in, nullptr, false);
  if (current.is_object() && current.value("pid", 0) == getpid()) std::filesystem::remove(hostFile);
  close(signalFd_);
  close(wakeFd_);
  log_ << "kmwidget host: stopped" << std::endl;
  return 0;
}

int runHost(const HostOptions& options, std::ostream& log) {
  // Before any thread starts: the stop signals are taken from a descriptor by the loop, never
  // delivered to a thread at random.
  sigset_t stopSignals, previous;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, &previous);
  int status = 0;
  {
    Host host(options, log);
    status = host.run();
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return status;
}

}  // namespace km::host
