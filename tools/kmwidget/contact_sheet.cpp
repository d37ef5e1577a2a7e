// The contact sheet of a render, composed from the widgets' images and written row by row.
#include "kmwidget/contact_sheet.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>

#include "platform/ui/font.h"
#include "platform/ui/image/image_scaling.h"
#include "platform/ui/render/cairo_canvas.h"
#include "platform/ui/text_engine.h"

namespace km::cli {
namespace {

// At most this many rows are in memory at once.
constexpr std::size_t kRowsInFlight = 3;

// Names and headings go through the widgets' own text engine: Cairo's simple text would load the
// system's whole font configuration for a few strings.
Font nameFont() {
  return Font::system(10);
}
Font headingFont() {
  return Font::system(15, FontWeight::bold);
}

}  // namespace

ContactSheet::ContactSheet(const std::vector<SheetCell>& cells, int shrink, double scale)
    : cells_(cells), placed_(cells.size()), shrink_(std::max(1, shrink)), scale_(scale) {
  const int gap = static_cast<int>(std::lround(12 * scale));
  const int label = static_cast<int>(std::lround(16 * scale));
  const int header = static_cast<int>(std::lround(24 * scale));
  const int maxRowWidth = static_cast<int>(std::lround(760 * scale));
  TextEngine& text = TextEngine::shared();
  int y = gap;
  int sheetWidth = 0;
  for (int band = 0; band < 2; ++band) {
    const bool lock = band == 1;
    std::vector<std::size_t> members;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (cells[i].lockScreen == lock) members.push_back(i);
    }
    if (members.empty()) continue;
    // A row owns the sheet from where the previous one ends, so a band's heading is in its first
    // row.
    rows_.push_back(
        {rows_.empty() ? 0 : rows_.back().bottom, 0, {}, lock ? "Lock screen" : "Home screen", y});
    y += header;
    int x = gap;
    int rowHeight = 0;
    for (std::size_t i : members) {
      // A cell is as wide as its image or its name, whichever is wider.
      const double nameWidth = text.measure({cells[i].name, nameFont()}).width * scale;
      const int imageWidth = shrunkLength(cells[i].width, shrink_);
      const int w = std::max(imageWidth, static_cast<int>(std::ceil(nameWidth)));
      const int h = shrunkLength(cells[i].height, shrink_);
      if (x > gap && x + w > maxRowWidth) {
        y += rowHeight + label + gap;
        rows_.back().bottom = y;
        rows_.push_back({y, 0, {}, {}, 0});
        x = gap;
        rowHeight = 0;
      }
      placed_[i] = {rows_.size() - 1, x, y};
      rows_.back().cells.push_back(i);
      order_.push_back(i);
      x += w + gap;
      rowHeight = std::max(rowHeight, h);
      sheetWidth = std::max(sheetWidth, x);
    }
    y += rowHeight + label + gap;
    rows_.back().bottom = y;
  }
  if (rows_.empty()) rows_.push_back({0, y, {}, {}, 0});
  width_ = std::max(sheetWidth, 1);
  height_ = y;
}

ContactSheet::~ContactSheet() = default;

Status ContactSheet::open(const std::filesystem::path& file) {
  path_ = file;
  file_.open(file, std::ios::binary);
  if (!file_) return Error{"cannot write " + file.string()};
  // Every strip is painted with the wallpaper first, so the sheet is opaque.
  png_ = std::make_unique<PngRowWriter>(file_, width_, height_, PngPixels::opaqueRgb);
  return Ok{};
}

ContactSheet::Strip& ContactSheet::stripLocked(std::size_t rowIndex) {
  auto [it, added] = strips_.try_emplace(rowIndex);
  Strip& strip = it->second;
  if (!added) return strip;
  const Row& row = rows_[rowIndex];
  strip.missing = row.cells.size();
  if (!spare_.empty()) {
    strip.pixels = std::move(spare_.back());
    spare_.pop_back();
  }
  strip.pixels.reset(width_, row.bottom - row.top);
  cairo_surface_t* surface = createSurfaceFor(strip.pixels);
  cairo_t* cr = cairo_create(surface);
  cairo_set_source_rgb(cr, 0.80, 0.82,
                       0.86);  // a neutral wallpaper both appearances read on
  cairo_paint(cr);
  CairoCanvas canvas(cr);
  TextEngine& text = TextEngine::shared();
  // A text's box with its top-left corner at (x, y) in sheet pixels.
  auto drawText = [&](const std::string& s, Font font, double x, double y) {
    cairo_save(cr);
    cairo_set_source_rgb(cr, 0.1, 0.1, 0.12);
    cairo_translate(cr, x, y - row.top);
    cairo_scale(cr, scale_, scale_);
    text.draw(canvas, {s, font}, {0, 0});
    cairo_restore(cr);
  };
  if (!row.heading.empty()) {
    const int header = static_cast<int>(std::lround(24 * scale_));
    const int gap = static_cast<int>(std::lround(12 * scale_));
    const double height = text.measure({row.heading, headingFont()}).height * scale_;
    drawText(row.heading, headingFont(), gap, row.headingY + (header - height) / 2);
  }
  for (std::size_t i : row.cells) {
    const Placed& p = placed_[i];
    drawText(cells_[i].name, nameFont(), p.x,
             p.y + shrunkLength(cells_[i].height, shrink_) + 2 * scale_);
  }
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  return strip;
}

void ContactSheet::writeRowLocked(std::size_t rowIndex) {
  Strip& strip = stripLocked(rowIndex);
  if (png_ && status_) {
    status_ = png_->writeRows(strip.pixels, 0, strip.pixels.height());
  }
  spare_.push_back(std::move(strip.pixels));
  strips_.erase(rowIndex);
}

void ContactSheet::writeCompleteLocked() {
  while (nextRow_ < rows_.size()) {
    auto it = strips_.find(nextRow_);
    if (it == strips_.end() || it->second.missing > 0) break;
    writeRowLocked(nextRow_++);
  }
}

void ContactSheet::add(std::size_t cell, const RasterImage& image) {
  if (cell >= placed_.size()) return;
  const Placed& p = placed_[cell];
  RasterImage* target = nullptr;
  {
    std::unique_lock lock(mutex_);
    rowWritten_.wait(lock, [&] { return p.row < nextRow_ + kRowsInFlight; });
    if (p.row < nextRow_) return;  // written already (a cell added twice)
    target = &stripLocked(p.row).pixels;
  }
  // Cells of one row do not overlap, so each thread fills its own without the lock.
  composeShrunk(image, shrink_, *target, p.x, p.y - rows_[p.row].top);
  {
    std::lock_guard lock(mutex_);
    Strip& strip = strips_.at(p.row);
    if (strip.missing > 0) --strip.missing;
    writeCompleteLocked();
  }
  rowWritten_.notify_all();
}

Status ContactSheet::finish() {
  std::lock_guard lock(mutex_);
  while (nextRow_ < rows_.size())
    writeRowLocked(nextRow_++);
  if (!png_) return Error{"the contact sheet was not opened"};
  if (status_) status_ = png_->finish();
  file_.close();
  if (status_ && !file_) status_ = Error{"cannot write " + path_.string()};
  if (!status_) return Error{"cannot write " + path_.string() + ": " + status_.error().message};
  return Ok{};
}

}  // namespace km::cli
