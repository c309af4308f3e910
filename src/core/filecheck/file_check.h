// The one shape of every photo and media file check: a cheap test on the first bytes of a sector,
// a size walk over the device, the folder key and the first byte that lets the loop skip a check.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/bytes.h"
#include "filecheck/file_check_scan_state.h"
#include "filecheck/file_window.h"
#include "media/sector_source.h"

namespace nua {

// Bytes of a sector the loop copies for the tests.
inline constexpr std::size_t kFileCheckHeaderBytes = 25;

class FileCheck {
 public:
  FileCheck(SectorSource& source, FileCheckScanState& state) : source_(source), state_(state) {}
  virtual ~FileCheck() = default;
  FileCheck(const FileCheck&) = delete;
  FileCheck& operator=(const FileCheck&) = delete;

  // Whether a file of this kind starts at `sector`; `header` holds the sector's first bytes (usually 25).
  [[nodiscard]] virtual bool isFile(ByteSpan header, std::uint64_t sector) = 0;
  // The file's length in bytes, 0 to reject the candidate. Bad data gives 0 or a shorter length.
  [[nodiscard]] virtual std::uint64_t fileSizeCalculation(ByteSpan header, std::uint64_t sector) = 0;
  // The extension whose folder collects this format's finds.
  [[nodiscard]] virtual std::string_view parentKey() const = 0;
  // The first byte every header of the format begins with, 0 when it is not fixed.
  [[nodiscard]] virtual std::uint8_t firstByteOfHeader() const = 0;

 protected:
  [[nodiscard]] FileWindow openWindow(std::uint64_t fileFirstSector) {
    return FileWindow(source_, state_, fileFirstSector);
  }
  [[nodiscard]] std::uint32_t bytesInSector() const {
    return source_.bytesPerSector() == 0 ? 512 : source_.bytesPerSector();
  }

  SectorSource& source_;
  FileCheckScanState& state_;
};

// Readers over the header copy; a field past its end reads as 0, so a short copy simply fails a test.
[[nodiscard]] inline std::uint8_t headerByte(ByteSpan h, std::size_t o) { return fits(h.size(), o, 1) ? u8(h, o) : 0; }
[[nodiscard]] inline std::uint16_t headerBe16(ByteSpan h, std::size_t o) { return fits(h.size(), o, 2) ? be16(h, o) : 0; }
[[nodiscard]] inline std::uint16_t headerLe16(ByteSpan h, std::size_t o) { return fits(h.size(), o, 2) ? le16(h, o) : 0; }
[[nodiscard]] inline std::uint32_t headerBe32(ByteSpan h, std::size_t o) { return fits(h.size(), o, 4) ? be32(h, o) : 0; }
[[nodiscard]] inline std::uint32_t headerLe32(ByteSpan h, std::size_t o) { return fits(h.size(), o, 4) ? le32(h, o) : 0; }
[[nodiscard]] inline bool headerText(ByteSpan h, std::size_t o, std::string_view text) {
  if (!fits(h.size(), o, text.size())) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (static_cast<char>(h[o + i]) != text[i]) return false;
  }
  return true;
}

}  // namespace nua
