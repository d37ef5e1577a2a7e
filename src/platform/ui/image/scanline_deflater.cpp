// Deflate for image scanlines: repeats of the pixel before and of the row above, coded in blocks
// whose Huffman codes are fitted to each block's symbols.
#include "platform/ui/image/scanline_deflater.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace km {
namespace {

constexpr std::size_t kMaxDistance = 32768;
// A three-byte repeat rarely codes shorter than the three literals it replaces.
constexpr std::size_t kMinRepeat = 4;
constexpr std::size_t kMaxRepeat = 258;
// A repeat of the pixel before at least this long is taken without comparing with the row above:
// a flat stretch is flat either way, and the second comparison would cost as much as the first.
constexpr std::size_t kLongRun = 16;
// Tokens per block: enough that a block's code table costs little, few enough that the codes follow
// the image as it changes down the sheet.
constexpr std::size_t kBlockTokens = 1 << 15;
constexpr int kEndOfBlock = 256;
constexpr int kMaxCodeLength = 15, kMaxCodeLengthCodeLength = 7;

// Lengths 3 to 258 as codes 257 to 285: the shortest length of each code and its extra bits.
constexpr std::array<std::uint16_t, 29> kLengthBase = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                                       15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                                       67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr std::array<std::uint8_t, 29> kLengthExtra = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                                       2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr std::array<std::uint16_t, 30> kDistanceBase = {
    1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
    193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
// The order in which a block header lists the lengths of the code-length codes.
constexpr std::array<std::uint8_t, 19> kCodeLengthOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                           11, 4,  12, 3, 13, 2, 14, 1, 15};

// The length code (0 for 257, ...) of every repeat length.
constexpr auto kLengthCode = [] {
  std::array<std::uint8_t, kMaxRepeat + 1> code{};
  for (std::size_t c = 0; c < kLengthBase.size(); ++c) {
    const std::size_t end = c + 1 < kLengthBase.size() ? kLengthBase[c + 1] : kMaxRepeat + 1;
    for (std::size_t length = kLengthBase[c]; length < end; ++length)
      code[length] = static_cast<std::uint8_t>(c);
  }
  return code;
}();

int distanceCode(std::size_t distance) {
  if (distance <= 4) return static_cast<int>(distance) - 1;
  const auto v = static_cast<unsigned>(distance - 1);
  const int high = std::bit_width(v) - 1;  // the top bit's place; the bit below it picks the half
  return 2 * high + static_cast<int>((v >> (high - 1)) & 1u);
}

int distanceExtra(int code) {
  return code < 4 ? 0 : code / 2 - 1;
}

// How many leading bytes of `a` and `b` agree, up to `max`. The two may overlap: `b` a pixel
// before `a` is how a run of one colour shows.
std::size_t commonLength(const std::uint8_t* a, const std::uint8_t* b, std::size_t max) {
  std::size_t n = 0;
  while (n + 8 <= max) {
    std::uint64_t x, y;
    std::memcpy(&x, a + n, 8);
    std::memcpy(&y, b + n, 8);
    if (const std::uint64_t differ = x ^ y) {
      const int bit = std::endian::native == std::endian::little ? std::countr_zero(differ)
                                                                 : std::countl_zero(differ);
      return n + static_cast<std::size_t>(bit / 8);
    }
    n += 8;
  }
  while (n < max && a[n] == b[n])
    ++n;
  return n;
}

// Code lengths for a table of counts, as a table of the same size.
template <std::size_t N>
std::array<std::uint8_t, N> codeLengths(const std::array<std::uint32_t, N>& counts, int limit) {
  std::array<std::uint8_t, N> lengths{};
  huffmanCodeLengths(counts, limit, lengths);
  return lengths;
}

// The canonical codes of `lengths`, bit-reversed because deflate sends a Huffman code from its
// first bit while every other field goes lowest bit first.
template <std::size_t N>
std::array<std::uint16_t, N> canonicalCodes(const std::array<std::uint8_t, N>& lengths) {
  std::array<std::uint16_t, kMaxCodeLength + 2> perLength{}, next{};
  for (const std::uint8_t length : lengths)
    ++perLength[length];
  perLength[0] = 0;
  std::uint32_t code = 0;
  for (int bits = 1; bits <= kMaxCodeLength; ++bits) {
    code = (code + perLength[static_cast<std::size_t>(bits - 1)]) << 1;
    next[static_cast<std::size_t>(bits)] = static_cast<std::uint16_t>(code);
  }
  std::array<std::uint16_t, N> codes{};
  for (std::size_t s = 0; s < N; ++s) {
    const int length = lengths[s];
    if (length == 0) continue;
    std::uint32_t forward = next[static_cast<std::size_t>(length)]++, reversed = 0;
    for (int b = 0; b < length; ++b, forward >>= 1)
      reversed = (reversed << 1) | (forward & 1u);
    codes[s] = static_cast<std::uint16_t>(reversed);
  }
  return codes;
}

// Bits written lowest first into bytes reserved beforehand.
class BitSink {
 public:
  BitSink(std::uint8_t* at, std::uint64_t bits, int count) : at_(at), bits_(bits), count_(count) {}
  // At most 16 bits at a time.
  void put(std::uint32_t value, int count) {
    bits_ |= std::uint64_t{value} << count_;
    count_ += count;
    if (count_ >= 32) {
      for (int i = 0; i < 4; ++i, bits_ >>= 8)
        *at_++ = static_cast<std::uint8_t>(bits_);
      count_ -= 32;
    }
  }
  // Writes the whole bytes held back and pads the last one with zeros when `align`.
  void drain(bool align) {
    while (count_ >= 8 || (align && count_ > 0)) {
      *at_++ = static_cast<std::uint8_t>(bits_);
      bits_ >>= 8;
      count_ = std::max(0, count_ - 8);
    }
  }
  std::uint8_t* at() const { return at_; }
  std::uint64_t bits() const { return bits_; }
  int count() const { return count_; }

