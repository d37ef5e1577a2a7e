#include "platform/foundation/bundle.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "platform/foundation/process_settings.h"
#include "platform/foundation/strings_table.h"

namespace fs = std::filesystem;

namespace km {
namespace {

bool isDirectory(const fs::path& p) {
  std::error_code ec;
  return fs::is_directory(p, ec);
}

std::optional<fs::path> executableDirectory() {
  std::error_code ec;
  const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
  if (ec) return std::nullopt;
  return exe.parent_path();
}

std::string lowerAscii(std::string s) {
  for (char& c : s) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return s;
}

// "pt_BR" and "pt-br" name the same localisation.
std::string canonicalLanguage(std::string s) {
  std::replace(s.begin(), s.end(), '_', '-');
  return lowerAscii(std::move(s));
}

}  // namespace

Bundle Bundle::main() {
  if (auto path = mainBundlePathOverride()) return Bundle(*path);
  if (const char* env = std::getenv(kBundlePathVariable); env && *env) return Bundle(env);
  if (auto dir = executableDirectory()) {
    for (const fs::path& candidate :
         {*dir / "bundle", *dir / ".." / "share" / "kalomate" / "bundle"}) {
      if (isDirectory(candidate)) return Bundle(fs::weakly_canonical(candidate).string());
    }
  }
#ifdef KM_SOURCE_BUNDLE_DIR
  return Bundle(KM_SOURCE_BUNDLE_DIR);
#else
  return Bundle("bundle");
#endif
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

std::vector<std::string> Bundle::localizations() const {
  std::vector<std::string> out;
  std::error_code ec;
  for (fs::directory_iterator it(path_, ec), end; !ec && it != end; it.increment(ec)) {
    const fs::path& p = it->path();
    if (p.extension() == ".lproj" && isDirectory(p)) out.push_back(p.stem().string());
  }
  std::sort(out.begin(), out.end());
  return out;
}

std::string Bundle::preferredLocalization() const {
  const std::vector<std::string> available = localizations();
  auto find = [&](const std::string& wanted) -> std::optional<std::string> {
    for (const auto& a : available) {
      if (canonicalLanguage(a) == canonicalLanguage(wanted)) return a;
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

std::string Bundle::localizedString(std::string_view key, std::string_view value,
                                    std::string_view table) const {
  std::string file(table.empty() ? "Localizable" : table);
  file.append(".strings");
  std::vector<fs::path> candidates;
  if (const std::string lang = preferredLocalization(); !lang.empty()) {
    candidates.push_back(fs::path(path_) / fs::path(lang).concat(".lproj") / file);
  }
  candidates.push_back(fs::path(path_) / file);
  for (const fs::path& candidate : candidates) {
    std::error_code ec;
    if (!fs::is_regular_file(candidate, ec)) continue;
    Result<StringsTable> parsed = loadStringsTable(candidate.string());
    if (!parsed.ok()) {
      std::cerr << parsed.error().message << '\n';
      continue;
    }
    // The first table that exists decides; a key it lacks is not searched for elsewhere.
    if (auto it = parsed->find(std::string(key)); it != parsed->end()) return it->second;
    break;
  }
  return std::string(value.empty() ? key : value);
}

}  // namespace km
