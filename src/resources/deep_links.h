#pragma once

// The widgets' deep links into the app.

#include <string>
#include <string_view>

#include "platform/foundation/url.h"

namespace km {

// The app's URL scheme; every widget tap opens the app through it.
inline constexpr std::string_view kAppURLScheme = "kalomate";

// Deep links are plain values built on demand; the functions are stateless and thread-safe.

// "kalomate://diary-widget-<widgetName>": opens the diary. Built by plain concatenation; a
// result the platform cannot parse (a name with spaces or other characters a URL may not hold)
// is a programming error and fatal.
URL diaryLink(std::string_view widgetName);
// "kalomate://<destination>-widget-<widgetName>": opens the app at an action. Fatal like above.
URL actionLink(std::string_view destination, std::string_view widgetName);

// The fixed whole-widget tap URLs.
URL smallEnergyLink();               // kalomate://diary-widget-small_energy
URL lockscreenCaloriesLink();        // kalomate://diary-widget-lockscreen_calories
URL lockscreenCaloriesInlineLink();  // kalomate://diary-widget-lockscreen_calories_inline
URL lockscreenMacrosLink();          // kalomate://diary-widget-lockscreen_macros

}  // namespace km
