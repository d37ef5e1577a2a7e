// SVG path data ("M12 2.5v5M9.5 5h5") read into an outline of moves, lines, cubic curves and
// closes.

#include <array>
#include <optional>
#include <string>

#include "platform/ui/svg/svg_outline_builder.h"
#include "platform/ui/svg/svg_scanner.h"
#include "platform/ui/svg_icon.h"

namespace km {
namespace {

using svg::OutlineBuilder;
using svg::Scanner;

// How many numbers each command takes (arcs' two flags included).
int argumentCount(char command) {
  switch (command | 0x20) {  // either case
    case 'm':
    case 'l':
    case 't':
      return 2;
    case 'h':
    case 'v':
      return 1;
    case 'c':
      return 6;
    case 's':
    case 'q':
      return 4;
    case 'a':
      return 7;
    case 'z':
      return 0;
    default:
      return -1;
  }
}

}  // namespace

Result<SvgOutline> parseSvgPathData(std::string_view data) {
  Scanner sc(data);
  OutlineBuilder b;
  // The previous command's second control point, for the smooth curves' reflection.
  std::optional<Point> lastCubicControl, lastQuadControl;
  auto fail = [&](const char* why) {
    const std::string_view rest = sc.rest().substr(0, 12);
    return svg::unsupported("path data " + std::string(why) + " at \"" + std::string(rest) + "\"");
  };
  sc.skipWsp();
  bool first = true;
  while (!sc.atEnd()) {
    const char letter = sc.peek();
    const int count = argumentCount(letter);
    if (count < 0) return fail("expects a command");
    if (first && letter != 'M' && letter != 'm') return fail("must start with a moveto");
    first = false;
    sc.advance();
    sc.skipWsp();
    if (count == 0) {
      b.close();
      lastCubicControl.reset();
      lastQuadControl.reset();
      continue;
    }
    // One set of arguments, then as many more as follow (implicit repeats; a moveto's
    // repeats are linetos).
    char command = letter;
    do {
      std::array<double, 7> v{};
      for (int i = 0; i < count; ++i) {
        std::optional<double> n;
        if ((command == 'a' || command == 'A') && (i == 3 || i == 4)) {
          if (auto f = sc.flag()) n = *f ? 1 : 0;
        } else {
          n = sc.number();
        }
        if (!n) return fail("expects a number");
        v[static_cast<size_t>(i)] = *n;
        sc.skipCommaWsp();
      }
      const bool relative = command >= 'a';
      const Point o = relative ? b.current : Point{0, 0};
      auto at = [&](size_t i) { return Point{o.x + v[i], o.y + v[i + 1]}; };
      std::optional<Point> cubicControl, quadControl;
      switch (command | 0x20) {  // lower case
        case 'm':
          b.moveTo(at(0));
          command = relative ? 'l' : 'L';
          break;
        case 'l':
          b.lineTo(at(0));
          break;
        case 'h':
          b.lineTo({o.x + v[0], b.current.y});
          break;
        case 'v':
          b.lineTo({b.current.x, o.y + v[0]});
          break;
        case 'c':
          b.curveTo(at(0), at(2), at(4));
          cubicControl = at(2);
          break;
        case 's': {
          const Point p = b.current;
          const Point c1 = lastCubicControl
                               ? Point{2 * p.x - lastCubicControl->x, 2 * p.y - lastCubicControl->y}
                               : p;
          cubicControl = at(0);
          b.curveTo(c1, at(0), at(2));
          break;
        }
        case 'q':
        case 't': {
          const Point p0 = b.current;
          Point q, end;
          if ((command | 0x20) == 'q') {
            q = at(0);
            end = at(2);
          } else {
            q = lastQuadControl
                    ? Point{2 * p0.x - lastQuadControl->x, 2 * p0.y - lastQuadControl->y}
                    : p0;
            end = at(0);
          }
          // The cubic with the same curve: control points two thirds of the way to q.
          b.curveTo({p0.x + 2.0 / 3 * (q.x - p0.x), p0.y + 2.0 / 3 * (q.y - p0.y)},
                    {end.x + 2.0 / 3 * (q.x - end.x), end.y + 2.0 / 3 * (q.y - end.y)}, end);
          quadControl = q;
          break;
        }
        case 'a':
          b.arcTo(v[0], v[1], v[2], v[3] != 0, v[4] != 0, at(5));
          break;
      }
      lastCubicControl = cubicControl;
      lastQuadControl = quadControl;
    } while (sc.atNumber());
  }
  return std::move(b.outline);
}

}  // namespace km
