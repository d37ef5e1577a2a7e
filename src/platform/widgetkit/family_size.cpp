// Widget and screen sizes and corner radii per phone model.

#include "platform/widgetkit/family_size.h"

namespace km {

std::string_view phoneModelName(PhoneModel model) {
  return model == PhoneModel::phone430x932 ? "430x932" : "393x852";
}

std::optional<PhoneModel> phoneModelFromName(std::string_view name) {
  if (name == "393x852") return PhoneModel::phone393x852;
  if (name == "430x932") return PhoneModel::phone430x932;
  return std::nullopt;
}

Size screenSize(PhoneModel model) {
  return model == PhoneModel::phone430x932 ? Size{430, 932} : Size{393, 852};
}

Size familySize(WidgetFamily family, PhoneModel model) {
  const bool large = model == PhoneModel::phone430x932;
  switch (family) {
    case WidgetFamily::systemSmall:
      return large ? Size{170, 170} : Size{158, 158};
    case WidgetFamily::systemMedium:
      return large ? Size{364, 170} : Size{338, 158};
    case WidgetFamily::accessoryCircular:
      return large ? Size{76, 76} : Size{72, 72};
    case WidgetFamily::accessoryRectangular:
      return large ? Size{172, 76} : Size{160, 72};
    case WidgetFamily::accessoryInline:
      return large ? Size{257, 26} : Size{234, 26};
  }
  return {};
}

double familyCornerRadius(WidgetFamily family, PhoneModel model) {
  if (isAccessory(family)) return 0;
  return model == PhoneModel::phone430x932 ? 23 : 22;
}

}  // namespace km
