// Render worker processes: the framed protocol, the pool and the worker's loop.

#include "kmwidget/host/render_worker.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/widget_kind.h"
#include "kmwidget/cli.h"
#include "kmwidget/widget_drawing.h"
#include "model/widget_nutrition_summary.h"
#include "platform/foundation/bundle.h"
#include "platform/foundation/process_settings.h"
#include "platform/ui/display_list_json.h"
#include "platform/widgetkit/widget_rendering_mode.h"
#include "resources/widget_utils.h"

extern char** environ;

namespace km::cli {

namespace {

using SteadyClock = std::chrono::steady_clock;

// The descriptor a worker finds its socket on.
constexpr int kWorkerFd = 3;
// A frame larger than this is a broken peer, not a tile (a tile at scale 10 is a few MB).
constexpr std::uint32_t kMaxFrame = 64u << 20;
// How much of a worker's standard error is kept to find the reason it stopped.
constexpr std::size_t kErrorTailLimit = 8192;

// Frames are a 4-byte length in the machine's byte order (both ends are this program on this
// machine) followed by that many bytes.
bool sendAll(int fd, const void* data, std::size_t size) {
  const char* p = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = ::send(fd, p, size, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

bool sendFrame(int fd, std::string_view payload) {
  const auto size = static_cast<std::uint32_t>(payload.size());
  return sendAll(fd, &size, sizeof size) && sendAll(fd, payload.data(), payload.size());
}

// Blocking read of exactly `size` bytes; false at the end of the stream or on an error.
bool recvAll(int fd, void* data, std::size_t size) {
  char* p = static_cast<char*>(data);
  while (size > 0) {
    const ssize_t n = ::recv(fd, p, size, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    p += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

std::optional<std::string> recvFrame(int fd) {
  std::uint32_t size = 0;
  if (!recvAll(fd, &size, sizeof size) || size > kMaxFrame) return std::nullopt;
  std::string payload(size, '\0');
  if (!recvAll(fd, payload.data(), size)) return std::nullopt;
  return payload;
}

std::string encodeRequest(const RenderRequest& r) {
  nlohmann::json j = {
      {"kind", r.kind},
      {"family", familyName(r.family)},
      {"entryDate", r.entryDate.timeIntervalSinceReferenceDate},
      {"now", r.now.timeIntervalSinceReferenceDate},
      {"record", r.recordJson},
      {"appearance", r.appearance == ColorScheme::dark ? "dark" : "light"},
      {"os", {r.os.major, r.os.minor}},
      {"device", phoneModelName(r.device)},
      {"timeZone", r.timeZone},
      {"scale", r.scale},
  };
  if (r.renderingMode) j["mode"] = renderingModeName(*r.renderingMode);
  if (r.language) j["language"] = *r.language;
  return j.dump();
}

// The worker's answer to one request.
struct Answer {
  nlohmann::json header;  // {"ok": bool, "error": text}
  std::string png;
  std::string displayList;
};

Answer errorAnswer(std::string message) {
  return {{{"ok", false}, {"error", std::move(message)}}, {}, {}};
}

Answer draw(const std::string& requestText, const AssetCatalog& assets) {
  const auto j = nlohmann::json::parse(requestText, nullptr, false);
  if (j.is_discarded() || !j.is_object()) return errorAnswer("the request is not JSON");
  try {
    const std::string kind = j.at("kind").get<std::string>();
    if (!widgetKindFromRawValue(kind)) return errorAnswer("unknown kind \"" + kind + "\"");
    const auto family = familyFromName(j.at("family").get<std::string>());
    if (!family) return errorAnswer("unknown family");
    const auto device = phoneModelFromName(j.at("device").get<std::string>());
    if (!device) return errorAnswer("unknown device");
    std::optional<RenderingMode> mode;
    if (j.contains("mode")) {
      mode = renderingModeFromName(j["mode"].get<std::string>());
      if (!mode) return errorAnswer("unknown rendering mode");
    }
    const double scale = j.at("scale").get<double>();
    if (!(scale > 0) || scale > 10) return errorAnswer("scale out of range");
    const ColorScheme scheme =
        j.at("appearance").get<std::string>() == "dark" ? ColorScheme::dark : ColorScheme::light;
    const std::string zone = j.at("timeZone").get<std::string>();
    if (!zone.empty() && !isKnownTimeZone(zone)) return errorAnswer("unknown time zone");

    // The settings `kmwidget render` would run with, for this tile only; the zone first, as
    // "today" depends on it.
    std::optional<ScopedTimeZone> timeZone;
    if (!zone.empty()) timeZone.emplace(zone);
    const ScopedNow now(Date{j.at("now").get<double>()});
    const ScopedPlatformVersion os(
        PlatformVersion{j.at("os").at(0).get<int>(), j.at("os").at(1).get<int>()});
    std::optional<ScopedLanguageOverride> language;
    if (j.contains("language")) language.emplace(j["language"].get<std::string>());

    auto record = decodeSummary(j.at("record").get<std::string>());
    if (!record) return errorAnswer("the record does not decode: " + record.error().message);
    const NutritionEntry entry{Date{j.at("entryDate").get<double>()}, *record};

    const LayoutOptions layoutOptions = widgetLayoutOptions(assets);
    DisplayList list;
    {
      const ScopedRedraw redraw;
      list = layoutWidget(entry, kind, *family, *device, layoutOptions);
    }
    const RenderOptions options =
        widgetRenderOptions(*family, *device, scheme, mode, scale, assets);
    // The host runs a worker process per core, so each encodes on its own thread (and its tiles
    // are byte for byte the render command's images).
    auto png = encodePng(renderImage(list, options), 1, PngThreads::one);
    if (!png) return errorAnswer("cannot encode the tile: " + png.error().message);
    Answer answer;
    answer.header = {{"ok", true}};
    answer.png.assign(png->begin(), png->end());
    answer.displayList = displayListToJson(list, kind, familyName(*family), scheme, &assets).dump();
    return answer;
  } catch (const nlohmann::json::exception& e) {
    return errorAnswer(std::string("bad request: ") + e.what());
  }
}

// The reason of the last "Fatal error: " line in a worker's error output.
std::string fatalReasonIn(const std::string& text) {
  static constexpr std::string_view kPrefix = "Fatal error: ";
  const std::size_t at = text.rfind(kPrefix);
  if (at == std::string::npos) return {};
  const std::size_t start = at + kPrefix.size();
  const std::size_t end = text.find('\n', start);
  return text.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

std::string exitDescription(int status) {
  if (WIFSIGNALED(status)) {
    return "render worker killed by signal " + std::to_string(WTERMSIG(status)) + " (" +
           strsignal(WTERMSIG(status)) + ")";
  }
  return "render worker exited with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

// One worker process and the parent's ends of its socket and error pipe.
struct RenderWorkerPool::Worker {
  pid_t pid = -1;
  int socket = -1;
  int errors = -1;  // read end of the worker's standard error; -1 once it has ended
  bool busy = false;
  std::string errorTail;

  bool running() const { return pid > 0; }

  bool start(const std::vector<std::string>& command) {
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return false;
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC) != 0) {
      ::close(pair[0]);
      ::close(pair[1]);
      return false;
    }
    // The child's ends are moved above the standard descriptors and 3, so that each dup2 below
    // really copies (a dup2 onto itself would keep close-on-exec and lose the descriptor).
    const int childSocket = ::fcntl(pair[1], F_DUPFD_CLOEXEC, 10);
    const int childErrors = ::fcntl(pipeFds[1], F_DUPFD_CLOEXEC, 10);
    ::close(pair[1]);
    ::close(pipeFds[1]);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, childErrors, 2);
    posix_spawn_file_actions_adddup2(&actions, childSocket, kWorkerFd);
    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    // Its own process group (terminal signals go to the host, which stops the workers), no
    // blocked signals and default handlers whatever the host's threads have set.
    sigset_t none, reset;
    sigemptyset(&none);
    sigemptyset(&reset);
    for (int sig : {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD, SIGUSR1, SIGUSR2, SIGALRM})
      sigaddset(&reset, sig);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setsigdefault(&attr, &reset);
    posix_spawnattr_setpgroup(&attr, 0);
    posix_spawnattr_setflags(
        &attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    std::vector<char*> argv;
    for (const std::string& arg : command)
      argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    pid_t child = -1;
    const int spawned = command.empty()
                            ? EINVAL
                            : ::posix_spawn(&child, argv[0], &actions, &attr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    ::close(childSocket);
    ::close(childErrors);
    if (spawned != 0) {
      ::close(pair[0]);
      ::close(pipeFds[0]);
      return false;
    }
    pid = child;
    socket = pair[0];
    errors = pipeFds[0];
    ::fcntl(errors, F_SETFL, O_NONBLOCK);
    errorTail.clear();
    return true;
  }

  // Reads what the worker has written on its standard error, passing it on to ours and keeping
  // the end of it.
  void drainErrors() {
    char buffer[4096];
    while (errors >= 0) {
      const ssize_t n = ::read(errors, buffer, sizeof buffer);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) return;  // nothing more for now
      if (n == 0) {
        ::close(errors);
        errors = -1;
        return;
      }
      std::cerr.write(buffer, n).flush();
      errorTail.append(buffer, static_cast<std::size_t>(n));
      if (errorTail.size() > kErrorTailLimit)
        errorTail.erase(0, errorTail.size() - kErrorTailLimit);
    }
  }

  // Waits until the socket has something to read, passing error output on meanwhile.
  bool waitReadable(SteadyClock::time_point deadline) {
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
      if (left.count() <= 0) return false;
      pollfd fds[2] = {{socket, POLLIN, 0}, {errors, POLLIN, 0}};
      const int n = ::poll(fds, errors >= 0 ? 2 : 1, static_cast<int>(left.count()));
      if (n < 0 && errno != EINTR) return false;
      if (n <= 0) continue;
      if (errors >= 0 && fds[1].revents) drainErrors();
      if (fds[0].revents) return true;
    }
  }

  // Reads one frame, giving up at `deadline`. nullopt on time-out or a closed socket; `timedOut`
  // tells which.
  std::optional<std::string> readFrame(SteadyClock::time_point deadline, bool& timedOut) {
    std::string buffer;
    std::size_t want = sizeof(std::uint32_t);
    bool haveLength = false;
    while (buffer.size() < want) {
      if (!waitReadable(deadline)) {
        timedOut = SteadyClock::now() >= deadline;
        return std::nullopt;
      }
      char chunk[65536];
      const std::size_t take = std::min(sizeof chunk, want - buffer.size());
      const ssize_t n = ::recv(socket, chunk, take, MSG_DONTWAIT);
      if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (n <= 0) return std::nullopt;
      buffer.append(chunk, static_cast<std::size_t>(n));
      if (!haveLength && buffer.size() == want) {
        std::uint32_t size = 0;
        std::memcpy(&size, buffer.data(), sizeof size);
        if (size > kMaxFrame) return std::nullopt;
        haveLength = true;
        buffer.clear();
        want = size;
        buffer.reserve(size);
      }
    }
    return buffer;
  }

  // Reaps the worker, killing it first when `kill` or when it does not end within `grace`,
  // and returns how it ended.
  int stop(bool kill, std::chrono::milliseconds grace) {
    if (!running()) return 0;
    if (kill) ::kill(pid, SIGKILL);
    int status = 0;
    const auto deadline = SteadyClock::now() + grace;
    pid_t done = 0;
    while ((done = ::waitpid(pid, &status, WNOHANG)) == 0 && SteadyClock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (done == 0) {
      ::kill(pid, SIGKILL);
      while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
      }
    }
    pid = -1;
    drainErrors();
    closeAll();
    return status;
  }

  void closeAll() {
    if (socket >= 0) ::close(socket);
    if (errors >= 0) ::close(errors);
    socket = errors = -1;
  }
};

RenderWorkerPool::RenderWorkerPool(Options options) : options_(std::move(options)) {
  const int count = std::max(1, options_.workers);
  for (int i = 0; i < count; ++i) {
    workers_.push_back(std::make_unique<Worker>());
    // A worker that cannot start now is tried again at its first render.
    workers_.back()->start(options_.command);
  }
}

RenderWorkerPool::~RenderWorkerPool() {
  // Closing the sockets asks every worker to finish at once; then each gets what is left of
  // half a second before it is killed, so the whole pool is gone well within a second.
  for (auto& w : workers_) {
    if (w->socket >= 0) ::shutdown(w->socket, SHUT_RDWR);
  }
  const auto deadline = SteadyClock::now() + std::chrono::milliseconds(500);
  for (auto& w : workers_) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::max(deadline - SteadyClock::now(), SteadyClock::duration::zero()));
    w->stop(false, left);
    w->closeAll();
  }
}

std::vector<pid_t> RenderWorkerPool::workerPids() const {
  const std::lock_guard lock(mutex_);
  std::vector<pid_t> pids;
  for (const auto& w : workers_) {
    if (w->running()) pids.push_back(w->pid);
  }
  return pids;
}

RenderResult RenderWorkerPool::render(const RenderRequest& request) {
  Worker* worker = nullptr;
  {
    std::unique_lock lock(mutex_);
    idle_.wait(lock, [&] {
      for (auto& w : workers_) {
        if (!w->busy) {
          worker = w.get();
          return true;
        }
      }
      return false;
    });
    worker->busy = true;
  }
  // Whatever happens below, the worker is handed back to the pool.
  struct Release {
    RenderWorkerPool& pool;
    Worker& worker;
    ~Release() {
      {
        const std::lock_guard lock(pool.mutex_);
        worker.busy = false;
      }
      pool.idle_.notify_one();
    }
  } release{*this, *worker};

  RenderResult result;
  if (!worker->running() && !worker->start(options_.command)) {
    result.error = "cannot start a render worker: " + std::string(std::strerror(errno));
    return result;
  }
  const auto deadline = SteadyClock::now() + options_.timeout;
  bool timedOut = false;
  std::optional<std::string> header, png, displayList;
  if (sendFrame(worker->socket, encodeRequest(request))) {
    header = worker->readFrame(deadline, timedOut);
    if (header) png = worker->readFrame(deadline, timedOut);
    if (png) displayList = worker->readFrame(deadline, timedOut);
  }
  if (!displayList) {
    // The worker died, hung or broke the protocol: it is replaced at the next render.
    const int status = worker->stop(timedOut, std::chrono::milliseconds(500));
    result.fatalReason = fatalReasonIn(worker->errorTail);
    if (timedOut) {
      result.error = "timed out after " + std::to_string(options_.timeout.count()) + " ms";
    } else if (!result.fatalReason.empty()) {
      result.error = result.fatalReason;
    } else {
      result.error = exitDescription(status);
    }
    return result;
  }
  worker->drainErrors();
  const auto h = nlohmann::json::parse(*header, nullptr, false);
  result.ok = h.is_object() && h.value("ok", false);
  if (!result.ok) {
    result.error = h.is_object() ? h.value("error", std::string("bad answer")) : "bad answer";
    return result;
  }
  result.png = std::move(*png);
  result.displayListJson = std::move(*displayList);
  return result;
}

int runRenderWorker(int fd) {
  const std::filesystem::path bundle = Bundle::main().bundlePath();
  auto assets = AssetCatalog::load(bundle / "Assets.xcassets");
  for (;;) {
    const auto request = recvFrame(fd);
    // The host closed the socket: time to go, at once. A worker has nothing to save, and the
    // host gives its workers well under a second to leave before it kills them.
    if (!request) ::_exit(kExitOk);
    Answer answer = assets
                        ? draw(*request, *assets)
                        : errorAnswer("cannot load the asset catalogue: " + assets.error().message);
    if (!sendFrame(fd, answer.header.dump()) || !sendFrame(fd, answer.png) ||
        !sendFrame(fd, answer.displayList))
      return kExitFailure;
  }
}

void addHostWorkerCommand(CLI::App& app, Action& action) {
  auto fd = std::make_shared<int>(kWorkerFd);
  // Started by the live host only; not listed in the help.
  CLI::App* cmd = app.add_subcommand("host-worker", "Renders tiles for the live host");
  cmd->group("");
  cmd->add_option("--fd", *fd, "The socket's descriptor (default 3)");
  cmd->callback([&action, fd] { action = [fd](const Io&) { return runRenderWorker(*fd); }; });
}

}  // namespace km::cli
