// MP3 frame walk. The frame length keeps two departures from the standard that the measure has
// always had: the layer I padding is inside the factor 4, and 144 is used for every version.
#include "filecheck/mp3_file_check.h"

#include <array>

namespace nua {

namespace {

constexpr std::uint64_t kWalkLimit = 0x9FFFFF;
constexpr std::uint64_t kShortStream = 10241;

// Kilobits per second by [MPEG-1?][layer I, II, III][index].
constexpr std::array<std::array<std::array<std::uint32_t, 16>, 3>, 2> kBitrates = {{
    {{{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0}}},
    {{{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
      {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0}}},
}};

// Takes `numberOfBits` bits of the header word whose highest is `startBit`.
std::uint32_t bitCheck(std::uint32_t word, unsigned startBit, unsigned numberOfBits) {
  return (word >> (startBit + 1 - numberOfBits)) & ((1u << numberOfBits) - 1);
}

bool frameBytesFit(std::uint8_t byte0, std::uint8_t byte1) {
  return byte0 == 0xFF && (byte1 == 0xE3 || byte1 == 0xF3 || byte1 == 0xFA || byte1 == 0xFB || byte1 == 0xFD);
}

// The length of the frame with this header word, 0 when it names no frame.
std::uint64_t frameLength(std::uint32_t word) {
  const std::uint32_t version = bitCheck(word, 20, 2);
  const std::uint32_t layer = bitCheck(word, 18, 2);
  const std::uint32_t bitrateIndex = bitCheck(word, 15, 4);
  const std::uint32_t samplingIndex = bitCheck(word, 11, 2);
  const std::uint32_t padding = bitCheck(word, 9, 1);
  if (version == 1 || layer == 0 || samplingIndex == 3) return 0;
  static constexpr std::array<std::array<std::uint32_t, 3>, 4> kSampling = {
      {{11025, 12000, 8000}, {0, 0, 0}, {22050, 24000, 16000}, {44100, 48000, 32000}}};
  const std::uint64_t sampling = kSampling[version][samplingIndex];
  const std::uint64_t bitrate = static_cast<std::uint64_t>(kBitrates[version == 3 ? 1 : 0][3 - layer][bitrateIndex]) * 1000;
  if (sampling == 0 || bitrate == 0) return 0;
  if (layer == 3) return (bitrate * 12 / sampling + (padding ? 4 : 0)) * 4;
  return bitrate * 144 / sampling + padding;
}

}  // namespace

bool Mp3FileCheck::isFile(ByteSpan header, std::uint64_t) {
  id3File_ = false;
  if (headerText(header, 0, "ID3")) {
    id3File_ = true;
    return true;
  }
  if (!frameBytesFit(headerByte(header, 0), headerByte(header, 1))) return false;
  const std::uint32_t word = headerBe32(header, 0);
  return (word & 0x180000) != 0x80000 && (word & 0x60000) != 0 && (word & 0xF000) != 0 && (word & 0xF000) != 0xF000 &&
         (word & 0xC00) < 0xC00;
}

std::uint64_t Mp3FileCheck::fileSizeCalculation(ByteSpan header, std::uint64_t sector) {
  FileWindow window = openWindow(sector);
  std::uint64_t total = 0;
  if (id3File_ || headerText(header, 0, "ID3")) {
    // The tag's size is four 7-bit bytes, behind a 10-byte header (and a 10-byte footer when flagged).
    const ByteSpan size = window.bytesAt(6, 4);
    if (size.size() != 4) return 0;
    total = 10 + ((static_cast<std::uint64_t>(u8(size, 0) & 0x7F) * 128 + (u8(size, 1) & 0x7F)) * 128 +
                  (u8(size, 2) & 0x7F)) * 128 + (u8(size, 3) & 0x7F);
    if ((window.byteAt(5) & 0x10) != 0) total += 10;
  }
  const std::uint64_t tagBytes = total;
  while (!window.cancelled() && total - tagBytes <= kWalkLimit) {
    if (!frameBytesFit(window.byteAt(total), window.byteAt(total + 1))) break;
    const std::uint64_t length = frameLength(window.be32At(total));
    if (length == 0) break;  // a header with no length would hold the walk in place
    total += length;
  }
  if (window.failed()) return 0;
  if (total > 0x7FFFFFF8) total = 0;
  if (total < kShortStream) return 512;
  state_.skipFileSize = true;
  return total + 512;
}

}  // namespace nua
