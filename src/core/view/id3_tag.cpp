#include "view/id3_tag.h"

#include <algorithm>

#include "base/bytes.h"
#include "base/text.h"

namespace nua {

namespace {

// Length of the zero-ended string at offset, looking at no more than `most` bytes.
std::size_t boundedStringLength(std::span<const std::byte> data, std::size_t offset, std::size_t most) {
  if (offset >= data.size()) return 0;
  const std::size_t end = offset + std::min(most, data.size() - offset);
  std::size_t i = offset;
  while (i < end && data[i] != std::byte{0}) ++i;
  return i - offset;
}

std::uint32_t frameSize(std::span<const std::byte> data, std::size_t position) {
  const std::uint32_t raw = be32(data, position + 4);
  return u8(data, 3) == 4 ? mp3BitShredder(raw) : raw;
}

}  // namespace

bool hasId3Marker(std::span<const std::byte> data) {
  return data.size() >= 3 && data[0] == std::byte{0x49} && data[1] == std::byte{0x44} && data[2] == std::byte{0x33};
}

std::optional<Id3Frame> findId3Frame(std::span<const std::byte> data, std::string_view identifier) {
  if (!hasId3Marker(data) || !fits(data.size(), 0, kId3HeaderSize) || identifier.size() != 4) return std::nullopt;
  const std::uint64_t tagSize = mp3BitShredder(be32(data, 6));
  std::uint64_t position = kId3HeaderSize;
  // Each step moves at least 10 bytes forward, so the walk ends within the data.
  while (position <= tagSize) {
    if (!fits(data.size(), static_cast<std::size_t>(position), kId3FrameHeaderSize)) return std::nullopt;
    const auto at = static_cast<std::size_t>(position);
    if (std::equal(identifier.begin(), identifier.end(), data.begin() + static_cast<std::ptrdiff_t>(at),
                   [](char a, std::byte b) { return static_cast<std::byte>(a) == b; })) {
      return Id3Frame{at, frameSize(data, at)};
    }
    position += std::uint64_t{frameSize(data, at)} + kId3FrameHeaderSize;
  }
  return std::nullopt;
}

std::optional<Id3Lyrics> usltLyrics(std::span<const std::byte> data) {
  const std::optional<Id3Frame> frame = findId3Frame(data, "USLT");
  if (!frame || !fits(data.size(), frame->position + 10, 1)) return std::nullopt;
  const std::size_t p = frame->position;
  const std::uint8_t encoding = u8(data, p + 10);
  Id3Lyrics lyrics;
  if (encoding == 1) {
    // S - 10 units from P + 20 (2S - 20 bytes), held to the data; the mark at P + 14 gives the order.
    if (frame->size < 10 || !fits(data.size(), p + 14, 2) || p + 20 > data.size()) return std::nullopt;
    const bool bigEndian = be16(data, p + 14) == 0xFEFF;
    const bool littleEndian = be16(data, p + 14) == 0xFFFE;
    if (!bigEndian && !littleEndian) return std::nullopt;
    const std::size_t wanted = 2 * (std::size_t{frame->size} - 10);
    const std::size_t bytes = std::min(wanted, data.size() - (p + 20)) & ~std::size_t{1};
    std::u16string units;
    units.reserve(bytes / 2);
    for (std::size_t i = 0; i < bytes; i += 2) {
      const std::uint16_t unit = bigEndian ? be16(data, p + 20 + i) : le16(data, p + 20 + i);
      units.push_back(static_cast<char16_t>(unit));
    }
    lyrics.text = toUtf8(units);
    lyrics.length = (frame->size - 10) / 2;
  } else if (encoding == 0) {
    const std::size_t start = p + 15;
    const std::size_t length = boundedStringLength(data, start, data.size());
    if (start < data.size()) {
      lyrics.text = toUtf8(toUtf16(std::string_view(reinterpret_cast<const char*>(data.data()) + start, length)));
    }
    lyrics.length = static_cast<std::uint32_t>(toUtf16(lyrics.text).size());
  } else {
    return std::nullopt;
  }
  if (lyrics.text.empty()) return std::nullopt;
  return lyrics;
}

std::span<const std::byte> apicPicture(std::span<const std::byte> data) {
  const std::optional<Id3Frame> frame = findId3Frame(data, "APIC");
  if (!frame) return {};
  const std::size_t p = frame->position;
  const std::size_t mimeLength = boundedStringLength(data, p + 11, 64);
  const std::size_t descriptionLength = boundedStringLength(data, p + 13 + mimeLength, 64);
  const std::size_t start = p + 13 + mimeLength + descriptionLength + 1;
  const std::int64_t length = std::int64_t{frame->size} + 9 - 13 - static_cast<std::int64_t>(mimeLength) -
                              static_cast<std::int64_t>(descriptionLength);
  if (length <= 0 || start >= data.size()) return {};
  return data.subspan(start, std::min(static_cast<std::size_t>(length), data.size() - start));
}

}  // namespace nua
