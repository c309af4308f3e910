#include "media/mbr_chain.h"

#include <set>
#include <vector>

#include "ondisk/master_boot_record.h"

namespace nua {

bool fillPTList(std::vector<MbrChainEntry>& list, std::uint32_t sector, std::uint32_t firstExtOffset,
                std::uint32_t sectorSize,
                const SectorReader& read, std::string& reason) {
  if (sectorSize < kMasterBootRecordSize) {
    reason = "sector size " + std::to_string(sectorSize) + " is below one record";
    return false;
  }
  std::vector<std::byte> buffer(sectorSize, std::byte{0});
  if (!read(sector, buffer)) {
    reason = "table at sector " + std::to_string(sector) + " cannot be read";
    return false;
  }
  // The table stands at the start of its sector whatever the sector size: reading the end of a
  // 4096-byte sector would hide every partition of such a disk.
  const auto record = parseMasterBootRecord(std::span<const std::byte>(buffer).first(kMasterBootRecordSize));
  if (!record || record->signature != kMbrSignature) {
    reason = "table at sector " + std::to_string(sector) + " has no 55 AA signature";
    return false;
  }
  for (const MbrPartitionEntry& entry : record->entries) {
    if (entry.systemId == 0) continue;
    // 32-bit sums, as the table's own fields are: a chain never leaves the first 2 TiB of 512 sectors.
    const std::uint32_t base = isExtendedSystemId(entry.systemId) ? firstExtOffset : sector;
    const std::uint32_t start = entry.relativeSector + base;
    list.push_back(MbrChainEntry{entry.systemId, start, entry.numberOfSectors});
  }
  return true;
}

MbrChain walkMbrChain(std::uint32_t sectorSize, const SectorReader& read) {
  MbrChain chain;
  std::string reason;
  if (!fillPTList(chain.entries, 0, 0, sectorSize, read, reason)) {
    chain.stopReason = reason;
    return chain;
  }
  std::uint32_t firstExtOffset = 0;
  for (const MbrChainEntry& entry : chain.entries)
    if (isExtendedSystemId(entry.systemId)) firstExtOffset = entry.relativeSector;

  std::set<std::uint32_t> tablesRead{0};
  // The list grows while it is walked: each extended entry adds the entries of its own table.
  for (std::size_t i = 0; i < chain.entries.size(); ++i) {
    if (!isExtendedSystemId(chain.entries[i].systemId)) continue;
    const std::uint32_t table = chain.entries[i].relativeSector;
    if (!tablesRead.insert(table).second) {
      chain.stopReason = "loop at table sector " + std::to_string(table);
      break;
    }
    if (tablesRead.size() > kMaxMbrTables) {
      chain.stopReason = "more than " + std::to_string(kMaxMbrTables) + " extended tables";
      break;
    }
    std::vector<MbrChainEntry> more;
    if (!fillPTList(more, table, firstExtOffset, sectorSize, read, reason)) {
      if (chain.stopReason.empty()) chain.stopReason = reason;
      continue;
    }
    chain.entries.insert(chain.entries.end(), more.begin(), more.end());
  }
  return chain;
}

}  // namespace nua
