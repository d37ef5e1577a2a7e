#pragma once

// Bundle: a folder of resources and localisations.

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/strings_table.h"

namespace km {

// A folder of resources, as the phone's bundles are: localisation folders "<lang>.lproj" holding
// "<table>.strings" files, and other resources by name and type. The main bundle is the
// extension's own `bundle/` folder. A small value type (it holds only its path); lookups are
// thread-safe. Parsed tables and folder listings are kept process-wide while the file or folder
// is unchanged (same inode, size and modification time), so each lookup costs a stat, not a
// parse, and an edited table is seen at the next lookup.
class Bundle {
 public:
  // The environment variable naming the main bundle's folder.
  static constexpr const char* kBundlePathVariable = "KMWIDGET_BUNDLE";
  // The localisation used when none of the user's preferred languages is present.
  static constexpr std::string_view kDevelopmentLocalization = "en";

  // The main bundle: the process's override, else $KMWIDGET_BUNDLE, else a `bundle` folder
  // next to the running executable (or in ../share/kalomate/ from it), else the source tree's.
  static Bundle main();
  // A bundle at `path`, when it is a folder.
  static std::optional<Bundle> atPath(const std::string& path);

  const std::string& bundlePath() const { return path_; }

  // "<bundle>/<name>.<type>" when it exists (file or folder); nullopt otherwise.
  std::optional<std::string> pathForResource(std::string_view name, std::string_view type) const;

  // The names of the bundle's localisation folders, without ".lproj", sorted.
  std::vector<std::string> localizations() const;
  // The localisation chosen for the user's preferred languages (exact match first, then the
  // language without region), else the development localisation, else none (empty).
  std::string preferredLocalization() const;

  // The text of `key` in `<table>.strings`, looked up in the preferred localisation's folder and
  // then in the bundle's own folder. A missing key gives `value` when that is not empty, else
  // the key itself. A table that does not parse is reported on standard error and treated as
  // absent.
  std::string localizedString(std::string_view key, std::string_view value,
                              std::string_view table) const;

  // The parsed `<table>.strings` that lookups read: the first of the two places above that
  // holds a table that parses; null when neither does. The table is as it was when asked for:
  // for reading many texts of one moment without checking the files for each.
  std::shared_ptr<const StringsTable> stringsTable(std::string_view table) const;

 private:
  explicit Bundle(std::string path) : path_(std::move(path)) {}

  std::string path_;
};

}  // namespace km
