// The host's arrangement: placing, moving and removing widgets, saved as JSON.

#include "kmwidget/host/arrangement.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "host/km_widget.h"
#include "host/widget_kind.h"

namespace km::host {

using nlohmann::json;

Arrangement Arrangement::fresh() {
  Arrangement a;
  for (bool lock : {false, true}) {
    for (const char* kind : KMWidgetBundle::kKinds) {
      for (WidgetFamily family : supportedFamilies(kind)) {
        if (isAccessory(family) == lock) a.add(kind, family);
      }
    }
  }
  return a;
}

std::uint64_t Arrangement::add(const std::string& kind, WidgetFamily family) {
  widgets_.push_back({nextId_, kind, family});
  return nextId_++;
}

bool Arrangement::remove(std::uint64_t id) {
  return std::erase_if(widgets_, [id](const PlacedWidget& w) { return w.id == id; }) > 0;
}

bool Arrangement::move(std::uint64_t id, std::size_t index) {
  auto it = std::find_if(widgets_.begin(), widgets_.end(),
                         [id](const PlacedWidget& w) { return w.id == id; });
  if (it == widgets_.end()) return false;
  const PlacedWidget moved = *it;
  widgets_.erase(it);
  // Positions count only the widgets of the moved one's screen.
  const bool lock = isAccessory(moved.family);
  std::size_t seen = 0;
  auto at = widgets_.begin();
  for (; at != widgets_.end(); ++at) {
    if (isAccessory(at->family) != lock) continue;
    if (seen == index) break;
    ++seen;
  }
  widgets_.insert(at, moved);
  return true;
}

const PlacedWidget* Arrangement::find(std::uint64_t id) const {
  for (const PlacedWidget& w : widgets_) {
    if (w.id == id) return &w;
  }
  return nullptr;
}

std::string Arrangement::toJson() const {
  json widgets = json::array();
  for (const PlacedWidget& w : widgets_)
    widgets.push_back({{"kind", w.kind}, {"family", familyName(w.family)}});
  json j = {{"widgets", widgets},
            {"settings",
             {{"appearance", settings_.appearance},
              {"lockMode", settings_.lockMode},
              {"os", settings_.osMajor},
              {"device", settings_.device}}}};
  return j.dump(2) + "\n";
}

Result<Arrangement> Arrangement::fromJson(const std::string& text) {
  const json j = json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!j.is_object() || !j.contains("widgets") || !j["widgets"].is_array())
    return Error{"not an arrangement: no \"widgets\" list"};
  Arrangement a;
  for (const json& w : j["widgets"]) {
    if (!w.is_object() || !w.value("kind", json()).is_string() ||
        !w.value("family", json()).is_string())
      continue;
    const std::string kind = w["kind"];
    const auto family = familyFromName(w["family"].get<std::string>());
    if (!family || !widgetKindFromRawValue(kind)) continue;
    a.add(kind, *family);
  }
  if (const json s = j.value("settings", json::object()); s.is_object()) {
    HostSettings settings;
    auto text = [&s](const char* key, std::string& field, std::initializer_list<const char*> ok) {
      const json v = s.value(key, json());
      if (!v.is_string()) return;
      for (const char* allowed : ok) {
        if (v.get<std::string>() == allowed) field = allowed;
      }
    };
    text("appearance", settings.appearance, {"system", "light", "dark"});
    text("lockMode", settings.lockMode, {"vibrant", "accented", "fullColor"});
    text("device", settings.device, {"393x852", "430x932"});
    if (const json os = s.value("os", json()); os.is_number_integer()) {
      const int major = os.get<int>();
      if (major >= 15 && major <= 17) settings.osMajor = major;
    }
    a.setSettings(settings);
  }
  return a;
}

Result<Arrangement> Arrangement::load(const std::string& path) {
  std::ifstream in(path);
  if (!in) return Error{"cannot read " + path};
  std::ostringstream s;
  s << in.rdbuf();
  auto a = fromJson(s.str());
  if (!a) return Error{path + ": " + a.error().message};
  return a;
}

Status Arrangement::save(const std::string& path) const {
  const std::string temporary = path + ".tmp";
  {
    std::ofstream out(temporary, std::ios::trunc);
    out << toJson();
    if (!out) return Error{"cannot write " + temporary};
  }
  std::error_code ec;
  std::filesystem::rename(temporary, path, ec);
  if (ec) return Error{"cannot replace " + path + ": " + ec.message()};
  return Ok{};
}

std::string arrangementPath(const std::string& storePath) {
  return storePath + ".arrangement.json";
}

}  // namespace km::host
