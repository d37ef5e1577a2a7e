// The names of the font weights, as display lists and view descriptions write them.

#include "platform/ui/font.h"

#include "base/enum_names.h"

namespace km {
namespace {

constexpr auto kWeightNames = enumNames<FontWeight>({
    {FontWeight::regular, "regular"},
    {FontWeight::medium, "medium"},
    {FontWeight::semibold, "semibold"},
    {FontWeight::bold, "bold"},
});
static_assert(kWeightNames.namesAreUnique());

}  // namespace

std::string_view fontWeightName(FontWeight weight) {
  return kWeightNames.name(weight).value_or("regular");
}

}  // namespace km
