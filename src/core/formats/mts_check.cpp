// MTS/M2TS: 192-byte packets, the stream running from the first marked packet to the first unmarked
// one after it. The first 63-sector group is never read, so a mark there isn't seen.
#include "formats/format_checks.h"

#include <algorithm>
#include <vector>

namespace nua::formats {

namespace {

constexpr std::uint64_t kPacketBytes = 192;
constexpr std::uint64_t kLastPosition = 5000000000;  // positions run while below 5000000001
constexpr std::uint32_t kGroupSectors = 63;
constexpr std::uint32_t kReadSectors = 64;

bool isMarkedPacket(const std::vector<std::byte>& buffer, std::size_t at) {
  return buffer[at + 4] == std::byte{0x47} && buffer[at + 5] == std::byte{0x1F} && buffer[at + 6] == std::byte{0xFF} &&
         buffer[at + 7] == std::byte{0x10};
}

}  // namespace

bool checkMtsFile(SectorSource& source, std::uint64_t sector, FormatContext& context, FormatRow& row) {
  const std::uint32_t bps = source.bytesPerSector();
  const std::uint64_t base = context.baseSector(sector);
  const std::uint64_t groupBytes = std::uint64_t{kGroupSectors} * bps;
  std::vector<std::byte> buffer(std::size_t{kReadSectors} * bps);  // zeros: group 0 is never read
  std::uint64_t group = 0;
  bool markSeen = false;
  std::uint64_t position = 0;
  for (; position <= kLastPosition && !context.stopRequested(); position += kPacketBytes) {
    const std::uint64_t positionGroup = position / groupBytes;
    if (positionGroup != group) {
      group = positionGroup;
      const std::uint64_t groupSector = base + group * kGroupSectors;
      if (groupSector >= source.sectorCount()) {
        // Nothing but zeros lies ahead: a walk that saw the mark ends here, one that didn't runs to
        // the limit.
        if (!markSeen) position = (kLastPosition / kPacketBytes + 1) * kPacketBytes;
        break;
      }
      if (!source.readSectors(groupSector, kReadSectors, buffer)) std::fill(buffer.begin(), buffer.end(), std::byte{0});
    }
    const bool marked = isMarkedPacket(buffer, static_cast<std::size_t>(position - group * groupBytes));
    if (marked) markSeen = true;
    if (markSeen && !marked) break;
  }
  reportSize(row, position, true, bps);
  return true;
}

}  // namespace nua::formats
