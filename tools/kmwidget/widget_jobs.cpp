// The widgets to draw, and laying each out in a child-safe way.

#include "kmwidget/widget_jobs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <sstream>

#include "base/fatal_error.h"
#include "host/km_widget.h"
#include "host/km_widget_entry_view.h"
#include "host/widget_kind.h"
#include "kmwidget/widget_drawing.h"
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
  // signed-in record, it gives an empty view for the others. It is asked in a child process,
  // because building views may start the text engine, whose threads would make every later
  // fork of this process unsafe (a child can inherit a lock that a thread held).
  constexpr std::size_t kFamilies = kAllWidgetFamilies.size();
  int channel[2];
  if (::pipe(channel) != 0) fatalError("cannot make a pipe to ask the entry view");
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::close(channel[0]);
    const NutritionEntry probe{Date{}, placeholderSummary(Date{})};
    std::ostringstream quiet;  // the probe's chart log lines are nobody's business
    const ScopedExtensionLog log(quiet);
    for (std::size_t k = 0; k < kAllWidgetKinds.size(); ++k) {
      for (std::size_t f = 0; f < kFamilies; ++f) {
        const View view = KMWidgetEntryView{probe, kAllWidgetFamilies[f],
                                            std::string(rawValue(kAllWidgetKinds[k]))}
                              .body();
        const auto index = static_cast<unsigned char>(k * kFamilies + f);
        if (!view.isEmpty() && ::write(channel[1], &index, 1) != 1) ::_exit(1);
      }
    }
    ::_exit(0);
  }
  ::close(channel[1]);
  std::vector<WidgetJob> jobs;
  unsigned char index = 0;
  while (pid > 0 && ::read(channel[0], &index, 1) == 1) {
    jobs.push_back({std::string(rawValue(kAllWidgetKinds[index / kFamilies])),
                    kAllWidgetFamilies[index % kFamilies]});
  }
  ::close(channel[0]);
  if (pid > 0) ::waitpid(pid, nullptr, 0);
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
  options_ = widgetLayoutOptions(assets_);
}

DisplayList WidgetLayouter::layout(const NutritionEntry& entry, const WidgetJob& job) const {
  return layoutWidget(entry, job.kind, job.family, device_, options_);
}

}  // namespace km::cli