 private:
  std::uint8_t* at_;
  std::uint64_t bits_;
  int count_;
};

}  // namespace

void huffmanCodeLengths(std::span<const std::uint32_t> counts, int limit,
                        std::span<std::uint8_t> lengths) {
  constexpr std::size_t N = kMostHuffmanSymbols;
  const std::size_t n = std::min({counts.size(), lengths.size(), N});
  std::fill(lengths.begin(), lengths.end(), std::uint8_t{0});
  if (n < 2) return;
  struct Leaf {
    std::uint32_t count;
    int symbol;
  };
  std::array<Leaf, N> leaves;
  std::size_t m = 0;
  for (std::size_t s = 0; s < n; ++s) {
    if (counts[s] > 0) leaves[m++] = {counts[s], static_cast<int>(s)};
  }
  if (m < 2) {
    const int used = m == 1 ? leaves[0].symbol : 0;
    lengths[static_cast<std::size_t>(used)] = 1;
    lengths[used == 0 ? 1 : 0] = 1;
    return;
  }
  std::sort(leaves.begin(), leaves.begin() + static_cast<std::ptrdiff_t>(m),
            [](const Leaf& a, const Leaf& b) {
              return a.count != b.count ? a.count < b.count : a.symbol < b.symbol;
            });
  // Huffman's merging with two queues: the leaves in order of count, then the merged nodes, which
  // are made in order of weight. Nodes 0..m-1 are the leaves, the root is the last.
  std::array<std::uint32_t, 2 * N> weight;
  std::array<std::size_t, 2 * N> parent;
  for (std::size_t i = 0; i < m; ++i)
    weight[i] = leaves[i].count;
  std::size_t leaf = 0, merged = m, next = m;
  auto lightest = [&] {
    if (leaf < m && (merged == next || weight[leaf] <= weight[merged])) return leaf++;
    return merged++;
  };
  for (; next < 2 * m - 1; ++next) {
    const std::size_t a = lightest(), b = lightest();
    weight[next] = weight[a] + weight[b];
    parent[a] = parent[b] = next;
  }
  std::array<int, 2 * N> depth;
  depth[2 * m - 2] = 0;
  int longest = 0;
  for (std::size_t i = 2 * m - 2; i-- > 0;) {
    depth[i] = depth[parent[i]] + 1;
    if (i < m) longest = std::max(longest, depth[i]);
  }
  if (longest <= limit) {
    for (std::size_t i = 0; i < m; ++i)
      lengths[static_cast<std::size_t>(leaves[i].symbol)] = static_cast<std::uint8_t>(depth[i]);
    return;
  }
  // Too deep: cut the long codes to the limit, which over-fills the code space, then take back a
  // code at the limit and split a shorter one into two a bit longer (same number of codes, one
  // unit of space less) until it fits. The most frequent symbols then get the shortest codes.
  std::array<std::uint32_t, 64> perLength{};
  for (std::size_t i = 0; i < m; ++i)
    ++perLength[static_cast<std::size_t>(std::min(depth[i], limit))];
  std::uint64_t space = 0;
  for (int length = 1; length <= limit; ++length)
    space += std::uint64_t{perLength[static_cast<std::size_t>(length)]} << (limit - length);
  for (; space > (std::uint64_t{1} << limit); --space) {
    --perLength[static_cast<std::size_t>(limit)];
    for (int length = limit - 1; length > 0; --length) {
      if (perLength[static_cast<std::size_t>(length)] > 0) {
        --perLength[static_cast<std::size_t>(length)];
        perLength[static_cast<std::size_t>(length + 1)] += 2;
        break;
      }
    }
  }
  std::size_t i = m;
  for (int length = 1; length <= limit; ++length) {
    for (std::uint32_t k = 0; k < perLength[static_cast<std::size_t>(length)]; ++k)
      lengths[static_cast<std::size_t>(leaves[--i].symbol)] = static_cast<std::uint8_t>(length);
  }
}

