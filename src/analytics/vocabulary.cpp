#include "analytics/vocabulary.h"

#include <array>
#include <cstddef>
#include <string>
#include <tuple>

#include "base/fatal_error.h"

namespace km::avo {
namespace {

// Raw values are tables indexed by case number, so the enumerations must stay dense and in order.
template <typename E, std::size_t N>
std::string_view rawAt(const std::array<std::string_view, N>& table, E value, const char* type) {
  const auto index = static_cast<std::size_t>(value);
  if (index >= N) {
    fatalError(std::string("value out of range for ") + type + ": " + std::to_string(index));
  }
  return table[index];
}

template <typename E, std::size_t N>
std::optional<E> lookup(const std::array<std::string_view, N>& table, std::string_view raw) {
  for (std::size_t i = 0; i < N; ++i) {
    if (table[i] == raw) return static_cast<E>(i);
  }
  return std::nullopt;
}

template <typename E, std::size_t N>
constexpr std::array<E, N> casesOf() {
  std::array<E, N> cases{};
  for (std::size_t i = 0; i < N; ++i)
    cases[i] = static_cast<E>(i);
  return cases;
}

constexpr std::array<std::string_view, 8> kWidgetRaw = {
    "lockscreen_calories_inline", "lockscreen_button", "lockscreen_macros",
    "lockscreen_calories",        "medium_history",    "medium_buttons",
    "medium_pie_macros",          "small_energy",
};

constexpr std::array<std::string_view, 6> kDestinationRaw = {
    "diary", "diary_add", "barcode_scanner", "exercise", "weigh_in", "food_add",
};

constexpr std::array<std::string_view, 7> kActionRaw = {
    "create", "delete", "view", "edit", "click", "save", "confirm",
};

constexpr std::array<std::string_view, 2> kFeatureTypeRaw = {
    "free",
    "premium",
};

constexpr std::array<std::string_view, 4> kFilterTypeRaw = {
    "everyone",
    "featured",
    "following",
    "me",
};

constexpr std::array<std::string_view, 3> kShareToRaw = {
    "everyone",
    "followers",
    "private",
};

constexpr std::array<std::string_view, 3> kContentTypeRaw = {
    "photo",
    "text",
    "weigh",
};

constexpr std::array<std::string_view, 2> kToggleValueRaw = {
    "on",
    "off",
};

constexpr std::array<std::string_view, 14> kReminderTypeRaw = {
    "snacks/other",
    "supper",
    "dinner",
    "afternoon_tea",
    "tea",
    "lunch",
    "elevenses",
    "second_breakfast",
    "breakfast",
    "pre_breakfast",
    "meal_plan_start_reminder",
    "upcoming_meal_plan_reminder",
    "journal_entry",
    "weigh_in",
};

constexpr std::array<std::string_view, 13> kFeatureCategoryRaw = {
    "message_centre",  "community",       "me",
    "settings",        "diary",           "report",
    "premium",         "widgets",         "account_creation",
    "smart_assistant", "learning_centre", "gamification",
    "smart_food_scan",
};

constexpr std::array<std::string_view, 26> kBadgeNameRaw = {
    "first_biter",        "weigh_in_winner",          "steady_logger",
    "high_fiver",         "seven_day_star",           "routine_builder",
    "calorie_champ",      "reliable_logger",          "healthy_habit_hero",
    "fifty_feaster",      "consistency_professional", "century_committer",
    "routine_champion",   "diet_disciplinarian",      "consistent_counter",
    "long_term_logger",   "calorie_master",           "check_in_champ",
    "triple_achiever",    "regular_recorder",         "scale_stander",
    "measurement_master", "progress_tracker",         "weigh_in_professional",
    "scale_specialist",   "progress_pioneer",
};

constexpr std::array<std::string_view, 47> kFeatureRaw = {
    "journal",
    "community_notification_bar",
    "feed",
    "profile_photo",
    "app_inbox",
    "reminders",
    "photo_album",
    "my_professionals",
    "communication_and_privacy",
    "contact_us",
    "account_management",
    "general_preferences",
    "community_preferences",
    "diary_preferences",
    "sign_out",
    "calendar",
    "food_logging",
    "exercise",
    "diary_options",
    "calorie_goals",
    "macro_goals",
    "other_nutrient_goals",
    "export",
    "meal_plan",
    "recipes",
    "custom_meals",
    "copy_meals",
    "select_widget",
    "open_widget",
    "sign_in",
    "registration",
    "premium_home",
    "premium_intercept",
    "premium_purchase_confirm",
    "onboarding",
    "community_activity",
    "whats_new",
    "report_data_range",
    "me",
    "smart_assistant_food_logging",
    "diary",
    "learning_centre",
    "widgets",
    "goal",
    "gamification",
    "report",
    "smart_food_scan",
};

constexpr std::array<std::string_view, 123> kFeatureItemRaw = {
    "create_journal_entry",
    "posts",
    "whats_new",
    "new_followers",
    "supports",
    "comments",
    "filter",
    "take_photo",
    "delete_photo",
    "open_app_inbox_message",
    "goal_weight",
    "start_weight",
    "current_weight",
    "weigh_in",
    "add_reminder",
    "delete_reminder",
    "view_photo",
    "invite_your_dietitian",
    "invite_your_trainer",
    "invite_your_health_professional",
    "communication_preferences",
    "data_consent",
    "privacy_policy",
    "terms_and_conditions",
    "my_account",
    "premium",
    "recording_food_or_exercise",
    "health_trackers",
    "community",
    "language",
    "account_type",
    "get_premium",
    "manage_premium_subscription",
    "email",
    "change_member_name",
    "delete_account",
    "region",
    "app_language",
    "dark_mode",
    "community_notifications",
    "share_my_weight_journal",
    "allow_comments",
    "energy_unit",
    "rdi",
    "custom_meals",
    "water_tracker",
    "exercise_diary",
    "set_drink_size",
    "daily_water_goal",
    "edit_water_consumed",
    "change_units",
    "search_exercise",
    "add_custom_exercise",
    "set_defaults_for_routine_exercise",
    "detailed_view",
    "list_view",
    "summary_view",
    "change_columns",
    "today",
    "yesterday",
    "this_week",
    "last_week",
    "calculate_rdi",
    "set_calorie_goals",
    "calorie_graphs",
    "daily_goals",
    "set_macro_goals",
    "macro_graphs",
    "set_micro_goals",
    "micro_graphs",
    "report_type",
    "period",
    "format",
    "share",
    "search_recipe",
    "log_recipe",
    "custom_meal_configuration",
    "select_foods",
    "select_dates",
    "complete_copy_meals",
    "sign_in",
    "member_registration",
    "guest_registration",
    "meal_plan",
    "premium_intercept",
    "allergens",
    "progress_bar",
    "apps_and_devices",
    "calendar",
    "follow_management",
    "learn_more_intercept",
    "new_food",
    "nutritional_data",
    "onboarding",
    "open_widget",
    "photo_management",
    "photo_recognition",
    "post_management",
    "premium_home",
    "premium_purchase_confirm",
    "search",
    "select_widget",
    "sign_out",
    "follower_management",
    "invite_yourdoctor",
    "account_management",
    "me",
    "smart_assistant_food_logging",
    "edit_food",
    "delete_food",
    "diary",
    "manage_reminder",
    "reminders",
    "journal",
    "registration",
    "learning_centre",
    "widgets",
    "weight_goal",
    "gamification",
    "diary_preferences",
    "feed",
    "report",
    "smart_food_scan",
};

constexpr std::array<std::string_view, 22> kLanguageRaw = {
    "EN", "AR", "PT", "ES", "DE", "RU", "NL", "FR", "ZH", "DA",    "FI",
    "ID", "IT", "JA", "KO", "NB", "PL", "SV", "TR", "UK", "PT-PT", "ZH-TW",
};

constexpr std::array<std::string_view, 211> kMarketRaw = {
    "AF", "AL", "DZ", "AS", "AD", "AO", "AG", "AR", "AM", "AW", "AU", "AT", "NZ", "BS", "BH", "BD",
    "BB", "BY", "BE", "BZ", "BJ", "BM", "BT", "BO", "BA", "BW", "BR", "BN", "BG", "BF", "BI", "KH",
    "CM", "CA", "CV", "KY", "CF", "TD", "CL", "CN", "CO", "KM", "CG", "CR", "HR", "CU", "CY", "CZ",
    "CD", "DK", "DJ", "DM", "DO", "EC", "EG", "SV", "GQ", "ER", "EE", "ET", "FO", "FJ", "FI", "FR",
    "GF", "PF", "GA", "GM", "GE", "DE", "GH", "GR", "GL", "GD", "GP", "GU", "GT", "GG", "GN", "GW",
    "GY", "HT", "HN", "HK", "HU", "IS", "IN", "ID", "IE", "IM", "IL", "IT", "CI", "JM", "JP", "JE",
    "JO", "KZ", "KE", "KI", "KR", "KW", "KG", "LA", "LV", "LB", "LS", "LR", "LY", "LI", "LT", "LU",
    "MO", "MK", "MG", "MW", "MY", "MV", "ML", "MT", "MH", "MQ", "MR", "MU", "YT", "MX", "FM", "MD",
    "MC", "MN", "ME", "MA", "MZ", "MM", "NA", "NP", "NL", "AN", "NC", "NI", "NE", "NG", "MP", "NO",
    "OM", "PK", "PA", "PG", "PY", "PE", "PH", "PL", "PT", "ZW", "ZM", "YE", "EH", "VI", "VN", "VE",
    "VU", "UZ", "UY", "US", "GB", "AE", "UA", "UG", "TC", "TM", "TR", "TN", "TT", "TO", "TG", "TL",
    "TH", "TZ", "TJ", "TW", "SY", "CH", "SE", "SZ", "SR", "LK", "ES", "ZA", "SO", "SB", "SI", "SK",
    "SG", "SL", "SC", "RS", "SN", "SA", "ST", "SM", "WS", "VC", "MF", "LC", "KN", "RW", "RU", "RO",
    "RE", "QA", "PR",
};

constexpr std::array<std::string_view, 212> kAppRegionCodeRaw = {
    "AF", "AL", "DZ", "AS", "AD", "AO", "AG", "AR", "AM", "AW", "AU", "AT", "AZ", "NZ", "BS", "BH",
    "BD", "BB", "BY", "BE", "BZ", "BJ", "BM", "BT", "BO", "BA", "BW", "BR", "BN", "BG", "BF", "BI",
    "KH", "CM", "CA", "CV", "KY", "CF", "TD", "CL", "CN", "CO", "KM", "CG", "CR", "HR", "CU", "CY",
    "CZ", "CD", "DK", "DJ", "DM", "DO", "EC", "EG", "SV", "GQ", "ER", "EE", "ET", "FO", "FJ", "FI",
    "FR", "GF", "PF", "GA", "GM", "GE", "DE", "GH", "GR", "GL", "GD", "GP", "GU", "GT", "GG", "GN",
    "GW", "GY", "HT", "HN", "HK", "HU", "IS", "IN", "ID", "IE", "IM", "IL", "IT", "CI", "JM", "JP",
    "JE", "JO", "KZ", "KE", "KI", "KR", "KW", "KG", "LA", "LV", "LB", "LS", "LR", "LY", "LI", "LT",
    "LU", "MO", "MK", "MG", "MW", "MY", "MV", "ML", "MT", "MH", "MQ", "MR", "MU", "YT", "MX", "FM",
    "MD", "MC", "MN", "ME", "MA", "MZ", "MM", "NA", "NP", "NL", "AN", "NC", "NI", "NE", "NG", "MP",
    "NO", "OM", "PK", "PA", "PG", "PY", "PE", "PH", "PL", "PT", "ZW", "ZM", "YE", "EH", "VI", "VN",
    "VE", "VU", "UZ", "UY", "US", "GB", "AE", "UA", "UG", "TC", "TM", "TR", "TN", "TT", "TO", "TG",
    "TL", "TH", "TZ", "TJ", "TW", "SY", "CH", "SE", "SZ", "SR", "LK", "ES", "ZA", "SO", "SB", "SI",
    "SK", "SG", "SL", "SC", "RS", "SN", "SA", "ST", "SM", "WS", "VC", "MF", "LC", "KN", "RW", "RU",
    "RO", "RE", "QA", "PR",
};

constexpr std::array<std::string_view, 7> kNutrientStateRaw = {
    "warning_but_correct", "warning_and_incorrect", "correct", "incorrect",
    "missing_value",       "undetected_nutrient",   "no_data",
};

}  // namespace

// One definition block per enumeration keeps the three operations of each in step.
#define KM_AVO_VOCABULARY(E, table)                                                 \
  std::string_view rawValue(E value) {                                              \
    return rawAt(table, value, #E);                                                 \
  }                                                                                 \
  template <>                                                                       \
  std::optional<E> fromRawValue<E>(std::string_view raw) {                          \
    return lookup<E>(table, raw);                                                   \
  }                                                                                 \
  template <>                                                                       \
  std::span<const E> allCases<E>() {                                                \
    static constexpr auto cases = casesOf<E, std::tuple_size_v<decltype(table)>>(); \
    return cases;                                                                   \
  }

KM_AVO_VOCABULARY(Widget, kWidgetRaw)
KM_AVO_VOCABULARY(Destination, kDestinationRaw)
KM_AVO_VOCABULARY(Action, kActionRaw)
KM_AVO_VOCABULARY(FeatureType, kFeatureTypeRaw)
KM_AVO_VOCABULARY(FilterType, kFilterTypeRaw)
KM_AVO_VOCABULARY(ShareTo, kShareToRaw)
KM_AVO_VOCABULARY(ContentType, kContentTypeRaw)
KM_AVO_VOCABULARY(ToggleValue, kToggleValueRaw)
KM_AVO_VOCABULARY(ReminderType, kReminderTypeRaw)
KM_AVO_VOCABULARY(FeatureCategory, kFeatureCategoryRaw)
KM_AVO_VOCABULARY(BadgeName, kBadgeNameRaw)
KM_AVO_VOCABULARY(Feature, kFeatureRaw)
KM_AVO_VOCABULARY(FeatureItem, kFeatureItemRaw)
KM_AVO_VOCABULARY(Language, kLanguageRaw)
KM_AVO_VOCABULARY(AppLanguageCode, kLanguageRaw)
KM_AVO_VOCABULARY(Market, kMarketRaw)
KM_AVO_VOCABULARY(AppRegionCode, kAppRegionCodeRaw)
KM_AVO_VOCABULARY(Energy, kNutrientStateRaw)
KM_AVO_VOCABULARY(Protein, kNutrientStateRaw)
KM_AVO_VOCABULARY(FatTotal, kNutrientStateRaw)
KM_AVO_VOCABULARY(FatSaturated, kNutrientStateRaw)
KM_AVO_VOCABULARY(FatPolyunsaturated, kNutrientStateRaw)
KM_AVO_VOCABULARY(FatMonounsaturated, kNutrientStateRaw)
KM_AVO_VOCABULARY(CarbohydratesTotal, kNutrientStateRaw)
KM_AVO_VOCABULARY(Sugar, kNutrientStateRaw)
KM_AVO_VOCABULARY(Fibre, kNutrientStateRaw)
KM_AVO_VOCABULARY(Sodium, kNutrientStateRaw)
KM_AVO_VOCABULARY(Potassium, kNutrientStateRaw)
KM_AVO_VOCABULARY(FatTrans, kNutrientStateRaw)
KM_AVO_VOCABULARY(Salt, kNutrientStateRaw)

#undef KM_AVO_VOCABULARY

}  // namespace km::avo
