// The live host's HTTP side: static page files and tiles answered on the server's threads,
// and the JSON API (catalogue, adding, moving and removing widgets, settings, taps, reloads)
// run as tasks on the loop.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>

#include "host/km_widget.h"
#include "host/provider.h"
#include "host/widget_kind.h"
#include "kmwidget/host/live_host.h"
#include "kmwidget/host/page_assets.h"
#include "kmwidget/host/tap.h"
#include "model/shared_store.h"
#include "platform/foundation/bundle.h"
#include "platform/foundation/process_settings.h"
#include "platform/foundation/user_defaults.h"

extern char** environ;

namespace km::host {
namespace {

constexpr std::size_t kTapsKept = 50;

std::string localClockText() {
  const auto t = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm tm{};
  localtime_r(&t, &tm);
  char buf[16];
  std::strftime(buf, sizeof buf, "%H:%M:%S", &tm);
  return buf;
}

}  // namespace

using cli::RenderResult;
using nlohmann::json;

void Host::openUrl(const std::string& url) {
  const std::string command = options_.openWith.value_or("xdg-open");
  // The command may carry its own arguments; the URL goes in as one argument of its own.
  const std::string script = command + " \"$1\"";
  std::vector<std::string> args = {"/bin/sh", "-c", script, "sh", url};
  std::vector<char*> argv;
  for (std::string& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv.data(), environ) == 0) {
    openers_.push_back(pid);
  } else {
    log_ << "kmwidget host: cannot run " << command << std::endl;
  }
}

void Host::reapOpeners() {
  std::erase_if(openers_, [](pid_t pid) { return waitpid(pid, nullptr, WNOHANG) != 0; });
}

json Host::catalogue() {
  const DrawSettings d = drawSettings();
  const ScopedNow now(clock_.now());
  const ScopedPlatformVersion version(d.os);
  const ScopedLanguageOverride language(d.language);
  json widgets = json::array();
  std::vector<Job> jobs;
  std::vector<std::string> keys;
  for (const KMWidget& widget : KMWidgetBundle{}.body()) {
    const WidgetConfiguration c = widget.configuration();
    json families = json::array();
    for (WidgetFamily f : c.supportedFamilies) {
      const Size size = familySize(f, d.device);
      const std::string key = c.kind + "." + std::string(familyName(f));
      families.push_back(
          {{"family", familyName(f)},
           {"lock", isAccessory(f)},
           {"width", size.width},
           {"height", size.height},
           {"preview", "/preview/" + key + ".png?v=" + std::to_string(nextVersion_)}});
      // The gallery previews each family from a snapshot, as the phone's sheet does.
      Provider{}.getSnapshot({f, size.width, size.height, true}, [&](NutritionEntry e) {
        jobs.push_back({0, c.kind, f, std::move(e)});
        keys.push_back(key);
      });
    }
    widgets.push_back({{"kind", c.kind},
                       {"displayName", c.displayName},
                       {"description", c.description},
                       {"families", families}});
  }
  std::vector<RenderResult> results(jobs.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    threads.emplace_back([&, i] {
      results[i] = pool_->render(requestFor(jobs[i].kind, jobs[i].family, jobs[i].entry));
    });
  }
  for (std::thread& t : threads)
    t.join();
  std::lock_guard lock(tilesMutex_);
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    auto t = std::make_shared<Tile>();
    t->png = std::move(results[i].png);
    t->error = results[i].ok ? "" : results[i].error;
    previews_[keys[i]] = std::move(t);
  }
  return {{"widgets", widgets}, {"os", d.os.major}};
}

HttpResponse Host::addWidget(const json& body) {
  const std::string kind = body.value("kind", "");
  const auto family = familyFromName(body.value("family", ""));
  if (!widgetKindFromRawValue(kind))
    return HttpResponse::error(400, "unknown kind \"" + kind + "\"");
  if (!family) return HttpResponse::error(400, "unknown family");
  PlacedWidget w{0, kind, *family};
  if (!offered(w)) {
    return HttpResponse::error(400, kind + " does not offer " + std::string(familyName(*family)) +
                                        " on platform " +
                                        std::to_string(arrangement_.settings().osMajor));
  }
  const std::uint64_t id = arrangement_.add(kind, *family);
  saveArrangement();
  syncSlots();
  return HttpResponse::json(200, json{{"id", id}}.dump());
}

