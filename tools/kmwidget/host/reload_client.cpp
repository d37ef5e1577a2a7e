// `kmwidget reload`'s side: finds the host of a store through the file it keeps beside the store
// and asks it over the loopback.

#include <signal.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>

#include "kmwidget/host/loopback_client.h"
#include "kmwidget/host/widget_host.h"

namespace km::host {

std::string hostFilePath(const std::string& storePath) {
  return storePath + ".host.json";
}

ReloadAnswer requestReload(const std::string& storePath, const std::string& kind) {
  using nlohmann::json;
  const std::string file = hostFilePath(storePath);
  std::ifstream in(file);
  if (!in) return {false, 0, "no host is running on " + storePath + " (no " + file + ")"};
  const json host = json::parse(in, nullptr, /*allow_exceptions=*/false);
  if (!host.is_object() || !host.value("port", json()).is_number_unsigned() ||
      !host.value("pid", json()).is_number_integer())
    return {false, 0, file + " is not a host file"};
  const int pid = host["pid"];
  if (pid <= 0 || (kill(pid, 0) != 0 && errno == ESRCH))
    return {false, 0, "the host that wrote " + file + " (pid " + std::to_string(pid) + ") is gone"};
  const std::uint64_t port = host["port"].get<std::uint64_t>();
  if (port == 0 || port > 65535) return {false, 0, file + " names no port"};
  const std::string body = json{{"kind", kind}}.dump();

  const Result<HttpAnswer> answer = postJsonOnLoopback(
      static_cast<std::uint16_t>(port), "/api/reload", body, std::chrono::seconds(10));
  if (!answer)
    return {false, 0, "cannot reach the host of " + storePath + ": " + answer.error().message};
  const int status = answer->status;
  const json reply = json::parse(answer->body, nullptr, /*allow_exceptions=*/false);
  if (status != 200) {
    const std::string why = reply.is_object() && reply.value("error", json()).is_string()
                                ? reply["error"].get<std::string>()
                                : "HTTP status " + std::to_string(status);
    return {false, 0, "the host refused: " + why};
  }
  if (!reply.is_object() || !reply.value("reloaded", json()).is_number_integer())
    return {false, 0, "the host's answer is not understood"};
  return {true, reply["reloaded"].get<int>(), ""};
}

}  // namespace km::host
