#pragma once

// The names of the shared store: its app group and its keys.

namespace km {

// The app group that the main app and the widget extension share; its user defaults are the
// shared store. The same identifier must be configured in the main app.
inline constexpr const char* kAppGroupSuiteName = "group.com.kalomate.shared";

// The key under which the main app writes the day's summary record (JSON, as a data blob).
inline constexpr const char* kNutritionSummaryKey = "KMWidgetNutritionSummary";

// The key of the language the user chose inside the app (a string: a localisation folder name).
inline constexpr const char* kLanguageUserSelectedKey = "languageUserSelected";

}  // namespace km
