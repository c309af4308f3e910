// MediaReader: the program's reader of a drive or image. It knows the path, the size and the sector size,
// reads raw sectors read-only through three readers (scan, preview, save) and keeps the open file.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "base/dict.h"
#include "base/ui_bridge.h"
#include "media/device_file.h"
#include "media/device_lists.h"
#include "media/rows.h"

namespace nua {

// What a reader needs from the rest of the program: where alerts go and the last-built lists.
struct MediaContext {
  UiBridge* ui = nullptr;
  const DeviceListStore* lists = nullptr;
};

class MediaReader {
 public:
  MediaReader();
  virtual ~MediaReader();
  MediaReader(const MediaReader&) = delete;
  MediaReader& operator=(const MediaReader&) = delete;

  // Reads a drive dictionary: "Preferred Block Size", "Path", "Size", "device model", "device serial",
  // "device revision". A missing or zero sector size is taken as 512 so no division can fail.
  void initWithDictionary(const Dict& dict, MediaContext context);
  // The copy of the partition list: path, texts, sizeInSect, u32BytesInSector, HPlusVolStart and
  // blockSize, each only when set (a zero HPlusVolStart leaves the copy's own value).
  [[nodiscard]] std::unique_ptr<MediaReader> mutableCopy() const;

  // The three sector readers. `size` sectors of u32BytesInSector bytes are read at `sector` into the
  // front of `buffer`; a buffer too small for them is refused. For scans and previews a read that meets
  // the end of the source is a success and leaves the rest of the buffer as it was. On a failed read the
  // lists decide: a path still listed is a bad spot (false, no alert); an unlisted one means the device
  // has gone.
  [[nodiscard]] bool readSector(std::uint64_t sector, std::int32_t size, std::span<std::byte> buffer);
  [[nodiscard]] bool readPreviewSector(std::uint64_t sector, std::int32_t size, std::span<std::byte> buffer);
  // The saving reader tells a read cut short by the end of the source (a truncated image) from a whole
  // one, so that a saved file is never padded out with bytes the source does not hold; such a read
  // shows no alert. A failed read is handled as by the other readers.
  [[nodiscard]] ReadOutcome readSaveSector(std::uint64_t sector, std::int32_t size, std::span<std::byte> buffer);

  // Fields, named as the rest of the engine knows them.
  std::string path;
  // "Container" of the discovery dictionary: "split raw", "E01" or "UDIF"; empty for a device or raw image.
  std::string containerKind;
  std::uint64_t sizeInBytes = 0;
  std::uint64_t sizeInSect = 0;
  std::string model, serial, revision;
  std::vector<PartitionRow> volumePMArray;
  std::int32_t u32BytesInSector = 512;
  // The geometry of the volume being read: where it starts, in sectors, and its sectors per
  // allocation block (0 until a volume header has been read).
  std::uint64_t HPlusVolStart = 0;  // NOLINT(readability-identifier-naming): the engine's name
  std::int32_t blockSize = 0;
  std::atomic<bool> abortVolumeScan{false};

  [[nodiscard]] const MediaContext& context() const { return context_; }
  void setContext(MediaContext context) { context_ = context; }
  // The open source, opened on first use and kept for the object's life; nullptr when it cannot be opened.
  [[nodiscard]] std::shared_ptr<DeviceFile> deviceFile(int& errorNumber);

 private:
  enum class ReaderKind { kScan, kPreview, kSave };
  [[nodiscard]] ReadOutcome readWith(ReaderKind kind, std::uint64_t sector, std::int32_t size,
                                     std::span<std::byte> buffer);

  MediaContext context_;
  std::mutex openMutex_;
  std::shared_ptr<DeviceFile> file_;
};

// Builds a u32 from four (two) bytes starting at position + offset, stepping forward when offset is 0
// and backward otherwise, first byte most significant: offset 0 reads big-endian, offset 3 (1)
// little-endian. Bytes outside the buffer give 0.
[[nodiscard]] std::uint32_t fourByteRead(std::span<const std::byte> buffer, std::int64_t position, std::int64_t offset);
[[nodiscard]] std::uint32_t twoByteRead(std::span<const std::byte> buffer, std::int64_t position, std::int64_t offset);

}  // namespace nua
