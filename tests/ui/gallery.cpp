#include "gallery.h"

#include <cmath>

namespace km::gallery {

namespace {
Color hex(unsigned rgb) {
  return Color::sRGB(((rgb >> 16) & 255) / 255.0, ((rgb >> 8) & 255) / 255.0, (rgb & 255) / 255.0);
}
}  // namespace

View ringWidget(double progress) {
  const double lineWidth = 10;
  StrokeStyle arcStyle;
  arcStyle.lineWidth = lineWidth;
  arcStyle.lineCap = LineCap::round;
  arcStyle.lineJoin = LineJoin::round;
  AngularGradient gradient{Gradient::evenlySpaced({hex(0x94EBB8), hex(0x03B000)})};
  View ring = ZStack({
      Circle().stroke(Color::named("widget-background-light"), lineWidth),
      Circle().trim(0, progress).stroke(gradient, arcStyle).rotationEffect(Angle::degrees(-90)),
      GeometryReader([=](const GeometryProxy& g) {
        const double r = std::min(g.size.width, g.size.height) / 2;
        return Circle()
            .fill(hex(0x94EBB8))
            .frame(lineWidth, lineWidth)
            .offset(r, 0)
            .rotationEffect(Angle::degrees(-90))
            .frame(g.size.width, g.size.height);
      }),
  });
  View texts = VStack(HorizontalAlignment::center, 2,
                      {
                          Text("500")
                              .font(18, FontWeight::bold)
                              .foregroundColor(Color::named("widget-text-primary")),
                          Text("/2000 Kcal")
                              .font(14)
                              .foregroundColor(Color::named("widget-text-secondary"))
                              .padding(Edge::top, 4),
                      });
  return ZStack({ring.padding(16), texts})
      .padding(4)
      .containerBackground(Color::named("widget-background-primary"))
      .widgetURL("kalomate://diary-widget-small_energy");
}

View textWidget() {
  const Color primary = Color::named("widget-text-primary");
  View weights = VStack(HorizontalAlignment::leading, 4,
                        {
                            Text("Regular 1 250").font(15, FontWeight::regular),
                            Text("Medium 1 250").font(15, FontWeight::medium),
                            Text("Semibold 1 250").font(15, FontWeight::semibold),
                            Text("Bold 1 250").font(15, FontWeight::bold),
                        })
                     .foregroundColor(primary);
  View scripts =
      VStack(HorizontalAlignment::trailing, 6,
             {
                 Image("ic_flame").resizable().frame(28, 28).foregroundColor(hex(0xDE7300)),
                 Text("السعرات الحرارية").font(15, FontWeight::semibold),
                 Text("カロリー 残り").font(15, FontWeight::medium),
             })
          .foregroundColor(primary);
  return HStack({weights, Spacer(), scripts})
      .padding()
      .containerBackground(Color::named("widget-background-primary"));
}

View buttonsWidget() {
  auto tile = [](const char* icon, const char* destination) {
    return GeometryReader([=](const GeometryProxy& g) {
      const double w = g.size.width, h = g.size.height;
      View face = ZStack({RoundedRectangle(12, RoundedCornerStyle::continuous)
                              .fill(Color::named("widget-background-secondary"))
                              .shadow(Color::named("widget-shadow").opacity(0.5), 2, 0, 1)
                              .shadow(Color::named("widget-shadow"), 4, 0, 2),
                          Image(icon)
                              .renderingMode(ImageRenderingMode::template_)
                              .resizable()
                              .frame(0.4 * w, 0.4 * h)
                              .foregroundColor(Color::named("widget-text-secondary"))});
      return ZStack({face, Link(std::string("kalomate://") + destination + "-widget-buttons",
                                Text("  ").foregroundColor(Color::clear()))
                               .frame(w, h + 5)});
    });
  };
  return HStack(VerticalAlignment::center, 12,
                {tile("ic_flame", "addFood"), tile("ic_badge", "barcodeScan"),
                 tile("ic_flame", "water"), tile("ic_flame", "exercise")})
      .frame(std::nullopt, 64)
      .padding()
      .containerBackground(Color::named("widget-background-primary"));
}

View gaugeWidget(double value) {
  return ZStack({
                    AccessoryWidgetBackground(),
                    ProgressView(value, 1, Text("Energy"),
                                 Text("1200\nKcal").foregroundColor(Color::white())),
                })
      .widgetAccentable()
      .widgetURL("kalomate://diary-widget-lockscreen_calories");
}

}  // namespace km::gallery
