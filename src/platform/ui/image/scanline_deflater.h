// Deflate for image scanlines that looks for only two kinds of repeat: of the pixel just before and
// of the same bytes one row up.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace km {

// The most symbols a Huffman code of deflate has (its literal/length alphabet).
inline constexpr std::size_t kMostHuffmanSymbols = 286;

// Code lengths of a Huffman code for symbols used `counts` times, none longer than `limit` (at most
// 15, and room for every used symbol). Used symbols get a length and unused ones 0; a more
// frequent symbol's code is never longer. The code is always complete, so that any inflater takes
// it: with fewer than two symbols used, symbols 0 and 1 (or the one used and another) get length 1.
// Up to kMostHuffmanSymbols symbols; `lengths` is as long as `counts`.
void huffmanCodeLengths(std::span<const std::uint32_t> counts, int limit,
                        std::span<std::uint8_t> lengths);

// A deflate encoder that finds only repeats of the pixel before and of the row above. Flat art (a
// contact sheet of widgets: wallpaper, card backgrounds, solid shapes, blank rows) is almost all
// of these two repeats, and finding only them is about four times faster than zlib's
// fastest general search, for a stream a quarter or so larger; the rest (gradients, text edges)
// goes out as literals under Huffman codes fitted to each block. It is ours because the libraries
// at hand either search generally (zlib) or compress only a whole buffer at once (libdeflate),
// and a tall image is fed a row at a time so that it never has to be in memory whole.
//
// The output is raw deflate (RFC 1951): the caller adds the zlib or gzip framing and checksum.
class ScanlineDeflater {
 public:
  // Every row is `rowBytes` long (a PNG scanline: its filter byte, then the pixels) and a pixel is
  // `pixelBytes` long, the distance of a repeat of the pixel before.
  ScanlineDeflater(std::size_t rowBytes, std::size_t pixelBytes);

  // Adds the next row; deflate data is appended to `out` whenever a block fills.
  void addRow(const std::uint8_t* row, std::vector<std::uint8_t>& out);
  // Appends the rest and the final block: `out` then ends a complete deflate stream. No row may be
  // added after it.
  void finish(std::vector<std::uint8_t>& out);

 private:
  static constexpr std::size_t kLiteralLengthCodes = kMostHuffmanSymbols, kDistanceCodes = 30;

  void writeBlock(bool last, std::vector<std::uint8_t>& out);

  std::size_t rowBytes_, pixelBytes_;
  bool upRepeats_;  // whether a row is near enough to the one above to refer to it
  std::size_t rowsSeen_ = 0;
  std::vector<std::uint8_t> window_;  // the previous row, then the current one
  // A literal byte (below 256), or a repeat: its length, and its distance in the upper half.
  std::vector<std::uint32_t> tokens_;
  std::array<std::uint32_t, kLiteralLengthCodes> literalLengthCounts_{};
  std::array<std::uint32_t, kDistanceCodes> distanceCounts_{};
  std::vector<std::uint8_t> coded_;  // a block's bytes as they are coded
  // Bits not yet whole bytes, lowest first, carried from block to block.
  std::uint64_t bits_ = 0;
  int bitCount_ = 0;
};

}  // namespace km
