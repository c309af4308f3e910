// PNG chunks around a stored-block zlib stream.
#include "imagekit/png_encoder.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/bytes.h"
#include "imagekit/partition_crc32.h"

namespace nua::imagekit {

namespace {

constexpr std::size_t kStoredBlockMax = 65535;  // a stored deflate block's length field is 16 bits

void appendChunk(std::vector<std::byte>& out, const std::string& type, const std::vector<std::byte>& data) {
  std::vector<std::byte> body(4 + data.size());
  for (std::size_t i = 0; i < 4; ++i) put8(body, i, static_cast<std::uint8_t>(type[i]));
  std::copy(data.begin(), data.end(), body.begin() + 4);
  std::array<std::byte, 4> field{};
  putBe32(field, 0, static_cast<std::uint32_t>(data.size()));
  out.insert(out.end(), field.begin(), field.end());
  out.insert(out.end(), body.begin(), body.end());
  putBe32(field, 0, crc32(body));
  out.insert(out.end(), field.begin(), field.end());
}

std::uint32_t adler32(const std::vector<std::byte>& bytes) {
  std::uint32_t a = 1, b = 0;
  for (const std::byte value : bytes) {
    a = (a + static_cast<std::uint8_t>(value)) % 65521U;
    b = (b + a) % 65521U;
  }
  return b * 65536U + a;
}

}  // namespace

std::vector<std::byte> encodePng(const RgbImage& image) {
  std::vector<std::byte> out;
  const std::size_t rowBytes = std::size_t{image.width} * 3;
  if (image.width == 0 || image.height == 0 || image.pixels.size() < rowBytes * image.height) return out;
  for (const int value : {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A}) out.push_back(static_cast<std::byte>(value));

  std::vector<std::byte> header(13);
  putBe32(header, 0, image.width);
  putBe32(header, 4, image.height);
  put8(header, 8, 8);   // bit depth
  put8(header, 9, 2);   // colour type: RGB
  appendChunk(out, "IHDR", header);  // compression, filter and interlace methods stay 0

  std::vector<std::byte> raw;
  raw.reserve((rowBytes + 1) * image.height);
  for (std::uint32_t y = 0; y < image.height; ++y) {
    raw.push_back(std::byte{0});  // filter: none
    for (std::size_t i = 0; i < rowBytes; ++i) raw.push_back(static_cast<std::byte>(image.pixels[y * rowBytes + i]));
  }
  std::vector<std::byte> zlib = {std::byte{0x78}, std::byte{0x01}};
  for (std::size_t at = 0; at < raw.size() || at == 0; at += kStoredBlockMax) {
    const std::size_t length = std::min(kStoredBlockMax, raw.size() - at);
    const bool last = at + length >= raw.size();
    std::array<std::byte, 5> blockHeader{};
    put8(blockHeader, 0, last ? 1 : 0);  // BFINAL, BTYPE 00 (stored)
    putLe16(blockHeader, 1, static_cast<std::uint16_t>(length));
    putLe16(blockHeader, 3, static_cast<std::uint16_t>(~length));
    zlib.insert(zlib.end(), blockHeader.begin(), blockHeader.end());
    zlib.insert(zlib.end(), raw.begin() + static_cast<std::ptrdiff_t>(at), raw.begin() + static_cast<std::ptrdiff_t>(at + length));
    if (last) break;
  }
  std::array<std::byte, 4> checksum{};
  putBe32(checksum, 0, adler32(raw));
  zlib.insert(zlib.end(), checksum.begin(), checksum.end());
  appendChunk(out, "IDAT", zlib);
  appendChunk(out, "IEND", {});
  return out;
}

}  // namespace nua::imagekit
