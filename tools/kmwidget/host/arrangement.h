#pragma once

// Arrangement: the widgets on the host's screens and the page's settings.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "platform/widgetkit/widget_family.h"

namespace km::host {

// One widget placed on a screen: the home screen for the system families, the lock screen for
// the accessory ones. `id` names it for as long as the host runs (tile URLs, the page's
// buttons); it is not saved.
struct PlacedWidget {
  std::uint64_t id = 0;
  std::string kind;
  WidgetFamily family = WidgetFamily::systemSmall;
  friend bool operator==(const PlacedWidget&, const PlacedWidget&) = default;
};

// What the person chose on the page besides the widgets. The language is not here: it lives in
// the shared store, where the app writes it.
struct HostSettings {
  std::string appearance = "system";  // "system" (follow the browser), "light" or "dark"
  std::string lockMode = "vibrant";   // the lock screen's rendering: vibrant, accented, fullColor
  int osMajor = 17;                   // 15, 16 or 17
  std::string device = "393x852";     // or "430x932"
  friend bool operator==(const HostSettings&, const HostSettings&) = default;
};

// The screens' widgets in their order, and the page's settings; saved as a small JSON file
// beside the shared store so that a restarted host shows what the person arranged.
class Arrangement {
 public:
  // Every widget of the bundle in its home-screen family, then every lock-screen family, in
  // gallery order: a fresh host shows everything there is.
  static Arrangement fresh();
  // Reads a saved arrangement; an error for a file that is missing or not ours. Entries naming
  // a kind or family this host does not know are dropped rather than failing the whole file.
  static Result<Arrangement> load(const std::string& path);
  // Writes atomically (a temporary file renamed over the old one).
  Status save(const std::string& path) const;

  const std::vector<PlacedWidget>& widgets() const { return widgets_; }
  const HostSettings& settings() const { return settings_; }
  void setSettings(const HostSettings& settings) { settings_ = settings; }

  // Appends a widget; returns its id. The caller checks that the kind offers the family.
  std::uint64_t add(const std::string& kind, WidgetFamily family);
  bool remove(std::uint64_t id);
  // Moves the widget `id` to position `index` among the widgets of its own screen (clamped).
  bool move(std::uint64_t id, std::size_t index);
  const PlacedWidget* find(std::uint64_t id) const;

  std::string toJson() const;
  static Result<Arrangement> fromJson(const std::string& text);

 private:
  std::vector<PlacedWidget> widgets_;
  HostSettings settings_;
  std::uint64_t nextId_ = 1;
};

// The arrangement file of a store: "<store file>.arrangement.json".
std::string arrangementPath(const std::string& storePath);

}  // namespace km::host
