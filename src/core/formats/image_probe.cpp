// Picture headers read for size and resolution, with no image library.
#include "formats/image_probe.h"

#include <cstring>

namespace nua::formats {

namespace {

constexpr double kInchesPerMetre = 39.3700787;
constexpr double kInchesPerCentimetre = 0.393700787;
constexpr std::uint32_t kLargestDimension = 1u << 20;

bool startsWith(ByteSpan b, const char* text, std::size_t length) {
  if (!fits(b.size(), 0, length)) return false;
  return std::memcmp(b.data(), text, length) == 0;
}

void setDpi(ImageProbe& probe, double x, double y) {
  if (x > 0 && y > 0) {
    probe.horizontalDpi = x;
    probe.verticalDpi = y;
  }
}

bool sensible(const ImageProbe& p) {
  return p.widthPixels != 0 && p.heightPixels != 0 && p.widthPixels <= kLargestDimension &&
         p.heightPixels <= kLargestDimension;
}

ImageProbe probeBmp(ByteSpan b) {
  ImageProbe p;
  if (!fits(b.size(), 0, 46)) return p;
  const auto width = static_cast<std::int32_t>(le32(b, 18));
  const auto height = static_cast<std::int32_t>(le32(b, 22));
  if (width <= 0 || height == 0 || height == INT32_MIN) return p;
  p.widthPixels = static_cast<std::uint32_t>(width);
  p.heightPixels = static_cast<std::uint32_t>(height < 0 ? -height : height);
  setDpi(p, le32(b, 38) / kInchesPerMetre, le32(b, 42) / kInchesPerMetre);
  p.valid = sensible(p);
  return p;
}

ImageProbe probeGif(ByteSpan b) {
  ImageProbe p;
  if (!fits(b.size(), 0, 13)) return p;
  p.widthPixels = le16(b, 6);
  p.heightPixels = le16(b, 8);
  p.valid = sensible(p);
  return p;
}

ImageProbe probePng(ByteSpan b) {
  ImageProbe p;
  if (!fits(b.size(), 0, 33) || be32(b, 8) != 13 || !startsWith(b.subspan(12), "IHDR", 4)) return p;
  p.widthPixels = be32(b, 16);
  p.heightPixels = be32(b, 20);
  // pHYs, when it comes before the image data, gives pixels per metre.
  std::size_t at = 33;
  for (int chunks = 0; chunks < 64 && fits(b.size(), at, 12); ++chunks) {
    const std::uint32_t length = be32(b, at);
    const ByteSpan type = b.subspan(at + 4, 4);
    if (startsWith(type, "IDAT", 4) || startsWith(type, "IEND", 4)) break;
    if (startsWith(type, "pHYs", 4) && length == 9 && fits(b.size(), at + 8, 9) && u8(b, at + 16) == 1) {
      setDpi(p, be32(b, at + 8) / kInchesPerMetre, be32(b, at + 12) / kInchesPerMetre);
    }
    if (!fits(b.size(), at + 12, length)) break;
    at += 12 + length;
  }
  p.valid = sensible(p);
  return p;
}

ImageProbe probeJpeg(ByteSpan b) {
  ImageProbe p;
  std::size_t at = 2;
  while (fits(b.size(), at, 4) && u8(b, at) == 0xFF) {
    const std::uint8_t marker = u8(b, at + 1);
    const std::uint16_t length = be16(b, at + 2);
    if (length < 2) return p;
    if (marker == 0xE0 && fits(b.size(), at + 4, 12) && startsWith(b.subspan(at + 4), "JFIF", 5)) {
      const std::uint8_t units = u8(b, at + 11);
      const double x = be16(b, at + 12);
      const double y = be16(b, at + 14);
      if (units == 1) setDpi(p, x, y);
      if (units == 2) setDpi(p, x / kInchesPerCentimetre, y / kInchesPerCentimetre);
    }
    const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    if (frame && fits(b.size(), at + 5, 4)) {
      p.heightPixels = be16(b, at + 5);
      p.widthPixels = be16(b, at + 7);
      p.valid = sensible(p);
      return p;
    }
    if (marker == 0xDA) break;
    at += 2 + std::size_t{length};
  }
  return p;
}

// A rational at an offset, as dots per its unit.
double tiffRational(ByteSpan b, std::uint32_t offset, bool big) {
  if (!fits(b.size(), offset, 8)) return 0;
  const double numerator = big ? be32(b, offset) : le32(b, offset);
  const double denominator = big ? be32(b, offset + 4) : le32(b, offset + 4);
  return denominator == 0 ? 0 : numerator / denominator;
}

ImageProbe probeTiff(ByteSpan b) {
  ImageProbe p;
  if (!fits(b.size(), 0, 8)) return p;
  const bool big = startsWith(b, "MM", 2);
  const std::uint32_t ifd = big ? be32(b, 4) : le32(b, 4);
  if (!fits(b.size(), ifd, 2)) return p;
  const std::uint16_t count = big ? be16(b, ifd) : le16(b, ifd);
  double x = 0;
  double y = 0;
  std::uint32_t unit = 2;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t e = std::size_t{ifd} + 2 + std::size_t{i} * 12;
    if (!fits(b.size(), e, 12)) return p;
    const std::uint16_t tag = big ? be16(b, e) : le16(b, e);
    const std::uint16_t type = big ? be16(b, e + 2) : le16(b, e + 2);
    const std::uint32_t value = type == 3 ? (big ? be16(b, e + 8) : le16(b, e + 8)) : (big ? be32(b, e + 8) : le32(b, e + 8));
    if (tag == 256) p.widthPixels = value;
    if (tag == 257) p.heightPixels = value;
    if (tag == 282) x = tiffRational(b, value, big);
    if (tag == 283) y = tiffRational(b, value, big);
    if (tag == 296) unit = value;
  }
  if (unit == 3) {
    x /= kInchesPerCentimetre;
    y /= kInchesPerCentimetre;
  }
  if (unit != 1) setDpi(p, x, y);
  p.valid = sensible(p);
  return p;
}

}  // namespace

bool ImageProbe::matchesRtfGraphic(int widthPointsExpected, int heightPointsExpected) const {
  if (!valid || widthPixels == 0) return false;
  return static_cast<int>(widthPoints()) == widthPointsExpected &&
         static_cast<int>(heightPoints()) == heightPointsExpected;
}

ImageProbe probeImage(ByteSpan bytes) {
  if (startsWith(bytes, "BM", 2)) return probeBmp(bytes);
  if (startsWith(bytes, "GIF87a", 6) || startsWith(bytes, "GIF89a", 6)) return probeGif(bytes);
  if (startsWith(bytes, "\x89PNG\r\n\x1a\n", 8)) return probePng(bytes);
  if (startsWith(bytes, "\xFF\xD8\xFF", 3)) return probeJpeg(bytes);
  if (startsWith(bytes, "II*\0", 4) || startsWith(bytes, "MM\0*", 4)) return probeTiff(bytes);
  return {};
}

}  // namespace nua::formats
