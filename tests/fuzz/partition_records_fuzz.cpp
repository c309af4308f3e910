// The partition map records on their own: an MBR (and, reading the input as sectors, its chain of
// extended boot records), a GPT header and entry, an Apple partition map entry and driver descriptor.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "media/mbr_chain.h"
#include "ondisk/guid_partition_table_entry.h"
#include "ondisk/guid_partition_table_header.h"
#include "ondisk/master_boot_record.h"
#include "ondisk/partition_map.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nua::ByteSpan bytes(reinterpret_cast<const std::byte*>(data), size);
  (void)nua::parseMasterBootRecord(bytes);
  (void)nua::parseGUIDPartitionTableHeader(bytes);
  (void)nua::parseGUIDPartitionTableEntry(bytes);
  (void)nua::parsePartitionMap(bytes);
  (void)nua::parseDriverDescriptor(bytes);
  const nua::SectorReader read = [&](std::uint64_t sector, std::span<std::byte> buffer) {
    std::fill(buffer.begin(), buffer.end(), std::byte{0});
    if (sector >= size / 512) return false;
    std::memcpy(buffer.data(), data + sector * 512, std::min<std::size_t>(buffer.size(), 512));
    return true;
  };
  (void)nua::walkMbrChain(512, read);
  return 0;
}
