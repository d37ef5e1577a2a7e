#include <gtest/gtest.h>

#include "platform/ui/layout.h"
#include "platform/ui/renderer.h"

namespace km {
namespace {

// A clip keeps only what lies inside its shape fitted to the clipped view's frame; layout is
// unchanged, and effects outside the clip move it while effects inside move only the content.
TEST(ClipTest, ClipsFollowTheFrameWhereTheModifierIs) {
  const View square = Rectangle().fill(Color::sRGB(1, 0, 0)).frame(40, 40);
  const struct {
    const char* name;
    View view;
    Rect frame;
    Rect clipBox;
  } cases[] = {
      {"circle clip", square.clipShape(Circle()), {30, 30, 40, 40}, {30, 30, 40, 40}},
      {"corner radius", square.cornerRadius(8), {30, 30, 40, 40}, {30, 30, 40, 40}},
      // The clip is on the frame, not the smaller shape inside it.
      {"clip on a padded view",
       square.padding(10).clipShape(Rectangle()),
       {30, 30, 40, 40},
       {20, 20, 60, 60}},
      {"offset outside moves the clip",
       square.clipShape(Rectangle()).offset(10, 0),
       {30, 30, 40, 40},
       {40, 30, 40, 40}},
      {"offset inside leaves it",
       square.offset(10, 0).clipShape(Rectangle()),
       {30, 30, 40, 40},
       {30, 30, 40, 40}},
  };
  for (const auto& c : cases) {
    const DisplayList list = layout(c.view, {100, 100});
    ASSERT_EQ(list.items.size(), 1u) << c.name;
    EXPECT_EQ(list.items[0].frame, c.frame) << c.name;
    ASSERT_EQ(list.items[0].clips.size(), 1u) << c.name;
    const Rect box = list.items[0].clips[0].boundingRect();
    EXPECT_NEAR(box.x, c.clipBox.x, 1e-9) << c.name;
    EXPECT_NEAR(box.y, c.clipBox.y, 1e-9) << c.name;
    EXPECT_NEAR(box.width, c.clipBox.width, 1e-9) << c.name;
    EXPECT_NEAR(box.height, c.clipBox.height, 1e-9) << c.name;
  }
}

TEST(ClipTest, DrawingStaysInsideTheClip) {
  // A 40-point red square clipped to its inscribed circle: the centre is red, the corners are
  // empty. Without the clip the corners would be red.
  const View square = Rectangle().fill(Color::sRGB(1, 0, 0)).frame(40, 40);
  RenderOptions o;
  o.scale = 1;
  const RasterImage clipped = renderImage(layout(square.clipShape(Circle()), {40, 40}), o);
  EXPECT_EQ(clipped.pixel(20, 20), (std::array<uint8_t, 4>{255, 0, 0, 255}));
  EXPECT_EQ(clipped.pixel(1, 1)[3], 0);
  EXPECT_EQ(clipped.pixel(38, 38)[3], 0);
  const RasterImage whole = renderImage(layout(square, {40, 40}), o);
  EXPECT_EQ(whole.pixel(1, 1)[3], 255);
  // Rounded corners of radius 10 cut the corner pixel but keep the middle of each edge.
  const RasterImage rounded = renderImage(layout(square.cornerRadius(10), {40, 40}), o);
  EXPECT_EQ(rounded.pixel(0, 0)[3], 0);
  EXPECT_EQ(rounded.pixel(20, 0)[3], 255);
}

}  // namespace
}  // namespace km
