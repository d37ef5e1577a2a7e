// Not a test: draws the history and lock-screen macros widgets to PNG files for people to look
// at, in every family they are offered in, light and dark, plus the vibrant lock-screen mode.
//   widgets_history_preview OUT_DIR [LANGUAGE] [LOCALE]
#include <cstdio>
#include <string>

#include "platform/foundation/process_settings.h"
#include "platform/ui/renderer.h"
#include "widget_support/widget_support.h"
#include "widgets/home/medium_widget.h"
#include "widgets/lockscreen/lockscreen_medium_calories.h"

int main(int argc, char** argv) {
  using namespace km;
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s OUT_DIR [LANGUAGE] [LOCALE]\n", argv[0]);
    return 2;
  }
  const std::string dir = argv[1];
  const std::string language = argc > 2 ? argv[2] : "en";
  testing::WidgetTestEnvironment env(language);
  std::optional<ScopedLocale> locale;
  if (argc > 3) locale.emplace(argv[3]);

  const NutritionEntry entry = testing::RecordBuilder()
                                   .energy(1450, 2000)
                                   .carbs(100, 250)
                                   .fat(50, 70)
                                   .protein(50, 100)
                                   .history({1850, 2350, 1200, 1640, 0, 0, 0})
                                   .entry();
  const std::string suffix = "." + language + (argc > 3 ? "." + std::string(argv[3]) : "");
  int failures = 0;
  auto write = [&](const View& view, WidgetFamily family, const std::string& name,
                   ColorScheme scheme, RenderingMode mode) {
    for (PhoneModel model : {PhoneModel::phone393x852, PhoneModel::phone430x932}) {
      RenderOptions options;
      options.colorScheme = scheme;
      options.renderingMode = mode;
      options.cornerRadius = familyCornerRadius(family, model);
      options.assets = &testing::bundleAssets();
      const std::string file = dir + "/" + name + "." + std::string(phoneModelName(model)) +
                               (scheme == ColorScheme::dark ? ".dark" : ".light") +
                               (mode == RenderingMode::vibrant ? ".vibrant" : "") + suffix + ".png";
      const Status status =
          writeImageFile(testing::layoutWidget(view, family, model), options, file);
      if (!status.ok()) {
        std::fprintf(stderr, "%s: %s\n", file.c_str(), status.error().message.c_str());
        ++failures;
      }
    }
  };
  const View history = MediumWidget{entry, 5}.body();
  const View macros = LockscreenMediumCalories{entry}.body();
  for (ColorScheme scheme : {ColorScheme::light, ColorScheme::dark}) {
    write(history, WidgetFamily::systemMedium, "medium_history", scheme, RenderingMode::fullColor);
    write(macros, WidgetFamily::accessoryRectangular, "lockscreen_macros", scheme,
          RenderingMode::fullColor);
  }
  write(macros, WidgetFamily::accessoryRectangular, "lockscreen_macros", ColorScheme::dark,
        RenderingMode::vibrant);
  return failures == 0 ? 0 : 1;
}
