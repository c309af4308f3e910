// Baseline JPEG encoding. The Huffman tables give every DC size a 4-bit code and every AC run/size
// pair an 8-bit code: a valid canonical table that needs no statistics and no table of code words.
#include "imagekit/jpeg_encoder.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace nua::imagekit {

namespace {

constexpr std::array<int, 64> kLumaTable = {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
                                            14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
                                            18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
                                            49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
constexpr std::array<int, 64> kChromaTable = {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,
                                              24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,
                                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
                                              99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};

// Natural (row-major) index of each zigzag position, walking the anti-diagonals.
std::array<int, 64> zigzagOrder() {
  std::array<int, 64> order{};
  int n = 0;
  for (int sum = 0; sum < 15; ++sum) {
    for (int i = 0; i <= sum; ++i) {
      const int row = sum % 2 == 0 ? sum - i : i;
      const int col = sum - row;
      if (row < 8 && col < 8) order[static_cast<std::size_t>(n++)] = row * 8 + col;
    }
  }
  return order;
}

std::array<int, 64> scaledTable(const std::array<int, 64>& base, int quality) {
  quality = std::clamp(quality, 1, 100);
  const int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
  std::array<int, 64> table{};
  for (std::size_t i = 0; i < 64; ++i) table[i] = std::clamp((base[i] * scale + 50) / 100, 1, 255);
  return table;
}

// AC symbols: end of block, sixteen zeros, and every run 0..15 with size 1..10.
std::vector<std::uint8_t> acSymbols() {
  std::vector<std::uint8_t> symbols = {0x00, 0xF0};
  for (int run = 0; run < 16; ++run) {
    for (int size = 1; size <= 10; ++size) symbols.push_back(static_cast<std::uint8_t>(run * 16 + size));
  }
  return symbols;
}

std::uint32_t powerOfTwo(int exponent) {
  std::uint32_t value = 1;
  for (int i = 0; i < exponent; ++i) value *= 2;
  return value;
}

// cos((2x + 1) u pi / 16) for every sample position x and frequency u.
std::array<double, 64> cosineTable() {
  std::array<double, 64> table{};
  for (int x = 0; x < 8; ++x) {
    for (int u = 0; u < 8; ++u) table[static_cast<std::size_t>(x * 8 + u)] = std::cos((2 * x + 1) * u * M_PI / 16);
  }
  return table;
}

class BitWriter {
 public:
  explicit BitWriter(std::vector<std::byte>& out) : out_(out) {}
  void put(std::uint32_t value, int count) {
    for (int i = count - 1; i >= 0; --i) {
      const std::uint32_t bit = (value / powerOfTwo(i)) % 2;
      current_ = current_ * 2 + bit;
      if (++filled_ == 8) emit();
    }
  }
  void flush() {
    while (filled_ != 0) put(1, 1);  // pad with one-bits
  }

 private:
  void emit() {
    out_.push_back(static_cast<std::byte>(current_));
    if (current_ == 0xFF) out_.push_back(std::byte{0});  // a data 0xFF is stuffed so it is not a marker
    current_ = 0;
    filled_ = 0;
  }
  std::vector<std::byte>& out_;
  std::uint32_t current_ = 0;
  int filled_ = 0;
};

void putByte(std::vector<std::byte>& out, int value) { out.push_back(static_cast<std::byte>(value)); }
void putWord(std::vector<std::byte>& out, int value) {
  putByte(out, value / 256);
  putByte(out, value % 256);
}

int bitSize(int value) {
  int magnitude = std::abs(value);
  int size = 0;
  while (magnitude > 0) {
    magnitude /= 2;
    ++size;
  }
  return size;
}

// Value bits of a coefficient: the number itself when positive, its one's complement when negative.
std::uint32_t valueBits(int value, int size) {
  return static_cast<std::uint32_t>(value >= 0 ? value : value + static_cast<int>(powerOfTwo(size)) - 1);
}

struct Encoder {
  std::array<int, 64> zigzag = zigzagOrder();
  std::vector<std::uint8_t> ac = acSymbols();
  std::array<int, 256> acCode{};
  std::array<double, 64> cosine = cosineTable();

  Encoder() {
    for (std::size_t i = 0; i < ac.size(); ++i) acCode[ac[i]] = static_cast<int>(i);
  }

  void block(const std::array<double, 64>& samples, const std::array<int, 64>& table, int& previousDc, BitWriter& bits) const {
    // Separable DCT: rows first, then columns, 1024 products per block instead of 4096.
    std::array<double, 64> rows{};
    for (int y = 0; y < 8; ++y) {
      for (int u = 0; u < 8; ++u) {
        double sum = 0;
        for (int x = 0; x < 8; ++x) sum += samples[static_cast<std::size_t>(y * 8 + x)] * cosine[static_cast<std::size_t>(x * 8 + u)];
        rows[static_cast<std::size_t>(y * 8 + u)] = sum;
      }
    }
    std::array<int, 64> quantised{};
    for (int v = 0; v < 8; ++v) {
      for (int u = 0; u < 8; ++u) {
        double sum = 0;
        for (int y = 0; y < 8; ++y) sum += rows[static_cast<std::size_t>(y * 8 + u)] * cosine[static_cast<std::size_t>(y * 8 + v)];
        const double cu = u == 0 ? M_SQRT1_2 : 1.0;
        const double cv = v == 0 ? M_SQRT1_2 : 1.0;
        const auto index = static_cast<std::size_t>(v * 8 + u);
        quantised[index] = static_cast<int>(std::lround(0.25 * cu * cv * sum / table[index]));
      }
    }
    const int dc = quantised[0];
    const int diff = dc - previousDc;
    previousDc = dc;
    const int dcSize = bitSize(diff);
    bits.put(static_cast<std::uint32_t>(dcSize), 4);
    if (dcSize > 0) bits.put(valueBits(diff, dcSize), dcSize);
    int run = 0;
    for (std::size_t k = 1; k < 64; ++k) {
      const int value = std::clamp(quantised[static_cast<std::size_t>(zigzag[k])], -1023, 1023);
      if (value == 0) {
        ++run;
        continue;
      }
      while (run > 15) {
        bits.put(static_cast<std::uint32_t>(acCode[0xF0]), 8);
        run -= 16;
      }
      const int size = bitSize(value);
      bits.put(static_cast<std::uint32_t>(acCode[static_cast<std::size_t>(run * 16 + size)]), 8);
      bits.put(valueBits(value, size), size);
      run = 0;
    }
    if (run > 0) bits.put(static_cast<std::uint32_t>(acCode[0x00]), 8);
  }
};

void putHeaders(std::vector<std::byte>& out, const RgbImage& image, const std::array<int, 64>& luma,
                const std::array<int, 64>& chroma, const Encoder& encoder) {
  putWord(out, 0xFFD8);
  putWord(out, 0xFFE0);  // JFIF 1.01, no thumbnail, square pixels
  putWord(out, 16);
  for (const char c : {'J', 'F', 'I', 'F', '\0'}) putByte(out, c);
  for (const int value : {1, 1, 0, 0, 1, 0, 1, 0, 0}) putByte(out, value);
  for (int id = 0; id < 2; ++id) {
    putWord(out, 0xFFDB);
    putWord(out, 67);
    putByte(out, id);
    for (std::size_t k = 0; k < 64; ++k) putByte(out, (id == 0 ? luma : chroma)[static_cast<std::size_t>(encoder.zigzag[k])]);
  }
  putWord(out, 0xFFC0);
  putWord(out, 17);
  putByte(out, 8);
  putWord(out, static_cast<int>(image.height));
  putWord(out, static_cast<int>(image.width));
  putByte(out, 3);
  for (int id = 1; id <= 3; ++id) {
    putByte(out, id);
    putByte(out, 0x11);
    putByte(out, id == 1 ? 0 : 1);
  }
  putWord(out, 0xFFC4);  // one DC table (12 symbols of 4 bits) and one AC table (162 symbols of 8 bits)
  putWord(out, 2 + 17 + 12 + 17 + static_cast<int>(encoder.ac.size()));
  putByte(out, 0x00);
  for (int length = 1; length <= 16; ++length) putByte(out, length == 4 ? 12 : 0);
  for (int symbol = 0; symbol < 12; ++symbol) putByte(out, symbol);
  putByte(out, 0x10);
  for (int length = 1; length <= 16; ++length) putByte(out, length == 8 ? static_cast<int>(encoder.ac.size()) : 0);
  for (const std::uint8_t symbol : encoder.ac) putByte(out, symbol);
  putWord(out, 0xFFDA);
  putWord(out, 12);
  putByte(out, 3);
  for (int id = 1; id <= 3; ++id) {
    putByte(out, id);
    putByte(out, 0x00);
  }
  for (const int value : {0, 63, 0}) putByte(out, value);
}

}  // namespace

std::vector<std::byte> encodeJpeg(const RgbImage& image, int quality) {
  std::vector<std::byte> out;
  if (image.width == 0 || image.height == 0 || image.pixels.size() < std::size_t{image.width} * image.height * 3) return out;
  const Encoder encoder;
  const std::array<int, 64> luma = scaledTable(kLumaTable, quality);
  const std::array<int, 64> chroma = scaledTable(kChromaTable, quality);
  putHeaders(out, image, luma, chroma, encoder);
  BitWriter bits(out);
  std::array<int, 3> previousDc{};
  std::array<std::array<double, 64>, 3> planes{};
  for (std::uint32_t by = 0; by < image.height; by += 8) {
    for (std::uint32_t bx = 0; bx < image.width; bx += 8) {
      for (std::uint32_t y = 0; y < 8; ++y) {
        for (std::uint32_t x = 0; x < 8; ++x) {
          // Edge blocks repeat the last row and column.
          const std::uint32_t px = std::min(bx + x, image.width - 1);
          const std::uint32_t py = std::min(by + y, image.height - 1);
          const std::size_t at = (std::size_t{py} * image.width + px) * 3;
          const double r = image.pixels[at], g = image.pixels[at + 1], b = image.pixels[at + 2];
          const std::size_t k = y * 8 + x;
          planes[0][k] = 0.299 * r + 0.587 * g + 0.114 * b - 128;
          planes[1][k] = -0.168736 * r - 0.331264 * g + 0.5 * b;
          planes[2][k] = 0.5 * r - 0.418688 * g - 0.081312 * b;
        }
      }
      for (std::size_t c = 0; c < 3; ++c) encoder.block(planes[c], c == 0 ? luma : chroma, previousDc[c], bits);
    }
  }
  bits.flush();
  putWord(out, 0xFFD9);
  return out;
}

}  // namespace nua::imagekit
