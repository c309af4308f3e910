// The block loop that copies one file from the source: chunks of 8 blocks, and the end of the last
// extent block by block. It never writes past the entry's size, and it says why when it cannot write
// all of it.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "base/text.h"
#include "save/detail/live_data_map.h"
#include "view/entry_view_helper.h"
#include "save/save_run.h"

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

SaveRun::CopyOutcome SaveRun::readAndWrite(const Entry* file, std::uint64_t block, std::uint32_t blocks, int fd,
                                           std::vector<std::byte>& buffer, CopyProgress& progress) {
  const auto bytesInSector = static_cast<std::uint64_t>(source_.u32BytesInSector);
  const std::uint64_t wanted = file->fileSize - progress.written;
  if (wanted == 0) return CopyOutcome::kDone;
  const std::uint64_t skip = progress.leadingBytesToSkip;
  // Only the sectors that hold bytes of the file are read: a chunk reaching past the file's end must
  // not fail on sectors the file does not need (the end of a truncated image, a bad spot).
  const std::uint64_t chunkSectors = static_cast<std::uint64_t>(blocks) * file->sectorsPerBlock;
  const std::uint64_t sectors = std::min(chunkSectors, (skip + wanted + bytesInSector - 1) / bytesInSector);
  const std::uint64_t bytes = sectors * bytesInSector;
  buffer.assign(bytes, std::byte{0});
  const std::uint64_t sector = source_.HPlusVolStart + file->blockBaseSector + block * file->sectorsPerBlock;
  const ReadOutcome read = source_.readSaveSector(sector, static_cast<std::int32_t>(sectors), buffer);
  std::uint64_t usable = bytes;
  std::string sourceEnd;
  if (read == ReadOutcome::kFailed) {
    progress.reason = formatText("the source could not be read at sector %@", {std::to_string(sector)});
    return CopyOutcome::kIncomplete;
  }
  if (read == ReadOutcome::kShortAtEnd) {
    // What the source does hold is kept; nothing stands in for the rest.
    int errorNumber = 0;
    const auto device = source_.deviceFile(errorNumber);
    const std::uint64_t sourceBytes = device ? device->sizeInBytes() : 0;
    const std::uint64_t startByte = sector * bytesInSector;
    usable = sourceBytes > startByte ? std::min(bytes, sourceBytes - startByte) : 0;
    sourceEnd = formatText("the source ends at sector %@", {std::to_string(std::max(startByte, sourceBytes) / bytesInSector)});
  }
  const std::uint64_t length = std::min(usable > skip ? usable - skip : 0, wanted);
  progress.leadingBytesToSkip = 0;
  if (!writeAll(fd, std::span<const std::byte>(buffer).subspan(static_cast<std::size_t>(skip),
                                                               static_cast<std::size_t>(length)))) {
    progress.reason = formatText("writing failed: %@", {std::strerror(errno)});
    return CopyOutcome::kIncomplete;
  }
  progress.written += length;
  savedData += length;
  if (sink_ != nullptr && savedData != 0 && showSavingProgress.exchange(false)) sink_->updateTreeProgress(savedData);
  // An image whose size is not a whole number of sectors may still hold every byte the file needs.
  if (length < std::min(bytes - skip, wanted)) {
    progress.reason = sourceEnd;
    return CopyOutcome::kIncomplete;
  }
  return CopyOutcome::kDone;
}

