// Writes the demonstration views as PNG (light, dark, accented, vibrant), SVG and PDF into the
// folder given as the first argument, for people to look at.
#include <cstdio>
#include <filesystem>

#include "gallery.h"
#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"

using namespace km;

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: ui_gallery OUTPUT_DIR\n");
    return 2;
  }
  const std::filesystem::path out = argv[1];
  std::filesystem::create_directories(out);
  auto catalog =
      AssetCatalog::load(std::filesystem::path(KM_SOURCE_DIR) / "tests/ui/fixtures/Test.xcassets");
  if (!catalog) {
    std::fprintf(stderr, "%s\n", catalog.error().message.c_str());
    return 1;
  }
  LayoutOptions layoutOptions{&*catalog};
  struct Job {
    const char* name;
    View view;
    Size size;
    double cornerRadius;
  } jobs[] = {
      {"ring", gallery::ringWidget(0.72), {158, 158}, 22},
      {"text", gallery::textWidget(), {338, 158}, 22},
      {"gauge", gallery::gaugeWidget(0.6), {72, 72}, 0},
      {"buttons", gallery::buttonsWidget(), {338, 158}, 22},
  };
  int failures = 0;
  for (const auto& job : jobs) {
    const DisplayList list = layout(job.view, job.size, layoutOptions);
    struct Variant {
      const char* suffix;
      ColorScheme scheme;
      RenderingMode mode;
    } variants[] = {{"light.png", ColorScheme::light, RenderingMode::fullColor},
                    {"dark.png", ColorScheme::dark, RenderingMode::fullColor},
                    {"accented.png", ColorScheme::dark, RenderingMode::accented},
                    {"vibrant.png", ColorScheme::dark, RenderingMode::vibrant},
                    {"light.svg", ColorScheme::light, RenderingMode::fullColor},
                    {"light.pdf", ColorScheme::light, RenderingMode::fullColor}};
    for (const auto& v : variants) {
      RenderOptions options;
      options.colorScheme = v.scheme;
      options.renderingMode = v.mode;
      options.assets = &*catalog;
      options.cornerRadius = job.cornerRadius;
      const auto file = out / (std::string(job.name) + "_" + v.suffix);
      if (auto status = writeImageFile(list, options, file); !status) {
        std::fprintf(stderr, "%s\n", status.error().message.c_str());
        ++failures;
      } else {
        std::printf("%s\n", file.c_str());
      }
    }
  }
  return failures == 0 ? 0 : 1;
}
