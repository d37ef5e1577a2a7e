#pragma once

// The contact sheet of a render: every widget's image shrunk to about a pixel per point, in a
// home-screen band and a lock-screen band, each under a heading and over its name. It is composed
// from the images the render draws anyway and written as a PNG row by row while they are drawn, so
// its memory does not grow with the number of widgets.

#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/result.h"
#include "platform/ui/image/png_encoder.h"
#include "platform/ui/image/raster_image.h"

namespace km::cli {

// One widget on the sheet: its name and the size of its drawn image.
struct SheetCell {
  std::string name;
  bool lockScreen = false;
  int width = 0, height = 0;  // pixels of the image handed to add()
};

class ContactSheet {
 public:
  // Places the cells, home-screen ones first, each band in the order given. Images are shrunk by
  // the whole factor `shrink`; `scale` is the sheet's pixels per point (for its texts).
  ContactSheet(const std::vector<SheetCell>& cells, int shrink, double scale);
  ~ContactSheet();

  // The cells in the order best drawn: row by row down the sheet, so rows fill in order.
  const std::vector<std::size_t>& drawingOrder() const { return order_; }
  int width() const { return width_; }
  int height() const { return height_; }

  // Starts the file: nothing is kept of the sheet but the rows still being filled.
  Status open(const std::filesystem::path& file);
  // Lays a cell's image into its place; writes every row that is then complete. Safe from several
  // threads at once; a cell more than a few rows ahead of the first unwritten row waits for it,
  // which bounds the rows in memory (the cells of earlier rows are all being drawn when cells are
  // added in drawing order, so the wait ends).
  void add(std::size_t cell, const RasterImage& image);
  // Writes what is left (rows whose cells never came show the wallpaper) and ends the file.
  Status finish();

 private:
  struct Placed {
    std::size_t row;
    int x, y;  // in sheet pixels
  };
  struct Row {
    int top = 0, bottom = 0;  // the band of sheet pixels it owns
    std::vector<std::size_t> cells;
    std::string heading;  // a band's heading at the top of its first row
    int headingY = 0;
  };
  struct Strip {
    RasterImage pixels;
    std::size_t missing = 0;  // cells not yet laid in
  };

  Strip& stripLocked(std::size_t row);
  void writeCompleteLocked();
  void writeRowLocked(std::size_t row);

  std::vector<SheetCell> cells_;
  std::vector<Placed> placed_;
  std::vector<Row> rows_;
  std::vector<std::size_t> order_;
  int shrink_;
  double scale_;
  int width_ = 1, height_ = 1;

  std::mutex mutex_;
  std::condition_variable rowWritten_;
  std::map<std::size_t, Strip> strips_;  // rows being filled
  std::vector<RasterImage> spare_;       // pixels of written rows, for the next ones
  std::size_t nextRow_ = 0;              // the first row not yet written
  std::ofstream file_;
  std::filesystem::path path_;
  std::unique_ptr<PngRowWriter> png_;
  Status status_ = Ok{};
};

}  // namespace km::cli