ScanlineDeflater::ScanlineDeflater(std::size_t rowBytes, std::size_t pixelBytes)
    : rowBytes_(std::max<std::size_t>(rowBytes, 1)),
      pixelBytes_(std::clamp<std::size_t>(pixelBytes, 1, kMaxDistance)),
      upRepeats_(rowBytes_ <= kMaxDistance),
      window_(2 * rowBytes_) {
  tokens_.reserve(kBlockTokens + rowBytes_);
}

void ScanlineDeflater::addRow(const std::uint8_t* row, std::vector<std::uint8_t>& out) {
  std::uint8_t* current = window_.data() + rowBytes_;
  std::memcpy(current, row, rowBytes_);
  // A repeat may reach back into the row above once there is one.
  const std::size_t behind = rowsSeen_ > 0 ? rowBytes_ : 0;
  const bool up = upRepeats_ && rowsSeen_ > 0;
  auto repeat = [&](std::size_t distance, std::size_t length) {
    tokens_.push_back(static_cast<std::uint32_t>(distance << 16 | length));
    ++literalLengthCounts_[257u + kLengthCode[length]];
    ++distanceCounts_[static_cast<std::size_t>(distanceCode(distance))];
  };
  for (std::size_t p = 0; p < rowBytes_;) {
    const std::size_t most = std::min(kMaxRepeat, rowBytes_ - p);
    const std::size_t run =
        behind + p >= pixelBytes_ ? commonLength(current + p, current + p - pixelBytes_, most) : 0;
    if (run < kLongRun && up) {
      const std::size_t above = commonLength(current + p, current + p - rowBytes_, most);
      if (above >= kMinRepeat && above >= run) {
        repeat(rowBytes_, above);
        p += above;
        continue;
      }
    }
    if (run >= kMinRepeat) {
      repeat(pixelBytes_, run);
      p += run;
      continue;
    }
    tokens_.push_back(current[p]);
    ++literalLengthCounts_[current[p]];
    ++p;
  }
  std::memcpy(window_.data(), current, rowBytes_);
  ++rowsSeen_;
  if (tokens_.size() >= kBlockTokens) writeBlock(false, out);
}

void ScanlineDeflater::finish(std::vector<std::uint8_t>& out) {
  writeBlock(true, out);
}

