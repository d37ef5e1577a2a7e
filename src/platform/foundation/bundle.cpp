// Bundles: finding the main bundle, localisation folders and strings tables, cached by file stamp.

#include "platform/foundation/bundle.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <mutex>
#include <system_error>
#include <unordered_map>

#include "platform/foundation/process_settings.h"
#include "platform/foundation/strings_table.h"
#include "platform/foundation/text.h"

namespace fs = std::filesystem;

namespace km {
namespace {

bool isDirectory(const fs::path& p) {
  std::error_code ec;
  return fs::is_directory(p, ec);
}

// "pt_BR" and "pt-br" name the same localisation.
std::string canonicalLanguage(std::string s) {
  std::replace(s.begin(), s.end(), '_', '-');
  return asciiLowercased(s);
}

// What identifies a version of a file or folder: a change of contents, size, or the file itself
// (replaced by a rename) gives a different stamp.
struct FileStamp {
  dev_t device = 0;
  ino_t inode = 0;
  std::int64_t mtimeNs = 0;
  off_t size = 0;
  bool isDirectory = false;

  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

std::optional<FileStamp> stampOf(const std::string& path) {
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0) return std::nullopt;
  return FileStamp{
      st.st_dev, st.st_ino,
      static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec, st.st_size,
      S_ISDIR(st.st_mode)};
}

// Parsed tables and folder listings, kept while their file's stamp stays the same: every
// lookup still checks the file, so an edited or replaced table is read again, but an unchanged
// one is not parsed for every text of every widget. Thread-safe.
template <typename Value>
class StampedCache {
 public:
  template <typename Make>
  std::shared_ptr<const Value> get(const std::string& path, const FileStamp& stamp, Make make) {
    {
      std::lock_guard lock(mutex_);
      if (auto it = entries_.find(path); it != entries_.end() && it->second.first == stamp) {
        return it->second.second;
      }
    }
    auto value = std::make_shared<const Value>(make());
    std::lock_guard lock(mutex_);
    if (entries_.size() >= kMaxEntries) entries_.clear();
    entries_[path] = {stamp, value};
    return value;
  }

 private:
  static constexpr std::size_t kMaxEntries = 128;
  std::mutex mutex_;
  std::unordered_map<std::string, std::pair<FileStamp, std::shared_ptr<const Value>>> entries_;
};

StampedCache<Result<StringsTable>>& tableCache() {
  static StampedCache<Result<StringsTable>> cache;
  return cache;
}

// A bundle's language folders, sorted, with their canonical spellings for matching.
struct Listing {
  std::vector<std::string> names;
  std::vector<std::string> canonical;
};

StampedCache<Listing>& listingCache() {
  static StampedCache<Listing> cache;
  return cache;
}

}  // namespace

namespace {

// The bundle folder found beside the executable, or the source tree's: where the program was
// installed does not change while it runs, so this is looked up once.
const std::string& defaultMainBundlePath() {
  static const std::string path = [] {
    if (auto found = executableDirectory()) {
      const fs::path dir(*found);
      for (const fs::path& candidate :
           {dir / "bundle", dir / ".." / "share" / "kalomate" / "bundle"}) {
        if (isDirectory(candidate)) return fs::weakly_canonical(candidate).string();
      }
    }
#ifdef KM_SOURCE_BUNDLE_DIR
    return std::string(KM_SOURCE_BUNDLE_DIR);
#else
    return std::string("bundle");
#endif
  }();
  return path;
}

}  // namespace

Bundle Bundle::main() {
  if (auto path = mainBundlePathOverride()) return Bundle(*path);
  if (const char* env = std::getenv(kBundlePathVariable); env && *env) return Bundle(env);
  return Bundle(defaultMainBundlePath());
}

std::optional<Bundle> Bundle::atPath(const std::string& path) {
  if (!isDirectory(path)) return std::nullopt;
  return Bundle(path);
}

std::optional<std::string> Bundle::pathForResource(std::string_view name,
                                                   std::string_view type) const {
  if (name.empty()) return std::nullopt;
  std::string file(name);
  if (!type.empty()) {
    file += '.';
    file.append(type);
  }
  // A name with a path separator must not escape the bundle.
  if (file.find('/') != std::string::npos || file == "." || file == "..") return std::nullopt;
  const fs::path p = fs::path(path_) / file;
  std::error_code ec;
  if (!fs::exists(p, ec)) return std::nullopt;
  return p.string();
}

namespace {

std::shared_ptr<const Listing> listingOf(const std::string& bundlePath) {
  // Adding or removing a language folder changes the bundle folder's stamp.
  const auto stamp = stampOf(bundlePath);
  if (!stamp || !stamp->isDirectory) return std::make_shared<const Listing>();
  return listingCache().get(bundlePath, *stamp, [&] {
    Listing out;
    std::error_code ec;
    for (fs::directory_iterator it(bundlePath, ec), end; !ec && it != end; it.increment(ec)) {
      const fs::path& p = it->path();
      if (p.extension() == ".lproj" && isDirectory(p)) out.names.push_back(p.stem().string());
    }
    std::sort(out.names.begin(), out.names.end());
    for (const std::string& name : out.names)
      out.canonical.push_back(canonicalLanguage(name));
    return out;
  });
}

}  // namespace

std::vector<std::string> Bundle::localizations() const {
  return listingOf(path_)->names;
}

std::string Bundle::preferredLocalization() const {
  // Asked for every text of every widget: the listing is shared, not copied, and only the
  // wanted languages are put in canonical form here.
  const std::shared_ptr<const Listing> listing = listingOf(path_);
  auto find = [&](const std::string& wanted) -> std::optional<std::string> {
    const std::string canonical = canonicalLanguage(wanted);
    for (size_t i = 0; i < listing->names.size(); ++i) {
      if (listing->canonical[i] == canonical) return listing->names[i];
    }
    return std::nullopt;
  };
  for (const std::string& language : preferredLanguages()) {
    if (auto exact = find(language)) return *exact;
    const auto dash = canonicalLanguage(language).find('-');
    if (dash != std::string::npos) {
      if (auto base = find(language.substr(0, dash))) return *base;
    }
  }
  if (auto dev = find(std::string(kDevelopmentLocalization))) return *dev;
  return {};
}

std::shared_ptr<const StringsTable> Bundle::stringsTable(std::string_view table) const {
  std::string file(table.empty() ? "Localizable" : table);
  file.append(".strings");
  std::vector<fs::path> candidates;
  if (const std::string lang = preferredLocalization(); !lang.empty()) {
    candidates.push_back(fs::path(path_) / fs::path(lang).concat(".lproj") / file);
  }
  candidates.push_back(fs::path(path_) / file);
  for (const fs::path& candidate : candidates) {
    const std::string path = candidate.string();
    const auto stamp = stampOf(path);
    if (!stamp || stamp->isDirectory) continue;
    // A malformed table is reported once per version of the file, when it is parsed.
    const auto parsed = tableCache().get(path, *stamp, [&] {
      Result<StringsTable> table = loadStringsTable(path);
      if (!table.ok()) std::cerr << table.error().message << '\n';
      return table;
    });
    if (!parsed->ok()) continue;
    // The first table that exists decides; a key it lacks is not searched for elsewhere.
    return std::shared_ptr<const StringsTable>(parsed, &parsed->value());
  }
  return nullptr;
}

std::string Bundle::localizedString(std::string_view key, std::string_view value,
                                    std::string_view table) const {
  if (const auto entries = stringsTable(table)) {
    if (auto it = entries->find(std::string(key)); it != entries->end()) return it->second;
  }
  return std::string(value.empty() ? key : value);
}

}  // namespace km
