// The block loop that copies one file from the source: chunks of 8 blocks, and the end of the last
// extent block by block so that the final write stops at the file's size.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "view/save_run.h"

namespace nua {

namespace {

constexpr std::uint32_t kBlocksPerChunk = 8;

// Writes all of bytes, going on after short writes; false on an error.
bool writeAll(int fd, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

SaveRun::CopyOutcome SaveRun::readAndWrite(const NewDir* file, std::uint64_t block, std::uint32_t blocks,
                                           std::int64_t writeLength, int fd, std::vector<std::byte>& buffer) {
  const std::uint64_t sectorsPerBlock = file->sectorsPerBlock;
  const std::uint64_t sectors = static_cast<std::uint64_t>(blocks) * sectorsPerBlock;
  const std::uint64_t bytes = sectors * static_cast<std::uint64_t>(source_.u32BytesInSector);
  buffer.assign(bytes, std::byte{0});
  const std::uint64_t sector = source_.HPlusVolStart + file->blockBaseSector + block * sectorsPerBlock;
  if (!source_.readSaveSector(sector, static_cast<std::int32_t>(sectors), buffer)) return CopyOutcome::kFailed;
  // A tail from extents that do not match the size is kept within what was read.
  const std::size_t length =
      writeLength < 0 ? 0 : static_cast<std::size_t>(std::min<std::uint64_t>(static_cast<std::uint64_t>(writeLength), bytes));
  if (!writeAll(fd, std::span<const std::byte>(buffer).first(length))) return CopyOutcome::kFailed;
  savedData += length;
  if (sink_ != nullptr && savedData != 0 && showSavingProgress.exchange(false)) sink_->updateTreeProgress(savedData);
  return CopyOutcome::kDone;
}

SaveRun::CopyOutcome SaveRun::copyFileData(NewDir* file, int fd) {
  const std::uint64_t bytesInSector = source_.u32BytesInSector > 0 ? static_cast<std::uint64_t>(source_.u32BytesInSector) : 0;
  const std::uint64_t blockBytes = bytesInSector * file->sectorsPerBlock;
  if (file->dataExt.empty()) return CopyOutcome::kDone;
  if (blockBytes == 0) return CopyOutcome::kFailed;  // a block of no sectors cannot be read
  // One extent copies exactly what the size needs, whatever the scan recorded for its length.
  if (file->dataExt.size() == 1) {
    const std::uint64_t needed = (file->fileSize + blockBytes - 1) / blockBytes;
    file->dataExt[0].blockCount =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(needed, std::numeric_limits<std::uint32_t>::max()));
  }
  std::vector<std::byte> buffer;
  const auto whole = static_cast<std::int64_t>(std::numeric_limits<std::int64_t>::max());
  std::uint64_t blocksSoFar = 0;
  for (std::size_t e = 0; e < file->dataExt.size(); ++e) {
    if (abortSaving) return CopyOutcome::kAborted;
    const std::uint64_t start = file->dataExt[e].startBlock;
    const std::uint32_t count = file->dataExt[e].blockCount;
    blocksSoFar += count;
    const std::uint32_t groups = count / kBlocksPerChunk;
    const std::uint32_t rest = count % kBlocksPerChunk;
    const bool last = e + 1 == file->dataExt.size();
    // The bytes of the file that lie in the last block of this extent.
    const std::int64_t tail = static_cast<std::int64_t>(file->fileSize) -
                              static_cast<std::int64_t>(blockBytes * (blocksSoFar == 0 ? 0 : blocksSoFar - 1));
    const std::uint32_t chunkedGroups = last && rest == 0 && groups != 0 ? groups - 1 : groups;
    for (std::uint32_t g = 0; g < chunkedGroups; ++g) {
      if (abortSaving) return CopyOutcome::kAborted;
      const CopyOutcome outcome = readAndWrite(file, start + std::uint64_t{kBlocksPerChunk} * g, kBlocksPerChunk, whole, fd, buffer);
      if (outcome != CopyOutcome::kDone) return outcome;
    }
    if (!last) {
      if (rest == 0) continue;
      if (abortSaving) return CopyOutcome::kAborted;
      const CopyOutcome outcome = readAndWrite(file, start + std::uint64_t{kBlocksPerChunk} * groups, rest, whole, fd, buffer);
      if (outcome != CopyOutcome::kDone) return outcome;
      continue;
    }
    // The end of the file, one block at a time: the last 8 blocks, or the rest after the chunks.
    const std::uint32_t single = rest == 0 ? (groups == 0 ? 0 : kBlocksPerChunk) : rest;
    const std::uint64_t firstSingle = start + count - single;
    for (std::uint32_t b = 0; b < single; ++b) {
      if (abortSaving) return CopyOutcome::kAborted;
      const CopyOutcome outcome = readAndWrite(file, firstSingle + b, 1, b + 1 == single ? tail : whole, fd, buffer);
      if (outcome != CopyOutcome::kDone) return outcome;
    }
  }
  return CopyOutcome::kDone;
}

}  // namespace nua
