// Builds a small camera RAW file the way cameras and converters write DNG: a little-endian TIFF whose
// first IFD is a reduced-resolution preview holding a JPEG (by JPEGInterchangeFormat), with the DNG version, make
// and model, and a SubIFD with the raw sensor data (16-bit CFA, RGGB). Shared by the core and desktop
// tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace nua::testing_picture {

// An 8 x 8 red JPEG, made with ImageMagick: convert -size 8x8 xc:red -strip -quality 50 red.jpg.
inline std::vector<std::byte> smallRedJpeg() {
  static constexpr unsigned char kBytes[] = {
    0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 0x4A, 0x46, 0x49, 0x46, 0x00, 0x01, 0x01, 0x00, 0x00, 0x01, 0x00, 0x01,
    0x00, 0x00, 0xFF, 0xDB, 0x00, 0x43, 0x00, 0x10, 0x0B, 0x0C, 0x0E, 0x0C, 0x0A, 0x10, 0x0E, 0x0D, 0x0E, 0x12,
    0x11, 0x10, 0x13, 0x18, 0x28, 0x1A, 0x18, 0x16, 0x16, 0x18, 0x31, 0x23, 0x25, 0x1D, 0x28, 0x3A, 0x33, 0x3D,
    0x3C, 0x39, 0x33, 0x38, 0x37, 0x40, 0x48, 0x5C, 0x4E, 0x40, 0x44, 0x57, 0x45, 0x37, 0x38, 0x50, 0x6D, 0x51,
    0x57, 0x5F, 0x62, 0x67, 0x68, 0x67, 0x3E, 0x4D, 0x71, 0x79, 0x70, 0x64, 0x78, 0x5C, 0x65, 0x67, 0x63, 0xFF,
    0xDB, 0x00, 0x43, 0x01, 0x11, 0x12, 0x12, 0x18, 0x15, 0x18, 0x2F, 0x1A, 0x1A, 0x2F, 0x63, 0x42, 0x38, 0x42,
    0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63,
    0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63,
    0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0x63, 0xFF, 0xC0, 0x00, 0x11,
    0x08, 0x00, 0x08, 0x00, 0x08, 0x03, 0x01, 0x22, 0x00, 0x02, 0x11, 0x01, 0x03, 0x11, 0x01, 0xFF, 0xC4, 0x00,
    0x15, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x05, 0xFF, 0xC4, 0x00, 0x14, 0x10, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xC4, 0x00, 0x15, 0x01, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x05, 0x06, 0xFF, 0xC4, 0x00, 0x14, 0x11, 0x01, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xDA, 0x00,
    0x0C, 0x03, 0x01, 0x00, 0x02, 0x11, 0x03, 0x11, 0x00, 0x3F, 0x00, 0x8A, 0x00, 0xB5, 0xE3, 0xFF, 0xD9};
  std::vector<std::byte> jpeg;
  for (unsigned char b : kBytes) jpeg.push_back(static_cast<std::byte>(b));
  return jpeg;
}