HttpResponse Host::changeSettings(const json& body) {
  HostSettings s = arrangement_.settings();
  const HostSettings before = s;
  const std::string browserBefore = browserAppearance_;
  auto pick = [&body](const char* key, std::string& field,
                      std::initializer_list<const char*> allowed) -> std::optional<std::string> {
    if (!body.contains(key)) return std::nullopt;
    const json& v = body[key];
    for (const char* a : allowed) {
      if (v.is_string() && v.get<std::string>() == a) {
        field = a;
        return std::nullopt;
      }
    }
    return std::string(key) + ": not one of the allowed values";
  };
  std::optional<std::string> error;
  if (!error) error = pick("appearance", s.appearance, {"system", "light", "dark"});
  if (!error) error = pick("browserAppearance", browserAppearance_, {"light", "dark"});
  if (!error) error = pick("lockMode", s.lockMode, {"vibrant", "accented", "fullColor"});
  if (!error) error = pick("device", s.device, {"393x852", "430x932"});
  if (!error && body.contains("os")) {
    const json& v = body["os"];
    if (!v.is_number_integer() || v.get<int>() < 15 || v.get<int>() > 17) {
      error = "os: expected 15, 16 or 17";
    } else {
      s.osMajor = v.get<int>();
    }
  }
  std::optional<std::string> language;
  if (!error && body.contains("language")) {
    const auto languages = Bundle::main().localizations();
    const json& v = body["language"];
    if (!v.is_string() ||
        std::find(languages.begin(), languages.end(), v.get<std::string>()) == languages.end()) {
      error = "language: not a language of the bundle";
    } else {
      language = v.get<std::string>();
    }
  }
  if (error) {
    browserAppearance_ = browserBefore;
    return HttpResponse::error(400, *error);
  }
  if (language) {
    // As the app does: the choice goes into the shared store, and the store's change reloads.
    auto store = UserDefaults::openFile(options_.storePath, UserDefaults::Access::readWrite);
    if (!store) return HttpResponse::error(500, store.error().message);
    if (Status st = store->set(kLanguageUserSelectedKey, *language); !st)
      return HttpResponse::error(500, st.error().message);
  }
  arrangement_.setSettings(s);
  if (!(s == before)) saveArrangement();
  if (s.osMajor != before.osMajor) syncSlots();
  if (!(s == before) || browserAppearance_ != browserBefore) {
    // New settings draw differently: every timeline is asked again, with new keys.
    reloadAll();
    redrawAll();
  }
  return HttpResponse::json(200, json{{"ok", true}}.dump());
}

HttpResponse Host::tap(const json& body) {
  if (!body.value("id", json()).is_number_unsigned() || !body.value("x", json()).is_number() ||
      !body.value("y", json()).is_number())
    return HttpResponse::error(400, "expected {\"id\", \"x\", \"y\"}");
  const PlacedWidget* w = arrangement_.find(body["id"].get<std::uint64_t>());
  if (!w) return HttpResponse::error(404, "no such widget");
  const auto t = tile(w->id);
  std::optional<std::string> url;
  if (t && t->error.empty()) url = urlAtPoint(t->displayListJson, body["x"], body["y"]);
  if (url) openUrl(*url);
  taps_.push_back({localClockText(), formatISO8601(clock_.now()), *w, url});
  while (taps_.size() > kTapsKept)
    taps_.pop_front();
  return HttpResponse::json(200, json{{"url", url ? json(*url) : json(nullptr)}}.dump());
}

