#pragma once

// The view platform in one include, for widget code and tools.
//
// Widgets describe what to draw as values:
//
//   View body() const {
//     return ZStack({
//                Circle().stroke(Color::named("widget-background-light"), 10),
//                Circle()
//                    .trim(0, progress)
//                    .stroke(AngularGradient{Gradient::evenlySpaced({start, end})},
//                            StrokeStyle{.lineWidth = 10, .lineCap = LineCap::round})
//                    .rotationEffect(Angle::degrees(-90)),
//                VStack(HorizontalAlignment::center, std::nullopt,
//                       {Text("500").font(18, FontWeight::bold), Text("/2000 Kcal").font(14)}),
//            })
//         .padding(4)
//         .widgetURL("kalomate://diary-widget-small_energy");
//   }
//
// Tools lay the view out at a family's size and draw or dump the result:
//
//   const DisplayList list = layout(view, familySize(family), {&catalog});
//   writeImageFile(list, RenderOptions{.colorScheme = ColorScheme::dark, .assets = &catalog},
//                  "widget.png");
//   displayListToJson(list, kind, familyName(family), ColorScheme::light, &catalog);

#include "platform/ui/asset_catalog.h"      // IWYU pragma: export
#include "platform/ui/color.h"              // IWYU pragma: export
#include "platform/ui/display_list.h"       // IWYU pragma: export
#include "platform/ui/display_list_json.h"  // IWYU pragma: export
#include "platform/ui/font.h"               // IWYU pragma: export
#include "platform/ui/geometry.h"           // IWYU pragma: export
#include "platform/ui/layout.h"             // IWYU pragma: export
#include "platform/ui/paint.h"              // IWYU pragma: export
#include "platform/ui/path.h"               // IWYU pragma: export
#include "platform/ui/renderer.h"           // IWYU pragma: export
#include "platform/ui/view.h"               // IWYU pragma: export
