#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "fixtures/json_match.h"
#include "fixtures/temp_dir.h"
#include "kmwidget/cli.h"
#include "kmwidget/host/arrangement.h"
#include "kmwidget/host/http_server.h"
#include "kmwidget/host/loopback_client.h"
#include "kmwidget/host/tap.h"
#include "kmwidget/host/widget_host.h"
#include "platform/widgetkit/platform_version.h"

namespace km::host {
namespace {

std::vector<std::pair<std::string, std::string>> placed(const Arrangement& a) {
  std::vector<std::pair<std::string, std::string>> out;
  for (const PlacedWidget& w : a.widgets())
    out.emplace_back(w.kind, std::string(familyName(w.family)));
  return out;
}

TEST(Arrangement, FreshHostShowsEveryHomeWidgetThenEveryLockFamily) {
  const ScopedPlatformVersion v17(PlatformVersion{17, 0});
  using P = std::vector<std::pair<std::string, std::string>>;
  EXPECT_EQ(placed(Arrangement::fresh()), (P{{"small_energy", "systemSmall"},
                                             {"medium_history", "systemMedium"},
                                             {"medium_pie_macros", "systemMedium"},
                                             {"medium_buttons", "systemMedium"},
                                             {"small_energy", "accessoryInline"},
                                             {"small_energy", "accessoryCircular"},
                                             {"medium_pie_macros", "accessoryRectangular"},
                                             {"medium_buttons", "accessoryCircular"},
                                             {"lockscreen_button", "accessoryCircular"}}));
  const ScopedPlatformVersion v15(PlatformVersion{15, 0});
  EXPECT_EQ(Arrangement::fresh().widgets().size(), 4u);
}

TEST(Arrangement, MovesCountOnlyTheWidgetsOfTheSameScreen) {
  Arrangement a;
  const auto home1 = a.add("small_energy", WidgetFamily::systemSmall);
  const auto lock1 = a.add("lockscreen_button", WidgetFamily::accessoryCircular);
  const auto home2 = a.add("medium_history", WidgetFamily::systemMedium);
  const auto lock2 = a.add("medium_buttons", WidgetFamily::accessoryCircular);
  ASSERT_TRUE(a.move(home2, 0));
  ASSERT_TRUE(a.move(lock1, 1));
  std::vector<std::uint64_t> order;
  for (const PlacedWidget& w : a.widgets())
    order.push_back(w.id);
  EXPECT_EQ(order, (std::vector<std::uint64_t>{home2, home1, lock2, lock1}));
  EXPECT_TRUE(a.move(home1, 99));  // clamped to the end of its screen
  EXPECT_FALSE(a.move(77, 0));
  EXPECT_TRUE(a.remove(lock2));
  EXPECT_FALSE(a.remove(lock2));
  EXPECT_EQ(a.widgets().size(), 3u);
}

TEST(Arrangement, SavedFileRoundTripsAndForeignEntriesAreDropped) {
  testing::TempDir dir;
  Arrangement a;
  a.add("medium_buttons", WidgetFamily::systemMedium);
  a.add("small_energy", WidgetFamily::accessoryInline);
  a.setSettings({"dark", "accented", 16, "430x932"});
  const std::string path = dir.file("store.sqlite.arrangement.json");
  ASSERT_TRUE(a.save(path).ok());
  auto loaded = Arrangement::load(path);
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(placed(*loaded), placed(a));
  EXPECT_EQ(loaded->settings(), a.settings());

  auto mixed = Arrangement::fromJson(
      R"({"widgets":[{"kind":"nope","family":"systemSmall"},{"kind":"medium_history"},)"
      R"({"kind":"small_energy","family":"systemLarge"},{"kind":"medium_history",)"
      R"("family":"systemMedium"}],"settings":{"appearance":"purple","os":14,"device":"430x932"}})");
  ASSERT_TRUE(mixed.ok());
  EXPECT_EQ(placed(*mixed), (decltype(placed(a)){{"medium_history", "systemMedium"}}));
  EXPECT_EQ(mixed->settings().appearance, "system");
  EXPECT_EQ(mixed->settings().osMajor, 17);
  EXPECT_EQ(mixed->settings().device, "430x932");
  for (const char* bad : {"", "[]", "{\"widgets\":3}", "{not json"})
    EXPECT_FALSE(Arrangement::fromJson(bad).ok()) << bad;
  EXPECT_FALSE(Arrangement::load(dir.file("missing.json")).ok());
}

// Each row of taps.json: a display list as the page holds it, and points with the URL a tap
// there opens (null: none).
// `kmwidget host --os N` pins the platform version over the page's saved choice, the default
// version included; without --os the saved choice stands.
TEST(HostCommand, OsOnTheCommandLineWinsEvenAtTheDefault) {
  testing::TempDir dir;
  const std::pair<std::string, std::optional<int>> cases[] = {
      {"17", 17}, {"15", 15}, {"", std::nullopt}};
  for (const auto& [os, pinned] : cases) {
    std::vector<std::string> args{"--store", dir.file("s.sqlite"), "host"};
    if (!os.empty()) args.insert(args.begin(), {"--os", os});
    std::optional<int> seen = -1;  // stays so if the host is never run
    std::ostringstream out, err;
    std::istringstream in;
    const auto host = [&seen](const HostOptions& options, std::ostream&) {
      seen = options.osMajor;
      return 0;
    };
    EXPECT_EQ(cli::runKmwidget(args, {out, err, in}, host), 0) << err.str();
    EXPECT_EQ(seen, pinned) << os;
  }
}

TEST(Tap, TopmostLinkElseWidgetUrlElseNothing) {
  std::ifstream in(std::string(KM_SOURCE_DIR) + "/tests/live_host/taps.json");
  const nlohmann::json rows = nlohmann::json::parse(in);
  for (const nlohmann::json& row : rows) {
    const std::string list =
        row["list"].is_string() ? row["list"].get<std::string>() : row["list"].dump();
    for (const nlohmann::json& tap : row["taps"]) {
      const std::optional<std::string> want =
          tap[2].is_null() ? std::nullopt : std::optional<std::string>(tap[2].get<std::string>());
      EXPECT_EQ(urlAtPoint(list, tap[0], tap[1]), want) << row["name"] << " at " << tap;
    }
  }
  EXPECT_GE(rows.size(), 4u);  // the file was found and read
}

// A raw HTTP exchange on the loopback: whatever `request` holds, exactly as sent; "" when the
// server closes without answering (or does not answer in time).
std::string exchange(std::uint16_t port, const std::string& request, int timeoutMs = 3000) {
  Result<std::string> answer =
      exchangeOnLoopback(port, request, std::chrono::milliseconds(timeoutMs));
  return answer ? *answer : "";
}

int statusOf(const std::string& answer) {
  return answer.size() > 12 ? std::stoi(answer.substr(9, 3)) : 0;
}

TEST(HttpServer, AnswersBadRequestsWithA4xxAndKeepsServing) {
  HttpServer::Options options;
  options.maxBodyBytes = 1024;
  options.idleTimeoutSeconds = 1;
  auto server = HttpServer::start(options, [](const HttpRequest& r) {
    if (r.path == "/echo")
      return HttpResponse::json(200, "{\"got\":" + std::to_string(r.body.size()) + "}");
    if (r.path == "/throw") throw std::runtime_error("boom");
    return HttpResponse::error(404, "no " + r.path);
  });
  ASSERT_TRUE(server.ok()) << server.error().message;
  const std::uint16_t port = (*server)->port();
  ASSERT_NE(port, 0);
  struct Case {
    std::string request;
    int status;
    std::string bodyHas;
  };
  const std::string big(5000, 'x');
  for (const Case& c : std::vector<Case>{
           {"GET /nowhere HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", 404, "\"error\""},
           {"GET /%ff%fe HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", 404, "\"error\""},
           {"POST /echo HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nConnection: close\r\n\r\nabc",
            200, "{\"got\":3}"},
           {"POST /echo HTTP/1.1\r\nHost: x\r\nContent-Length: 5000\r\nConnection: close\r\n\r\n" +
                big,
            413, "larger than 1024"},
           {"GET /throw HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", 500, "boom"},
           {"POST /events HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\nConnection: close\r\n\r\n",
            405, "GET only"},
           // Not HTTP at all: the library closes the connection without an answer.
           {"GARBAGE\r\n\r\n", 0, ""},
           {"GET /" + std::string(64 * 1024, 'a') + " HTTP/1.1\r\nHost: x\r\n\r\n", 414, ""}}) {
    const std::string answer = exchange(port, c.request);
    EXPECT_EQ(statusOf(answer), c.status) << c.request.substr(0, 40);
    EXPECT_NE(answer.find(c.bodyHas), std::string::npos) << answer.substr(0, 200);
  }
  // Clients that connect and say nothing, or give up halfway, cost nothing lasting.
  std::vector<int> idle;
  for (int i = 0; i < 20; ++i)
    idle.push_back(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  for (int fd : idle)
    (void)connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  EXPECT_EQ(statusOf(exchange(port, "GET /echo HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n")),
            200);
  for (int fd : idle)
    close(fd);
}

TEST(HttpServer, EventStreamSendsTheLatestDocumentAndEndsOnStop) {
  auto server =
      HttpServer::start({}, [](const HttpRequest&) { return HttpResponse::json(200, "{}"); });
  ASSERT_TRUE(server.ok());
  (*server)->publish("{\"n\":1}");
  const std::uint16_t port = (*server)->port();
  std::string received;
  std::thread client(
      [&] { received = exchange(port, "GET /events HTTP/1.1\r\nHost: x\r\n\r\n", 5000); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  (*server)->publish("{\"n\":2}");
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  (*server)->stop();  // ends the stream: the client's read returns
  client.join();
  EXPECT_NE(received.find("text/event-stream"), std::string::npos);
  EXPECT_NE(received.find("event: state\ndata: {\"n\":1}\n\n"), std::string::npos) << received;
  EXPECT_NE(received.find("data: {\"n\":2}"), std::string::npos) << received;
}

TEST(HttpServer, ServesTheLoopbackOnly) {
  HttpServer::Options options;
  options.address = "0.0.0.0";
  EXPECT_FALSE(HttpServer::start(options, {}).ok());
  options.address = "::1";
  auto v6 =
      HttpServer::start(options, [](const HttpRequest&) { return HttpResponse::json(200, "{}"); });
  EXPECT_TRUE(v6.ok());
}

// Each row of http_answers.json: an answer as it arrives, and the status and body read from it
// (status 0: refused, with "text" in the message).
TEST(LoopbackClient, ReadsStatusAndBodyOfWholeAnswersOnly) {
  const nlohmann::json rows = testing::readJsonFile(std::filesystem::path(KM_SOURCE_DIR) /
                                                    "tests/live_host/http_answers.json");
  for (const nlohmann::json& row : rows) {
    const std::string raw = row["raw"], text = row["text"];
    const Result<HttpAnswer> answer = parseHttpAnswer(raw);
    if (row["status"] == 0) {
      ASSERT_FALSE(answer.ok()) << raw;
      EXPECT_NE(answer.error().message.find(text), std::string::npos) << answer.error().message;
    } else {
      ASSERT_TRUE(answer.ok()) << raw << ": " << answer.error().message;
      EXPECT_EQ(answer->status, row["status"]) << raw;
      EXPECT_EQ(answer->body, text) << raw;
    }
  }
  EXPECT_GE(rows.size(), 14u);  // the file was found and read
}

TEST(LoopbackClient, GivesUpOnAServerThatNeverAnswersOrAnswersTooMuch) {
  // A listening socket nobody accepts from: the connection is made by the kernel, the answer
  // never comes.
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
  ASSERT_EQ(listen(listener, 4), 0);
  socklen_t len = sizeof addr;
  getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &len);
  const std::uint16_t silent = ntohs(addr.sin_port);
  const auto start = std::chrono::steady_clock::now();
  Result<std::string> answer =
      exchangeOnLoopback(silent, "GET / HTTP/1.1\r\n\r\n", std::chrono::milliseconds(200));
  ASSERT_FALSE(answer.ok());
  EXPECT_NE(answer.error().message.find("within 200 ms"), std::string::npos)
      << answer.error().message;
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  close(listener);

  auto server = HttpServer::start({}, [](const HttpRequest&) {
    return HttpResponse::json(200, "\"" + std::string(4000, 'x') + "\"");
  });
  ASSERT_TRUE(server.ok());
  answer = exchangeOnLoopback((*server)->port(),
                              "GET / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n",
                              std::chrono::seconds(3), 1000);
  ASSERT_FALSE(answer.ok());
  EXPECT_NE(answer.error().message.find("larger than 1000 bytes"), std::string::npos);
}

// `kmwidget reload`'s client against a server answering as the host's reload route does.
TEST(ReloadClient, FindsTheHostBesideTheStoreAndReportsWhyItCannot) {
  testing::TempDir dir;
  const std::string store = dir.file("store.sqlite");
  auto server = HttpServer::start({}, [](const HttpRequest& r) {
    const auto body = nlohmann::json::parse(r.body, nullptr, false);
    if (r.method != "POST" || r.path != "/api/reload" || !body.is_object())
      return HttpResponse::error(400, "bad request");
    const std::string kind = body.value("kind", "");
    if (kind == "nope") return HttpResponse::error(404, "unknown kind \"nope\"");
    return HttpResponse::json(200, kind.empty() ? R"({"reloaded":9})" : R"({"reloaded":2})");
  });
  ASSERT_TRUE(server.ok());
  const auto writeHostFile = [&](const nlohmann::json& host) {
    std::ofstream(hostFilePath(store)) << host.dump();
  };
  const int self = static_cast<int>(getpid());

  ReloadAnswer answer = requestReload(store, "");
  EXPECT_FALSE(answer.ok);
  EXPECT_NE(answer.error.find("no host is running"), std::string::npos) << answer.error;

  writeHostFile({{"port", (*server)->port()}, {"pid", self}});
  answer = requestReload(store, "");
  EXPECT_TRUE(answer.ok) << answer.error;
  EXPECT_EQ(answer.reloaded, 9);
  answer = requestReload(store, "small_energy");
  EXPECT_EQ(answer.reloaded, 2);
  answer = requestReload(store, "nope");
  EXPECT_FALSE(answer.ok);
  EXPECT_EQ(answer.error, "the host refused: unknown kind \"nope\"");

  struct Broken {
    nlohmann::json host;
    std::string says;
  };
  const pid_t child = fork();
  if (child == 0) _exit(0);
  waitpid(child, nullptr, 0);  // a pid that no longer runs
  for (const Broken& b : std::vector<Broken>{
           {{{"port", "8471"}, {"pid", self}}, "is not a host file"},
           {{{"port", 70000}, {"pid", self}}, "names no port"},
           {{{"port", (*server)->port()}, {"pid", static_cast<int>(child)}}, "is gone"}}) {
    writeHostFile(b.host);
    answer = requestReload(store, "");
    EXPECT_FALSE(answer.ok);
    EXPECT_NE(answer.error.find(b.says), std::string::npos) << answer.error;
  }
  const std::uint16_t port = (*server)->port();
  (*server)->stop();
  server = Error{"stopped"};
  writeHostFile({{"port", port}, {"pid", self}});
  answer = requestReload(store, "");
  EXPECT_FALSE(answer.ok);
  EXPECT_NE(answer.error.find("cannot reach the host of " + store), std::string::npos)
      << answer.error;
}

}  // namespace
}  // namespace km::host
