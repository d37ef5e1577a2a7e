// `kmwidget reload`'s side: finds the host of a store through the file it keeps beside the store
// and asks it over the loopback.

#include <curl/curl.h>
#include <signal.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "kmwidget/host/widget_host.h"

namespace km::host {

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
  const std::string url =
      "http://127.0.0.1:" + std::to_string(host["port"].get<unsigned>()) + "/api/reload";
  const std::string body = json{{"kind", kind}}.dump();

  CURL* curl = curl_easy_init();
  if (!curl) return {false, 0, "cannot start an HTTP client"};
  std::string answer;
  curl_slist* headers = curl_slist_append(nullptr, "Content-Type: application/json");
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 10000L);
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(
      curl, CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t n, void* out) {
        static_cast<std::string*>(out)->append(data, size * n);
        return size * n;
      });
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &answer);
  const CURLcode code = curl_easy_perform(curl);
  long status = 0;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_slist_free_all(headers);
  curl_easy_cleanup(curl);
  if (code != CURLE_OK)
    return {false, 0, "cannot reach the host at " + url + ": " + curl_easy_strerror(code)};
  const json reply = json::parse(answer, nullptr, /*allow_exceptions=*/false);
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