class RawFileBuilder {
 public:
  // jpeg: the preview to embed; the sensor is width x height 16-bit samples.
  static std::vector<std::byte> build(const std::vector<std::byte>& jpeg, std::uint16_t width = 64,
                                      std::uint16_t height = 48) {
    RawFileBuilder b;
    b.put("II");
    b.put16(42);
    b.put32(8);
    // Data areas are placed after both IFDs; their offsets are known from the entry counts.
    const std::string make = "Canon";
    const std::string model = "Canon EOS 5D";
    constexpr std::uint16_t kIfd0Entries = 14;  // tags in ascending order
    constexpr std::uint16_t kRawEntries = 12;
    const std::uint32_t ifd0 = 8;
    const std::uint32_t rawIfd = ifd0 + 2 + kIfd0Entries * 12 + 4;
    const std::uint32_t dataStart = rawIfd + 2 + kRawEntries * 12 + 4;
    const std::uint32_t makeAt = dataStart;
    const std::uint32_t modelAt = makeAt + static_cast<std::uint32_t>(make.size() + 1);
    const std::uint32_t bitsAt = modelAt + static_cast<std::uint32_t>(model.size() + 1);
    const std::uint32_t jpegAt = (bitsAt + 6 + 1) & ~1U;
    const std::uint32_t sensorAt = (jpegAt + static_cast<std::uint32_t>(jpeg.size()) + 1) & ~1U;
    const std::uint32_t sensorBytes = std::uint32_t{width} * height * 2;

    b.put16(kIfd0Entries);
    b.entry(0x00FE, 4, 1, 1);                           // NewSubfileType: reduced resolution
    b.entry(0x0100, 3, 1, 160);                         // ImageWidth of the preview
    b.entry(0x0101, 3, 1, 120);                         // ImageLength
    b.entry(0x0102, 3, 3, bitsAt);                      // BitsPerSample 8,8,8
    b.entry(0x0103, 3, 1, 6);                           // Compression: JPEG (old style)
    b.entry(0x0106, 3, 1, 2);                           // PhotometricInterpretation: RGB
    b.entry(0x010F, 2, static_cast<std::uint32_t>(make.size() + 1), makeAt);
    b.entry(0x0110, 2, static_cast<std::uint32_t>(model.size() + 1), modelAt);
    b.entry(0x0115, 3, 1, 3);                           // SamplesPerPixel
    b.entry(0x0116, 3, 1, 120);                         // RowsPerStrip
    b.entry(0x014A, 4, 1, rawIfd);                      // SubIFDs
    b.entry(0x0201, 4, 1, jpegAt);                      // JPEGInterchangeFormat
    b.entry(0x0202, 4, 1, static_cast<std::uint32_t>(jpeg.size()));  // JPEGInterchangeFormatLength
    b.entry(0xC612, 1, 4, 0x00000401);                  // DNGVersion 1.4.0.0
    b.put32(0);

    b.put16(kRawEntries);
    b.entry(0x00FE, 4, 1, 0);              // NewSubfileType: the main image
    b.entry(0x0100, 3, 1, width);
    b.entry(0x0101, 3, 1, height);
    b.entry(0x0102, 3, 1, 16);             // BitsPerSample
    b.entry(0x0103, 3, 1, 1);              // no compression
    b.entry(0x0106, 3, 1, 32803);          // Color Filter Array
    b.entry(0x0111, 4, 1, sensorAt);
    b.entry(0x0115, 3, 1, 1);
    b.entry(0x0116, 3, 1, height);
    b.entry(0x0117, 4, 1, sensorBytes);
    b.entry(0x828D, 3, 2, 0x00020002);     // CFARepeatPatternDim 2 x 2
    b.entry(0x828E, 1, 4, 0x02010100);     // CFAPattern R G G B
    b.put32(0);

    b.put(make);
    b.bytes.push_back(std::byte{0});
    b.put(model);
    b.bytes.push_back(std::byte{0});
    b.put16(8);
    b.put16(8);
    b.put16(8);
    b.bytes.resize(jpegAt);
    b.bytes.insert(b.bytes.end(), jpeg.begin(), jpeg.end());
    b.bytes.resize(sensorAt);
    for (std::uint32_t i = 0; i < sensorBytes / 2; ++i) b.put16(static_cast<std::uint16_t>((i * 37) & 0x0FFF));
    return b.bytes;
  }

 private:
  void put(const std::string& text) {
    for (char c : text) bytes.push_back(static_cast<std::byte>(c));
  }
  void put16(std::uint16_t v) {
    bytes.push_back(static_cast<std::byte>(v & 0xFF));
    bytes.push_back(static_cast<std::byte>(v >> 8));
  }
  void put32(std::uint32_t v) {
    put16(static_cast<std::uint16_t>(v & 0xFFFF));
    put16(static_cast<std::uint16_t>(v >> 16));
  }
  // One IFD entry; values of up to 4 bytes sit in the entry (short values left-justified).
  void entry(std::uint16_t tag, std::uint16_t type, std::uint32_t count, std::uint32_t value) {
    put16(tag);
    put16(type);
    put32(count);
    if (type == 3 && count == 1) {
      put16(static_cast<std::uint16_t>(value));
      put16(0);
    } else {
      put32(value);
    }
  }
  std::vector<std::byte> bytes;
};

}  // namespace nua::testing_picture