SaveRun::CopyOutcome SaveRun::copyFileData(Entry* file, int fd, CopyProgress& progress) {
  const std::uint64_t bytesInSector = source_.u32BytesInSector > 0 ? static_cast<std::uint64_t>(source_.u32BytesInSector) : 0;
  const std::uint64_t blockBytes = bytesInSector * file->sectorsPerBlock;
  if (file->dataExt.empty() || blockBytes == 0) {
    progress.reason = file->dataExt.empty() ? "no location of its data is known" : "its blocks have no sectors";
    return CopyOutcome::kIncomplete;
  }
  // A JPEG found inside a RAW file starts that many bytes into its first sector; an offset that
  // does not fall inside the first block cannot be one and is not applied.
  progress.leadingBytesToSkip = file->extraBytesToMove < blockBytes ? file->extraBytesToMove : 0;
  // One extent copies exactly what the size needs, whatever the scan recorded for its length.
  if (file->dataExt.size() == 1) {
    const std::uint64_t needed = (progress.leadingBytesToSkip + file->fileSize + blockBytes - 1) / blockBytes;
    file->dataExt[0].blockCount =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(needed, std::numeric_limits<std::uint32_t>::max()));
  }
  const CopyOutcome overwritten = checkNotOverwritten(file, progress);
  std::vector<std::byte> buffer;
  for (std::size_t e = 0; e < file->dataExt.size() && progress.written < file->fileSize; ++e) {
    if (abortSaving) return CopyOutcome::kAborted;
    const std::uint64_t start = file->dataExt[e].startBlock;
    const std::uint32_t count = file->dataExt[e].blockCount;
    const std::uint32_t groups = count / kBlocksPerChunk;
    const std::uint32_t rest = count % kBlocksPerChunk;
    const bool last = e + 1 == file->dataExt.size();
    // The last extent's end goes block by block: its last 8 blocks, or the rest after the chunks.
    const std::uint32_t chunkedGroups = last && rest == 0 && groups != 0 ? groups - 1 : groups;
    for (std::uint32_t g = 0; g < chunkedGroups && progress.written < file->fileSize; ++g) {
      if (abortSaving) return CopyOutcome::kAborted;
      const CopyOutcome outcome =
          readAndWrite(file, start + std::uint64_t{kBlocksPerChunk} * g, kBlocksPerChunk, fd, buffer, progress);
      if (outcome != CopyOutcome::kDone) return outcome;
    }
    const std::uint32_t single = !last ? 0 : (rest == 0 ? (groups == 0 ? 0 : kBlocksPerChunk) : rest);
    if (!last && rest != 0 && progress.written < file->fileSize) {
      if (abortSaving) return CopyOutcome::kAborted;
      const CopyOutcome outcome =
          readAndWrite(file, start + std::uint64_t{kBlocksPerChunk} * groups, rest, fd, buffer, progress);
      if (outcome != CopyOutcome::kDone) return outcome;
    }
    const std::uint64_t firstSingle = start + count - single;
    for (std::uint32_t b = 0; b < single && progress.written < file->fileSize; ++b) {
      if (abortSaving) return CopyOutcome::kAborted;
      const CopyOutcome outcome = readAndWrite(file, firstSingle + b, 1, fd, buffer, progress);
      if (outcome != CopyOutcome::kDone) return outcome;
    }
  }
  if (progress.written < file->fileSize) {
    progress.reason = "its known extents end there";
    return CopyOutcome::kIncomplete;
  }
  return overwritten;
}

SaveRun::CopyOutcome SaveRun::checkNotOverwritten(const Entry* file, CopyProgress& progress) {
  // A deleted file's blocks may have gone to a live file of the same result since (a first cluster
  // reused, a contiguous guess running into a live file); the copy then holds that file's bytes. A
  // signature find (it has an extension of its own) may well be a copy of a live file: not checked.
  if (file->deleted != 1 || file->extensionLength() != 0) return CopyOutcome::kDone;
  // The scan that found it already knows its blocks are allocated again (the live files may not be
  // in this result at all, as after a deleted-file scan).
  if (file->blocksInUse != 0) {
    progress.reason = "parts of it are in use by the volume's live files now";
    return CopyOutcome::kOverwritten;
  }
  if (!liveData_) liveData_ = std::make_unique<detail::LiveDataMap>(view_.dirRoot());
  std::uint64_t sizeLeft = file->fileSize;
  const std::uint64_t blockBytes = static_cast<std::uint64_t>(source_.u32BytesInSector) * file->sectorsPerBlock;
  for (const ExtP& extent : file->dataExt) {
    if (sizeLeft == 0) break;
    const std::uint64_t blocks = std::min<std::uint64_t>(extent.blockCount, (sizeLeft + blockBytes - 1) / blockBytes);
    sizeLeft -= std::min(sizeLeft, blocks * blockBytes);
    const std::uint64_t first = file->blockBaseSector + std::uint64_t{extent.startBlock} * file->sectorsPerBlock;
    if (const Entry* owner = liveData_->ownerOf(first, blocks * file->sectorsPerBlock)) {
      progress.reason = formatText("parts of it now belong to the live file \"%@\"", {toUtf8(shownNameOfDir(owner))});
      return CopyOutcome::kOverwritten;
    }
  }
  return CopyOutcome::kDone;
}

}  // namespace nua
