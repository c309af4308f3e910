// The size helpers every format check goes through.
#include "formats/format_size.h"

#include <algorithm>
#include <vector>

#include "formats/detail/file_bytes.h"

namespace nua::formats {

namespace {
constexpr std::uint32_t kChunkSectors = 64;
constexpr std::uint32_t kChunkStep = 63;
constexpr std::size_t kLookBack = 8;
}  // namespace

std::uint64_t sizeFromHeaderField(FileBytes& file, std::uint64_t fieldOffset, int fieldBytes, ByteOrder order,
                                  std::uint64_t addition) {
  const bool big = order == ByteOrder::kBig;
  const std::uint64_t field = fieldBytes == 2 ? file.u16At(fieldOffset, big) : file.u32At(fieldOffset, big);
  return field + addition;
}

std::uint64_t rowMaximumSize(const FormatRow& row) {
  if (row.userSize != 0) return row.userSize << 20;
  if (row.defaultSize != 0) return static_cast<std::uint32_t>(row.defaultSize << 20);
  return 0;
}

std::optional<std::uint64_t> searchEndMarker(SectorSource& source, const FormatContext& context,
                                             const EndMarkerSearch& search, const EndMarkerTest& isMarker) {
  const std::uint32_t bps = source.bytesPerSector();
  const std::size_t chunkBytes = static_cast<std::size_t>(bps) * kChunkSectors;
  const std::size_t examined = static_cast<std::size_t>(bps) * kChunkStep;
  std::vector<std::byte> buffer(kLookBack + chunkBytes);
  const MutableByteSpan chunk = MutableByteSpan(buffer).subspan(kLookBack);
  for (std::uint64_t sector = search.startSector; sector < search.limitSector; sector += kChunkStep) {
    if (context.stopRequested()) return std::nullopt;
    // A chunk past the device's last sector isn't read; every later one would pass it too.
    if (sector > search.lastChunkEnd || search.lastChunkEnd - sector < kChunkSectors) return std::nullopt;
    // The look-back bytes are the tail of the previous examined range (zeros before the first chunk).
    if (sector == search.startSector) {
      std::fill_n(buffer.begin(), kLookBack, std::byte{0});
    } else {
      std::copy_n(buffer.begin() + static_cast<std::ptrdiff_t>(examined), kLookBack, buffer.begin());
    }
    if (!source.readSectors(sector, kChunkSectors, chunk)) std::fill(chunk.begin(), chunk.end(), std::byte{0});
    for (std::size_t i = 0; i < examined; ++i) {
      if (i + search.markerLength > chunkBytes) break;
      if (isMarker(ByteSpan(buffer), kLookBack + i)) {
        return (sector - search.fileStartSector) * bps + i;
      }
    }
    if (sector > UINT64_MAX - kChunkStep) break;
  }
  return std::nullopt;
}

ChunkWalkResult sumChunkLengths(std::uint64_t start, std::uint64_t limitPosition, const FormatContext& context,
                                const std::function<ChunkStep(std::uint64_t position)>& step) {
  ChunkWalkResult result{false, start};
  std::uint64_t position = start;
  while (!context.stopRequested() && position <= limitPosition) {
    const ChunkStep decision = step(position);
    if (decision.action == ChunkStep::Action::kReject) return ChunkWalkResult{true, position};
    if (decision.action == ChunkStep::Action::kEndHere) break;
    if (decision.length == 0 || decision.length > UINT64_MAX - position) break;  // would not move forward
    position += decision.length;
    if (decision.action == ChunkStep::Action::kAdvanceThenEnd) break;
  }
  result.endPosition = position;
  return result;
}

TableFindSize tableFindSize(const FormatRow& row, std::uint32_t bytesPerSector, std::uint64_t deviceBytes) {
  TableFindSize result;
  result.sizeBytes = (row.foundSize != 0 && row.foundSize < deviceBytes) ? row.foundSize : rowMaximumSize(row);
  const std::uint64_t bps = bytesPerSector == 0 ? 512 : bytesPerSector;
  result.sectorCount = result.sizeBytes / bps + (result.sizeBytes % bps != 0 ? 1 : 0);
  return result;
}

std::uint64_t bytesToDeviceEnd(const FormatContext& context, std::uint64_t sector) {
  if (sector >= context.deviceEndSector) return 0;
  return (context.deviceEndSector - sector) * context.bytesPerSector;
}

}  // namespace nua::formats
