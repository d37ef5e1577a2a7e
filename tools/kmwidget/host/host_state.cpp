// The state the page draws from, as JSON: the clock, the settings, the screen and family
// sizes, each widget with its tile and timeline, and the last taps. Published to the page's
// event stream after every change.

#include "host/km_widget.h"
#include "kmwidget/host/live_host.h"
#include "platform/foundation/bundle.h"
#include "platform/foundation/process_settings.h"

namespace km::host {

using nlohmann::json;

json Host::stateJson() const {
  const DrawSettings d = drawSettings();
  const Date now = clock_.now();
  const HostSettings& s = arrangement_.settings();
  json widgets = json::array();
  std::map<std::uint64_t, std::shared_ptr<const Tile>> tiles;
  {
    std::lock_guard lock(tilesMutex_);
    tiles = tiles_;
  }
  const ScopedPlatformVersion version(d.os);
  for (const PlacedWidget& w : arrangement_.widgets()) {
    if (!offered(w)) continue;
    const Size size = familySize(w.family, d.device);
    json item = {{"id", w.id},
                 {"kind", w.kind},
                 {"family", familyName(w.family)},
                 {"lock", isAccessory(w.family)},
                 {"name", KMWidget{w.kind}.configuration().displayName},
                 {"width", size.width},
                 {"height", size.height},
                 {"tile", nullptr},
                 {"error", nullptr}};
    if (auto it = tiles.find(w.id); it != tiles.end()) {
      item["tile"] =
          "/tile/" + std::to_string(w.id) + ".png?v=" + std::to_string(it->second->version);
      if (!it->second->error.empty()) item["error"] = it->second->error;
    }
    json timeline = {{"entries", json::array()},
                     {"shown", nullptr},
                     {"nextReload", nullptr},
                     {"policy", nullptr},
                     {"requests", 0}};
    if (auto it = slots_.find(w.id); it != slots_.end()) {
      item["phase"] = it->second.phase;
      timeline["requests"] = it->second.requests;
    }
    if (auto info = scheduler_.info(w.id)) {
      for (const ScheduledEntry& e : info->entries)
        timeline["entries"].push_back({{"date", formatISO8601(e.date)}});
      if (info->shownIndex) timeline["shown"] = *info->shownIndex;
      if (info->nextReload) timeline["nextReload"] = formatISO8601(*info->nextReload);
      if (info->requestedAt) timeline["policy"] = policyName(info->policy);
    }
    item["timeline"] = timeline;
    widgets.push_back(item);
  }
  json taps = json::array();
  for (const Tap& t : taps_) {
    taps.push_back({{"time", t.time},
                    {"widgetTime", t.widgetTime},
                    {"id", t.widget.id},
                    {"kind", t.widget.kind},
                    {"family", familyName(t.widget.family)},
                    {"url", t.url ? json(*t.url) : json(nullptr)}});
  }
  const Size screen = screenSize(d.device);
  json sizes = json::object();
  for (WidgetFamily f : kAllWidgetFamilies) {
    const Size fs = familySize(f, d.device);
    sizes[std::string(familyName(f))] = {{"width", fs.width}, {"height", fs.height}};
  }
  // The zone's offset now, so the page can show the host's wall-clock time.
  const std::string iso = formatISO8601(now);
  int offset = 0;
  if (iso.size() >= 6 && iso.back() != 'Z') {
    const std::string tail = iso.substr(iso.size() - 6);
    offset = (tail[0] == '-' ? -1 : 1) *
             (std::stoi(tail.substr(1, 2)) * 3600 + std::stoi(tail.substr(4, 2)) * 60);
  }
  return {{"clock",
           {{"now", iso},
            {"unixSeconds", now.timeIntervalSince1970()},
            {"speed", clock_.speed()},
            {"utcOffsetSeconds", offset},
            {"timeZone", currentTimeZoneId()}}},
          {"settings",
           {{"appearance", s.appearance},
            {"effectiveAppearance", d.appearance == ColorScheme::dark ? "dark" : "light"},
            {"lockMode", s.lockMode},
            {"os", s.osMajor},
            {"device", s.device},
            {"language", d.language.value_or("en")}}},
          {"languages", Bundle::main().localizations()},
          {"screen", {{"width", screen.width}, {"height", screen.height}}},
          {"sizes", sizes},
          {"widgets", widgets},
          {"taps", taps}};
}

void Host::publish() {
  if (server_) server_->publish(stateJson().dump());
}

}  // namespace km::host
