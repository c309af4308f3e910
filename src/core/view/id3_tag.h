// The ID3v2 tag at the start of an MP3: the frame walk, the lyrics of a USLT frame and the picture of
// an APIC frame. Every offset and length comes from the file and is held to the bytes at hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace nua {

// Header of the tag: "ID3" (offset 0, 3 bytes), version byte (offset 3), revision (4), flags (5),
// tag size as a synchsafe u32 (offset 6). Frames follow from offset 10, each with a 4-letter
// identifier, a u32 size (synchsafe only in version 4), 2 flag bytes, then the body.
inline constexpr std::size_t kId3HeaderSize = 10;
inline constexpr std::size_t kId3FrameHeaderSize = 10;

// Drops the top bit of each of the four bytes: a 28-bit number from a synchsafe u32.
[[nodiscard]] constexpr std::uint32_t mp3BitShredder(std::uint32_t value) {
  return (value & 0x7Fu) | ((value & 0x7F00u) >> 1) | ((value & 0x7F0000u) >> 2) | ((value & 0x7F000000u) >> 3);
}

// Whether the data begin with "ID3".
[[nodiscard]] bool hasId3Marker(std::span<const std::byte> data);

struct Id3Frame {
  std::size_t position = 0;  // of the frame header in the data
  std::uint32_t size = 0;    // of the body, as the header gives it (not held to the data)
};

// The first frame with this identifier, walking from offset 10 while inside the tag; nullopt when
// there is none, the walk leaves the data, or the data are no tag.
[[nodiscard]] std::optional<Id3Frame> findId3Frame(std::span<const std::byte> data, std::string_view identifier);

// The text of the USLT frame, as UTF-8, and its length in characters (halved for UTF-16 text).
struct Id3Lyrics {
  std::string text;
  std::uint32_t length = 0;
};
// Lyrics of encoding 0 (a C string from 5 bytes into the body) or 1 (UTF-16 with byte order mark);
// any other encoding, an empty text or no frame give nullopt. The UTF-16 copy takes twice the frame's
// bytes, so data behind the frame come along, but never more than the data hold.
[[nodiscard]] std::optional<Id3Lyrics> usltLyrics(std::span<const std::byte> data);

// The picture bytes of the APIC frame: behind the encoding byte, the MIME string (up to 64 bytes, to
// its zero), the picture type and the description (up to 64, to its zero). Empty when there is none.
[[nodiscard]] std::span<const std::byte> apicPicture(std::span<const std::byte> data);

}  // namespace nua
