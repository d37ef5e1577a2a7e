// Builds a view tree from the input bytes (a tiny stack-machine program of builders and
// modifiers with arbitrary numbers, including NaN, infinities and negatives), lays it out in a
// container of fuzzed size, dumps it as JSON and draws it. Nothing may crash, hang or trip a
// sanitizer, whatever the numbers.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/ui/display_list_json.h"
#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"

namespace {

class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool done() const { return pos_ >= size_; }
  uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  double number() {
    // Mostly small sizes, sometimes the awkward values.
    const uint8_t kind = byte();
    switch (kind % 16) {
      case 0:
        return NAN;
      case 1:
        return INFINITY;
      case 2:
        return -INFINITY;
      case 3:
        return -static_cast<double>(byte());
      case 4:
        return 0;
      case 5:
        return 1e9;
      default:
        return static_cast<double>(byte()) + byte() / 256.0;
    }
  }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

km::Color color(Reader& r) {
  if (r.byte() % 4 == 0) return km::Color::named(r.byte() % 2 ? "missing" : ".primary");
  return km::Color::sRGB(r.byte() / 255.0, r.byte() / 255.0, r.byte() / 255.0, r.byte() / 255.0);
}

km::Paint paint(Reader& r) {
  switch (r.byte() % 3) {
    case 0:
      return color(r);
    case 1:
      return km::LinearGradient{km::Gradient::evenlySpaced({color(r), color(r)})};
    default:
      return km::AngularGradient{km::Gradient({{color(r), r.number()}, {color(r), r.number()}}),
                                 km::UnitPoint{r.number(), r.number()}, km::Angle{r.number()},
                                 km::Angle{r.number()}};
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace km;
  Reader r(data, size);
  std::vector<View> stack;
  auto pop = [&stack]() {
    if (stack.empty()) return View();
    View v = stack.back();
    stack.pop_back();
    return v;
  };
  int steps = 0;
  while (!r.done() && steps++ < 64) {
    switch (r.byte() % 22) {
      case 0:
        stack.push_back(
            Text(r.byte() % 2 ? "Kcal 1 250" : "\u0627\u0644\u0633\u0639\u0631\u0627\u062a"));
        break;
      case 1:
        stack.push_back(Circle().trim(r.number(), r.number()).stroke(paint(r), r.number()));
        break;
      case 2:
        stack.push_back(RoundedRectangle(r.number(), r.byte() % 2 ? RoundedCornerStyle::continuous
                                                                  : RoundedCornerStyle::circular)
                            .fill(paint(r)));
        break;
      case 3: {
        Path p;
        p.addArc({r.number(), r.number()}, r.number(), Angle{r.number()}, Angle{r.number()},
                 r.byte() % 2);
        p.addLine({r.number(), r.number()});
        stack.push_back(Shape::path(p).trim(r.number(), r.number()).stroke(paint(r), 2));
        break;
      }
      case 4:
        stack.push_back(Spacer(r.number()));
        break;
      case 5:
      case 6:
      case 7: {
        std::vector<View> kids;
        const int n = r.byte() % 4;
        for (int i = 0; i < n; ++i)
          kids.push_back(pop());
        const double spacing = r.number();
        stack.push_back(r.byte() % 3 == 0   ? HStack(VerticalAlignment::top, spacing, kids)
                        : r.byte() % 2 == 0 ? VStack(HorizontalAlignment::trailing, spacing, kids)
                                            : ZStack(kids));
        break;
      }
      case 8:
        stack.push_back(pop().padding(r.number()));
        break;
      case 9:
        stack.push_back(pop().frame(r.number(), r.number()));
        break;
      case 10:
        stack.push_back(pop().frame(
            FrameBounds{.minWidth = r.number(), .maxWidth = r.number(), .maxHeight = r.number()}));
        break;
      case 11:
        stack.push_back(pop().overlay(pop(), Alignment::bottomTrailing()));
        break;
      case 12:
        stack.push_back(pop().background(paint(r)));
        break;
      case 13:
        stack.push_back(pop().rotationEffect(Angle{r.number()}).scaleEffect(r.number()));
        break;
      case 14:
        stack.push_back(pop().shadow(color(r), r.number() / 8, r.number(), r.number()));
        break;
      case 15:
        stack.push_back(pop()
                            .lineLimit(r.byte() % 3)
                            .minimumScaleFactor(r.number() / 100)
                            .font(r.number(), static_cast<FontWeight>(r.byte() % 4))
                            .multilineTextAlignment(static_cast<TextAlignment>(r.byte() % 3)));
        break;
      case 16:
        stack.push_back(pop().opacity(r.number() / 100).foregroundColor(color(r)));
        break;
      case 17: {
        const double k = r.number();
        stack.push_back(GeometryReader([k](const GeometryProxy& g) {
          return Rectangle().frame(g.size.width * k, g.size.height / 2);
        }));
        break;
      }
      case 18:
        stack.push_back(ProgressView(r.number(), r.number(), Text("e"), Text("1")));
        break;
      case 19:
        static const char* kNames[] = {"missing", "ic_flame", "ic_badge", "ic_broken"};
        stack.push_back(Image(kNames[r.byte() % 4]).resizable());
        break;
      case 20:
        stack.push_back(Link("kalomate://x", pop()).widgetURL("kalomate://y"));
        break;
      default:
        stack.push_back(pop().rotation3DEffect(Angle{r.number()}, r.number(), 1, 0));
        break;
    }
  }
  const View root = ZStack(stack);
  const Size wanted{std::fmod(std::abs(r.number()), 200.0), std::fmod(std::abs(r.number()), 200.0)};
  const Size container{std::isfinite(wanted.width) ? wanted.width : 50,
                       std::isfinite(wanted.height) ? wanted.height : 50};
  static const AssetCatalog* catalog = [] {
    auto loaded = AssetCatalog::load(KM_SOURCE_DIR "/tests/ui/fixtures/Test.xcassets");
    return new AssetCatalog(loaded ? std::move(loaded.value()) : AssetCatalog());
  }();
  const DisplayList list = layout(root, container, LayoutOptions{catalog});
  (void)displayListToJson(list, "k", "f", ColorScheme::dark, catalog).dump();
  RenderOptions o;
  o.assets = catalog;
  o.scale = 1;
  o.cornerRadius = 5;
  o.renderingMode = static_cast<RenderingMode>(size_t(container.width) % 3);
  (void)renderImage(list, o);
  return 0;
}