// The JSON API; runs on the loop.
HttpResponse Host::handleApi(const HttpRequest& request) {
  json body = json::object();
  if (!request.body.empty()) {
    body = json::parse(request.body, nullptr, /*allow_exceptions=*/false);
    if (body.is_discarded() || !body.is_object())
      return HttpResponse::error(400, "the body is not a JSON object");
  }
  const std::string& p = request.path;
  if (p == "/api/state") return HttpResponse::json(200, stateJson().dump());
  if (p == "/api/catalogue") return HttpResponse::json(200, catalogue().dump());
  if (request.method != "POST") return HttpResponse::error(405, p + " takes POST");
  if (p == "/api/widgets") return addWidget(body);
  if (p == "/api/remove" || p == "/api/move") {
    if (!body.value("id", json()).is_number_unsigned())
      return HttpResponse::error(400, "expected a widget \"id\"");
    const std::uint64_t id = body["id"];
    bool done = false;
    if (p == "/api/remove") {
      done = arrangement_.remove(id);
    } else {
      if (!body.value("index", json()).is_number_unsigned())
        return HttpResponse::error(400, "expected an \"index\"");
      done = arrangement_.move(id, body["index"].get<std::size_t>());
    }
    if (!done) return HttpResponse::error(404, "no such widget");
    saveArrangement();
    syncSlots();
    return HttpResponse::json(200, json{{"ok", true}}.dump());
  }
  if (p == "/api/settings") return changeSettings(body);
  if (p == "/api/tap") return tap(body);
  if (p == "/api/reload") {
    const json kind = body.value("kind", json(""));
    if (!kind.is_string()) return HttpResponse::error(400, "kind: expected a string");
    if (!kind.get<std::string>().empty() && !widgetKindFromRawValue(kind.get<std::string>()))
      return HttpResponse::error(400, "unknown kind \"" + kind.get<std::string>() + "\"");
    return HttpResponse::json(200, json{{"reloaded", reloadKind(kind)}}.dump());
  }
  return HttpResponse::error(404, "no such API: " + p);
}

std::shared_ptr<const Tile> Host::tile(std::uint64_t id) {
  std::lock_guard lock(tilesMutex_);
  auto it = tiles_.find(id);
  return it == tiles_.end() ? nullptr : it->second;
}

HttpResponse Host::runOnLoop(std::function<HttpResponse()> task) {
  std::packaged_task<HttpResponse()> packaged(std::move(task));
  std::future<HttpResponse> answer = packaged.get_future();
  {
    std::lock_guard lock(tasksMutex_);
    if (closing_) return HttpResponse::error(503, "the host is stopping");
    tasks_.push_back(std::move(packaged));
  }
  const std::uint64_t one = 1;
  (void)!write(wakeFd_, &one, sizeof one);
  if (answer.wait_for(std::chrono::seconds(20)) != std::future_status::ready)
    return HttpResponse::error(503, "the host is busy");
  try {
    return answer.get();
  } catch (const std::future_error&) {
    return HttpResponse::error(503, "the host is stopping");
  }
}

HttpResponse Host::route(const HttpRequest& request) {
  const std::string& p = request.path;
  if (request.method == "GET") {
    if (p == "/" || p == "/index.html") return pageAsset("index.html");
    if (p == "/app.js") return pageAsset("app.js");
    if (p == "/style.css") return pageAsset("style.css");
    auto image = [](const std::shared_ptr<const Tile>& t) {
      if (!t) return HttpResponse::error(404, "no such tile");
      if (!t->error.empty()) return HttpResponse::error(404, "not drawn: " + t->error);
      HttpResponse r;
      r.contentType = "image/png";
      r.body = t->png;
      return r;
    };
    const std::string tilePrefix = "/tile/";
    if (p.starts_with(tilePrefix) && p.ends_with(".png")) {
      const std::string number = p.substr(tilePrefix.size(), p.size() - tilePrefix.size() - 4);
      if (number.empty() || number.size() > 18 ||
          !std::all_of(number.begin(), number.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return HttpResponse::error(400, "a tile is named by its widget's number");
      return image(tile(std::stoull(number)));
    }
    const std::string previewPrefix = "/preview/";
    if (p.starts_with(previewPrefix) && p.ends_with(".png")) {
      const std::string key = p.substr(previewPrefix.size(), p.size() - previewPrefix.size() - 4);
      std::shared_ptr<const Tile> t;
      {
        std::lock_guard lock(tilesMutex_);
        if (auto it = previews_.find(key); it != previews_.end()) t = it->second;
      }
      return image(t);
    }
  }
  if (p.starts_with("/api/")) {
    if (request.method != "GET" && request.method != "POST")
      return HttpResponse::error(405, "GET or POST only");
    return runOnLoop([this, request] { return handleApi(request); });
  }
  return HttpResponse::error(404, "not found: " + p);
}

}  // namespace km::host