void ScanlineDeflater::writeBlock(bool last, std::vector<std::uint8_t>& out) {
  literalLengthCounts_[kEndOfBlock] = 1;
  const auto literalLengths = codeLengths(literalLengthCounts_, kMaxCodeLength);
  const auto distanceLengths = codeLengths(distanceCounts_, kMaxCodeLength);
  const auto literalLengthCodes = canonicalCodes(literalLengths);
  const auto distanceCodes = canonicalCodes(distanceLengths);

  // The two tables' lengths, one after the other, without the unused codes at their ends, and
  // run-length coded: 16 repeats the previous length 3-6 times, 17 and 18 give 3-10 and 11-138
  // zeros.
  std::size_t literalCount = kLiteralLengthCodes, distanceCount = kDistanceCodes;
  while (literalCount > 257 && literalLengths[literalCount - 1] == 0)
    --literalCount;
  while (distanceCount > 1 && distanceLengths[distanceCount - 1] == 0)
    --distanceCount;
  std::array<std::uint8_t, kLiteralLengthCodes + kDistanceCodes> all{};
  std::copy_n(literalLengths.begin(), literalCount, all.begin());
  std::copy_n(distanceLengths.begin(), distanceCount, all.begin() + literalCount);
  const std::size_t total = literalCount + distanceCount;
  std::vector<std::pair<std::uint8_t, std::uint8_t>> runs;  // symbol, extra bits' value
  std::array<std::uint32_t, 19> runCounts{};
  auto emit = [&](int symbol, std::size_t extra) {
    runs.emplace_back(static_cast<std::uint8_t>(symbol), static_cast<std::uint8_t>(extra));
    ++runCounts[static_cast<std::size_t>(symbol)];
  };
  for (std::size_t i = 0; i < total;) {
    const std::uint8_t length = all[i];
    std::size_t same = 1;
    while (i + same < total && all[i + same] == length)
      ++same;
    i += same;
    if (length == 0) {
      for (; same >= 11; same -= std::min<std::size_t>(same, 138))
        emit(18, std::min<std::size_t>(same, 138) - 11);
      if (same >= 3) {
        emit(17, same - 3);
        same = 0;
      }
    } else {
      emit(length, 0);
      --same;
      for (; same >= 3; same -= std::min<std::size_t>(same, 6))
        emit(16, std::min<std::size_t>(same, 6) - 3);
    }
    for (; same > 0; --same)
      emit(length, 0);
  }
  const auto runLengths = codeLengths(runCounts, kMaxCodeLengthCodeLength);
  const auto runCodes = canonicalCodes(runLengths);
  std::size_t listed = kCodeLengthOrder.size();
  while (listed > 4 && runLengths[kCodeLengthOrder[listed - 1]] == 0)
    --listed;

  // Coded into a buffer kept from block to block (at most 48 bits a repeat, and the header well
  // under 1 KiB), so that only what a block takes is appended to `out`.
  const std::size_t most = 6 * tokens_.size() + 1024;
  if (coded_.size() < most) coded_.resize(most);
  BitSink sink(coded_.data(), bits_, bitCount_);
  sink.put(last ? 1 : 0, 1);
  sink.put(2, 2);  // Huffman codes of its own
  sink.put(static_cast<std::uint32_t>(literalCount - 257), 5);
  sink.put(static_cast<std::uint32_t>(distanceCount - 1), 5);
  sink.put(static_cast<std::uint32_t>(listed - 4), 4);
  for (std::size_t i = 0; i < listed; ++i)
    sink.put(runLengths[kCodeLengthOrder[i]], 3);
  for (const auto& [symbol, extra] : runs) {
    sink.put(runCodes[symbol], runLengths[symbol]);
    if (symbol >= 16) sink.put(extra, symbol == 16 ? 2 : symbol == 17 ? 3 : 7);
  }
  for (const std::uint32_t token : tokens_) {
    const std::size_t distance = token >> 16;
    if (distance == 0) {
      sink.put(literalLengthCodes[token], literalLengths[token]);
      continue;
    }
    const std::size_t length = token & 0xFFFFu;
    const std::size_t code = kLengthCode[length];
    sink.put(literalLengthCodes[257 + code], literalLengths[257 + code]);
    sink.put(static_cast<std::uint32_t>(length - kLengthBase[code]), kLengthExtra[code]);
    const auto d = static_cast<std::size_t>(distanceCode(distance));
    sink.put(distanceCodes[d], distanceLengths[d]);
    sink.put(static_cast<std::uint32_t>(distance - kDistanceBase[d]),
             distanceExtra(static_cast<int>(d)));
  }
  sink.put(literalLengthCodes[kEndOfBlock], literalLengths[kEndOfBlock]);
  sink.drain(last);
  out.insert(out.end(), coded_.data(), sink.at());
  bits_ = sink.bits();
  bitCount_ = sink.count();

  tokens_.clear();
  literalLengthCounts_.fill(0);
  distanceCounts_.fill(0);
}

}  // namespace km
