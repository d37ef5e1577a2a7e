#include "kmwidget/widget_jobs.h"

#include <filesystem>
#include <sstream>

#include "host/km_widget.h"
#include "host/km_widget_entry_view.h"
#include "host/widget_kind.h"
#include "model/extension_log.h"
#include "model/read_summary.h"
#include "platform/foundation/bundle.h"

namespace km::cli {

std::vector<WidgetJob> bundleJobs() {
  std::vector<WidgetJob> jobs;
  for (const char* kind : KMWidgetBundle::kKinds) {
    for (WidgetFamily family : supportedFamilies(kind))
      jobs.push_back({kind, family});
  }
  return jobs;
}

std::vector<WidgetJob> allKindJobs() {
  // The entry view is the one place that knows which family a kind draws in: asked with a
  // signed-in record, it gives an empty view for the others.
  const NutritionEntry probe{Date{}, placeholderSummary(Date{})};
  std::ostringstream quiet;  // the probe's chart log lines are nobody's business
  const ScopedExtensionLog log(quiet);
  std::vector<WidgetJob> jobs;
  for (WidgetKind kind : kAllWidgetKinds) {
    const std::string name(rawValue(kind));
    for (WidgetFamily family : kAllWidgetFamilies) {
      if (!KMWidgetEntryView{probe, family, name}.body().isEmpty()) jobs.push_back({name, family});
    }
  }
  return jobs;
}

Result<std::unique_ptr<WidgetLayouter>> WidgetLayouter::make(PhoneModel device) {
  auto assets =
      AssetCatalog::load(std::filesystem::path(Bundle::main().bundlePath()) / "Assets.xcassets");
  if (!assets) return Error{"cannot load the asset catalogue: " + assets.error().message};
  return std::unique_ptr<WidgetLayouter>(new WidgetLayouter(std::move(assets).value(), device));
}

WidgetLayouter::WidgetLayouter(AssetCatalog assets, PhoneModel device)
    : assets_(std::move(assets)), device_(device) {
  options_.assets = &assets_;
  // As the phone does for a right-to-left language, the widgets are mirrored to match their texts.
  options_.layoutDirection = WidgetUtils::layoutDirection();
}

DisplayList WidgetLayouter::layout(const NutritionEntry& entry, const WidgetJob& job) const {
  const View view = KMWidgetEntryView{entry, job.family, job.kind}.body();
  return km::layout(view, familySize(job.family, device_), options_);
}

}  // namespace km::cli
