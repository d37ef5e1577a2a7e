#pragma once

// The closed vocabularies of the tracking plan: what event functions put on the wire.
//
// Every enumeration lists its cases in plan order and has a string raw value; rawValue() and
// fromRawValue<E>() convert both ways (exact, case-sensitive match), allCases<E>() lists the
// cases in order. Case names that are C++ keywords carry a trailing underscore, which is not part
// of the raw value. All functions are pure and safe to call from any thread.

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace km::avo {

template <typename E>
std::optional<E> fromRawValue(std::string_view raw);

template <typename E>
std::span<const E> allCases();

enum class Widget {
  lockscreenCaloriesInline,
  lockscreenButton,
  lockscreenMacros,
  lockscreenCalories,
  mediumHistory,
  mediumButtons,
  mediumPieMacros,
  smallEnergy
};
std::string_view rawValue(Widget value);
template <>
std::optional<Widget> fromRawValue<Widget>(std::string_view raw);
template <>
std::span<const Widget> allCases<Widget>();

enum class Destination { diary, diaryAdd, barcodeScanner, exercise, weighIn, foodAdd };
std::string_view rawValue(Destination value);
template <>
std::optional<Destination> fromRawValue<Destination>(std::string_view raw);
template <>
std::span<const Destination> allCases<Destination>();

enum class Action { create, delete_, view, edit, click, save, confirm };
std::string_view rawValue(Action value);
template <>
std::optional<Action> fromRawValue<Action>(std::string_view raw);
template <>
std::span<const Action> allCases<Action>();

enum class FeatureType { free, premium };
std::string_view rawValue(FeatureType value);
template <>
std::optional<FeatureType> fromRawValue<FeatureType>(std::string_view raw);
template <>
std::span<const FeatureType> allCases<FeatureType>();

enum class FilterType { everyone, featured, following, me };
std::string_view rawValue(FilterType value);
template <>
std::optional<FilterType> fromRawValue<FilterType>(std::string_view raw);
template <>
std::span<const FilterType> allCases<FilterType>();

enum class ShareTo { everyone, followers, private_ };
std::string_view rawValue(ShareTo value);
template <>
std::optional<ShareTo> fromRawValue<ShareTo>(std::string_view raw);
template <>
std::span<const ShareTo> allCases<ShareTo>();

enum class ContentType { photo, text, weigh };
std::string_view rawValue(ContentType value);
template <>
std::optional<ContentType> fromRawValue<ContentType>(std::string_view raw);
template <>
std::span<const ContentType> allCases<ContentType>();

enum class ToggleValue { on, off };
std::string_view rawValue(ToggleValue value);
template <>
std::optional<ToggleValue> fromRawValue<ToggleValue>(std::string_view raw);
template <>
std::span<const ToggleValue> allCases<ToggleValue>();

// "snacks/other" really has a slash on the wire.

enum class ReminderType {
  snacksOther,
  supper,
  dinner,
  afternoonTea,
  tea,
  lunch,
  elevenses,
  secondBreakfast,
  breakfast,
  preBreakfast,
  mealPlanStartReminder,
  upcomingMealPlanReminder,
  journalEntry,
  weighIn
};
std::string_view rawValue(ReminderType value);
template <>
std::optional<ReminderType> fromRawValue<ReminderType>(std::string_view raw);
template <>
std::span<const ReminderType> allCases<ReminderType>();

enum class FeatureCategory {
  messageCentre,
  community,
  me,
  settings,
  diary,
  report,
  premium,
  widgets,
  accountCreation,
  smartAssistant,
  learningCentre,
  gamification,
  smartFoodScan
};
std::string_view rawValue(FeatureCategory value);
template <>
std::optional<FeatureCategory> fromRawValue<FeatureCategory>(std::string_view raw);
template <>
std::span<const FeatureCategory> allCases<FeatureCategory>();

enum class BadgeName {
  firstBiter,
  weighInWinner,
  steadyLogger,
  highFiver,
  sevenDayStar,
  routineBuilder,
  calorieChamp,
  reliableLogger,
  healthyHabitHero,
  fiftyFeaster,
  consistencyProfessional,
  centuryCommitter,
  routineChampion,
  dietDisciplinarian,
  consistentCounter,
  longTermLogger,
  calorieMaster,
  checkInChamp,
  tripleAchiever,
  regularRecorder,
  scaleStander,
  measurementMaster,
  progressTracker,
  weighInProfessional,
  scaleSpecialist,
  progressPioneer
};
std::string_view rawValue(BadgeName value);
template <>
std::optional<BadgeName> fromRawValue<BadgeName>(std::string_view raw);
template <>
std::span<const BadgeName> allCases<BadgeName>();

enum class Feature {
  journal,
  communityNotificationBar,
  feed,
  profilePhoto,
  appInbox,
  reminders,
  photoAlbum,
  myProfessionals,
  communicationAndPrivacy,
  contactUs,
  accountManagement,
  generalPreferences,
  communityPreferences,
  diaryPreferences,
  signOut,
  calendar,
  foodLogging,
  exercise,
  diaryOptions,
  calorieGoals,
  macroGoals,
  otherNutrientGoals,
  export_,
  mealPlan,
  recipes,
  customMeals,
  copyMeals,
  selectWidget,
  openWidget,
  signIn,
  registration,
  premiumHome,
  premiumIntercept,
  premiumPurchaseConfirm,
  onboarding,
  communityActivity,
  whatsNew,
  reportDataRange,
  me,
  smartAssistantFoodLogging,
  diary,
  learningCentre,
  widgets,
  goal,
  gamification,
  report,
  smartFoodScan
};
std::string_view rawValue(Feature value);
template <>
std::optional<Feature> fromRawValue<Feature>(std::string_view raw);
template <>
std::span<const Feature> allCases<Feature>();

enum class FeatureItem {
  createJournalEntry,
  posts,
  whatsNew,
  newFollowers,
  supports,
  comments,
  filter,
  takePhoto,
  deletePhoto,
  openAppInboxMessage,
  goalWeight,
  startWeight,
  currentWeight,
  weighIn,
  addReminder,
  deleteReminder,
  viewPhoto,
  inviteYourDietitian,
  inviteYourTrainer,
  inviteYourHealthProfessional,
  communicationPreferences,
  dataConsent,
  privacyPolicy,
  termsAndConditions,
  myAccount,
  premium,
  recordingFoodOrExercise,
  healthTrackers,
  community,
  language,
  accountType,
  getPremium,
  managePremiumSubscription,
  email,
  changeMemberName,
  deleteAccount,
  region,
  appLanguage,
  darkMode,
  communityNotifications,
  shareMyWeightJournal,
  allowComments,
  energyUnit,
  rdi,
  customMeals,
  waterTracker,
  exerciseDiary,
  setDrinkSize,
  dailyWaterGoal,
  editWaterConsumed,
  changeUnits,
  searchExercise,
  addCustomExercise,
  setDefaultsForRoutineExercise,
  detailedView,
  listView,
  summaryView,
  changeColumns,
  today,
  yesterday,
  thisWeek,
  lastWeek,
  calculateRdi,
  setCalorieGoals,
  calorieGraphs,
  dailyGoals,
  setMacroGoals,
  macroGraphs,
  setMicroGoals,
  microGraphs,
  reportType,
  period,
  format,
  share,
  searchRecipe,
  logRecipe,
  customMealConfiguration,
  selectFoods,
  selectDates,
  completeCopyMeals,
  signIn,
  memberRegistration,
  guestRegistration,
  mealPlan,
  premiumIntercept,
  allergens,
  progressBar,
  appsAndDevices,
  calendar,
  followManagement,
  learnMoreIntercept,
  newFood,
  nutritionalData,
  onboarding,
  openWidget,
  photoManagement,
  photoRecognition,
  postManagement,
  premiumHome,
  premiumPurchaseConfirm,
  search,
  selectWidget,
  signOut,
  followerManagement,
  inviteYourdoctor,
  accountManagement,
  me,
  smartAssistantFoodLogging,
  editFood,
  deleteFood,
  diary,
  manageReminder,
  reminders,
  journal,
  registration,
  learningCentre,
  widgets,
  weightGoal,
  gamification,
  diaryPreferences,
  feed,
  report,
  smartFoodScan
};
std::string_view rawValue(FeatureItem value);
template <>
std::optional<FeatureItem> fromRawValue<FeatureItem>(std::string_view raw);
template <>
std::span<const FeatureItem> allCases<FeatureItem>();

// Language and AppLanguageCode share cases and upper-case codes; "PT-PT" and "ZH-TW" keep
// their hyphen (spelled "minus" in the case name).

enum class Language {
  en,
  ar,
  pt,
  es,
  de,
  ru,
  nl,
  fr,
  zh,
  da,
  fi,
  id,
  it,
  ja,
  ko,
  nb,
  pl,
  sv,
  tr,
  uk,
  ptminusPT,
  zhminusTW
};
std::string_view rawValue(Language value);
template <>
std::optional<Language> fromRawValue<Language>(std::string_view raw);
template <>
std::span<const Language> allCases<Language>();

enum class AppLanguageCode {
  en,
  ar,
  pt,
  es,
  de,
  ru,
  nl,
  fr,
  zh,
  da,
  fi,
  id,
  it,
  ja,
  ko,
  nb,
  pl,
  sv,
  tr,
  uk,
  ptminusPT,
  zhminusTW
};
std::string_view rawValue(AppLanguageCode value);
template <>
std::optional<AppLanguageCode> fromRawValue<AppLanguageCode>(std::string_view raw);
template <>
std::span<const AppLanguageCode> allCases<AppLanguageCode>();

// ISO 3166-1 alpha-2 codes in the plan's own order (not alphabetical); raw values are upper case.

enum class Market {
  af,
  al,
  dz,
  as_,
  ad,
  ao,
  ag,
  ar,
  am,
  aw,
  au,
  at,
  nz,
  bs,
  bh,
  bd,
  bb,
  by,
  be,
  bz,
  bj,
  bm,
  bt,
  bo,
  ba,
  bw,
  br,
  bn,
  bg,
  bf,
  bi,
  kh,
  cm,
  ca,
  cv,
  ky,
  cf,
  td,
  cl,
  cn,
  co,
  km,
  cg,
  cr,
  hr,
  cu,
  cy,
  cz,
  cd,
  dk,
  dj,
  dm,
  do_,
  ec,
  eg,
  sv,
  gq,
  er,
  ee,
  et,
  fo,
  fj,
  fi,
  fr,
  gf,
  pf,
  ga,
  gm,
  ge,
  de,
  gh,
  gr,
  gl,
  gd,
  gp,
  gu,
  gt,
  gg,
  gn,
  gw,
  gy,
  ht,
  hn,
  hk,
  hu,
  is_,
  in_,
  id,
  ie,
  im,
  il,
  it,
  ci,
  jm,
  jp,
  je,
  jo,
  kz,
  ke,
  ki,
  kr,
  kw,
  kg,
  la,
  lv,
  lb,
  ls,
  lr,
  ly,
  li,
  lt,
  lu,
  mo,
  mk,
  mg,
  mw,
  my,
  mv,
  ml,
  mt,
  mh,
  mq,
  mr,
  mu,
  yt,
  mx,
  fm,
  md,
  mc,
  mn,
  me,
  ma,
  mz,
  mm,
  na,
  np,
  nl,
  an,
  nc,
  ni,
  ne,
  ng,
  mp,
  no,
  om,
  pk,
  pa,
  pg,
  py,
  pe,
  ph,
  pl,
  pt,
  zw,
  zm,
  ye,
  eh,
  vi,
  vn,
  ve,
  vu,
  uz,
  uy,
  us,
  gb,
  ae,
  ua,
  ug,
  tc,
  tm,
  tr,
  tn,
  tt,
  to,
  tg,
  tl,
  th,
  tz,
  tj,
  tw,
  sy,
  ch,
  se,
  sz,
  sr,
  lk,
  es,
  za,
  so,
  sb,
  si,
  sk,
  sg,
  sl,
  sc,
  rs,
  sn,
  sa,
  st,
  sm,
  ws,
  vc,
  mf,
  lc,
  kn,
  rw,
  ru,
  ro,
  re,
  qa,
  pr
};
std::string_view rawValue(Market value);
template <>
std::optional<Market> fromRawValue<Market>(std::string_view raw);
template <>
std::span<const Market> allCases<Market>();

// The cases of Market plus "AZ", which the plan lists right after "AT".

enum class AppRegionCode {
  af,
  al,
  dz,
  as_,
  ad,
  ao,
  ag,
  ar,
  am,
  aw,
  au,
  at,
  az,
  nz,
  bs,
  bh,
  bd,
  bb,
  by,
  be,
  bz,
  bj,
  bm,
  bt,
  bo,
  ba,
  bw,
  br,
  bn,
  bg,
  bf,
  bi,
  kh,
  cm,
  ca,
  cv,
  ky,
  cf,
  td,
  cl,
  cn,
  co,
  km,
  cg,
  cr,
  hr,
  cu,
  cy,
  cz,
  cd,
  dk,
  dj,
  dm,
  do_,
  ec,
  eg,
  sv,
  gq,
  er,
  ee,
  et,
  fo,
  fj,
  fi,
  fr,
  gf,
  pf,
  ga,
  gm,
  ge,
  de,
  gh,
  gr,
  gl,
  gd,
  gp,
  gu,
  gt,
  gg,
  gn,
  gw,
  gy,
  ht,
  hn,
  hk,
  hu,
  is_,
  in_,
  id,
  ie,
  im,
  il,
  it,
  ci,
  jm,
  jp,
  je,
  jo,
  kz,
  ke,
  ki,
  kr,
  kw,
  kg,
  la,
  lv,
  lb,
  ls,
  lr,
  ly,
  li,
  lt,
  lu,
  mo,
  mk,
  mg,
  mw,
  my,
  mv,
  ml,
  mt,
  mh,
  mq,
  mr,
  mu,
  yt,
  mx,
  fm,
  md,
  mc,
  mn,
  me,
  ma,
  mz,
  mm,
  na,
  np,
  nl,
  an,
  nc,
  ni,
  ne,
  ng,
  mp,
  no,
  om,
  pk,
  pa,
  pg,
  py,
  pe,
  ph,
  pl,
  pt,
  zw,
  zm,
  ye,
  eh,
  vi,
  vn,
  ve,
  vu,
  uz,
  uy,
  us,
  gb,
  ae,
  ua,
  ug,
  tc,
  tm,
  tr,
  tn,
  tt,
  to,
  tg,
  tl,
  th,
  tz,
  tj,
  tw,
  sy,
  ch,
  se,
  sz,
  sr,
  lk,
  es,
  za,
  so,
  sb,
  si,
  sk,
  sg,
  sl,
  sc,
  rs,
  sn,
  sa,
  st,
  sm,
  ws,
  vc,
  mf,
  lc,
  kn,
  rw,
  ru,
  ro,
  re,
  qa,
  pr
};
std::string_view rawValue(AppRegionCode value);
template <>
std::optional<AppRegionCode> fromRawValue<AppRegionCode>(std::string_view raw);
template <>
std::span<const AppRegionCode> allCases<AppRegionCode>();

// Validation states of a scanned nutrient; thirteen enumerations share these seven cases.

enum class Energy {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(Energy value);
template <>
std::optional<Energy> fromRawValue<Energy>(std::string_view raw);
template <>
std::span<const Energy> allCases<Energy>();

enum class Protein {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(Protein value);
template <>
std::optional<Protein> fromRawValue<Protein>(std::string_view raw);
template <>
std::span<const Protein> allCases<Protein>();

enum class FatTotal {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(FatTotal value);
template <>
std::optional<FatTotal> fromRawValue<FatTotal>(std::string_view raw);
template <>
std::span<const FatTotal> allCases<FatTotal>();

enum class FatSaturated {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(FatSaturated value);
template <>
std::optional<FatSaturated> fromRawValue<FatSaturated>(std::string_view raw);
template <>
std::span<const FatSaturated> allCases<FatSaturated>();

enum class FatPolyunsaturated {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(FatPolyunsaturated value);
template <>
std::optional<FatPolyunsaturated> fromRawValue<FatPolyunsaturated>(std::string_view raw);
template <>
std::span<const FatPolyunsaturated> allCases<FatPolyunsaturated>();

enum class FatMonounsaturated {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(FatMonounsaturated value);
template <>
std::optional<FatMonounsaturated> fromRawValue<FatMonounsaturated>(std::string_view raw);
template <>
std::span<const FatMonounsaturated> allCases<FatMonounsaturated>();

enum class CarbohydratesTotal {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(CarbohydratesTotal value);
template <>
std::optional<CarbohydratesTotal> fromRawValue<CarbohydratesTotal>(std::string_view raw);
template <>
std::span<const CarbohydratesTotal> allCases<CarbohydratesTotal>();

enum class Sugar {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(Sugar value);
template <>
std::optional<Sugar> fromRawValue<Sugar>(std::string_view raw);
template <>
std::span<const Sugar> allCases<Sugar>();

enum class Fibre {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(Fibre value);
template <>
std::optional<Fibre> fromRawValue<Fibre>(std::string_view raw);
template <>
std::span<const Fibre> allCases<Fibre>();

enum class Sodium {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(Sodium value);
template <>
std::optional<Sodium> fromRawValue<Sodium>(std::string_view raw);
template <>
std::span<const Sodium> allCases<Sodium>();

enum class Potassium {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(Potassium value);
template <>
std::optional<Potassium> fromRawValue<Potassium>(std::string_view raw);
template <>
std::span<const Potassium> allCases<Potassium>();

enum class FatTrans {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(FatTrans value);
template <>
std::optional<FatTrans> fromRawValue<FatTrans>(std::string_view raw);
template <>
std::span<const FatTrans> allCases<FatTrans>();

enum class Salt {
  warningButCorrect,
  warningAndIncorrect,
  correct,
  incorrect,
  missingValue,
  undetectedNutrient,
  noData
};
std::string_view rawValue(Salt value);
template <>
std::optional<Salt> fromRawValue<Salt>(std::string_view raw);
template <>
std::span<const Salt> allCases<Salt>();

namespace group {

// The nutrient validation states of a newly saved food; absent fields were not scanned.
struct FoodNutrients {
  std::optional<Energy> energy;
  std::optional<Protein> protein;
  std::optional<FatTotal> fatTotal;
  std::optional<FatSaturated> fatSaturated;
  std::optional<FatPolyunsaturated> fatPolyunsaturated;
  std::optional<FatMonounsaturated> fatMonounsaturated;
  std::optional<CarbohydratesTotal> carbohydratesTotal;
  std::optional<Sugar> sugar;
  std::optional<Fibre> fibre;
  std::optional<Sodium> sodium;
  std::optional<Potassium> potassium;
  std::optional<FatTrans> fatTrans;
  std::optional<Salt> salt;

  friend bool operator==(const FoodNutrients&, const FoodNutrients&) = default;
};

}  // namespace group

// What the user typed or said to the smart assistant, with the market and language it ran in.
struct SmartAssistantInputContent {
  Market market;
  Language language;
  std::string version;
  std::string userInput;

  friend bool operator==(const SmartAssistantInputContent&,
                         const SmartAssistantInputContent&) = default;
};

}  // namespace km::avo
