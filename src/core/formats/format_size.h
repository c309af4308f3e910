// The size logic the format checks share: a size from a header field, the search for an end marker,
// and the walk that sums chunk lengths. Also the size a table find is registered with.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "base/bytes.h"
#include "formats/format_context.h"
#include "media/sector_source.h"

namespace nua::formats {

class FileBytes;

enum class ByteOrder { kBig, kLittle };

// A size read from a u16 or u32 field of the file's first sector, plus a fixed addition.
[[nodiscard]] std::uint64_t sizeFromHeaderField(FileBytes& file, std::uint64_t fieldOffset, int fieldBytes,
                                                ByteOrder order, std::uint64_t addition);

// The row's maximum size in bytes: userSize shifted left by 20 when not 0, else defaultSize shifted
// left by 20 narrowed to 32 bits, else 0.
[[nodiscard]] std::uint64_t rowMaximumSize(const FormatRow& row);

// Tells whether the marker starts at `index` of `bytes`; `bytes` holds up to 8 earlier bytes before the
// chunk (index counts from the chunk's start plus that prefix) so that a marker may look back.
using EndMarkerTest = std::function<bool(ByteSpan bytes, std::size_t index)>;

struct EndMarkerSearch {
  std::uint64_t fileStartSector = 0;  // absolute sector of the file's first byte
  std::uint64_t startSector = 0;      // absolute sector the search begins at
  std::uint64_t limitSector = 0;      // absolute: chunks start below it
  std::uint64_t lastChunkEnd = 0;     // absolute: a chunk reaching past it isn't read
  std::size_t markerLength = 2;
};

// Reads 64 sectors at a time going on by 63, so that a marker can't fall between two reads, and looks
// at every byte position of the first 63. Returns the marker's distance from the file's start, or
// nothing when the limit, the device end or the stop flag came first.
[[nodiscard]] std::optional<std::uint64_t> searchEndMarker(SectorSource& source, const FormatContext& context,
                                                           const EndMarkerSearch& search, const EndMarkerTest& isMarker);

// What one step of a chunk walk decided.
struct ChunkStep {
  enum class Action { kAdvance, kAdvanceThenEnd, kEndHere, kReject } action = Action::kEndHere;
  std::uint64_t length = 0;  // bytes to move on by, head included
};

struct ChunkWalkResult {
  bool rejected = false;
  std::uint64_t endPosition = 0;
};

// Sums chunk lengths from `start`: `step` looks at the chunk at a position and says how far to move.
// The walk ends where a step says so, at the stop flag, when a length would not move it forward, or
// when the position passes `limitPosition` (the device end), so a looping or endless file can't hang it.
[[nodiscard]] ChunkWalkResult sumChunkLengths(std::uint64_t start, std::uint64_t limitPosition,
                                              const FormatContext& context,
                                              const std::function<ChunkStep(std::uint64_t position)>& step);

// The size and extent a table find is registered with: `foundSize` when it is not 0 and below the
// device's bytes, else the row's maximum size; the extent covers the size in sectors, rounded up.
struct TableFindSize {
  std::uint64_t sizeBytes = 0;
  std::uint64_t sectorCount = 0;
};
[[nodiscard]] TableFindSize tableFindSize(const FormatRow& row, std::uint32_t bytesPerSector,
                                          std::uint64_t deviceBytes);

// The device's end in bytes relative to the file at `sector` (0 when the file starts past it).
[[nodiscard]] std::uint64_t bytesToDeviceEnd(const FormatContext& context, std::uint64_t sector);

}  // namespace nua::formats
