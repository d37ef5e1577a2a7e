// Not a test: draws every chart widget at its family sizes, light and dark, in English, Arabic
// and Japanese, into the folder given as the only argument, for people to look at.
#include <filesystem>
#include <iostream>
#include <string>

#include "platform/ui/renderer.h"
#include "widget_support/widget_support.h"
#include "widgets/home/medium_widget_energy_macro_pie.h"
#include "widgets/home/small_widget.h"
#include "widgets/home/small_widget_macro_pie.h"

namespace km {
namespace {

int run(const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  struct Record {
    const char* name;
    testing::RecordBuilder builder;
  };
  const Record records[] = {
      {"typical",
       testing::RecordBuilder().energy(1450, 2000).carbs(160, 250).fat(45, 70).protein(70, 120)},
      {"stale", testing::RecordBuilder()
                    .energy(1450, 2000)
                    .carbs(160, 250)
                    .fat(45, 70)
                    .protein(70, 120)
                    .daysAgo(1)},
  };
  int failures = 0;
  for (const char* language : {"en", "ar", "ja"}) {
    testing::WidgetTestEnvironment env(language);
    for (const Record& record : records) {
      const NutritionEntry entry = record.builder.entry();
      struct Widget {
        const char* kind;
        WidgetFamily family;
        View view;
      };
      const Widget widgets[] = {
          {"small_energy_macros", WidgetFamily::systemSmall, SmallWidget{entry}.body()},
          {"small_pie_macros", WidgetFamily::systemSmall, SmallWidgetMacroPie{entry, true}.body()},
          {"medium_pie_macros", WidgetFamily::systemMedium,
           MediumWidgetEnergyMacroPie{entry}.body()},
      };
      for (const Widget& w : widgets) {
        const DisplayList list = testing::layoutWidget(w.view, w.family);
        for (ColorScheme scheme : {ColorScheme::light, ColorScheme::dark}) {
          RenderOptions options;
          options.colorScheme = scheme;
          options.assets = &testing::bundleAssets();
          options.cornerRadius = familyCornerRadius(w.family);
          const std::string name = std::string(w.kind) + "-" + record.name + "-" + language + "-" +
                                   (scheme == ColorScheme::light ? "light" : "dark") + ".png";
          if (!writeImageFile(list, options, folder / name)) {
            std::cerr << "cannot write " << name << "\n";
            ++failures;
          }
        }
      }
    }
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace
}  // namespace km

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: charts_gallery <folder>\n";
    return 2;
  }
  return km::run(argv[1]);
}
