// An asset catalogue's Contents.json files are read when the bundle loads. The input is written
// as the Contents.json of a colour set, of an image set (beside a small icon it may name) and of
// a group, and the catalogue is loaded and queried: a malformed file must only make its set
// missing, never crash or throw, whatever the JSON's types.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/ui/asset_catalog.h"

namespace {

namespace fs = std::filesystem;

void write(const fs::path& file, std::string_view bytes) {
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

const fs::path& catalogue() {
  static const fs::path root = [] {
    fs::path dir = fs::temp_directory_path() / ("asset_contents_fuzz." + std::to_string(getpid()));
    fs::create_directories(dir / "c.colorset");
    fs::create_directories(dir / "i.imageset");
    fs::create_directories(dir / "g" / "n.colorset");
    write(
        dir / "i.imageset" / "icon.svg",
        R"(<svg xmlns="http://www.w3.org/2000/svg" width="4" height="4"><path d="M0 0h4v4z"/></svg>)");
    write(dir / "g" / "n.colorset" / "Contents.json",
          R"({"colors":[{"color":{"components":{"red":"1","green":"0","blue":"0"}}}]})");
    std::atexit([] {
      std::error_code ec;
      fs::remove_all(root, ec);
    });
    return dir;
  }();
  return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const fs::path& root = catalogue();
  write(root / "c.colorset" / "Contents.json", bytes);
  write(root / "i.imageset" / "Contents.json", bytes);
  write(root / "g" / "Contents.json", bytes);
  auto loaded = km::AssetCatalog::load(root);
  if (!loaded.ok()) return 0;
  const km::AssetCatalog& assets = loaded.value();
  for (const auto& name : assets.colorNames()) {
    for (const auto scheme : {km::ColorScheme::light, km::ColorScheme::dark}) {
      const auto rgba = assets.color(name, scheme);
      if (!rgba || !(rgba->red >= 0 && rgba->red <= 1 && rgba->alpha >= 0 && rgba->alpha <= 1)) {
        std::abort();
      }
    }
  }
  for (const auto& name : assets.imageNames()) {
    (void)assets.imageSize(name);
    (void)assets.isTemplateImage(name);
  }
  return 0;
}
