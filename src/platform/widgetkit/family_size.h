#pragma once

// The phone models, and the size of each widget family on them.

#include <optional>
#include <string_view>

#include "platform/ui/geometry.h"
#include "platform/widgetkit/widget_family.h"

namespace km {

// The phones whose widget sizes we draw at, by screen size in points. The 393×852 phone is the
// default; the 430×932 one is the larger model.
enum class PhoneModel { phone393x852, phone430x932 };

inline constexpr PhoneModel kDefaultPhoneModel = PhoneModel::phone393x852;

// "393x852" or "430x932".
std::string_view phoneModelName(PhoneModel model);
std::optional<PhoneModel> phoneModelFromName(std::string_view name);
Size screenSize(PhoneModel model);

// The point size of a widget of `family` on `model`.
Size familySize(WidgetFamily family, PhoneModel model = kDefaultPhoneModel);

// The corner radius the home screen clips a widget to (continuous corners); lock-screen
// families are not clipped (0).
double familyCornerRadius(WidgetFamily family, PhoneModel model = kDefaultPhoneModel);

}  // namespace km
