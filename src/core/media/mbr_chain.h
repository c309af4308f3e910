// The walk over an MBR and its chain of extended boot records: every table is read once, so a chain
// that points back at itself ends at the first repeat, and the walk reports why it stopped.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace nua {

// Reads one sector of the disk into the buffer (one sector long); false when it cannot be read.
using SectorReader = std::function<bool(std::uint64_t sector, std::span<std::byte> buffer)>;

// One non-empty entry of a table, its start counted from the start of the disk.
struct MbrChainEntry {
  std::uint8_t systemId = 0;
  std::uint32_t relativeSector = 0;
  std::uint32_t numberOfSectors = 0;
};

struct MbrChain {
  // Every non-empty entry, in table order.
  std::vector<MbrChainEntry> entries;
  // Why the walk ended: empty when every table was read, else the first table it refused.
  std::string stopReason;
};

// Appends the entries of the table in `sector` to `list`. The
// record is the last 512 bytes of the sector. Extended entries are relative to `firstExtOffset`,
// others to the table's own sector. A table without the 55 AA signature adds nothing.
[[nodiscard]] bool fillPTList(std::vector<MbrChainEntry>& list, std::uint32_t sector, std::uint32_t firstExtOffset,
                              std::uint32_t sectorSize, const SectorReader& read, std::string& reason);

// The whole walk of `readAndInterpretMBR`: the table at sector 0, then every extended entry's table,
// each sector at most once and at most kMaxMbrTables tables in all.
constexpr std::size_t kMaxMbrTables = 4096;
[[nodiscard]] MbrChain walkMbrChain(std::uint32_t sectorSize, const SectorReader& read);

}  // namespace nua
