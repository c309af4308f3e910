// The 64 KiB window through which every file check reads a file larger than memory. A walk asks for
// bytes by their offset from the file's start; the window re-reads itself at the sector holding that
// offset when the walk leaves it, so jumps over data cost one read and no reading through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "base/bytes.h"
#include "filecheck/file_check_scan_state.h"
#include "media/sector_source.h"

namespace nua {

class FileWindow {
 public:
  static constexpr std::size_t kFilledBytes = 0x10000;  // one read of this many bytes
  static constexpr std::size_t kSpareBytes = 0x1000;    // zeroed tail, so a short field never overruns

  FileWindow(SectorSource& source, FileCheckScanState& state, std::uint64_t fileFirstSector);

  // Makes [fileOffset, fileOffset + length) readable (length at most kSpareBytes). False after a failed
  // read, which is reported once through the scan's error callback and sticks: the walk then answers 0.
  [[nodiscard]] bool ensure(std::uint64_t fileOffset, std::size_t length);
  [[nodiscard]] bool failed() const { return failed_; }

  // Byte readers by offset from the file's start; 0 after a failed read (see failed()).
  [[nodiscard]] std::uint8_t byteAt(std::uint64_t fileOffset) {
    // Marker walks read every byte of a large file: a byte inside the loaded window costs no call.
    if (loaded_ && !failed_ && fileOffset >= windowStart_ && fileOffset - windowStart_ < buffer_.size() - kSpareBytes) {
      return std::to_integer<std::uint8_t>(buffer_[static_cast<std::size_t>(fileOffset - windowStart_)]);
    }
    return byteAtAfterLoad(fileOffset);
  }
  [[nodiscard]] std::uint16_t be16At(std::uint64_t fileOffset);
  [[nodiscard]] std::uint32_t be32At(std::uint64_t fileOffset);
  [[nodiscard]] std::uint16_t le16At(std::uint64_t fileOffset);
  [[nodiscard]] std::uint32_t le32At(std::uint64_t fileOffset);
  [[nodiscard]] std::uint32_t be24At(std::uint64_t fileOffset);
  [[nodiscard]] std::uint64_t be64At(std::uint64_t fileOffset);
  // In the byte order a TIFF-like header declared.
  [[nodiscard]] std::uint16_t u16At(std::uint64_t fileOffset, bool bigEndian) {
    return bigEndian ? be16At(fileOffset) : le16At(fileOffset);
  }
  [[nodiscard]] std::uint32_t u32At(std::uint64_t fileOffset, bool bigEndian) {
    return bigEndian ? be32At(fileOffset) : le32At(fileOffset);
  }
  // True when the text stands at the offset.
  [[nodiscard]] bool textAt(std::uint64_t fileOffset, std::string_view text);
  // The bytes at the offset, at most kSpareBytes long; empty after a failed read.
  [[nodiscard]] ByteSpan bytesAt(std::uint64_t fileOffset, std::size_t length);

  [[nodiscard]] std::uint64_t fileFirstSector() const { return fileFirstSector_; }
  [[nodiscard]] std::uint32_t bytesPerSector() const { return bytesPerSector_; }
  [[nodiscard]] bool cancelled() const { return state_.cancelled(); }

 private:
  [[nodiscard]] std::uint8_t byteAtAfterLoad(std::uint64_t fileOffset);

  SectorSource& source_;
  FileCheckScanState& state_;
  std::uint64_t fileFirstSector_;
  std::uint32_t bytesPerSector_;
  std::uint32_t sectorsPerRead_;
  std::vector<std::byte> buffer_;
  std::uint64_t windowStart_ = 0;  // file offset of buffer_[0]
  bool loaded_ = false;
  bool failed_ = false;
};

}  // namespace nua
