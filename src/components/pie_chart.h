#pragma once

// PieChart: the slices of a chart as wedges about one centre.

#include <functional>
#include <memory>
#include <optional>

#include "components/chart_data_model.h"
#include "platform/ui/view.h"

namespace km {

// All slices of a ChartDataModel as filled wedges stacked on one centre, later slices over
// earlier ones, with a tap-to-select state: the selected slice is drawn 5% larger.
//
// `selectedCell` is the view's state, shared by copies of the view (as the platform's view
// state is); it starts as a fresh id that matches no slice. A home-screen host delivers no taps,
// so `tap` is how a host that does (and the tests) select a slice. Building the body advances
// the model's angle state (one pass per body), so it must not run concurrently with another
// use of the same model.
struct PieChart {
  using TapHandler = std::function<void(const std::optional<ChartCellModel>&)>;

  std::shared_ptr<UUID> selectedCell = std::make_shared<UUID>(UUID::random());
  std::shared_ptr<ChartDataModel> dataModel;
  // Told of every selection change: the newly selected cell, or nothing on a deselect.
  TapHandler onTap;

  View body() const;

  // A single tap on `cell`: selects it, or deselects it when it is already selected (the
  // selection then becomes a fresh id again).
  void tap(const ChartCellModel& cell) const;
  bool isSelected(const ChartCellModel& cell) const { return *selectedCell == cell.id; }
};

}  // namespace km
