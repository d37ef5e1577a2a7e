// Cost of one event function call in production: the path every host call takes when no
// debugger is attached (no inspector report, no debugger records, no log line).

#include <benchmark/benchmark.h>

#include <memory>

#include "analytics/avo.h"

namespace km {
namespace {

class NullDestination final : public AvoCustomDestination {
 public:
  void setEnvironment(AvoEnv) override {}
  void make(AvoEnv, std::optional<std::string>) override {}
  void logEvent(const std::string& name, const AvoDictionary& properties) override {
    benchmark::DoNotOptimize(name.data());
    benchmark::DoNotOptimize(properties.size());
  }
  void setUserProperties(const std::string&, const AvoDictionary&) override {}
  void identify(const std::string&) override {}
  void unidentify() override {}
  void setUserPropertiesOnce(const std::string&, const AvoDictionary&) override {}
  void flush() override {}
};

// Answers the tracking selector and does nothing with it.
class NullInspector final : public DynamicObject {
 public:
  bool respondsTo(std::string_view) const override { return true; }
  AvoValue perform(std::string_view, std::span<const AvoValue> args) override {
    benchmark::DoNotOptimize(args.data());
    return AvoValue();
  }
};

class QuietLogger final : public AvoLogger {
 public:
  bool logDebug(bool, const std::string&) override { return true; }
  bool logWarn(bool, const std::string&) override { return true; }
  bool logError(bool, const std::string&) override { return true; }
};

std::unique_ptr<Avo> makeClient(bool withInspector) {
  auto avo = std::make_unique<Avo>(AvoEnv::prod, std::make_shared<NullDestination>(), nullptr,
                                   withInspector ? std::make_shared<NullInspector>() : nullptr,
                                   false, false);
  avo->avoLogger = std::make_shared<QuietLogger>();
  return avo;
}

// page_view_diary: five fixed properties.
void BM_PageViewDiaryProd(benchmark::State& state) {
  auto avo = makeClient(state.range(0) != 0);
  for (auto _ : state)
    avo->pageViewDiary();
}
BENCHMARK(BM_PageViewDiaryProd)->ArgName("inspector")->Arg(0)->Arg(1);

// widget_add: five fixed properties and a list of two widgets.
void BM_WidgetAddProd(benchmark::State& state) {
  auto avo = makeClient(state.range(0) != 0);
  const std::vector<avo::Widget> widgets = {avo::Widget::smallEnergy, avo::Widget::mediumHistory};
  for (auto _ : state)
    avo->widgetAdd(widgets);
}
BENCHMARK(BM_WidgetAddProd)->ArgName("inspector")->Arg(0)->Arg(1);

// smart_assistant_meal_submit: the largest event, with a nested input and optional arguments.
void BM_SmartAssistantMealSubmitProd(benchmark::State& state) {
  auto avo = makeClient(state.range(0) != 0);
  const avo::SmartAssistantInputContent input{avo::Market::au, avo::Language::en, "2.1",
                                              "two eggs and toast"};
  for (auto _ : state) {
    avo->smartAssistantMealSubmit("breakfast", 1, 2, input, "complete", "flow-1", std::nullopt);
  }
}
BENCHMARK(BM_SmartAssistantMealSubmitProd)->ArgName("inspector")->Arg(0)->Arg(1);

}  // namespace
}  // namespace km
