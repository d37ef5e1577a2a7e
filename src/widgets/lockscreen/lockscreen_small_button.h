#pragma once

// LockscreenSmallButton: a round lock-screen action button.

#include <string>

#include "model/nutrition_entry.h"
#include "platform/ui/view.h"

namespace km {

// A round lock-screen widget that is one action button: an icon on the accessory backdrop whose
// tap opens "kalomate://<destination>-widget-lockscreen_button". The widget name in the link is
// always "lockscreen_button", whichever widget kind shows the button, so the app can tell a tap
// on the lock-screen button from one on the home-screen buttons. A plain value; `body()` reads
// the process's platform version and is safe to call from any thread.
struct LockscreenSmallButton {
  NutritionEntry entry;     // shows no figures; kept so every widget is made from an entry
  std::string imageName;    // template image asset, e.g. "ic_add_meal_24px"
  std::string destination;  // action word of the deep link, e.g. "addFood"

  // Fatal when `destination` holds characters a URL cannot carry.
  View body() const;
};

}  // namespace km
