#include "view/preview_data.h"

#include <algorithm>

#include "media/media_reader.h"

namespace nua {

namespace {

constexpr std::uint32_t kBlocksPerChunk = 8;

bool sizeWithinLimit(std::int64_t bytes) { return bytes >= 1 && bytes <= std::int64_t{kPreviewSizeLimit}; }

// One gathering run: the byte counter and the soft stop live here.
class PreviewGatherer {
 public:
  PreviewGatherer(const PreviewEntry& entry, const PreviewSource& source, std::atomic<bool>& abort)
      : entry_(entry), source_(source), abort_(abort) {}

  PreviewGatherResult run() {
    PreviewGatherResult result;
    const bool finished = readExtents(result.data);
    if (readFailed_) {
      result.outcome = PreviewGatherOutcome::kReadFailed;
      result.data.clear();
    } else if (abort_ || !finished) {
      result.outcome = abort_ ? PreviewGatherOutcome::kAborted : PreviewGatherOutcome::kLoaded;
    }
    return result;
  }

 private:
  enum class Step { kGoOn, kEnd };

  // Reads `blocks` blocks at `block` and appends `keep` of their bytes (all when keep is negative).
  Step read(std::uint64_t block, std::uint32_t blocks, std::int64_t keep, std::vector<std::byte>& data) {
    const std::int64_t bytes = std::int64_t{source_.u32BytesInSector} * blocks * entry_.sectorsPerBlock;
    if (!sizeWithinLimit(bytes)) {
      abort_ = true;
      return Step::kEnd;
    }
    buffer_.assign(static_cast<std::size_t>(bytes), std::byte{0});
    const std::uint64_t sector = source_.HPlusVolStart + entry_.blockBaseSector + block * entry_.sectorsPerBlock;
    const auto sectors = static_cast<std::int32_t>(std::uint64_t{blocks} * entry_.sectorsPerBlock);
    if (!source_.readPreviewSector || !source_.readPreviewSector(sector, sectors, buffer_)) {
      readFailed_ = true;
      return Step::kEnd;
    }
    // A tail longer than the block (extents shorter than the size) takes the block, not memory beyond it.
    const auto length = static_cast<std::size_t>(keep < 0 ? bytes : std::min(keep, bytes));
    data.insert(data.end(), buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(length));
    counter_ += static_cast<std::uint32_t>(length);
    return Step::kGoOn;
  }

  [[nodiscard]] bool overLimit() const { return counter_ > kPreviewSizeLimit; }

  // False when the reading ended early (abort, failure, or the soft stop).
  bool readExtents(std::vector<std::byte>& data) {
    std::uint64_t totalBlocks = 0;
    for (std::size_t e = 0; e < entry_.dataExt.size(); ++e) {
      if (abort_) return false;
      const std::uint64_t start = entry_.dataExt[e].startBlock;
      const std::uint32_t count = entry_.dataExt[e].blockCount;
      totalBlocks += count;
      const std::uint32_t groups = count / kBlocksPerChunk;
      const std::uint32_t rest = count % kBlocksPerChunk;
      const bool last = e + 1 == entry_.dataExt.size();
      // The last extent's end goes block by block: its last 8 blocks, or the rest after the chunks.
      const std::uint32_t chunkedGroups = last && rest == 0 && groups != 0 ? groups - 1 : groups;
      bool softStop = false;
      for (std::uint32_t g = 0; g < chunkedGroups; ++g) {
        if (abort_) return false;
        if (read(start + std::uint64_t{kBlocksPerChunk} * g, kBlocksPerChunk, -1, data) == Step::kEnd) return false;
        if (overLimit()) {
          softStop = true;  // the rest of the chunks is given up, what was read is kept
          break;
        }
      }
      if (!last) {
        if (rest != 0) {
          if (abort_) return false;
          if (read(start + std::uint64_t{kBlocksPerChunk} * groups, rest, -1, data) == Step::kEnd) return false;
          if (softStop) return false;
        }
        continue;
      }
      const std::uint32_t single = rest == 0 ? (groups == 0 ? 0 : kBlocksPerChunk) : rest;
      const std::uint64_t firstSingle = start + count - single;
      // The tail in 32 bits over the low half of the size, as the save loop computes it.
      const auto tail = static_cast<std::int32_t>(
          static_cast<std::uint32_t>(entry_.fileSize) -
          static_cast<std::uint32_t>(std::uint64_t{source_.u32BytesInSector} * (totalBlocks - 1) * entry_.sectorsPerBlock));
      for (std::uint32_t b = 0; b < single; ++b) {
        if (abort_) return false;
        const bool lastBlock = b + 1 == single;
        if (lastBlock && !sizeWithinLimit(tail)) {
          abort_ = true;
          return false;
        }
        if (read(firstSingle + b, 1, lastBlock ? tail : -1, data) == Step::kEnd) return false;
        if (overLimit()) return false;
      }
    }
    return true;
  }

  const PreviewEntry& entry_;
  const PreviewSource& source_;
  std::atomic<bool>& abort_;
  std::vector<std::byte> buffer_;
  std::uint32_t counter_ = 0;
  bool readFailed_ = false;
};

}  // namespace

PreviewSource previewSourceOf(MediaReader& media) {
  PreviewSource source;
  source.readPreviewSector = [&media](std::uint64_t sector, std::int32_t count, std::span<std::byte> buffer) {
    return media.readPreviewSector(sector, count, buffer);
  };
  source.u32BytesInSector = media.u32BytesInSector > 0 ? static_cast<std::uint32_t>(media.u32BytesInSector) : 0;
  source.HPlusVolStart = media.HPlusVolStart;
  return source;
}

PreviewEntry previewEntryOf(const Entry& dir) {
  return {dir.fileSize, dir.blockBaseSector, dir.sectorsPerBlock, dir.dataExt};
}

PreviewGatherResult getPreviewData(const PreviewEntry& entry, const PreviewSource& source,
                                   std::atomic<bool>& previewThreadAbort) {
  return PreviewGatherer(entry, source, previewThreadAbort).run();
}

std::string previewTextOfBlock(std::span<const std::byte> block, std::uint64_t fileSize) {
  std::string text;
  const std::size_t end = block.empty() ? 0 : std::min<std::uint64_t>(block.size() - 1, fileSize);
  text.reserve(end);
  for (std::size_t i = 0; i < end; ++i) {
    const auto c = static_cast<unsigned char>(block[i]);
    text.push_back(c < 32 || c > 126 ? '.' : static_cast<char>(c));
  }
  return text;
}

std::optional<std::string> previewTextData(const PreviewEntry& entry, const PreviewSource& source) {
  if (entry.dataExt.empty() || entry.sectorsPerBlock == 0 || source.u32BytesInSector == 0) return std::nullopt;
  std::vector<std::byte> block(std::size_t{source.u32BytesInSector} * entry.sectorsPerBlock);
  const std::uint64_t sector =
      source.HPlusVolStart + entry.blockBaseSector + std::uint64_t{entry.dataExt.front().startBlock} * entry.sectorsPerBlock;
  if (!source.readPreviewSector || !source.readPreviewSector(sector, entry.sectorsPerBlock, block)) return std::nullopt;
  return previewTextOfBlock(block, entry.fileSize);
}

}  // namespace nua
