#pragma once

// The slices of a pie or donut chart and the running angle state they are drawn with.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/color.h"
#include "platform/ui/geometry.h"

namespace km {

// A random (version 4) universally unique identifier. A small value type; `random()` is
// thread-safe (each thread has its own generator).
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  static UUID random();
  // The canonical upper-case form, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
  std::string uuidString() const;
  friend bool operator==(const UUID&, const UUID&) = default;
};

// One slice of a pie or donut chart. A value; two cells are the same slice when their ids are
// equal, whatever their other fields (a selection is kept by id).
struct ChartCellModel {
  UUID id = UUID::random();
  Color color;
  // The slice's weight; only its share of the sum of all weights matters.
  double value = 0;
  std::string name;

  bool isSameSlice(const ChartCellModel& other) const { return id == other.id; }
};

// The slices of one chart and the running angle state the pie chart reads them through. It is
// an accumulator, not a pure function of the list: every `angle(for:)` advances the state, so a
// model is built fresh for each drawing and its slices are asked for in list order. Shared by
// the views that hold it (through std::shared_ptr); only the view-building thread may touch it.
class ChartDataModel {
 public:
  explicit ChartDataModel(std::vector<ChartCellModel> cells);

  // Sum of the values in list order, from 0.0 (0.0 for an empty list).
  double total() const;

  // Hands out the end angle of the next slice of `value` and advances the state: the previous
  // end moves into `startingAngle`, and the slice's sweep (its share of a full turn) is added to
  // `lastBarEndAngle`, which is returned. Each call logs the new end, in degrees, as one line of
  // the extension's log. A total of 0 gives a non-finite angle (there is no guard: callers never
  // build such a model); negative values sweep backwards.
  Angle angle(double value);

  std::vector<ChartCellModel> chartCellModel;
  // Start of the slice most recently handed out (the end of the one before it).
  Angle startingAngle{};
  // End of the slice most recently handed out: the running sum of sweeps.
  Angle lastBarEndAngle{};
};

// `value` as the platform prints a double: shortest round-trip digits, integral values with
// ".0" ("72.0"), "nan", "inf", exponent form for very large or small magnitudes ("1e+16").
std::string formatDebugDouble(double value);

}  // namespace km
