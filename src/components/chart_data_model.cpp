// Slice identifiers, the running angle of a chart's slices and their debug printing.

#include "components/chart_data_model.h"

#include <charconv>
#include <cmath>
#include <random>

#include "model/extension_log.h"

namespace km {

UUID UUID::random() {
  thread_local std::mt19937_64 generator{[] {
    std::random_device device;
    std::seed_seq seed{device(), device(), device(), device(), device(), device()};
    return std::mt19937_64(seed);
  }()};
  UUID id;
  for (std::size_t i = 0; i < id.bytes.size(); i += 8) {
    std::uint64_t bits = generator();
    for (std::size_t j = 0; j < 8; ++j) {
      id.bytes[i + j] = static_cast<std::uint8_t>(bits >> (8 * j));
    }
  }
  // Version 4 (random) and the RFC 4122 variant, so the text form is a valid random UUID.
  id.bytes[6] = static_cast<std::uint8_t>((id.bytes[6] & 0x0F) | 0x40);
  id.bytes[8] = static_cast<std::uint8_t>((id.bytes[8] & 0x3F) | 0x80);
  return id;
}

std::string UUID::uuidString() const {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string s;
  s.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) s.push_back('-');
    s.push_back(kDigits[bytes[i] >> 4]);
    s.push_back(kDigits[bytes[i] & 15]);
  }
  return s;
}

ChartDataModel::ChartDataModel(std::vector<ChartCellModel> cells)
    : chartCellModel(std::move(cells)) {}

double ChartDataModel::total() const {
  double sum = 0.0;
  for (const ChartCellModel& cell : chartCellModel)
    sum += cell.value;
  return sum;
}

Angle ChartDataModel::angle(double value) {
  // The previous slice ended where the running sum stands; that is this slice's near end.
  if (startingAngle.radians != lastBarEndAngle.radians) startingAngle = lastBarEndAngle;
  // The total is taken afresh on every call, so a list changed between calls is honoured.
  const double sweepDegrees = value / total() * 360;
  const double sweepRadians = sweepDegrees * 0.017453292519943295;
  lastBarEndAngle = Angle{lastBarEndAngle.radians + sweepRadians};
  writeExtensionLog(formatDebugDouble(lastBarEndAngle.radians * 57.29577951308232));
  return lastBarEndAngle;
}

std::string formatDebugDouble(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char buffer[64];
  const double magnitude = std::fabs(value);
  // Plain decimals in the everyday range, exponent form outside it, as the platform prints.
  const bool plain = magnitude == 0 || (magnitude >= 1e-4 && magnitude < 1e16);
  const auto result =
      std::to_chars(buffer, buffer + sizeof buffer, value,
                    plain ? std::chars_format::fixed : std::chars_format::scientific);
  std::string text(buffer, result.ptr);
  if (plain && text.find('.') == std::string::npos) text += ".0";
  return text;
}

}  // namespace km
