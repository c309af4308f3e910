#include "ondisk/crc32.h"

#include <array>

namespace nua {
namespace {

std::array<std::uint32_t, 256> makeTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t n = 0; n < 256; ++n) {
    std::uint32_t c = n;
    for (int bit = 0; bit < 8; ++bit) c = c % 2 != 0 ? 0xEDB88320U ^ (c / 2) : c / 2;
    table[n] = c;
  }
  return table;
}

}  // namespace

std::uint32_t crc32(ByteSpan bytes, std::uint32_t previous) {
  static const std::array<std::uint32_t, 256> kTable = makeTable();
  std::uint32_t c = previous ^ 0xFFFFFFFFU;
  for (const std::byte b : bytes) c = kTable[(c ^ static_cast<std::uint8_t>(b)) % 256U] ^ (c / 256U);
  return c ^ 0xFFFFFFFFU;
}

}  // namespace nua
