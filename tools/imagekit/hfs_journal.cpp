// Journal info block, empty journal header and the stale transaction left in the journal buffer.
#include "imagekit/hfs_journal.h"

#include "base/bytes.h"
#include "imagekit/hfs_format.h"

namespace nua::imagekit::hfs {

namespace {
constexpr std::size_t kBlockListChecksumBytes = 32;
constexpr std::size_t kBlockInfoSize = 16;  // bnum(8) bsize(4) next(4)
constexpr std::size_t kBlockListFirstInfo = 16;
constexpr std::uint32_t kCheckChecksums = 1;

std::uint64_t roundUp(std::uint64_t value, std::uint64_t unit) { return (value + unit - 1) / unit * unit; }

// Journal fields are in the order the journal header's endian word shows: little-endian here.
std::vector<std::byte> blockListHeader(std::uint32_t size, std::uint32_t sectorSize, const std::vector<StaleNode>& stale,
                                       std::uint64_t bytesUsed) {
  std::vector<std::byte> header(size);
  const MutableByteSpan b(header);
  putLe16(b, 0, static_cast<std::uint16_t>((size - kBlockListFirstInfo) / kBlockInfoSize));
  putLe16(b, 2, static_cast<std::uint16_t>(stale.size() + 1));
  putLe32(b, 4, static_cast<std::uint32_t>(bytesUsed));
  putLe32(b, 12, kCheckChecksums);
  for (std::size_t i = 0; i < stale.size(); ++i) {
    const std::size_t at = kBlockListFirstInfo + kBlockInfoSize * (i + 1);
    putLe64(b, at, stale[i].homeVolumeByte / sectorSize);
    putLe32(b, at + 8, static_cast<std::uint32_t>(stale[i].bytes.size()));
  }
  putLe32(b, 8, journalChecksum(ByteSpan(header).first(kBlockListChecksumBytes)));
  return header;
}
}  // namespace

void writeJournalArea(const VolumePlan& plan, std::uint32_t sectorSize, const std::vector<StaleNode>& stale,
                      const VolumePut& put, nlohmann::json& staleJson) {
  const std::uint64_t journalStart = static_cast<std::uint64_t>(plan.journalFirstBlock) * plan.blockSize;
  put(static_cast<std::uint64_t>(plan.journalInfoBlock) * plan.blockSize,
      encodeJournalInfoBlock(journalStart, plan.journalBytes));

  JournalHeader header;
  header.start = plan.journalHeaderBytes;
  header.end = plan.journalHeaderBytes;
  header.size = plan.journalBytes;
  header.blockListHeaderSize = plan.blockListHeaderBytes;
  header.headerSize = plan.journalHeaderBytes;
  put(journalStart, encodeJournalHeader(header));
  if (stale.empty()) return;

  std::uint64_t cursor = journalStart + plan.journalHeaderBytes + plan.blockListHeaderBytes;
  for (const StaleNode& node : stale) {
    put(cursor, node.bytes);
    staleJson.push_back({{"tree", node.tree}, {"node", node.node}, {"older", node.older}, {"volumeByteOffset", cursor}});
    cursor += roundUp(node.bytes.size(), sectorSize);
  }
  const std::uint64_t used = cursor - journalStart - plan.journalHeaderBytes;
  put(journalStart + plan.journalHeaderBytes, blockListHeader(plan.blockListHeaderBytes, sectorSize, stale, used));
}

}  // namespace nua::imagekit::hfs
