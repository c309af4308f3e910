// Byte-order reads and writes over spans: the one place where multi-byte values are assembled.
// Every on-disk field goes through these, so alignment and aliasing never come up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace nua {

using ByteSpan = std::span<const std::byte>;
using MutableByteSpan = std::span<std::byte>;

// True when [offset, offset + length) lies inside a span of `size` bytes; written so it cannot overflow.
[[nodiscard]] constexpr bool fits(std::size_t size, std::size_t offset, std::size_t length) {
  return offset <= size && length <= size - offset;
}

namespace detail {
template <typename T, std::size_t N>
[[nodiscard]] constexpr T readBig(ByteSpan bytes, std::size_t offset) {
  T value = 0;
  for (std::size_t i = 0; i < N; ++i) value = static_cast<T>((value << 8) | static_cast<T>(bytes[offset + i]));
  return value;
}
template <typename T, std::size_t N>
[[nodiscard]] constexpr T readLittle(ByteSpan bytes, std::size_t offset) {
  T value = 0;
  for (std::size_t i = N; i-- > 0;) value = static_cast<T>((value << 8) | static_cast<T>(bytes[offset + i]));
  return value;
}
template <typename T, std::size_t N>
constexpr void writeBig(MutableByteSpan bytes, std::size_t offset, T value) {
  for (std::size_t i = N; i-- > 0;) {
    bytes[offset + i] = static_cast<std::byte>(value & 0xFF);
    value = static_cast<T>(value >> 8);
  }
}
template <typename T, std::size_t N>
constexpr void writeLittle(MutableByteSpan bytes, std::size_t offset, T value) {
  for (std::size_t i = 0; i < N; ++i) {
    bytes[offset + i] = static_cast<std::byte>(value & 0xFF);
    value = static_cast<T>(value >> 8);
  }
}
}  // namespace detail

// Callers check bounds first (see `fits`); these index the span directly.
[[nodiscard]] constexpr std::uint8_t u8(ByteSpan b, std::size_t o) { return static_cast<std::uint8_t>(b[o]); }
[[nodiscard]] constexpr std::uint16_t be16(ByteSpan b, std::size_t o) { return detail::readBig<std::uint16_t, 2>(b, o); }
[[nodiscard]] constexpr std::uint32_t be32(ByteSpan b, std::size_t o) { return detail::readBig<std::uint32_t, 4>(b, o); }
[[nodiscard]] constexpr std::uint64_t be64(ByteSpan b, std::size_t o) { return detail::readBig<std::uint64_t, 8>(b, o); }
[[nodiscard]] constexpr std::uint16_t le16(ByteSpan b, std::size_t o) { return detail::readLittle<std::uint16_t, 2>(b, o); }
[[nodiscard]] constexpr std::uint32_t le32(ByteSpan b, std::size_t o) { return detail::readLittle<std::uint32_t, 4>(b, o); }
[[nodiscard]] constexpr std::uint64_t le64(ByteSpan b, std::size_t o) { return detail::readLittle<std::uint64_t, 8>(b, o); }

constexpr void put8(MutableByteSpan b, std::size_t o, std::uint8_t v) { b[o] = static_cast<std::byte>(v); }
constexpr void putBe16(MutableByteSpan b, std::size_t o, std::uint16_t v) { detail::writeBig<std::uint16_t, 2>(b, o, v); }
constexpr void putBe32(MutableByteSpan b, std::size_t o, std::uint32_t v) { detail::writeBig<std::uint32_t, 4>(b, o, v); }
constexpr void putBe64(MutableByteSpan b, std::size_t o, std::uint64_t v) { detail::writeBig<std::uint64_t, 8>(b, o, v); }
constexpr void putLe16(MutableByteSpan b, std::size_t o, std::uint16_t v) { detail::writeLittle<std::uint16_t, 2>(b, o, v); }
constexpr void putLe32(MutableByteSpan b, std::size_t o, std::uint32_t v) { detail::writeLittle<std::uint32_t, 4>(b, o, v); }
constexpr void putLe64(MutableByteSpan b, std::size_t o, std::uint64_t v) { detail::writeLittle<std::uint64_t, 8>(b, o, v); }

// Swaps the two bytes of a 16-bit unit (UTF-16 names stored in the other byte order).
[[nodiscard]] constexpr std::uint16_t swap16(std::uint16_t v) {
  return static_cast<std::uint16_t>((v >> 8) | (v << 8));
}

}  // namespace nua
